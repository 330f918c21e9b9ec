#include <Python.h>

#include "binding/interpreter/held_lock.h"

#include "binding/interpreter/lock_notes.h"

namespace {

// Another thread may be switching the current state, but never from or to one of this thread's own.
PyThreadState* CurrentState() {
    return __atomic_load_n(&_PyThreadState_Current, __ATOMIC_RELAXED);
}

}  // namespace

bool IsCurrentThreadHoldPythonGIL2() {
    const PyThreadState* const current = CurrentState();
    return current &&
           (current == lock_notes::GetEntryState() || current == PyGILState_GetThisThreadState());
}

EntryFromInterpreter::EntryFromInterpreter() : outer_(lock_notes::GetEntryState()) {
    lock_notes::SetEntryState(lock_notes::HasLetGo() ? nullptr : CurrentState());
}

EntryFromInterpreter::~EntryFromInterpreter() {
    lock_notes::SetEntryState(outer_);
}

bool SetHasLetGo(bool now) {
    const bool before = lock_notes::HasLetGo();
    lock_notes::SetHasLetGo(now);
    return before;
}
