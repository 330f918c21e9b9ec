#!/usr/bin/env python3
"""mutate.py [N] [--seed S]

Plants N small faults (20) in src/, one at a time, and tells which of them no test notices.

The faults are those of universalmutator's rules for C++, and of the few in house.rules: each changes one
line. They are planted in a copy of the tree under build/mutation, which keeps what it has built from one
run to the next. A line is drawn, then one of its faults; one that does not compile is drawn anew. What was
built with it runs in a network of its own: the tests of its room, then the other C++ tests that it is
linked into, then the scripts, the hosts and the network. The first that fails, or that does not end in
time, has noticed it. What the sanitizers would find is not looked for.

harmless.txt lists faults that change nothing that can be seen, with the reason; they are not planted.
Prints the seed, which draws the same faults from the same sources again, and last what survived, in the
form that harmless.txt has. Ends with 1 when anything survived.
"""

import argparse
import collections
import concurrent.futures
import contextlib
import hashlib
import io
import json
import os
import pathlib
import random
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
HARMLESS = HERE / "harmless.txt"
PINNED = HERE / "mutators.txt"
RULES = ["universal.rules", "c_like.rules", "cpp.rules", str(HERE / "house.rules")]

# A fault is a line of a file, by its number, and what stands there instead; above is the line above it.
Mutant = collections.namedtuple("Mutant", "path line above before after")
Listed = collections.namedtuple("Listed", "path above before after reason")
Test = collections.namedtuple("Test", "name label command environment")

# In this order; what looks at sources or measures the machine is left out, and what runs all again.
STAGES = ("unit", "script", "host", "network")
LEFT_OUT = {"script_debug_file", "script_memory", "host_scripts", "host_rounds"}
# A program with many tests that wait is run as so many parts at once.
PARTS = 4
PARTS_OF = {"engine"}

TRIES_OF_A_LINE = 4
# A test may take so many times as long as without a fault, and so many seconds more.
PATIENCE_FACTOR, PATIENCE = 4, 20
MEMORY_LIMIT = 8 << 30  # bytes: a fault may make a loop that takes all there is
OUTPUT_LIMIT = 64 << 20  # bytes
FAILURE = re.compile(r"^\[  FAILED  \] ([\w/.]+)|^(?:FAIL|ERROR): ([\w.]+)", re.M)


def in_one_line(text):
    """Some faults add a line; how it is indented says nothing."""
    return " ".join(text.split())


def read_harmless(text):
    """Blocks of lines: a path; the line above the fault, behind two blanks; what stands there, behind "- ";
    what would, behind "+ "; and the reason."""
    listed = []
    for block in re.split(r"\n\s*\n", re.sub(r"^#.*\n", "", text, flags=re.M).strip("\n")):
        parts = {"  ": [], "- ": [], "+ ": [], "": []}
        path, *lines = block.split("\n")
        for line in lines:
            kind = next(kind for kind in parts if (line + " ").startswith(kind))
            parts[kind].append(line[len(kind) :])
        texts = [in_one_line(" ".join(part)) for part in parts.values()]
        if path and (not texts[1] or not parts["+ "] or not texts[3]):
            raise ValueError(f"not a path, a fault and a reason:\n{block}")
        if path:
            listed.append(Listed(path, *texts))
    return listed


def block_of(mutant):
    above, before, after = map(in_one_line, mutant[2:])
    return f"{mutant.path}\n  {above}\n- {before}\n+ {after}"


def is_harmless(mutant, listed):
    place = (mutant.path, *map(in_one_line, mutant[2:]))
    return any(place == each[:4] for each in listed)


def is_mutated(path):
    """What is shipped on the platform at hand, as a path from the tree's root."""
    return (
        path.startswith("src/")
        and path.endswith((".cpp", ".h"))
        and not path.endswith("_test.cpp")
        and "/testing/" not in path
        and "/win32/" not in path
    )


def room_of(path):
    """The folder of the architecture, by the name of its test program."""
    folder = path.split("/")[1]
    return "interpreter" if path.startswith("src/binding/interpreter/") else folder


def lines_with_mutants(path, text, mutate):
    """By line, what mutate makes of it, in its order. mutate is the tool's function."""
    found = {}
    lines = text.splitlines(keepends=True)
    with contextlib.redirect_stdout(io.StringIO()):
        # Who may use a member, the compiler has seen already.
        passed_over = r"^\s*(namespace\b|static_assert\b|public:|protected:|private:)"
        mutants = mutate(lines, ruleFiles=RULES, ignorePatterns=[r"^\s*//", passed_over])
    for number, after, *_ in mutants:
        before, above = lines[number - 1], lines[number - 2] if number > 1 else ""
        if in_one_line(before) != in_one_line(after):
            found.setdefault(number, []).append(Mutant(path, number, above, before, after))
    return list(found.values())


def draw(lines, seed):
    """Each line once, in random order, with its mutants in random order."""
    chance = random.Random(seed)
    chance.shuffle(lines)
    for mutants in lines:
        yield chance.sample(mutants, len(mutants))


def plant(text, mutant):
    lines = text.splitlines(keepends=True)
    assert lines[mutant.line - 1] == mutant.before
    lines[mutant.line - 1] = mutant.after
    return "".join(lines)


def load_mutator():
    """The tool's function, from the wheel that is pinned."""
    key = hashlib.sha256(PINNED.read_bytes()).hexdigest()[:16]
    cache = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") / "vireon"
    folder = cache / f"mutators-{key}"
    if not folder.is_dir():
        cache.mkdir(parents=True, exist_ok=True)
        with tempfile.TemporaryDirectory(dir=cache) as work:
            fetch = ["pip3", "download", "--quiet", "--disable-pip-version-check", "--no-deps"]
            fetch += ["--only-binary", ":all:", "--require-hashes", "--requirement", PINNED, "--dest", work]
            subprocess.run(fetch, check=True)
            os.chmod(work, 0o755)
            shutil.copytree(work, folder)
    sys.path[:0] = [str(wheel) for wheel in folder.glob("*.whl")]
    from universalmutator import mutator

    return mutator.mutants_regexp


class Tree:
    """A copy of the tree, where it is built and tested."""

    def __init__(self, root, folder):
        self.root, self.folder = root, folder
        self.build = folder / "build" / "dev"
        self.seconds = {}

    def refresh(self):
        """As the original is now; what is the same stays as it is, so that it is not built again."""
        listed = subprocess.run(
            ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
            cwd=self.root,
            stdout=subprocess.PIPE,
            check=True,
        ).stdout
        wanted = {name for name in listed.decode().split("\0") if name and (self.root / name).is_file()}
        for path in self.folder.rglob("*"):
            name = path.relative_to(self.folder).as_posix()
            if path.is_file() and not name.startswith("build/") and name not in wanted:
                path.unlink()
        for name in wanted:
            source, copy = self.root / name, self.folder / name
            if not copy.exists() or source.read_bytes() != copy.read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, copy)
        return sorted(filter(is_mutated, wanted))

    def make(self):
        """False when it does not compile."""
        steps = [["cmake", "--build", "--preset", "dev", "--parallel", str(os.cpu_count())]]
        if not (self.build / "build.ninja").exists():
            steps.insert(0, ["cmake", "--preset", "dev"])
        for step in steps:
            done = subprocess.run(
                step,
                cwd=self.folder,
                text=True,
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                check=False,
            )
            if done.returncode != 0:
                self.said = done.stdout
                return False
        return True

    def compiles(self, path):
        """Whether the source alone, or a header's, would compile: that builds nothing, so that nothing has
        to be built again when it does not."""
        stem = pathlib.PurePosixPath(path).stem
        for each in json.loads((self.build / "compile_commands.json").read_text(encoding="utf-8")):
            if pathlib.PurePosixPath(each["file"]).stem == stem:
                command = [*shlex.split(each["command"]), "-fsyntax-only"]
                return (
                    subprocess.run(command, cwd=each["directory"], stderr=subprocess.DEVNULL).returncode == 0
                )
        return True

    def tests(self):
        """By stage. Each runs in a network of its own, whatever a fault makes it send."""
        shown = subprocess.run(
            ["ctest", "--test-dir", self.build, "--show-only=json-v1"], stdout=subprocess.PIPE, check=True
        )
        stages = {label: [] for label in STAGES}
        for each in json.loads(shown.stdout)["tests"]:
            properties = {entry["name"]: entry["value"] for entry in each["properties"]}
            label = properties["LABELS"][0]
            if label not in stages or each["name"] in LEFT_OUT:
                continue
            environment = dict(line.split("=", 1) for line in properties.get("ENVIRONMENT", []))
            parts = PARTS if each["name"] in PARTS_OF else 1
            for part in range(parts):
                more = {"GTEST_TOTAL_SHARDS": str(parts), "GTEST_SHARD_INDEX": str(part)} if parts > 1 else {}
                name = each["name"] + (f"/{part}" if parts > 1 else "")
                command = each["command"]
                if label != "network":  # which makes its own
                    command = [str(self.folder / "tests/script/isolated.sh"), *command]
                stages[label].append(Test(name, label, command, {**environment, **more}))
        return stages

    def stamps(self):
        """When the programs and the module were linked."""
        files = [*self.build.glob("src/**/*_test"), self.build / "_vireon.so"]
        return {str(file): file.stat().st_mtime_ns for file in files}


def first_failure(output):
    """The test's name behind a colon, as GoogleTest and unittest print it, if they came so far."""
    found = FAILURE.search(output.decode(errors="replace"))
    return f": {found[1] or found[2]}" if found else ""


def start_limited():
    resource.setrlimit(resource.RLIMIT_DATA, (MEMORY_LIMIT, MEMORY_LIMIT))
    resource.setrlimit(resource.RLIMIT_FSIZE, (OUTPUT_LIMIT, OUTPUT_LIMIT))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Run:
    """Tests that run at once, until the first fails. The limits are in seconds by the tests' names; one
    that is not there has none."""

    def __init__(self, tests, limits):
        self.tests, self.limits = tests, limits
        self.running, self.stopped = set(), False
        self.seconds = {}

    def failure(self):
        """What noticed: a test's name, "" when all passed."""
        found = ""
        with concurrent.futures.ThreadPoolExecutor(2 * os.cpu_count()) as pool:
            for done in concurrent.futures.as_completed([pool.submit(self.run, test) for test in self.tests]):
                if done.result() and not self.stopped:
                    found = done.result()
                    self.stop()
        return found

    def stop(self):
        self.stopped = True
        for process in list(self.running):
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)

    def run(self, test):
        if self.stopped:
            return ""
        environment = dict(os.environ, GTEST_FAIL_FAST="1", GTEST_BRIEF="1", **test.environment)
        begin = time.monotonic()
        with tempfile.TemporaryFile() as output:
            # A group of its own, so that all that it started ends with it.
            process = subprocess.Popen(
                test.command,
                env=environment,
                stdin=subprocess.DEVNULL,
                stdout=output,
                stderr=output,
                start_new_session=True,
                preexec_fn=start_limited,
            )
            self.running.add(process)
            try:
                failed = process.wait(self.limits.get(test.name)) != 0
                why = ""
            except subprocess.TimeoutExpired:
                failed, why = True, " (out of time)"
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            self.running.discard(process)
            self.seconds[test.name] = time.monotonic() - begin
            output.seek(0)
            return f"{test.name}{why or first_failure(output.read())}" if failed else ""


class Hunt:
    def __init__(self, tree):
        self.tree = tree
        self.limits = {}

    def prepare(self):
        """Without a fault all has to pass; how long it takes is what a fault may multiply."""
        if not self.tree.make():
            sys.exit(f"mutate: the tree does not build:\n{self.tree.said}")
        self.stages = self.tree.tests()
        self.plain = self.tree.stamps()
        for tests in self.stages.values():
            run = Run(tests, {})
            failed = run.failure()
            if failed:
                sys.exit(f"mutate: fails without any fault: {failed}")
            for name, seconds in run.seconds.items():
                self.limits[name] = seconds * PATIENCE_FACTOR + PATIENCE

    def rounds(self, room):
        """The tests to run, one group after the other: those of the room first, of what was linked anew."""
        now = self.tree.stamps()
        anew = {file for file, stamp in now.items() if stamp != self.plain.get(file)}
        units = [test for test in self.stages["unit"] if anew & set(test.command)]
        own = [test for test in units if test.name.split("/")[0].split("_")[0] == room]
        yield own
        yield [test for test in units if test not in own]
        if any(file.endswith("_vireon.so") for file in anew):
            for label in STAGES[1:]:
                yield self.stages[label]

    def verdict(self, path, text):
        """What notices the file's text: None when it does not compile, "" when nothing does."""
        file = self.tree.folder / path
        plain = file.read_text(encoding="utf-8")
        before = file.stat()
        file.write_text(text, encoding="utf-8")
        if not self.tree.compiles(path):
            file.write_text(plain, encoding="utf-8")
            os.utime(file, ns=(before.st_atime_ns, before.st_mtime_ns))
            return None
        try:
            if not self.tree.make():
                return None
            for tests in self.rounds(room_of(path)):
                found = Run(tests, self.limits).failure()
                if found:
                    return found
            return ""
        finally:
            file.write_text(plain, encoding="utf-8")
            # Not the next one's to notice.
            self.tree.make()
            self.plain = self.tree.stamps()


def hunt(count, seed):
    mutate = load_mutator()
    tree = Tree(ROOT, ROOT / "build" / "mutation")
    tree.folder.mkdir(parents=True, exist_ok=True)
    paths = tree.refresh()
    listed = read_harmless(HARMLESS.read_text(encoding="utf-8"))
    texts = {path: (tree.folder / path).read_text(encoding="utf-8") for path in paths}
    lines = [line for path in paths for line in lines_with_mutants(path, texts[path], mutate)]
    print(f"{len(lines)} lines of {len(paths)} sources can have a fault; --seed {seed}", flush=True)
    search = Hunt(tree)
    search.prepare()

    planted, passed_over, survivors, by_time = 0, 0, [], 0
    for mutants in draw(lines, seed):
        if planted == count:
            break
        for mutant in mutants[:TRIES_OF_A_LINE]:
            if is_harmless(mutant, listed):
                passed_over += 1
                break
            noticed = search.verdict(mutant.path, plant(texts[mutant.path], mutant))
            if noticed is None:
                continue
            planted += 1
            by_time += "(out of time)" in noticed
            print(f"{planted}/{count} {mutant.path}:{mutant.line}: {noticed or 'SURVIVED'}", flush=True)
            if not noticed:
                print(block_of(mutant), flush=True)
                survivors.append(mutant)
            break
    print(
        f"\n{planted} planted, {planted - len(survivors)} noticed, {by_time} of them by the time they took; "
        f"{passed_over} drawn that are listed as harmless; {len(survivors)} survived; --seed {seed}"
    )
    for mutant in survivors:
        print(f"\n{block_of(mutant)}")
    return 1 if survivors else 0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("count", nargs="?", type=int, default=20)
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(10**6))
    options = parser.parse_args()
    return hunt(options.count, options.seed)


if __name__ == "__main__":
    sys.exit(main())
