#ifndef VIREON_BINDING_INTERPRETER_INTERPRETER_H
#define VIREON_BINDING_INTERPRETER_INTERPRETER_H

#include <functional>
#include <memory>
#include <vector>

#include "binding/interpreter/held_lock.h"

struct _is;
typedef struct _is PyInterpreterState;

class Interpreter;

// Something that lives in one interpreter of the process and has to go when that ends.
class InterpreterGuest {
  public:
    InterpreterGuest() = default;
    InterpreterGuest(const InterpreterGuest&) = delete;
    InterpreterGuest& operator=(const InterpreterGuest&) = delete;
    virtual ~InterpreterGuest() = default;

    // The interpreter begins to end and is still whole, and current: its objects can be let go. It
    // waits for whoever is here, so nothing is waited for.
    virtual void LeaveInterpreter(const Interpreter& interpreter) REQUIRES(interpreter_lock) = 0;
    // The interpreter has ended unnoticed, or Python around it: nothing of it may be touched.
    virtual void LoseInterpreter(const Interpreter& interpreter) REQUIRES(interpreter_lock) = 0;
};

// One of the interpreters of this process, from the first thing of ours in it on. A host may have
// several and end each when it likes, which Python tells nobody: so two small objects are left in
// it. One goes first of all when it ends, while everything else is still there, the other one when
// its modules have gone. Scripts that take them out have them put in again. One that keeps both for
// longer than the interpreter lives hides the end: the guests are told later then, by the next
// interpreter's first use, and until then nobody enters.
//
// The interpreter lock guards all of it. Nobody keeps an interpreter alive by referring to one.
class Interpreter {
  public:
    // The current state's. Throws std::bad_alloc.
    static std::shared_ptr<Interpreter> GetCurrent() REQUIRES(interpreter_lock);

    // The one that Python started with, whether or not anything of ours is in it. Throws
    // std::bad_alloc.
    static std::shared_ptr<Interpreter> GetFirst() REQUIRES(interpreter_lock);

    // Whether the current state's is known and begins to end.
    static bool IsCurrentEnding() REQUIRES(interpreter_lock);

    Interpreter(const Interpreter&) = delete;
    Interpreter& operator=(const Interpreter&) = delete;

    // Valid until HasEnded.
    PyInterpreterState* GetState() const REQUIRES(interpreter_lock) { return state_; }
    // Whether it is the one that Python started with: that one's exit is everybody's.
    bool IsFirst() const REQUIRES(interpreter_lock);
    // No other thread may enter it any more.
    bool IsEnding() const REQUIRES(interpreter_lock) { return is_ending_; }
    // Whether it is the current state's and Python has taken nothing of it yet: before the end that
    // is noticed, what Python takes first may run scripts, which let other threads run.
    bool IsCurrentAndWhole() const REQUIRES(interpreter_lock);
    // Nothing of it may be touched any more. Needs no current state.
    bool HasEnded() const REQUIRES(interpreter_lock);

    // Tells the guest of the end, unless it is gone then. Once, however often it is added. Throws
    // std::bad_alloc.
    void Add(const std::shared_ptr<InterpreterGuest>& guest) REQUIRES(interpreter_lock);
    // Sends the guests away, while it is still whole. A second call finds none.
    void BeginToEnd() REQUIRES(interpreter_lock);

    // Has the function called when its modules have gone, with the interpreter current; not when
    // Python itself ends. Throws std::bad_alloc.
    void CallAtEnd(std::function<void()> function) REQUIRES(interpreter_lock);

    // How many exit handlers of ours it has.
    int GetExitHandlers() const REQUIRES(interpreter_lock) { return exit_handlers_; }
    void SetExitHandlers(int count) REQUIRES(interpreter_lock) { exit_handlers_ = count; }

  private:
    struct Watch;

    explicit Interpreter(PyInterpreterState* state);
    static std::shared_ptr<Interpreter> Get(PyInterpreterState* state) REQUIRES(interpreter_lock);
    // The living one of that state, or null.
    static std::shared_ptr<Interpreter> Find(PyInterpreterState* state) REQUIRES(interpreter_lock);
    static void EndUnnoticed() REQUIRES(interpreter_lock);
    static void EndAll() REQUIRES(interpreter_lock);
    void SendGuestsAway(bool is_whole) REQUIRES(interpreter_lock);
    void End() REQUIRES(interpreter_lock);

    PyInterpreterState* state_ GUARDED_BY(interpreter_lock);
    // A reference, so that no other interpreter's has its address; Python empties it at the end.
    PyObject* const modules_;
    std::vector<std::weak_ptr<InterpreterGuest>> guests_ GUARDED_BY(interpreter_lock);
    std::vector<std::function<void()>> end_functions_ GUARDED_BY(interpreter_lock);
    bool is_ending_ GUARDED_BY(interpreter_lock) = false;
    // Itself, as long as the object in question is there, which refers to it.
    std::shared_ptr<Interpreter> held_by_early_watch_ GUARDED_BY(interpreter_lock);
    std::shared_ptr<Interpreter> held_by_late_watch_ GUARDED_BY(interpreter_lock);
    int exit_handlers_ GUARDED_BY(interpreter_lock) = 0;
};

#endif
