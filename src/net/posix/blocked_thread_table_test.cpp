#include "net/blocked_thread_table.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "net/bsd_socket_fd.h"

namespace {

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

}  // namespace
