#ifndef VIREON_BINDING_INTERPRETER_TESTING_EMBEDDED_INTERPRETER_H
#define VIREON_BINDING_INTERPRETER_TESTING_EMBEDDED_INTERPRETER_H

#include <Python.h>
#include <gtest/gtest.h>

#include <string>

#include "binding/interpreter/interpreter_lock.h"
#include "core/testing/becomes_true.h"

// A test program that is its own Python: the interpreter lives from before the first test to after
// the last one, and the main thread holds its lock, as a script's thread does when it calls us.
class EmbeddedInterpreter : public testing::Environment {
  public:
    void SetUp() override {
        testing::FLAGS_gtest_death_test_style = "threadsafe";
        Py_InitializeEx(0);
        PyEval_InitThreads();
    }
    void TearDown() override { Py_Finalize(); }
};

inline testing::Environment* const embedded_interpreter =
    testing::AddGlobalTestEnvironment(new EmbeddedInterpreter);

namespace script {

// For the compiler, to which nothing shows that the caller holds the interpreter lock.
inline void ExpectLocked() ASSERT_CAPABILITY(interpreter_lock) {
    EXPECT_TRUE(IsCurrentThreadHoldPythonGIL2());
}

// The lock is needed for these too, so that whoever calls them holds it.

inline PyObject* GetGlobals() ASSERT_CAPABILITY(interpreter_lock) {
    return PyModule_GetDict(PyImport_AddModule("__main__"));
}

// Runs statements in the main module.
inline void Run(const std::string& code) ASSERT_CAPABILITY(interpreter_lock) {
    PyObject* const result = PyRun_String(code.c_str(), Py_file_input, GetGlobals(), GetGlobals());
    if (!result) PyErr_Print();
    EXPECT_NE(result, nullptr) << code;
    Py_XDECREF(result);
}

// What repr() says of an expression.
inline std::string Evaluate(const std::string& expression) ASSERT_CAPABILITY(interpreter_lock) {
    PyObject* const value =
        PyRun_String(expression.c_str(), Py_eval_input, GetGlobals(), GetGlobals());
    if (!value) PyErr_Print();
    PyObject* const text = value ? PyObject_Repr(value) : nullptr;
    const std::string result = text ? PyString_AsString(text) : "failed: " + expression;
    Py_XDECREF(text);
    Py_XDECREF(value);
    return result;
}

// A borrowed reference to a variable of the main module.
inline PyObject* Get(const char* name) ASSERT_CAPABILITY(interpreter_lock) {
    return PyDict_GetItemString(GetGlobals(), name);
}

// Lets other threads run scripts until the expression is true. False when it does not become that.
inline bool BecomesTrue(const std::string& expression, NPT_Timeout patience = kPatience) {
    return ::BecomesTrue([&] { return Evaluate(expression) == "True"; }, patience,
                         [] {
                             PyAutoUnlock2 unlocked;
                             std::this_thread::sleep_for(std::chrono::milliseconds(5));
                         });
}

}  // namespace script

#endif
