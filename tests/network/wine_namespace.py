"""A namespace with a Wine in it that stays from one test to the next."""

import atexit
import os
import subprocess
import tempfile
import time

from namespace import Namespace
from searcher import die_with_parent, driver_command

_STAYS = 'import sys; sys.stdout.write("ready"); sys.stdout.flush(); sys.stdin.read()'

_kept = []  # of this process, while no test has it


class WineNamespace(Namespace):
    """Wine's sockets live where its server was started, and a start takes longer than most tests. So this one is
    lent to a test, tidied up and lent again. `environment` is what programs need that join the Wine."""

    def __init__(self):
        super().__init__()
        folder = tempfile.mkdtemp(prefix='vireon-wine.')
        self.environment = {'WINEPREFIX': folder, 'TMPDIR': folder}
        with self.entered():
            # Wine stays as long as a program does, and goes with it, as its folder.
            self._program = subprocess.Popen(
                driver_command() + ['-c', _STAYS],
                env=dict(os.environ, VIREON_WINE_FOLDER=folder),
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                preexec_fn=die_with_parent,
            )
        if self._program.stdout.read(5) != b'ready':
            raise OSError('Wine does not start')

    def close(self):
        """Gives it back, without what the test made in it."""
        try:
            self._tidy()
        except OSError:
            self.end()
        else:
            _kept.append(self)

    def end(self):
        self._program.communicate()
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
