"""What an answer makes the module do is what was recorded, within a tenth: these counts are the same on
every machine and under any load, so a change of theirs is a change of the code.

The module, its interpreter and the tools lie where VIREON_MODULE_DIR says.
"""

import os
import pathlib
import shutil
import subprocess
import unittest

import counts
import laboratory

SLACK = 0.1


class Build:
    folder = pathlib.Path(os.environ["VIREON_MODULE_DIR"])
    tools = folder / "bench"
    python = folder / "python"
    environment = {}


def missing():
    """Why nothing can be counted here, or None."""
    if shutil.which("valgrind") is None:
        return "valgrind is not installed"
    tried = subprocess.run(
        [laboratory.PRIVATE_NETWORK, "true"], stderr=subprocess.PIPE, text=True, check=False
    )
    return " ".join(tried.stderr.split()) or None


class Counts(unittest.TestCase):
    def assert_recorded(self, what, counted):
        recorded = counts.recorded()[what]
        self.assertLessEqual(
            abs(counted / recorded - 1),
            SLACK,
            f"{what} per answer: {counted:.1f}, recorded {recorded:.1f}; where that is right and better, "
            "./dev bench --record",
        )

    def test_an_answer_takes_the_allocations_that_were_recorded(self):
        self.assert_recorded("allocations", counts.count_calls(Build, "module")["allocations"])

    def test_an_answer_takes_the_instructions_that_were_recorded(self):
        self.assert_recorded("instructions", counts.count_instructions(Build, "module"))


if __name__ == "__main__":
    reason = os.environ.get("VIREON_BENCH_NETWORK") is None and missing()
    if not reason:
        laboratory.enter_private_network()
    elif os.environ.get("CI") == "true":
        raise SystemExit(f"CI must have what this test needs: {reason}")
    else:
        Counts = unittest.skip(reason)(Counts)
    unittest.main()
