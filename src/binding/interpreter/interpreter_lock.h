#ifndef VIREON_BINDING_INTERPRETER_INTERPRETER_LOCK_H
#define VIREON_BINDING_INTERPRETER_INTERPRETER_LOCK_H

#include <optional>

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
class EntryFromInterpreter {
  public:
    EntryFromInterpreter();
    EntryFromInterpreter(const EntryFromInterpreter&) = delete;
    EntryFromInterpreter& operator=(const EntryFromInterpreter&) = delete;
    ~EntryFromInterpreter();

  private:
    PyThreadState* outer_;
};

// Holds the interpreter lock for a scope, whether or not the thread held it before. Destroyed on
// the thread that made it, in reverse order of creation. The interpreter must be alive: a thread
// that cannot know uses InterpreterVisit.
class SCOPED_CAPABILITY PyAutoLock2 {
  public:
    PyAutoLock2() ACQUIRE(interpreter_lock);
    PyAutoLock2(const PyAutoLock2&) = delete;
    PyAutoLock2& operator=(const PyAutoLock2&) = delete;
    ~PyAutoLock2() RELEASE();

  private:
    std::optional<int> state_;  // none when there was nothing to take
};

// Releases the interpreter lock for a scope, so that scripts run while native code waits; does
// nothing on a thread that does not hold it. Destroyed on the thread that made it.
class PyAutoUnlock2 {
  public:
    PyAutoUnlock2();
    PyAutoUnlock2(const PyAutoUnlock2&) = delete;
    PyAutoUnlock2& operator=(const PyAutoUnlock2&) = delete;
    ~PyAutoUnlock2();

  private:
    PyThreadState* saved_;
};

// Inserts and takes the caller's references to key and value (either may be null, which is a
// failure), whether the insert succeeded or not. 0, or -1 with the interpreter's error set.
int PyDict_SetItem2(PyObject* dict, PyObject* key, PyObject* value) REQUIRES(interpreter_lock);

// Lets native threads visit the interpreter from now on and has the interpreter call back when it
// exits: the door is closed then, before anything of the interpreter is torn down. To be called
// when the module is imported and when a search starts: so it is closed as well before the exit
// handlers that scripts registered in between. Does nothing without an interpreter. Any thread.
void OpenInterpreterToThreads();

// True from the moment when an interpreter that was opened to threads begins to exit. Never true in
// a process that has opened none.
bool IsInterpreterEnding();

// Tells an interpreter from the one that this process had before it: what belonged to that, no call
// of a later one may touch. Any thread.
unsigned GetInterpreterNumber();

// Holds the interpreter lock for a scope on a thread of our own, unless the interpreter is not
// there or exits or has no memory for another thread: then the visit is refused and false. A thread
// that holds the lock already is never refused. To the compiler a refused visit holds it too:
// whoever visits asks first.
class SCOPED_CAPABILITY InterpreterVisit {
  public:
    InterpreterVisit() ACQUIRE(interpreter_lock);
    InterpreterVisit(const InterpreterVisit&) = delete;
    InterpreterVisit& operator=(const InterpreterVisit&) = delete;
    ~InterpreterVisit() RELEASE();
    explicit operator bool() const { return lock_.has_value() || own_state_ != nullptr; }

  private:
    void Leave();

    bool counted_ = false;
    std::optional<PyAutoLock2> lock_;     // of a thread that the interpreter knows
    PyThreadState* own_state_ = nullptr;  // of one that it does not
};

#endif
