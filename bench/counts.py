"""What an answer makes a finder do, in numbers that no other load of the machine changes: system calls,
allocations and their bytes, locks and semaphores, instructions.

Each is the difference between a search with many answers and one with few, for one answer: what a start, a
search and an end take is in both.
"""

import json
import pathlib
import re
import tempfile

import laboratory

FEW_AND_MANY = (100, 600)
BRIEFLY = (50, 100)
RECORDED = laboratory.HERE / "recorded_counts.json"
FINDERS = ("module", "floor", "script")
COUNTED = ("allocations", "bytes", "locks", "semaphores")

# Ten answers at once, and as many in a row as any receive buffer holds: then they wait for the finder, which
# an instrument makes fifty times slower.
PACE = laboratory.Pace(10, 5000)
SINGLY = laboratory.Pace(1, 2000)
ROW = 50
TRIES = 3


class Lossy(Exception):
    """Some answers did not arrive."""


def deliver(lab, finder, searches, answers, pace):
    for _ in range(answers // ROW):
        lab.send(searches, ROW, pace)
        finder.wait_until_quiet()


def search_with(build, command, environment, loads, act=lambda finder: None, pace=PACE):
    """Has a finder take so many answers, one load after the other; gives what `act` gives before each and
    behind the last. All answers have to arrive."""
    for _ in range(TRIES):
        with laboratory.Laboratory(build.tools) as lab:
            finder = lab.start(command, dict(build.environment, **environment))
            searches = lab.search(finder)
            given = [act(finder)]
            for answers in loads:
                deliver(lab, finder, searches, answers, pace)
                given.append(act(finder))
            delivered = finder.ask("calls")
            finder.ask("stop")
            finder.close()
        if delivered == sum(loads):
            return given
    raise Lossy(f"of {sum(loads)} answers {delivered} arrived")


def finder_command(build, name):
    return [build.python, "-B", "-S", laboratory.HERE / "finder.py", name]


def count_calls(build, name, loads=FEW_AND_MANY):
    """Of the heap and of the thread library, as the counter sees them."""
    counts = search_with(
        build,
        finder_command(build, name),
        {"LD_PRELOAD": str(build.tools / "bench_counter.so")},
        loads,
        lambda finder: finder.ask("counts"),
    )
    result = {}
    for what in COUNTED:
        before, few, many = (count[what] for count in counts)
        result[what] = ((many - few) - (few - before)) / (loads[1] - loads[0])
    return result


def count_by(build, name, instrument, read, loads, pace=PACE):
    """What an instrument writes of a whole run, read as one number."""
    totals = []
    for answers in loads:
        with tempfile.TemporaryDirectory() as folder:
            written = pathlib.Path(folder) / "written"
            words = [word.format(written=written) for word in instrument]
            search_with(build, words + finder_command(build, name), {}, (answers,), pace=pace)
            totals.append(read(written.read_text(encoding="utf-8")))
    return (totals[1] - totals[0]) / (loads[1] - loads[0])


def count_system_calls(build, name, loads=FEW_AND_MANY, pace=PACE):
    """Several at once leave it to chance which thread finds the other awake."""

    def total(text):
        return int(re.search(r"^100\.00 +\S+ +\S+ +(\d+) .*total$", text, re.M).group(1))

    return count_by(build, name, ["strace", "-f", "-c", "-o", "{written}"], total, loads, pace)


def count_instructions(build, name, loads=FEW_AND_MANY):
    def total(text):
        return int(re.search(r"^(?:totals|summary): (\d+)", text, re.M).group(1))

    words = "valgrind -q --tool=callgrind --trace-children=yes --callgrind-out-file={written}"
    return count_by(build, name, words.split(), total, loads)


def measure(build, brief):
    loads = BRIEFLY if brief else FEW_AND_MANY
    results = {}
    for name in FINDERS[: 1 if brief else None]:
        results[name] = count_calls(build, name, loads)
        results[name]["system calls"] = count_system_calls(build, name, loads)
        if not brief:
            results[name]["system calls, answers singly"] = count_system_calls(build, name, pace=SINGLY)
        results[name]["instructions"] = count_instructions(build, name, loads)
    return results


def recorded():
    return json.loads(RECORDED.read_text(encoding="utf-8"))


def record(counts):
    """Keeps these of the module's, and what is recorded of others."""
    rounded = {what: round(count, 1) for what, count in counts.items()}
    RECORDED.write_text(json.dumps(dict(recorded(), **rounded), indent=2) + "\n", encoding="utf-8")
