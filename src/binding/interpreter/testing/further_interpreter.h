#ifndef VIREON_BINDING_INTERPRETER_TESTING_FURTHER_INTERPRETER_H
#define VIREON_BINDING_INTERPRETER_TESTING_FURTHER_INTERPRETER_H

#include <Python.h>
#include <gtest/gtest.h>

#include <utility>

#include "binding/interpreter/held_lock.h"

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
