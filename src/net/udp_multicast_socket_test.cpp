#include "net/udp_multicast_socket.h"

#include <gtest/gtest.h>

#include "net/testing/loopback.h"

namespace {

TEST(UdpMulticastSocketFrontTest, OffersAllThreeInterfacesOfOneSocket) {
    const NPT_IpAddress group_ip(233, 252, 0, 78);
    NPT_UdpMulticastSocket socket;
    ASSERT_EQ(socket.Bind(NPT_SocketAddress(NPT_IpAddress(), 0), false), NPT_SUCCESS);
    EXPECT_EQ(socket.SetInterface(Loopback()), NPT_SUCCESS);
    EXPECT_EQ(socket.SetTimeToLive(4), NPT_SUCCESS);
    EXPECT_EQ(socket.JoinGroup(group_ip, Loopback()), NPT_SUCCESS);
    NPT_SocketInfo info;
    socket.GetInfo(info);
    const NPT_SocketAddress group(group_ip, info.local_address.GetPort());
    NPT_DataBuffer packet(100);
    socket.SetReadTimeout(10000);
    EXPECT_EQ(SendText(socket, "to all", &group), NPT_SUCCESS);
    EXPECT_EQ(socket.Receive(packet), NPT_SUCCESS);
    EXPECT_EQ(TextOf(packet), "to all");
    EXPECT_EQ(socket.LeaveGroup(group_ip, Loopback()), NPT_SUCCESS);
}

}  // namespace
