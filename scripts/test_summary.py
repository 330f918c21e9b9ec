#!/usr/bin/env python3
"""test_summary.py PRESET...

Sums up the last test run of each preset from build/<preset>/results.xml, which ctest wrote: a row per
preset, what failed or was skipped by name, and a last line "N passed, N failed, N skipped".

A ctest test is usually a program with many tests of its own (GoogleTest, unittest, pytest, the replay of a
fuzzer's corpus); those are what is counted. A program that fails without saying
which test failed, or that succeeds without having run any, counts as one failure. Ends with 1 when
anything failed and, where the environment has CI=true, when anything was skipped.

A skip whose reason begins with "platform: " is no gap of this machine: the test is about what only the
other platform has. Those are listed, reason and all, but not counted as skipped.
"""

import os
import pathlib
import re
import sys
import xml.etree.ElementTree as ElementTree

GTEST_RESULT = re.compile(r"^\[ +(OK|FAILED|SKIPPED) +\] ([\w/.-]+\.[\w/.-]+).*\((?:\d+) ms\)$", re.M)
UNITTEST_RESULT = re.compile(
    r"^(test\w* \([\w.]+\))(?:\n.*?)? \.\.\. .*?"
    r"(ok|FAIL|ERROR|skipped .*|expected failure|unexpected success)$",
    re.M,
)
UNITTEST_END = re.compile(r"^Ran (\d+) tests? in .*\n\n(?:OK|FAILED)(?: \((.*)\))?$", re.M)
PYTEST_END = re.compile(r"^=+ (\d+ [a-z]+(?:, \d+ [a-z]+)*) in [\d.]+s.*=+$", re.M)
PYTEST_FAILURE = re.compile(r"^(?:FAILED|ERROR) (\S+)", re.M)
PYTEST_SKIPS = re.compile(r"^SKIPPED \[(\d+)\] (.*)$", re.M)
# The leak checker of a checked build failed, not what it checked; a program's second run is what counts.
RUN_AGAIN = re.compile(r"the leak checker's own tracer crashed, .* running the (program|script) once more")
REPLAYED = re.compile(r"^replayed (\d+) inputs?$", re.M)


class Count:
    """How many tests passed, and the names of the others with what they said."""

    def __init__(self):
        self.passed = 0
        self.failed = []
        self.skipped = []
        self.elsewhere = []
        self.told = []
        self.seconds = 0.0

    def add(self, other):
        self.passed += other.passed
        self.failed += other.failed
        self.skipped += other.skipped
        self.elsewhere += other.elsewhere
        self.told += other.told
        self.seconds += other.seconds


def count_gtest(output):
    count = Count()
    results = list(GTEST_RESULT.finditer(output))
    for index, match in enumerate(results):
        result, name = match.groups()
        if result == "OK":
            count.passed += 1
        elif result == "FAILED":
            count.failed.append(name)
        else:
            start = output.rfind("[ RUN      ] ", 0, match.start())
            reason = " ".join(output[start : match.start()].splitlines()[1:])
            count.skipped.append(f"{name}: {reason.strip()}")
    return count


def count_unittest(output):
    """A program may run several suites, one after the other."""
    count = Count()
    for ran, details in UNITTEST_END.findall(output):
        numbers = dict(re.findall(r"([a-z ]+)=(\d+)", details))
        numbers = {key.strip(): int(value) for key, value in numbers.items()}
        bad = sum(numbers.get(key, 0) for key in ("failures", "errors", "unexpected successes"))
        skipped = numbers.get("skipped", 0)
        count.passed += int(ran) - bad - skipped
        count.failed += [f"a test of {ran}"] * bad
        count.skipped += [f"a test of {ran}"] * skipped
    named_failures, named_skips = [], []
    for name, result in UNITTEST_RESULT.findall(output):
        if result in ("FAIL", "ERROR", "unexpected success"):
            named_failures.append(name)
        elif result.startswith("skipped"):
            named_skips.append(f"{name}: {result}")
    if len(named_failures) == len(count.failed):
        count.failed = named_failures
    if len(named_skips) == len(count.skipped):
        count.skipped = named_skips
    return count


def count_pytest(output):
    count = Count()
    for end in PYTEST_END.findall(output):
        numbers = {kind.rstrip("s"): int(number) for number, kind in re.findall(r"(\d+) ([a-z]+)", end)}
        count.passed += numbers.get("passed", 0)
        count.failed += ["a test"] * (numbers.get("failed", 0) + numbers.get("error", 0))
        count.skipped += ["a test"] * numbers.get("skipped", 0)
    named_failures = PYTEST_FAILURE.findall(output)
    named_skips = [what for number, what in PYTEST_SKIPS.findall(output) for _ in range(int(number))]
    if len(named_failures) == len(count.failed):
        count.failed = named_failures
    if len(named_skips) == len(count.skipped):
        count.skipped = named_skips
    return count


def count_replayed(output):
    count = Count()
    count.passed = sum(int(number) for number in REPLAYED.findall(output))
    return count


def count_program(case):
    """The tests that one ctest test stands for."""
    name = case.get("name")
    output = case.findtext("system-out") or ""
    count = Count()
    for again in RUN_AGAIN.finditer(output):
        count.told.append(f"{name}: {again.group()}")
        if again.group(1) == "program":
            output = output[again.end() :]
    for count_kind in (count_gtest, count_unittest, count_pytest, count_replayed):
        count.add(count_kind(output))
    succeeded = case.get("status") == "run"
    if succeeded and count.passed + len(count.failed) + len(count.skipped) == 0:
        count.failed.append("ran no test that could be counted")
    if not succeeded and not count.failed:
        reason = case.find("failure")
        said = reason.get("message") if reason is not None else case.get("status")
        count.failed.append(f"ended badly: {said or 'failed'}")
    count.failed = [f"{name}: {what}" for what in count.failed]
    skipped = [f"{name}: {what}" for what in count.skipped]
    count.elsewhere = [what for what in skipped if "platform: " in what]
    count.skipped = [what for what in skipped if "platform: " not in what]
    return count


def count_preset(path):
    count = Count()
    results = ElementTree.parse(path).getroot()
    for case in results.iter("testcase"):
        count.add(count_program(case))
    # Of the clock: programs run side by side.
    count.seconds = float(results.get("time") or 0)
    return count


def main(presets):
    total = Count()
    print(f"{'preset':10} {'run':>7} {'passed':>7} {'failed':>7} {'skipped':>8} {'minutes':>8}")
    for preset in presets:
        count = count_preset(pathlib.Path("build", preset, "results.xml"))
        run = count.passed + len(count.failed)
        print(
            f"{preset:10} {run:7} {count.passed:7} {len(count.failed):7} {len(count.skipped):8}"
            f" {count.seconds / 60:8.1f}"
        )
        for kind in ("failed", "skipped", "elsewhere", "told"):
            for what in getattr(count, kind):
                print(f"  {kind}: {what}")
        total.add(count)
    must_not_skip = os.environ.get("CI") == "true"
    if total.skipped and must_not_skip:
        print("Nothing may be skipped where CI=true.")
    print(f"{total.passed} passed, {len(total.failed)} failed, {len(total.skipped)} skipped")
    return 1 if total.failed or (total.skipped and must_not_skip) else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
