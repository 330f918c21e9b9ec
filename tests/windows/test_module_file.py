"""What the Windows module asks of its host and shows to it, read from the file itself."""
import os
import pathlib
import re
import struct
import subprocess
import unittest

MODULE = os.path.join(os.environ["VIREON_MODULE_DIR"], "_vireon.pyd")
# Parts of Windows itself. Anything else would have to be shipped beside the module.
SYSTEM = {"kernel32.dll", "msvcrt.dll", "ws2_32.dll", "advapi32.dll", "user32.dll"}

# The oldest version that the module is for: Windows 7.
OLDEST = (6, 1)
FUNCTIONS = pathlib.Path(__file__).with_name("functions.txt")


def known_functions():
    """The version that brought each function, by (library, function)."""
    known = {}
    for line in FUNCTIONS.read_text().splitlines():
        if line and not line.startswith("#"):
            where, names = line.split(":")
            library, version = where.split()
            since = tuple(map(int, version.split(".")))
            known.update({(library, name): since for name in names.split()})
    return known


def dump():
    return subprocess.run(
        ["x86_64-w64-mingw32-objdump", "-p", MODULE], check=True, capture_output=True, text=True
    ).stdout


class ModuleFile(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.text = dump()

    def imports(self):
        return {name.lower() for name in re.findall(r"DLL Name: (\S+)", self.text)}

    def test_is_for_64_bit_windows(self):
        self.assertIn("file format pei-x86-64", self.text)

    def test_imports_the_interpreter_and_the_system_only(self):
        self.assertIn("python27.dll", self.imports())
        self.assertEqual(self.imports() - {"python27.dll"} - SYSTEM, set())

    def imported_functions(self):
        """(library, function) of everything but the interpreter's."""
        functions = set()
        for table in self.text.split("DLL Name: ")[1:]:
            library = table.split(None, 1)[0].lower()
            if library != "python27.dll":
                names = re.findall(r"^\t[0-9a-f]+\t +\d+  (\S+)$", table.split("\n\n")[0], re.M)
                self.assertTrue(names, table)
                functions.update((library, name) for name in names)
        return functions

    def test_imports_no_function_that_is_newer_than_windows_7(self):
        known = known_functions()
        functions = self.imported_functions()
        self.assertIn(("kernel32.dll", "CreateThread"), functions)
        self.assertEqual([], sorted(functions - set(known)), f"not in {FUNCTIONS.name}")
        self.assertEqual([], sorted(each for each in functions if known[each] > OLDEST))

    def test_asks_for_a_random_place_and_for_data_that_never_runs(self):
        flags = int(re.search(r"^DllCharacteristics\s+([0-9a-f]{8})$", self.text, re.M).group(1), 16)
        for name, flag in (("HIGH_ENTROPY_VA", 0x20), ("DYNAMIC_BASE", 0x40), ("NX_COMPAT", 0x100)):
            self.assertTrue(flags & flag, name)
        # Nothing could be moved without the list of what to mend then.
        self.assertRegex(self.text, r"Entry 5 [0-9a-f]{16} (?!00000000)[0-9a-f]{8} Base Relocation")

    def test_never_links_the_component_library(self):
        # It is found in the process at run time; linking it would load it into every host.
        self.assertNotIn("ole32.dll", self.imports())

    def test_exports_the_entry_function_only(self):
        table = self.text[self.text.index("[Ordinal/Name Pointer] Table") :]
        names = re.findall(
            r"^\s*\[\s*\d+\](?: \+base\[\s*\d+\])?\s+(?:[0-9a-f]+\s+)?(\w+)$",
            table.split("\n\n")[0],
            re.MULTILINE,
        )
        self.assertEqual(names, ["init_vireon"])

    def test_says_which_version_it_is(self):
        content = pathlib.Path(MODULE).read_bytes()
        version = os.environ["VIREON_VERSION"]
        # The fixed part of a version resource: its mark, its own version, then the file's and the product's.
        fixed = content.find(struct.pack("<II", 0xFEEF04BD, 0x10000))
        self.assertGreater(fixed, 0, "no version resource")
        numbers = tuple(map(int, version.split("."))) + (0,)
        for place in (8, 16):
            minor, major, build, patch = struct.unpack_from("<4H", content, fixed + place)
            self.assertEqual((major, minor, patch, build), numbers)
        for name in ("FileVersion", "ProductVersion"):
            # The name, zeros up to the next number of four bytes, the text.
            shown = re.findall(re.escape(name.encode("utf-16-le")) + rb"(?:\0\0)+((?:[\d.]\0)+)\0\0", content)
            self.assertEqual([version.encode("utf-16-le")], shown, name)


if __name__ == "__main__":
    unittest.main()
