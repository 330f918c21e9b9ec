#include "core/event.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <new>

namespace {

bool has_handles = true;

HANDLE WINAPI CreateEventWhileThereAreHandles(SECURITY_ATTRIBUTES* security, BOOL manual_reset,
                                              BOOL initially_set, const char*) {
    return has_handles ? CreateEventW(security, manual_reset, initially_set, nullptr) : nullptr;
}

}  // namespace

// What the program itself defines, the linker does not take from the system's import library: every
// event of this program is made here.
extern "C" const decltype(&CreateEventA) __imp_CreateEventA = CreateEventWhileThereAreHandles;

namespace {

TEST(Win32Event, ThatTheSystemHasNoHandleForThrows) {
    has_handles = false;
    EXPECT_THROW(Event(), std::bad_alloc);
    has_handles = true;
    Event event;
    event.Set();
    event.Wait();
}

}  // namespace
