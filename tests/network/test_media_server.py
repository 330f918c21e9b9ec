"""The sample media server is started as its usage says and asked."""

import contextlib
import os
import re
import signal
import socket
import subprocess
import sys
import time
import unittest
import xml.etree.ElementTree

from network_case import BROADCAST, MULTICAST_REQUEST, SEARCHER, SERVER, SLACK, STARTED, NetworkCase
from responder import DEVICE_TYPE, GROUP, PORT
from searcher import driver_command, module_directory
from test_script_layer import Layer

TREE = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..')
SCRIPT = os.path.join(TREE, 'examples', 'media_server.py')
MAKERS_PAGE = os.path.join(TREE, 'docs', 'server-makers.md')
UUID = '01234567-89ab-cdef-0123-456789abcdef'
TYPE = DEVICE_TYPE.decode()
DESCRIPTION = '{urn:schemas-upnp-org:device-1-0}'  # the namespace of its elements


class ServerCase(NetworkCase):
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
        for _ in range(max(1, options.count('--name'))):
            self.assertIn('listening on port 31288', server.stdout.readline())
        return server

    @contextlib.contextmanager
    def asking(self):
        """A socket at the other end of the cable."""
        with self.here.entered():
            asking = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        with asking:
            asking.settimeout(5)
            asking.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
            asking.bind((SEARCHER, 0))
            asking.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(SEARCHER))
            yield asking

    def ask(self, destination=GROUP):
        """The first answer to a search for everything."""
        return self.answer(destination)[0].decode()

    def answer(self, destination=GROUP):
        """The answer's bytes, and the address and port that it came from."""
        with self.asking() as asking:
            asking.sendto(MULTICAST_REQUEST, (destination, PORT))
            return asking.recvfrom(65536)

    def answers(self, *targets, count, wait=b'5'):
        """The headers of so many answers, and no more, to searches for these targets."""
        with self.asking() as asking:
            for target in targets:
                request = MULTICAST_REQUEST.replace(b'ssdp:all', target.encode()).replace(b'5', wait, 1)
                asking.sendto(request, (GROUP, PORT))
            found = [headers_of(asking.recv(65536)) for _ in range(count)]
            asking.settimeout(0.3)
            with self.assertRaises(socket.timeout):
                found.append(headers_of(asking.recv(65536)))
        return found

    def get(self, path, port=8080):
        """What is served: the status line and the body."""
        with self.here.entered():
            asking = socket.create_connection((SERVER, port), 5)
        with asking:
            asking.sendall(b'GET %s HTTP/1.0\r\n\r\n' % path.encode())
            with asking.makefile('rb') as response:
                head, _, body = response.read().partition(b'\r\n\r\n')
        return head.split(b'\r\n')[0].decode(), body


def headers_of(answer):
    """Of an answer, with whatever it holds twice held against it."""
    lines = answer.decode().split('\r\n')
    assert lines[0] == 'HTTP/1.1 200 OK' and lines[-2:] == ['', ''], lines
    headers = [tuple(line.split(':', 1)) for line in lines[1:-2]]
    assert len({name.lower() for name, _ in headers}) == len(headers), headers
    return {name: value.strip() for name, value in headers}


class MediaServerTest(ServerCase):
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
        self.assertEqual(self.uuid_of_a_run('--uuid', UUID), UUID)

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

    def test_each_kind_of_target_is_answered_with_its_own_usn(self):
        self.start('--uuid', UUID)
        for target, usn in (
            ('upnp:rootdevice', 'uuid:%s::upnp:rootdevice' % UUID),
            ('uuid:' + UUID, 'uuid:' + UUID),
            (TYPE, 'uuid:%s::%s' % (UUID, TYPE)),
        ):
            with self.subTest(target):
                headers = self.answers(target, count=1)[0]
                self.assertEqual((headers['ST'], headers['USN'], headers['EXT']), (target, usn, ''))

    def test_a_search_for_everything_has_an_answer_of_each_kind(self):
        self.start('--uuid', UUID)
        self.assertEqual(
            [each['ST'] for each in self.answers('ssdp:all', count=3)],
            ['upnp:rootdevice', 'uuid:' + UUID, TYPE],
        )

    def test_what_is_nothing_of_its_own_is_not_answered(self):
        self.start('--uuid', UUID)
        others = ('uuid:' + UUID[:-1], TYPE + '0', 'urn:schemas-upnp-org:device:MediaServer:1')
        self.assertEqual([each['ST'] for each in self.answers(*others, TYPE, count=1)], [TYPE])

    def test_its_description_is_that_of_a_device(self):
        self.start('--uuid', UUID, '--name', 'Den & Co')
        status, served = self.get('/description.xml')
        self.assertIn(' 200 ', status)
        root = xml.etree.ElementTree.fromstring(served)
        self.assertEqual(root.tag, DESCRIPTION + 'root')
        self.assertEqual([each.tag for each in root], [DESCRIPTION + 'specVersion', DESCRIPTION + 'device'])
        self.assertEqual([int(each.text) for each in root[0]], [1, 1])
        device = {each.tag.replace(DESCRIPTION, ''): each.text for each in root[1]}
        self.assertEqual(
            (device['deviceType'], device['friendlyName'], device['UDN']), (TYPE, 'Den & Co', 'uuid:' + UUID)
        )
        self.assertTrue(device['manufacturer'] and device['modelName'])

    def test_it_serves_what_it_points_to_and_announces_nothing_else(self):
        self.start()
        headers = self.answers(TYPE, count=1)[0]
        base = 'http://%s:8080' % SERVER
        for name in ('LOCATION', 'ManufacturerURL', 'ModelURL', 'PresentationURL'):
            self.assertTrue(headers[name].startswith(base + '/'), headers)
            self.assertIn(' 200 ', self.get(headers[name][len(base) :])[0])
        self.assertIn(' 404 ', self.get('/elsewhere')[0])
        self.assertEqual([name for name in headers if name.endswith('Port')], ['HttpPort'])
        self.assertEqual(headers['HttpPort'], '8080')

    def test_where_it_serves_nothing_it_announces_nothing_that_is_served(self):
        self.start('--no-serve')
        headers = self.answers(TYPE, count=1)[0]
        self.assertEqual(
            [name for name in headers if name == 'LOCATION' or name.endswith(('URL', 'Port'))], ['LOCATION']
        )
        with self.assertRaises(ConnectionRefusedError):
            self.get('/description.xml')

    def test_a_port_that_is_taken_is_not_announced(self):
        with self.there.entered():
            taken = socket.create_server(('', 8080))
        self.addCleanup(taken.close)
        self.start('--uuid', UUID)
        port = self.answers(TYPE, count=1)[0]['HttpPort']
        self.assertNotEqual(port, '8080')
        self.assertIn(UUID.encode(), self.get('/description.xml', int(port))[1])

    def test_several_names_are_as_many_servers(self):
        self.start('--name', 'Den', '--name', 'Kitchen', '--http-port', '9000')
        headers = self.answers(TYPE, count=2)
        self.assertEqual([each['FriendlyName'] for each in headers], ['Den', 'Kitchen'])
        self.assertEqual([each['HttpPort'] for each in headers], ['9000', '9001'])
        for each in headers:
            udn = each['USN'].split('::')[0].encode()
            self.assertIn(b'<UDN>%s</UDN>' % udn, self.get('/description.xml', int(each['HttpPort']))[1])
        self.assertNotEqual(headers[0]['USN'], headers[1]['USN'])

    def test_two_servers_are_not_one(self):
        tried = subprocess.run(
            self.python + ['-B', SCRIPT, '--name', 'Den', '--name', 'Den'], stderr=subprocess.PIPE, timeout=30
        )
        self.assertEqual(tried.returncode, 2)
        self.assertIn(b'a name or a --uuid of its own', tried.stderr)

    def test_its_answers_may_take_their_time(self):
        self.start('--delay', '0.5')
        asked = time.monotonic()
        self.answers(TYPE, count=1)
        self.assertGreater(time.monotonic() - asked, 0.5)

    def test_its_answers_may_be_spread_over_the_time_that_a_search_allows_for(self):
        self.start('--spread')
        for wait, seconds in ((b'2', 2), (b'0', 0), (b'-1', 0), (b'\xb2', 0), (5000 * b'9', 0)):
            with self.subTest(wait[:9]), self.asking() as asking:
                asked = time.monotonic()
                for _ in range(8):
                    asking.sendto(MULTICAST_REQUEST.replace(b'5', wait, 1), (GROUP, PORT))
                for _ in range(24):
                    asking.recv(65536)
                taken = time.monotonic() - asked
                self.assertLess(taken, seconds + SLACK)
                # That all of so many are within the first tenth does not happen.
                self.assertGreater(taken, seconds / 10)

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


class FaultsTest(ServerCase):
    """What the module makes of each fault, beside a server that has none."""

    def setUp(self):
        super().setUp()
        self.start('--name', 'Witness')
        self.client = self.searcher(self.here)
        self.assertEqual(self.client.search(), STARTED)

    def names_after_two_rounds(self):
        """Who was found at least once since this began, and the first of which may be under way."""
        before = len(self.calls_of(b'Witness'))
        self.client.wait_found(lambda _: len(self.calls_of(b'Witness')) >= before + 8, 'two rounds')
        return {call.name.decode() for call in self.client.found()}

    def calls_of(self, name):
        return [call for call in self.client.found() if call.name == name]

    def faulty_answer(self, fault):
        """Starts a server with that fault; gives its answer, whatever that looks like."""
        self.start('--name', fault, '--uuid', UUID, '--fault', fault)
        with self.asking() as asking:
            asking.sendto(MULTICAST_REQUEST.replace(b'ssdp:all', b'uuid:' + UUID.encode()), (GROUP, PORT))
            return asking.recv(65536)

    def assert_not_reported(self, fault, shows):
        self.assertTrue(shows(self.faulty_answer(fault)))
        self.assertEqual(self.names_after_two_rounds(), {'Witness'})

    def test_without_ext_it_is_not_reported(self):
        self.assert_not_reported('no-ext', lambda answer: b'\r\nEXT' not in answer)

    def test_with_an_ext_that_is_no_header_it_is_not_reported(self):
        self.assert_not_reported('ext-without-colon', lambda answer: b'\r\nEXT\r\n' in answer)

    def test_without_a_name_it_is_not_reported(self):
        self.assert_not_reported('no-friendly-name', lambda answer: b'FriendlyName' not in answer)

    def test_without_a_location_it_is_not_reported(self):
        self.assert_not_reported('no-location', lambda answer: b'LOCATION' not in answer)

    def test_with_a_usn_of_another_type_it_is_not_reported(self):
        self.assert_not_reported('other-usn', lambda answer: b'::urn:schemas-upnp-org:device:M' in answer)

    def test_with_an_answer_that_is_over_long_it_is_not_reported(self):
        self.assert_not_reported('over-long', lambda answer: len(answer) == 2140)

    def test_with_garbage_it_is_not_reported(self):
        self.assert_not_reported('garbage', lambda answer: b'HTTP' not in answer)

    def test_without_a_closing_line_it_is_reported_all_the_same(self):
        self.assertFalse(self.faulty_answer('no-closing-line').endswith(b'\r\n\r\n'))
        self.client.wait_name(b'no-closing-line')
        self.assertEqual(self.names_after_two_rounds(), {'Witness', 'no-closing-line'})

    def test_silent_it_is_reported_no_more(self):
        self.start('--name', 'soon silent', '--fault', 'silent-after=3')
        self.client.wait_found(lambda _: len(self.calls_of(b'soon silent')) == 3, 'three answers')
        self.names_after_two_rounds()
        self.assertEqual(len(self.calls_of(b'soon silent')), 3)

    def test_the_page_for_makers_tells_of_each(self):
        told = subprocess.run(
            self.python + ['-B', SCRIPT, '--help'],
            # Which else breaks its lines within the names.
            env=dict(os.environ, COLUMNS='1000'),
            stdout=subprocess.PIPE,
            timeout=30,
        )
        offered = re.sub(r'\s+', ' ', told.stdout.decode()).partition('one of: ')[2].strip().split(', ')
        with open(MAKERS_PAGE, encoding='utf-8') as file:
            rows = re.findall(r'^\| ((?:`[\w=-]+`(?:, )?)+) \| ', file.read().partition('`--fault`')[2], re.M)
        self.assertEqual(sorted(re.findall('`(.*?)`', ' '.join(rows))), sorted(offered))


JUDGE = """
from vireon.verdict import judge
print judge(%r).says or 'taken'
"""


class VerdictOnFaultsTest(ServerCase):
    def verdict(self, fault):
        server = self.start('--fault', fault)
        with self.asking() as asking:
            asking.sendto(MULTICAST_REQUEST.replace(b'ssdp:all', DEVICE_TYPE), (GROUP, PORT))
            answer = asking.recv(65536)
        server.kill()
        server.wait()
        judge = Layer(self.here, 'run', text=JUDGE % answer)
        self.addCleanup(judge.close)
        self.assertEqual(judge.end(), (0, b''))
        return judge.lines[0]

    def test_the_page_for_makers_tells_what_the_doctor_says(self):
        with open(MAKERS_PAGE, encoding='utf-8') as file:
            rows = re.findall(r'^\| (`.*`) \| .* \| (.*) \|$', file.read().partition('`--fault`')[2], re.M)
        self.assertEqual(len(rows), 8)
        for names, says in rows:
            for fault in re.findall('`(.*?)`', names):
                with self.subTest(fault):
                    self.assertEqual(self.verdict(fault.replace('=N', '=1')), says)


if __name__ == '__main__':
    unittest.main()
