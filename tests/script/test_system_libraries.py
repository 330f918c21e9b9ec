#!/usr/bin/env python3
"""test_system_libraries.py --module FILE --objdump PROGRAM --readme FILE

What the shipped module asks of the system is what the readers are told.
"""

import argparse
import pathlib
import re
import subprocess
import sys
import unittest

OPTIONS = argparse.Namespace()


def newest(library):
    """The newest version of the library's symbols that the module names."""
    symbols = subprocess.run(
        [OPTIONS.objdump, "-T", OPTIONS.module], check=True, stdout=subprocess.PIPE, universal_newlines=True
    ).stdout
    versions = re.findall(rf"\b{library}_([\d.]+)", symbols)
    return max(versions, key=lambda version: [int(number) for number in version.split(".")])


class ShippedModule(unittest.TestCase):
    def test_the_readme_tells_the_oldest_libraries_that_will_do(self):
        text = OPTIONS.readme.read_text(encoding="utf-8")
        told = re.search(r"glibc ([\d.]+) and libstdc\+\+ with GLIBCXX_([\d.]+) ", text)
        self.assertEqual(told.groups(), (newest("GLIBC"), newest("GLIBCXX")))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("module", "objdump", "readme"):
        parser.add_argument(f"--{option}", type=pathlib.Path)
    _, rest = parser.parse_known_args(namespace=OPTIONS)
    unittest.main(argv=[sys.argv[0], *rest])
