#include "net/bsd_udp_multicast_socket.h"

#include <gtest/gtest.h>

#include "net/testing/scripted_platform.h"

namespace {

using socket_platform::Option;
using Bytes = std::vector<NPT_UInt8>;

const NPT_IpAddress kGroup(239, 255, 255, 250);
const NPT_IpAddress kInterface(192, 168, 1, 20);

TEST(UdpMulticastSocketScriptedTest, LoopsBackWithAFourByteOption) {
    ScriptedPlatform platform;
    const NPT_BsdUdpMulticastSocket socket;
    const auto* loop = platform.FindOption(Option::kMulticastLoop);
    ASSERT_NE(loop, nullptr);
    const int on = 1;
    const NPT_UInt8* on_bytes = reinterpret_cast<const NPT_UInt8*>(&on);
    EXPECT_EQ(loop->value, Bytes(on_bytes, on_bytes + sizeof on));
    EXPECT_NE(platform.FindOption(Option::kBroadcast), nullptr);
}

TEST(UdpMulticastSocketScriptedTest, TimeToLiveIsAOneByteOption) {
    ScriptedPlatform platform;
    NPT_BsdUdpMulticastSocket socket;
    EXPECT_EQ(socket.SetTimeToLive(4), NPT_SUCCESS);
    const auto* time_to_live = platform.FindOption(Option::kMulticastTimeToLive);
    ASSERT_NE(time_to_live, nullptr);
    EXPECT_EQ(time_to_live->value, Bytes{4});
}

TEST(UdpMulticastSocketScriptedTest, InterfaceIsFourBytesInNetworkOrder) {
    ScriptedPlatform platform;
    NPT_BsdUdpMulticastSocket socket;
    EXPECT_EQ(socket.SetInterface(kInterface), NPT_SUCCESS);
    const auto* chosen = platform.FindOption(Option::kMulticastInterface);
    ASSERT_NE(chosen, nullptr);
    EXPECT_EQ(chosen->value, (Bytes{192, 168, 1, 20}));
}

// An interface that was removed and made again has another number behind the same address.
TEST(UdpMulticastSocketScriptedTest, InterfaceIsNamedAnewBeforeEachDatagram) {
    ScriptedPlatform platform;
    NPT_BsdUdpMulticastSocket socket;
    socket.SetInterface(kInterface);
    const NPT_DataBuffer packet;
    const NPT_SocketAddress group(kGroup, 31288);
    platform.options_set.clear();
    EXPECT_EQ(socket.Send(packet, &group), NPT_SUCCESS);
    const auto* chosen = platform.FindOption(Option::kMulticastInterface);
    ASSERT_NE(chosen, nullptr);
    EXPECT_EQ(chosen->value, (Bytes{192, 168, 1, 20}));
}

TEST(UdpMulticastSocketScriptedTest, NothingIsSentWhileTheInterfaceIsNotThere) {
    ScriptedPlatform platform;
    NPT_BsdUdpMulticastSocket socket;
    platform.failing_name = "SetOption";
    socket.SetInterface(kInterface);
    const NPT_DataBuffer packet;
    const NPT_SocketAddress group(kGroup, 31288);
    EXPECT_EQ(socket.Send(packet, &group), platform.failure);
    EXPECT_EQ(platform.CountOf("SendTo"), 0);
    platform.failing_name.clear();
    EXPECT_EQ(socket.Send(packet, &group), NPT_SUCCESS);
    EXPECT_EQ(platform.CountOf("SendTo"), 1);
}

TEST(UdpMulticastSocketScriptedTest, MembershipIsGroupThenInterface) {
    ScriptedPlatform platform;
    NPT_BsdUdpMulticastSocket socket;
    EXPECT_EQ(socket.JoinGroup(kGroup, kInterface), NPT_SUCCESS);
    EXPECT_EQ(socket.LeaveGroup(kGroup, kInterface), NPT_SUCCESS);
    for (const Option option : {Option::kMulticastAddGroup, Option::kMulticastRemoveGroup}) {
        const auto* membership = platform.FindOption(option);
        ASSERT_NE(membership, nullptr);
        EXPECT_EQ(membership->value, (Bytes{239, 255, 255, 250, 192, 168, 1, 20}));
    }
}

TEST(UdpMulticastSocketScriptedTest, FailuresOfThePlatformAreReported) {
    ScriptedPlatform platform;
    NPT_BsdUdpMulticastSocket socket;
    platform.failing_name = "SetOption";
    EXPECT_EQ(socket.JoinGroup(kGroup, kInterface), platform.failure);
    EXPECT_EQ(socket.LeaveGroup(kGroup, kInterface), platform.failure);
    EXPECT_EQ(socket.SetTimeToLive(4), platform.failure);
    EXPECT_EQ(socket.SetInterface(kInterface), platform.failure);
}

}  // namespace
