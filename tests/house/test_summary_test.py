#!/usr/bin/env python3
"""Shows that the summary of a test run counts what ran and hides nothing."""

import contextlib
import io
import os
import pathlib
import sys
import tempfile
import unittest
from unittest import mock
from xml.sax import saxutils

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "scripts"), str(ROOT / "tests" / "sanitizers")]
import leak_checker
import test_summary

GTEST = """[==========] Running 3 tests from 1 test suite.
[ RUN      ] List.Appends
[       OK ] List.Appends (0 ms)
[ RUN      ] Cases/List.Removes/0
[       OK ] Cases/List.Removes/0, where GetParam() = 3 (0 ms)
[ RUN      ] List.Sorts
list_test.cpp:3: Skipped
no sorting here
[  SKIPPED ] List.Sorts (0 ms)
[==========] 3 tests from 1 test suite ran. (0 ms total)
[  PASSED  ] 2 tests.
[  SKIPPED ] 1 test, listed below:
[  SKIPPED ] List.Sorts
"""

GTEST_FAILING = """[ RUN      ] List.Appends
list_test.cpp:3: Failure
[  FAILED  ] List.Appends (0 ms)
[  FAILED  ] 1 test, listed below:
[  FAILED  ] List.Appends
"""

UNITTEST = """test_one (__main__.Case) ... ok
test_two (__main__.Case)
What it is about. ... skipped 'no root'
test_three (__main__.Case) ... FAIL

======================================================================
FAIL: test_three (__main__.Case)
----------------------------------------------------------------------
Ran 3 tests in 0.001s

FAILED (failures=1, skipped=1)
"""

NETWORK = """gw0 [4] / gw1 [4]
[gw0] [ 25%] PASSED test_requests.py::Requests::test_bytes
[gw1] [ 50%] FAILED test_answers.py::Answers::test_order
=================================== FAILURES ===================================
E   AssertionError: 1 passed
=========================== short test summary info ============================
SKIPPED [2] test_timing.py:12: platform: no clock
FAILED test_answers.py::Answers::test_order - AssertionError: 1 passed
============== 1 failed, 1 passed, 2 skipped in 62.01s (0:01:02) ===============
"""


class Summary(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)

    def results(self, preset, *cases):
        """Each case is a name, what ctest says of it, and the program's output."""
        folder = pathlib.Path("build", preset)
        folder.mkdir(parents=True)
        text = "".join(
            f'<testcase name="{name}" status="{status}"><system-out>'
            f"{saxutils.escape(output)}</system-out></testcase>"
            for name, status, output in cases
        )
        (folder / "results.xml").write_text(f"<testsuite>{text}</testsuite>", encoding="utf-8")

    def summary(self, *presets, ci="false"):
        with mock.patch.dict(os.environ, CI=ci), contextlib.redirect_stdout(io.StringIO()) as output:
            code = test_summary.main(presets)
        return code, output.getvalue()

    def test_counts_single_tests_of_all_presets(self):
        self.results("dev", ("core", "run", GTEST))
        self.results("asan", ("core", "run", GTEST), ("scripts", "fail", UNITTEST))
        code, output = self.summary("dev", "asan")
        self.assertEqual("5 passed, 1 failed, 3 skipped", output.splitlines()[-1])
        self.assertEqual(1, code)
        self.assertIn("failed: scripts: test_three (__main__.Case)", output)
        self.assertIn("skipped: scripts: test_two (__main__.Case): skipped 'no root'", output)
        self.assertIn("List.Sorts: list_test.cpp:3: Skipped no sorting here", output)

    def test_passes_when_nothing_failed(self):
        self.results("dev", ("core", "run", GTEST))
        self.assertEqual(0, self.summary("dev")[0])

    def test_skip_fails_in_ci(self):
        self.results("dev", ("core", "run", GTEST))
        self.assertEqual(1, self.summary("dev", ci="true")[0])

    def test_failed_test_is_named(self):
        self.results("dev", ("core", "fail", GTEST_FAILING))
        code, output = self.summary("dev")
        self.assertIn("failed: core: List.Appends\n", output)
        self.assertIn("0 passed, 1 failed, 0 skipped", output)
        self.assertEqual(1, code)

    def test_counts_network_tests(self):
        self.results("release", ("network", "fail", NETWORK))
        output = self.summary("release")[1]
        self.assertIn("failed: network: test_answers.py::Answers::test_order\n", output)
        self.assertEqual(2, output.count("elsewhere: network: test_timing.py:12: platform: no clock\n"))
        self.assertIn("1 passed, 1 failed, 0 skipped", output)

    def test_counts_what_network_tests_do_not_name(self):
        self.results("release", ("network", "fail", "===== 1 failed, 2 errors, 1 skipped in 0.10s =====\n"))
        self.assertIn("0 passed, 3 failed, 1 skipped", self.summary("release")[1])

    def test_tells_how_long_a_preset_took(self):
        self.results("dev", ("core", "run", GTEST))
        path = pathlib.Path("build/dev/results.xml")
        path.write_text(path.read_text().replace("<testsuite>", '<testsuite time="90">'))
        self.assertRegex(self.summary("dev")[1], r"(?m)^dev .* 1\.5$")

    def test_counts_replayed_inputs(self):
        self.results("dev", ("fuzz", "run", "a\nb\nreplayed 2 inputs\n"))
        self.assertIn("2 passed, 0 failed, 0 skipped", self.summary("dev")[1])
        self.results("asan", ("fuzz", "fail", "a\nb\n"))
        self.assertIn("0 passed, 1 failed, 0 skipped", self.summary("asan")[1])

    def test_tells_of_a_program_that_was_run_again_and_counts_its_second_run(self):
        passed = "test_one (__main__.Case) ... ok\nRan 1 test in 0.1s\n\nOK\n"
        again = leak_checker.PROGRAM_RUN_AGAIN + "\n"
        self.results("asan", ("script_exit", "run", passed + again + passed))
        output = self.summary("asan")[1]
        self.assertIn(f"told: script_exit: {again}", output)
        self.assertIn("1 passed, 0 failed, 0 skipped", output)

    def test_tells_of_a_script_that_was_run_again_and_counts_all_tests(self):
        again = leak_checker.SCRIPT_RUN_AGAIN + "\n"
        self.results("asan", ("script_exit", "run", "test_it ... " + again + "Ran 3 tests in 0.1s\n\nOK\n"))
        output = self.summary("asan")[1]
        self.assertIn(f"told: script_exit: {again}", output)
        self.assertIn("3 passed, 0 failed, 0 skipped", output)

    def test_crash_counts_as_failure(self):
        self.results("dev", ("core", "fail", "[ RUN      ] A.B\n[       OK ] A.B (0 ms)\n"))
        self.assertIn("1 passed, 1 failed, 0 skipped", self.summary("dev")[1])

    def test_program_that_ran_no_test_counts_as_failure(self):
        for number, output in enumerate(("", "Ran 0 tests in 0.0s\n\nOK\n")):
            with self.subTest(output):
                self.results(f"p{number}", ("core", "run", output))
                code, text = self.summary(f"p{number}")
                self.assertIn("0 passed, 1 failed, 0 skipped", text)
                self.assertEqual(1, code)

    def test_program_that_did_not_start_counts_as_failure(self):
        self.results("dev", ("core", "notrun", ""))
        self.assertEqual(1, self.summary("dev")[0])


if __name__ == "__main__":
    unittest.main()
