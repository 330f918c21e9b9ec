#ifndef VIREON_BINDING_INTERPRETER_TESTING_FURTHER_INTERPRETER_H
#define VIREON_BINDING_INTERPRETER_TESTING_FURTHER_INTERPRETER_H

#include <Python.h>
#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "binding/interpreter/held_lock.h"
#include "binding/interpreter/interpreter.h"
#include "binding/interpreter/testing/embedded_interpreter.h"

// Of the thread, which holds the lock. To the compiler only in here, so that visits may follow.
inline std::shared_ptr<Interpreter> GetCurrentInterpreter() {
    script::ExpectLocked();
    return Interpreter::GetCurrent();
}

// A further interpreter that is current on the thread, as a function finds it that a script calls.
class FurtherInterpreter : public testing::Test {
  protected:
    ~FurtherInterpreter() override { End(); }

    void End() {
        if (!state_) return;
        PyThreadState_Swap(state_);
        Py_EndInterpreter(std::exchange(state_, nullptr));
        PyThreadState_Swap(first_);
    }

    PyThreadState* const first_ = PyThreadState_Get();
    PyThreadState* state_ = Py_NewInterpreter();
    const EntryFromInterpreter entry_;
};

#endif
