"""Floods of what is no answer with good answers in between, and thousands of servers at once.

What a socket has no room for is lost before the search can have it. So these tests tell apart what
found room: of that every good answer has to arrive, and within half a second.
"""

import time
import unittest

from network_case import BROADCAST, FACTOR, SLACK, STOP, NetworkCase
from responder import GROUP, answer

HALF_A_SECOND = 0.5 * FACTOR + SLACK
ALL_CALLED = 10 * FACTOR  # seconds, at most, until what found room was called

PAUSE = 0.15  # seconds that a sender rests after a bad datagram, while others find room or do not
BUFFER_ASKED_FOR = 4 << 20

# What a small datagram takes of a socket's buffer, and one of 1 to 2,100 bytes on average.
SMALL, MIXED = 768, 3500


def empty(_):
    return b''


def garbage(_):
    return b'garbage'


def unterminated(_):
    return b'HTTP/1.1 200 OK\r\nST: x\r\n'


def of_all_sizes(number):
    return b'x' * (number % 2100 + 1)


class FloodCase(NetworkCase):
    def setUp(self):
        super().setUp()
        # Longer than the test: there are no answers but those that it sends.
        self.standard_search(interval=30.0)
        self.to = self.server.sender(GROUP)
        self.is_posix = self.client.system == 'posix'
        # Under Wine an earlier test may have lent its namespace.
        self.without_room_before = self.counts()[1]

    def counts(self):
        """How many packets the search's namespace has taken in, and how many found no room."""
        with open('/proc/%d/net/snmp' % self.client.process.pid) as file:
            lines = [line.split() for line in file]
        table = {titles[0]: dict(zip(titles, values)) for titles, values in zip(lines[::2], lines[1::2])}
        return int(table['Ip:']['InReceives']), int(table['Udp:']['RcvbufErrors'])

    def without_room(self):
        """How many datagrams found no room, once all that were sent have come in."""
        before, now = None, self.counts()
        while before != now:
            time.sleep(0.0005)
            before, now = now, self.counts()
        return now[1] - self.without_room_before

    def found_room(self, name):
        """Sends a good answer; tells whether it found room."""
        before = self.without_room()
        self.server.send(answer(name), self.to)
        return self.without_room() == before


class FloodTest(FloodCase):
    def flood(self, make, most=100000, seconds=2.0, rate=None):
        """Sends so many bad datagrams, or as many as the seconds allow, and twenty good ones a second
        in between; gives when each good one was sent that found room, and how many there were."""
        begun, bad, good, sent = time.monotonic(), 0, 0, {}
        while bad < most and time.monotonic() - begun < seconds:
            if time.monotonic() - begun >= good / 20:
                name = b'%d' % good
                now = time.time()
                if self.found_room(name):
                    sent[name] = now
                good += 1
            for _ in range(10):
                self.server.send(make(bad), self.to)
                bad += 1
            if rate:
                time.sleep(10 / rate)
        self.note(
            '%d good ones, of which %d found room, among %d bad ones in %.1f s'
            % (good, len(sent), bad, time.monotonic() - begun)
        )
        return sent, good

    def assert_arrive_in_time(self, sent):
        last = max(sent, key=int)
        self.client.wait_name(last, ALL_CALLED)
        calls = [call for call in self.client.found() if call.name in sent]
        self.assertEqual([call.name for call in calls], sorted(sent, key=int))
        slowest = max(call.time - sent[call.name] for call in calls)
        self.note('%d of %d, the slowest took %.3f s' % (len(calls), len(sent), slowest))
        self.assertLess(slowest, HALF_A_SECOND)

    def at_full_speed(self, make):
        # Wine takes milliseconds for each datagram, see docs/windows.md.
        sent, good = self.flood(make) if self.is_posix else self.flood(make, most=100)
        self.assertGreater(good, 0)
        name, deadline = b'%d' % good, time.monotonic() + 5
        while not self.found_room(name):
            self.assertLess(time.monotonic(), deadline, 'no room after the flood')
            time.sleep(0.01)
        sent[name] = time.time()
        self.assert_arrive_in_time(sent)

    def test_a_flood_of_empty_datagrams_costs_no_answer_that_finds_room(self):
        self.at_full_speed(empty)

    def test_a_flood_of_garbage_costs_no_answer_that_finds_room(self):
        self.at_full_speed(garbage)

    def test_a_flood_of_unterminated_heads_costs_no_answer_that_finds_room(self):
        self.at_full_speed(unterminated)

    def test_a_flood_of_all_sizes_costs_no_answer_that_finds_room(self):
        self.at_full_speed(of_all_sizes)

    def at_what_the_buffer_has_room_for(self, make, size):
        """As many a second as leave three quarters of the buffer free while the sender rests."""
        with open('/proc/sys/net/core/rmem_max') as file:
            room = 2 * min(int(file.read()), BUFFER_ASKED_FOR) // size
        rate = room / 4 / PAUSE / FACTOR if self.is_posix else 60
        sent, good = self.flood(make, seconds=1.2, rate=rate)
        self.assertEqual(len(sent), good)
        self.assert_arrive_in_time(sent)

    def test_among_as_much_garbage_as_the_buffer_has_room_for_every_answer_arrives(self):
        self.at_what_the_buffer_has_room_for(garbage, SMALL)

    def test_among_as_many_of_all_sizes_as_the_buffer_has_room_for_every_answer_arrives(self):
        self.at_what_the_buffer_has_room_for(of_all_sizes, MIXED)

    def test_a_flood_of_one_sender_costs_the_other_no_answer(self):
        flooded, other, sent = self.to, self.server.sender(BROADCAST), {}
        for number in range(10):
            for _ in range(3000 if self.is_posix else 10):
                self.server.send(b'', flooded)
            name = b'%d' % number
            sent[name] = time.time()
            self.server.send(answer(name), other)
        self.assert_arrive_in_time(sent)


class ManyServersTest(FloodCase):
    def test_of_thousands_of_servers_that_answer_at_once_all_that_find_room_are_found(self):
        count = 5000 if self.is_posix else 200
        texts = [answer(b'%d' % number) for number in range(count)]
        begun = time.time()
        for text in texts:
            self.server.send(text, self.to)
        room = count - self.without_room()
        self.assertGreater(room, 100)
        calls = self.client.wait_found(lambda found: len(found) >= room, 'all that found room', ALL_CALLED)
        names = [int(call.name) for call in calls]
        self.assertEqual(names, sorted(set(names)))
        self.assertEqual(len(names), room)
        self.note('%d of %d found room, the last after %.3f s' % (room, count, calls[-1].time - begun))

    def test_thousands_of_servers_that_spread_their_answers_are_all_found(self):
        count = 5000 if self.is_posix else 100
        pace = FACTOR / 5000 if self.is_posix else 0.02
        due, sent = time.monotonic(), {}
        for number in range(count):
            name = b'%d' % number
            sent[name] = time.time()
            self.server.send(answer(name), self.to)
            # Nothing is made up for: a sender that was held up would send as many at once.
            due = max(due + pace, time.monotonic())
            time.sleep(max(0.0, due - time.monotonic()))
        room = count - self.without_room()
        calls = self.client.wait_found(lambda found: len(found) >= room, 'all that found room', ALL_CALLED)
        names = [int(call.name) for call in calls]
        self.assertEqual(names, sorted(set(names)))
        self.assertEqual(len(names), room)
        self.assertGreater(room, 0.9 * count)
        slowest = max(call.time - sent[call.name] for call in calls)
        self.note('%d of %d, the slowest took %.3f s' % (len(calls), count, slowest))
        self.assertLess(slowest, HALF_A_SECOND)

    def test_a_stop_among_thousands_of_answers_returns_at_once(self):
        for number in range(5000 if self.is_posix else 200):
            self.server.send(answer(b'%d' % number), self.to)
        self.assertLess(self.client.stop(), STOP)
        found = len(self.client.found())
        time.sleep(0.1)
        self.assertEqual(len(self.client.found()), found)


if __name__ == '__main__':
    unittest.main()
