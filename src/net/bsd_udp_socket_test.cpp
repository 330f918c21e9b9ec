#include "net/bsd_udp_socket.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "net/testing/loopback.h"

namespace {

class ExposedSocket : public NPT_BsdUdpSocket {
  public:
    explicit ExposedSocket(NPT_UInt32 flags = 0) : NPT_BsdUdpSocket(flags) {}
    NPT_BsdSocketFd& Descriptor() { return *descriptor_; }
};

// A receiver on a port of its own and a sender.
class DatagramTest : public testing::Test {
  protected:
    void SetUp() override {
        address = BindToLoopback(receiver);
        ASSERT_NE(address.GetPort(), 0);
        // Every test of a missing datagram sets its own limit.
        receiver.SetReadTimeout(10000);
    }

    ExposedSocket receiver{NPT_SOCKET_FLAG_CANCELLABLE};
    ExposedSocket sender;
    NPT_SocketAddress address;
    NPT_DataBuffer packet{2000};
    NPT_SocketAddress source;
};

TEST_F(DatagramTest, ArrivesWithItsSourceAddress) {
    const NPT_SocketAddress sender_address = BindToLoopback(sender);
    EXPECT_EQ(SendText(sender, "hello", &address), NPT_SUCCESS);
    EXPECT_EQ(receiver.Receive(packet, &source), NPT_SUCCESS);
    EXPECT_EQ(TextOf(packet), "hello");
    EXPECT_EQ(source, sender_address);
}

TEST_F(DatagramTest, ArrivesWithoutAnybodyAskingForItsSource) {
    SendText(sender, "hello", &address);
    EXPECT_EQ(receiver.Receive(packet), NPT_SUCCESS);
    EXPECT_EQ(TextOf(packet), "hello");
}

TEST_F(DatagramTest, OneArrivesPerReceive) {
    SendText(sender, "first", &address);
    SendText(sender, "second", &address);
    EXPECT_EQ(receiver.Receive(packet), NPT_SUCCESS);
    EXPECT_EQ(TextOf(packet), "first");
    EXPECT_EQ(receiver.Receive(packet), NPT_SUCCESS);
    EXPECT_EQ(TextOf(packet), "second");
}

TEST_F(DatagramTest, MayBeEmpty) {
    packet.SetDataSize(10);
    SendText(sender, "", &address);
    EXPECT_EQ(receiver.Receive(packet, &source), NPT_SUCCESS);
    EXPECT_EQ(packet.GetDataSize(), 0u);
    EXPECT_NE(source.GetPort(), 0);
}

TEST_F(DatagramTest, MayFillTheBufferExactly) {
    const std::string text(2000, 'f');
    SendText(sender, text, &address);
    EXPECT_EQ(receiver.Receive(packet), NPT_SUCCESS);
    EXPECT_EQ(TextOf(packet), text);
}

TEST_F(DatagramTest, LongerThanTheBufferIsDroppedAndTheNextOneArrives) {
    for (const std::size_t size : {std::size_t{2001}, std::size_t{60000}}) {
        SCOPED_TRACE(size);
        packet.SetDataSize(10);
        source = address;
        SendText(sender, std::string(size, 'l'), &address);
        SendText(sender, "good", &address);
        EXPECT_LT(receiver.Receive(packet, &source), NPT_ERROR_SYSTEM_BASE);
        EXPECT_EQ(packet.GetDataSize(), 0u);
        EXPECT_EQ(source, NPT_SocketAddress());
        EXPECT_EQ(receiver.Receive(packet, &source), NPT_SUCCESS);
        EXPECT_EQ(TextOf(packet), "good");
    }
}

TEST_F(DatagramTest, LongerThanTheBufferIsDroppedWithoutASourceToo) {
    SendText(sender, std::string(2001, 'l'), &address);
    EXPECT_LT(receiver.Receive(packet), NPT_ERROR_SYSTEM_BASE);
    EXPECT_EQ(packet.GetDataSize(), 0u);
}

TEST_F(DatagramTest, GoesIntoABorrowedBuffer) {
    NPT_UInt8 bytes[16] = {};
    NPT_DataBuffer borrowed;
    borrowed.SetBuffer(bytes, sizeof bytes);
    SendText(sender, "hello", &address);
    EXPECT_EQ(receiver.Receive(borrowed), NPT_SUCCESS);
    EXPECT_EQ(TextOf(borrowed), "hello");
    EXPECT_EQ(borrowed.GetData(), bytes);
}

TEST_F(DatagramTest, NeedsABuffer) {
    NPT_DataBuffer empty;
    EXPECT_EQ(receiver.Receive(empty), NPT_ERROR_INVALID_ARGUMENT);
}

TEST_F(DatagramTest, TooLargeForTheNetworkIsNotSent) {
    EXPECT_LT(SendText(sender, std::string(70000, 'l'), &address), NPT_ERROR_SYSTEM_BASE);
}

TEST_F(DatagramTest, CountsAsTransferInBothDirections) {
    const NPT_SocketAddress sender_address = BindToLoopback(sender);
    SendText(sender, "12345", &address);
    receiver.Receive(packet);
    SendText(receiver, "123", &sender_address);
    EXPECT_EQ(sender.Descriptor().GetTransferCount(), 5u);
    EXPECT_EQ(receiver.Descriptor().GetTransferCount(), 8u);
}

TEST_F(DatagramTest, GoesToTheConnectedPeer) {
    EXPECT_EQ(sender.Connect(address, 0), NPT_SUCCESS);
    NPT_SocketInfo info;
    sender.GetInfo(info);
    EXPECT_EQ(info.remote_address, address);
    EXPECT_EQ(info.local_address.GetIpAddress(), Loopback());
    EXPECT_EQ(SendText(sender, "hello"), NPT_SUCCESS);
    EXPECT_EQ(receiver.Receive(packet), NPT_SUCCESS);
    EXPECT_EQ(TextOf(packet), "hello");
}

TEST_F(DatagramTest, WithoutAnAddressNeedsAPeer) {
    EXPECT_TRUE(NPT_Failed(SendText(sender, "hello")));
    EXPECT_EQ(sender.Descriptor().GetTransferCount(), 0u);
}

TEST_F(DatagramTest, ThatDoesNotComeIsATimeOut) {
    receiver.SetReadTimeout(500);
    const Stopwatch stopwatch;
    EXPECT_EQ(receiver.Receive(packet, &source), NPT_ERROR_TIMEOUT);
    EXPECT_GE(stopwatch.Milliseconds(), 500);
    EXPECT_LT(stopwatch.Milliseconds(), 5000);
}

TEST_F(DatagramTest, IsNotWaitedForWithTimeOutZero) {
    receiver.SetReadTimeout(0);
    EXPECT_EQ(receiver.Receive(packet), NPT_ERROR_WOULD_BLOCK);
}

TEST_F(DatagramTest, IsWaitedForWithoutALimit) {
    receiver.SetReadTimeout(NPT_TIMEOUT_INFINITE);
    std::thread later([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        SendText(sender, "late", &address);
    });
    EXPECT_EQ(receiver.Receive(packet), NPT_SUCCESS);
    EXPECT_EQ(TextOf(packet), "late");
    later.join();
}

TEST_F(DatagramTest, CancelFromAnotherThreadEndsTheWaitForIt) {
    receiver.SetReadTimeout(NPT_TIMEOUT_INFINITE);
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(receiver.Cancel(false), NPT_SUCCESS);
    });
    EXPECT_EQ(receiver.Receive(packet, &source), NPT_ERROR_CANCELLED);
    EXPECT_EQ(packet.GetDataSize(), 0u);
    canceller.join();
}

TEST_F(DatagramTest, NeitherComesNorGoesOnACancelledSocket) {
    NPT_BsdUdpSocket other;
    const NPT_SocketAddress elsewhere = BindToLoopback(other);
    SendText(sender, "hello", &address);
    receiver.Cancel(false);
    for (const NPT_Timeout timeout : {NPT_Timeout{0}, NPT_Timeout{100}, NPT_TIMEOUT_INFINITE}) {
        SCOPED_TRACE(timeout);
        receiver.SetReadTimeout(timeout);
        receiver.SetWriteTimeout(timeout);
        EXPECT_EQ(receiver.Receive(packet), NPT_ERROR_CANCELLED);
        EXPECT_EQ(packet.GetDataSize(), 0u);
        EXPECT_EQ(SendText(receiver, "hello", &elsewhere), NPT_ERROR_CANCELLED);
    }
    other.SetReadTimeout(0);
    EXPECT_EQ(other.Receive(packet), NPT_ERROR_WOULD_BLOCK);
}

TEST_F(DatagramTest, CancelReachesASocketThatIsNotCancellableAtItsNextUse) {
    EXPECT_EQ(sender.Cancel(false), NPT_SUCCESS);
    EXPECT_EQ(SendText(sender, "hello", &address), NPT_ERROR_CANCELLED);
}

TEST(UdpSocketBindTest, TellsThePortThatTheSystemChose) {
    NPT_BsdUdpSocket socket;
    NPT_SocketInfo info;
    socket.GetInfo(info);
    EXPECT_EQ(info.local_address, NPT_SocketAddress());
    EXPECT_EQ(socket.Bind(NPT_SocketAddress(Loopback(), 0), false), NPT_SUCCESS);
    socket.GetInfo(info);
    EXPECT_EQ(info.local_address.GetIpAddress(), Loopback());
    EXPECT_NE(info.local_address.GetPort(), 0);
    EXPECT_EQ(info.remote_address, NPT_SocketAddress());
}

TEST(UdpSocketBindTest, APortInUseIsRefusedUnlessItIsShared) {
    NPT_BsdUdpSocket first;
    NPT_BsdUdpSocket second;
    NPT_SocketAddress address = BindToLoopback(first);
    EXPECT_EQ(second.Bind(address, false), NPT_ERROR_ADDRESS_IN_USE);

    NPT_BsdUdpSocket sharing;
    NPT_BsdUdpSocket sharing_too;
    NPT_SocketInfo info;
    ASSERT_EQ(sharing.Bind(NPT_SocketAddress(Loopback(), 0), true), NPT_SUCCESS);
    sharing.GetInfo(info);
    EXPECT_EQ(sharing_too.Bind(info.local_address, true), NPT_SUCCESS);
}

}  // namespace
