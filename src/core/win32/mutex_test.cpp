#include "core/mutex.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(Win32Mutex, LockOfAnAbandonedMutexFails) {
    NPT_Mutex mutex;
    std::thread([&mutex] { EXPECT_EQ(mutex.Lock(), NPT_SUCCESS); }).join();
    EXPECT_EQ(mutex.Lock(), NPT_FAILURE);
}

}  // namespace
