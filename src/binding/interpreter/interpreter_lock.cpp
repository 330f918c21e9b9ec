#include <Python.h>

#include "binding/interpreter/interpreter_lock.h"

#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

#include "core/deadline.h"
#include "core/process.h"

namespace {

enum class Door { kNeverOpened, kOpen, kClosed };

// Plain values without destructors: threads may still look while the process exits.
std::atomic<Door> door{Door::kNeverOpened};
std::atomic<PyInterpreterState*> first_interpreter{nullptr};

// Of the thread's innermost EntryFromInterpreter.
thread_local PyThreadState* entry_state = nullptr;

// Another thread may be switching the current state, but never from or to one of this thread's own.
PyThreadState* CurrentState() {
    return __atomic_load_n(&_PyThreadState_Current, __ATOMIC_RELAXED);
}

// Whether the thread holds the lock by another state than its registered one. The interpreter's own
// way of taking it again would wait for this very thread then.
bool IsHeldByFurtherState() {
    return IsCurrentThreadHoldPythonGIL2() && CurrentState() != PyGILState_GetThisThreadState();
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
// Since the door was opened.
std::atomic<int> exit_handlers{0};

// Exit handlers run in the reverse order of their registration. The one from the import runs behind
// those of the scripts that import the module, one of which may destroy an engine that searches:
// the one from the first search closes the door before them.
constexpr int kExitHandlers = 2;

// How long the interpreter's exit waits for callbacks that are running, so that they do not run in
// a half torn down interpreter. Long enough for a callback that works, short enough not to be felt
// when one hangs.
constexpr NPT_Timeout kTimeToLeave = 500;  // milliseconds
constexpr std::chrono::milliseconds kLookInterval(1);

PyObject* CloseDoor(PyObject*, PyObject*) {
    const EntryFromInterpreter entry;
    exit_handlers = 0;
    // The later handler does not wait again for a visitor who stays.
    if (door.exchange(Door::kClosed) == Door::kOpen) {
        PyAutoUnlock2 unlocked;
        const Deadline limit = Deadline::AfterMillis(kTimeToLeave);
        while (!visitors.IsZero() && !limit.HasPassed())
            std::this_thread::sleep_for(kLookInterval);
    }
    Py_RETURN_NONE;
}

PyMethodDef close_door = {"close_door", CloseDoor, METH_NOARGS, nullptr};

std::atomic<unsigned> ended_interpreters{0};
bool is_end_awaited GUARDED_BY(interpreter_lock) = false;

void CountEnd() REQUIRES(interpreter_lock) {
    is_end_awaited = false;
    ++ended_interpreters;
}

void RegisterExitHandler() {
    PyObject* handler = PyCFunction_New(&close_door, nullptr);
    PyObject* module = handler ? PyImport_ImportModule("atexit") : nullptr;
    PyObject* result = module ? PyObject_CallMethod(module, const_cast<char*>("register"),
                                                    const_cast<char*>("O"), handler)
                              : nullptr;
    // Without the handler a visitor still sees that the interpreter is gone, only later.
    if (!result) PyErr_Clear();
    Py_XDECREF(result);
    Py_XDECREF(module);
    Py_XDECREF(handler);
}

// The interpreter that PyGILState_Ensure would choose: the list begins with the youngest.
PyInterpreterState* FindFirstInterpreter() {
    PyInterpreterState* found = PyInterpreterState_Head();
    while (PyInterpreterState* const older = PyInterpreterState_Next(found))
        found = older;
    return found;
}

}  // namespace

bool IsCurrentThreadHoldPythonGIL2() {
    const PyThreadState* const current = CurrentState();
    return current && (current == entry_state || current == PyGILState_GetThisThreadState());
}

EntryFromInterpreter::EntryFromInterpreter() : outer_(std::exchange(entry_state, CurrentState())) {}

EntryFromInterpreter::~EntryFromInterpreter() {
    entry_state = outer_;
}

PyAutoLock2::PyAutoLock2() {
    if (!IsHeldByFurtherState()) state_ = PyGILState_Ensure();
}

PyAutoLock2::~PyAutoLock2() {
    // A script may end its guard while a further interpreter is current on the thread; what it took
    // stays with the registered state then, which is not the current one.
    if (state_ && !IsHeldByFurtherState())
        PyGILState_Release(static_cast<PyGILState_STATE>(*state_));
}

PyAutoUnlock2::PyAutoUnlock2()
    : saved_(IsCurrentThreadHoldPythonGIL2() ? PyEval_SaveThread() : nullptr) {}

PyAutoUnlock2::~PyAutoUnlock2() {
    if (saved_) PyEval_RestoreThread(saved_);
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
    if (exit_handlers < kExitHandlers) {
        ++exit_handlers;
        RegisterExitHandler();
    }
    if (!is_end_awaited) is_end_awaited = Py_AtExit(CountEnd) == 0;
    first_interpreter = FindFirstInterpreter();
    door = Door::kOpen;
}

bool IsInterpreterEnding() {
    const Door now = door;
    return now == Door::kClosed || (now == Door::kOpen && !Py_IsInitialized());
}

unsigned GetInterpreterNumber() {
    return ended_interpreters;
}

InterpreterVisit::InterpreterVisit() {
    if (IsCurrentThreadHoldPythonGIL2()) {
        lock_.emplace();
        return;
    }
    // Counted before the look at the door: the exit handler closes it and then counts, so that
    // whoever it misses finds the door closed.
    visitors.Enter();
    counted_ = true;
    if (door != Door::kOpen || !Py_IsInitialized()) return;
    if (PyGILState_GetThisThreadState()) {
        lock_.emplace();
    } else {
        // PyGILState_Ensure would end the process when there is no memory for a state.
        own_state_ = PyThreadState_New(first_interpreter);
        if (!own_state_) return;
        PyEval_AcquireThread(own_state_);
    }
    // An exit that did not run its handlers may have begun while this thread waited for the lock.
    if (!Py_IsInitialized()) Leave();
}

InterpreterVisit::~InterpreterVisit() {
    Leave();
    if (counted_) visitors.Leave();
}

void InterpreterVisit::Leave() {
    lock_.reset();
    if (!own_state_) return;
    PyThreadState_Clear(own_state_);
    PyThreadState_DeleteCurrent();
    own_state_ = nullptr;
}
