#!/usr/bin/env python3
"""Shows which ends of a test program are the leak checker's own, by programs that print what was seen."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

RUNNER = pathlib.Path(__file__).resolve().parent / "leak_checker.py"

PASSED = "test_it (__main__.Case) ... ok\n\n----\nRan 1 test in 0.010s\n\nOK\n"
FAILED = PASSED.replace("ok\n", "FAIL\n").replace("OK\n", "FAILED (failures=1)\n")
CRASH = (
    "Tracer caught signal 11: addr=0x0 pc=0x7f5c3e1b2c45 sp=0x7f5c31dfd9e0\n"
    "==4711==LeakSanitizer has encountered a fatal error.\n"
    "==4711==HINT: For debugging, try setting environment variable LSAN_OPTIONS=verbosity=1\n"
)
LEAK = (
    "==4711==ERROR: LeakSanitizer: detected memory leaks\n"
    "Direct leak of 400 byte(s) in 1 object(s) allocated from:\n"
)
DEADLY_SIGNAL = "==4711==ERROR: AddressSanitizer: SEGV on unknown address\n"

# Ends in one way after the other: each is a text and an exit code.
PROGRAM = """
import pathlib, sys
ends, counter = {ends!r}, pathlib.Path({counter!r})
number = len(counter.read_bytes()) if counter.exists() else 0
counter.write_bytes(b"x" * (number + 1))
text, code = ends[number]
sys.stderr.write(text)
sys.exit(code)
"""


class LeakChecker(unittest.TestCase):
    def run_ends(self, *ends):
        """The exit code, the output, and how often the program was run."""
        with tempfile.TemporaryDirectory() as folder:
            counter = pathlib.Path(folder, "runs")
            program = PROGRAM.format(ends=ends, counter=str(counter))
            done = subprocess.run(
                [sys.executable, "-B", RUNNER, sys.executable, "-c", program],
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                text=True,
                timeout=60,
                check=False,
            )
            return done.returncode, done.stdout, len(counter.read_bytes())

    def expect_once(self, text, code):
        self.assertEqual(self.run_ends((text, code), ("", 0)), (code, text, 1))

    def test_a_program_that_passes_runs_once(self):
        self.expect_once(PASSED, 0)

    def test_a_crashed_tracer_behind_passed_tests_is_told_and_the_program_run_once_more(self):
        code, output, runs = self.run_ends((PASSED + CRASH, 1), (PASSED, 0))
        self.assertEqual((code, runs), (0, 2))
        self.assertIn("tracer crashed, nothing was checked: running the program once more\n", output)
        self.assertTrue(output.startswith(PASSED + CRASH), output)
        self.assertTrue(output.endswith(PASSED), output)

    def test_it_is_run_no_third_time(self):
        code, _, runs = self.run_ends((PASSED + CRASH, 1), (PASSED + CRASH, 1), ("", 0))
        self.assertEqual((code, runs), (1, 2))

    def test_the_second_run_may_find_a_leak(self):
        code, output, runs = self.run_ends((PASSED + CRASH, 1), (PASSED + LEAK, 23))
        self.assertEqual((code, runs), (23, 2))
        self.assertIn("detected memory leaks", output)

    def test_a_failed_test_is_no_fault_of_the_tracers(self):
        self.expect_once(FAILED + CRASH, 1)

    def test_nor_is_a_program_that_ran_no_test(self):
        self.expect_once("Ran 0 tests in 0.000s\n\nOK\n" + CRASH, 1)

    def test_a_finding_stays_one(self):
        for finding in (LEAK, DEADLY_SIGNAL):
            with self.subTest(finding):
                self.expect_once(PASSED + finding, 1)
                self.expect_once(PASSED + finding + CRASH, 1)

    def test_a_program_that_prints_of_a_tracer_without_one_is_not_excused(self):
        self.expect_once("Tracer caught signal 11\n" + PASSED, 1)


if __name__ == "__main__":
    unittest.main()
