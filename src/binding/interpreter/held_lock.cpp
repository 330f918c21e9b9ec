#include <Python.h>

#include "binding/interpreter/held_lock.h"

#include <utility>

namespace {

// Of the thread's innermost EntryFromInterpreter.
thread_local PyThreadState* entry_state = nullptr;
thread_local bool has_let_go = false;

// Another thread may be switching the current state, but never from or to one of this thread's own.
PyThreadState* CurrentState() {
    return __atomic_load_n(&_PyThreadState_Current, __ATOMIC_RELAXED);
}

}  // namespace

bool IsCurrentThreadHoldPythonGIL2() {
    const PyThreadState* const current = CurrentState();
    return current && (current == entry_state || current == PyGILState_GetThisThreadState());
}

EntryFromInterpreter::EntryFromInterpreter()
    : outer_(std::exchange(entry_state, has_let_go ? nullptr : CurrentState())) {}

EntryFromInterpreter::~EntryFromInterpreter() {
    entry_state = outer_;
}

bool SetHasLetGo(bool now) {
    return std::exchange(has_let_go, now);
}
