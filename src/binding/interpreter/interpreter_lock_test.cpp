#include "binding/interpreter/testing/embedded_interpreter.h"
#include "binding/interpreter/testing/further_interpreter.h"
#include "net/testing/slow_process_looks.h"

#include "binding/interpreter/interpreter_lock.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Runs a function on a thread of its own while this one has let go of the interpreter lock.
template <typename Function>
void RunOnNativeThread(Function function) {
    PyAutoUnlock2 unlocked;
    std::thread(function).join();
}

TEST(InterpreterLock, IsHeldByTheScriptsThread) {
    EXPECT_TRUE(IsCurrentThreadHoldPythonGIL2());
}

TEST(InterpreterLock, IsNotHeldByAThreadThatNeverEntered) {
    bool held = true;
    RunOnNativeThread([&held] { held = IsCurrentThreadHoldPythonGIL2(); });
    EXPECT_FALSE(held);
}

TEST(InterpreterLock, IsHeldByANativeThreadForTheScopeOfALock) {
    bool held[3] = {true, false, true};
    RunOnNativeThread([&held] {
        held[0] = IsCurrentThreadHoldPythonGIL2();
        {
            PyAutoLock2 lock;
            held[1] = IsCurrentThreadHoldPythonGIL2();
        }
        held[2] = IsCurrentThreadHoldPythonGIL2();
    });
    EXPECT_FALSE(held[0]);
    EXPECT_TRUE(held[1]);
    EXPECT_FALSE(held[2]);
}

TEST(InterpreterLock, MayBeTakenByAThreadThatHoldsIt) {
    {
        PyAutoLock2 outer;
        [] {
            PyAutoLock2 inner;
            EXPECT_TRUE(IsCurrentThreadHoldPythonGIL2());
        }();
    }
    EXPECT_TRUE(IsCurrentThreadHoldPythonGIL2());
}

TEST(InterpreterLock, IsReleasedAndTakenBackByAnUnlock) {
    {
        PyAutoUnlock2 unlocked;
        EXPECT_FALSE(IsCurrentThreadHoldPythonGIL2());
        {
            PyAutoUnlock2 again;
            EXPECT_FALSE(IsCurrentThreadHoldPythonGIL2());
        }
        EXPECT_FALSE(IsCurrentThreadHoldPythonGIL2());
    }
    EXPECT_TRUE(IsCurrentThreadHoldPythonGIL2());
}

TEST(InterpreterLock, UnlockOnANativeThreadDoesNothing) {
    bool held = true;
    RunOnNativeThread([&held] {
        PyAutoUnlock2 unlocked;
        held = IsCurrentThreadHoldPythonGIL2();
    });
    EXPECT_FALSE(held);
}

TEST_F(FurtherInterpreter, IsWhatAnUnlockReleasesAndTakesBack) {
    {
        PyAutoUnlock2 unlocked;
        EXPECT_FALSE(IsCurrentThreadHoldPythonGIL2());
        std::thread([] { PyAutoLock2 lock; }).join();
    }
    EXPECT_EQ(PyThreadState_Get(), state_);
}

TEST_F(FurtherInterpreter, StaysCurrentInTheScopeOfALock) {
    {
        PyAutoLock2 outer;
        [this] {
            PyAutoLock2 inner;
            EXPECT_EQ(PyThreadState_Get(), state_);
        }();
    }
    EXPECT_EQ(PyThreadState_Get(), state_);
}

TEST_F(FurtherInterpreter, MayEndALockOfTheFirst) {
    PyThreadState_Swap(first_);
    auto lock = std::make_unique<PyAutoLock2>();
    PyThreadState_Swap(state_);
    lock.reset();
    EXPECT_EQ(PyThreadState_Get(), state_);
}

TEST_F(FurtherInterpreter, IsVisitedByTheThreadThatIsInIt) {
    EXPECT_TRUE(InterpreterVisit());
    EXPECT_EQ(PyThreadState_Get(), state_);
}

// As a script does that makes one in one call of its callable and ends it in a later one.
TEST(PyAutoLock2Test, TakesNothingAlongOfAStateThatCameBehindItsOwn) {
    OpenInterpreterToThreads();
    bool is_current = false;
    PyAutoUnlock2 unlocked;
    std::thread([&is_current] {
        std::unique_ptr<PyAutoLock2> kept;
        {
            const InterpreterVisit visit;
            kept = std::make_unique<PyAutoLock2>();
        }
        const InterpreterVisit visit;
        kept.reset();
        is_current = IsCurrentThreadHoldPythonGIL2();
    }).join();
    EXPECT_TRUE(is_current);
}

TEST(InterpreterVisits, UsesNoStateThatAnotherThreadHasLeftCurrent) {
    OpenInterpreterToThreads();
    PyThreadState* const own = PyThreadState_Get();
    const std::shared_ptr<Interpreter> interpreter = GetCurrentInterpreter();
    PyThreadState* visiting = nullptr;
    // As some hosts let go of the lock: it leaves the thread's state behind as the current one.
    PyEval_ReleaseLock();
    std::thread([&] {
        const InterpreterVisit visit([&interpreter] { return interpreter; });
        if (visit) visiting = PyThreadState_Get();
    }).join();
    PyEval_AcquireLock();
    PyThreadState_Swap(own);
    EXPECT_NE(visiting, nullptr);
    EXPECT_NE(visiting, own);
}

// Python goes on to take what the ended interpreter's thread was registered with for the state of
// whichever thread has its number next. So this is done in a process of its own.
void VisitWithTheStateOfAnEndedInterpreter() {
    PyThreadState* const first = PyThreadState_Get();
    PyThreadState* registered = nullptr;
    PyThreadState* visiting = nullptr;
    std::promise<void> is_ready, is_ended;
    OpenInterpreterToThreads();
    std::shared_ptr<Interpreter> visited;
    PyThreadState_Swap(nullptr);
    PyEval_ReleaseLock();
    std::thread visitor([&] {
        PyEval_AcquireLock();
        registered = Py_NewInterpreter();
        PyThreadState_Swap(nullptr);
        PyEval_ReleaseLock();
        is_ready.set_value();
        is_ended.get_future().wait();
        const InterpreterVisit visit([&visited] { return visited; });
        if (visit) visiting = PyThreadState_Get();
    });
    is_ready.get_future().wait();
    PyEval_AcquireLock();
    PyThreadState_Swap(registered);
    Py_EndInterpreter(registered);
    PyThreadState_Swap(first);
    // Where the other one was.
    const PyThreadState* const other = PyThreadState_New(first->interp);
    visited = GetCurrentInterpreter();
    PyThreadState_Swap(nullptr);
    PyEval_ReleaseLock();
    is_ended.set_value();
    visitor.join();
    std::_Exit(visiting && visiting != other ? 0 : 2);
}

TEST(InterpreterVisitsDeathTest, UsesNoStateThatHasGoneWithItsInterpreter) {
    EXPECT_EXIT(VisitWithTheStateOfAnEndedInterpreter(), testing::ExitedWithCode(0), "");
}

// How many threads have a state in the first interpreter.
int CountStates() {
    int count = 0;
    for (PyThreadState* state = PyInterpreterState_ThreadHead(PyThreadState_Get()->interp); state;
         state = PyThreadState_Next(state))
        ++count;
    return count;
}

class KeptState : public testing::Test {
  protected:
    KeptState() { OpenInterpreterToThreads(); }

    // What a visit asks for that begins without a state.
    const std::shared_ptr<Interpreter> first_ = GetCurrentInterpreter();
};

TEST_F(KeptState, ServesTheNextVisit) {
    RunOnNativeThread([this] {
        VisitorState kept;
        PyThreadState* states[2] = {};
        for (PyThreadState*& state : states) {
            InterpreterVisit visit([this] { return first_; }, &kept);
            state = PyThreadState_Get();
            EXPECT_EQ(CountStates(), 2);
            visit.KeepState();
        }
        EXPECT_EQ(states[0], states[1]);
    });
    EXPECT_EQ(CountStates(), 1);
}

TEST_F(KeptState, IsNotCurrentBetweenTheVisits) {
    RunOnNativeThread([this] {
        VisitorState kept;
        {
            InterpreterVisit([this] { return first_; }, &kept).KeepState();
        }
        EXPECT_FALSE(IsCurrentThreadHoldPythonGIL2());
        const PyAutoUnlock2 unlocked;
        kept.Drop();
        kept.Drop();
        const InterpreterVisit visit;
        EXPECT_EQ(CountStates(), 2);
    });
}

TEST_F(KeptState, GoesWithAVisitThatDoesNotKeepIt) {
    VisitorState kept;
    RunOnNativeThread([&] {
        {
            InterpreterVisit([this] { return first_; }, &kept).KeepState();
        }
        {
            InterpreterVisit([this] { return first_; }, &kept);
        }
    });
    EXPECT_EQ(CountStates(), 1);
}

TEST_F(KeptState, GoesWhenThereIsNothingToVisitAnyMore) {
    VisitorState kept;
    RunOnNativeThread([&] {
        {
            InterpreterVisit([this] { return first_; }, &kept).KeepState();
        }
        {
            EXPECT_FALSE(InterpreterVisit([] { return nullptr; }, &kept));
        }
    });
    EXPECT_EQ(CountStates(), 1);
}

TEST_F(FurtherInterpreter, CanEndAsSoonAsTheThreadVisitsAnotherOne) {
    const std::shared_ptr<Interpreter> further = GetCurrentInterpreter();
    PyThreadState_Swap(first_);
    OpenInterpreterToThreads();
    const std::shared_ptr<Interpreter> first = GetCurrentInterpreter();
    RunOnNativeThread([&] {
        VisitorState kept;
        {
            InterpreterVisit([&] { return further; }, &kept).KeepState();
        }
        InterpreterVisit visit([&] { return first; }, &kept);
        EXPECT_EQ(PyThreadState_Get()->interp, first_->interp);
        EXPECT_EQ(PyInterpreterState_ThreadHead(state_->interp), state_);
        EXPECT_EQ(PyThreadState_Next(state_), nullptr);
    });
}

TEST_F(FurtherInterpreter, IsLockedByTheThreadForWhatGoesWithAKeptState) {
    const std::shared_ptr<Interpreter> further = GetCurrentInterpreter();
    PyThreadState_Swap(first_);
    OpenInterpreterToThreads();
    bool held = false;
    VisitorState kept;
    {
        InterpreterVisit visit([&] { return further; }, &kept);
        PyObject* const noting = PyCapsule_New(&held, nullptr, [](PyObject* capsule) {
            *static_cast<bool*>(PyCapsule_GetPointer(capsule, nullptr)) =
                IsCurrentThreadHoldPythonGIL2();
        });
        PyDict_SetItemString(PyThreadState_GetDict(), "noting", noting);
        Py_DECREF(noting);
        visit.KeepState();
    }
    {
        EXPECT_FALSE(InterpreterVisit([] { return nullptr; }, &kept));
    }
    EXPECT_TRUE(held);
}

class DictionaryInsert : public testing::Test {
  protected:
    ~DictionaryInsert() override {
        PyErr_Clear();
        Py_XDECREF(dictionary_);
    }
    PyObject* dictionary_ = PyDict_New();
};

TEST_F(DictionaryInsert, LeavesTheOnlyReferencesToTheDictionary) {
    script::ExpectLocked();
    PyObject* const key = PyString_FromString("a key that nobody else has");
    PyObject* const value = PyString_FromString("a value that nobody else has");
    EXPECT_EQ(PyDict_SetItem2(dictionary_, key, value), 0);
    EXPECT_EQ(Py_REFCNT(key), 1);
    EXPECT_EQ(Py_REFCNT(value), 1);
    EXPECT_EQ(PyDict_GetItem(dictionary_, key), value);
}

TEST_F(DictionaryInsert, ConsumesItsReferencesWhenItFails) {
    script::ExpectLocked();
    PyObject* const unhashable = PyList_New(0);
    PyObject* const value = PyString_FromString("another value that nobody else has");
    Py_INCREF(unhashable);
    Py_INCREF(value);
    EXPECT_EQ(PyDict_SetItem2(dictionary_, unhashable, value), -1);
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_TypeError));
    EXPECT_EQ(Py_REFCNT(unhashable), 1);
    EXPECT_EQ(Py_REFCNT(value), 1);
    Py_DECREF(unhashable);
    Py_DECREF(value);
}

TEST_F(DictionaryInsert, FailsForWhatIsNoDictionary) {
    script::ExpectLocked();
    PyObject* const list = PyList_New(0);
    EXPECT_EQ(PyDict_SetItem2(list, PyInt_FromLong(1), PyInt_FromLong(2)), -1);
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_SystemError));
    Py_DECREF(list);
}

TEST_F(DictionaryInsert, FailsForNullsAndConsumesTheRest) {
    script::ExpectLocked();
    PyObject* const value = PyString_FromString("yet another value that nobody else has");
    Py_INCREF(value);
    EXPECT_EQ(PyDict_SetItem2(dictionary_, nullptr, value), -1);
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_SystemError));
    EXPECT_EQ(Py_REFCNT(value), 1);
    EXPECT_EQ(PyDict_SetItem2(dictionary_, value, nullptr), -1);
    EXPECT_EQ(PyDict_SetItem2(nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(PyDict_Size(dictionary_), 0);
}

TEST_F(DictionaryInsert, KeepsTheExceptionOfWhoeverCouldNotMakeTheValue) {
    script::ExpectLocked();
    PyErr_SetNone(PyExc_KeyError);
    EXPECT_EQ(PyDict_SetItem2(dictionary_, PyInt_FromLong(1), nullptr), -1);
    EXPECT_TRUE(PyErr_ExceptionMatches(PyExc_KeyError));
}

// Each of these runs in a process of its own, since the door to the interpreter is the process's.

// Ends with 0 when the condition holds, with another code when not.
void ExitWith(bool condition) {
    Py_Exit(condition ? 0 : 2);
}

bool CanVisitFromNativeThread() {
    bool visited = false;
    RunOnNativeThread([&visited] {
        const InterpreterVisit visit;
        visited = static_cast<bool>(visit) && IsCurrentThreadHoldPythonGIL2();
    });
    return visited;
}

TEST(InterpreterDoorDeathTest, IsClosedUntilItIsOpened) {
    EXPECT_EXIT(ExitWith(!CanVisitFromNativeThread() && !IsInterpreterEnding()),
                testing::ExitedWithCode(0), "");
}

TEST(InterpreterDoorDeathTest, LetsNativeThreadsInOnceItIsOpen) {
    EXPECT_EXIT(
        {
            OpenInterpreterToThreads();
            OpenInterpreterToThreads();
            ExitWith(CanVisitFromNativeThread() && !IsInterpreterEnding());
        },
        testing::ExitedWithCode(0), "");
}

TEST(InterpreterDoorDeathTest, MayBeOpenedByANativeThread) {
    EXPECT_EXIT(
        {
            RunOnNativeThread(OpenInterpreterToThreads);
            ExitWith(CanVisitFromNativeThread());
        },
        testing::ExitedWithCode(0), "");
}

TEST(InterpreterDoorDeathTest, IsNeverClosedToTheThreadThatHoldsTheLock) {
    EXPECT_EXIT(ExitWith(static_cast<bool>(InterpreterVisit())), testing::ExitedWithCode(0), "");
}

TEST(InterpreterDoorDeathTest, IsClosedWhenTheInterpreterHasGone) {
    EXPECT_EXIT(
        {
            OpenInterpreterToThreads();
            Py_Finalize();
            bool visited = true;
            std::thread([&visited] { visited = static_cast<bool>(InterpreterVisit()); }).join();
            std::exit(!visited && IsInterpreterEnding() && !IsCurrentThreadHoldPythonGIL2() ? 0
                                                                                            : 2);
        },
        testing::ExitedWithCode(0), "");
}

TEST(InterpreterDoorDeathTest, OpensAgainForTheNextInterpreter) {
    EXPECT_EXIT(
        {
            OpenInterpreterToThreads();
            Py_Finalize();
            Py_InitializeEx(0);
            OpenInterpreterToThreads();
            ExitWith(CanVisitFromNativeThread() && !IsInterpreterEnding());
        },
        testing::ExitedWithCode(0), "");
}

// A visitor who is inside while the interpreter exits, for as long as told.
void ExitWhileVisitorStays(milliseconds stay, bool should_have_left) {
    static std::atomic<bool> is_inside{false};
    static std::atomic<bool> has_left{false};
    OpenInterpreterToThreads();
    std::thread([stay] {
        const InterpreterVisit visit;
        is_inside = true;
        {
            PyAutoUnlock2 unlocked;
            std::this_thread::sleep_for(stay);
        }
        has_left = true;  // before the visit ends, behind which nobody waits
    }).detach();
    {
        PyAutoUnlock2 unlocked;
        while (!is_inside)
            std::this_thread::yield();
    }
    const Clock::time_point start = Clock::now();
    Py_Finalize();
    const bool was_quick = Clock::now() - start < milliseconds(5000);
    std::exit(was_quick && has_left == should_have_left ? 0 : 2);
}

TEST(InterpreterDoorDeathTest, ExitWaitsForAVisitorWhoLeaves) {
    EXPECT_EXIT(ExitWhileVisitorStays(milliseconds(100), true), testing::ExitedWithCode(0), "");
}

// The quickest of some, since what else the machine does only adds; a wait takes half a second.
void EndAfterVisits() {
    Clock::duration quickest = Clock::duration::max();
    for (int round = 0; round < 5; ++round) {
        OpenInterpreterToThreads();
        if (!CanVisitFromNativeThread()) std::_Exit(3);
        const Clock::time_point start = Clock::now();
        script::Run("import atexit\natexit._run_exitfuncs()");
        quickest = std::min(quickest, Clock::now() - start);
    }
    std::_Exit(quickest < std::chrono::milliseconds(400) ? 0 : 2);
}

TEST(InterpreterDoorDeathTest, ExitDoesNotWaitForVisitorsWhoHaveLeft) {
    EXPECT_EXIT(EndAfterVisits(), testing::ExitedWithCode(0), "");
}

TEST(InterpreterDoorDeathTest, ExitDoesNotWaitForAVisitorWhoStays) {
    EXPECT_EXIT(ExitWhileVisitorStays(milliseconds(60000), false), testing::ExitedWithCode(0), "");
}

// A visitor takes his time to be counted, and the exit does not see him.
void ExitBeforeAVisitorIsCounted() {
    static std::atomic<bool> has_closed{false};
    static std::atomic<bool> was_inside{false};
    OpenInterpreterToThreads();
    std::thread visitor([] {
        slow_process_looks::pace = milliseconds(400);
        const InterpreterVisit visit;
        was_inside = visit && has_closed;
    });
    {
        PyAutoUnlock2 unlocked;
        std::this_thread::sleep_for(milliseconds(200));
    }
    script::Run("import atexit\natexit._run_exitfuncs()");
    has_closed = true;
    PyAutoUnlock2 unlocked;
    visitor.join();
    std::_Exit(was_inside ? 2 : 0);
}

TEST(InterpreterDoorDeathTest, IsClosedToWhoeverIsCountedBehindTheExit) {
    EXPECT_EXIT(ExitBeforeAVisitorIsCounted(), testing::ExitedWithCode(0), "");
}

// What a script left to the end of its thread still runs when the visitor goes, and lets go of the
// lock meanwhile.
void ExitWhileAVisitGoes() {
    OpenInterpreterToThreads();
    script::Run(
        "import atexit, threading, time\n"
        "local, is_going, gone = threading.local(), threading.Event(), []\n"
        "class Left(object):\n"
        "    def __del__(self):\n"
        "        is_going.set()\n"
        "        time.sleep(0.1)\n"
        "        gone.append(1)\n");
    std::thread visitor([] {
        const InterpreterVisit visit;
        if (visit) script::Run("local.left = Left()");
    });
    script::Run("is_going.wait(10)\natexit._run_exitfuncs()");
    std::_Exit(script::Evaluate("gone") == "[1]" ? 0 : 2);
}

TEST(InterpreterDoorDeathTest, ExitWaitsForWhatAVisitorLeavesBehind) {
    EXPECT_EXIT(ExitWhileAVisitGoes(), testing::ExitedWithCode(0), "");
}

// A visitor waits for the lock when Python ends without its exit handlers, and has it when what is
// collected then lets go of it.
void EndWithoutExitHandlers() {
    static std::atomic<bool> is_coming{false};
    static std::atomic<bool> was_inside{false};
    static std::atomic<bool> has_left{false};
    OpenInterpreterToThreads();
    script::Run("import sys\ndel sys.exitfunc");
    std::thread([] {
        is_coming = true;
        {
            const InterpreterVisit visit;
            if (visit) was_inside = true;
        }
        has_left = true;
    }).detach();
    while (!is_coming)
        std::this_thread::yield();
    std::this_thread::sleep_for(milliseconds(100));
    PyObject* const garbage = PyList_New(0);
    PyObject* const last = PyCapsule_New(&is_coming, nullptr, [](PyObject*) {
        PyThreadState* const state = PyEval_SaveThread();
        BecomesTrue([] { return has_left.load(); });
        PyEval_RestoreThread(state);
    });
    PyList_Append(garbage, garbage);
    PyList_Append(garbage, last);
    Py_DECREF(last);
    Py_DECREF(garbage);
    Py_Finalize();
    std::_Exit(has_left && !was_inside ? 0 : 2);
}

TEST(InterpreterDoorDeathTest, IsClosedToAVisitorWhoHasWaitedUntilPythonEnds) {
    EXPECT_EXIT(EndWithoutExitHandlers(), testing::ExitedWithCode(0), "");
}

// A visitor who has left and kept his state, and comes again or lets it go after a while.
void ExitWhileAStateIsKept(bool comes_again) {
    static std::atomic<bool> is_kept{false};
    static std::atomic<bool> has_gone{false};
    OpenInterpreterToThreads();
    const std::shared_ptr<Interpreter> first = GetCurrentInterpreter();
    std::thread([comes_again, first] {
        VisitorState kept;
        {
            InterpreterVisit([&first] { return first; }, &kept).KeepState();
        }
        is_kept = true;
        std::this_thread::sleep_for(milliseconds(100));
        if (comes_again) {
            const InterpreterVisit refused([&first] { return first; }, &kept);
            has_gone = !refused;
        } else {
            has_gone = true;  // before the state goes, behind which nobody waits
            kept.Drop();
        }
    }).detach();
    {
        PyAutoUnlock2 unlocked;
        while (!is_kept)
            std::this_thread::yield();
    }
    Py_Finalize();
    std::exit(has_gone ? 0 : 2);
}

TEST(InterpreterDoorDeathTest, ExitWaitsForAStateThatIsKept) {
    EXPECT_EXIT(ExitWhileAStateIsKept(false), testing::ExitedWithCode(0), "");
}

TEST(InterpreterDoorDeathTest, AStateThatIsKeptGoesWithTheVisitThatExitRefuses) {
    EXPECT_EXIT(ExitWhileAStateIsKept(true), testing::ExitedWithCode(0), "");
}

// Threads that come and go all the time neither crash nor hold the exit.
void ExitAmongVisitors() {
    OpenInterpreterToThreads();
    for (int count = 0; count < 8; ++count) {
        std::thread([] {
            for (;;) {
                const InterpreterVisit visit;
                if (visit) PyRun_SimpleString("sum(range(100))");
            }
        }).detach();
    }
    {
        PyAutoUnlock2 unlocked;
        std::this_thread::sleep_for(milliseconds(50));
    }
    Py_Exit(0);
}

TEST(InterpreterDoorDeathTest, ExitAmongVisitorsIsClean) {
    EXPECT_EXIT(ExitAmongVisitors(), testing::ExitedWithCode(0), "^$");
}

}  // namespace
