#include "net/udp_socket.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "net/testing/loopback.h"

namespace {

TEST(UdpSocketTest, SendsAndReceivesThroughItsDelegate) {
    NPT_UdpSocket receiver;
    NPT_UdpSocket sender;
    const NPT_SocketAddress address = BindToLoopback(receiver);
    const NPT_SocketAddress sender_address = BindToLoopback(sender);
    NPT_DataBuffer packet(100);
    NPT_SocketAddress source;
    receiver.SetReadTimeout(10000);
    EXPECT_EQ(SendText(sender, "hello", &address), NPT_SUCCESS);
    EXPECT_EQ(receiver.Receive(packet, &source), NPT_SUCCESS);
    EXPECT_EQ(TextOf(packet), "hello");
    EXPECT_EQ(source, sender_address);
    NPT_SocketInfo info;
    receiver.GetInfo(info);
    EXPECT_EQ(info.local_address, address);
}

TEST(UdpSocketTest, PassesItsFlagsOn) {
    NPT_UdpSocket socket(NPT_SOCKET_FLAG_CANCELLABLE);
    BindToLoopback(socket);
    NPT_DataBuffer packet(100);
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        socket.Cancel(false);
    });
    EXPECT_EQ(socket.Receive(packet), NPT_ERROR_CANCELLED);
    canceller.join();
}

}  // namespace
