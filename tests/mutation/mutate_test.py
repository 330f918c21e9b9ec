#!/usr/bin/env python3
"""Shows what counts as noticed, and which faults are drawn, on small trees and short programs."""

import pathlib
import sys
import tempfile
import time
import unittest

sys.path[:0] = [str(pathlib.Path(__file__).resolve().parent)]
import mutate

LIST = """# What it is.

src/core/list.cpp
  {
- if (count > 0) return;
+ if (count >= 0) return;
The caller has asked for that
before.

src/core/string.cpp
- Reserve(n);
- Append(text);
+ Append(text);
It only saves time.
"""


def mutant(path, before, after, line=1, above="  {\n"):
    return mutate.Mutant(path, line, above, before, after)


class Harmless(unittest.TestCase):
    def test_a_fault_is_a_place_and_a_reason(self):
        first, second = mutate.read_harmless(LIST)
        self.assertEqual(first.path, "src/core/list.cpp")
        self.assertEqual(first.reason, "The caller has asked for that before.")
        self.assertEqual((first.above, second.above), ("{", ""))
        self.assertEqual((second.before, second.after), ("Reserve(n); Append(text);", "Append(text);"))

    def test_one_without_a_reason_is_refused(self):
        with self.assertRaisesRegex(ValueError, "a reason"):
            mutate.read_harmless("src/core/list.cpp\n- one;\n+ two;\n")

    def test_one_is_known_however_it_is_indented(self):
        listed = mutate.read_harmless(LIST)
        line = "    if (count > 0) return;\n"
        self.assertTrue(
            mutate.is_harmless(mutant("src/core/list.cpp", line, "  if (count >= 0)\n  return;\n"), listed)
        )
        for other in (
            mutant("src/core/list.h", line, "if (count >= 0) return;\n"),
            mutant("src/core/list.cpp", line, "if (count < 0) return;\n"),
            mutant("src/core/list.cpp", line, "if (count >= 0) return;\n", above="else\n"),
        ):
            self.assertFalse(mutate.is_harmless(other, listed))

    def test_what_survives_is_printed_as_it_is_listed(self):
        survivor = mutant("src/core/list.cpp", "    ++count;\n", "    ++count;\n    break;\n")
        (listed,) = mutate.read_harmless(mutate.block_of(survivor) + "\nA reason.\n")
        self.assertTrue(mutate.is_harmless(survivor, [listed]))

    def test_each_that_is_listed_stands_in_the_tree(self):
        for each in mutate.read_harmless(mutate.HARMLESS.read_text(encoding="utf-8")):
            text = mutate.in_one_line((mutate.ROOT / each.path).read_text(encoding="utf-8"))
            self.assertIn(mutate.in_one_line(f"{each.above} {each.before}"), text, each.path)
            self.assertTrue(mutate.is_mutated(each.path), each.path)


class Drawing(unittest.TestCase):
    def test_only_what_is_shipped_here_has_faults(self):
        paths = ("src/core/list.h", "src/net/posix/socket_platform.cpp")
        others = (
            "src/core/list_test.cpp",
            "src/core/testing/splits.h",
            "src/net/win32/socket_platform.cpp",
            "tests/fuzz/replay.cpp",
            "src/core/CMakeLists.txt",
        )
        self.assertEqual(tuple(filter(mutate.is_mutated, paths + others)), paths)

    def test_a_line_has_faults_that_are_more_than_blanks(self):
        def tool(lines, **_):
            return [(2, "b  =  1;\n", "a rule"), (2, "b = 2;\n", "a rule"), (2, "b = 3;\n", "a rule")]

        found = mutate.lines_with_mutants("x.cpp", "a = 1;\nb = 1;\n", tool)
        self.assertEqual([[each.after for each in line] for line in found], [["b = 2;\n", "b = 3;\n"]])

    def test_a_seed_draws_the_same_again(self):
        def drawn(seed):
            lines = [[mutant("x.cpp", str(n), str(m)) for m in range(5)] for n in range(50)]
            return list(mutate.draw(lines, seed))

        self.assertEqual(drawn(7), drawn(7))
        self.assertNotEqual(drawn(7), drawn(8))
        self.assertEqual(sorted(line[0].before for line in drawn(7)), sorted(map(str, range(50))))

    def test_a_fault_changes_its_line_alone(self):
        text = "same;\nsame;\nsame;\n"
        self.assertEqual(mutate.plant(text, mutant("x", "same;\n", "other;\n", 2)), "same;\nother;\nsame;\n")


class Running(unittest.TestCase):
    def failure(self, *programs, limit=60.0):
        tests = [
            mutate.Test(f"{number}", "unit", [sys.executable, "-c", program], {"VIREON_X": "1"})
            for number, program in enumerate(programs)
        ]
        return mutate.Run(tests, {test.name: limit for test in tests}).failure()

    def test_what_all_pass_is_noticed_by_none(self):
        self.assertEqual(self.failure("", "import os; assert os.environ['VIREON_X'] == '1'"), "")

    def test_the_first_that_fails_has_noticed_and_ends_the_others(self):
        begin = time.monotonic()
        self.assertEqual(self.failure("import time; time.sleep(60)", "raise SystemExit(3)"), "1")
        self.assertLess(time.monotonic() - begin, 30)

    def test_the_test_that_failed_is_named(self):
        self.assertEqual(self.failure("print('[  FAILED  ] List.Adds (0 ms)'); exit(1)"), "0: List.Adds")
        self.assertEqual(self.failure("print('ERROR: test_add (Case)'); exit(1)"), "0: test_add")

    def test_what_does_not_end_is_noticed_and_all_that_it_started_ends(self):
        with tempfile.TemporaryDirectory() as folder:
            sign = pathlib.Path(folder, "sign")
            child = f"import time; time.sleep(4); open({str(sign)!r}, 'w')"
            parent = f"import subprocess, sys; subprocess.run([sys.executable, '-c', {child!r}])"
            self.assertEqual(self.failure(parent, limit=2.0), "0 (out of time)")
            time.sleep(4)
            self.assertFalse(sign.exists())

    def test_a_loop_that_takes_all_memory_fails(self):
        self.assertEqual(self.failure("[0] * (1 << 31)"), "0")


class Tree:
    """Builds by noting what was in the file."""

    said = ""

    def __init__(self, folder, links):
        self.folder, self.links = folder, links
        self.built, self.count = [], 0
        self.file = folder / "src" / "core" / "list.cpp"
        self.file.parent.mkdir(parents=True)
        self.file.write_text("plain")

    def make(self):
        self.built.append(self.file.read_text())
        self.count += 1
        return self.built[-1] != "broken"

    def compiles(self, _):
        return self.file.read_text() != "no C++"

    def stamps(self):
        return {
            file: self.count if file in self.links else 0 for file in ("core_test", "xml_test", "_vireon.so")
        }


class Verdicts(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def hunt(self, links, **programs):
        """Each stage's tests by name, with the program that each is."""
        hunt = mutate.Hunt(Tree(self.folder, links))
        hunt.plain = hunt.tree.stamps()
        hunt.stages = {stage: [] for stage in mutate.STAGES}
        for name, program in programs.items():
            stage, _, room = name.partition("_")
            command = [sys.executable, "-c", program, f"{room}_test"]
            hunt.stages[stage].append(mutate.Test(room, stage, command, {}))
        return hunt

    def test_the_file_is_as_it_was_and_built_so(self):
        for text in ("fault", "broken"):
            hunt = self.hunt([])
            self.assertEqual(hunt.verdict("src/core/list.cpp", text), None if text == "broken" else "")
            self.assertEqual(hunt.tree.built, [text, "plain"])
            self.assertEqual(hunt.tree.file.read_text(), "plain")
            self.folder = self.folder / "next"

    def test_what_does_not_compile_is_not_built(self):
        hunt = self.hunt([])
        stamp = hunt.tree.file.stat().st_mtime_ns
        self.assertIsNone(hunt.verdict("src/core/list.cpp", "no C++"))
        self.assertEqual((hunt.tree.built, hunt.tree.file.read_text()), ([], "plain"))
        self.assertEqual(hunt.tree.file.stat().st_mtime_ns, stamp)

    def test_what_was_not_linked_anew_does_not_run(self):
        hunt = self.hunt(["core_test"], unit_core="", unit_xml="exit(1)", script_all="exit(1)")
        self.assertEqual(hunt.verdict("src/core/list.cpp", "fault"), "")

    def test_the_script_tests_come_last(self):
        hunt = self.hunt(
            ["core_test", "xml_test", "_vireon.so"], unit_core="", unit_xml="", script_all="exit(1)"
        )
        self.assertEqual(hunt.verdict("src/core/list.cpp", "fault"), "all")

    def test_the_room_of_the_fault_comes_first(self):
        hunt = self.hunt(["core_test", "xml_test"], unit_xml="exit(1)", unit_core="exit(1)")
        self.assertEqual(hunt.verdict("src/core/list.cpp", "fault"), "core")


if __name__ == "__main__":
    unittest.main()
