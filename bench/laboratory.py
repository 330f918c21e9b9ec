"""Where searches are measured: two network namespaces that are joined by cables, the finder's and the
responder's. Both go with this process."""

import collections
import contextlib
import ctypes
import json
import os
import pathlib
import queue
import re
import signal
import subprocess
import sys
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent
sys.path.insert(0, str(ROOT / "tests/network"))
from namespace import Namespace  # the folder is known only now

GROUP = "239.255.255.250"
PRIVATE_NETWORK = ROOT / "scripts/private-network.sh"
PR_SET_PDEATHSIG = 1
LIMIT = 60  # seconds that anything may take before it counts as stuck

Search = collections.namedtuple("Search", "port source source_port destination")

# How answers are sent: so many at a time, and the microseconds from one start to the next.
Pace = collections.namedtuple("Pace", "answers_at_once pause")
AT_ONCE = Pace(1000, 0)
TEN_PER_MILLISECOND = Pace(10, 1000)
ONE_PER_MILLISECOND = Pace(1, 1000)

Load = collections.namedtuple("Load", "seconds delivered")


class Stuck(Exception):
    """Something did not answer in time, or ended."""


def enter_private_network():
    """Goes on in a network of its own, in which namespaces take no privileges outside."""
    if "VIREON_BENCH_NETWORK" not in os.environ:
        os.environ["VIREON_BENCH_NETWORK"] = "private"
        os.execv(PRIVATE_NETWORK, [str(PRIVATE_NETWORK), sys.executable, "-B"] + sys.argv)


def _die_with_parent():
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


class Program:
    """A program that takes a line on its standard input, and says lines on its output."""

    def __init__(self, namespace, command, environment=None, errors=None):
        with namespace.entered():
            self.process = subprocess.Popen(
                [str(word) for word in command],
                env=dict(os.environ, **(environment or {})),
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=errors,
                text=True,
                preexec_fn=_die_with_parent,
            )
        self._lines = queue.Queue()
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self.process.stdout:
            self._lines.put(line)
        self._lines.put(None)

    def say(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def hear(self, limit=LIMIT):
        try:
            line = self._lines.get(timeout=limit)
        except queue.Empty:
            raise Stuck(f"nothing within {limit} s from {self.process.args}") from None
        if line is None:
            raise Stuck(f"has ended: {self.process.args}")
        return line

    def heard(self):
        """Whether it has said something that was not taken yet."""
        return not self._lines.empty()

    def close(self):
        """Ends it by the end of its input; gives its exit code."""
        self.process.stdin.close()
        try:
            code = self.process.wait(LIMIT)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise Stuck(f"does not end: {self.process.args}") from None
        self._reader.join()
        self.process.stdout.close()
        return code


class Finder(Program):
    """A program that searches: finder.py, or one with the same commands."""

    def ask(self, command):
        self.say(command)
        return json.loads(self.hear())

    def processor_seconds(self):
        """Of all its threads, by the system's own clock of the process."""
        return time.clock_gettime(~self.process.pid << 3 | 2)

    def wait_until_quiet(self, window=0.06):
        """Until it has done next to nothing for a while; so nothing that measures runs inside it."""
        deadline = time.monotonic() + LIMIT
        before = self.processor_seconds()
        while time.monotonic() < deadline:
            time.sleep(window)
            now = self.processor_seconds()
            if now - before < 0.002 * window and not self._is_starved():
                return
            before = now
        raise Stuck(f"is never quiet: {self.process.args}")

    def _is_starved(self):
        """Whether a thread of its would go on, and waits for a processor."""
        return any(
            (thread / "stat").read_text(encoding="utf-8").rpartition(")")[2].split()[0] == "R"
            for thread in self._threads()
        )

    def _threads(self):
        folder = pathlib.Path(f"/proc/{self.process.pid}/task")
        return [path for path in folder.iterdir()]

    def wake_ups(self):
        """How often its threads have been waited for and woken."""
        total = 0
        for thread in self._threads():
            status = (thread / "status").read_text(encoding="ascii")
            total += int(re.search(r"^voluntary_ctxt_switches:\s*(\d+)", status, re.M).group(1))
        return total


class Laboratory:
    """Two namespaces with so many cables between them, and the servers in one of them. For one finder at a
    time: others would answer to its port, or hear its searches."""

    def __init__(self, tools, interfaces=1):
        self._close = contextlib.ExitStack()
        self._here, there = Namespace(), Namespace()
        for namespace in (self._here, there):
            self._close.callback(namespace.close)
        for number in range(1, interfaces + 1):
            self._here.connect(f"eth{number}", there, f"eth{number}")
            self._here.ip(f"addr add 10.77.{number}.1/24 broadcast + dev eth{number}")
            there.ip(f"addr add 10.77.{number}.2/24 broadcast + dev eth{number}")
            # It is usable only seconds later, and some finders give up on it until then.
            self._here.ip(f"-6 addr flush dev eth{number}")
        # For finders that leave it to the system where a search goes.
        self._here.ip("link set lo up")
        self._here.ip("route add 224.0.0.0/4 dev eth1")
        addresses = [f"10.77.{number}.2" for number in range(1, interfaces + 1)]
        self._responder = Program(there, [tools / "bench_responder"] + addresses)
        self._close.callback(self._responder.close)
        if self._responder.hear() != "ready\n":
            raise Stuck("the responder is not ready")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._close.close()

    def start(self, command, environment=None, errors=None, kind=Finder):
        """A program beside the servers; it is ended with the laboratory, unless it was before."""
        program = kind(self._here, command, environment, errors)
        self._close.callback(lambda: program.process.poll() is None and program.close())
        return program

    def begin_search(self, finder, senders=1, interval=3600):
        """Has the finder search; gives the first requests of its multicast senders."""
        self._drop_searches()
        finder.say(f"search {interval}")
        found = {}
        while len(found) < senders:
            words = self._responder.hear().split()
            search = Search(int(words[1]), words[2], int(words[3]), words[4])
            if search.destination == GROUP:
                found[search.source] = search
        finder.hear()
        return list(found.values())

    def search(self, finder, senders=1):
        """The same, once and no more, with what it takes behind it."""
        searches = self.begin_search(finder, senders)
        finder.wait_until_quiet()
        return searches

    def _drop_searches(self):
        while self._responder.heard():
            self._responder.hear()

    def send(self, searches, answers, pace, servers=None):
        """Has the servers answer, and waits until the last answer is out."""
        self._drop_searches()
        targets = " ".join(f"{search.source}:{search.source_port}" for search in searches)
        self._responder.say(
            f"send {searches[0].port} {answers} {pace.answers_at_once} {pace.pause} "
            f"{servers or answers} {targets}"
        )
        while not self._responder.hear().startswith("sent "):
            pass

    def load(self, finder, searches, answers, pace, servers=None):
        """What it costs a finder to take these answers."""
        finder.ask("calls")
        before = finder.processor_seconds()
        self.send(searches, answers, pace, servers)
        finder.wait_until_quiet()
        seconds = finder.processor_seconds() - before
        return Load(seconds, finder.ask("calls"))

    def receive_buffer(self, search):
        """What the socket behind a request has asked for, in bytes; the system doubles it."""
        with self._here.entered():
            listing = subprocess.run(
                ["ss", "-H", "-uanm", f"sport = :{search.source_port}"],
                stdout=subprocess.PIPE,
                text=True,
                check=True,
            ).stdout
        return int(re.search(r"skmem:\(.*?\brb(\d+)", listing).group(1)) // 2
