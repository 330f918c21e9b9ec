"""When requests are sent again, and what a search costs in between."""

import time
import unittest

from capture import by_sender
from network_case import BROADCAST, INTERVAL, SLACK, NetworkCase, cycle_gaps
from responder import GROUP, Stream, answer, message


def cycles(count):
    """Holds once each of two senders has begun that many cycles."""

    def reached(datagrams):
        senders = by_sender(datagrams)
        return len(senders) == 2 and all(len(sent) >= 2 * count - 1 for sent in senders.values())

    return reached


class ResendTest(NetworkCase):
    def gaps(self, count):
        """The times between the cycles of each sender, by destination."""
        datagrams = self.wire.wait(cycles(count), 10 + count)
        return {
            destination: cycle_gaps(sent)[: count - 1]
            for (_, _, _, destination), sent in by_sender(datagrams).items()
        }

    def assert_on_time(self, count, interval=INTERVAL, late=0.0):
        gaps = self.gaps(count)
        self.assertEqual(set(gaps), {BROADCAST, GROUP})
        for each in gaps.values():
            self.assertEqual(len(each), count - 1)
            self.assert_due(each, interval, late)

    def test_without_answers_each_sender_repeats_every_interval(self):
        self.standard_search()
        self.assert_on_time(6)

    def test_an_interval_that_no_float_holds_exactly_is_kept(self):
        self.standard_search(interval=0.7)
        self.assert_on_time(4, interval=0.7)

    def test_the_default_interval_is_three_seconds(self):
        self.standard_search(interval=None)
        self.assert_on_time(2, interval=3.0)

    def test_prompt_answers_do_not_delay_the_next_request(self):
        self.standard_search(reply=lambda request: [answer()])
        self.assert_on_time(5)

    def stream(self, make, pace=0.02):
        for destination in (BROADCAST, GROUP):
            stream = Stream(self.server, self.server.sender(destination), pace, make)
            self.addCleanup(stream.close)

    def test_a_steady_stream_of_answers_does_not_delay_the_next_request(self):
        self.standard_search()
        self.stream(lambda number: answer(b'%d' % number))
        self.assert_on_time(6)
        self.client.wait_found(lambda found: len(found) > 40, 'most of them')

    def test_empty_datagrams_do_not_delay_the_next_request(self):
        self.standard_search()
        self.stream(lambda number: b'')
        self.assert_on_time(6, late=0.15)

    def test_malformed_answers_do_not_delay_the_next_request(self):
        self.standard_search()
        self.stream(lambda number: b'no status line\r\n\r\n')
        self.assert_on_time(6, late=0.15)

    def test_unterminated_heads_do_not_delay_the_next_request(self):
        self.standard_search()
        self.stream(lambda number: b'HTTP/1.1 200 OK\r\nST: x\r\n')
        self.assert_on_time(6, late=0.15)

    def test_an_endless_head_does_not_delay_the_next_request(self):
        self.standard_search()
        head = [b'HTTP/1.1 200 OK\r\n']
        self.stream(lambda number: head.pop() if head else b'X-Line: %d\r\n' % number)
        self.assert_on_time(6, late=0.15)

    def test_an_endless_line_does_not_delay_the_next_request(self):
        self.standard_search()
        self.stream(lambda number: b'x' * 100)
        self.assert_on_time(6, late=0.15)

    def test_interim_answers_do_not_delay_the_next_request(self):
        self.standard_search()
        self.stream(lambda number: message([], b'HTTP/1.1 100 Continue'))
        self.assert_on_time(6, late=0.15)

    def pairs_within(self, seconds):
        """How many cycles each sender begins within that time of its first request."""
        datagrams = self.wire.wait(cycles(1), 10)
        time.sleep(seconds)
        datagrams = self.wire.datagrams()
        return [
            sum(datagram.time - sent[0].time <= seconds for datagram in sent) / 2
            for sent in by_sender(datagrams).values()
        ]

    def test_interval_zero_means_half_a_minute(self):
        self.standard_search(interval=0, reply=lambda request: [answer()])
        self.assertEqual(self.pairs_within(1.5), [1, 1])
        self.client.wait_found(lambda found: len(found) == 4, 'four calls')

    def test_what_is_no_time_acts_as_zero(self):
        for interval in (float('nan'), -0.5, -1, -3e38):
            with self.subTest(interval):
                self.standard_search(interval=interval, reply=lambda request: [answer()])
                self.assertEqual(self.pairs_within(0.6), [1, 1])
                self.client.wait_found(lambda found: len(found) == 4, 'four calls')

    def test_a_huge_interval_sends_once_and_listens(self):
        for interval in (1e6, 4294968.0, 1e12, 3e38):
            with self.subTest(interval):
                self.standard_search(interval=interval)
                self.assertEqual(self.pairs_within(0.6), [1, 1])
                self.server.send(answer(b'late'), self.server.sender(GROUP))
                self.client.wait_name(b'late')

    def test_an_interval_below_a_millisecond_neither_waits_nor_spins(self):
        # Without a wait nothing is there to be read, which costs the pause after a failed read.
        self.standard_search(interval=0.0001)
        for each in self.gaps(5).values():
            self.assert_due(each, 0.15)

    def test_an_idle_search_costs_next_to_nothing(self):
        self.standard_search(interval=0.5)
        self.wire.wait(cycles(1), 10)
        before = self.client.processor_seconds()
        time.sleep(1.5)
        self.assertLess(self.client.processor_seconds() - before, 0.1)

    def test_requests_end_with_the_stop(self):
        self.standard_search(reply=lambda request: [answer()])
        self.wire.wait(cycles(3), 10)
        self.client.stop()
        time.sleep(SLACK)  # the capture may be behind what was sent
        sent, found = len(self.wire.datagrams()), len(self.client.found())
        time.sleep(INTERVAL + SLACK)
        self.assertEqual(len(self.wire.datagrams()), sent)
        self.assertEqual(len(self.client.found()), found)


if __name__ == '__main__':
    unittest.main()
