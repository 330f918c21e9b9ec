#include <Python.h>

#include "binding/interpreter_lock.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace {

enum class Door { kNeverOpened, kOpen, kClosed };

// Plain values without destructors: threads may still look while the process exits.
std::atomic<Door> door{Door::kNeverOpened};
std::atomic<int> visitors{0};

// How long the interpreter's exit waits for callbacks that are running, so that they do not run in
// a half torn down interpreter. Long enough for a callback that works, short enough not to be felt
// when one hangs.
constexpr std::chrono::milliseconds kTimeToLeave(500);
constexpr std::chrono::milliseconds kLookInterval(1);

PyObject* CloseDoor(PyObject*, PyObject*) {
    door = Door::kClosed;
    {
        PyAutoUnlock2 unlocked;
        const auto limit = std::chrono::steady_clock::now() + kTimeToLeave;
        while (visitors > 0 && std::chrono::steady_clock::now() < limit)
            std::this_thread::sleep_for(kLookInterval);
    }
    Py_RETURN_NONE;
}

PyMethodDef close_door = {"close_door", CloseDoor, METH_NOARGS, nullptr};

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

}  // namespace

bool IsCurrentThreadHoldPythonGIL2() {
    const PyThreadState* const own = PyGILState_GetThisThreadState();
    // Another thread may be switching the current state, but never from or to this thread's own.
    return own && own == __atomic_load_n(&_PyThreadState_Current, __ATOMIC_RELAXED);
}

PyAutoLock2::PyAutoLock2() : state_(PyGILState_Ensure()) {}

PyAutoLock2::~PyAutoLock2() {
    PyGILState_Release(static_cast<PyGILState_STATE>(state_));
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
    if (door == Door::kOpen || !Py_IsInitialized()) return;
    PyEval_InitThreads();
    PyAutoLock2 lock;
    RegisterExitHandler();
    door = Door::kOpen;
}

bool IsInterpreterEnding() {
    const Door now = door;
    return now == Door::kClosed || (now == Door::kOpen && !Py_IsInitialized());
}

InterpreterVisit::InterpreterVisit() {
    if (IsCurrentThreadHoldPythonGIL2()) {
        lock_.emplace();
        return;
    }
    // Counted before the look at the door: the exit handler closes it and then counts, so that
    // whoever it misses finds the door closed.
    ++visitors;
    counted_ = true;
    if (door != Door::kOpen || !Py_IsInitialized()) return;
    lock_.emplace();
    // An exit that did not run its handlers may have begun while this thread waited for the lock.
    if (!Py_IsInitialized()) lock_.reset();
}

InterpreterVisit::~InterpreterVisit() {
    lock_.reset();
    if (counted_) --visitors;
}
