"""The sample media server is started as its usage says and asked."""

import os
import re
import signal
import socket
import subprocess
import sys
import unittest

from network_case import BROADCAST, MULTICAST_REQUEST, SEARCHER, NetworkCase
from responder import GROUP, PORT
from searcher import driver_command, module_directory

SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'examples', 'media_server.py')


class MediaServerTest(NetworkCase):
    python = [sys.executable]

    def setUp(self):
        super().setUp()
        self.standard_network()  # which has no default route

    def start(self, *options):
        with self.there.entered():
            server = subprocess.Popen(
                self.python + ['-B', SCRIPT] + list(options),
                env=dict(os.environ, LC_ALL='C.UTF-8'),
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                universal_newlines=True,
                encoding='utf-8',
            )
        self.addCleanup(server.stdout.close)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        self.assertIn('listening on port 31288', server.stdout.readline())
        return server

    def ask(self, destination=GROUP):
        """The answer to one search from the other end of the cable."""
        return self.answer(destination)[0].decode()

    def answer(self, destination=GROUP):
        """The answer's bytes, and the address and port that it came from."""
        with self.here.entered():
            asking = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        with asking:
            asking.settimeout(5)
            asking.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
            asking.bind((SEARCHER, 0))
            asking.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(SEARCHER))
            asking.sendto(MULTICAST_REQUEST, (destination, PORT))
            return asking.recvfrom(65536)

    def uuid(self):
        return re.search(r'\r\nUSN: uuid:([-0-9a-f]{36})::', self.ask()).group(1)

    def uuid_of_a_run(self, *options):
        server = self.start(*options)
        uuid = self.uuid()
        server.send_signal(signal.SIGTERM)
        self.assertEqual(server.wait(10), 0)
        return uuid

    def test_it_needs_no_interface_named_and_no_default_route(self):
        self.start()
        for destination in (GROUP, BROADCAST):
            self.assertTrue(self.ask(destination).startswith('HTTP/1.1 200 OK\r\n'))

    def test_it_hears_the_group_on_each_interface(self):
        self.there.connect('eth1', self.namespace(), 'eth0')
        self.there.ip('addr add 10.77.2.2/24 broadcast + dev eth1')
        self.start()
        self.assertEqual(
            sum('239.255.255.250' in line for line in self.there.ip('maddress show').splitlines()),
            3,
            'with loopback',
        )

    def test_a_restart_keeps_its_uuid(self):
        self.assertEqual(self.uuid_of_a_run(), self.uuid_of_a_run())

    def test_another_name_makes_another_uuid(self):
        self.assertNotEqual(self.uuid_of_a_run('--name', 'Den'), self.uuid_of_a_run('--name', 'Kitchen'))

    def test_its_uuid_may_be_chosen(self):
        chosen = '01234567-89ab-cdef-0123-456789abcdef'
        self.assertEqual(self.uuid_of_a_run('--uuid', chosen), chosen)

    def test_it_answers_from_its_own_port_unless_another_one_is_asked_for(self):
        server = self.start()
        self.assertEqual(self.answer()[1], ('10.77.1.2', PORT))
        server.kill()
        server.wait()
        self.start('--other-port')
        answer, (address, port) = self.answer()
        self.assertIn(b'200 OK', answer)
        self.assertEqual(address, '10.77.1.2')
        self.assertNotEqual(port, PORT)

    def test_its_name_may_be_in_any_language(self):
        self.start('--name', 'Küche 東京')
        self.assertIn('\r\nFriendlyName: Küche 東京\r\n', self.ask())

    def test_it_serves_what_its_answer_points_to(self):
        self.start('--serve', '--name', 'Den & Co')
        with self.here.entered():
            asking = socket.create_connection(('10.77.1.2', 8080), 5)
        with asking:
            asking.sendall(b'GET /description.xml HTTP/1.0\r\n\r\n')
            with asking.makefile('rb') as response:
                served = response.read()
        self.assertIn(b'<friendlyName>Den &amp; Co</friendlyName>', served)

    def test_a_client_out_of_reach_ends_nothing(self):
        self.start()
        with self.here.entered():
            raw = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_RAW)
        self.addCleanup(raw.close)
        # From an address that the server has no way to.
        size = 8 + len(MULTICAST_REQUEST)
        raw.sendto(
            b'\x45\0'
            + (20 + size).to_bytes(2, 'big')
            + b'\0\0\0\0\x04\x11\0\0'
            + socket.inet_aton('10.99.0.1')
            + socket.inet_aton('10.77.1.2')
            + b'\x30\x39'
            + PORT.to_bytes(2, 'big')
            + size.to_bytes(2, 'big')
            + b'\0\0'
            + MULTICAST_REQUEST,
            ('10.77.1.2', 0),
        )
        self.assertIn('200 OK', self.ask())


class OlderInterpreterTest(MediaServerTest):
    """By the Python 2.7 that the module's hosts use, which may be the only one on a machine."""

    def setUp(self):
        if os.path.exists(os.path.join(module_directory(), '_vireon.pyd')):
            self.skipTest('platform: on Windows the server is tried where its users run it, from the bundle')
        super().setUp()
        self.python = driver_command()

    def test_it_is_the_same_server_by_either_interpreter(self):
        uuids = set()
        for self.python in (driver_command(), [sys.executable]):
            uuids.add(self.uuid_of_a_run('--name', 'Küche'))
        self.assertEqual(len(uuids), 1, uuids)


if __name__ == '__main__':
    unittest.main()
