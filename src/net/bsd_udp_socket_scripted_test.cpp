#include "net/bsd_udp_socket.h"

#include <gtest/gtest.h>

#include <cstring>

#include "net/testing/scripted_platform.h"

namespace {

using socket_platform::Option;

const NPT_SocketAddress kPeer(NPT_IpAddress(127, 0, 0, 1), 31288);

class ExposedSocket : public NPT_BsdUdpSocket {
  public:
    explicit ExposedSocket(NPT_UInt32 flags = 0) : NPT_BsdUdpSocket(flags) {}
    NPT_BsdSocketFd& Descriptor() { return *descriptor_; }
};

int AsInt(const ScriptedPlatform::OptionCall& call) {
    int value = 0;
    EXPECT_EQ(call.value.size(), sizeof value);
    std::memcpy(&value, call.value.data(), sizeof value);
    return value;
}

TEST(UdpSocketScriptedTest, MaySendToBroadcastAddresses) {
    ScriptedPlatform platform;
    const NPT_BsdUdpSocket socket;
    const auto* broadcast = platform.FindOption(Option::kBroadcast);
    ASSERT_NE(broadcast, nullptr);
    EXPECT_EQ(AsInt(*broadcast), 1);
}

TEST(UdpSocketScriptedTest, WantsNoReportsAboutWhatItSent) {
    ScriptedPlatform platform;
    const NPT_BsdUdpSocket socket;
    EXPECT_EQ(platform.CountOf("IgnoreDeliveryReports"), 1);
}

TEST(UdpSocketScriptedTest, LooksBeforeItReceivesWithoutAWaitWhereItCouldBlock) {
    ScriptedPlatform platform;
    platform.failing_name = "SetNonBlocking";
    platform.failure = NPT_FAILURE;
    platform.wait_steps = {{NPT_ERROR_TIMEOUT, {}, {}}};
    NPT_BsdUdpSocket socket;
    socket.SetReadTimeout(0);
    NPT_DataBuffer packet(10);
    EXPECT_EQ(socket.Receive(packet, nullptr), NPT_ERROR_WOULD_BLOCK);
    EXPECT_EQ(platform.CountOf("ReceiveDatagram"), 0);
}

TEST(UdpSocketScriptedTest, AsksForTheReceiveBufferThatIsWanted) {
    ScriptedPlatform platform;
    NPT_BsdUdpSocket socket;
    platform.option_values[Option::kReceiveBuffer] = 65536;
    socket.AskForReceiveBuffer(1 << 22);
    const auto* buffer = platform.FindOption(Option::kReceiveBuffer);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(AsInt(*buffer), 1 << 22);
}

TEST(UdpSocketScriptedTest, AsksForLessOfTheReceiveBufferWhereThatIsRefused) {
    ScriptedPlatform platform;
    NPT_BsdUdpSocket socket;
    platform.option_values[Option::kReceiveBuffer] = 65536;
    platform.failing_call = static_cast<int>(platform.calls.size()) + 1;  // the first SetOption
    socket.AskForReceiveBuffer(1 << 22);
    const auto* buffer = platform.FindOption(Option::kReceiveBuffer);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(AsInt(*buffer), 1 << 21);
}

TEST(UdpSocketScriptedTest, LeavesAReceiveBufferThatIsLargeEnough) {
    ScriptedPlatform platform;
    NPT_BsdUdpSocket socket;
    platform.option_values[Option::kReceiveBuffer] = 1 << 23;
    socket.AskForReceiveBuffer(1 << 22);
    EXPECT_EQ(platform.FindOption(Option::kReceiveBuffer), nullptr);
}

TEST(UdpSocketScriptedTest, GivesUpOnAReceiveBufferThatIsAlwaysRefused) {
    ScriptedPlatform platform;
    NPT_BsdUdpSocket socket;
    platform.option_values[Option::kReceiveBuffer] = 65536;
    platform.failing_name = "SetOption";
    platform.calls.clear();
    socket.AskForReceiveBuffer(1 << 22);
    EXPECT_EQ(platform.CountOf("SetOption"), 6);
}

TEST(UdpSocketScriptedTest, WorksWhereReportsCannotBeSwitchedOff) {
    ScriptedPlatform platform;
    platform.failing_name = "IgnoreDeliveryReports";
    NPT_BsdUdpSocket socket;
    EXPECT_NE(platform.FindOption(Option::kBroadcast), nullptr);
    NPT_DataBuffer packet(10);
    EXPECT_EQ(socket.Send(packet, &kPeer), NPT_SUCCESS);
    EXPECT_EQ(socket.Receive(packet), NPT_SUCCESS);
}

TEST(UdpSocketScriptedTest, ADatagramCostsOneWaitAndOneReceive) {
    ScriptedPlatform platform;
    NPT_BsdUdpSocket socket;
    NPT_DataBuffer packet(2000);
    NPT_SocketAddress source;
    NPT_SocketInfo info;
    platform.calls.clear();
    socket.Receive(packet, &source);
    socket.GetInfo(info);
    EXPECT_EQ(platform.calls, (std::vector<std::string>{"Wait", "ReceiveDatagram"}));
}

TEST(UdpSocketScriptedTest, AFailedReceiveLeavesNothingBehind) {
    for (const char* failing : {"Wait", "ReceiveDatagram"}) {
        SCOPED_TRACE(failing);
        ScriptedPlatform platform;
        ExposedSocket socket;
        NPT_DataBuffer packet(100);
        packet.SetDataSize(60);
        NPT_SocketAddress source = kPeer;
        platform.failing_name = failing;
        EXPECT_EQ(socket.Receive(packet, &source), platform.failure);
        EXPECT_EQ(packet.GetDataSize(), 0u);
        EXPECT_EQ(source, NPT_SocketAddress());
        EXPECT_EQ(socket.Descriptor().GetTransferCount(), 0u);
    }
}

TEST(UdpSocketScriptedTest, CancelBetweenWaitAndReceiveWinsOverTheDatagram) {
    ScriptedPlatform platform;
    ExposedSocket socket;
    NPT_DataBuffer packet(100);
    NPT_SocketAddress source;
    platform.source = kPeer;
    platform.receive_steps = {{NPT_SUCCESS, 40, [&] { socket.Cancel(false); }}};
    EXPECT_EQ(socket.Receive(packet, &source), NPT_ERROR_CANCELLED);
    EXPECT_EQ(packet.GetDataSize(), 0u);
    EXPECT_EQ(source, NPT_SocketAddress());
    EXPECT_EQ(socket.Descriptor().GetTransferCount(), 0u);
}

TEST(UdpSocketScriptedTest, CancelBetweenWaitAndSendWinsOverSuccess) {
    ScriptedPlatform platform;
    ExposedSocket socket;
    const NPT_DataBuffer packet(100);
    platform.send_steps = {{NPT_SUCCESS, 0, [&] { socket.Cancel(false); }}};
    EXPECT_EQ(socket.Send(packet, &kPeer), NPT_ERROR_CANCELLED);
    EXPECT_EQ(socket.Descriptor().GetTransferCount(), 0u);
}

TEST(UdpSocketScriptedTest, SendReportsEachFailingCall) {
    for (const char* failing : {"Wait", "SendTo"}) {
        SCOPED_TRACE(failing);
        ScriptedPlatform platform;
        ExposedSocket socket;
        NPT_DataBuffer packet(100);
        packet.SetDataSize(100);
        platform.failing_name = failing;
        EXPECT_EQ(socket.Send(packet, &kPeer), platform.failure);
        EXPECT_EQ(socket.Descriptor().GetTransferCount(), 0u);
    }
}

TEST(UdpSocketScriptedTest, TimeOutZeroDoesNotAskWhetherThereIsAnythingToDo) {
    ScriptedPlatform platform;
    NPT_BsdUdpSocket socket;
    NPT_DataBuffer packet(100);
    socket.SetReadTimeout(0);
    socket.SetWriteTimeout(0);
    EXPECT_EQ(socket.Receive(packet), NPT_SUCCESS);
    EXPECT_EQ(socket.Send(packet), NPT_SUCCESS);
    EXPECT_EQ(platform.CountOf("Wait"), 0);
    EXPECT_EQ(platform.CountOf("Send"), 1);
}

TEST(UdpSocketScriptedTest, WithoutAPlatformSocketNothingWorksAndNothingCloses) {
    ScriptedPlatform platform;
    platform.failing_name = "Open";
    {
        NPT_BsdUdpSocket socket;
        NPT_InputStreamReference input;
        NPT_OutputStreamReference output;
        EXPECT_EQ(socket.GetInputStream(input), NPT_ERROR_INVALID_STATE);
        EXPECT_EQ(socket.GetOutputStream(output), NPT_ERROR_INVALID_STATE);
        EXPECT_TRUE(input.IsNull());
        EXPECT_TRUE(output.IsNull());
        EXPECT_EQ(platform.CountOf("GetLocalAddress"), 0);
    }
    EXPECT_TRUE(platform.closed.empty());
}

TEST(UdpSocketScriptedTest, BindReportsEachFailingCall) {
    ScriptedPlatform platform;
    NPT_BsdUdpSocket socket;
    platform.failing_name = "SetOption";
    EXPECT_EQ(socket.Bind(kPeer, true), platform.failure);
    EXPECT_EQ(platform.CountOf("Bind"), 0);
    EXPECT_EQ(socket.Bind(kPeer, false), NPT_SUCCESS);
    platform.failing_name = "Bind";
    EXPECT_EQ(socket.Bind(kPeer, false), platform.failure);
}

TEST(UdpSocketScriptedTest, AddressesAreReadAtCreationBindAndConnectOnly) {
    ScriptedPlatform platform;
    NPT_BsdUdpSocket socket;
    EXPECT_EQ(platform.CountOf("GetLocalAddress"), 1);
    socket.Bind(kPeer, false);
    EXPECT_EQ(platform.CountOf("GetLocalAddress"), 2);
    socket.Connect(kPeer, 0);
    EXPECT_EQ(platform.CountOf("GetLocalAddress"), 3);
    platform.failing_name = "Connect";
    EXPECT_EQ(socket.Connect(kPeer, 0), platform.failure);
    EXPECT_EQ(platform.CountOf("GetLocalAddress"), 3);
}

TEST(UdpSocketScriptedTest, AnAddressThatThePlatformDoesNotTellStaysAsItWas) {
    ScriptedPlatform platform;
    NPT_BsdUdpSocket socket;
    NPT_SocketInfo before;
    socket.GetInfo(before);
    ASSERT_EQ(before.local_address.GetPort(), 4000);
    for (const char* failing : {"GetLocalAddress", "GetPeerAddress"}) {
        SCOPED_TRACE(failing);
        platform.failing_name = failing;
        EXPECT_EQ(socket.Bind(kPeer, false), NPT_SUCCESS);
        NPT_SocketInfo after;
        socket.GetInfo(after);
        EXPECT_EQ(after.local_address, before.local_address);
        EXPECT_EQ(after.remote_address, before.remote_address);
    }
}

TEST(UdpSocketScriptedTest, AFailingSendTimeOutOptionIsIgnored) {
    ScriptedPlatform platform;
    ExposedSocket socket;
    platform.failing_name = "SetSendTimeout";
    EXPECT_EQ(socket.SetWriteTimeout(10000), NPT_SUCCESS);
    EXPECT_EQ(platform.CountOf("SetSendTimeout"), 1);
    EXPECT_EQ(socket.Descriptor().GetWriteTimeout(), 10000u);
}

}  // namespace
