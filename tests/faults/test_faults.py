"""Every call that can fail fails once: in the import, in each function, and in each thread of an engine's
life. With VIREON_FAULTS=long each single one, otherwise of the many allocations of a search every fourth."""

import collections
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import unittest

from calls import CALLS

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "network"))
from isolated_case import ANSWERED, IsolatedCase  # its folder is known only now

IS_LONG = os.environ.get("VIREON_FAULTS") == "long"
LIMIT_SECONDS = 300
AT_ONCE = 6  # they mostly wait

# The threads of an engine: the script's, the dispatch thread, one for each sender.
THREADS = {0: "script", 1: "dispatch", 2: "broadcast", 3: "multicast"}
INJECTED = re.compile(r"^injected (\w+) (\d+)$", re.M)
COMPLAINT = re.compile(r"^complaint .*$", re.M)


def drive(name, *arguments, environment=()):
    """A driver's (exit code, output, errors), in a network namespace where searches are answered."""
    command = [*ANSWERED, "env"]
    command += ["LD_PRELOAD=" + os.environ["VIREON_FAULTS_LIBRARY"], *environment]
    command += [os.environ["VIREON_PYTHON"], "-B", str(HERE / name)]
    command += [str(each) for each in arguments]
    ended = subprocess.run(
        command,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        timeout=LIMIT_SECONDS,
        errors="replace",
        text=True,
    )
    return ended.returncode, ended.stdout, ended.stderr


class Faults(IsolatedCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.pool = concurrent.futures.ThreadPoolExecutor(AT_ONCE)
        cls.lives = {
            (call, thread, error): cls.pool.submit(
                drive, "searching.py", call, thread, error, cls.step(call, thread)
            )
            for call, errors in CALLS
            for thread in THREADS
            for error in errors
        }
        cls.injected = collections.Counter()

    @classmethod
    def tearDownClass(cls):
        cls.pool.shutdown()
        print("\nfaults injected: %d" % sum(cls.injected.values()))
        for (scenario, call), count in sorted(cls.injected.items()):
            print("  %-20s %-24s %5d" % (scenario, call, count))

    @staticmethod
    def step(call, thread):
        return 1 if IS_LONG or call != "allocation" or thread < 2 else 4

    def check(self, scenario, ended):
        """Gives how many faults there were."""
        code, output, errors = ended
        self.assertEqual([], COMPLAINT.findall(output))
        self.assertEqual(0, code, output + errors)
        counts = {call: int(count) for call, count in INJECTED.findall(output)}
        for call, count in counts.items():
            self.injected[scenario, call] += count
        return counts

    def check_lives(self, call):
        """Of the engine's threads those are named that the call was reached on."""
        reached = set()
        for (each, thread, error), life in self.lives.items():
            if each == call:
                with self.subTest(thread=THREADS[thread], error=error):
                    if self.check(THREADS[thread], life.result()).get(call):
                        reached.add(THREADS[thread])
        return reached

    def test_an_import_that_fails_is_an_exception_and_the_next_one_works(self):
        counts = self.check("import", drive("importing.py"))
        self.assertGreater(counts["allocation"], 80)
        self.assertGreater(counts["interpreter"], 10)

    def test_a_function_that_fails_raises_memory_error_and_leaves_nothing_behind(self):
        counts = self.check("functions", drive("functions.py"))
        self.assertGreater(counts["allocation"], 400)
        self.assertGreater(counts["interpreter"], 60)

    def test_a_refused_allocation_costs_one_step_on_whichever_thread(self):
        self.assertEqual(set(THREADS.values()), self.check_lives("allocation"))

    def test_a_call_of_the_interpreter_that_fails_costs_one_report(self):
        self.assertEqual({"script", "dispatch"}, self.check_lives("interpreter"))

    def test_senders_go_on_after_a_failed_wait_send_or_receive(self):
        for call in ("poll", "sendto", "recvfrom"):
            self.assertLessEqual({"broadcast", "multicast"}, self.check_lives(call), call)

    def test_a_search_starts_without_a_sender_or_a_thread_that_could_not_be_made(self):
        for call in ("socket", "bind", "setsockopt", "ioctl", "getifaddrs", "pthread_create"):
            self.assertIn("script", self.check_lives(call), call)

    def test_a_search_ends_without_a_connection_that_would_wake_it(self):
        for call in ("connect", "listen", "accept4", "getsockname", "getpeername", "send"):
            self.assertEqual({"script"}, self.check_lives(call), call)

    def test_a_mutex_that_cannot_be_made_is_never_used(self):
        for call in ("pthread_mutex_init", "pthread_mutexattr_init"):
            self.assertIn("script", self.check_lives(call), call)

    def test_diagnostics_that_cannot_be_written_are_lost(self):
        for thread in THREADS:
            with self.subTest(thread=THREADS[thread]):
                ended = drive("searching.py", "write", thread, 5, environment=["VIREON_LOG=5"])
                self.check("diagnostics", ended)

    def test_other_calls_are_seldom_reached(self):
        for call in ("getsockopt", "recv", "shutdown", "getaddrinfo", "clock_nanosleep", "write"):
            self.check_lives(call)


if __name__ == "__main__":
    unittest.main()
