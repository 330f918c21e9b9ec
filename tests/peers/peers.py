"""Programs and libraries of others that speak SSDP, and how they are started.

Each runs in a network namespace of its own which no way leads out of. VIREON_PEERS names the folder that
they lie in (scripts/peers.sh).
"""

import ctypes
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import wave

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, '..', 'network'))

from responder import DEVICE_TYPE, PORT  # the folder is known only now

SSDP_PORT = 1900  # which programs cannot be talked out of
_PR_SET_PDEATHSIG = 1

# Without connection tracking, since the answers shall come from where a program sends them.
_REWRITE = '''
table inet peers {
    chain incoming {
        type filter hook prerouting priority raw;
        udp dport %d udp dport set %d
    }
}
'''


def folder():
    return os.environ['VIREON_PEERS']


def _die_with_parent():
    ctypes.CDLL(None).prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)


def hexadecimal(address):
    """An address as the kernel's tables have it."""
    return socket.inet_aton(address)[::-1].hex().upper()


def bound_ports(namespace):
    """The local UDP ports of all that runs in a namespace."""
    with namespace.entered(), open('/proc/thread-self/net/udp') as table:
        return {int(line.split()[1].split(':')[1], 16) for line in list(table)[1:]}


def python(script, *arguments):
    """The command line of a script with the packages, by the interpreter that they are for."""
    return (
        'env',
        'PYTHONPATH=' + os.path.join(folder(), 'python'),
        '/usr/bin/python3',
        '-B',
        os.path.join(HERE, 'libraries', script),
    ) + arguments


def node(script, *arguments):
    return (
        'env',
        'NODE_PATH=' + os.path.join(folder(), 'node', 'node_modules'),
        'node',
        os.path.join(HERE, 'libraries', script),
    ) + arguments


class Peer:
    """One of them, which runs from construction until close: in a namespace whose interface eth0 has
    this address. Its number tells it from others of its kind."""

    port = SSDP_PORT
    needs = ()
    answers_other_ports = True  # to a search whose Host header names a port that is not SSDP's

    def __init__(self, namespace, address, number=0):
        self.namespace, self.address, self.number = namespace, address, number
        self.home = tempfile.mkdtemp(prefix='vireon_peer.')
        self._log = open(os.path.join(self.home, 'log'), 'w+b')
        self._processes = []
        namespace.ip('link set lo up')
        # IPv4 alone, since a new IPv6 address cannot be bound to yet when the programs start.
        namespace.ip('link set eth0 addrgenmode none')
        namespace.ip('-6 addr flush dev eth0')
        # Groups beyond the own network go this way too.
        namespace.ip('route add default dev eth0')

    @classmethod
    def missing(cls):
        """Why it cannot be started here, or None."""
        for path in cls.needs:
            if not os.path.exists(os.path.join(folder(), path)):
                return 'VIREON_PEERS names a folder without %s (./dev peers)' % path
        return None

    @property
    def name(self):
        return type(self).__name__

    def run(self, *command, **environment):
        """Starts a program. What it starts itself ends with it, and it with the test."""
        own = dict(HOME=self.home, TMPDIR=self.home, LC_ALL='C.UTF-8', PATH='/usr/sbin:/usr/bin:/sbin:/bin')
        own['GST_REGISTRY'] = os.path.join(folder(), 'gstreamer')  # which takes seconds to make
        for name in ('CACHE', 'CONFIG', 'DATA', 'RUNTIME'):
            own['XDG_%s_%s' % (name, 'DIR' if name == 'RUNTIME' else 'HOME')] = self.home
        with self.namespace.entered():
            process = subprocess.Popen(
                ['unshare', '--mount', '--pid', '--fork', '--kill-child', os.path.join(HERE, 'over_root.sh')]
                + [os.path.join(folder(), 'programs')]
                + list(command),
                env=dict(own, **environment),
                cwd=self.home,
                stdin=subprocess.DEVNULL,
                stdout=self._log,
                stderr=subprocess.STDOUT,
                preexec_fn=_die_with_parent,
            )
        self._processes.append(process)
        return process

    def write(self, name, text):
        """A file of its own; gives its path."""
        path = os.path.join(self.home, name)
        with open(path, 'w', encoding='utf-8') as file:
            file.write(text)
        return path

    def rewrite(self, searched=PORT, heard=SSDP_PORT):
        """From now on what comes in for the searched port goes to that which is heard."""
        done = self.run('nft', '-f', self.write('rewrite.nft', _REWRITE % (searched, heard)))
        if done.wait() != 0:
            raise OSError('cannot rewrite ports: ' + self.log())
        self._processes.remove(done)

    def log(self):
        with open(self._log.name, 'rb') as file:
            return file.read().decode('utf-8', 'replace')

    def await_ready(self, timeout=180):
        deadline = time.monotonic() + timeout
        while self.port not in bound_ports(self.namespace):
            ended = [process for process in self._processes if process.poll() is not None]
            if ended or time.monotonic() > deadline:
                raise AssertionError('%s does not listen; it said:\n%s' % (self.name, self.log()))
            time.sleep(0.05)

    def close(self):
        for process in self._processes:
            process.kill()
            process.wait()
        self._log.close()
        shutil.rmtree(self.home, ignore_errors=True)


class Minidlna(Peer):
    needs = ('programs/usr/sbin/nft', 'programs/usr/sbin/minidlnad')

    def __init__(self, *arguments):
        super().__init__(*arguments)
        os.mkdir(os.path.join(self.home, 'media'))
        settings = self.write(
            'minidlna.conf',
            'port=8200\nnetwork_interface=eth0\nfriendly_name=Peer %d\nmedia_dir=%s/media\n'
            'db_dir=%s/db\nlog_dir=%s\nuuid=4d696e69-444c-164e-9d41-%012d\n'
            % (self.number, self.home, self.home, self.home, self.number),
        )
        self.rewrite()
        self.run('minidlnad', '-S', '-f', settings, '-P', os.path.join(self.home, 'pid'))


class Gerbera(Peer):
    needs = ('programs/usr/sbin/nft', 'programs/usr/bin/gerbera')
    answers_other_ports = False
    SETTINGS = '''<?xml version="1.0" encoding="UTF-8"?>
<config version="2" xmlns="http://mediatomb.cc/config/2">
  <server>
    <ui enabled="no"/>
    <name>Peer</name>
    <udn>uuid:8c7e9c32-6d1f-4a5e-9d14-1b1f0c0a0002</udn>
    <home>%s</home>
    <webroot>/usr/share/gerbera/web</webroot>
    <storage><sqlite3 enabled="yes"><database-file>gerbera.db</database-file></sqlite3></storage>
  </server>
  <import hidden-files="no">
    <scripting script-charset="UTF-8">
      <virtual-layout type="builtin"/>
      <common-script>/usr/share/gerbera/js/common.js</common-script>
      <playlist-script>/usr/share/gerbera/js/playlists.js</playlist-script>
    </scripting>
  </import>
</config>
'''

    def __init__(self, *arguments):
        super().__init__(*arguments)
        settings = self.write('config.xml', self.SETTINGS % self.home)
        self.rewrite()
        self.run('gerbera', '--config', settings, '--interface', 'eth0')


class Gmediarender(Peer):
    needs = ('programs/usr/sbin/nft', 'programs/usr/bin/gmediarender')
    answers_other_ports = False

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.rewrite()
        self.run(
            'gmediarender',
            '--interface-name=eth0',
            '--friendly-name=Peer',
            '--uuid=GMediaRender-1_0-000-000-003',
            '--gstout-audiosink=fakesink',
            '--gstout-videosink=fakesink',
        )


class Rygel(Peer):
    needs = ('programs/usr/sbin/nft', 'programs/usr/bin/rygel')

    def __init__(self, *arguments):
        super().__init__(*arguments)
        # It stays away from the network until it has something to offer.
        os.mkdir(os.path.join(self.home, 'media'))
        with wave.open(os.path.join(self.home, 'media', 'silence.wav'), 'wb') as sound:
            sound.setparams((1, 2, 8000, 0, 'NONE', ''))
            sound.writeframes(bytes(1600))
        settings = self.write(
            'rygel.conf',
            '[general]\nipv6=false\ninterface=eth0\nport=0\n'
            '[MediaExport]\nenabled=true\ntitle=Peer\nuris=%s/media\nextract-metadata=false\n' % self.home,
        )
        self.rewrite()
        self.run('rygel', '--config=' + settings)


class Miniupnpd(Peer):
    """A gateway, so its namespace has another interface, which it takes for the one to the world."""

    needs = ('programs/usr/sbin/nft', 'programs/usr/sbin/miniupnpd')

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.namespace.ip('link add wan0 type veth peer name nowhere0')
        self.namespace.ip('addr add 203.0.113.1/24 dev wan0')
        self.namespace.ip('link set wan0 up')
        self.namespace.ip('link set nowhere0 up')
        settings = self.write(
            'miniupnpd.conf',
            'ext_ifname=wan0\nlistening_ip=eth0\nport=0\nenable_natpmp=no\nenable_upnp=yes\n'
            'uuid=2b3a9c14-5a3a-4f7e-8a8e-1b1f0c0a0005\nfriendly_name=Peer\n',
        )
        self.rewrite()
        self.run('miniupnpd', '-d', '-f', settings, '-P', os.path.join(self.home, 'pid'))


class WithWindow(Peer):
    """One whose window opens on a screen that nobody sees."""

    def show(self, *command):
        self.run(
            'Xvfb',
            ':7',
            '-nolisten',
            'unix',
            '-listen',
            'tcp',
            '-ac',
            '-nolock',
            '-screen',
            '0',
            '320x240x24',
        )
        deadline = time.monotonic() + 180
        while not self._has_screen():
            if time.monotonic() > deadline:
                raise AssertionError('there is no screen:\n' + self.log())
            time.sleep(0.05)
        self.run(*command, DISPLAY='127.0.0.1:7', NO_AT_BRIDGE='1')

    def _has_screen(self):
        with self.namespace.entered(), open('/proc/thread-self/net/tcp') as table:
            return any(line.split()[1].endswith(':1777') for line in list(table)[1:])


class GupnpTools(WithWindow):
    """Its light bulb."""

    needs = ('programs/usr/sbin/nft', 'programs/usr/bin/gupnp-network-light', 'programs/usr/bin/Xvfb')

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.rewrite()
        self.show('gupnp-network-light', '--interface=eth0', '--name=Peer')


class GupnpUniversalCp(WithWindow):
    """A control point, which looks at each device that it finds."""

    needs = ('programs/usr/sbin/nft', 'programs/usr/bin/gupnp-universal-cp', 'programs/usr/bin/Xvfb')

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.show('gupnp-universal-cp')


class Library(Peer):
    """A server of a few lines, by a library that listens on any port. It answers as a media server, with
    what the library sends and the headers that it can be given."""

    port = PORT

    def __init__(self, *arguments):
        super().__init__(*arguments)
        location = 'http://%s:8080/description.xml' % self.address
        udn = 'uuid:5c0b3d3e-0d5e-4f0a-9b6e-1b1f0c0a%04d' % self.number
        self.device = (location, udn, DEVICE_TYPE.decode(), self.name)
        self.serve()

    def serve(self):
        raise NotImplementedError


class NodeSsdp(Library):
    needs = ('node/node_modules/node-ssdp',)

    def serve(self):
        self.run(*node('node_server.js', str(PORT), *self.device))


class AsyncUpnpClient(Library):
    needs = ('python/async_upnp_client',)

    def serve(self):
        self.run(*python('upnp_server.py', self.address, str(PORT), *self.device))


class Ssdpy(Library):
    needs = ('python/ssdpy',)

    def serve(self):
        self.run(*python('ssdpy_server.py', str(PORT), *self.device))


class Searching(Peer):
    """One that asks instead of answering."""

    def output_of(self, *command):
        process = self.run(*command)
        process.wait()
        return self.log()


class GssdpDiscover(Searching):
    """Asks by the library that Debian's control points find devices with."""

    needs = ('programs/usr/sbin/nft', 'programs/usr/bin/gssdp-discover')


PROGRAMS = (Minidlna, Gerbera, Gmediarender, Rygel, Miniupnpd, GupnpTools)
