#ifndef VIREON_BINDING_INTERPRETER_INTERPRETER_LOCK_H
#define VIREON_BINDING_INTERPRETER_INTERPRETER_LOCK_H

#include <functional>
#include <memory>
#include <optional>

#include "binding/interpreter/held_lock.h"
#include "binding/interpreter/interpreter.h"
#include "core/thread_annotations.h"

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
    bool had_let_go_ = false;
};

// Inserts and takes the caller's references to key and value (either may be null, which is a
// failure), whether the insert succeeded or not. 0, or -1 with the interpreter's error set.
int PyDict_SetItem2(PyObject* dict, PyObject* key, PyObject* value) REQUIRES(interpreter_lock);

// Lets native threads visit the interpreters from now on and has the current one and the first call
// back when they exit: the door is closed then, before anything is torn down. To be called when the
// module is imported and when a search starts: so it is closed as well before the exit handlers
// that scripts registered in between. Does nothing without an interpreter. Any thread; one that
// does not hold the lock opens the first interpreter.
void OpenInterpreterToThreads();

// True from the moment when the interpreter, opened to threads, begins to exit. Never true in a
// process that has opened none.
bool IsInterpreterEnding();

// The state of a native thread in an interpreter, kept from one of its visits to the next, since
// making one costs as much as all else of a visit. No interpreter can end while there is one, and
// Python's exit waits for it as for a visitor: so it goes as soon as no further visit is due, and
// with the next one that is refused or leads elsewhere. Used by one thread.
class VisitorState {
  public:
    VisitorState() = default;
    VisitorState(const VisitorState&) = delete;
    VisitorState& operator=(const VisitorState&) = delete;
    ~VisitorState() { Drop(); }
    // Lets the state go, for which it takes the interpreter lock; does nothing without one. Not
    // checked itself, since the interpreter's functions say nothing to the compiler.
    void Drop() EXCLUDES(interpreter_lock) NO_THREAD_SAFETY_ANALYSIS;

  private:
    friend class InterpreterVisit;

    void Keep(PyThreadState* state, const std::shared_ptr<Interpreter>& interpreter);
    // The state in that interpreter, or none. One in another goes.
    PyThreadState* Take(const std::shared_ptr<Interpreter>& interpreter) REQUIRES(interpreter_lock);
    void Delete() REQUIRES(interpreter_lock);
    PyThreadState* LetGo();

    PyThreadState* state_ = nullptr;
    std::shared_ptr<Interpreter> interpreter_;
};

// Holds the interpreter lock for a scope in which an interpreter is current, unless that is not
// there or ends or Python exits or there is no memory for another thread: then the visit is refused
// and false. A thread that is in the interpreter already is never refused, and none is that holds
// the lock because the door is closed. To the compiler a refused visit holds the lock too: whoever
// visits asks first.
class SCOPED_CAPABILITY InterpreterVisit {
  public:
    // Says where to, once the lock is held; none means that there is nothing to visit. What it does
    // must need no current state.
    using Choice = std::function<std::shared_ptr<Interpreter>()>;

    // The interpreter that the thread is in, else the one that was opened to threads.
    InterpreterVisit() ACQUIRE(interpreter_lock);
    // kept, where there is one, outlives the visit.
    explicit InterpreterVisit(const Choice& choose, VisitorState* kept = nullptr)
        ACQUIRE(interpreter_lock);
    InterpreterVisit(const InterpreterVisit&) = delete;
    InterpreterVisit& operator=(const InterpreterVisit&) = delete;
    ~InterpreterVisit() RELEASE();
    explicit operator bool() const { return is_inside_; }
    // Leaves the state that the thread has here for its next visit, which is due.
    void KeepState() { keeps_state_ = true; }

  private:
    // False when Python is not there or exits.
    bool TakeLock();
    void Enter(const std::shared_ptr<Interpreter>& interpreter) REQUIRES(interpreter_lock);

    VisitorState* const kept_;
    bool keeps_state_ = false;
    bool counted_ = false;
    bool took_lock_ = false;
    bool is_inside_ = false;
    bool has_swapped_ = false;
    bool had_let_go_ = false;
    std::shared_ptr<Interpreter> interpreter_;  // where it is
    PyThreadState* own_state_ = nullptr;        // made for the visit, or one before
    PyThreadState* outer_state_ = nullptr;
    std::optional<EntryFromInterpreter> entry_;
};

#endif
