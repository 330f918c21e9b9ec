#include "core/mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

TEST(Win32Mutex, LockOfAnAbandonedMutexFails) {
    NPT_Mutex mutex;
    std::thread([&mutex] { EXPECT_EQ(mutex.Lock(), NPT_SUCCESS); }).join();
    EXPECT_EQ(mutex.Lock(), NPT_FAILURE);
}

TEST(Win32Mutex, ALockThatFailedHoldsNothing) {
    NPT_Mutex mutex;
    std::thread([&mutex] { mutex.Lock(); }).join();
    EXPECT_EQ(mutex.Lock(), NPT_FAILURE);
    std::atomic<bool> has_locked{false};
    std::thread other([&] {
        mutex.Lock();
        has_locked = true;
    });
    for (int round = 0; round < 2000 && !has_locked; ++round)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_TRUE(has_locked);
    mutex.Unlock();
    other.join();
}

}  // namespace
