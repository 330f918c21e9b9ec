"""A network that means harm, or is merely broken: nothing of it holds a search up."""

import random
import socket
import struct
import time
import unittest

from capture import by_sender
from network_case import BROADCAST, INTERVAL, MULTICAST_REQUEST, SEARCHER, SLACK, STOP, NetworkCase, to_group
from responder import DEVICE_TYPE, GROUP, PORT, Stream, answer, entries, fields, message

PAUSE = 0.15  # seconds that a worker rests after a datagram that is no answer


class BrokenDatagramTest(NetworkCase):
    def setUp(self):
        super().setUp()
        # Long enough for pauses to be told apart from the next cycle.
        self.standard_search(interval=1.0)
        self.to = self.server.sender(GROUP)

    def good_after(self, payload, name=b'good'):
        """Sends a bad datagram and a good one; gives the seconds from then until the good one's call."""
        sent = time.time()
        self.server.send(payload, self.to)
        self.server.send(answer(name), self.to)
        call = self.client.wait_name(name)
        self.assertEqual([each.name for each in self.client.found()], [name])
        return call.time - sent

    def test_an_answer_beyond_2000_bytes_is_dropped_and_costs_a_pause(self):
        padded = message(fields(FriendlyName=b'too long') + [(b'X-Pad', b'x' * 2000)])
        elapsed = self.good_after(padded)
        self.assertGreaterEqual(elapsed, PAUSE - 0.02)
        self.assertLessEqual(elapsed, PAUSE + SLACK)

    def test_an_answer_of_2001_bytes_is_dropped(self):
        head = message(fields(FriendlyName=b'too long'), end=b'')
        self.good_after(head + b'X: '.ljust(2001 - len(head) - 4, b'x') + b'\r\n\r\n')

    def test_an_answer_of_the_largest_size_is_dropped(self):
        self.good_after(message(fields(FriendlyName=b'too long')).ljust(65507, b'x'))

    def test_a_head_that_would_be_complete_within_the_buffer_is_dropped_when_longer(self):
        self.good_after(answer(b'cut').ljust(2500, b'\n'))

    def test_an_empty_datagram_costs_a_pause(self):
        elapsed = self.good_after(b'')
        self.assertGreaterEqual(elapsed, PAUSE - 0.02)
        self.assertLessEqual(elapsed, PAUSE + SLACK)

    def test_a_malformed_answer_costs_a_pause(self):
        elapsed = self.good_after(b'garbage\r\n\r\n')
        self.assertGreaterEqual(elapsed, PAUSE - 0.02)
        self.assertLessEqual(elapsed, PAUSE + SLACK)

    def test_an_answer_without_the_empty_line_is_accepted_at_once(self):
        unterminated = message(fields(FriendlyName=b'unterminated'), end=b'')
        sent = time.time()
        self.server.send(unterminated, self.to)
        call = self.client.wait_name(b'unterminated')
        self.assertEqual(call.values, entries(fields(FriendlyName=b'unterminated')))
        self.assertLess(call.time - sent, SLACK)

    def test_an_answer_does_not_go_on_in_the_next_datagram(self):
        whole = answer(b'in two')
        half = whole.index(b'Manufacturer:')
        self.server.send(whole[:half], self.to)
        self.server.send(whole[half:], self.to)
        self.server.send(answer(b'whole'), self.to)
        self.client.wait_name(b'whole')
        first = next(call for call in self.client.found() if call.name == b'in two')
        self.assertEqual(first.values['manufacturer'], b'')

    def test_an_unfinished_answer_swallows_no_other_server(self):
        for number in range(20):
            self.server.send(b'HTTP/1.1 200 OK\r\nX-Y: z\r\n', self.to)
            self.server.send(answer(b'%d' % number), self.to)
        self.client.wait_name(b'19')
        self.assertEqual([int(call.name) for call in self.client.found()], list(range(20)))

    def test_hostile_heads_end_in_a_call_or_in_nothing(self):
        generator = random.Random(31288)
        whole = answer(b'fuzzed')
        datagrams = [
            b'\n',
            b'\r\n',
            b'\x00' * 2000,
            b':' * 2000,
            b'HTTP/1.1 200 OK\r\n' * 100,
            b'HTTP/1.1 200 OK\r\n' + b':\r\n' * 600,
            b'HTTP/1.1 200 OK\r\n' + b' \r\n' * 600,
            answer(b'fuzzed', USN=b'::' * 700),
            answer(b'fuzzed', USN=b'::'),
            answer(b'fuzzed', USN=b'a::' + DEVICE_TYPE),
            answer(b'fuzzed', USN=b'::' + DEVICE_TYPE),
            answer(b'fuzzed', LOCATION=b'http://[' + b':' * 900),
            answer(b'fuzzed', LOCATION=b'http://' + b'h' * 900 + b':' + b'9' * 300),
            answer(b'fuzzed\x00with a zero'),
            answer(b'', USN=b'\x00::' + DEVICE_TYPE),
            answer(b'%s%n%d%s%n'),
            answer(b'fuzzed', LOCATION=b'http://%n%s:80/%n%s'),
        ]
        for _ in range(30):
            noise = bytearray(whole)
            for _ in range(generator.randrange(1, 20)):
                noise[generator.randrange(len(noise))] = generator.randrange(256)
            datagrams.append(bytes(noise))
        senders = [self.to, self.server.sender(BROADCAST)]
        for number, datagram in enumerate(datagrams):
            self.server.send(datagram, senders[number % 2])
        self.wait_for_answer(b'after all')

    def wait_for_answer(self, name, timeout=40):
        """Offers a good answer again and again until the search takes it."""
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            self.server.send(answer(name), self.to)
            time.sleep(0.2)
            if any(call.name == name for call in self.client.found()):
                return
            self.assertTrue(self.client.alive(), self.client.errors())
        self.fail('the search takes no good answer any more')

    def flood(self, rate, seconds, make):
        """Sends rate datagrams a second, and ten answers a second in between; gives these times."""
        sent, start, number = {}, time.monotonic(), 0
        while time.monotonic() - start < seconds:
            self.server.send(make(number), self.to)
            if number * 10 // rate > (number - 1) * 10 // rate:
                name = b'%d' % len(sent)
                sent[name] = time.time()
                self.server.send(answer(name), self.to)
            number += 1
            time.sleep(max(0.0, start + number / rate - time.monotonic()))
        return sent

    def assert_all_arrive(self, rate, make):
        sent = self.flood(rate, 3, make)
        calls = self.client.wait_found(lambda found: len(found) >= len(sent), 'all answers')
        self.assertEqual([call.name for call in calls], sorted(sent, key=int))
        self.assertLess(max(call.time - sent[call.name] for call in calls), 0.5 + SLACK)

    def test_a_neighbour_that_announces_itself_costs_no_answer(self):
        notify = message(fields(), status=b'NOTIFY * HTTP/1.1')
        self.assert_all_arrive(30, lambda number: notify)

    def test_ten_bad_datagrams_a_second_cost_no_answer(self):
        self.assert_all_arrive(10, lambda number: b'')

    def test_thirty_bad_datagrams_a_second_cost_no_answer(self):
        self.assert_all_arrive(30, lambda number: (b'', b'garbage', b'x' * 3000)[number % 3])

    def test_three_hundred_bad_datagrams_a_second_cost_no_answer(self):
        # Wine takes milliseconds for each on a busy machine, see docs/windows.md.
        rate = 300 if self.client.system == 'posix' else 60
        # Small ones: what comes in the meantime has to find room in the socket's buffer.
        self.assert_all_arrive(rate, lambda number: (b'', b'garbage', b'x' * 300)[number % 3])

    def test_a_flood_of_bad_datagrams_leaves_most_of_the_processor(self):
        begun, number, before = time.monotonic(), 0, self.client.processor_seconds()
        # A busy machine takes longer for so many.
        while number < 10000 or time.monotonic() < begun + 2:
            self.server.send((b'', b'garbage', b'x' * 3000)[number % 3], self.to)
            number += 1
        took = time.monotonic() - begun
        self.assertLess(self.client.processor_seconds() - before, 0.75 * took)

    def test_unfinished_heads_by_the_megabyte_take_no_memory(self):
        before = self.resident()
        line = b'HTTP/1.1 200 OK\r\nX: ' + b'x' * 1900 + b'\r\n'
        deadline = time.monotonic() + 2.5
        while time.monotonic() < deadline:
            for _ in range(50):
                self.server.send(line, self.to)
            time.sleep(0.002)
        self.assertLess(self.resident() - before, 30 << 20)
        self.assertLess(self.client.stop(), STOP)

    def resident(self):
        with open('/proc/%d/statm' % self.client.process.pid) as file:
            return int(file.read().split()[1]) * 4096


class HostilePeerTest(NetworkCase):
    def stop_under(self, make, pace=0.01):
        """Sends a steady stream to both senders and stops the search in the middle of it."""
        self.standard_search()
        for destination in (BROADCAST, GROUP):
            stream = Stream(self.server, self.server.sender(destination), pace, make)
            self.addCleanup(stream.close)
        time.sleep(2 * INTERVAL)
        self.assertLess(self.client.stop(), STOP)

    def test_good_answers_do_not_delay_the_stop(self):
        self.stop_under(lambda number: answer())

    def test_empty_datagrams_do_not_delay_the_stop(self):
        self.stop_under(lambda number: b'')

    def test_unterminated_heads_do_not_delay_the_stop(self):
        self.stop_under(lambda number: b'HTTP/1.1 200 OK\r\nST: x\r\n')

    def test_an_endless_head_does_not_delay_the_stop(self):
        head = [b'HTTP/1.1 200 OK\r\n']
        self.stop_under(lambda number: head.pop() if head else b'X-Line: %d\r\n' % number)

    def test_an_endless_line_does_not_delay_the_stop(self):
        self.stop_under(lambda number: b'x' * 100)

    def test_interim_answers_do_not_delay_the_stop(self):
        self.stop_under(lambda number: message([], b'HTTP/1.1 100 Continue'))

    def test_garbage_does_not_delay_the_stop(self):
        self.stop_under(lambda number: b'garbage\r\n\r\n')

    def test_a_flood_delays_neither_requests_nor_the_stop(self):
        self.standard_search()
        sources = [self.server.sender(destination) for destination in (BROADCAST, GROUP)]
        payloads = [
            answer(b'flood'),
            b'',
            b'garbage',
            b'HTTP/1.1 200 OK\r\n',
            b'x' * 3000,
            answer(b'other', ST=b'x', USN=b'uuid:1::x'),
        ]
        begun, number = time.monotonic(), 0
        # A busy machine takes longer for so many, and may rest in between.
        while number < 1000 or time.monotonic() < begun + 6 * INTERVAL + SLACK:
            for source in sources:
                self.server.send(payloads[number % len(payloads)], source)
            number += 1
            if number % 20 == 0:
                time.sleep(0.001)
        self.assertLess(self.client.stop(), STOP)
        for sender, sent in by_sender(self.wire.datagrams()).items():
            self.assertGreaterEqual(len(sent), 2 * 4, '%s was held up' % (sender,))

    def datagrams_received(self):
        """How many the search and others before it have read, by the count of its namespace's kernel."""
        with open('/proc/%d/net/snmp' % self.client.process.pid) as file:
            titles, values = [line.split() for line in file if line.startswith('Udp:')]
        return int(values[titles.index('InDatagrams')])

    def test_a_flood_of_good_answers_arrives_in_order(self):
        self.standard_search()
        before = self.datagrams_received()
        to = self.server.sender(GROUP)
        # A slow machine takes in less of a flood than a fast one, so the flood lasts until enough of
        # it has arrived while it lasted.
        deadline, number = time.monotonic() + 40, 0
        while len(self.client.found()) < 300 and time.monotonic() < deadline:
            for _ in range(200):
                self.server.send(answer(b'%d' % number), to)
                number += 1
                if number % 10 == 0:
                    time.sleep(0.001)
        self.assertGreaterEqual(len(self.client.found()), 300, 'of %d sent' % number)
        while not any(call.name == b'last' for call in self.client.found()):
            # The flood may have overrun the socket's buffer.
            self.server.send(answer(b'last'), to)
            time.sleep(0.05)
        received = self.datagrams_received() - before
        numbers = [int(call.name) for call in self.client.found() if call.name != b'last']
        self.assertEqual(numbers, sorted(set(numbers)))
        # What overran the buffer never reached the search; of what did, nearly all is reported.
        self.assertGreaterEqual(len(numbers), 0.9 * received)

    def test_a_port_unreachable_message_ends_no_sender(self):
        self.standard_search()
        sent = to_group(self.wire.wait(to_group, 10))[0]
        # What a host would send that has nobody on the port: the request's own headers come back.
        udp = struct.pack('!HHHH', sent.source_port, PORT, 8 + len(MULTICAST_REQUEST), 0)
        ip = struct.pack(
            '!BBHHHBBH4s4s',
            0x45,
            0,
            28 + len(MULTICAST_REQUEST),
            0,
            0,
            4,
            17,
            0,
            socket.inet_aton(SEARCHER),
            socket.inet_aton(GROUP),
        )
        icmp = struct.pack('!BBHI', 3, 3, 0, 0) + ip + udp
        icmp = icmp[:2] + struct.pack('!H', checksum(icmp)) + icmp[4:]
        with self.there.entered():
            raw = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_ICMP)
        self.addCleanup(raw.close)
        for _ in range(10):
            raw.sendto(icmp, (SEARCHER, 0))
        before = len(self.wire.datagrams())
        self.server.send(answer(b'still there'), (SEARCHER, sent.source_port))
        self.client.wait_name(b'still there')
        later = self.wire.wait(lambda datagrams: len(to_group(datagrams[before:])) >= 2, 10)
        self.assertEqual({each.source_port for each in to_group(later)}, {sent.source_port})

    def test_a_search_into_a_refusing_host_goes_on(self):
        # The broadcast address of a network of one host is the host: its own port refuses.
        self.standard_network()
        self.here.ip('addr add 10.77.9.1/32 dev eth0')
        self.here.ip('link set lo up')
        wire = self.capture(self.here)
        client = self.searcher(self.here)
        client.search()
        refused = wire.wait(
            lambda sent: sum(datagram.destination == '10.77.9.1' for datagram in sent) >= 6, 10
        )
        self.assertEqual(
            len({datagram.source_port for datagram in refused if datagram.destination == '10.77.9.1'}), 1
        )


def checksum(data):
    total = sum(struct.unpack('!%dH' % (len(data) // 2), data))
    total = (total & 0xFFFF) + (total >> 16)
    return 0xFFFF ^ (total & 0xFFFF) ^ (total >> 16)


if __name__ == '__main__':
    unittest.main()
