"""Network namespaces of the tests' own.

A namespace here has no name: one open descriptor keeps it, so nothing else on the machine can see
it or collide with it, and the kernel removes it, with every interface in it, as soon as that
descriptor and the last program inside are gone. That holds after a failed and after a killed test
as well, without any clean-up code having run.
"""

import contextlib
import ctypes
import os
import subprocess
import time

_CLONE_NEWNET = 0x40000000
_libc = ctypes.CDLL(None, use_errno=True)


def _checked(result, what):
    if result != 0:
        number = ctypes.get_errno()
        raise OSError(number, '%s: %s' % (what, os.strerror(number)))


def _open_current():
    return os.open('/proc/thread-self/ns/net', os.O_RDONLY | os.O_CLOEXEC)


@contextlib.contextmanager
def _away(leave):
    """The calling thread is where `leave` took it, and afterwards where it came from."""
    home = _open_current()
    try:
        leave()
        try:
            yield
        finally:
            # Going on in the wrong namespace would send the next test's searches anywhere.
            if _libc.setns(home, _CLONE_NEWNET) != 0:
                os.abort()
    finally:
        os.close(home)


class Namespace:
    """One network namespace; only its loopback interface exists, and that one is down. `environment` is what
    the searcher's programs need to run inside."""

    environment = {}

    def __init__(self):
        with _away(lambda: _checked(_libc.unshare(_CLONE_NEWNET), 'unshare')):
            self._fd = _open_current()

    def close(self):
        if self._fd is not None:
            os.close(self._fd)
            self._fd = None

    @property
    def path(self):
        return '/proc/%d/fd/%d' % (os.getpid(), self._fd)

    @contextlib.contextmanager
    def entered(self):
        """The calling thread is inside: sockets and programs made meanwhile stay there."""
        with _away(lambda: _checked(_libc.setns(self._fd, _CLONE_NEWNET), 'setns')):
            yield

    def ip(self, command):
        """Runs one `ip` command inside and returns what it printed."""
        with self.entered():
            done = subprocess.run(
                ['ip'] + command.split(),
                stdout=subprocess.PIPE,
                stderr=subprocess.PIPE,
                universal_newlines=True,
            )
        if done.returncode != 0:
            raise OSError('ip %s: %s' % (command, done.stderr.strip()))
        return done.stdout

    def connect(self, interface, other, other_interface):
        """Joins this namespace to another one by a cable (a veth pair); both ends come up."""
        self.ip('link add name %s type veth peer name %s netns %s' % (interface, other_interface, other.path))
        self.ip('link set %s up' % interface)
        other.ip('link set %s up' % other_interface)
        self.await_carrier(interface)
        other.await_carrier(other_interface)

    def await_carrier(self, interface):
        deadline = time.monotonic() + 10
        while ' state UP ' not in self.ip('-o link show %s' % interface):
            if time.monotonic() > deadline:
                raise OSError('%s has no carrier' % interface)
            time.sleep(0.005)
