"""What an answer takes of Windows, as Wine shows it: the kernel's requests, each of which is a system call
on Windows too, and processor time, the module's beside a plain script's on the same interpreter."""

import contextlib
import os
import pathlib
import re
import statistics
import subprocess
import tempfile
import time

import laboratory

FINDERS = ("module", "script")
FEW, MANY = 100, 600
ROW = 50  # answers that any receive buffer holds
PACE = laboratory.Pace(10, 5000)
ROUNDS, ANSWERS = 5, 500
TRIES = 3

FOLDER = laboratory.ROOT / "build/windows"
SCRIPTS = laboratory.ROOT / "scripts/windows"

# A request's line; that of its reply goes on with a result.
REQUEST = re.compile(r"^[0-9a-f]{4,}: \w+\((?!\) =)", re.M)


def missing():
    """Why nothing can be measured here, or None."""
    if not (FOLDER / "_vireon.pyd").exists():
        return "the module was not built for Windows (./dev windows)"
    return None


class WineFinder(laboratory.Finder):
    """A finder in a Wine prefix of its own; what its server says goes where its errors go."""

    def server_seconds(self):
        """Processor time of Wine's server, which does for it what a kernel does."""
        return time.clock_gettime(~self._server() << 3 | 2)

    def _server(self):
        own = _environment(self.process.pid).get(b"WINEPREFIX")
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                if (folder / "comm").read_bytes().startswith(b"wineserver"):
                    if _environment(folder.name).get(b"WINEPREFIX") == own:
                        return int(folder.name)
        raise laboratory.Stuck("Wine has no server")


def _environment(process):
    text = pathlib.Path(f"/proc/{process}/environ").read_bytes()
    return dict(variable.partition(b"=")[::2] for variable in text.split(b"\0"))


@contextlib.contextmanager
def finder(build, name, debug, errors):
    """A finder under Wine that has searched, with the laboratory it is in."""
    with tempfile.TemporaryDirectory(prefix="vireon-wine.") as prefix:
        environment = {"WINEPREFIX": prefix, "WINEDEBUG": debug}
        subprocess.run([SCRIPTS / "wine-prefix.sh", "clone", prefix], check=True)
        try:
            with laboratory.Laboratory(build.tools) as lab:
                command = [FOLDER / "python", "-B", "-u", laboratory.HERE / "finder.py", name]
                running = lab.start(command, environment, errors, WineFinder)
                yield lab, running, lab.search(running)
        finally:
            ending = dict(os.environ, WINEPREFIX=prefix, WINEDEBUG="-all")
            subprocess.run(["wineserver", "-k"], env=ending, check=False)
            subprocess.run(["wineserver", "-w"], env=ending, check=False)


def count_lines(build, name, written):
    """The requests behind each load, and whether all answers arrived."""
    counts = []
    with finder(build, name, "+server", written) as (lab, running, searches):
        for answers in (0, FEW, MANY):
            for _ in range(answers // ROW):
                lab.send(searches, ROW, PACE)
                running.wait_until_quiet(0.2)
            written.seek(0)
            counts.append(len(REQUEST.findall(written.read())))
        is_whole = running.ask("calls") == FEW + MANY
        running.ask("stop")
    return counts, is_whole


def count_requests(build, name):
    for _ in range(TRIES):
        with tempfile.TemporaryFile("w+", encoding="utf-8", errors="replace") as written:
            counts, is_whole = count_lines(build, name, written)
        if is_whole:
            return ((counts[2] - counts[1]) - (counts[1] - counts[0])) / (MANY - FEW)
    raise laboratory.Stuck("answers were lost each time")


def measure_round(lab, running, searches, answers):
    """Microseconds an answer: the program's, and with the server's. In rows that no buffer loses."""
    own, delivered = 0.0, 0
    before = running.server_seconds()
    for _ in range(answers // ROW):
        load = lab.load(running, searches, ROW, PACE)
        own += load.seconds
        delivered += load.delivered
    server = running.server_seconds() - before
    return 1e6 * own / max(delivered, 1), 1e6 * (own + server) / max(delivered, 1)


def measure_processor_time(build, rounds, answers):
    """Medians of rounds, which the finders take in turn."""
    results = {name: [] for name in FINDERS}
    with contextlib.ExitStack() as close:
        running = {
            name: close.enter_context(finder(build, name, "-all", subprocess.DEVNULL)) for name in FINDERS
        }
        for _ in range(rounds):
            for name, subject in running.items():
                results[name].append(measure_round(*subject, answers))
        for _, finding, _ in running.values():
            finding.ask("stop")
    return {
        kind: {name: statistics.median(each[place] for each in found) for name, found in results.items()}
        for place, kind in enumerate(("us", "us with server"))
    }


def measure(build, brief):
    reason = missing()
    if reason:
        print(f"    left out: {reason}")
        return None
    results = measure_processor_time(build, 1 if brief else ROUNDS, ROW if brief else ANSWERS)
    results["requests"] = {name: count_requests(build, name) for name in FINDERS[: 1 if brief else None]}
    return results
