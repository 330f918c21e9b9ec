#include "binding/interpreter/held_lock.h"

#include <future>
#include <optional>
#include <thread>

#include "binding/interpreter/testing/embedded_interpreter.h"
#include "binding/interpreter/testing/further_interpreter.h"

namespace {

TEST_F(FurtherInterpreter, HoldsTheLockOnTheFirstOnesThread) {
    EXPECT_TRUE(IsCurrentThreadHoldPythonGIL2());
    {
        const EntryFromInterpreter inner;
        EXPECT_TRUE(IsCurrentThreadHoldPythonGIL2());
    }
    EXPECT_TRUE(IsCurrentThreadHoldPythonGIL2());
}

TEST_F(FurtherInterpreter, IsNotTakenForThatOfAnotherThread) {
    bool held = true;
    std::thread([&held] { held = IsCurrentThreadHoldPythonGIL2(); }).join();
    EXPECT_FALSE(held);
}

// As a script that has made itself an unlock, and goes on.
TEST(EntryWithoutTheLock, IsNotTakenForTheThreadThatHoldsIt) {
    std::promise<void> is_taken, is_over;
    std::optional<PyAutoUnlock2> unlocked;
    {
        const EntryFromInterpreter entry;
        unlocked.emplace();
    }
    std::thread other([&] {
        const PyAutoLock2 lock;
        is_taken.set_value();
        is_over.get_future().wait();
    });
    is_taken.get_future().wait();
    {
        const EntryFromInterpreter entry;
        EXPECT_FALSE(IsCurrentThreadHoldPythonGIL2());
    }
    is_over.set_value();
    other.join();
}

// A visit in the scope of an unlock, in which a script calls.
TEST_F(FurtherInterpreter, IsHeldOnAVisitInTheScopeOfAnUnlock) {
    OpenInterpreterToThreads();
    const std::shared_ptr<Interpreter> further = GetCurrentInterpreter();
    PyThreadState_Swap(first_);
    {
        const PyAutoUnlock2 unlocked;
        const InterpreterVisit visit([&further] { return further; });
        EXPECT_TRUE(visit && IsCurrentThreadHoldPythonGIL2());
        const EntryFromInterpreter entry;
        EXPECT_TRUE(IsCurrentThreadHoldPythonGIL2());
    }
    EXPECT_EQ(PyThreadState_Get(), first_);
}

}  // namespace
