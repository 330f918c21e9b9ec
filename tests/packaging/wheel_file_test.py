#!/usr/bin/env python3
"""wheel_file_test.py WHEEL

What a wheel of any platform holds and says, read from the file.
"""

import pathlib
import re
import sys
import unittest
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
WHEEL = pathlib.Path(sys.argv.pop(1))
NOTICES = ("LICENSE", "THIRD-PARTY.md")


def projects_version():
    text = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"^project\(vireon VERSION ([\d.]+) ", text, re.M).group(1)


def shown_versions(content):
    """What Windows shows as the product's version: a name, zeros up to the next number of four bytes, the text."""
    name = "ProductVersion".encode("utf-16-le")
    return [
        text.decode("utf-16-le")
        for text in re.findall(re.escape(name) + rb"(?:\0\0)+((?:[\d.]\0)+)\0\0", content)
    ]


class WheelFile(unittest.TestCase):
    def setUp(self):
        self.wheel = zipfile.ZipFile(WHEEL)
        self.addCleanup(self.wheel.close)
        self.version = projects_version()
        self.info = f"vireon-{self.version}.dist-info"
        self.module = "_vireon.pyd" if "win" in WHEEL.stem.split("-")[4] else "_vireon.so"

    def text(self, name):
        return self.wheel.read(name).decode("utf-8")

    def test_all_that_tells_the_version_tells_the_projects(self):
        self.assertEqual(["vireon", self.version], WHEEL.stem.split("-")[:2])
        self.assertIn(f"\nVersion: {self.version}\n", self.text(f"{self.info}/METADATA"))
        self.assertIn(f"__version__ = '{self.version}'\n", self.text("vireon/_version.py"))
        if self.module.endswith(".pyd"):
            self.assertEqual([self.version], shown_versions(self.wheel.read(self.module)))

    def test_it_says_inside_what_its_name_says(self):
        implementations, abis, platforms = (part.split(".") for part in WHEEL.stem.split("-")[2:])
        expected = {f"{i}-{a}-{p}" for i in implementations for a in abis for p in platforms}
        said = re.findall(r"^Tag: (.*)$", self.text(f"{self.info}/WHEEL"), re.M)
        self.assertEqual((expected, len(expected)), (set(said), len(said)))
        self.assertIn("Root-Is-Purelib: false\n", self.text(f"{self.info}/WHEEL"))

    def test_it_holds_the_module_the_layer_and_what_tells_of_them(self):
        layer = {
            path.name for suffix in ("py", "pyi") for path in (ROOT / "python/vireon").glob(f"*.{suffix}")
        }
        own = {"METADATA", "RECORD", "WHEEL", "top_level.txt", *NOTICES}
        self.assertEqual(
            {self.module}
            | {f"vireon/{name}" for name in layer | {"_version.py"}}
            | {f"{self.info}/{name}" for name in own},
            {name for name in self.wheel.namelist() if not name.endswith("/")},
        )

    def test_the_licence_and_the_notices_of_others_go_along(self):
        for name in NOTICES:
            self.assertEqual((ROOT / name).read_text(encoding="utf-8"), self.text(f"{self.info}/{name}"))

    def test_the_module_is_stripped_and_names_no_folder_of_the_machine_that_built_it(self):
        content = self.wheel.read(self.module)
        self.assertGreater(content.count(b".text"), 0)
        for what in (".debug_info", ".symtab", str(ROOT), "/.cache/"):
            self.assertEqual(0, content.count(what.encode()), what)


if __name__ == "__main__":
    unittest.main()
