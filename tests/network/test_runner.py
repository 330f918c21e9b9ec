"""What the runner of these tests keeps of one that fails, and in which order it gives them out."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from network_case import missing_namespaces, unmet

RUNNER = str(pathlib.Path(__file__).with_name('run.py'))
FAILS_AFTER_A_DATAGRAM = """
import socket, unittest
import namespace, wire_files

class Sending(unittest.TestCase):
    def test_a_datagram(self):
        inside = namespace.Namespace()
        inside.ip('link set lo up')
        wire_files.watch(inside)
        with inside.entered(), socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
            sender.sendto(b'one datagram', ('127.0.0.1', 9))
        inside.close()
        self.assertEqual(%s, 1)
"""

FAILS_IN_WINE_AT_FIRST = """
import pathlib, unittest
import wine_end

class Failing(unittest.TestCase):
    def test_an_end(self):
        rounds = pathlib.Path(__file__).with_name('rounds')
        done = len(rounds.read_text()) if rounds.exists() else 0
        rounds.write_text('.' * (done + 1))
        if done < %d:
            raise wine_end.FailedInWine('its end')
"""

PASSES_TWICE = """
import unittest

class Passing(unittest.TestCase):
    def test_first(self):
        pass

    test_second = test_first
"""


class RunnerTest(unittest.TestCase):
    def setUp(self):
        reason = missing_namespaces()
        if reason:
            unmet(reason)
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_test(self, value):
        return self.run_text(FAILS_AFTER_A_DATAGRAM % value)

    def run_text(self, text):
        (self.folder / 'test_sending.py').write_text(text)
        return self.run_folder()

    def run_folder(self, *options):
        return subprocess.run(
            [sys.executable, '-B', RUNNER, '-j', '1', '--folder', str(self.folder), *options],
            env=dict(os.environ, VIREON_MODULE_DIR=str(self.folder)),
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
        )

    def test_the_wire_of_a_test_that_fails_is_kept_and_named(self):
        done = self.run_test(0)
        file = self.folder / 'captures' / 'test_sending.test_a_datagram.1.pcap'
        self.assertNotEqual(done.returncode, 0)
        self.assertIn(str(file), done.stdout)
        self.assertIn(b'one datagram', file.read_bytes())

    def test_nothing_is_kept_of_one_that_passes(self):
        done = self.run_test(1)
        self.assertEqual((done.returncode, [*self.folder.glob('captures/*')]), (0, []), done.stdout)

    def test_what_failed_in_wine_itself_is_done_once_more_and_told(self):
        done = self.run_text(FAILS_IN_WINE_AT_FIRST % 1)
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertRegex(done.stdout, 'RERUN .*test_an_end')

    def test_what_failed_in_wine_itself_twice_fails(self):
        done = self.run_text(FAILS_IN_WINE_AT_FIRST % 2)
        self.assertNotEqual(done.returncode, 0, done.stdout)

    def test_what_failed_elsewhere_is_not_done_once_more(self):
        done = self.run_text(FAILS_IN_WINE_AT_FIRST.replace('wine_end.FailedInWine', 'AssertionError') % 1)
        self.assertNotEqual(done.returncode, 0, done.stdout)

    def test_neighbours_in_a_file_are_not_given_out_together(self):
        for name in 'test_one.py', 'test_other.py':
            (self.folder / name).write_text(PASSES_TWICE)
        done = self.run_folder('--verbose')
        self.assertEqual(
            re.findall(r'PASSED .*(test_one|test_other)\.py::Passing::test_(\w+)', done.stdout),
            [
                ('test_one', 'first'),
                ('test_other', 'first'),
                ('test_one', 'second'),
                ('test_other', 'second'),
            ],
            done.stdout,
        )
