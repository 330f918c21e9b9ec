#include "core/system.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

NPT_TimeStamp Now() {
    NPT_TimeStamp stamp;
    EXPECT_EQ(NPT_System::GetCurrentTimeStamp(stamp), NPT_SUCCESS);
    return stamp;
}

NPT_Int64 WallClockMilliseconds() {
    const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<Milliseconds>(since_1970).count();
}

Clock::duration TimeToSleep(NPT_Int64 nanoseconds) {
    const auto start = Clock::now();
    EXPECT_EQ(NPT_System::Sleep(NPT_TimeInterval::FromNanos(nanoseconds)), NPT_SUCCESS);
    return Clock::now() - start;
}

std::vector<NPT_UInt32> Draw(std::size_t count) {
    std::vector<NPT_UInt32> numbers(count);
    std::generate(numbers.begin(), numbers.end(), NPT_System::GetRandomInteger);
    return numbers;
}

std::vector<NPT_UInt32> DrawOnANewThread(std::size_t count = 50) {
    std::vector<NPT_UInt32> numbers;
    std::thread([&] { numbers = Draw(count); }).join();
    return numbers;
}

TEST(System, TheClockIsTheWallClockInMilliseconds) {
    const NPT_Int64 before = WallClockMilliseconds();
    const NPT_TimeStamp stamp = Now();
    const NPT_Int64 after = WallClockMilliseconds();
    EXPECT_EQ(stamp.ToNanos() % 1000000, 0);
    // Platforms read their clocks from sources that may be a tick apart.
    EXPECT_GE(stamp.ToNanos() / 1000000, before - 20);
    EXPECT_LE(stamp.ToNanos() / 1000000, after + 20);
}

TEST(System, StampsWithinOneMillisecondAreEqual) {
    int equal = 0;
    for (int round = 0; round < 1000; ++round) {
        const NPT_TimeStamp first = Now();
        const NPT_TimeStamp second = Now();
        equal += first == second;
    }
    EXPECT_GT(equal, 0);
}

TEST(System, SleepsForWholeMilliseconds) {
    const auto slept = TimeToSleep(300000000);
    EXPECT_GE(slept, Milliseconds(299));
    EXPECT_LT(slept, Milliseconds(3000));
}

TEST(System, RandomNumbersHaveFifteenBits) {
    std::set<NPT_UInt32> drawn;
    for (int round = 0; round < 2000; ++round)
        drawn.insert(NPT_System::GetRandomInteger());
    EXPECT_LE(*drawn.rbegin(), 32767u);
    EXPECT_GT(*drawn.rbegin(), 30000u);
    EXPECT_LT(*drawn.begin(), 2000u);
    EXPECT_GT(drawn.size(), 1500u);
}

TEST(System, OnlyTheFirstCallersThreadIsSeeded) {
    NPT_System::GetRandomInteger();
    const std::vector<NPT_UInt32> second = DrawOnANewThread();
    EXPECT_EQ(second, DrawOnANewThread());
    EXPECT_GT(std::set<NPT_UInt32>(second.begin(), second.end()).size(), 40u);
}

TEST(System, TheFirstCallersThreadIsSeeded) {
    // Whatever this program drew before, it was not that much.
    constexpr std::size_t kDefaultNumbers = 200000;
    const std::vector<NPT_UInt32> own = Draw(50);
    const std::vector<NPT_UInt32> others = DrawOnANewThread(kDefaultNumbers);
    EXPECT_EQ(std::search(others.begin(), others.end(), own.begin(), own.end()), others.end());
}

}  // namespace
