"""Holds what the documents say of the tree to the tree: each a function from a tree to a list of
complaints. docs_test.py runs them, and shows on small bad trees that each can be broken.

A name between backticks that looks like a file has to be one, one that looks like a declaration has to
stand in some source. Numbers that a source decides are compared with it. The table of limits holds each
constant that is one, with its value and a test.
"""

import collections
import os
import pathlib
import re

import house_rules

# What documents also name that is not the tree's own: "name: reason" a line.
FOREIGN = pathlib.Path("tests/house/foreign_names.txt")

CODE_SPAN = re.compile(r"`([^`\n]+)`")
LINK = re.compile(r"\]\(([^)#:]*)(?:#([\w-]+))?\)")
HEADING = re.compile(r"^#+ +(.+)$", re.M)
FENCE = re.compile(r"^```.*?^```", re.M | re.S)
PATH = re.compile(r"(?:[\w.<>*-]+/)+[\w.<>*-]*|[\w.-]+\.(?:py|h|cpp|sh|md|txt|cmake|json|toml|pyd|so)")
DECLARATION = re.compile(r"[A-Za-z_]\w*(?:(?:::|\.)~?\w+)*(?:<[\w:]+>)?(?:\(\))?")
COMMAND_WORD = re.compile(r"(?<![\w/.-])(?:src|tests|scripts|examples|docs|cmake|bench)/[\w./-]+")
VERB = re.compile(r"\./dev +([a-z]+)")
VERB_CASE = re.compile(r"^    ([a-z]+)\)", re.M)

# A sentence and the source that decides its number: by naming it, then multiplied by the factor, or by as
# many rows as match. A sentence that goes has to go from here as well.
Count = collections.namedtuple("Count", "document sentence source declaration factor", defaults=(1,))
PROTOCOL = "src/engine/protocol.h"
COUNTS = (
    Count("README.md", r"\(UDP (\d+)\)", PROTOCOL, r"kSearchPort = (\d+);"),
    Count("docs/module.md", r"At most ([\d,]+) servers found wait", PROTOCOL, r"kQueueLimit = (\d+);"),
    Count("docs/datagram.md", r"One that ([\d,]+) records wait in", PROTOCOL, r"kQueueLimit = (\d+);"),
    Count("docs/datagram.md", r"buffer \((\d+) bytes\)", PROTOCOL, r"kAnswerBufferSize = (\d+);"),
    Count("docs/datagram.md", r"a pause of ([\d.]+) s", PROTOCOL, r"kPauseAfterError = (\d+);", 0.001),
    Count(
        "docs/datagram.md",
        r"at level (\d+)\.",
        "src/engine/callback_task_worker_thread.cpp",
        r"kLossLogLevel = (\d+);",
    ),
    Count("docs/datagram.md", r"the (\d+)\s+entries", "src/engine/device_dictionary.cpp", r'\n +{L"\w+"sv, '),
    Count("docs/server-makers.md", r"UDP port (\d+), one", PROTOCOL, r"kSearchPort = (\d+);"),
    Count("docs/server-makers.md", r"has (\d+) bytes at most", PROTOCOL, r"kAnswerBufferSize = (\d+);"),
    Count("docs/server-makers.md", r"allows for (\d+) s", PROTOCOL, r'kSearchMaximumWait = "(\d+)";'),
    Count("docs/server-makers.md", r"every interval: (\d+) s", PROTOCOL, r"kDefaultIntervalSeconds = (\d+);"),
    Count(
        "docs/pictures/search.svg",
        r"again every (\d+) seconds",
        PROTOCOL,
        r"kDefaultIntervalSeconds = (\d+);",
    ),
    Count("docs/wire.md", r"a port drawn between (\d+) and", PROTOCOL, r"kFirstPort = (\d+);"),
    Count("docs/wire.md", r"\| (\d+) hops", PROTOCOL, r"kMulticastTimeToLive = (\d+);"),
    Count("docs/wire.md", r"each interval, (\d+) s", PROTOCOL, r"kDefaultIntervalSeconds = (\d+);"),
    Count("docs/wire.md", r"may have ([\d,]+) bytes", PROTOCOL, r"kAnswerBufferSize = (\d+);"),
    Count(
        "docs/wire.md",
        r"the first (\d+) are looked at",
        "src/net/interface_platform.h",
        r"kMaxEntries = (\d+);",
    ),
    Count("docs/troubleshooting.md", r"it all has ([\d,]+) bytes", PROTOCOL, r"kAnswerBufferSize = (\d+);"),
    Count("docs/troubleshooting.md", r"Behind ([\d,]+) that wait", PROTOCOL, r"kQueueLimit = (\d+);"),
    Count(
        "docs/troubleshooting.md",
        r"no more than (\d+) addresses",
        "src/net/interface_platform.h",
        r"kMaxEntries = (\d+);",
    ),
    Count(
        "docs/threads.md",
        r"more than (\d+) addresses is searched",
        "src/net/interface_platform.h",
        r"kMaxEntries = (\d+);",
    ),
    Count(
        "docs/binding.md",
        r"table has (\d+) rows",
        "src/binding/method_table.cpp",
        r"kFunctionCount == (\d+)\)",
    ),
    Count("docs/binding.md", r"types\[(\d+)\]", "src/binding/module_types.h", r"kTypeCount == (\d+)\)"),
    Count(
        "docs/binding.md",
        r"and (\d+) steps at most",
        "src/binding/pointer_conversion.cpp",
        r"kMaxSteps = (\d+);",
    ),
)

# What whoever opens the README has come to ask: a row of its table each, with a link.
QUESTIONS = (
    "How do I find servers?",
    "Why do I find none?",
    "Why is my server not found?",
    "Who frees this?",
    "Which thread calls me?",
    "How long can `Stop` take?",
    "What when the network changes?",
    "What does the module cost?",
    "Is it safe?",
    "How do I build the Windows module?",
    "Where do I change X?",
)

# Has a row for each verb.
CONTRIBUTING = pathlib.Path("CONTRIBUTING.md")

# The newest version comes first.
CHANGELOG = pathlib.Path("CHANGELOG.md")
CHANGED_VERSION = re.compile(r"^## \[?([\d.]+)", re.M)
PROJECT_VERSION = re.compile(r"^project\(vireon VERSION ([\d.]+)", re.M)

# Has a row for each source that platforms bring along.
PORTING = pathlib.Path("docs/porting.md")

# Which sets a container up by a verb, as documents tell people to.
CONTAINER = pathlib.Path(".devcontainer/devcontainer.json")

# The limits: a row each, in this document's only table.
LIMITS = pathlib.Path("SECURITY.md")
LIMIT_ROW = re.compile(r"\| [^|]+ \| ([\d,.]+)(?: [^|]*)? \| `(k\w+)` \| `([\w/.]+)` \| ([^|]+) \|")
CONSTANT = re.compile(
    r"^ *(?:static )?constexpr [\w:]+ (k\w+)(?: = |\()(\d[\w.]*(?: (?:\*|<<) \d[\w.]*)*)\)?;", re.M
)
# Constants of these names have to be in the table; others may.
LIMIT_NAME = re.compile(
    r"k(?:Max|Min|Largest|Longest|Deepest|Pause)\w*"
    r"|k\w*(?:Limit|Timeout|Attempts|Retries|Interval|IntervalSeconds|BufferSize)"
)
CPP_TEST_NAME = re.compile(r"[A-Z]\w+\.[A-Z]\w+")
SCRIPT_TEST_NAME = re.compile(r"test_\w+")
CPP_TEST = re.compile(r"^TEST(?:_F|_P)?\((\w+),\s*(\w+)\)", re.M)
SCRIPT_TEST = re.compile(r"^ +def (test_\w+)\(", re.M)


def documents(root):
    pages = [pathlib.Path("README.md"), CONTRIBUTING, CHANGELOG, LIMITS]
    return [page for page in pages if (root / page).exists()] + sorted(
        path.relative_to(root) for path in (root / "docs").glob("*.md")
    )


def prose(text):
    """Without its code blocks: those between fences and those that are indented."""
    text = FENCE.sub("", text)
    return "\n".join(line for line in text.split("\n") if not line.startswith("    "))


def code_blocks(text):
    fenced = "\n".join(FENCE.findall(text))
    return fenced + "\n".join(line for line in FENCE.sub("", text).split("\n") if line.startswith("    "))


def is_there(root, document, path):
    """Whether the path, or the unit of that name, stands in the tree, in src/ or beside the document. What
    stands between angles is any folder's name."""
    if path.startswith("build/"):
        return True
    if re.fullmatch(r"\w+/", path):
        return any(path[:-1] in file.relative_to(root).parts[:-1] for file in house_rules.git_files(root))
    pattern = re.sub(r"<[^>]*>", "*", path.rstrip("/"))
    places = (root, root / "src", (root / document).parent)
    return any(next(place.glob(pattern + suffix), None) for place in places for suffix in ("", ".h", ".cpp"))


def words_of_sources(root):
    """All identifiers of the tree's files but the documents'."""
    words = set()
    for file in house_rules.git_files(root):
        name = file.relative_to(root)
        if name.suffix != ".md" and "corpus" not in name.parts and name != FOREIGN:
            words.update(re.findall(r"\w+", file.read_text(encoding="utf-8", errors="replace")))
    return words


def file_names_of_sources(root):
    return {file.name for file in house_rules.git_files(root)}


def what_documents_name_exists(root):
    foreign = house_rules.listed_exceptions(root, FOREIGN)
    words, files = words_of_sources(root), file_names_of_sources(root)
    complaints, used = [], set()
    for document in documents(root):
        for span in CODE_SPAN.findall(prose(house_rules.read(root, document))):
            if PATH.fullmatch(span):
                fine = is_there(root, document, span) or ("/" not in span and span in files)
            elif DECLARATION.fullmatch(span):
                fine = all(part in words for part in re.findall(r"\w+", span))
            else:
                continue
            if not fine and span in foreign:
                used.add(span)
            elif not fine:
                complaints.append(f"{document}: `{span}` is nothing of this tree's")
    complaints += [f"{FOREIGN}: lists {name} for nothing" for name in sorted(set(foreign) - used)]
    return complaints


def what_documents_link_to_exists(root):
    complaints = []
    for document in documents(root):
        for target, place in LINK.findall(house_rules.read(root, document)):
            page = document.parent / target if target else document
            if not (root / page).exists():
                complaints.append(f"{document}: links to {target}, which is not there")
            elif place and place not in places_of(house_rules.read(root, page)):
                complaints.append(f"{document}: links to {place} of {page}, which has no such heading")
    return complaints


def places_of(text):
    """What its headings are linked to as."""
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in HEADING.findall(text)}


def each_document_is_two_clicks_away(root):
    """From the README, by links."""
    clicks, found = {pathlib.Path("README.md")}, set()
    for _ in range(2):
        found |= clicks
        clicks = {
            pathlib.Path(os.path.normpath(document.parent / target))
            for document in clicks
            for target, _ in LINK.findall(house_rules.read(root, document))
            if target.endswith(".md")
        }
    return [f"README.md: {page} is too far away" for page in documents(root) if page not in found | clicks]


def the_readme_answers_each_question(root):
    text = house_rules.read(root, pathlib.Path("README.md"))
    rows = dict(re.findall(r"^\| (.+\?) \| (.+) \|$", text, re.M))
    return [
        f"README.md: says nowhere '{question}'"
        for question in QUESTIONS
        if not LINK.search(rows.get(question, ""))
    ]


def commands_of_documents_exist(root):
    """The verbs of ./dev and the paths in blocks of code."""
    verbs = set(VERB_CASE.findall(house_rules.read(root, pathlib.Path("dev"))))
    complaints = []
    for document in documents(root) + [CONTAINER] * (root / CONTAINER).exists():
        text = house_rules.read(root, document)
        complaints += [
            f"{document}: ./dev has no verb {verb}" for verb in VERB.findall(text) if verb not in verbs
        ]
        complaints += [
            f"{document}: {path} is not there"
            for path in COMMAND_WORD.findall(code_blocks(text))
            if not is_there(root, document, path)
        ]
    return complaints


def the_changelog_begins_with_the_version(root):
    changed = CHANGED_VERSION.search(house_rules.read(root, CHANGELOG))
    version = PROJECT_VERSION.search(house_rules.read(root, pathlib.Path("CMakeLists.txt")))
    if changed and version and changed.group(1) == version.group(1):
        return []
    names = [found.group(1) if found else "nothing" for found in (changed, version)]
    return [f"{CHANGELOG}: begins with {names[0]}, the project is at {names[1]}"]


def the_page_on_porting_has_each_platform_source(root):
    """But for those that one platform alone needs."""
    listed = house_rules.listed_exceptions(root, house_rules.ONE_PLATFORM)
    names = {
        "/".join(
            "<platform>" if part in house_rules.PLATFORM_FOLDERS else part
            for part in path.with_suffix("").parts[1:]
        )
        for path in house_rules.sources(root, ".cpp")
        if house_rules.is_platform_source(path)
        and not path.stem.endswith("_test")
        and path.as_posix() not in listed
    }
    rows = set(re.findall(r"^\| `([^`]+)` \|", house_rules.read(root, PORTING), re.M))
    return [f"{PORTING}: leaves out {name}" for name in sorted(names - rows)]


def contributors_are_told_of_each_verb(root):
    verbs = VERB_CASE.findall(house_rules.read(root, pathlib.Path("dev")))
    told = VERB.findall(house_rules.read(root, CONTRIBUTING))
    return [f"{CONTRIBUTING}: says nothing of ./dev {verb}" for verb in verbs if verb not in told]


def number(text):
    return float(text.replace(",", ""))


def counts_of_documents_are_those_of_the_sources(root, counts=COUNTS):
    complaints = []
    for count in counts:
        said = re.findall(count.sentence, house_rules.read(root, pathlib.Path(count.document)))
        decided = re.findall(count.declaration, house_rules.read(root, pathlib.Path(count.source)))
        if not re.compile(count.declaration).groups:
            decided = [str(len(decided))]
        if len(said) != 1 or len(decided) != 1:
            complaints.append(
                f"{count.document}: says {len(said)} times '{count.sentence}', "
                f"{count.source} decides it {len(decided)} times"
            )
        elif abs(number(said[0]) - number(decided[0]) * count.factor) > 1e-9:
            complaints.append(f"{count.document}: says {said[0]}, {count.source} decides {decided[0]}")
    return complaints


def value_of(expression):
    """Of a number, or of several that are multiplied or shifted."""
    value = 1.0
    for operator, text in re.findall(r"(^|\*|<<) *([\w.]+)", expression):
        operand = float(int(text, 16)) if text.startswith("0x") else float(text)
        value *= 2**operand if operator == "<<" else operand
    return value


def constants_of_sources(root):
    """(name, path below src/) to value, of those that are written as numbers."""
    return {
        (name, path.relative_to("src").as_posix()): value_of(expression)
        for path in house_rules.sources(root)
        if not path.stem.endswith("_test") and "testing" not in path.parts
        for name, expression in CONSTANT.findall(house_rules.read(root, path))
    }


def limits_are_those_of_the_sources(root):
    constants, complaints, listed = constants_of_sources(root), [], set()
    lines = [line for line in house_rules.read(root, LIMITS).split("\n") if line.startswith("|")]
    for line in lines[2:]:
        row = LIMIT_ROW.fullmatch(line)
        if not row:
            complaints.append(f"{LIMITS}: is no row of a limit: {line}")
            continue
        said, name, path, held_by = row.groups()
        listed.add((name, path))
        if (name, path) not in constants:
            complaints.append(f"{LIMITS}: {path} has no {name}")
        elif abs(number(said) - constants[name, path]) > 1e-9:
            complaints.append(f"{LIMITS}: says {said}, {name} is {constants[name, path]:g}")
        if not any(is_test_name(span) for span in CODE_SPAN.findall(held_by)):
            complaints.append(f"{LIMITS}: no test holds {name}")
    for name, path in sorted(set(constants) - listed):
        if LIMIT_NAME.fullmatch(name):
            complaints.append(f"{LIMITS}: leaves out {name} of {path}")
    return complaints


def is_test_name(span):
    return bool(CPP_TEST_NAME.fullmatch(span) or SCRIPT_TEST_NAME.fullmatch(span))


def tests_that_hold_limits_exist(root):
    tests = set()
    for file in house_rules.git_files(root, "*_test.cpp", "tests/*.py"):
        text = house_rules.read(root, file.relative_to(root))
        tests.update(".".join(names) for names in CPP_TEST.findall(text))
        tests.update(SCRIPT_TEST.findall(text))
    return [
        f"{LIMITS}: there is no test {span}"
        for span in CODE_SPAN.findall(house_rules.read(root, LIMITS))
        if is_test_name(span) and span not in tests
    ]
