"""A Wine that stays from one test to the next, since its start takes longer than most of them."""

import atexit
import os
import subprocess
import tempfile
import time

from namespace import Namespace
from searcher import die_with_parent, driver_command

_STAYS = 'import sys; sys.stdout.write("ready"); sys.stdout.flush(); sys.stdin.read()'

_kept = []  # of this process, while no test has it


class StayingWine:
    """In the network namespace of the calling thread, where its sockets live. `environment` is what programs
    need that join it. It goes with this process, and its folder too."""

    def __init__(self, interpreter):
        """By the command of an interpreter that brings a Wine of its own."""
        folder = tempfile.mkdtemp(prefix='vireon-wine.')
        self.environment = {'WINEPREFIX': folder, 'TMPDIR': folder}
        # Wine stays as long as a program does.
        self._program = subprocess.Popen(
            interpreter + ['-c', _STAYS],
            env=dict(os.environ, VIREON_WINE_FOLDER=folder),
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            preexec_fn=die_with_parent,
        )
        if self._program.stdout.read(5) != b'ready':
            raise OSError('Wine does not start')

    def end(self):
        self._program.communicate()


class WineNamespace(Namespace):
    """Lent to one test, tidied up and lent to the next."""

    def __init__(self):
        super().__init__()
        with self.entered():
            self._wine = StayingWine(driver_command())
        self.environment = self._wine.environment

    def close(self):
        """Gives it back, without what the test made in it."""
        try:
            self._tidy()
        except OSError:
            self.end()
        else:
            _kept.append(self)

    def end(self):
        self._wine.end()
        super().close()

    def _tidy(self):
        deadline = time.monotonic() + 10
        while self._interfaces():
            for name in self._interfaces():
                try:
                    self.ip('link delete ' + name)
                except OSError:  # it went meanwhile, with its other end
                    if time.monotonic() > deadline:
                        raise
        self.ip('address flush dev lo')
        self.ip('link set lo down')
        self.ip('route flush table all')

    def _interfaces(self):
        names = [line.split(': ')[1].split('@')[0] for line in self.ip('-oneline link').splitlines()]
        return [name for name in names if name != 'lo']


def lend():
    """The one that is kept, or a new one where a test has it."""
    return _kept.pop() if _kept else WineNamespace()


@atexit.register
def _end():
    while _kept:
        _kept.pop().end()
