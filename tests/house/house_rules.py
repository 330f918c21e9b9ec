"""The rules of the house that a compiler does not check, each a function from a tree to a list of
complaints. house_rules_test.py holds this tree to them, and shows on small bad trees that each rule
can be broken."""

import collections
import os
import pathlib
import re
import shutil
import subprocess

# Each folder of src/ may include from itself and from those before it.
FOLDERS = ("core", "net", "http", "xml", "device", "binding/interpreter", "engine", "binding")

PLATFORM_FOLDERS = ("posix", "win32")

# The exceptions to some of the rules: "path: reason" a line.
UNTESTED = pathlib.Path("tests/house/untested_sources.txt")
UNUSED = pathlib.Path("tests/house/unused_declarations.txt")
ONE_PLATFORM = pathlib.Path("tests/house/one_platform_sources.txt")
CIRCULAR = pathlib.Path("tests/house/circular_units.txt")

INCLUDE = re.compile(r'^\s*#\s*include\s+(["<])([^">]+)[">]', re.M)
PLATFORM_CONDITION = re.compile(
    r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b.*"
    r"\b(?:_?WIN(?:32|64)|_WIN32|_WIN64|__WIN32__|__MINGW\w*__|_MSC_VER|__CYGWIN__"
    r"|__linux__|__linux|__unix__|__unix|__APPLE__|__GLIBC__)\b.*",
    re.M,
)

# Headers that one of the platforms does not have, or gives another meaning.
PLATFORM_HEADERS = re.compile(
    r"^(?:sys|netinet|arpa|net|linux|asm|bits)/"
    r"|^(?:unistd|pthread|semaphore|fcntl|poll|netdb|ifaddrs|dlfcn|sched|signal|syslog|termios|strings"
    r"|spawn|pwd|grp|dirent|execinfo|features|alloca)\.h$"
    r"|^(?:windows|winsock|winsock2|ws2tcpip|iphlpapi|mswsock|objbase|combaseapi|winreg|winerror"
    r"|windef|winbase|process|io|direct|tchar|synchapi|intrin|debugapi|crtdbg|excpt)\.h$"
    r"|^_mingw\.h$",
    re.I,
)

# The texts of the protocols, and the one file of the engine whose texts are for scripts.
WIRE_TEXTS = (pathlib.Path("src/engine/protocol.h"), pathlib.Path("src/http/http_protocol.h"))
WIRE_TEXTS_OF_SCRIPTS = (pathlib.Path("src/engine/device_dictionary.cpp"),)
HEADER_CALL = re.compile(r'\b(?:Get|Set|Add)Header(?:Value)?\(\s*"[^"\n]*"')

PYTHON2_NAMES = "cmp,long,unicode,xrange"


def sources(root, *suffixes):
    """Files under src/ by suffix, as paths relative to the tree's root."""
    found = (path.relative_to(root) for path in (root / "src").rglob("*"))
    return sorted(path for path in found if path.suffix in (suffixes or (".h", ".cpp")))


def without_comments(text):
    return re.sub(r"//[^\n]*|/\*.*?\*/", lambda match: "\n" * match.group().count("\n"), text, flags=re.S)


def read(root, path):
    return (root / path).read_text(encoding="utf-8")


def folder_of(path):
    """The folder of the architecture that a path belongs to, or None: the innermost, for one that
    stands within another."""
    parents = (parent.as_posix() for parent in path.relative_to("src").parents)
    return next((parent for parent in parents if parent in FOLDERS), None)


def is_platform_source(path):
    return any(part in PLATFORM_FOLDERS for part in path.parts[2:-1])


def includes_follow_the_order(root):
    complaints = []
    for path in sources(root):
        own = folder_of(path)
        if own is None:
            complaints.append(f"{path}: stands in no folder of the architecture")
            continue
        for mark, included in INCLUDE.findall(read(root, path)):
            if mark == "<":
                if included.split("/")[0] in FOLDERS and (root / "src" / included).exists():
                    complaints.append(f"{path}: includes <{included}>, a header of ours, as a system's")
                continue
            target = pathlib.PurePosixPath(included)
            if not (root / "src" / target).is_file() or ".." in target.parts:
                complaints.append(f'{path}: "{included}" is no path from src/')
                continue
            used = folder_of("src" / target)
            if used is None or FOLDERS.index(used) > FOLDERS.index(own):
                complaints.append(f"{path}: {own} may not include {included}")
    return complaints


def unit_of(path):
    """A header and its sources on all platforms are one unit: src/net/posix/socket_platform.cpp
    belongs to src/net/socket_platform."""
    return pathlib.Path(*(part for part in path.parts if part not in PLATFORM_FOLDERS)).with_suffix("")


def units_form_no_circles(root):
    """By includes. Tests use what they like."""
    uses = {}
    for path in sources(root):
        if path.stem.endswith("_test") or "testing" in path.parts:
            continue
        unit = unit_of(path)
        included = {
            unit_of(pathlib.Path("src", name))
            for mark, name in INCLUDE.findall(read(root, path))
            if mark == '"'
        }
        uses.setdefault(unit, set()).update(included - {unit})

    def reached_from(unit):
        reached = set()
        to_follow = [unit]
        while to_follow:
            new = uses.get(to_follow.pop(), set()) - reached
            reached |= new
            to_follow += new
        return reached

    reached = {unit: reached_from(unit) for unit in uses}
    faults = {}
    for unit in uses:
        circle = [other.name for other in uses if other in reached[unit] and unit in reached[other]]
        if circle:
            faults[str(unit)] = f"stands in a circle of includes ({', '.join(sorted(circle))})"
    return unless_listed(root, CIRCULAR, faults)


def platforms_stay_in_their_folders(root):
    complaints = []
    for path in sources(root):
        if is_platform_source(path):
            continue
        text = without_comments(read(root, path))
        for match in PLATFORM_CONDITION.finditer(text):
            complaints.append(f"{path}: asks for the platform: {match.group().strip()}")
        for mark, included in INCLUDE.findall(text):
            if mark == "<" and PLATFORM_HEADERS.search(included):
                complaints.append(f"{path}: includes <{included}>, which one platform lacks")
    return complaints


def windows_has_no_thread_local(root):
    """It is emulated there: a thread's first use takes memory, and ends the process where there is none."""
    complaints = []
    for path in sources(root):
        is_of_a_test = "testing" in path.parts or path.stem.endswith("_test")
        if is_of_a_test or "posix" in path.parts:
            continue
        if re.search(r"\bthread_local\b", without_comments(read(root, path))):
            complaints.append(f"{path}: has a thread_local, which may end a process on Windows")
    return complaints


def listed_exceptions(root, listing):
    """Path to reason."""
    listed = {}
    if (root / listing).exists():
        for line in read(root, listing).splitlines():
            if line.strip() and not line.startswith("#"):
                path, _, reason = line.partition(":")
                listed[path.strip()] = reason.strip()
    return listed


def unless_listed(root, listing, faults):
    """Turns faults (path to what is wrong) into complaints about those that are not listed with a
    reason, and about what is listed for nothing."""
    listed = listed_exceptions(root, listing)
    complaints = []
    for path, fault in sorted(faults.items()):
        if path not in listed:
            complaints.append(f"{path}: {fault} and is not listed in {listing}")
        elif not listed[path]:
            complaints.append(f"{path}: is listed in {listing} without a reason")
    complaints += [f"{listing}: lists {path} for nothing" for path in sorted(set(listed) - set(faults))]
    return complaints


def platform_sources_mirror_each_other(root):
    """Tests are free: what only one platform has is tested there."""
    faults = {}
    for folder in FOLDERS:
        names = {}
        for platform in PLATFORM_FOLDERS:
            place = root / "src" / folder / platform
            names[platform] = {
                str(path.relative_to(place))
                for path in place.rglob("*")
                if path.is_file() and not path.stem.endswith("_test")
            }
        for name in set.union(*names.values()) - set.intersection(*names.values()):
            there = next(platform for platform in PLATFORM_FOLDERS if name in names[platform])
            faults[f"src/{folder}/{there}/{name}"] = "has no counterpart"
    return unless_listed(root, ONE_PLATFORM, faults)


def sources_have_tests(root):
    """What tests themselves use (testing/) is tried by them."""
    faults = {}
    for path in sources(root, ".cpp"):
        if "testing" in path.parts:
            continue
        test = path.stem + "_test.cpp"
        # A platform's source is tested by its neutral unit's test.
        places = {path.parent, pathlib.Path("src", folder_of(path) or "")}
        if not path.stem.endswith("_test") and not any((root / place / test).is_file() for place in places):
            faults[str(path)] = f"has no {test} beside it"
    return unless_listed(root, UNTESTED, faults)


def sources_are_built(root):
    """A source that its folder's build description does not name is one that nobody compiles."""
    complaints = []
    for path in sources(root, ".cpp"):
        folder = root / "src" / (folder_of(path) or "")
        descriptions = [folder / "CMakeLists.txt", *folder.glob("*/platform.cmake")]
        text = "".join(file.read_text(encoding="utf-8") for file in descriptions if file.is_file())
        if not re.search(rf"(?<![\w-]){re.escape(path.name)}\b", text):
            complaints.append(f"{path}: is named in no build description of its folder")
    return complaints


def without_texts(text):
    return re.sub(r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'', '""', without_comments(text))


def without_bodies(text):
    """The text without what functions do: blocks that are no namespace, class or enumeration."""
    kept, scopes, start = [], [], 0
    for match in re.finditer(r"[{};]", text):
        if match.group() == "}":
            if scopes and scopes.pop() and all(scopes):
                kept.append(text[start : match.end()])
        else:
            head = text[start : match.end()]
            if all(scopes):
                kept.append(head)
            if match.group() == "{":
                scopes.append(re.search(r"\b(?:namespace|class|struct|union|enum)\b[^()]*{$", head))
        start = match.end()
    return "".join(kept)


# A name with a type before it and a parenthesis behind: where a function is declared or defined.
# Behind these words stands a call.
DECLARATION = re.compile(
    r"(?<![\w])(?!(?:return|else|new|throw|delete|case|and|or|not|do|explicit)\b)"
    r"(?:\w+|\w[\w:]*<[^;{}()]*>)[&*]*\s+[&*]*((?:\w+(?:<[\w, ]*>)?::)*)(\w+)\("
)


# GUARDED_BY(lock_), CAPABILITY("mutex") and the like behind a declaration.
ANNOTATION = re.compile(r"\b[A-Z][A-Z_]+\([^()]*\)")


def declared_functions(text):
    """The functions that a header declares first: an override is its base's. Operators are left out,
    which have no name that could be looked for."""
    scopes = re.sub(r"\[\[.*?\]\]|^\s*#.*?(?<!\\)$", "", without_bodies(text), flags=re.M | re.S)
    scopes = ANNOTATION.sub("", scopes)
    names = set()
    for statement in re.split(r"[;{}]", scopes):
        if not re.search(r"\b(?:override|using|friend)\b", statement):
            names.update(name for _, name in DECLARATION.findall(statement))
    return names


def function_uses(text):
    """How often each name stands where it neither is declared nor defined."""
    words = collections.Counter(re.findall(r"\w+", text))
    words.subtract(name for _, name in DECLARATION.findall(text))
    return words


def declarations_are_used(root):
    """A function of a header that nothing but tests calls is dead; one that only tests have
    (testing/) must have a test that calls it."""
    uses, uses_of_tests, declared = collections.Counter(), collections.Counter(), {}
    for path in sources(root):
        text = without_texts(read(root, path))
        is_for_tests = "testing" in path.parts
        is_of_tests = is_for_tests or path.stem.endswith("_test")
        (uses_of_tests if is_of_tests else uses).update(function_uses(text))
        if path.suffix == ".h":
            for name in declared_functions(text):
                declared[f"{path} {name}"] = (name, is_for_tests)
    faults = {
        place: "is used by nothing but tests" if not is_for_tests else "is used by no test"
        for place, (name, is_for_tests) in declared.items()
        if uses[name] + (uses_of_tests[name] if is_for_tests else 0) <= 0
    }
    return unless_listed(root, UNUSED, faults)


def headers_are_guarded(root):
    complaints = []
    for path in sources(root, ".h"):
        guard = "VIREON_" + re.sub(r"\W", "_", str(path.relative_to("src"))).upper()
        if f"#ifndef {guard}\n#define {guard}\n" not in read(root, path):
            complaints.append(f"{path}: is not guarded by {guard}")
    return complaints


def literals(root, path):
    return re.findall(r'"((?:[^"\\\n]|\\.)*)"', INCLUDE.sub("", without_comments(read(root, path))))


def wire_texts_stand_in_one_place(root):
    """The engine's sources take texts and the names of headers from where they are declared. Tests say
    themselves what they expect."""
    known = {text.lower() for path in WIRE_TEXTS if (root / path).exists() for text in literals(root, path)}
    complaints = []
    for path in sources(root):
        if folder_of(path) != "engine" or path in WIRE_TEXTS + WIRE_TEXTS_OF_SCRIPTS:
            continue
        if path.stem.endswith("_test") or "testing" in path.parts:
            continue
        complaints += [
            f'{path}: "{text}" stands in {WIRE_TEXTS[0]} or {WIRE_TEXTS[1]}'
            for text in literals(root, path)
            if text.lower() in known
        ]
        complaints += [
            f"{path}: names a header itself: {call}"
            for call in HEADER_CALL.findall(without_comments(read(root, path)))
        ]
    return complaints


def git_files(root, *patterns):
    listing = subprocess.run(
        [
            "git",
            "-c",
            f"safe.directory={root}",
            "-C",
            root,
            "ls-files",
            "-z",
            "--cached",
            "--others",
            "--exclude-standard",
            "--",
            *patterns,
        ],
        stdout=subprocess.PIPE,
        check=True,
    ).stdout.decode()
    return sorted(root / name for name in listing.split("\0") if name and (root / name).is_file())


def sources_are_formatted(root, files):
    style = f"--style=file:{root / '.clang-format'}"
    result = subprocess.run(
        ["clang-format", "--dry-run", "--Werror", style, *files], stderr=subprocess.PIPE, check=False
    )
    said = result.stderr.decode()
    names = sorted(set(re.findall(r"^(/.+?):\d+:\d+: error: ", said, re.M)))
    if result.returncode and not names:
        return [said]
    return [
        f"{pathlib.Path(name).relative_to(root)}: not in the project's format (./dev format)"
        for name in names
    ]


def is_shell_script(file):
    with file.open("rb") as opened:
        return re.match(rb"#!.*\b(?:ba)?sh\b", opened.readline()) is not None


def shell_scripts_are_sound(root, files):
    scripts = [file for file in files if is_shell_script(file)]
    if not scripts:
        return []
    result = subprocess.run(
        ["shellcheck", "--format=gcc", "--external-sources", *scripts],
        cwd=root,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        check=False,
    )
    return result.stdout.decode().replace(f"{root}{os.sep}", "").splitlines()


def python_is_formatted(root, files):
    # In no order, since it works on several at once.
    result = subprocess.run(
        ["black", "--check", f"--config={root / 'pyproject.toml'}", *files],
        cwd=root,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        check=False,
    )
    complaints = sorted(re.findall(r"^would reformat .*|^error: .*", result.stdout.decode(), re.M))
    if result.returncode and not complaints:
        complaints = [result.stdout.decode()]
    return [complaint.replace(f"{root}{os.sep}", "") + " (./dev format)" for complaint in complaints]


def python_is_sound(root, files):
    """What is never used, never defined or no Python. The checker reads Python 3, and is told the names
    that only Python 2.7 has."""
    result = subprocess.run(
        ["pyflakes3", *files],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        check=False,
        env=dict(os.environ, PYFLAKES_BUILTINS=PYTHON2_NAMES),
    )
    return result.stdout.decode().replace(f"{root}{os.sep}", "").splitlines()


def tool_is_there(name):
    return shutil.which(name) is not None
