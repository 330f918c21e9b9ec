"""What an answer costs from the network to the callable, by each way of finding servers, side by side."""

import contextlib
import statistics
import subprocess

import laboratory

# The loads, and how many answers each has. A pause lets a finder keep up, a burst shows what it loses.
LOADS = {
    "burst of 1,000": (1000, laboratory.AT_ONCE),
    "burst of 10,000": (10000, laboratory.AT_ONCE),
    "10 per ms": (2000, laboratory.TEN_PER_MILLISECOND),
}
LATENCY_ANSWERS = 500

# Other libraries keep what they found, and a search of theirs ends by itself: each load meets a new one.
LIBRARIES = ("GSSDP", "libupnp")


def commands(build):
    """The finders that are there, as command lines with a place for the receive buffer, the module first."""
    python = [build.python, "-B", laboratory.HERE / "finder.py"]
    found = {"module": python + ["module"], "floor": python + ["floor"], "script": python + ["script"]}
    for name in LIBRARIES:
        program = build.peers / f"bench_{name.lower()}"
        if program.exists():
            found[name] = [program, "eth1"]
    return found


class Subject:
    """A finder in a laboratory of its own, which has searched once."""

    def __init__(self, lab, command, environment):
        self._lab, self._command, self._environment = lab, command, environment
        self.begin()

    def begin(self):
        errors = subprocess.DEVNULL if self._command[0].name.startswith("bench_") else None
        self._finder = self._lab.start(self._command, self._environment, errors)
        self._searches = self._lab.search(self._finder)

    def begin_anew(self):
        self._finder.close()
        self.begin()

    def receive_buffer(self):
        return self._lab.receive_buffer(self._searches[0])

    def load(self, answers, pace):
        return self._lab.load(self._finder, self._searches, answers, pace)

    def latencies(self, answers):
        self._finder.ask("latencies")
        self.load(answers, laboratory.ONE_PER_MILLISECOND)
        return self._finder.ask("latencies")


def start(build, close):
    """Starts them all; those that can take the module's receive buffer, which is given as well."""
    subjects, receive_buffer = {}, 0
    for name, command in commands(build).items():
        lab = close.enter_context(laboratory.Laboratory(build.tools))
        subjects[name] = Subject(lab, command + [receive_buffer], build.environment)
        receive_buffer = receive_buffer or subjects[name].receive_buffer()
    return subjects, receive_buffer


def percentile(values, share):
    return sorted(values)[min(int(len(values) * share), len(values) - 1)]


def measure_once(name, subject, results, scale):
    for load, (answers, pace) in LOADS.items():
        cost = subject.load(answers // scale, pace)
        results[load]["us"].append(1e6 * cost.seconds / max(cost.delivered, 1))
        results[load]["delivered"].append(cost.delivered / (answers // scale))
        if name in LIBRARIES:
            subject.begin_anew()
    latencies = subject.latencies(LATENCY_ANSWERS // scale)
    results["latency"]["median"].append(1e6 * statistics.median(latencies))
    results["latency"]["99th"].append(1e6 * percentile(latencies, 0.99))
    if name in LIBRARIES:
        subject.begin_anew()


def measure(build, brief):
    """Interleaved: a disturbance of the machine's meets them all."""
    rounds, scale = (1, 10) if brief else (7, 1)
    with contextlib.ExitStack() as close:
        subjects, receive_buffer = start(build, close)
        names = list(subjects)
        results = {name: {load: {"us": [], "delivered": []} for load in LOADS} for name in names}
        for name in names:
            results[name]["latency"] = {"median": [], "99th": []}
        for number in range(rounds):
            # Another one begins each time.
            turn = number % len(names)
            for name in names[turn:] + names[:turn]:
                measure_once(name, subjects[name], results[name], scale)
    with open("/proc/sys/net/core/rmem_max", encoding="ascii") as limit:
        return {
            "finders": results,
            "receive_buffer": receive_buffer,
            "receive_buffer_limit": int(limit.read()),
            "rounds": rounds,
        }
