#include "net/socket_waker.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

#include "net/bsd_socket_fd.h"
#include "net/testing/scripted_platform.h"

namespace {

std::unique_ptr<NPT_BsdSocketFd> MakeDescriptor(std::shared_ptr<SocketWaker> waker) {
    socket_platform::Handle handle = socket_platform::kInvalidHandle;
    socket_platform::Open(socket_platform::Transport::kDatagram, handle);
    auto descriptor = std::make_unique<NPT_BsdSocketFd>(handle, 0);
    descriptor->SetWaker(std::move(waker));
    return descriptor;
}

TEST(SocketWakerScriptedTest, IsWatchedByTheWaitsOfItsSockets) {
    ScriptedPlatform platform;
    const auto waker = std::make_shared<SocketWaker>();
    platform.waits.clear();  // those for its own connection
    MakeDescriptor(waker)->WaitFor(SocketCondition::kReadable, 60000);
    ASSERT_EQ(platform.waits.size(), 1u);
    EXPECT_EQ(platform.waits[0].request.waker, waker->GetHandle());
    EXPECT_EQ(platform.waits[0].timeout, 60000u);
}

// No handles left, or a loopback interface that is down.
TEST(SocketWakerScriptedTest, IsLookedAtNowAndThenWithoutAPair) {
    for (const NPT_Timeout timeout : {NPT_Timeout{60000}, NPT_TIMEOUT_INFINITE}) {
        SCOPED_TRACE(timeout);
        ScriptedPlatform platform;
        platform.failing_name = "Listen";
        const auto waker = std::make_shared<SocketWaker>();
        ASSERT_FALSE(waker->HasPair());
        const auto descriptor = MakeDescriptor(waker);
        platform.wait_steps = {{NPT_ERROR_TIMEOUT, {}, {}},
                               {NPT_ERROR_TIMEOUT, {}, {}},
                               {NPT_ERROR_TIMEOUT, {}, [&waker] { waker->Wake(); }}};
        EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, timeout), NPT_ERROR_CANCELLED);
        ASSERT_EQ(platform.waits.size(), 3u);
        EXPECT_EQ(platform.waits[0].timeout, SocketWaker::kLookInterval);
    }
}

TEST(SocketWakerScriptedTest, KeepsTheTimeOfAWaitWithoutAPair) {
    ScriptedPlatform platform;
    platform.failing_name = "Listen";
    const auto descriptor = MakeDescriptor(std::make_shared<SocketWaker>());
    const auto sleep = [] { std::this_thread::sleep_for(std::chrono::milliseconds(20)); };
    platform.wait_steps.assign(100, {NPT_ERROR_TIMEOUT, {}, sleep});
    EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, 90), NPT_ERROR_TIMEOUT);
    EXPECT_LE(platform.waits.size(), 5u);
    for (const ScriptedPlatform::WaitCall& wait : platform.waits)
        EXPECT_LE(wait.timeout, SocketWaker::kLookInterval);
}

// Whatever else makes the pair readable, nobody could take that away again.
TEST(SocketWakerScriptedTest, IsLookedAtNowAndThenWhenItsPairIsReadableWithoutIt) {
    for (const NPT_Timeout timeout : {NPT_Timeout{60000}, NPT_TIMEOUT_INFINITE}) {
        SCOPED_TRACE(timeout);
        ScriptedPlatform platform;
        const auto waker = std::make_shared<SocketWaker>();
        const auto descriptor = MakeDescriptor(waker);
        platform.waits.clear();
        socket_platform::Readiness readable_waker;
        readable_waker.awake = true;
        platform.wait_steps = {{NPT_SUCCESS, readable_waker, {}},
                               {NPT_ERROR_TIMEOUT, {}, {}},
                               {NPT_ERROR_TIMEOUT, {}, [&waker] { waker->Wake(); }}};
        EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, timeout), NPT_ERROR_NO_PROGRESS);
        EXPECT_EQ(descriptor->WaitFor(SocketCondition::kReadable, timeout), NPT_ERROR_CANCELLED);
        ASSERT_EQ(platform.waits.size(), 3u);
        EXPECT_EQ(platform.waits[1].request.waker, socket_platform::kInvalidHandle);
        EXPECT_EQ(platform.waits[1].timeout, SocketWaker::kLookInterval);
    }
}

TEST(SocketWakerScriptedTest, LetsTimePassWhenItsPairIsReadableWithoutIt) {
    ScriptedPlatform platform;
    const SocketWaker waker;
    platform.waits.clear();
    socket_platform::Readiness readable;
    readable.readable = true;
    platform.wait_steps.assign(100, {NPT_SUCCESS, readable, {}});
    EXPECT_FALSE(waker.WaitFor(60));
    EXPECT_LE(platform.waits.size(), 4u);
}

TEST(SocketWakerScriptedTest, LetsTimePassWhenThereIsNothingToWaitOn) {
    ScriptedPlatform platform;
    const SocketWaker waker;
    platform.failing_name = "Wait";
    EXPECT_FALSE(waker.WaitFor(60));
    EXPECT_LE(platform.waits.size(), 4u);
}

}  // namespace
