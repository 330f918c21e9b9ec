#include "net/bsd_socket_fd.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

#include "net/blocked_thread_table.h"
#include "net/socket_interface.h"
#include "net/testing/scripted_platform.h"

namespace {

using socket_platform::Option;
using socket_platform::Readiness;

constexpr int kSomeError = 77;
constexpr NPT_Result kSomeErrorMapped = NPT_ERROR_SYSTEM_BASE - kSomeError;

Readiness Ready(bool readable, bool writable, bool exceptional) {
    Readiness readiness;
    readiness.readable = readable;
    readiness.writable = writable;
    readiness.exceptional = exceptional;
    return readiness;
}

std::unique_ptr<NPT_BsdSocketFd> MakeDescriptor(NPT_UInt32 flags = 0) {
    socket_platform::Handle handle = socket_platform::kInvalidHandle;
    socket_platform::Open(socket_platform::Transport::kDatagram, handle);
    return std::make_unique<NPT_BsdSocketFd>(handle, flags);
}

TEST(WaitScriptedTest, ReadinessForWhatWasWantedIsSuccess) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    platform.wait_steps = {{NPT_SUCCESS, Ready(true, false, false), {}},
                           {NPT_SUCCESS, Ready(false, true, false), {}},
                           {NPT_SUCCESS, Ready(false, true, false), {}}};
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, 10), NPT_SUCCESS);
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kWritable, 10), NPT_SUCCESS);
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadableOrWritable, 10), NPT_SUCCESS);
    ASSERT_EQ(platform.waits.size(), 3u);
    EXPECT_TRUE(platform.waits[0].request.for_read && !platform.waits[0].request.for_write);
    EXPECT_TRUE(!platform.waits[1].request.for_read && platform.waits[1].request.for_write);
    EXPECT_TRUE(platform.waits[2].request.for_read && platform.waits[2].request.for_write);
}

TEST(WaitScriptedTest, TimeOutIsWouldBlockForAPurePoll) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    platform.wait_steps = {{NPT_ERROR_TIMEOUT, {}, {}}};
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, 0), NPT_ERROR_WOULD_BLOCK);
}

TEST(WaitScriptedTest, PlatformErrorIsReported) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    platform.wait_steps = {{kSomeErrorMapped, {}, {}}};
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, 10), kSomeErrorMapped);
}

TEST(WaitScriptedTest, WakingWithoutAReasonIsNoProgress) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    platform.wait_steps = {{NPT_SUCCESS, Readiness(), {}}};
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, 10), NPT_ERROR_NO_PROGRESS);
}

TEST(WaitScriptedTest, ExceptionalConditionReportsThePendingErrorOrFailure) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    platform.wait_steps = {{NPT_SUCCESS, Ready(false, false, true), {}},
                           {NPT_SUCCESS, Ready(false, false, true), {}},
                           {NPT_SUCCESS, Ready(false, false, true), {}}};
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kWritable, 10), NPT_FAILURE);
    platform.option_values[Option::kPendingError] = kSomeError;
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kWritable, 10), kSomeErrorMapped);
    platform.failing_name = "GetOption";
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kWritable, 10), platform.failure);
}

TEST(WaitScriptedTest, PendingErrorOfAReadySocketIsLookedAtOnRequestOnly) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    platform.option_values[Option::kPendingError] = kSomeError;
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kWritable, 10), NPT_SUCCESS);
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kWritable, 10, PendingErrors::kReported),
              kSomeErrorMapped);
    platform.option_values[Option::kPendingError] = 0;
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kWritable, 10, PendingErrors::kReported),
              NPT_SUCCESS);
    platform.failing_name = "GetOption";
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kWritable, 10, PendingErrors::kReported),
              platform.failure);
}

TEST(WaitScriptedTest, InterruptionGoesOnWithTheRemainingTime) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    platform.wait_steps = {{NPT_ERROR_INTERRUPTED,
                            {},
                            [] { std::this_thread::sleep_for(std::chrono::milliseconds(50)); }},
                           {NPT_SUCCESS, Ready(true, false, false), {}}};
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, 60000), NPT_SUCCESS);
    ASSERT_EQ(platform.waits.size(), 2u);
    EXPECT_EQ(platform.waits[0].timeout, 60000u);
    EXPECT_LE(platform.waits[1].timeout, 59950u);
    EXPECT_GT(platform.waits[1].timeout, 0u);
}

TEST(WaitScriptedTest, InterruptionBehindTheDeadlineIsATimeOut) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    platform.wait_steps = {{NPT_ERROR_INTERRUPTED, {}, [] {
                                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                            }}};
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, 10), NPT_ERROR_TIMEOUT);
    EXPECT_EQ(platform.waits.size(), 1u);
}

TEST(WaitScriptedTest, TimeOutThatComesEarlyIsWaitedOut) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    platform.wait_steps = {{NPT_ERROR_TIMEOUT, {}, {}},
                           {NPT_SUCCESS, Ready(true, false, false), {}}};
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, 60000), NPT_SUCCESS);
    EXPECT_EQ(platform.waits.size(), 2u);
}

TEST(WaitScriptedTest, PollsAndInfiniteWaitsAreRepeatedAsTheyAre) {
    for (const NPT_Timeout timeout : {NPT_Timeout{0}, NPT_TIMEOUT_INFINITE}) {
        SCOPED_TRACE(timeout);
        ScriptedPlatform platform;
        const auto descriptor = MakeDescriptor();
        platform.wait_steps = {{NPT_ERROR_INTERRUPTED, {}, {}},
                               {NPT_ERROR_INTERRUPTED, {}, {}},
                               {NPT_SUCCESS, Ready(true, false, false), {}}};
        EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, timeout), NPT_SUCCESS);
        ASSERT_EQ(platform.waits.size(), 3u);
        EXPECT_EQ(platform.waits[2].timeout, timeout);
    }
}

TEST(WaitScriptedTest, CancelledDescriptorIsNotWaitedOn) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    descriptor->Cancel(false);
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, NPT_TIMEOUT_INFINITE),
              NPT_ERROR_CANCELLED);
    EXPECT_TRUE(platform.waits.empty());
}

TEST(WaitScriptedTest, CancelDuringTheWaitComesBeforeWhatItFound) {
    for (const NPT_Result found : {NPT_SUCCESS, NPT_ERROR_TIMEOUT, kSomeErrorMapped}) {
        SCOPED_TRACE(found);
        ScriptedPlatform platform;
        const auto descriptor = MakeDescriptor();
        platform.wait_steps = {
            {found, Ready(true, true, true), [&] { descriptor->Cancel(false); }}};
        EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, 0), NPT_ERROR_CANCELLED);
    }
}

TEST(WaitScriptedTest, ThreadIsRegisteredExactlyWhileItWaits) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    const auto is_registered = [self = NPT_Thread::GetCurrentThreadId()] {
        return NPT_Succeeded(BlockedThreadTable::Shared().Remove(self));
    };
    bool was_registered = false;
    platform.wait_steps = {
        {NPT_SUCCESS, Ready(true, false, false), {}},
        {kSomeErrorMapped, {}, {}},
        {NPT_SUCCESS, Ready(true, false, false), [&] { was_registered = is_registered(); }}};
    descriptor->WaitFor(SocketCondition::kReadable, 10);
    EXPECT_FALSE(is_registered());
    descriptor->WaitFor(SocketCondition::kReadable, 10);
    EXPECT_FALSE(is_registered());
    descriptor->WaitFor(SocketCondition::kReadable, 10);
    EXPECT_TRUE(was_registered);
}

TEST(CancelPairScriptedTest, IsWatchedExceptByAPurePoll) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor(NPT_SOCKET_FLAG_CANCELLABLE);
    ASSERT_TRUE(descriptor->IsCancellable());
    platform.waits.clear();  // those for the pair
    descriptor->WaitFor(SocketCondition::kReadable, 0);
    descriptor->WaitFor(SocketCondition::kReadable, 10);
    ASSERT_EQ(platform.waits.size(), 2u);
    EXPECT_EQ(platform.waits[0].request.waker, socket_platform::kInvalidHandle);
    EXPECT_EQ(platform.open.count(platform.waits[1].request.waker), 1u);
}

TEST(CancelPairScriptedTest, IsNotMadeUnlessWanted) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    EXPECT_FALSE(descriptor->IsCancellable());
    EXPECT_EQ(platform.open.size(), 1u);
}

TEST(CancelPairScriptedTest, ItsWriteEndDoesNotBlockACancellerWhenFull) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor(NPT_SOCKET_FLAG_CANCELLABLE);
    EXPECT_EQ(platform.made_non_blocking.size(), 2u);
    platform.failing_name = "Send";
    descriptor->Cancel(false);
    EXPECT_TRUE(descriptor->IsCancelled());
}

TEST(CancelPairScriptedTest, ClosesBeforeTheSocket) {
    ScriptedPlatform platform;
    auto descriptor = MakeDescriptor(NPT_SOCKET_FLAG_CANCELLABLE);
    const socket_platform::Handle handle = descriptor->GetHandle();
    platform.closed.clear();
    descriptor.reset();
    ASSERT_EQ(platform.closed.size(), 3u);
    EXPECT_EQ(platform.closed.back(), handle);
    EXPECT_TRUE(platform.open.empty());
}

// The end of the connection wakes the reader, who has to see why.
TEST(CancelScriptedTest, IsSeenBeforeTheConnectionEnds) {
    ScriptedPlatform platform;
    const auto descriptor = MakeDescriptor();
    bool was_seen = false;
    platform.when_shut_down = [&] { was_seen = descriptor->IsCancelled(); };
    descriptor->Cancel(true);
    EXPECT_TRUE(was_seen);
}

TEST(CancelScriptedTest, ShutsTheConnectionDownOnRequestOnly) {
    ScriptedPlatform platform;
    MakeDescriptor()->Cancel(false);
    EXPECT_EQ(platform.CountOf("Shutdown"), 0);
    MakeDescriptor()->Cancel(true);
    EXPECT_EQ(platform.CountOf("Shutdown"), 1);
}

}  // namespace
