#include "core/system.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

thread_local std::vector<DWORD> sleeps;

void WINAPI NotingSleep(DWORD milliseconds) {
    sleeps.push_back(milliseconds);
    SleepEx(milliseconds, FALSE);
}

}  // namespace

// What the program itself defines, the linker does not take from the system's import library.
extern "C" const decltype(&Sleep) __imp_Sleep = NotingSleep;

namespace {

TEST(Win32System, AnIntervalBelowAMillisecondOnlyYields) {
    sleeps.clear();
    for (const NPT_Int64 nanoseconds : {NPT_Int64{999999}, NPT_Int64{0}, NPT_Int64{-5000000000}})
        EXPECT_EQ(NPT_System::Sleep(NPT_TimeInterval::FromNanos(nanoseconds)), NPT_SUCCESS);
    EXPECT_EQ(sleeps, (std::vector<DWORD>{0, 0, 0}));
}

}  // namespace
