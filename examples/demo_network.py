"""The demo's networks, and the machines in them: namespaces that are gone with the last program in them.

Linux only. Whoever uses this is in a network namespace of its own, which it may do everything in.
"""

import os
import subprocess
import sys
import tempfile

MEDIA_SERVER = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'media_server.py')


class Failure(Exception):
    """A reason for people why the demo cannot go on."""


def run(*command):
    done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, universal_newlines=True)
    if done.returncode != 0:
        raise Failure('%s: %s' % (' '.join(command), done.stderr.strip()))


class Network:
    """A switch. The machine that searches is in it by the switch itself, as a router at home is."""

    def __init__(self, number):
        self.name = 'net%d' % number
        self._addresses = '10.31.%d.%%d/24' % (27 + number)
        self._members = 1
        # With an address of its own: it would take over another one with each cable.
        own = '02:00:00:00:00:%02x' % number
        run('ip', 'link', 'add', 'name', self.name, 'address', own, 'type', 'bridge', 'mcast_snooping', '0')
        run('ip', 'address', 'add', self._addresses % 1, 'broadcast', '+', 'dev', self.name)
        run('ip', 'link', 'set', self.name, 'up')

    def plug(self, holder, interface):
        """Lays a cable to an interface in the namespace of a process; gives that end's address."""
        self._members += 1
        port = '%s-%d' % (self.name, self._members)
        cable = ('type', 'veth', 'peer', 'name', interface, 'netns', str(holder))
        run('ip', 'link', 'add', 'name', port, *cable)
        run('ip', 'link', 'set', port, 'master', self.name, 'up')
        return self._addresses % self._members


class Machine:
    """One with a media server, which does not run yet. `wrong` names a fault of it."""

    def __init__(self, name, networks, wrong=None):
        self._words = ['--name', name] + (['--fault', wrong] if wrong else [])
        self._server = None
        self._errors = tempfile.TemporaryFile()
        # It ends when nobody holds the other end of its input.
        self._holder = subprocess.Popen(
            ['unshare', '--net', 'sh', '-c', 'echo made; exec cat'],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
        )
        try:
            if self._holder.stdout.readline() != b'made\n':
                raise Failure('there can be no further network namespace')
            for number, network in enumerate(networks):
                interface = 'eth%d' % number
                address = network.plug(self._holder.pid, interface)
                run(*self._inside('ip', 'address', 'add', address, 'broadcast', '+', 'dev', interface))
                run(*self._inside('ip', 'link', 'set', interface, 'up'))
        except BaseException:
            self.close()
            raise

    def start(self):
        """Does not wait until the server listens."""
        self._server = subprocess.Popen(
            self._inside(sys.executable, '-B', MEDIA_SERVER, *self._words),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=self._errors,
        )

    def stop(self):
        if self._server:
            self._server.terminate()
            self._server.wait()
            self._server = None

    def complaint(self):
        """The last that the server said of what went wrong."""
        self._errors.seek(0)
        return self._errors.read().decode('utf-8', 'replace').strip().rpartition('\n')[2]

    def close(self):
        self.stop()
        self._holder.stdin.close()
        self._holder.wait()
        self._holder.stdout.close()
        self._errors.close()

    def _inside(self, *command):
        return ['nsenter', '--net=/proc/%d/ns/net' % self._holder.pid, '--', *command]
