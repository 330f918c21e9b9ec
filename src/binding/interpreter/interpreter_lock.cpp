#include <Python.h>
#include <pythread.h>

#include "binding/interpreter/interpreter_lock.h"

#include <atomic>
#include <chrono>
#include <new>
#include <thread>
#include <utility>

#include "core/deadline.h"
#include "core/process.h"

namespace {

enum class Door { kNeverOpened, kOpen, kClosed };

// Plain values without destructors: threads may still look while the process exits.
std::atomic<Door> door{Door::kNeverOpened};

// Whether the thread holds the lock by another state than its registered one. The interpreter's own
// way of taking it again would wait for this very thread then.
bool IsHeldByFurtherState() {
    return IsCurrentThreadHoldPythonGIL2() &&
           PyThreadState_GET() != PyGILState_GetThisThreadState();
}

// The thread's registered state, or null when that is not one of the interpreter's. An interpreter
// that another thread has ended leaves the registration of its state behind: where that was there
// may be another thread's by now, or nothing.
PyThreadState* RegisteredStateIn(PyInterpreterState* interpreter) REQUIRES(interpreter_lock) {
    const PyThreadState* const registered = PyGILState_GetThisThreadState();
    if (!registered) return nullptr;
    PyThreadState* each = PyInterpreterState_ThreadHead(interpreter);
    while (each && each != registered)
        each = PyThreadState_Next(each);
    return each && each->thread_id == PyThread_get_thread_ident() ? each : nullptr;
}

// How many threads of a process are on a visit. A forked child inherits none of them, so it begins
// to count anew.
class VisitorCount {
  public:
    void Enter() { Change(1); }
    // One that entered in the parent of this process was never counted here.
    void Leave() { Change(-1); }
    bool IsZero() const { return CountOf(OfThisProcess(state_)) == 0; }

  private:
    // The process in the upper half, the count in the lower one.
    static NPT_UInt64 OfThisProcess(NPT_UInt64 state) {
        const NPT_UInt64 process = CurrentProcess() << 32;
        return (state ^ process) >> 32 == 0 ? state : process;
    }
    static NPT_UInt32 CountOf(NPT_UInt64 state) { return static_cast<NPT_UInt32>(state); }
    void Change(int by) {
        NPT_UInt64 seen = state_;
        NPT_UInt64 wanted;
        do {
            wanted = OfThisProcess(seen);
            if (by > 0) {
                ++wanted;
            } else if (CountOf(wanted) > 0) {
                --wanted;
            }
        } while (!state_.compare_exchange_weak(seen, wanted));
    }

    std::atomic<NPT_UInt64> state_{0};
};
VisitorCount visitors;

// The one that opened the door, to those who have no other to visit. Never destroyed, like all that
// threads may look at while the process exits.
std::shared_ptr<Interpreter>& OpenedInterpreter() REQUIRES(interpreter_lock) {
    static auto& opened = *new std::shared_ptr<Interpreter>;
    return opened;
}

// Exit handlers run in the reverse order of their registration. The one from the import runs behind
// those of the scripts that import the module, one of which may destroy an engine that searches:
// the one from the first search closes the door before them.
constexpr int kExitHandlers = 2;

// How long the interpreter's exit waits for callbacks that are running, so that they do not run in
// a half torn down interpreter. Long enough for a callback that works, short enough not to be felt
// when one hangs.
constexpr NPT_Timeout kTimeToLeave = 500;  // milliseconds
constexpr std::chrono::milliseconds kLookInterval(1);

void WaitForVisitors() {
    PyAutoUnlock2 unlocked;
    const Deadline limit = Deadline::AfterMillis(kTimeToLeave);
    while (!visitors.IsZero() && !limit.HasPassed())
        std::this_thread::sleep_for(kLookInterval);
}

// Closes the door to one interpreter or, when it is the first, to all. Python itself runs the exit
// handlers of the first only; a host may run a further one's before it ends that.
void CloseDoorTo(Interpreter& interpreter) REQUIRES(interpreter_lock) {
    interpreter.SetExitHandlers(0);
    if (!interpreter.IsFirst()) return interpreter.BeginToEnd();
    // The later handler does not wait again for a visitor who stays.
    if (door.exchange(Door::kClosed) == Door::kOpen) WaitForVisitors();
}

PyObject* CloseDoor(PyObject*, PyObject*) REQUIRES(interpreter_lock) {
    const EntryFromInterpreter entry;
    try {
        CloseDoorTo(*Interpreter::GetCurrent());
    } catch (const std::bad_alloc&) {
        return PyErr_NoMemory();
    }
    Py_RETURN_NONE;
}

PyMethodDef close_door = {"close_door", CloseDoor, METH_NOARGS, nullptr};

void RegisterExitHandler() {
    PyObject* handler = PyCFunction_New(&close_door, nullptr);
    // Imported with this module already. Otherwise this might wait for an import that waits for us.
    PyObject* module = handler ? PyImport_ImportModuleNoBlock("atexit") : nullptr;
    PyObject* result = module ? PyObject_CallMethod(module, const_cast<char*>("register"),
                                                    const_cast<char*>("O"), handler)
                              : nullptr;
    // Without the handler a visitor still sees that the interpreter is gone, only later.
    if (!result) PyErr_Clear();
    Py_XDECREF(result);
    Py_XDECREF(module);
    Py_XDECREF(handler);
}

void AwaitExitOf(Interpreter& current) REQUIRES(interpreter_lock) {
    if (current.GetExitHandlers() == kExitHandlers) return;
    current.SetExitHandlers(current.GetExitHandlers() + 1);
    RegisterExitHandler();
}

// Python's exit begins there, where nobody may have imported the module. The lock is held, which a
// visit does not ask of the compiler.
void AwaitExitOfTheFirst() {
    const InterpreterVisit first(Interpreter::GetFirst);
    if (first) AwaitExitOf(*Interpreter::GetCurrent());
}

}  // namespace

PyAutoLock2::PyAutoLock2() {
    if (!IsHeldByFurtherState()) state_ = PyGILState_Ensure();
}

PyAutoLock2::~PyAutoLock2() {
    // A script may end its guard while a further interpreter is current on the thread; what it took
    // stays with the registered state then, which is not the current one.
    if (!state_ || IsHeldByFurtherState()) return;
    // Kept until its state had gone, it would take along the one that is current now: one that
    // found the lock taken is never the only one.
    const PyThreadState* const registered = PyGILState_GetThisThreadState();
    if (*state_ == PyGILState_LOCKED && (!registered || registered->gilstate_counter < 2)) return;
    PyGILState_Release(static_cast<PyGILState_STATE>(*state_));
}

PyAutoUnlock2::PyAutoUnlock2()
    : saved_(IsCurrentThreadHoldPythonGIL2() ? PyEval_SaveThread() : nullptr) {
    if (saved_) had_let_go_ = SetHasLetGo(true);
}

PyAutoUnlock2::~PyAutoUnlock2() {
    if (!saved_) return;
    PyEval_RestoreThread(saved_);
    SetHasLetGo(had_let_go_);
}

int PyDict_SetItem2(PyObject* dict, PyObject* key, PyObject* value) {
    int result = -1;
    if (dict && key && value) {
        result = PyDict_SetItem(dict, key, value);
    } else if (!PyErr_Occurred()) {
        PyErr_BadInternalCall();
    }
    Py_XDECREF(key);
    Py_XDECREF(value);
    return result;
}

void OpenInterpreterToThreads() {
    if (!Py_IsInitialized()) return;
    PyEval_InitThreads();
    PyAutoLock2 lock;
    const std::shared_ptr<Interpreter> current = Interpreter::GetCurrent();
    AwaitExitOf(*current);
    if (!current->IsFirst()) AwaitExitOfTheFirst();
    std::shared_ptr<Interpreter>& opened = OpenedInterpreter();
    if (!opened || opened->HasEnded()) opened = current;
    door = Door::kOpen;
}

bool IsInterpreterEnding() {
    const Door now = door;
    return now == Door::kClosed || (now == Door::kOpen && !Py_IsInitialized());
}

void VisitorState::Drop() {
    if (!state_) return;
    // Python that has ended took it along, and may never give the lock back.
    if (!Py_IsInitialized()) {
        LetGo();
        return;
    }
    PyEval_AcquireLock();
    Delete();
    PyEval_ReleaseLock();
}

void VisitorState::Keep(PyThreadState* state, const std::shared_ptr<Interpreter>& interpreter) {
    state_ = state;
    interpreter_ = interpreter;
    visitors.Enter();
}

PyThreadState* VisitorState::Take(const std::shared_ptr<Interpreter>& interpreter) {
    if (state_ && interpreter_ != interpreter) Delete();
    return LetGo();
}

void VisitorState::Delete() {
    // It went with an interpreter that ended around it.
    const bool is_there = Py_IsInitialized() && !interpreter_->HasEnded();
    PyThreadState* const state = LetGo();
    if (!is_there) return;
    PyThreadState* const outer = PyThreadState_Swap(state);
    {
        const EntryFromInterpreter entry;
        PyThreadState_Clear(state);
    }
    PyThreadState_Swap(outer);
    PyThreadState_Delete(state);
}

PyThreadState* VisitorState::LetGo() {
    if (state_) visitors.Leave();
    interpreter_.reset();
    return std::exchange(state_, nullptr);
}

InterpreterVisit::InterpreterVisit()
    : InterpreterVisit([]() REQUIRES(interpreter_lock) {
          return IsCurrentThreadHoldPythonGIL2() ? Interpreter::GetCurrent() : OpenedInterpreter();
      }) {}

InterpreterVisit::InterpreterVisit(const Choice& choose, VisitorState* kept) : kept_(kept) {
    if (IsCurrentThreadHoldPythonGIL2() || TakeLock()) {
        Enter(choose());
    } else if (kept_) {
        kept_->Drop();
    }
}

bool InterpreterVisit::TakeLock() {
    // Counted before the look at the door: the exit handler closes it and then counts, so that
    // whoever it misses finds the door closed.
    visitors.Enter();
    counted_ = true;
    if (door != Door::kOpen || !Py_IsInitialized()) return false;
    // Without a state: to which interpreter it has to belong, and whether that is still there, only
    // who holds the lock can know.
    PyEval_AcquireLock();
    took_lock_ = true;
    // An exit that did not run its handlers may have begun while this thread waited for the lock.
    return Py_IsInitialized();
}

void InterpreterVisit::Enter(const std::shared_ptr<Interpreter>& interpreter) {
    const bool is_there = interpreter && !interpreter->HasEnded();
    PyInterpreterState* const wanted = is_there ? interpreter->GetState() : nullptr;
    // The macro for it would not have it that there may be none. Who had the lock before may have
    // left a state current, which is not this thread's.
    const PyThreadState* const current = took_lock_ ? nullptr : _PyThreadState_Current;
    if (current && current->interp == wanted) {
        is_inside_ = true;
        return;
    }
    const bool is_open = is_there && !interpreter->IsEnding();
    if (kept_) own_state_ = kept_->Take(is_open ? interpreter : nullptr);
    if (!is_open) return;
    PyThreadState* state = own_state_ ? own_state_ : RegisteredStateIn(wanted);
    if (!state) {
        // PyGILState_Ensure would end the process when there is no memory for a state.
        own_state_ = PyThreadState_New(wanted);
        if (!own_state_) return;
        state = own_state_;
    }
    outer_state_ = PyThreadState_Swap(state);
    has_swapped_ = true;
    had_let_go_ = SetHasLetGo(false);
    interpreter_ = interpreter;
    entry_.emplace();
    is_inside_ = interpreter->IsCurrentAndWhole();
}

InterpreterVisit::~InterpreterVisit() {
    // Where Python exits it waits for whatever is kept.
    if (keeps_state_ && kept_ && own_state_ && door == Door::kOpen)
        kept_->Keep(std::exchange(own_state_, nullptr), interpreter_);
    if (own_state_) PyThreadState_Clear(own_state_);
    entry_.reset();
    if (has_swapped_) SetHasLetGo(had_let_go_);
    if (own_state_ && took_lock_) {
        PyThreadState_DeleteCurrent();  // and lets go of the lock
    } else {
        if (has_swapped_) PyThreadState_Swap(outer_state_);
        if (own_state_) PyThreadState_Delete(own_state_);
        if (took_lock_) PyEval_ReleaseLock();
    }
    if (counted_) visitors.Leave();
}
