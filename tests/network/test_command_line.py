"""python -m vireon: what it tells of the servers that are there, and of those that are not found."""

import collections
import fcntl
import json
import os
import pty
import re
import select
import signal
import struct
import subprocess
import tempfile
import termios
import time
import unittest
import unittest.mock

from capture import by_sender
from network_case import INTERVAL
from responder import answer
from searcher import driver_command
from test_peer_answers import recorded
from test_script_layer import LIMIT, OTHER_NETWORK, LayerCase

HERE = os.path.dirname(os.path.abspath(__file__))
PAGE = os.path.join(HERE, '..', '..', 'docs', 'command-line.md')

ON_WINDOWS = 'VIREON_DRIVER_PYTHON' in os.environ  # or on what acts as it
PROGRAM = ('-m', 'vireon')
SECONDS = 2
LOCATION = 'http://10.77.1.2:8080/description.xml'
LINE = 'Living room                     10.77.1.2        ' + LOCATION

HOSTILE = answer(
    b'\x1b[2JK\xc3\xbcche\xc2\x9b1m\x07', ModelName=b'\x1b]0;x\x07', LOCATION=b'http://h/\x1b[2J\x9b'
)
HOSTILE_NAME = '\ufffd[2JK\xfcche\ufffd1m\ufffd'
FAULTS_AND_REASONS = '''
import json
from vireon import interfaces as i
from vireon.verdict import FAULTS
reasons = (i.TOO_MANY, i.DOWN, i.LOOPBACK, i.NO_MULTICAST, i.POINT_TO_POINT, i.UNSET, i.NO_BROADCAST)
print json.dumps([FAULTS, reasons])
'''
CONTROL = re.compile('[\x00-\x09\x0b-\x1f\x7f-\x9f]')


def environment(**more):
    if 'VIREON_DRIVER_PRELOAD' in os.environ:
        more['LD_PRELOAD'] = os.environ['VIREON_DRIVER_PRELOAD']
    return dict(os.environ, PYTHONDONTWRITEBYTECODE='1', **more)


class CommandCase(LayerCase):
    def command(self, *words, seconds=SECONDS):
        words += ('--interval', INTERVAL) + (('--seconds', seconds) if seconds else ())
        return self.layer(*words, program=PROGRAM)

    def told(self, *words, seconds=SECONDS):
        """Its exit code, its lines and what it printed to the errors."""
        command = self.command(*words, seconds=seconds)
        code, errors = command.end()
        return code, command.lines, errors.decode().replace('\r\n', '\n')

    def not_on_windows(self, reason):
        if ON_WINDOWS:
            self.skipTest('platform: ' + reason)

    def answering(self, *datagrams):
        self.standard_network()
        return self.responder(self.there, reply=lambda request: datagrams)


class ListTest(CommandCase):
    def test_each_server_is_listed_once(self):
        self.answering(answer())
        code, lines, errors = self.told('list')
        self.assertEqual((code, lines[1:], errors), (0, [LINE], ''))
        self.assertEqual(lines[0].split(), ['NAME', 'ADDRESS', 'LOCATION'])

    def test_without_a_server_it_says_who_tells_why(self):
        self.answering()
        expected = 'No server was found. python -m vireon doctor tells why.\n'
        self.assertEqual(self.told('list'), (1, [], expected))

    def test_nothing_of_a_server_steers_the_terminal(self):
        self.answering(HOSTILE)
        for verb in ('list', 'describe', 'doctor', 'watch'):
            with self.subTest(verb):
                code, lines, errors = self.told(verb)
                self.assertEqual((code, errors), (0, ''))
                self.assertIn(HOSTILE_NAME, '\n'.join(lines))
                self.assertIsNone(CONTROL.search('\n'.join(lines)))

    def test_an_interrupt_ends_it_early(self):
        self.not_on_windows('an interrupt is sent by the console there')
        self.answering(answer())
        command = self.command('list', seconds=LIMIT)
        self.await_lines(command, 2)
        command.process.send_signal(signal.SIGINT)
        self.assertEqual(command.end(), (130, b''))

    def await_lines(self, command, count):
        deadline = time.monotonic() + LIMIT
        while len(command.lines) < count and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertGreaterEqual(len(command.lines), count)


class DescribeTest(CommandCase):
    def test_all_that_a_server_says_is_written(self):
        self.answering(answer())
        code, lines, errors = self.told('describe')
        self.assertEqual((code, len(lines), errors), (0, 15, ''))
        self.assertIn('modelName         Tester', lines)
        self.assertIn('location          ' + LOCATION, lines)

    def test_one_is_chosen_by_its_name_or_location_or_usn(self):
        usn = b'uuid:7::urn:schemas-upnp-org:device:ZOMediaServer:1'
        self.answering(answer(), answer(b'K\xc3\xbcche', USN=usn, LOCATION=b'http://10.77.1.2/7'))
        # An argument is text whatever the locale says.
        self.enterContext(unittest.mock.patch.dict(os.environ, LC_ALL='C'))
        for which in ('Küche', 'http://10.77.1.2/7', usn.decode()):
            with self.subTest(which):
                if which == 'Küche':
                    self.not_on_windows(
                        'the arguments of that interpreter come in the code page of the system'
                    )
                code, lines, errors = self.told('describe', which)
                self.assertEqual((code, len(lines), errors), (0, 15, ''))
                self.assertIn('usn               ' + usn.decode(), lines)
        expected = 'That server was not found. python -m vireon list tells which are there.\n'
        self.assertEqual(self.told('describe', 'Attic'), (1, [], expected))


class WatchTest(CommandCase):
    def test_without_a_terminal_each_event_is_a_line(self):
        server = self.answering(answer())
        command = self.command('watch', seconds=None)
        self.wait(lambda: len(command.lines) >= 1)
        server.reply = lambda request: []
        self.wait(lambda: len(command.lines) >= 2)
        self.assertEqual(command.lines, ['found    ' + LINE, 'lost     ' + LINE])

    def test_whose_answers_are_dropped_is_told_on_demand(self):
        self.answering(answer(without=('EXT',)))
        code, lines, errors = self.told('watch', '--dropped')
        self.assertEqual((code, errors), (0, ''))
        rows = [line.split(None, 3) for line in lines]
        self.assertEqual(
            [row[:2] + row[3:] for row in rows], 2 * [['dropped', '10.77.1.2', 'no EXT header']], lines
        )
        self.assertGreater(int(rows[1][2]), int(rows[0][2]), 'counted to the end')

    def test_what_a_server_tells_of_its_parts_is_not_dropped_before_the_rest_has_its_time(self):
        self.answering(answer(ST=b'upnp:rootdevice', USN=b'uuid:0001::upnp:rootdevice'))
        self.assertEqual(self.told('watch', '--dropped'), (0, [], ''))

    def test_those_dropped_are_told_of_each_address_that_the_machine_has_then(self):
        self.answering(answer())
        other = self.second_network()
        self.responder(other, OTHER_NETWORK[1:], lambda request: [b'garbage'])
        command = self.command('watch', '--dropped', seconds=None)
        self.wait(lambda: len(command.lines) >= 1)
        self.join_second_network()
        self.wait(lambda: any(re.match(r'dropped +10\.77\.2\.2 ', line) for line in list(command.lines)))

    def test_an_interrupt_is_its_usual_end(self):
        self.not_on_windows('an interrupt is sent by the console there')
        self.answering(answer())
        command = self.command('watch', seconds=None)
        self.wait(lambda: len(command.lines) >= 1)
        command.process.send_signal(signal.SIGINT)
        self.assertEqual(command.end(), (0, b''))

    def test_it_ends_when_nobody_reads_it_any_more(self):
        self.not_on_windows('pipes end in another way there')
        self.answering(answer())
        reading, writing = os.pipe()
        os.close(reading)
        with self.here.entered():
            process = subprocess.Popen(
                driver_command() + [*PROGRAM, 'watch'],
                env=environment(),
                stdout=writing,
                stderr=subprocess.PIPE,
            )
        os.close(writing)
        self.addCleanup(process.kill)
        self.assertEqual((process.communicate(timeout=LIMIT)[1], process.returncode), (b'', 0))

    def test_on_a_terminal_it_is_a_table_that_stays_in_its_place(self):
        self.not_on_windows('a terminal is a console window there')
        self.answering(HOSTILE)
        master, terminal = pty.openpty()
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack('4H', 10, 90, 0, 0))
        with self.here.entered():
            process = subprocess.Popen(
                driver_command() + [*PROGRAM, 'watch', '--interval', str(INTERVAL)],
                env=environment(TERM='xterm', PYTHONIOENCODING='utf-8'),
                stdin=terminal,
                stdout=terminal,
                stderr=terminal,
            )
        os.close(terminal)
        self.addCleanup(os.close, master)
        self.addCleanup(process.kill)
        seen = ''
        deadline = time.monotonic() + LIMIT
        # Two tables behind the first one that has the server.
        while seen.partition(HOSTILE_NAME)[2].count('\x1b[H') < 2 and time.monotonic() < deadline:
            if select.select([master], [], [], 1)[0]:
                seen += os.read(master, 65536).decode('utf-8', 'replace')
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(LIMIT), 0)
        # What was read last may end within a row.
        whole_rows = re.split(r'\x1b\[K\r\n', seen)[:-1]
        rows = [row.split() for row in whole_rows if HOSTILE_NAME in row]
        self.assertEqual(rows[0][1:3], ['h', '1'])
        self.assertGreater(int(rows[-1][-1]), int(rows[0][-1]), 'its answers are counted')
        # What is left without our own four sequences.
        self.assertIsNone(CONTROL.search(re.sub(r'\x1b\[[HKJ]|\r\n', '', seen)), repr(seen))

    def wait(self, condition):
        deadline = time.monotonic() + LIMIT
        while not condition() and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertTrue(condition())


class DoctorTest(CommandCase):
    def expect(self, code, what_to_do, *lines):
        """The beginning of its last sentence, and lines that it has to have."""
        told_code, told, errors = self.told('doctor')
        self.assertEqual((told_code, errors), (code, ''), told)
        self.assertEqual(told[-1][: len('What to do: ' + what_to_do)], 'What to do: ' + what_to_do)
        for line in lines:
            self.assertTrue(any(re.search(line, each) for each in told), (line, told))
        return told

    def test_a_good_server(self):
        self.answering(answer())
        self.expect(
            0,
            'Nothing is to be done: 1 server is found.',
            r'^  (eth0)? +10\.77\.1\.1/24 +searched$',
            r'^  10\.77\.1\.255:31288 +\d+ from port \d+$',
            r'^  239\.255\.255\.250:31288 +\d+ from 10\.77\.1\.1, port \d+$',
            r'^  10\.77\.1\.2:31288 +\d+ taken: Living room \(the module told of it, too\)$',
            r'^  firewall +\S',
            r'^  receive buffer +[\d,]+ bytes',
        )

    def test_no_server(self):
        self.answering()
        self.expect(1, 'Start a media server in one of the networks above: nothing answers, ', '^  none$')

    def test_a_server_without_ext(self):
        self.answering(answer(without=('EXT',)))
        self.expect(
            1,
            'Have the server at 10.77.1.2 send the header "EXT:", ',
            r'^  10\.77\.1\.2:31288 +\d+ dropped: no EXT header$',
        )

    def test_a_server_whose_answer_is_too_long(self):
        self.answering(answer(ModelName=b'x' * (2140 - len(answer(ModelName=b'')))))
        self.expect(
            1,
            'Have the server at 10.77.1.2 leave out headers until its answer has 2,000 bytes at most.',
            r'^  10\.77\.1\.2:31288 +\d+ dropped: 2,140 bytes, 2,000 at most$',
        )

    def test_a_good_server_beside_a_bad_one(self):
        self.answering(answer())
        other = self.namespace()
        self.here.connect('eth1', other, 'eth0')
        self.here.ip('addr add 10.77.2.1/24 broadcast + dev eth1')
        other.ip('addr add 10.77.2.2/24 broadcast + dev eth0')
        self.responder(other, ('10.77.2.2',), lambda request: [answer(without=('FriendlyName',))])
        self.expect(
            0,
            '1 server is found; have the server at 10.77.2.2 send the header FriendlyName',
            'taken',
            'dropped',
        )

    def test_a_device_of_another_kind(self):
        self.answering(recorded(lambda payload: True)['gupnptools'])
        self.expect(
            1,
            'Start a media server in one of the networks above: of what answers (1) nothing is one.',
            r'^  10\.77\.1\.2:31288 +\d+ no media server: another kind of device$',
        )

    def test_loopback_alone(self):
        self.here = self.namespace()
        self.here.ip('link set lo up')
        self.expect(1, 'Connect this machine to a network', r'127\.0\.0\.1/8 +not searched: ')

    def test_interfaces_that_cannot_be_searched(self):
        self.standard_network()
        self.here.ip('link set eth0 multicast off')
        self.here.ip('link add name eth1 type veth peer name eth2')
        self.here.ip('addr add 10.77.2.1/24 dev eth1')
        no_multicast = r'10\.77\.1\.1/24 +not searched: its interface takes no multicast$'
        others = (
            r'^  eth1 +10\.77\.2\.1/24 +not searched: its interface is down$',
            r'^  eth2 +- +not searched: it has no IPv4 address$',
        )
        self.expect(
            1,
            'Mend what stands behind the addresses above: none of them can be searched.',
            no_multicast,
            *([] if ON_WINDOWS else others)
        )

    def test_a_firewall_that_drops(self):
        self.not_on_windows('that system has another firewall')
        # As a firewall leaves it: the server hears the searches, and nobody hears the server.
        self.answering()
        self.with_tool('nft', 'chain input { type filter hook input priority 0; policy drop; }')
        self.expect(
            1,
            'Start a media server in one of the networks above: nothing answers, and if there is one already, '
            'this machine\'s firewall may drop its answers: let in UDP from port 31288',
            '^  firewall +nftables: 1 of its rules and policies drop or reject$',
        )

    def test_a_firewall_that_drops_nothing(self):
        self.not_on_windows('that system has another firewall')
        self.answering()
        self.with_tool('nft', '')
        self.expect(
            1,
            'Start a media server in one of the networks above: nothing answers, though this machine\'s '
            'firewall drops nothing.',
            '^  firewall +nftables: no rule drops anything$',
        )

    def with_tool(self, name, output):
        """A program of that name stands in front of others and prints this."""
        folder = self.enterContext(tempfile.TemporaryDirectory())
        path = os.path.join(folder, name)
        with open(path, 'w') as file:
            file.write("#!/bin/sh\nprintf '%%s\\n' '%s'\n" % output)
        os.chmod(path, 0o755)
        self.enterContext(unittest.mock.patch.dict(os.environ, PATH=folder + ':' + os.environ['PATH']))

    def test_it_sends_what_the_module_sends_from_the_same_addresses(self):
        self.standard_network()
        # Windows lists none of them where there are too many.
        more, kept = (3, 4) if ON_WINDOWS else (38, 31)
        for number in range(2, 2 + more):
            self.here.ip('addr add 10.77.%d.1/24 broadcast + dev eth0' % number)
        self.here.ip('link set lo up')
        wire = self.capture(self.here)
        command = self.command('doctor', seconds=1)
        self.assertEqual(command.end(), (1, b''))
        own = set(re.findall(r'port (\d+)$', '\n'.join(command.lines), re.M))
        sent = {True: collections.Counter(), False: collections.Counter()}
        # Of either one, two senders for each address, which send twice.
        wired = wire.wait(lambda sent_by_now: len(sent_by_now) >= 8 * kept, LIMIT)
        for (_, source, port, destination), datagrams in by_sender(wired).items():
            sent[str(port) in own].update(
                {(source, destination, each.ttl, each.payload) for each in datagrams}
            )
        self.assertEqual(sent[True], sent[False])
        self.assertEqual(sum(sent[True].values()), 2 * kept)
        left_out = [line for line in command.lines if 'only the first 32 addresses' in line]
        self.assertEqual(len(left_out), 1 + more - kept)  # one of the 32 is loopback's


class PageTest(CommandCase):
    """The page on it, held against it."""

    def page(self):
        with open(PAGE, encoding='utf-8') as file:
            return file.read()

    def test_its_outputs_are_real(self):
        self.not_on_windows('its addresses are of interfaces without names')
        self.answering(answer())
        other = self.second_network()
        self.join_second_network()
        self.responder(other, OTHER_NETWORK[1:], lambda request: [answer(b'Attic', without=('EXT',))])
        blocks = r'^```text\n\$ python -m vireon (\w.*)\n((?:.*\n)*?)```'
        shown = dict(re.findall(blocks, self.page(), re.M))
        self.assertEqual(sorted(shown), ['describe', 'doctor', 'list', 'watch', 'watch --dropped'])
        for words, output in shown.items():
            with self.subTest(words):
                lines = self.told(*words.split())[1]
                # What is found is told by another thread than what is dropped.
                order = sorted if '--dropped' in words else list
                expected = order(self.comparable(output.splitlines()))
                self.assertEqual(expected, order(self.comparable(lines)))

    def comparable(self, lines):
        """Without what is another one each time: ports, counts, and how the machine is."""
        left = [line for line in lines if not re.match('  (firewall|receive buffer) ', line)]
        other = r'(?<= )\d+ (?=from|taken|dropped|s )|(?<=port )\d+| +\d+(?=  no EXT)'
        return [re.sub(other, '# ', line) for line in left]

    def test_it_has_each_verdict_and_reason_with_what_is_to_be_mended(self):
        self.here = self.namespace()
        layer = self.layer('run', text=FAULTS_AND_REASONS)
        self.assert_clean_end(layer)
        faults, reasons = json.loads(layer.lines[0])
        self.assertEqual((len(faults), len(reasons)), (11, 7))
        for says, mend in faults:
            self.assertIn('| %s | %s |\n' % (says.replace('%s', '...'), mend), self.page())
        for reason in reasons:
            self.assertIn('\n| %s | ' % reason, self.page())


if __name__ == '__main__':
    unittest.main()
