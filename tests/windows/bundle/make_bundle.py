#!/usr/bin/env python3
"""make_bundle.py ZIP MODULE_FOLDER SCRIPT_TEST...

Makes the zip with which somebody who has a Windows machine tests the module there (README.txt beside
this file). The same files give the same bytes.
"""

import hashlib
import pathlib
import sys
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[3]
HERE = pathlib.Path(__file__).resolve().parent
HELPERS = "script_test_modules"
EXAMPLES = (
    "find_servers",
    "gui_tkinter",
    "media_server",
    "media_server_faults",
    "read_string",
    "timed_search",
)

# The earliest that a zip can say.
TIME = (1980, 1, 1, 0, 0, 0)


def contents(modules, script_tests):
    """Name in the zip to file."""
    found = {name: HERE / name for name in ("README.txt", "run.cmd", "run_tests.py")}
    found["module/_vireon.pyd"] = modules / "_vireon.pyd"
    found.update((f"module/vireon/{file.name}", file) for file in (modules / "vireon").glob("*.py"))
    for name in ("vireon_machine", "vireon_probe", "vireon_sibling"):
        found[f"module/{HELPERS}/{name}.pyd"] = modules / HELPERS / f"{name}.pyd"
    # Where the script tests look for them, as in this tree.
    tree = ["tests/sanitizers/leak_checker.py"]
    tree += [f"tests/script/{name}" for name in ("support.py", "contract.py", *script_tests)]
    tree += [f"examples/{name}.py" for name in EXAMPLES]
    found.update((name, ROOT / name) for name in tree)
    return found


def packed(name, file):
    """A file's bytes as Windows' own programs want them."""
    data = file.read_bytes()
    return data.replace(b"\n", b"\r\n") if name.endswith((".txt", ".cmd")) else data


def main(zip_path, modules, *script_tests):
    files = {name: packed(name, file) for name, file in contents(pathlib.Path(modules), script_tests).items()}
    files["contents.txt"] = "".join(
        f"{hashlib.sha256(data).hexdigest()}  {name}\n" for name, data in sorted(files.items())
    ).encode()
    with zipfile.ZipFile(zip_path, "w") as bundle:
        for name, data in sorted(files.items()):
            bundle.writestr(zipfile.ZipInfo(name, TIME), data, zipfile.ZIP_DEFLATED, 9)


if __name__ == "__main__":
    main(*sys.argv[1:])
