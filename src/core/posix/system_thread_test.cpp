#include "core/system_thread.h"

#include <gtest/gtest.h>
#include <pthread.h>

namespace {

NPT_UInt32 DoNothing(void*) {
    return 0;
}

TEST(PosixSystemThread, IsNullWhenTheSystemRefuses) {
    pthread_attr_t usual;
    pthread_attr_t impossible;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    ASSERT_EQ(pthread_attr_init(&impossible), 0);
    // No address space has room for this stack.
    ASSERT_EQ(pthread_attr_setstacksize(&impossible, std::size_t{1} << 50), 0);
    ASSERT_EQ(pthread_setattr_default_np(&impossible), 0);
    EXPECT_FALSE(SystemThread::Start(DoNothing, nullptr));
    pthread_setattr_default_np(&usual);
    pthread_attr_destroy(&impossible);
    pthread_attr_destroy(&usual);
}

}  // namespace
