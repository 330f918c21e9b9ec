"""What the module costs while nothing answers: processor time and wake-ups, memory, import, size."""

import contextlib
import statistics
import subprocess
import time

import laboratory

# One interface's: towards its broadcast address, and to the group.
SENDERS = 2
INTERVALS = {"an hour": 3600.0, "3 s": 3.0}
SAMPLE, BRIEF_SAMPLE = 24.0, 3.0  # seconds; the result is scaled to a minute

ENGINES = 1000
RECORDS = 1000
# Of senders there are as many as interfaces and their kinds make.
INTERFACES = (1, 9)

IMPORT = "import time; began = time.time(); import _vireon; print(time.time() - began)"


def finder_command(build):
    return [build.python, "-B", laboratory.HERE / "finder.py", "module"]


def measure_waiting(build, seconds):
    """Per sender and minute, by the interval between two searches; side by side, since none is busy."""
    running = {}
    results = {}
    with contextlib.ExitStack() as close:
        for name, interval in INTERVALS.items():
            lab = close.enter_context(laboratory.Laboratory(build.tools))
            finder = lab.start(finder_command(build), build.environment)
            lab.begin_search(finder, interval=interval)
            finder.wait_until_quiet()
            running[name] = (finder, finder.processor_seconds(), finder.wake_ups())
        time.sleep(seconds)
        for name, (finder, processor, wakes) in running.items():
            scale = 60 / seconds / SENDERS
            results[name] = {
                "ms": 1000 * scale * (finder.processor_seconds() - processor),
                "wake-ups": scale * (finder.wake_ups() - wakes),
            }
            finder.ask("stop")
    return results


def counted(build, lab):
    """A finder that counts what it has on the heap."""
    environment = dict(build.environment, LD_PRELOAD=str(build.tools / "bench_counter.so"))
    finder = lab.start(finder_command(build), environment)
    finder.ask("memory")
    return finder


def difference(before, after, count):
    return {kind: (after[kind] - before[kind]) / count for kind in before}


def measure_engines(build):
    with laboratory.Laboratory(build.tools) as lab:
        finder = counted(build, lab)
        before = finder.ask("memory")
        finder.ask(f"engines {ENGINES}")
        return difference(before, finder.ask("memory"), ENGINES)


def measure_senders(build):
    """By what more interfaces add."""
    used = []
    for interfaces in INTERFACES:
        with laboratory.Laboratory(build.tools, interfaces) as lab:
            finder = counted(build, lab)
            before = finder.ask("memory")
            lab.search(finder, interfaces)
            used.append(difference(before, finder.ask("memory"), 1))
            finder.ask("stop")
    return difference(*used, SENDERS * (INTERFACES[1] - INTERFACES[0]))


def measure_records(build):
    """While the callable is busy."""
    with laboratory.Laboratory(build.tools) as lab:
        finder = counted(build, lab)
        searches = lab.search(finder)
        finder.ask("block")
        pace = laboratory.Pace(10, 5000)
        # The one that the callable is busy with, and what threads take once.
        lab.send(searches, 10, pace)
        finder.wait_until_quiet()
        before = finder.ask("memory")
        lab.send(searches, RECORDS, pace)
        finder.wait_until_quiet()
        after = finder.ask("memory")
        finder.ask("release")
        finder.wait_until_quiet()
        arrived = finder.ask("calls") - 10
        finder.ask("stop")
        return difference(before, after, arrived / RECORDS)


def measure_import(build, times):
    """Fresh interpreters, whose files the system has read already."""
    command = [str(build.python), "-B", "-c", IMPORT]
    seconds = [float(subprocess.check_output(command, text=True)) for _ in range(times)]
    return 1000 * statistics.median(seconds)


def measure(build, brief):
    return {
        "waiting": measure_waiting(build, BRIEF_SAMPLE if brief else SAMPLE),
        "engine": measure_engines(build),
        "sender": measure_senders(build),
        "1,000 records": measure_records(build),
        "import ms": measure_import(build, 3 if brief else 21),
        "size": build.module.stat().st_size,
    }
