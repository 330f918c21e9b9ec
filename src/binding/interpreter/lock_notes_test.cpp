#include "binding/interpreter/lock_notes.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

PyThreadState* SomeState() {
    static char place;
    return reinterpret_cast<PyThreadState*>(&place);
}

TEST(LockNotes, AreEachThreadsOwn) {
    lock_notes::SetEntryState(SomeState());
    lock_notes::SetHasLetGo(true);
    PyThreadState* others = SomeState();
    bool has_other_let_go = true;
    std::thread([&] {
        others = lock_notes::GetEntryState();
        has_other_let_go = lock_notes::HasLetGo();
        lock_notes::SetHasLetGo(false);
    }).join();
    EXPECT_EQ(others, nullptr);
    EXPECT_FALSE(has_other_let_go);
    EXPECT_EQ(lock_notes::GetEntryState(), SomeState());
    EXPECT_TRUE(lock_notes::HasLetGo());
    lock_notes::SetEntryState(nullptr);
    lock_notes::SetHasLetGo(false);
    EXPECT_EQ(lock_notes::GetEntryState(), nullptr);
    EXPECT_FALSE(lock_notes::HasLetGo());
}

}  // namespace
