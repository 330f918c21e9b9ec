"""The diagnostics' two switches in the real registry, their lines from the real debugger channel."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "windows"
PROGRAMS = pathlib.Path(os.environ["VIREON_PROGRAMS"])
PYTHON = pathlib.Path(os.environ["VIREON_WINDOWS_PYTHON"]) / "python.exe"
KEY = r"HKLM\Software\Zorvane\Lumora20"

WIDE = {-1: ["wide -1"], 0: ["wide 0"], 3: ["wide 3"], 4: ["wide 4"], 5: ["wide 5", "x" * 1022]}
NARROW = ["couldn't locate ole32.dll", "CoInitializeEx failed."]


def lines_up_to(level, narrow):
    wide = [text for each, texts in WIDE.items() if each <= level for text in texts]
    return [text + r"\n" for text in wide + (NARROW if narrow else [])]


class Registry:
    """A Wine prefix of its own, since its registry is changed."""

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="vireon-registry.")
        subprocess.run([SCRIPTS / "wine-prefix.sh", "clone", self.folder], check=True)
        self.environment = dict(os.environ, WINEPREFIX=self.folder)
        # Stays between the programs; otherwise each would wait for Wine to start anew.
        subprocess.run(["wineserver", "-p"], env=self.environment, check=True)

    def run(self, *command):
        # No pipes: Wine's own programs would hold them open long after this one has ended.
        return subprocess.run(
            [SCRIPTS / "wine.sh", *map(str, command)],
            env=self.environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            timeout=120,
        )

    def clear(self):
        self.run("reg", "delete", KEY, "/f")

    def set(self, name, kind, value):
        done = self.run("reg", "add", KEY, "/v", name, "/t", kind, "/d", value, "/f")
        assert done.returncode == 0, done

    def lines_of(self, *command):
        """What a program writes to the debugger channel."""
        output = pathlib.Path(self.folder) / "lines"
        done = self.run(PROGRAMS / "debug_capture.exe", output, *command)
        assert done.returncode == 0, done
        return output.read_text().splitlines()

    def remove(self):
        subprocess.run(["wineserver", "-k"], env=self.environment)
        shutil.rmtree(self.folder, ignore_errors=True)


class Diagnostics(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.registry = Registry()
        cls.addClassCleanup(cls.registry.remove)

    def setUp(self):
        self.registry.clear()

    def expect(self, level, narrow):
        self.assertEqual(
            self.registry.lines_of(PROGRAMS / "diagnostics_probe.exe"), lines_up_to(level, narrow)
        )

    def test_without_the_key_only_levels_up_to_0_are_written(self):
        self.expect(0, False)

    def test_the_log_level_decides(self):
        for value, level, narrow in ((3, 3, True), (4, 4, True), (5, 5, True)):
            with self.subTest(log=value):
                self.registry.set("log", "REG_DWORD", value)
                self.expect(level, narrow)

    def test_a_level_with_the_top_bit_set_is_negative(self):
        self.registry.set("log", "REG_DWORD", 0xFFFFFFFF)
        self.expect(-1, False)

    def test_trace_turns_on_the_narrow_lines_alone(self):
        for value in (0, 1):
            with self.subTest(trace=value):
                self.registry.set("trace", "REG_DWORD", value)
                self.expect(0, value == 1)

    def test_trace_and_log_are_independent(self):
        self.registry.set("trace", "REG_DWORD", 1)
        self.registry.set("log", "REG_DWORD", 5)
        self.expect(5, True)

    def test_a_value_of_four_bytes_counts_whatever_its_type(self):
        self.registry.set("log", "REG_BINARY", "05000000")
        self.expect(5, True)

    def test_a_text_that_does_not_fit_is_as_good_as_absent(self):
        self.registry.set("log", "REG_SZ", "a level, written out")
        self.expect(0, False)

    def engine_lines(self):
        module = os.environ["VIREON_MODULE_DIR"]
        return self.registry.lines_of(
            PYTHON,
            "-c",
            f"import sys; sys.path.insert(0, '{module}'); import _vireon;"
            "_vireon.delete_Vireon(_vireon.new_Vireon())",
        )

    def test_the_engine_reports_its_life_at_level_5(self):
        self.registry.set("log", "REG_DWORD", 5)
        first, last = self.engine_lines()
        self.assertRegex(first, r"^\[vireon\] Vireon::Vireon Construct object in thread: -?\d+\\n$")
        self.assertEqual(last, r"[vireon] Vireon::~Vireon\n")

    def test_and_not_at_level_4(self):
        self.registry.set("log", "REG_DWORD", 4)
        self.assertEqual(self.engine_lines(), [])


if __name__ == "__main__":
    unittest.main()
