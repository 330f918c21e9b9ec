"""The base of the network tests: what they need, and a small network of their own for each."""

import functools
import os
import shutil
import subprocess
import unittest

from capture import Capture
from namespace import Namespace
from responder import GROUP, PORT, Responder
from searcher import Searcher, brings_its_wine, driver_command, module_directory
from staying_wine import lend
from wire_files import watch

# Seconds between two searches. A float holds it exactly, in whole milliseconds, so that no
# rounding of the module's shows in the tests' times.
INTERVAL = 0.375

# How much later than due something may be seen: the machine runs other tests at the same time.
# FACTOR tells how much slower than others this build of the module, or the machine, is.
FACTOR = float(os.environ.get('VIREON_TIME_FACTOR', '1'))
SLACK = 0.35 * FACTOR

# Seconds that a stop may take, apart from a call that is running.
STOP = 0.05 + SLACK

BROADCAST_REQUEST = (
    b'M-SEARCH * HTTP/1.1\r\n'
    b'MX: 5\r\n'
    b'ST: ssdp:all\r\n'
    b'MAN: "ssdp:discover"\r\n'
    b'User-Agent: UPnP/1.0\r\n'
    b'Host: 239.255.255.250:31288\r\n'
    b'Connection: close\r\n'
    b'\r\n'
)
MULTICAST_REQUEST = (
    b'M-SEARCH * HTTP/1.1\r\n'
    b'MX: 5\r\n'
    b'ST: ssdp:all\r\n'
    b'MAN: "ssdp:discover"\r\n'
    b'User-Agent: UPnP/1.0\r\n'
    b'Connection: close\r\n'
    b'Host: 239.255.255.250:31288\r\n'
    b'\r\n'
)

STARTED = 679481088  # what a search returns unless a sender found no port

# The standard network: the searcher's only interface and, on the same cable, the server's.
SEARCHER = '10.77.1.1'
SERVER = '10.77.1.2'
BROADCAST = '10.77.1.255'


def in_ci():
    return os.environ.get('CI') == 'true'


def unmet(reason):
    """Skips the test for a reason of the machine's; where everything must be there, fails it."""
    if in_ci():
        raise AssertionError('CI must have what this test needs: ' + reason)
    raise unittest.SkipTest(reason)


@functools.lru_cache(maxsize=None)
def missing_namespaces():
    if shutil.which('ip') is None:
        return 'the `ip` program of iproute2 is not installed'
    try:
        Namespace().close()
    except OSError as error:
        return os.environ.get('VIREON_PRIVATE_NETWORK') or 'run.py makes what is missing: %s' % error
    return None


@functools.lru_cache(maxsize=None)
def missing_module():
    folder = module_directory()
    if not any(os.path.exists(os.path.join(folder, '_vireon.' + ending)) for ending in ('so', 'pyd')):
        return 'VIREON_MODULE_DIR names no folder with the module: %r' % folder
    try:
        version = subprocess.run(
            driver_command() + ['--version'], stdout=subprocess.PIPE, stderr=subprocess.STDOUT
        ).stdout
    except OSError as error:
        return 'VIREON_PYTHON does not run: %s' % error
    if b'Python 2.7' not in version:
        return 'VIREON_PYTHON is no Python 2.7: %r' % version
    return None


class NetworkCase(unittest.TestCase):
    _has_namespace = False

    def setUp(self):
        reason = missing_namespaces() or missing_module()
        if reason:
            unmet(reason)

    def note(self, text):
        print('%s: %s' % (self.id(), text))

    def namespace(self):
        """The first one of a test is where it searches."""
        is_first, self._has_namespace = not self._has_namespace, True
        namespace = lend() if is_first and brings_its_wine() else Namespace()
        self.addCleanup(namespace.close)
        watch(namespace)
        return namespace

    def capture(self, namespace):
        capture = Capture(namespace)
        self.addCleanup(capture.close)
        return capture

    def responder(self, namespace, addresses=(SERVER,), reply=None):
        responder = Responder(namespace, addresses, reply)
        self.addCleanup(responder.close)
        return responder

    def searcher(self, namespace, interval=INTERVAL):
        searcher = Searcher(namespace, interval)
        self.addCleanup(self._finish, searcher)
        return searcher

    def on_posix_only(self, searcher, reason):
        """Tells a test apart by the platform that the module runs on."""
        if searcher.system != 'posix':
            self.skipTest(reason)

    def standard_network(self, options='broadcast +'):
        """Makes the searcher's and the server's namespace, joined by one cable."""
        here, there = self.namespace(), self.namespace()
        here.connect('eth0', there, 'eth0')
        here.ip('addr add %s/24 %s dev eth0' % (SEARCHER, options))
        there.ip('addr add %s/24 broadcast + dev eth0' % SERVER)
        self.here, self.there = here, there

    def standard_search(self, interval=INTERVAL, reply=None):
        """The standard network with a capture, a responder and a search that has begun."""
        self.standard_network()
        self.wire = self.capture(self.here)
        self.server = self.responder(self.there, reply=reply)
        self.client = self.searcher(self.here, interval)
        self.assertEqual(self.client.search(), STARTED)

    def _finish(self, searcher):
        """Every test that says nothing else ends with a stop, the engine's end and a clean exit."""
        if searcher.process.returncode is not None:
            return
        try:
            searcher.stop()
            searcher.call('delete')
            code = searcher.end()
        except BaseException:
            searcher.kill()
            raise
        self.assertEqual(code, 0, searcher.errors())
        self.assertEqual(searcher.errors(), b'')

    def expect_errors(self, searcher, text, count=1):
        """Waits for a print to the errors and ends the search, which must be clean otherwise."""
        errors = searcher.wait_errors(text, count)
        searcher.stop()
        searcher.call('delete')
        self.assertEqual(searcher.end(), 0)
        return errors

    def assert_due(self, gaps, interval, late=0.0):
        """Each gap lasts the interval, and no longer than what may come on top of it."""
        for gap in gaps:
            self.assertGreaterEqual(gap, interval - 0.005, gaps)
            self.assertLessEqual(gap, interval + late + SLACK, gaps)


def searches(datagrams):
    return [datagram for datagram in datagrams if datagram.destination_port == PORT]


def cycle_gaps(datagrams):
    """The times between one sender's cycles; the two datagrams of a cycle count once."""
    starts = [datagram.time for datagram in datagrams[::2]]
    return [later - earlier for earlier, later in zip(starts, starts[1:])]


def to_group(datagrams):
    return [datagram for datagram in datagrams if datagram.destination == GROUP]


def to_broadcast(datagrams, address=BROADCAST):
    return [datagram for datagram in datagrams if datagram.destination == address]
