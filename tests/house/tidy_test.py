#!/usr/bin/env python3
"""tidy_test.py --build FOLDER

Runs clang-tidy over what is shipped, as the build in that folder compiles it, and shows that it reports a
fault of each kind it looks for. Tests are left out: GoogleTest's macros are most of what it would see.
"""

import argparse
import concurrent.futures
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
OPTIONS = argparse.Namespace()

FAULTS = {
    "bugprone": "float F(int a) { return a / 2; }\n",
    "clang-analyzer": "int F(bool b) { int* p = nullptr; if (b) return *p; return 0; }\n",
    "performance": "#include <string>\nstd::size_t F(const std::string a) { return a.size(); }\n",
    "misc": "struct T { T(const T&) = delete; T& operator=(const T&); T operator=(int); };\n",
}


def tidy(build, file):
    done = subprocess.run(
        ["clang-tidy", "--quiet", f"--config-file={ROOT / '.clang-tidy'}", "-p", build, file],
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
        text=True,
        check=False,
    )
    return done.stdout if done.returncode else ""


def shipped_sources(build):
    commands = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    files = {pathlib.Path(command["file"]) for command in commands}
    return sorted(
        file
        for file in files
        if ROOT / "src" in file.parents and "testing" not in file.parts and not file.stem.endswith("_test")
    )


@unittest.skipUnless(shutil.which("clang-tidy"), "clang-tidy is not installed (./dev setup test)")
class Tidy(unittest.TestCase):
    def test_what_is_shipped_is_tidy(self):
        files = shipped_sources(OPTIONS.build)
        self.assertGreater(len(files), 50)
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            complaints = list(filter(None, pool.map(lambda file: tidy(OPTIONS.build, file), files)))
        if complaints:
            self.fail("\n" + "\n".join(complaints).replace(f"{ROOT}{os.sep}", ""))

    def test_a_fault_of_each_kind_is_reported(self):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, "faulty.cpp")
            (file.parent / "compile_commands.json").write_text(
                json.dumps(
                    [{"directory": folder, "file": str(file), "command": f"clang++ -std=c++17 -c {file}"}]
                ),
                encoding="utf-8",
            )
            for kind, text in FAULTS.items():
                with self.subTest(kind):
                    file.write_text(text, encoding="utf-8")
                    self.assertIn(f"[{kind}-", tidy(folder, file))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", type=pathlib.Path)
    _, rest = parser.parse_known_args(namespace=OPTIONS)
    unittest.main(argv=[sys.argv[0], *rest])
