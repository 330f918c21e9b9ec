#include "net/socket_pair.h"

#include <gtest/gtest.h>

#include "net/bsd_socket_fd.h"
#include "net/socket_interface.h"
#include "net/testing/scripted_platform.h"

namespace {

int CallsOfAnUndisturbedPair() {
    ScriptedPlatform platform;
    UniqueSocket write_end;
    UniqueSocket read_end;
    ConnectSocketPair(write_end, read_end);
    return static_cast<int>(platform.calls.size());
}

TEST(SocketPairScriptedTest, AFailingStepClosesEverythingAndReportsItsError) {
    const int calls = CallsOfAnUndisturbedPair();
    ASSERT_GT(calls, 5);
    for (int failing = 0; failing < calls; ++failing) {
        SCOPED_TRACE(failing);
        ScriptedPlatform platform;
        platform.failing_call = failing;
        UniqueSocket write_end;
        UniqueSocket read_end;
        EXPECT_EQ(ConnectSocketPair(write_end, read_end), platform.failure);
        EXPECT_FALSE(write_end.IsValid());
        EXPECT_FALSE(read_end.IsValid());
        EXPECT_TRUE(platform.open.empty());
    }
}

TEST(SocketPairScriptedTest, ADescriptorWithoutItsPairIsJustNotCancellable) {
    const int calls = CallsOfAnUndisturbedPair();
    for (int failing = 1; failing <= calls; ++failing) {
        SCOPED_TRACE(failing);
        ScriptedPlatform platform;
        platform.failing_call = failing;  // call 0 makes the descriptor's handle non-blocking
        {
            const NPT_BsdSocketFd descriptor(900, NPT_SOCKET_FLAG_CANCELLABLE);
            EXPECT_TRUE(descriptor.IsOpen());
            EXPECT_FALSE(descriptor.IsCancellable());
        }
        EXPECT_TRUE(platform.open.empty());
    }
}

TEST(SocketPairScriptedTest, AStrangerThatConnectsFirstIsTurnedAway) {
    ScriptedPlatform platform;
    // Handles: 0 listens, 1 connects, 2 is the stranger's connection, 3 the own one.
    platform.peer_addresses[2] = NPT_SocketAddress(NPT_IpAddress(127, 0, 0, 1), 4711);
    UniqueSocket write_end;
    UniqueSocket read_end;
    EXPECT_EQ(ConnectSocketPair(write_end, read_end), NPT_SUCCESS);
    EXPECT_EQ(write_end.Get(), 1);
    EXPECT_EQ(read_end.Get(), 3);
    EXPECT_EQ(platform.open, (std::set<socket_platform::Handle>{1, 3}));
}

}  // namespace
