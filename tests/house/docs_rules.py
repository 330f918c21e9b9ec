"""Holds what the documents say of the tree to the tree: each a function from a tree to a list of
complaints. docs_test.py runs them, and shows on small bad trees that each can be broken.

A name between backticks that looks like a file has to be one, one that looks like a declaration has to
stand in some source. Numbers that a source decides are compared with it.
"""

import collections
import pathlib
import re

import house_rules

# What documents also name that is not the tree's own: "name: reason" a line.
FOREIGN = pathlib.Path("tests/house/foreign_names.txt")

CODE_SPAN = re.compile(r"`([^`\n]+)`")
LINK = re.compile(r"\]\(([^)#:]+)\)")
FENCE = re.compile(r"^```.*?^```", re.M | re.S)
PATH = re.compile(r"(?:[\w.<>*-]+/)+[\w.<>*-]*|[\w.-]+\.(?:py|h|cpp|sh|md|txt|cmake|json|toml|pyd|so)")
DECLARATION = re.compile(r"[A-Za-z_]\w*(?:(?:::|\.)~?\w+)*(?:<[\w:]+>)?(?:\(\))?")
COMMAND_WORD = re.compile(r"(?<![\w/.-])(?:src|tests|scripts|examples|docs|cmake|bench)/[\w./-]+")
VERB = re.compile(r"\./dev +([a-z]+)")

# A sentence and the source that decides its number: by naming it, then multiplied by the factor, or by as
# many rows as match. A sentence that goes has to go from here as well.
Count = collections.namedtuple("Count", "document sentence source declaration factor", defaults=(1,))
PROTOCOL = "src/engine/protocol.h"
COUNTS = (
    Count("README.md", r"\(UDP (\d+)\)", PROTOCOL, r"kSearchPort = (\d+);"),
    Count("README.md", r"At most ([\d,]+) servers found wait", PROTOCOL, r"kQueueLimit = (\d+);"),
    Count("docs/datagram.md", r"One that ([\d,]+) records wait in", PROTOCOL, r"kQueueLimit = (\d+);"),
    Count("docs/datagram.md", r"buffer \((\d+) bytes\)", PROTOCOL, r"kAnswerBufferSize = (\d+);"),
    Count("docs/datagram.md", r"a pause of ([\d.]+) s", PROTOCOL, r"kPauseAfterError = (\d+);", 0.001),
    Count(
        "docs/datagram.md",
        r"at level (\d+)\.",
        "src/engine/callback_task_worker_thread.cpp",
        r"kLossLogLevel = (\d+);",
    ),
    Count("docs/datagram.md", r"the (\d+)\s+entries", "src/engine/device_dictionary.cpp", r'\n +{"\w+", '),
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


def documents(root):
    return [pathlib.Path("README.md")] + sorted(
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
        for target in LINK.findall(house_rules.read(root, document)):
            if not (root / document.parent / target).exists():
                complaints.append(f"{document}: links to {target}, which is not there")
    return complaints


def commands_of_documents_exist(root):
    """The verbs of ./dev and the paths in blocks of code."""
    verbs = set(re.findall(r"^    ([a-z]+)\)", house_rules.read(root, pathlib.Path("dev")), re.M))
    complaints = []
    for document in documents(root):
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
