"""What the Windows module asks of its host and shows to it, read from the file itself."""
import os
import re
import subprocess
import unittest

MODULE = os.path.join(os.environ["VIREON_MODULE_DIR"], "_vireon.pyd")
# Parts of Windows itself. Anything else would have to be shipped beside the module.
SYSTEM = {"kernel32.dll", "msvcrt.dll", "ws2_32.dll", "advapi32.dll", "user32.dll"}


def dump():
    return subprocess.run(
        ["x86_64-w64-mingw32-objdump", "-p", MODULE],
        check=True, capture_output=True, text=True).stdout


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

    def test_never_links_the_component_library(self):
        # It is found in the process at run time; linking it would load it into every host.
        self.assertNotIn("ole32.dll", self.imports())

    def test_exports_the_entry_function_only(self):
        table = self.text[self.text.index("[Ordinal/Name Pointer] Table"):]
        names = re.findall(r"^\s*\[\s*\d+\](?: \+base\[\s*\d+\])?\s+(?:[0-9a-f]+\s+)?(\w+)$",
                           table.split("\n\n")[0], re.MULTILINE)
        self.assertEqual(names, ["init_vireon"])


if __name__ == "__main__":
    unittest.main()
