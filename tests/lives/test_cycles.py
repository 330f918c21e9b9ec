"""Engines that come and go, and searches that begin and end, with what they leave behind: nothing."""

import os
import statistics
import unittest

from lives_case import IS_LONG, ON_WINDOWS, LivesCase

CHECKED = "VIREON_CHECKED" in os.environ
CYCLES = 1000 if IS_LONG else 20 if ON_WINDOWS else 100 if CHECKED else 500
# Threads and handles that Wine itself comes and goes with, and the threads of a stop that just end.
PASSING_THREADS, PASSING_DESCRIPTORS = (0, 8) if ON_WINDOWS else (2, 0)
# Less than a string in each cycle would leave. A checker keeps what was freed for a while.
ROOM_KILOBYTES = 512 if IS_LONG else 256


class Cycles(LivesCase):
    def cycle(self, way):
        said = self.run_script("cycling.py", way, CYCLES, seconds=1500)
        self.assertIn("rounds %d\n" % CYCLES, said)
        lines = [line.split()[1:] for line in said.splitlines() if line.startswith("sample")]
        samples = [[int(number) for number in line] for line in lines]
        # By then the interpreter and the allocator have what they keep for the next time.
        settled = len(samples) // 4
        early, late = samples[settled : 2 * settled], samples[-settled:]
        for what, passing in ((0, PASSING_THREADS), (1, PASSING_DESCRIPTORS)):
            most = [max(sample[what] for sample in part) for part in (early, late)]
            self.assertLessEqual(most[1], most[0] + passing, samples)
        usual = [statistics.median(sample[2] for sample in part) for part in (early, late)]
        self.note(
            "%d cycles, %d threads, %d descriptors, %d KiB and then %d KiB, %d KiB at most"
            % (CYCLES, samples[-1][0], samples[-1][1], *usual, max(sample[2] for sample in samples))
        )
        if not CHECKED and not ON_WINDOWS:
            self.assertLess(usual[1] - usual[0], ROOM_KILOBYTES, samples)

    def test_engines_that_are_made_search_stop_and_go_leave_nothing_behind(self):
        self.cycle("engines")

    def test_one_engine_that_searches_and_stops_keeps_nothing(self):
        self.cycle("searches")


if __name__ == "__main__":
    unittest.main()
