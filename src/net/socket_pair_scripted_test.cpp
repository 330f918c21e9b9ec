#include "net/socket_pair.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "net/bsd_socket_fd.h"
#include "net/socket_interface.h"
#include "net/testing/scripted_platform.h"

namespace {

std::vector<std::string> CallsOfAnUndisturbedPair() {
    ScriptedPlatform platform;
    UniqueSocket write_end;
    UniqueSocket read_end;
    ConnectSocketPair(write_end, read_end);
    return platform.calls;
}

TEST(SocketPairScriptedTest, AStepThatAlwaysFailsClosesEverything) {
    const std::vector<std::string> calls = CallsOfAnUndisturbedPair();
    ASSERT_GT(calls.size(), 5u);
    for (const std::string& failing : calls) {
        SCOPED_TRACE(failing);
        ScriptedPlatform platform;
        platform.failing_name = failing;
        UniqueSocket write_end;
        UniqueSocket read_end;
        EXPECT_TRUE(NPT_Failed(ConnectSocketPair(write_end, read_end)));
        EXPECT_FALSE(write_end.IsValid());
        EXPECT_FALSE(read_end.IsValid());
        EXPECT_TRUE(platform.open.empty());
    }
}

TEST(SocketPairScriptedTest, AStepThatFailsOnceCostsOneAttempt) {
    const int calls = static_cast<int>(CallsOfAnUndisturbedPair().size());
    for (int failing = 0; failing < calls; ++failing) {
        SCOPED_TRACE(failing);
        ScriptedPlatform platform;
        platform.failing_call = failing;
        UniqueSocket write_end;
        UniqueSocket read_end;
        EXPECT_EQ(ConnectSocketPair(write_end, read_end), NPT_SUCCESS);
        EXPECT_EQ(platform.open,
                  (std::set<socket_platform::Handle>{write_end.Get(), read_end.Get()}));
    }
}

TEST(SocketPairScriptedTest, ADescriptorWithoutItsPairIsJustNotCancellable) {
    for (const std::string& failing : CallsOfAnUndisturbedPair()) {
        SCOPED_TRACE(failing);
        ScriptedPlatform platform;
        platform.failing_name = failing;
        {
            const NPT_BsdSocketFd descriptor(900, NPT_SOCKET_FLAG_CANCELLABLE);
            EXPECT_TRUE(descriptor.IsOpen());
            EXPECT_FALSE(descriptor.IsCancellable());
        }
        EXPECT_TRUE(platform.open.empty());
    }
}

TEST(SocketPairScriptedTest, IsMadeAnewWhenAStrangerConnectsFirst) {
    ScriptedPlatform platform;
    // Handles: 0 listens, 1 connects, 2 is the stranger's connection; then the same anew.
    platform.peer_addresses[2] = NPT_SocketAddress(NPT_IpAddress(127, 0, 0, 1), 4711);
    UniqueSocket write_end;
    UniqueSocket read_end;
    EXPECT_EQ(ConnectSocketPair(write_end, read_end), NPT_SUCCESS);
    EXPECT_EQ(write_end.Get(), 4);
    EXPECT_EQ(read_end.Get(), 5);
    EXPECT_EQ(platform.open, (std::set<socket_platform::Handle>{4, 5}));
}

TEST(SocketPairScriptedTest, IsMadeAnewWhenTheOwnEndReachedAStranger) {
    ScriptedPlatform platform;
    platform.peer_addresses[1] = NPT_SocketAddress(NPT_IpAddress(127, 0, 0, 1), 4711);
    UniqueSocket write_end;
    UniqueSocket read_end;
    EXPECT_EQ(ConnectSocketPair(write_end, read_end), NPT_SUCCESS);
    EXPECT_EQ(write_end.Get(), 4);
    EXPECT_EQ(read_end.Get(), 5);
}

void ExpectShortWaits(ScriptedPlatform& platform) {
    platform.wait_steps = {
        {NPT_ERROR_TIMEOUT, {}, {}}, {NPT_ERROR_TIMEOUT, {}, {}}, {NPT_ERROR_TIMEOUT, {}, {}}};
    UniqueSocket write_end;
    UniqueSocket read_end;
    EXPECT_EQ(ConnectSocketPair(write_end, read_end), NPT_ERROR_TIMEOUT);
    ASSERT_EQ(platform.waits.size(), 3u);
    for (const ScriptedPlatform::WaitCall& wait : platform.waits)
        EXPECT_LE(wait.timeout, 200u);
    EXPECT_TRUE(platform.open.empty());
}

TEST(SocketPairScriptedTest, WaitsNotLongForStrangersThatFillTheQueue) {
    ScriptedPlatform platform;
    platform.failing_name = "Connect";
    platform.failure = NPT_ERROR_WOULD_BLOCK;
    ExpectShortWaits(platform);
}

TEST(SocketPairScriptedTest, WaitsNotLongForAConnectionThatAStrangerTook) {
    ScriptedPlatform platform;
    ExpectShortWaits(platform);
    EXPECT_EQ(platform.CountOf("Accept"), 0);
}

}  // namespace
