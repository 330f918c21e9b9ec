"""What a search does on a machine that was suspended, or whose clock is set."""

import os
import signal
import time
import unittest
import unittest.mock

from capture import by_sender
from network_case import INTERVAL, SLACK, NetworkCase, cycle_gaps, searches
from responder import answer

SUSPENDED_SECONDS = 60 if os.environ.get('VIREON_LIVES') == 'long' else 2
HOUR, YEAR = 3600, 365 * 24 * 3600


class SuspendedTest(NetworkCase):
    def test_the_search_goes_on_within_an_interval(self):
        self.standard_search(reply=lambda request: [answer()])
        self.on_posix_only(self.client, 'platform: Wine cannot be suspended as a machine is')
        self.client.wait_found(lambda found: found, 'a call')
        os.kill(self.client.process.pid, signal.SIGSTOP)
        time.sleep(SLACK)  # what was sent just before is captured
        before, found = len(searches(self.wire.datagrams())), len(self.client.found())
        time.sleep(SUSPENDED_SECONDS)
        self.assertEqual(before, len(searches(self.wire.datagrams())))
        resumed = time.time()
        os.kill(self.client.process.pid, signal.SIGCONT)
        sent = searches(self.wire.wait(lambda sent: len(by_sender(searches(sent)[before:])) == 2, 10))
        first = [sent_by[0].time for sent_by in by_sender(sent[before:]).values()]
        self.client.wait_found(lambda calls: len(calls) > found, 'a call after the suspension')
        took = max(first) - resumed
        self.note('both searched again %.3f s after %d s' % (took, SUSPENDED_SECONDS))
        self.assertLessEqual(took, INTERVAL + SLACK)
        # What was missed is not made up for.
        time.sleep(4 * INTERVAL)
        for sent_by in by_sender(searches(self.wire.datagrams())[before:]).values():
            soon = [datagram for datagram in sent_by if datagram.time < resumed + took + 4 * INTERVAL]
            self.assertLessEqual(len(soon), 2 * 7)


class ClockTest(NetworkCase):
    def test_a_clock_that_is_set_back_and_forth_changes_nothing(self):
        library = os.environ.get('VIREON_SHIFTED_CLOCK')
        if not library:
            self.skipTest('platform: its clock, or a checked build, is not to be had by a library in front')
        with unittest.mock.patch.dict(os.environ, VIREON_DRIVER_PRELOAD=library):
            self.standard_search(reply=lambda request: [answer()])
        for seconds in (HOUR, -HOUR, 10 * YEAR, -10 * YEAR, 0):
            with self.subTest(seconds):
                shown = self.client.call('shift_clock', seconds=seconds)
                self.assertAlmostEqual(time.time() + seconds, shown, delta=5)
                before = len(searches(self.wire.datagrams()))
                sent = self.wire.wait(lambda sent: len(searches(sent)) >= before + 2 * 2 * 4, 5)
                by_each = by_sender(searches(sent)[before:])
                self.assertEqual(2, len(by_each))
                for sent_by in by_each.values():
                    # The first ones may be the second half of a cycle.
                    whole = sent_by[1:] if sent_by[1].time - sent_by[0].time > INTERVAL / 2 else sent_by
                    self.assert_due(cycle_gaps(whole), INTERVAL)
        self.assertLess(self.client.stop(), SLACK)


if __name__ == '__main__':
    unittest.main()
