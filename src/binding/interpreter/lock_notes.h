#ifndef VIREON_BINDING_INTERPRETER_LOCK_NOTES_H
#define VIREON_BINDING_INTERPRETER_LOCK_NOTES_H

// The interpreter's own type, so that only the sources need its headers.
struct _ts;
typedef struct _ts PyThreadState;

// What the calling thread notes about the interpreter lock; for held_lock alone. Any thread. Null
// and false until something is noted, and where the system has no room for a note: nothing fails,
// since a thread comes here first in the midst of anything.
namespace lock_notes {

// The state of the thread's innermost EntryFromInterpreter.
PyThreadState* GetEntryState();
void SetEntryState(PyThreadState* state);

bool HasLetGo();
void SetHasLetGo(bool has_let_go);

}  // namespace lock_notes

#endif
