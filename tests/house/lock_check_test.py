#!/usr/bin/env python3
"""Shows on small sources that the clang preset's compiler reports a lock that is missing, and what else
core/thread_annotations.h lets it check."""

import json
import pathlib
import re
import shlex
import subprocess
import tempfile
import unittest

import house_rules

ROOT = pathlib.Path(__file__).resolve().parents[2]

SOURCE = """
#include "binding/interpreter/interpreter_lock.h"
#include "core/critical_section.h"
#include "core/mutex.h"
#include "engine/lock_order.h"

class Guarded {
  public:
%s

  private:
    void Count() REQUIRES(mutex_) { ++count_; }
    void Wait() EXCLUDES(mutex_) {}

    NPT_Mutex mutex_ ACQUIRED_AFTER(lock_order::engine) ACQUIRED_BEFORE(lock_order::queue);
    CriticalSection section_ ACQUIRED_AFTER(lock_order::queue);
    int count_ GUARDED_BY(mutex_) = 0;
    int hits_ GUARDED_BY(section_) = 0;
    int calls_ GUARDED_BY(interpreter_lock) = 0;
};
"""

# A fault to what is sound, to what is not, and to what the compiler says of that.
FAULTS = {
    "no mutex": (
        "const NPT_AutoLock lock(mutex_); ++count_;",
        "++count_;",
        "writing variable 'count_' requires holding mutex 'mutex_'",
    ),
    "no critical section": (
        "const CriticalSectionLock lock(section_); ++hits_;",
        "++hits_;",
        "writing variable 'hits_' requires holding critical section 'section_'",
    ),
    "no interpreter lock": (
        "const PyAutoLock2 lock; ++calls_;",
        "++calls_;",
        "writing variable 'calls_' requires holding interpreter lock 'interpreter_lock'",
    ),
    "a lock that is let go too early": (
        "const CriticalSectionLock lock(section_); ++hits_;",
        "{ const CriticalSectionLock lock(section_); } ++hits_;",
        "writing variable 'hits_' requires holding critical section 'section_'",
    ),
    "another lock": (
        "const NPT_AutoLock lock(mutex_); ++count_;",
        "const CriticalSectionLock lock(section_); ++count_;",
        "writing variable 'count_' requires holding mutex 'mutex_'",
    ),
    "a helper without the lock that it needs": (
        "const NPT_AutoLock lock(mutex_); Count();",
        "Count();",
        "calling function 'Count' requires holding mutex 'mutex_'",
    ),
    "a wait with the lock held": (
        "{ const NPT_AutoLock lock(mutex_); } Wait();",
        "const NPT_AutoLock lock(mutex_); Wait();",
        "cannot call function 'Wait' while mutex 'mutex_' is held",
    ),
    "a lock that failed": (
        "if (mutex_.Lock() != 0) return; Count(); mutex_.Unlock();",
        "mutex_.Lock(); Count(); mutex_.Unlock();",
        "calling function 'Count' requires holding mutex 'mutex_'",
    ),
    "a lock that is kept": (
        "section_.lock(); section_.unlock();",
        "section_.lock();",
        "'section_' is still held at the end of function",
    ),
    "the order reversed": (
        "const NPT_AutoLock first(mutex_); const CriticalSectionLock second(section_);",
        "const CriticalSectionLock first(section_); const NPT_AutoLock second(mutex_);",
        "'mutex_' must be acquired before 'section_'",
    ),
    "the interpreter lock last": (
        "const InterpreterVisit first; const NPT_AutoLock second(mutex_);",
        "const NPT_AutoLock first(mutex_); const InterpreterVisit second;",
        "'interpreter_lock' must be acquired before 'mutex_'",
    ),
}


@unittest.skipUnless(house_rules.tool_is_there("clang++"), "clang++ is not installed (./dev setup test)")
class LockCheck(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name).resolve()
        configured = subprocess.run(
            ["cmake", "--preset", "clang", "-B", cls.folder / "build", "-DVIREON_BUILD_TESTS=OFF"],
            cwd=ROOT,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
        )
        if configured.returncode != 0:
            raise AssertionError(configured.stdout)
        commands = json.loads((cls.folder / "build/compile_commands.json").read_text(encoding="utf-8"))
        words = next(
            shlex.split(command["command"])
            for command in commands
            if command["file"].endswith("/src/engine/vireon.cpp")
        )
        # The preset's own options, without the compiler cache in front and the files at the end.
        compiler = next(index for index, word in enumerate(words) if word.endswith("clang++"))
        cls.compiler = words[compiler : words.index("-o")] + ["-fsyntax-only"]

    def errors_of(self, column):
        """What the compiler says of each fault's statements, which stand in a line of their own."""
        lines = {}
        functions = SOURCE.partition("%s")[0].count("\n")
        for number, (fault, texts) in enumerate(FAULTS.items()):
            lines[fault] = (functions + number + 1, f"    void Act{number}() {{ {texts[column]} }}")
        source = self.folder / "source.cpp"
        source.write_text(SOURCE % "\n".join(text for _, text in lines.values()), encoding="utf-8")
        done = subprocess.run(
            [*self.compiler, source], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False
        )
        errors = re.findall(r"source\.cpp:(\d+):\d+: error: (.*)", done.stdout)
        return done, {
            fault: [said for at, said in errors if int(at) == line] for fault, (line, _) in lines.items()
        }

    def test_faults_are_reported(self):
        done, errors = self.errors_of(1)
        self.assertNotEqual(0, done.returncode)
        for fault, (_, _, report) in FAULTS.items():
            with self.subTest(fault):
                self.assertIn(report, "\n".join(errors[fault]), done.stdout)

    def test_sound_code_compiles(self):
        done, _ = self.errors_of(0)
        self.assertEqual(("", 0), (done.stdout, done.returncode))


if __name__ == "__main__":
    unittest.main()
