"""What a search finds over a cable that loses, repeats, swaps, damages and delays.

Each test tells which share of the answers has to arrive. What the cable hands over is known frame by
frame, so mostly it is: all of that, in that order, and nothing else.
"""

import re
import time
import unittest

import bad_cable
from capture import by_sender
from network_case import FACTOR, SEARCHER, SERVER, SLACK, STARTED, NetworkCase, searches
from responder import GROUP, answer, entries, fields, message

QUICK = 0.125  # an interval for what takes many cycles


def names_in(frames):
    return [name for frame in frames for name in re.findall(rb'FriendlyName: (.*?)\r\n', frame)]


class BadCableCase(NetworkCase):
    def search_over(self, interval=5.0, reply=None):
        """The standard network and a search over a cable that is still good."""
        self.draw = bad_cable.seeded(self)
        self.here, self.there = self.namespace(), self.namespace()
        self.cable = bad_cable.BadCable(self.here, self.there, self.draw)
        self.addCleanup(self.cable.close)
        self.here.ip('addr add %s/24 broadcast + dev eth0' % SEARCHER)
        self.there.ip('addr add %s/24 broadcast + dev eth0' % SERVER)
        self.wire = self.capture(self.here)
        self.server = self.responder(self.there, reply=reply)
        self.client = self.searcher(self.here, interval)
        self.assertEqual(self.client.search(), STARTED)
        self.to = self.server.sender(GROUP)

    def send_numbered(self, count, pace=0.002, make=answer):
        """Sends numbered answers until the cable has taken them all in; gives how many those are."""
        count = count if self.client.system == 'posix' else count // 4
        for number in range(count):
            self.server.send(make(b'%d' % number), self.to)
            # So that a socket's usual buffer has room while the module waits for a processor.
            time.sleep(pace * FACTOR)
        self.await_taken(self.cable.to_here, count)
        return count

    def await_taken(self, way, count):
        deadline = time.monotonic() + 10
        while len(way.taken) < count:
            self.assertLess(time.monotonic(), deadline, 'the cable was not given everything')
            time.sleep(0.005)

    def called(self):
        """The names of all calls, once one for an answer over the good cable has come."""
        self.cable.to_here.happens = bad_cable.untouched
        self.server.send(answer(b'last'), self.to)
        self.client.wait_name(b'last')
        return [call.name for call in self.client.found() if call.name != b'last']

    def handed_over(self):
        return [name for name in names_in(self.cable.to_here.given) if name != b'last']

    def assert_share(self, got, of, least, most):
        """Says the share, and that it is what was expected."""
        self.note('%d of %d' % (got, of))
        self.assertTrue(least * of <= got <= most * of, '%d of %d' % (got, of))


class LossTest(BadCableCase):
    def test_of_answers_that_a_third_is_lost_of_all_others_arrive(self):
        self.search_over()
        self.cable.to_here.happens = bad_cable.losing(1 / 3)
        count = self.send_numbered(300)
        called = self.called()
        self.assertEqual(called, self.handed_over())
        self.assert_share(len(called), count, 0.4, 0.9)

    def cycles_until_all_are_found(self, servers, cycles):
        """Waits until that many servers on one host are found, which may take that many cycles."""
        cycles = cycles if self.client.system == 'posix' else 4 * cycles
        wanted = {b'%d' % number for number in range(servers)}
        begun = len(self.server.requests())
        self.server.reply = lambda request: [answer(name) for name in sorted(wanted)]
        self.client.wait_found(
            lambda found: wanted <= {call.name for call in found},
            'all servers',
            cycles * QUICK * FACTOR + SLACK,
        )
        self.assertLessEqual(len(self.server.requests()) - begun, 4 * cycles)
        self.assert_share(len(wanted & {call.name for call in self.client.found()}), servers, 1, 1)

    def test_all_servers_are_found_where_half_is_lost_each_way(self):
        self.search_over(interval=QUICK)
        for way in (self.cable.to_here, self.cable.to_there):
            way.happens = bad_cable.losing(1 / 2)
        # One in four requests has its answer: four of a cycle miss a server by a chance of 0.32.
        self.cycles_until_all_are_found(servers=20, cycles=24)

    def test_all_servers_are_found_where_nine_of_ten_answers_are_lost(self):
        self.search_over(interval=QUICK)
        self.cable.to_here.happens = bad_cable.losing(9 / 10)
        # Four answers a cycle miss a server by a chance of 0.66.
        self.cycles_until_all_are_found(servers=20, cycles=60)

    def test_the_second_request_makes_up_for_the_first(self):
        self.search_over(interval=QUICK, reply=lambda request: [answer()])
        seen = {}

        def lose_the_first(frame, _):
            sender = frame[26:36]  # addresses and ports
            seen[sender] = seen.get(sender, 0) + 1
            return [(0, frame)] if seen[sender] % 2 == 0 else []

        self.cable.to_there.happens = lose_the_first
        before = len(self.client.found())
        time.sleep(10 * QUICK)
        # Two senders' calls of nine whole cycles.
        found = self.client.wait_found(lambda found: len(found) >= before + 18, 'a call a cycle', SLACK)
        self.note('%d in ten cycles of two senders' % (len(found) - before))


class RepetitionTest(BadCableCase):
    def test_an_answer_that_comes_three_times_is_called_three_times(self):
        self.search_over()
        self.cable.to_here.happens = bad_cable.repeating(3)
        count = self.send_numbered(100)
        called = self.called()
        self.assertEqual(called, [b'%d' % (number // 3) for number in range(3 * count)])
        self.assert_share(len(called), count, 3, 3)

    def test_requests_that_come_twice_bring_all_answers_twice(self):
        self.search_over(interval=QUICK)
        self.cable.to_there.happens = bad_cable.repeating(2)
        time.sleep(QUICK)
        before = len(self.cable.to_here.taken)
        self.server.reply = lambda request: [answer()]
        self.client.wait_found(lambda found: len(found) >= 40, 'ten answers a cycle')
        self.assertGreaterEqual(len(self.cable.to_here.taken) - before, 40)


class OrderTest(BadCableCase):
    def test_answers_that_overtake_each_other_all_arrive_as_they_come(self):
        self.search_over()
        self.cable.to_here.happens = bad_cable.delaying_some(0.3, 0.05)
        count = self.send_numbered(300)
        time.sleep(0.06)
        called = self.called()
        self.assertNotEqual(called, sorted(called, key=int))
        self.assertEqual(called, self.handed_over())
        self.assert_share(len(called), count, 1, 1)

    def test_of_answers_between_0_and_200_ms_late_none_is_lost(self):
        self.search_over()
        self.cable.to_here.happens = bad_cable.delaying(0, 0.2)
        count = self.send_numbered(300)
        time.sleep(0.21)
        called = self.called()
        self.assertEqual(called, self.handed_over())
        self.assert_share(len(called), count, 1, 1)

    def test_answers_that_take_four_intervals_all_arrive(self):
        # A sender keeps its port from cycle to cycle, so no answer comes too late.
        self.search_over(interval=QUICK)
        self.cable.to_here.happens = bad_cable.delaying(4 * QUICK, 4 * QUICK)
        self.server.reply = lambda request: [answer()]
        time.sleep(8 * QUICK)
        self.server.reply = lambda request: []
        time.sleep(QUICK + SLACK)
        taken = len(self.cable.to_here.taken)
        self.client.wait_found(lambda found: len(found) >= taken, 'all answers')
        self.assert_share(len(self.client.found()), taken, 1, 1)

    def test_a_delay_of_both_ways_delays_no_request(self):
        self.search_over(interval=QUICK, reply=lambda request: [answer()])
        for way in (self.cable.to_here, self.cable.to_there):
            way.happens = bad_cable.delaying(0.1, 0.3)
        begun = time.monotonic()
        sent = len(self.wire.datagrams())
        datagrams = self.wire.wait(lambda sent_by_now: len(sent_by_now) >= sent + 40, 10)[sent:]
        self.assertGreaterEqual(len(searches(datagrams)), 40)
        self.assertLess(time.monotonic() - begun, 10 * QUICK + 4 * SLACK)
        self.assertEqual(len(by_sender(datagrams)), 2)


class DamageTest(BadCableCase):
    def test_no_damaged_answer_arrives(self):
        self.search_over()
        self.cable.to_here.happens = bad_cable.damaging(1)
        count = self.send_numbered(200)
        sent = time.time()
        called = self.called()
        self.assert_share(len(called), count, 0, 0)
        # The system has dropped them: they have cost the sender no pause.
        self.assertLess(self.client.wait_name(b'last').time - sent, SLACK)

    def test_of_answers_that_some_are_damaged_of_all_whole_ones_arrive_as_they_were_sent(self):
        self.search_over()
        self.cable.to_here.happens = bad_cable.damaging(0.3)
        count = self.send_numbered(300)
        self.called()
        whole = set(self.cable.to_here.taken)
        expected = names_in(frame for frame in self.cable.to_here.given if frame in whole)
        calls = self.client.found()
        self.assertEqual([call.name for call in calls], expected)
        for call in calls:
            self.assertEqual(call.values, entries(fields(FriendlyName=call.name)))
        self.assert_share(len(calls) - 1, count, 0.4, 0.95)

    def test_of_answers_that_some_are_cut_short_of_all_whole_ones_arrive(self):
        self.search_over()
        self.cable.to_here.happens = bad_cable.cutting(0.3)
        count = self.send_numbered(300)
        called = self.called()
        whole = set(self.cable.to_here.taken)
        self.assertEqual(
            called + [b'last'], names_in(each for each in self.cable.to_here.given if each in whole)
        )
        self.assert_share(len(called), count, 0.4, 0.95)

    def test_damage_that_no_checksum_tells_costs_no_whole_answer(self):
        self.search_over()
        damaged = bad_cable.damaging(0.3)
        self.cable.to_here.happens = bad_cable.all_of(bad_cable.without_checksum, damaged)
        count = self.send_numbered(300)
        called = self.called()
        texts = {answer(b'%d' % number) for number in range(count)}
        whole = names_in(frame for frame in self.cable.to_here.given if frame[42:] in texts)
        names = iter(called)
        self.assertTrue(all(name in names for name in whole), (whole, called))
        self.assert_share(len(whole), count, 0.4, 0.95)

    def test_all_at_once_costs_nothing_of_what_arrives_whole(self):
        self.search_over()
        self.cable.to_here.happens = bad_cable.all_of(
            bad_cable.losing(0.1),
            lambda frame, draw: bad_cable.repeating(2 if draw.random() < 0.1 else 1)(frame, draw),
            bad_cable.damaging(0.1),
            bad_cable.delaying(0, 0.1),
        )
        count = self.send_numbered(300)
        time.sleep(0.11)
        called = self.called()
        whole = set(self.cable.to_here.taken)
        self.assertEqual(
            called + [b'last'], names_in(each for each in self.cable.to_here.given if each in whole)
        )
        self.assert_share(len(called), count, 0.6, 1.2)


class FragmentTest(BadCableCase):
    """Answers that a link of small frames divides: what arrives of one is all or nothing."""

    def setUp(self):
        super().setUp()
        self.search_over()
        self.there.ip('link set eth0 mtu 600')

    @staticmethod
    def long_answer(name):
        return message(fields(FriendlyName=name) + [(b'X-Pad', b'x' * 1000)])

    def send_in_fragments(self, count):
        count = count if self.client.system == 'posix' else count // 4
        for number in range(count):
            self.server.send(self.long_answer(b'%d' % number), self.to)
            time.sleep(0.002)
            # No more of them are on the way at once than the system keeps.
            self.await_taken(self.cable.to_here, 3 * (number + 1))
        return count

    def test_answers_in_fragments_all_arrive(self):
        count = self.send_in_fragments(100)
        self.assert_share(len(self.called()), count, 1, 1)

    def test_answers_whose_fragments_overtake_each_other_all_arrive(self):
        # Of 15 answers at most: Linux gives up what more than 64 fragments have come between.
        self.cable.to_here.happens = bad_cable.delaying(0, 0.03)
        count = self.send_in_fragments(100)
        time.sleep(0.04)
        self.assert_share(len(set(self.called())), count, 1, 1)

    def test_of_answers_that_lose_fragments_all_others_arrive(self):
        lost = set()

        def lose_some(frame, draw):
            if draw.random() >= 0.1:
                return [(0, frame)]
            lost.add(frame[18:20])  # which datagram it belongs to
            return []

        self.cable.to_here.happens = lose_some
        count = self.send_in_fragments(100)
        whole = [
            name
            for frame in self.cable.to_here.given
            if frame[18:20] not in lost
            for name in names_in([frame])
        ]
        self.assertEqual(self.called(), whole)
        self.assert_share(len(whole), count, 0.3, 1)


if __name__ == '__main__':
    unittest.main()
