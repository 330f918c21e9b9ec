#include "binding/interpreter/lock_notes.h"

namespace {

thread_local PyThreadState* entry_state = nullptr;
thread_local bool has_let_go_now = false;

}  // namespace

namespace lock_notes {

PyThreadState* GetEntryState() {
    return entry_state;
}

void SetEntryState(PyThreadState* state) {
    entry_state = state;
}

bool HasLetGo() {
    return has_let_go_now;
}

void SetHasLetGo(bool has_let_go) {
    has_let_go_now = has_let_go;
}

}  // namespace lock_notes
