#include "core/process.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <thread>

#include "core/event.h"
#include "core/system_thread.h"

namespace {

// Runs a function in a forked child; whether that came to its end with true, and in time.
bool IsTrueInChild(bool (*function)()) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(10);
        _exit(function() ? 0 : 1);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// The next child of this process is number 1. Who is not root may have that among users of his own.
bool NumberChildrenAnew() {
    return unshare(CLONE_NEWPID) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWPID) == 0;
}

TEST(Process, IsAnotherOneInAForkedChild) {
    static ProcessId parent;
    parent = CurrentProcess();
    EXPECT_EQ(CurrentProcess(), parent);
    EXPECT_TRUE(IsTrueInChild([] { return CurrentProcess() != parent; }));
    EXPECT_EQ(CurrentProcess(), parent);
}

// As of a container's first process that makes another container, and of a parent that is gone.
TEST(Process, IsAnotherOneInAForkedChildOfTheSameNumber) {
    if (!IsTrueInChild(NumberChildrenAnew)) GTEST_SKIP() << "no namespace of processes to be had";
    EXPECT_TRUE(IsTrueInChild([] {
        return NumberChildrenAnew() && IsTrueInChild([] {
                   static ProcessId parent;
                   parent = CurrentProcess();
                   return getpid() == 1 && NumberChildrenAnew() &&
                          IsTrueInChild([] { return getpid() == 1 && CurrentProcess() != parent; });
               });
    }));
}

TEST(ThreadIdInAForkedChild, IsTheChildsOwn) {
    const NPT_Thread::ThreadId parents = NPT_Thread::GetCurrentThreadId();
    EXPECT_EQ(parents, static_cast<NPT_Thread::ThreadId>(gettid()));
    EXPECT_TRUE(IsTrueInChild([] {
        return NPT_Thread::GetCurrentThreadId() == static_cast<NPT_Thread::ThreadId>(gettid());
    }));
}

// The child has no such thread: to wait for it would be for ever, or worse.
TEST(SystemThreadInAForkedChild, IsNotWaitedFor) {
    static std::unique_ptr<SystemThread> joined, dropped;
    static int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    const auto wait_for_end = [](void*) -> NPT_UInt32 {
        char byte;
        return read(pipe_ends[0], &byte, 1) == 0 ? 0 : 1;
    };
    joined = SystemThread::Start(wait_for_end, nullptr);
    dropped = SystemThread::Start(wait_for_end, nullptr);
    EXPECT_TRUE(IsTrueInChild([] {
        joined->Join();
        joined.reset();
        dropped.reset();
        return true;
    }));
    close(pipe_ends[1]);
    joined->Join();
    dropped->Join();
    close(pipe_ends[0]);
}

TEST(EventInAForkedChild, WaitsForNobodyWhoWaitsInTheParent) {
    static std::unique_ptr<Event> event;
    event = std::make_unique<Event>();
    std::thread waiter([] { event->Wait(); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(IsTrueInChild([] {
        event.reset();
        return true;
    }));
    event->Set();
    waiter.join();
}

}  // namespace
