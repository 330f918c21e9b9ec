"""The base of the tests of long lives: where their scripts run, what they may say, what they draw from.

With VIREON_LIVES=long they take the time that they need; otherwise some seconds each.
"""

import concurrent.futures
import os
import pathlib
import random
import re
import shlex
import signal
import subprocess
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent
ISOLATED = str(HERE.parent / "script" / "isolated.sh")
ANSWERING = str(HERE.parent / "network" / "answering.py")
IS_LONG = os.environ.get("VIREON_LIVES") == "long"
ON_WINDOWS = "VIREON_WINDOWS_PYTHON" in os.environ

# What checkers and the interpreter say when something is wrong.
COMPLAINT = re.compile(
    r"^complaint .*|Sanitizer: .*|.*runtime error: .*|Fatal Python error.*|terminate called.*", re.M
)
# Of every result whose type has no script class, which is expected.
EXPECTED = "swig/python detected a memory leak of type "


def interpreter():
    words = os.environ.get("VIREON_DRIVER_PYTHON") or os.environ["VIREON_PYTHON"]
    return shlex.split(words) + ["-B"]


class LivesCase(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        tried = subprocess.run([ISOLATED, "true"], stderr=subprocess.PIPE, text=True)
        if tried.returncode:
            reason = " ".join(tried.stderr.split())
            if os.environ.get("CI") == "true":
                raise AssertionError(reason)
            raise unittest.SkipTest(reason)

    def note(self, text):
        print("\n%s: %s" % (self.id(), text), flush=True)

    def seed(self):
        """A new one, which the test prints, or that of VIREON_SEED."""
        seed = os.environ.get("VIREON_SEED") or str(random.SystemRandom().getrandbits(32))
        self.note("VIREON_SEED=%s" % seed)
        return seed

    def run_script(self, name, *arguments, seconds=300, leaves_engines=False, pouring=()):
        """What a script says in a namespace of its own, where each search is answered; or the first one,
        at the rate and for the seconds given."""
        server = [str(HERE / "pouring.py"), *map(str, pouring)] if pouring else [ANSWERING]
        environment = dict(os.environ)
        if leaves_engines:
            for variable, option in ("ASAN_OPTIONS", "detect_leaks=0"), (
                "TSAN_OPTIONS",
                "report_thread_leaks=0",
            ):
                environment[variable] = environment.get(variable, "") + ":" + option
        process = subprocess.Popen(
            [ISOLATED, sys.executable, "-B", *server, *interpreter(), str(HERE / name)]
            + [str(each) for each in arguments],
            env=environment,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            errors="replace",
            start_new_session=True,
        )
        try:
            output, errors = process.communicate(timeout=seconds)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            output, errors = process.communicate()
            self.fail("hangs: " + output + errors)
        said = output + "".join(line for line in errors.splitlines(True) if not line.startswith(EXPECTED))
        self.assertEqual((0, []), (process.returncode, COMPLAINT.findall(said)), said)
        return output

    def run_rounds(self, name, seed, count, processes, *options, **more):
        """Rounds, shared out to processes that run side by side; gives all that they say."""
        each = count // processes
        with concurrent.futures.ThreadPoolExecutor(processes) as pool:
            parts = [
                pool.submit(self.run_script, name, seed, number * each, each, *options, **more)
                for number in range(processes)
            ]
            said = [part.result() for part in parts]
        for text in said:
            self.assertIn("rounds %d\n" % each, text)
        self.note("%d rounds" % (each * processes))
        return said
