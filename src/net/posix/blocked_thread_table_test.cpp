#include "net/blocked_thread_table.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "net/bsd_socket_fd.h"
#include "net/testing/slow_process_looks.h"

namespace {

using std::chrono::milliseconds;

// A thread of the parent that comes and goes all the time holds the lock at some of the forks.
TEST(BlockedThreadTableInAForkedChild, IsOneOfItsOwn) {
    NPT_BsdSocketFd descriptor(socket_platform::kInvalidHandle, 0);
    std::atomic<bool> is_done{false};
    std::thread busy([&] {
        while (!is_done)
            const BlockedThreadEntry entry(descriptor);
    });
    for (int round = 0; round < 30; ++round) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(5);
            { const BlockedThreadEntry entry(descriptor); }
            _exit(0);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0);
    }
    is_done = true;
    busy.join();
}

void ForkDuringTheFirstUse() {
    std::atomic<bool> is_done{false};
    std::thread first([&is_done] {
        NPT_BsdSocketFd descriptor(socket_platform::kInvalidHandle, 0);
        slow_process_looks::pace = milliseconds(300);
        { const BlockedThreadEntry entry(descriptor); }
        is_done = true;
    });
    NPT_BsdSocketFd descriptor(socket_platform::kInvalidHandle, 0);
    bool goes_on = true;
    while (goes_on && !is_done) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(5);
            { const BlockedThreadEntry entry(descriptor); }
            _exit(0);
        }
        int status = -1;
        goes_on = waitpid(child, &status, 0) == child && status == 0;
        std::this_thread::sleep_for(milliseconds(50));
    }
    first.join();
    _exit(goes_on ? 0 : 2);
}

// A thread of the parent that has begun to make it does not go on in the child.
TEST(BlockedThreadTableInAForkedChildDeathTest, IsMadeThoughTheParentIsJustMakingIts) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(ForkDuringTheFirstUse(), testing::ExitedWithCode(0), "");
}

}  // namespace
