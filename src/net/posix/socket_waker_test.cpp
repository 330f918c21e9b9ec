#include "net/socket_waker.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

#include "net/testing/loopback.h"
#include "net/udp_socket.h"

namespace {

// Elsewhere an end that is shut down here shows it in other ways.
TEST(SocketWaker, EndsWaitsThoughItsPairIsCutOff) {
    const auto waker = std::make_shared<SocketWaker>();
    socket_platform::Shutdown(waker->GetHandle());
    NPT_UdpSocket socket;
    socket.SetWaker(waker);
    const NPT_SocketAddress address = BindToLoopback(socket);
    std::thread waiter([&socket] {
        NPT_DataBuffer packet(100);
        EXPECT_EQ(socket.Receive(packet), NPT_ERROR_NO_PROGRESS);
        EXPECT_EQ(socket.Receive(packet), NPT_SUCCESS);
        EXPECT_EQ(socket.Receive(packet), NPT_ERROR_CANCELLED);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    NPT_DataBuffer packet;
    packet.SetData(reinterpret_cast<const NPT_UInt8*>("answer"), 6);
    EXPECT_EQ(NPT_UdpSocket().Send(packet, &address), NPT_SUCCESS);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const Stopwatch stopwatch;
    waker->Wake();
    waiter.join();
    EXPECT_LT(stopwatch.Milliseconds(), 5000);
}

}  // namespace
