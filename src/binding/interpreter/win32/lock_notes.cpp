#include "binding/interpreter/lock_notes.h"

#include <windows.h>

namespace {

// The compiler's own thread_local allocates on a thread's first use and ends the process where
// that fails. Never freed: objects that go at the process's end may still ask.
const DWORD entry_slot = TlsAlloc();
const DWORD let_go_slot = TlsAlloc();

// Changes nothing of what GetLastError gives, which whoever comes here may be about to ask.
void* Get(DWORD slot) {
    const DWORD error = GetLastError();
    void* const value = TlsGetValue(slot);
    SetLastError(error);
    return value;
}

}  // namespace

namespace lock_notes {

PyThreadState* GetEntryState() {
    return static_cast<PyThreadState*>(Get(entry_slot));
}

void SetEntryState(PyThreadState* state) {
    TlsSetValue(entry_slot, state);
}

bool HasLetGo() {
    return Get(let_go_slot) != nullptr;
}

void SetHasLetGo(bool has_let_go) {
    static char any;
    TlsSetValue(let_go_slot, has_let_go ? &any : nullptr);
}

}  // namespace lock_notes
