#include <Python.h>

#include "binding/interpreter/held_lock.h"

#include <utility>

namespace {

// Of the thread's innermost EntryFromInterpreter.
thread_local PyThreadState* entry_state = nullptr;

// Another thread may be switching the current state, but never from or to one of this thread's own.
PyThreadState* CurrentState() {
    return __atomic_load_n(&_PyThreadState_Current, __ATOMIC_RELAXED);
}

}  // namespace

bool IsCurrentThreadHoldPythonGIL2() {
    const PyThreadState* const current = CurrentState();
    return current && (current == entry_state || current == PyGILState_GetThisThreadState());
}

EntryFromInterpreter::EntryFromInterpreter() : outer_(std::exchange(entry_state, CurrentState())) {}

EntryFromInterpreter::~EntryFromInterpreter() {
    entry_state = outer_;
}
