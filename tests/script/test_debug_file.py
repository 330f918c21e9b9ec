#!/usr/bin/env python3
"""test_debug_file.py --module FILE --objdump PROGRAM --tree FOLDER ... [--split]

Where the module's debug information is, read from the files: beside a module that is shipped (--split),
else in place. Either platform's files, by whatever machine built them.
"""

import argparse
import pathlib
import re
import struct
import subprocess
import sys
import unittest
import zlib

OPTIONS = argparse.Namespace()


def sections(file):
    text = subprocess.run(
        [OPTIONS.objdump, "-h", file], check=True, stdout=subprocess.PIPE, universal_newlines=True
    ).stdout
    return re.findall(r"^ *\d+ (\S+) +[0-9a-f]{8} ", text, re.M)


def symbols(file):
    return subprocess.run(
        [OPTIONS.objdump, "-t", file], check=True, stdout=subprocess.PIPE, universal_newlines=True
    ).stdout


def debug_link(content):
    """The checksum of the file that a module names as its debug information, from the section's
    bytes: the name, padding to a multiple of four, the checksum."""
    name = OPTIONS.module.name.encode() + b".debug\0"
    start = content.rindex(name)
    padded = -len(name) % 4
    return struct.unpack_from("<I", content, start + len(name) + padded)[0]


class Module(unittest.TestCase):
    def setUp(self):
        self.module = OPTIONS.module
        self.debug_file = self.module.with_name(self.module.name + ".debug")


class ShippedModule(Module):
    def test_it_holds_no_debug_information(self):
        names = sections(self.module)
        self.assertIn(".text", names)
        self.assertEqual([name for name in names if name.startswith(".debug")], [])
        self.assertIn("no symbols", symbols(self.module))

    def test_it_names_no_folder_of_the_machine_that_built_it(self):
        content = self.module.read_bytes()
        for folder in OPTIONS.tree:
            for separated in (folder, folder.replace("/", "\\")):
                self.assertEqual(content.count(separated.encode()), 0, separated)

    def test_the_debug_information_lies_beside_it(self):
        self.assertIn(".debug_info", sections(self.debug_file))
        self.assertIn("init_vireon", symbols(self.debug_file))

    def test_it_says_which_file_that_is(self):
        self.assertIn(".gnu_debuglink", sections(self.module))
        self.assertEqual(debug_link(self.module.read_bytes()), zlib.crc32(self.debug_file.read_bytes()))


class OtherModule(Module):
    def test_it_keeps_its_debug_information_in_place(self):
        self.assertIn(".debug_info", sections(self.module))
        self.assertFalse(self.debug_file.exists())


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--module", type=pathlib.Path)
    parser.add_argument("--objdump")
    parser.add_argument("--tree", action="append")
    parser.add_argument("--split", action="store_true")
    _, rest = parser.parse_known_args(namespace=OPTIONS)
    unittest.main(argv=[sys.argv[0], *rest], defaultTest="ShippedModule" if OPTIONS.split else "OtherModule")
