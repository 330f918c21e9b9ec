#include "binding/interpreter/testing/embedded_interpreter.h"

#include "binding/interpreter/empty_arguments.h"

#include <string>

namespace {

// repr() of what a format gives, or the name of the exception.
std::string Build(const std::string& format) {
    script::ExpectLocked();
    const ScriptObject built = BuildFromEmptyArguments(format.c_str());
    if (!built) {
        EXPECT_TRUE(PyErr_Occurred()) << format;
        const std::string name = PyErr_ExceptionMatches(PyExc_SystemError) ? "SystemError"
                                 : PyErr_ExceptionMatches(PyExc_TypeError) ? "TypeError"
                                                                           : "another error";
        PyErr_Clear();
        return name;
    }
    EXPECT_FALSE(PyErr_Occurred()) << format;
    const ScriptObject text = ScriptObject::Steal(PyObject_Repr(built.Get()));
    return PyString_AsString(text.Get());
}

TEST(EmptyArguments, AreNullOrZero) {
    const struct {
        const char* format;
        const char* built;
    } cases[] = {
        {"", "None"},
        {" ,\t:", "None"},
        {"s", "None"},
        {"z", "None"},
        {"u", "None"},
        {"s#", "None"},
        {"z#i", "(None, 0)"},
        {"u#", "None"},
        {"bBhHiIlkn", "(0, 0, 0, 0, 0, 0, 0, 0, 0)"},
        {"LK", "(0L, 0L)"},
        {"fd", "(0.0, 0.0)"},
        {"c", "'\\x00'"},
        {"i i,i\ti", "(0, 0, 0, 0)"},
        {"()", "()"},
        {"(i)", "(0,)"},
        {"(s(i)[d]{})", "(None, (0,), [0.0], {})"},
        {"[]", "[]"},
        {"[ii]", "[0, 0]"},
        {"{}", "{}"},
        {"{i:s}", "{0: None}"},
        {"{c:s}", "{'\\x00': None}"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.format);
        EXPECT_EQ(Build(test.format), test.built);
    }
}

// Whatever the interpreter itself makes of a format without arguments of pointers to objects must
// come out here too.
TEST(EmptyArguments, AgreeWithTheInterpreter) {
    const ScriptObject expected =
        ScriptObject::Steal(Py_BuildValue("(szuilkLKfdc[i]{i:i})", nullptr, nullptr, nullptr, 0, 0L,
                                          0UL, 0LL, 0ULL, 0.0, 0.0, 0, 0, 0, 0));
    ASSERT_TRUE(expected);
    script::ExpectLocked();
    const ScriptObject built = BuildFromEmptyArguments("(szuilkLKfdc[i]{i:i})");
    ASSERT_TRUE(built);
    EXPECT_EQ(PyObject_RichCompareBool(expected.Get(), built.Get(), Py_EQ), 1);
}

TEST(EmptyArguments, FailForItemsThatNeedAnObject) {
    for (const char* format : {"O", "S", "N", "O&", "S&", "N&", "D", "(iO)", "sO", "[D]", "{s:O}"})
        EXPECT_EQ(Build(format), "SystemError") << format;
}

TEST(EmptyArguments, FailForMalformedFormats) {
    for (const char* format : {"(",  ")", "(]", "[)", "{s}",  "{sis}",  "((i)", "i)", "#", "&",
                               "i#", "x", "%n", "%s", "\xFF", "(\x01)", "i&",   "[",  "{", "i("})
        EXPECT_EQ(Build(format), "SystemError") << format;
}

TEST(EmptyArguments, FailForAKeyThatCannotBeHashed) {
    EXPECT_EQ(Build("{[]i}"), "TypeError");
    EXPECT_EQ(Build("{{}i}"), "TypeError");
}

TEST(EmptyArguments, MayNest100LevelsDeep) {
    script::ExpectLocked();
    EXPECT_TRUE(BuildFromEmptyArguments((std::string(100, '[') + std::string(100, ']')).c_str()));
    EXPECT_EQ(Build(std::string(101, '(') + std::string(101, ')')), "SystemError");
    EXPECT_EQ(Build(std::string(1000000, '[')), "SystemError");
}

TEST(EmptyArguments, NestNoDeeperForWhatStandsBesideThem) {
    script::ExpectLocked();
    std::string format;
    for (int count = 0; count < 101; ++count)
        format += "()";
    const ScriptObject built = BuildFromEmptyArguments(format.c_str());
    ASSERT_TRUE(built);
    EXPECT_EQ(PyTuple_Size(built.Get()), 101);
}

TEST(EmptyArguments, MayBeMany) {
    script::ExpectLocked();
    const ScriptObject built = BuildFromEmptyArguments(std::string(100000, 'i').c_str());
    ASSERT_TRUE(built);
    EXPECT_EQ(PyTuple_Size(built.Get()), 100000);
}

// Every format of up to three of these characters ends in an object or an error.
TEST(EmptyArguments, NeverCrash) {
    const std::string alphabet = "iOsDLcN#&()[]{}:, x";
    std::string format(3, ' ');
    for (const char first : alphabet) {
        for (const char second : alphabet) {
            for (const char third : alphabet) {
                format = {first, second, third};
                Build(format);
            }
        }
    }
}

}  // namespace
