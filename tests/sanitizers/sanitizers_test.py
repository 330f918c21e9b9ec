#!/usr/bin/env python3
"""sanitizers_test.py --library FILE --checks address,undefined

Shows that each check finds a fault in a library that the script tests' interpreter loads, so that a
silent run of those tests means something.
"""

import argparse
import os
import subprocess
import sys
import unittest

# Fault to the check that has to find it, and a word of its report.
FAULTS = {
    "Leak": ("address", "LeakSanitizer: detected memory leaks"),
    "ReadBeyondTheEnd": ("address", "heap-buffer-overflow"),
    "OverflowAnInteger": ("undefined", "signed integer overflow"),
    "Race": ("thread", "data race"),
}
OPTIONS = argparse.Namespace()


def run_in_interpreter(function):
    script = f"import ctypes; ctypes.CDLL({OPTIONS.library!r}).{function}()"
    return subprocess.run(
        [os.environ["VIREON_PYTHON"], "-c", script],
        text=True,
        timeout=120,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        check=False,
    )


class Sanitizers(unittest.TestCase):
    def test_faults_are_reported(self):
        for function, (check, report) in FAULTS.items():
            if check not in OPTIONS.checks.split(","):
                continue
            with self.subTest(function):
                run = run_in_interpreter(function)
                self.assertIn(report, run.stdout)
                self.assertIn(function, run.stdout)
                self.assertNotEqual(0, run.returncode)

    def test_a_thread_that_is_ending_is_no_leak(self):
        run = run_in_interpreter("EndAThread")
        self.assertEqual(("", 0), (run.stdout, run.returncode))

    def test_threads_that_outlive_the_script_do_not_crash_the_leak_check(self):
        run = run_in_interpreter("LeaveThreadsBehind")
        self.assertEqual(("", 0), (run.stdout, run.returncode))

    def test_sound_code_is_not_reported(self):
        run = run_in_interpreter("DoNoHarm")
        self.assertEqual(("", 0), (run.stdout, run.returncode))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--library")
    parser.add_argument("--checks")
    _, rest = parser.parse_known_args(namespace=OPTIONS)
    unittest.main(argv=[sys.argv[0], *rest])
