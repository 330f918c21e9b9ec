#include "core/thread.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(Thread, IdsTellLivingThreadsApart) {
    const NPT_Thread::ThreadId own = NPT_Thread::GetCurrentThreadId();
    NPT_Thread::ThreadId other = 0;
    std::thread([&other] { other = NPT_Thread::GetCurrentThreadId(); }).join();
    EXPECT_NE(own, 0u);
    EXPECT_NE(other, 0u);
    EXPECT_NE(own, other);
    EXPECT_EQ(NPT_Thread::GetCurrentThreadId(), own);
}

}  // namespace
