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
ROUNDS, ANSWERS = 5, 1000

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

    def processor_seconds(self):
        """Its own and that of Wine's server, which does for it what a kernel does."""
        seconds = super().processor_seconds()
        server = self._server()
        return seconds + (time.clock_gettime(~server << 3 | 2) if server else 0)

    def _server(self):
        own = _environment(self.process.pid).get(b"WINEPREFIX")
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                if (folder / "comm").read_bytes() == b"wineserver\n":
                    if _environment(folder.name).get(b"WINEPREFIX") == own:
                        return int(folder.name)
        return None


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


def count_requests(build, name):
    with tempfile.TemporaryFile("w+", encoding="utf-8", errors="replace") as written:

        def counted():
            written.seek(0)
            return len(REQUEST.findall(written.read()))

        counts = []
        with finder(build, name, "+server", written) as (lab, running, searches):
            for answers in (0, FEW, MANY):
                for _ in range(answers // ROW):
                    lab.send(searches, ROW, PACE)
                    running.wait_until_quiet(0.2)
                counts.append(counted())
            delivered = running.ask("calls")
            running.ask("stop")
        if delivered != FEW + MANY:
            raise laboratory.Stuck(f"of {FEW + MANY} answers {delivered} arrived")
        return ((counts[2] - counts[1]) - (counts[1] - counts[0])) / (MANY - FEW)


def measure_processor_time(build, rounds, answers):
    """Microseconds an answer, in rounds."""
    results = {name: [] for name in FINDERS}
    with contextlib.ExitStack() as close:
        running = {
            name: close.enter_context(finder(build, name, "-all", subprocess.DEVNULL)) for name in FINDERS
        }
        for _ in range(rounds):
            for name, (lab, finding, searches) in running.items():
                load = lab.load(finding, searches, answers, PACE)
                results[name].append(1e6 * load.seconds / max(load.delivered, 1))
        for _, finding, _ in running.values():
            finding.ask("stop")
    return {name: statistics.median(values) for name, values in results.items()}


def measure(build, brief):
    reason = missing()
    if reason:
        print(f"    left out: {reason}")
        return None
    return {
        "requests": {name: count_requests(build, name) for name in FINDERS[: 1 if brief else None]},
        "us": measure_processor_time(build, 1, ROW)
        if brief
        else measure_processor_time(build, ROUNDS, ANSWERS),
    }
