#ifndef VIREON_BINDING_INTERPRETER_HELD_LOCK_H
#define VIREON_BINDING_INTERPRETER_HELD_LOCK_H

#include "core/thread_annotations.h"

// The interpreter's own types, so that only the sources need its headers.
struct _object;
typedef struct _object PyObject;
struct _ts;
typedef struct _ts PyThreadState;

// The interpreter's lock to the compiler, which checks who holds it. The interpreter has the real
// one; this is never defined.
class CAPABILITY("interpreter lock") InterpreterLock {};
extern InterpreterLock interpreter_lock;

// True exactly when the calling thread holds the interpreter lock, by the state that the
// interpreter has registered for it or by the one that an EntryFromInterpreter notes. Safe on any
// thread, with or without an interpreter.
bool IsCurrentThreadHoldPythonGIL2();

// Notes for a scope with which state the interpreter called the thread in. A host that has several
// interpreters in its process has several states for a thread, of which only the first is
// registered. To whom another one belongs only the thread itself can tell: asking the state would
// read what its owner may be about to free. So each function that the interpreter calls, with the
// lock held, begins with this, except those that neither ask for the lock nor release it. Destroyed
// on the thread that made it, in reverse order of creation.
//
// A script that has made itself a PyAutoUnlock2 calls without the lock: nothing is noted then,
// since the current state is another thread's.
class EntryFromInterpreter {
  public:
    EntryFromInterpreter();
    EntryFromInterpreter(const EntryFromInterpreter&) = delete;
    EntryFromInterpreter& operator=(const EntryFromInterpreter&) = delete;
    ~EntryFromInterpreter();

  private:
    PyThreadState* outer_;
};

// Says of the calling thread whether it has let go of the lock that it was called in with. Gives
// what was said before, to be said again behind the scope. Only for those that let go of the lock
// or take it for a scope: PyAutoUnlock2 and InterpreterVisit.
bool SetHasLetGo(bool has_let_go);

#endif
