#include "core/mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "core/testing/becomes_true.h"

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
    EXPECT_TRUE(BecomesTrue([&] { return has_locked.load(); }));
    mutex.Unlock();
    other.join();
}

}  // namespace
