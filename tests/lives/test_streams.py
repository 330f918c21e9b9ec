"""Streams of answers, with a callable that keeps up and one that does not."""

import os
import statistics
import unittest

from lives_case import IS_LONG, ON_WINDOWS, LivesCase

CHECKED = "VIREON_CHECKED" in os.environ
# Wine takes milliseconds for each datagram, and a checked module takes its time.
RATE = 50 if ON_WINDOWS else 500 if CHECKED else 5000
SECONDS = 600 if IS_LONG and not CHECKED and not ON_WINDOWS else 5
# Less than a byte of each answer would come to in the long run.
ROOM_KILOBYTES = 1024
# As SECURITY.md has it of answers of the usual length, with what the allocator keeps beside.
QUEUE_KILOBYTES = 80 * 1024
QUEUE_LIMIT = 65536
SLOW_SECONDS = 30 if IS_LONG and not CHECKED and not ON_WINDOWS else 3
PAUSE = 0.02
# Other tests run beside the short form.
STOP_SECONDS = 0.4 if IS_LONG else 2


class Streams(LivesCase):
    def stream(self, seconds, pause):
        said = self.run_script("streaming.py", seconds, pause, seconds=seconds + 120, pouring=(RATE, seconds))
        lines = [line.split() for line in said.splitlines()]
        table = {}
        for words in lines:
            table.setdefault(words[0], []).append([float(word) for word in words[1:]])
        samples, stopped, poured = table["sample"], table["stopped"][0], table["poured"][0]
        return samples, stopped, poured

    def test_a_callable_that_keeps_up_has_every_answer_and_takes_no_memory(self):
        samples, (stop, called, last, is_in_order, later), (sent, without_room) = self.stream(SECONDS, 0)
        quarter = len(samples) // 4
        usual = [
            statistics.median(sample[2] for sample in part)
            for part in (samples[quarter : 2 * quarter], samples[-quarter:])
        ]
        most = max(sample[2] for sample in samples)
        self.note(
            "%d of %d answers in %d s, %d found no room; %d KiB and then %d KiB, %d KiB at most; stop in %.3f s"
            % (called, sent, SECONDS, without_room, *usual, most, stop)
        )
        # A busy machine sends fewer in a few seconds, which is no fault of the module's.
        self.assertGreater(sent, RATE * SECONDS * (0.9 if IS_LONG else 0.01))
        self.assertEqual(sent - without_room, called)
        self.assertEqual((1, 0), (is_in_order, later))
        self.assertLess(stop, STOP_SECONDS)
        if not CHECKED and not ON_WINDOWS:
            self.assertLess(usual[1] - usual[0], ROOM_KILOBYTES, samples)

    def test_a_callable_that_does_not_keep_up_has_answers_in_order_and_takes_memory_up_to_the_limit(self):
        samples, (stop, called, last, is_in_order, later), (sent, without_room) = self.stream(
            SLOW_SECONDS, PAUSE
        )
        growth = max(sample[2] for sample in samples) - samples[0][2]
        self.note(
            "%d of %d answers were called in %d s; %d KiB more at most; stop in %.3f s"
            % (called, sent, SLOW_SECONDS, growth, stop)
        )
        self.assertGreater(called, 0)
        self.assertLess(called, sent)
        self.assertEqual(1, is_in_order)
        # One that was running; what waited is not delivered.
        self.assertLessEqual(later, 1)
        self.assertLess(stop, PAUSE + STOP_SECONDS)
        if not CHECKED and not ON_WINDOWS:
            self.assertLess(growth, QUEUE_KILOBYTES, samples)
        if SLOW_SECONDS * RATE > 2 * QUEUE_LIMIT:
            # The queue was full by then, so it has kept the first ones and dropped later ones.
            self.assertLess(last, QUEUE_LIMIT, samples)


if __name__ == "__main__":
    unittest.main()
