"""The base of tests that start programs in a network namespace of its own for each. For folders beside."""

import os
import pathlib
import subprocess
import sys
import unittest

from network_case import unmet

HERE = pathlib.Path(__file__).resolve().parent
# Has one interface that leads nowhere.
ISOLATED = str(HERE.parent / 'script' / 'isolated.sh')
# Answers each search in there while a program runs.
ANSWERING = [sys.executable, '-B', str(HERE / 'answering.py')]
ANSWERED = [ISOLATED] + ANSWERING


def without_leak_checks():
    """The environment for a program that leaves engines behind, which checkers would tell."""
    environment = dict(os.environ)
    for variable, option in ('ASAN_OPTIONS', 'detect_leaks=0'), ('TSAN_OPTIONS', 'report_thread_leaks=0'):
        environment[variable] = environment.get(variable, '') + ':' + option
    return environment


class IsolatedCase(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        tried = subprocess.run([ISOLATED, 'true'], stderr=subprocess.PIPE, text=True)
        if tried.returncode:
            unmet(' '.join(tried.stderr.split()))
