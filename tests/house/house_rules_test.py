#!/usr/bin/env python3
"""Holds this tree to the rules of the house, and shows for each rule that it can fail."""

import pathlib
import tempfile
import unittest

import house_rules

ROOT = pathlib.Path(__file__).resolve().parents[2]


def missing_tool(name):
    return f"{name} is not installed (./dev setup test)"


class ThisTree(unittest.TestCase):
    def check(self, complaints):
        if complaints:
            self.fail("\n" + "\n".join(complaints))

    def test_has_sources_to_look_at(self):
        for folder in house_rules.FOLDERS:
            self.assertTrue(any((ROOT / "src" / folder).glob("*.h")), folder)

    def test_includes_follow_the_order(self):
        self.check(house_rules.includes_follow_the_order(ROOT))

    def test_units_form_no_circles(self):
        self.check(house_rules.units_form_no_circles(ROOT))

    def test_platforms_stay_in_their_folders(self):
        self.check(house_rules.platforms_stay_in_their_folders(ROOT))

    def test_windows_has_no_thread_local(self):
        self.check(house_rules.windows_has_no_thread_local(ROOT))

    def test_platform_sources_mirror_each_other(self):
        self.check(house_rules.platform_sources_mirror_each_other(ROOT))

    def test_sources_have_tests(self):
        self.check(house_rules.sources_have_tests(ROOT))

    def test_sources_are_built(self):
        self.check(house_rules.sources_are_built(ROOT))

    def test_declarations_are_used(self):
        self.check(house_rules.declarations_are_used(ROOT))

    def test_headers_are_guarded(self):
        self.check(house_rules.headers_are_guarded(ROOT))

    def test_wire_texts_stand_in_one_place(self):
        for path in house_rules.WIRE_TEXTS + house_rules.WIRE_TEXTS_OF_SCRIPTS:
            self.assertTrue(house_rules.literals(ROOT, path), path)
        self.check(house_rules.wire_texts_stand_in_one_place(ROOT))

    @unittest.skipUnless(house_rules.tool_is_there("clang-format"), missing_tool("clang-format"))
    def test_sources_are_formatted(self):
        files = house_rules.git_files(ROOT, "*.h", "*.cpp")
        self.assertGreater(len(files), 0)
        self.check(house_rules.sources_are_formatted(ROOT, files))

    @unittest.skipUnless(house_rules.tool_is_there("shellcheck"), missing_tool("shellcheck"))
    def test_shell_scripts_are_sound(self):
        files = house_rules.git_files(ROOT)
        self.assertIn(ROOT / "dev", files)
        self.check(house_rules.shell_scripts_are_sound(ROOT, files))

    @unittest.skipUnless(house_rules.tool_is_there("black"), missing_tool("black"))
    def test_python_is_formatted(self):
        self.check(house_rules.python_is_formatted(ROOT, self.python_files()))

    @unittest.skipUnless(house_rules.tool_is_there("pyflakes3"), missing_tool("pyflakes3"))
    def test_python_is_sound(self):
        self.check(house_rules.python_is_sound(ROOT, self.python_files()))

    def python_files(self):
        files = house_rules.git_files(ROOT, "*.py")
        self.assertIn(pathlib.Path(__file__).resolve(), files)
        return files


class BadTree(unittest.TestCase):
    """Small trees, each with one fault (or, to show that a rule is not too strict, with none)."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name).resolve()
        (self.root / "src").mkdir()

    def write(self, path, text=""):
        file = self.root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")
        return file

    def expect(self, rule, *complaints, arguments=()):
        found = rule(self.root, *arguments)
        self.assertEqual(len(complaints), len(found), found)
        for expected, complaint in zip(complaints, found):
            self.assertIn(expected, complaint)

    def test_include_against_the_order(self):
        self.write("src/net/socket.h")
        self.write("src/core/string.cpp", '#include "net/socket.h"\n')
        self.expect(house_rules.includes_follow_the_order, "core may not include net/socket.h")

    def test_include_along_the_order(self):
        self.write("src/core/string.h")
        self.write("src/net/socket.h", '#include "core/string.h"\n')
        self.expect(house_rules.includes_follow_the_order)

    def test_include_that_is_no_path_from_src(self):
        self.write("src/core/string.h")
        self.write("src/core/string.cpp", '#include "string.h"\n#include "../core/string.h"\n')
        self.expect(house_rules.includes_follow_the_order, '"string.h"', '"../core/string.h"')

    def test_own_header_included_as_a_systems(self):
        self.write("src/core/string.h")
        self.write("src/core/string.cpp", "#include <core/string.h>\n")
        self.expect(house_rules.includes_follow_the_order, "as a system's")

    def test_unknown_folder(self):
        self.write("src/misc/helpers.h")
        self.expect(house_rules.includes_follow_the_order, "no folder of the architecture")

    def test_folder_within_another_is_a_folder_of_its_own(self):
        self.write("src/binding/interpreter/interpreter_lock.h")
        for folder in ("device", "binding/interpreter", "engine", "binding"):
            self.write(f"src/{folder}/user.cpp", '#include "binding/interpreter/interpreter_lock.h"\n')
        self.expect(house_rules.includes_follow_the_order, "device may not include")

    def test_include_from_the_interpreter_folder_upward(self):
        self.write("src/engine/vireon.h")
        self.write("src/binding/module.h")
        self.write(
            "src/binding/interpreter/script_call.cpp",
            '#include "engine/vireon.h"\n#include "binding/module.h"\n',
        )
        self.expect(
            house_rules.includes_follow_the_order,
            "binding/interpreter may not include engine/vireon.h",
            "binding/interpreter may not include binding/module.h",
        )

    def test_include_from_engine_into_binding(self):
        self.write("src/binding/module.h")
        self.write("src/engine/vireon.cpp", '#include "binding/module.h"\n')
        self.expect(house_rules.includes_follow_the_order, "engine may not include binding/module.h")

    def test_units_in_a_circle(self):
        self.write("src/net/address.h")
        self.write("src/net/address.cpp", '#include "net/address.h"\n#include "net/resolver.h"\n')
        self.write("src/net/resolver.h", '#include "core/list.h"\n')
        self.write("src/net/posix/resolver.cpp", '#include "net/socket.h"\n')
        self.write("src/net/socket.h", '#include "net/address.h"\n')
        self.write("src/core/list.h")
        circle = "in a circle of includes (address, resolver, socket)"
        self.expect(
            house_rules.units_form_no_circles,
            f"src/net/address: stands {circle}",
            f"src/net/resolver: stands {circle}",
            f"src/net/socket: stands {circle}",
        )

    def test_units_without_a_circle(self):
        self.write("src/net/address.h")
        self.write("src/net/resolver.cpp", '#include "net/address.h"\n')
        self.write("src/net/socket.h", '#include "net/address.h"\n#include "net/resolver.h"\n')
        self.write("src/net/address_test.cpp", '#include "net/address.h"\n#include "net/socket.h"\n')
        self.expect(house_rules.units_form_no_circles)

    def test_platform_conditions(self):
        for condition in (
            "#ifdef _WIN32",
            "#if defined(__linux__)",
            "#  ifndef _MSC_VER",
            "#elif defined(__MINGW64__)",
        ):
            with self.subTest(condition):
                self.write("src/core/time.cpp", condition + "\n#endif\n")
                self.expect(house_rules.platforms_stay_in_their_folders, condition)

    def test_platform_headers(self):
        for header in ("windows.h", "WinSock2.h", "unistd.h", "sys/socket.h", "pthread.h", "poll.h"):
            with self.subTest(header):
                self.write("src/core/time_test.cpp", f"#include <{header}>\n")
                self.expect(house_rules.platforms_stay_in_their_folders, header)

    def test_platform_folders_may_know_their_platform(self):
        self.write("src/core/win32/time.cpp", "#include <windows.h>\n#ifdef _WIN64\n#endif\n")
        self.write("src/core/time.cpp", "// not for <windows.h>\n#include <cstdint>\n#ifdef NDEBUG\n")
        self.expect(house_rules.platforms_stay_in_their_folders)

    def test_thread_local_outside_posix(self):
        for path in ("src/core/time.cpp", "src/core/win32/time.cpp"):
            with self.subTest(path):
                self.write(path, "static thread_local int count = 0;\n")
                self.expect(house_rules.windows_has_no_thread_local, path)
                self.write(path, "// no thread_local\n")
        for path in ("src/core/posix/time.cpp", "src/core/time_test.cpp", "src/core/testing/pace.cpp"):
            self.write(path, "thread_local int count = 0;\n")
        self.expect(house_rules.windows_has_no_thread_local)

    def test_platform_source_without_counterpart(self):
        self.write("src/core/posix/time.cpp")
        self.write("src/core/posix/event.cpp")
        self.write("src/core/win32/event.cpp")
        self.write("src/core/win32/registry_test.cpp")
        self.expect(house_rules.platform_sources_mirror_each_other, "src/core/posix/time.cpp")

    def test_source_without_test(self):
        self.write("src/core/time.cpp")
        self.expect(house_rules.sources_have_tests, "src/core/time.cpp: has no time_test.cpp")

    def test_platform_source_is_tested_by_its_unit(self):
        self.write("src/core/posix/time.cpp")
        self.write("src/core/time_test.cpp")
        self.expect(house_rules.sources_have_tests)

    def test_exception_needs_a_reason(self):
        self.write("src/core/time.cpp")
        self.write(house_rules.UNTESTED, "# a comment\nsrc/core/time.cpp: the clock itself\n")
        self.expect(house_rules.sources_have_tests)
        self.write(house_rules.UNTESTED, "src/core/time.cpp:\n")
        self.expect(house_rules.sources_have_tests, "without a reason")

    def test_exceptions_are_kept_up_to_date(self):
        self.write("src/core/time.cpp")
        self.write("src/core/time_test.cpp")
        self.write(house_rules.UNTESTED, "src/core/gone.cpp: x\nsrc/core/time.cpp: x\n")
        self.expect(house_rules.sources_have_tests, "gone.cpp for nothing", "time.cpp for nothing")

    def test_one_platform_source_may_be_an_exception(self):
        self.write("src/net/win32/startup.cpp")
        self.expect(house_rules.platform_sources_mirror_each_other, "has no counterpart")
        self.write(house_rules.ONE_PLATFORM, "src/net/win32/startup.cpp: nothing to start elsewhere\n")
        self.expect(house_rules.platform_sources_mirror_each_other)

    def test_source_that_nobody_builds(self):
        self.write("src/core/time.cpp")
        self.write("src/core/posix/event.cpp")
        self.write("src/core/CMakeLists.txt", "vireon_folder(core SOURCES uptime.cpp PLATFORM event.cpp)")
        self.expect(house_rules.sources_are_built, "src/core/time.cpp")

    def test_function_that_nobody_calls(self):
        self.write(
            "src/core/clock.h",
            "class Clock {\n  public:\n    explicit Clock(int zone);\n"
            "    int Now() const { return Read(); }\n    void Stop();\n};\n",
        )
        self.write("src/core/clock.cpp", "void Clock::Stop() {\n    Now();  // not Stop()\n}\n")
        self.write("src/core/clock_test.cpp", 'TEST(Clock, Stops) {\n    Clock(1).Stop();\n}\n')
        self.expect(house_rules.declarations_are_used, "src/core/clock.h Stop: is used by nothing but tests")
        self.write(house_rules.UNUSED, "src/core/clock.h Stop: the next step needs it\n")
        self.expect(house_rules.declarations_are_used)

    def test_function_that_is_used(self):
        self.write(
            "src/core/clock.h",
            "struct Clock {\n    virtual int Now() = 0;\n};\n"
            "Clock* MakeClock(int zone);\ninline int Twice(int n) {\n"
            "    return n + n;\n}\n",
        )
        self.write("src/net/wait.h", "struct Wait : Clock {\n    int Now() override;\n};\n")
        self.write(
            "src/net/wait.cpp",
            "int Wait::Now() {\n    return Twice(1);\n}\n"
            "auto make = &MakeClock;\nint now = make(1)->Now();\n",
        )
        self.expect(house_rules.declarations_are_used)

    def test_function_for_tests_that_no_test_calls(self):
        self.write("src/core/testing/clock.h", "void Stop();\nvoid Start();\n")
        self.write("src/core/clock_test.cpp", "TEST(Clock, Starts) {\n    Start();\n}\n")
        self.expect(house_rules.declarations_are_used, "clock.h Stop: is used by no test")

    def test_header_without_its_guard(self):
        self.write("src/core/time.h", "#ifndef TIME_H\n#define TIME_H\n#endif\n")
        self.write("src/core/list.h", "#ifndef VIREON_CORE_LIST_H\n#define VIREON_CORE_LIST_H\n#endif\n")
        self.expect(house_rules.headers_are_guarded, "VIREON_CORE_TIME_H")

    def test_wire_text_beside_its_place(self):
        self.write("src/engine/protocol.h", '#include "core/types.h"\nconstexpr const char* kUsn = "USN";\n')
        self.write("src/http/http_protocol.h", 'constexpr char kHost[] = "Host";\n')
        self.write("src/engine/answer.cpp", '#include "usn"\nhas("usn");  // the "USN"\nputs("Host: ");\n')
        self.write("src/engine/plan.cpp", 'headers.SetHeader(\n    "X-Own", value);\n')
        self.write("src/engine/device_dictionary.cpp", 'Key("usn");\n')
        self.write("src/engine/answer_test.cpp", 'headers.SetHeader("USN", value);\n')
        self.expect(
            house_rules.wire_texts_stand_in_one_place,
            'answer.cpp: "usn" stands in',
            "plan.cpp: names a header itself: SetHeader(",
        )

    @unittest.skipUnless(house_rules.tool_is_there("clang-format"), missing_tool("clang-format"))
    def test_unformatted_source(self):
        self.write(".clang-format", (ROOT / ".clang-format").read_text(encoding="utf-8"))
        good = self.write("src/core/good.cpp", "int Good() {\n    return 1;\n}\n")
        bad = self.write("src/core/bad.cpp", "int Bad( ) {return 1;\n}\n")
        self.expect(house_rules.sources_are_formatted, "src/core/bad.cpp", arguments=([good, bad],))

    @unittest.skipUnless(house_rules.tool_is_there("shellcheck"), missing_tool("shellcheck"))
    def test_unsound_shell_script(self):
        bad = self.write("bad", "#!/bin/sh\nrm -rf $1/x\n")
        other = self.write("data", "rm -rf $1/x\n")
        self.expect(house_rules.shell_scripts_are_sound, "bad:2", arguments=([bad, other],))

    @unittest.skipUnless(house_rules.tool_is_there("black"), missing_tool("black"))
    def test_unformatted_python(self):
        self.write("pyproject.toml", (ROOT / "pyproject.toml").read_text(encoding="utf-8"))
        good = self.write("good.py", "text = u'kept' + \"as it is\"\n")
        bad = self.write("bad.py", "number=1\n")
        gone = self.write("gone.py", "print 'no parentheses'\n")
        self.expect(house_rules.python_is_formatted, "gone.py", "bad.py", arguments=([good, bad, gone],))

    @unittest.skipUnless(house_rules.tool_is_there("pyflakes3"), missing_tool("pyflakes3"))
    def test_unsound_python(self):
        good = self.write("good.py", "print(unicode(xrange(3)))\n")
        bad = self.write("bad.py", "import os\nprint(raw_input())\n")
        self.expect(
            house_rules.python_is_sound,
            "'os' imported but unused",
            "undefined name 'raw_input'",
            arguments=([good, bad],),
        )


if __name__ == "__main__":
    unittest.main()
