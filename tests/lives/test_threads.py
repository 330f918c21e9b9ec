"""What script threads do to engines and workers in random order, and the interpreter's end among them.

VIREON_SEED=<seed> has them do the same again: the acts of each round and thread, in the order of then. When
they come to pass beside each other the system decides.
"""

import os
import unittest

from lives_case import IS_LONG, ON_WINDOWS, LivesCase

# A checker's own locks, which its allocator holds for a moment, do not survive a fork.
FORK = [] if ON_WINDOWS or "VIREON_CHECKED" in os.environ else ["fork"]
# Wine takes seconds for a process.
ROUNDS, EXITS = (3000, 300) if IS_LONG else (20, 4) if ON_WINDOWS else (120, 16)
# Threads and descriptors that come and go; references that the interpreter keeps for the next time.
PASSING = (2, 8 if ON_WINDOWS else 0, 20)


class Threads(LivesCase):
    def test_rounds_of_everything_at_once_leave_nothing_behind(self):
        if not FORK:
            self.note("without forks, which this platform or checker does not have")
        for text in self.run_rounds("mixing.py", self.seed(), ROUNDS, 2, *FORK, seconds=1500):
            lines = [line.split()[1:] for line in text.splitlines() if line.startswith("inventory")]
            early, late = [[int(number) for number in line] for line in lines]
            for was, now, room in zip(early, late, PASSING):
                self.assertLessEqual(now, was + room, text)

    def test_the_interpreter_may_end_at_any_moment(self):
        for text in self.run_rounds("exiting.py", self.seed(), EXITS, 4, seconds=1500, leaves_engines=True):
            for line in text.splitlines():
                if line.startswith("round "):
                    self.note(line)


if __name__ == "__main__":
    unittest.main()
