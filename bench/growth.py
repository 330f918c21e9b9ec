"""How what an answer, and a search, cost grows with the number of servers and of interfaces."""

import contextlib
import statistics
import time

import laboratory

SERVERS = (1, 10, 100, 1000, 10000)
INTERFACES = (1, 2, 4, 8, 16)
FINDERS = ("module", "floor", "script")
ROUNDS = 5

# At least so many answers are behind each figure of a round: few servers answer several searches.
ANSWERS = 500
# Between two searches, for what a search costs; long enough for all senders to take part.
INTERVAL, SAMPLE = 0.1, 2.0  # seconds


def start(build, close, name, interfaces=1):
    """A finder in a laboratory of its own, which has searched: a function that loads it with answers of so
    many servers and gives the microseconds of one."""
    lab = close.enter_context(laboratory.Laboratory(build.tools, interfaces))
    finder = lab.start([build.python, "-B", laboratory.HERE / "finder.py", name], build.environment)
    searches = lab.search(finder, interfaces)

    def cost(servers, answers):
        pace = laboratory.Pace(min(servers, 10), 1000)
        load = lab.load(finder, searches, max(servers, answers), pace, servers)
        return 1e6 * load.seconds / max(load.delivered, 1)

    return cost


def measure_servers(build, rounds, answers, most):
    numbers = [number for number in SERVERS if number <= most]
    results = {name: {number: [] for number in numbers} for name in FINDERS}
    with contextlib.ExitStack() as close:
        costs = {name: start(build, close, name) for name in FINDERS}
        for _ in range(rounds):
            for number in numbers:
                for name, cost in costs.items():
                    results[name][number].append(cost(number, answers))
    return {name: medians(by_number) for name, by_number in results.items()}


def medians(values):
    return {number: statistics.median(found) for number, found in values.items()}


def measure_interfaces(build, rounds, answers, most):
    numbers = [number for number in INTERFACES if number <= most]
    results = {number: [] for number in numbers}
    with contextlib.ExitStack() as close:
        costs = {number: start(build, close, "module", number) for number in numbers}
        for _ in range(rounds):
            for number, cost in costs.items():
                results[number].append(cost(answers, answers))
    return medians(results)


def measure_search(build, interfaces, seconds):
    """Microseconds of processor time for one search over so many interfaces, answered by nobody."""
    with laboratory.Laboratory(build.tools, interfaces) as lab:
        finder = lab.start([build.python, "-B", laboratory.HERE / "finder.py", "module"], build.environment)
        lab.begin_search(finder, interfaces, INTERVAL)
        began, before = time.monotonic(), finder.processor_seconds()
        time.sleep(seconds)
        searches = (time.monotonic() - began) / INTERVAL
        used = finder.processor_seconds() - before
        finder.ask("stop")
        return 1e6 * used / searches


def measure(build, brief):
    rounds, answers = (1, 50) if brief else (ROUNDS, ANSWERS)
    most_servers, most_interfaces = (100, 2) if brief else (SERVERS[-1], INTERFACES[-1])
    return {
        "servers": measure_servers(build, rounds, answers, most_servers),
        "interfaces": measure_interfaces(build, rounds, answers, most_interfaces),
        "search": {
            number: measure_search(build, number, SAMPLE / 10 if brief else SAMPLE)
            for number in INTERFACES
            if number <= most_interfaces
        },
    }
