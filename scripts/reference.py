#!/usr/bin/env python3
"""reference.py [--check]

Makes docs/reference.md and the package's stub file of the table in python/vireon/table.py. With --check it
only tells which of them is not as it would make it.
"""

import importlib.util
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]

HEAD = """\
# The module's functions

Made by `scripts/reference.py` of `python/vireon/table.py`, which a test holds against the module. Types are
named as in the module's messages: one that ends in `*` also takes None, an object of a registered class is as
good as the pointer it holds. A `new` or `owned` result ends with its script object; a `borrowed` one is a part
of an object that somebody else has. The last column names what of the [package](script-layer.md) does it.

| # | function | arguments | result | what it does | in the package |
|---|---|---|---|---|---|
"""

STUB_HEAD = '''\
"""Made by scripts/reference.py."""

from typing import Any, Callable, Dict, Iterable, Iterator, List, Mapping, NamedTuple, Optional, Tuple, TypeVar

T = TypeVar("T")

'''


def load_table(root):
    description = importlib.util.spec_from_file_location("table", root / "python" / "vireon" / "table.py")
    table = importlib.util.module_from_spec(description)
    description.loader.exec_module(table)
    return table


def code(text):
    return f"`{text}`" if text else ""


def reference(table):
    lines = []
    for number, row in enumerate(table.FUNCTIONS, 1):
        arguments = "<br>or ".join(
            ", ".join(kind.replace("|", "\\|") for kind in prototype) or "none"
            for prototype in row.prototypes
        )
        lines.append(
            f"| {number} | `{row.name}` | {arguments} | {row.result} | {row.says} | {code(row.layer)} |\n"
        )
    return HEAD + "".join(lines)


def declaration(text):
    return f"{text}: ..." if text.startswith("def ") else text


def stub(table):
    parts = [STUB_HEAD]
    for name, members in table.CLASSES:
        parts.append(f"class {name}:\n")
        parts += [f"    {declaration(member)}\n" for member in members] or ["    ...\n"]
        parts.append("\n")
    parts += [f"{declaration(other)}\n" for other in table.OTHERS]
    return "".join(parts)


def made(root):
    """Path to text."""
    table = load_table(root)
    return {
        pathlib.Path("docs/reference.md"): reference(table),
        pathlib.Path("python/vireon/__init__.pyi"): stub(table),
    }


def stale(root):
    return [
        str(path)
        for path, text in made(root).items()
        if not (root / path).exists() or (root / path).read_text(encoding="utf-8") != text
    ]


def main():
    if sys.argv[1:] == ["--check"]:
        sys.exit(" ".join(stale(ROOT)))
    for path, text in made(ROOT).items():
        (ROOT / path).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
