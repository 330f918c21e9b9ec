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

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "network"))
from isolated_case import ANSWERED, ISOLATED, IsolatedCase, without_leak_checks  # known only now

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


class LivesCase(IsolatedCase):
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
        server = ANSWERED
        if pouring:
            server = [ISOLATED, sys.executable, "-B", str(HERE / "pouring.py"), *map(str, pouring)]
        process = subprocess.Popen(
            [*server, *interpreter(), str(HERE / name), *map(str, arguments)],
            env=without_leak_checks() if leaves_engines else None,
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
