#include "binding/interpreter/held_lock.h"

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

}  // namespace
