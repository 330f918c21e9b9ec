#include "binding/interpreter/testing/embedded_interpreter.h"

#include "binding/interpreter/script_call.h"

#include <string>

namespace {

ScriptObject BuildOne(const char* format) {
    return ScriptObject::Steal(Py_BuildValue(format, 1, 2));
}

class ScriptCall : public testing::Test {
  protected:
    ScriptCall() {
        script::Run(
            "import sys\n"
            "calls = []\n"
            "def record(*arguments):\n"
            "    calls.append(arguments)\n"
            "    return 'result'\n"
            "class Collector(object):\n"
            "    def __init__(self): self.text = ''\n"
            "    def write(self, text): self.text += text\n"
            "old_stderr, sys.stderr = sys.stderr, Collector()\n");
    }
    ~ScriptCall() override { script::Run("sys.stderr = old_stderr"); }

    // The exception's name when the call raised one.
    static ScriptObject Call(const char* callable, const char* format,
                             const ArgumentBuilder& build = BuildOne) {
        ScriptObject result = CallScript(script::Get(callable), format, build);
        EXPECT_FALSE(PyErr_Occurred());
        return result;
    }
    static bool HasPrinted(const std::string& text) {
        return script::Evaluate("'" + text + "' in sys.stderr.text") == "True";
    }
};

TEST_F(ScriptCall, PassesATupleForAFormatOfOneCharacter) {
    Call("record", "i");
    EXPECT_EQ(script::Evaluate("calls"), "[(1,)]");
}

TEST_F(ScriptCall, PassesWhatALongerFormatGives) {
    Call("record", "ii");
    Call("record", "(i)");
    EXPECT_EQ(script::Evaluate("calls"), "[(1, 2), (1,)]");
}

TEST_F(ScriptCall, PassesNothingForANullOrEmptyFormat) {
    Call("record", nullptr);
    Call("record", "");
    EXPECT_EQ(script::Evaluate("calls"), "[(), ()]");
}

TEST_F(ScriptCall, ReturnsTheResult) {
    const ScriptObject result = Call("record", "i");
    ASSERT_TRUE(result);
    EXPECT_STREQ(PyString_AsString(result.Get()), "result");
}

TEST_F(ScriptCall, PrintsAnExceptionAndClearsIt) {
    script::Run("def fail(*arguments): raise ValueError('the reason')");
    EXPECT_FALSE(Call("fail", "i"));
    EXPECT_TRUE(HasPrinted("ValueError: the reason"));
    EXPECT_TRUE(HasPrinted("Traceback"));
}

TEST_F(ScriptCall, PrintsSystemExitInsteadOfEndingTheProcess) {
    script::Run(
        "class Leave(SystemExit): pass\n"
        "def leave(*arguments): sys.exit(3)\n"
        "def leave_by_class(*arguments): raise SystemExit\n"
        "def leave_by_subclass(*arguments): raise Leave('bye')\n");
    EXPECT_FALSE(Call("leave", "i"));
    EXPECT_TRUE(HasPrinted("SystemExit: 3"));
    EXPECT_TRUE(HasPrinted("Traceback"));
    EXPECT_FALSE(Call("leave_by_class", "i"));
    EXPECT_FALSE(Call("leave_by_subclass", "i"));
    EXPECT_TRUE(HasPrinted("Leave: bye"));
}

TEST_F(ScriptCall, KeepsNothingOfAnExceptionThatItHasPrinted) {
    script::Run(
        "import weakref\n"
        "class Local(object): pass\n"
        "def fail(error):\n"
        "    local = Local()\n"
        "    locals_seen.append(weakref.ref(local))\n"
        "    raise error\n"
        "def fail_by_exit(*arguments): fail(SystemExit(3))\n"
        "def fail_by_another(*arguments): fail(ValueError(3))\n"
        "locals_seen = []\n");
    EXPECT_FALSE(Call("fail_by_exit", "i"));
    EXPECT_FALSE(Call("fail_by_another", "i"));
    EXPECT_EQ(script::Evaluate("[seen() for seen in locals_seen]"), "[None, None]");
}

TEST_F(ScriptCall, PrintsByTheScriptsOwnHook) {
    script::Run(
        "def fail(*arguments): raise ValueError('the reason')\n"
        "def note(type, value, traceback): noted.append((type, value.args, traceback is None))\n"
        "noted, hook_before, sys.excepthook = [], sys.excepthook, note\n");
    EXPECT_FALSE(Call("fail", "i"));
    script::Run("sys.excepthook = hook_before");
    EXPECT_EQ(script::Evaluate("noted == [(ValueError, ('the reason',), False)]"), "True");
    EXPECT_EQ(script::Evaluate("sys.stderr.text"), "''");
}

TEST_F(ScriptCall, PrintsWhatTheHookRaisesInsteadOfEndingTheProcess) {
    script::Run(
        "def fail(*arguments): raise ValueError('the reason')\n"
        "def leave(*arguments): sys.exit('from the hook')\n"
        "hook_before, sys.excepthook = sys.excepthook, leave\n");
    EXPECT_FALSE(Call("fail", "i"));
    script::Run("sys.excepthook = hook_before");
    EXPECT_TRUE(HasPrinted("SystemExit: from the hook"));
    EXPECT_TRUE(HasPrinted("ValueError: the reason"));
}

TEST_F(ScriptCall, PrintsWithoutAHook) {
    script::Run(
        "def fail(*arguments): raise ValueError('the reason')\n"
        "hook_before = sys.excepthook\n"
        "del sys.excepthook\n");
    EXPECT_FALSE(Call("fail", "i"));
    script::Run("sys.excepthook = hook_before");
    EXPECT_TRUE(HasPrinted("ValueError: the reason"));
}

TEST_F(ScriptCall, SurvivesAMissingStandardError) {
    script::Run(
        "def fail(*arguments): raise ValueError\n"
        "def leave(*arguments): raise SystemExit\n"
        "sys.stderr = None\n");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(Call("fail", "i"));
    EXPECT_FALSE(Call("leave", "i"));
    testing::internal::GetCapturedStderr();
}

TEST_F(ScriptCall, PrintsAFailureToBuildTheArgumentsAndCallsNothing) {
    EXPECT_FALSE(Call("record", "O", [](const char*) {
        PyErr_SetString(PyExc_SystemError, "no object");
        return ScriptObject();
    }));
    EXPECT_TRUE(HasPrinted("SystemError: no object"));
    EXPECT_EQ(script::Evaluate("calls"), "[]");
}

TEST_F(ScriptCall, PrintsThatArgumentsAreNoTuple) {
    EXPECT_FALSE(Call("record", "[i]"));
    EXPECT_TRUE(HasPrinted("TypeError"));
    EXPECT_EQ(script::Evaluate("calls"), "[]");
}

TEST_F(ScriptCall, PrintsThatAnObjectCannotBeCalled) {
    script::Run("number = 5");
    EXPECT_FALSE(Call("number", "i"));
    EXPECT_TRUE(HasPrinted("TypeError"));
}

TEST_F(ScriptCall, PrintsNothingWithoutAnException) {
    script::ExpectLocked();
    PrintScriptError();
    EXPECT_EQ(script::Evaluate("sys.stderr.text"), "''");
}

}  // namespace
