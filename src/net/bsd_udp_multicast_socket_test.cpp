#include "net/bsd_udp_multicast_socket.h"

#include <gtest/gtest.h>

#include "net/testing/loopback.h"

namespace {

// Of the block that administrators keep for tests and documentation.
const NPT_IpAddress kGroup(233, 252, 0, 77);

class ExposedSocket : public NPT_BsdUdpMulticastSocket {
  public:
    int GetOption(socket_platform::Option option) {
        int value = 0;
        NPT_UInt32 size = sizeof value;
        EXPECT_EQ(socket_platform::GetOption(descriptor_->GetHandle(), option, &value, size),
                  NPT_SUCCESS);
        return value;
    }
};

TEST(UdpMulticastSocketTest, HearsTheGroupsItJoinedAndItself) {
    ExposedSocket receiver;
    ASSERT_EQ(receiver.Bind(NPT_SocketAddress(NPT_IpAddress(), 0), false), NPT_SUCCESS);
    ASSERT_EQ(receiver.JoinGroup(kGroup, Loopback()), NPT_SUCCESS);
    ASSERT_EQ(receiver.SetInterface(Loopback()), NPT_SUCCESS);
    NPT_SocketInfo info;
    receiver.GetInfo(info);
    const NPT_SocketAddress group(kGroup, info.local_address.GetPort());
    NPT_DataBuffer packet(100);
    receiver.SetReadTimeout(10000);
    EXPECT_EQ(SendText(receiver, "to all", &group), NPT_SUCCESS);
    EXPECT_EQ(receiver.Receive(packet), NPT_SUCCESS);
    EXPECT_EQ(TextOf(packet), "to all");

    EXPECT_EQ(receiver.LeaveGroup(kGroup, Loopback()), NPT_SUCCESS);
    receiver.SetReadTimeout(100);
    SendText(receiver, "to nobody", &group);
    EXPECT_EQ(receiver.Receive(packet), NPT_ERROR_TIMEOUT);
}

TEST(UdpMulticastSocketTest, OptionsReachThePlatform) {
    ExposedSocket socket;
    EXPECT_EQ(socket.GetOption(socket_platform::Option::kMulticastLoop), 1);
    EXPECT_NE(socket.GetOption(socket_platform::Option::kBroadcast), 0);
    EXPECT_EQ(socket.SetTimeToLive(4), NPT_SUCCESS);
    EXPECT_EQ(socket.GetOption(socket_platform::Option::kMulticastTimeToLive), 4);
    EXPECT_EQ(socket.SetTimeToLive(255), NPT_SUCCESS);
    EXPECT_EQ(socket.GetOption(socket_platform::Option::kMulticastTimeToLive), 255);
}

TEST(UdpMulticastSocketTest, WhatThePlatformRefusesIsReported) {
    ExposedSocket socket;
    const NPT_IpAddress no_group(10, 0, 0, 1);
    const NPT_IpAddress no_interface(192, 0, 2, 1);
    EXPECT_LT(socket.JoinGroup(no_group, Loopback()), NPT_ERROR_SYSTEM_BASE);
    EXPECT_LT(socket.LeaveGroup(kGroup, Loopback()), NPT_ERROR_SYSTEM_BASE);
    EXPECT_LT(socket.SetInterface(no_interface), NPT_ERROR_SYSTEM_BASE);
}

}  // namespace
