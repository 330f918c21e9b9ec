#include "net/socket_waker.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "net/testing/loopback.h"
#include "net/udp_socket.h"

namespace {

TEST(SocketWaker, IsAwakeForGood) {
    SocketWaker waker;
    EXPECT_TRUE(waker.HasPair());
    EXPECT_FALSE(waker.IsAwake());
    for (int round = 0; round < 100000; ++round)
        waker.Wake();  // a full pair holds nobody
    EXPECT_TRUE(waker.IsAwake());
    EXPECT_TRUE(waker.WaitFor(0));
    EXPECT_TRUE(waker.WaitFor(60000));
}

TEST(SocketWaker, IsWaitedForAsLongAsToldAndNoLonger) {
    const SocketWaker waker;
    const Stopwatch stopwatch;
    EXPECT_FALSE(waker.WaitFor(0));
    EXPECT_FALSE(waker.WaitFor(100));
    EXPECT_GE(stopwatch.Milliseconds(), 100);
    EXPECT_LT(stopwatch.Milliseconds(), 5000);
}

TEST(SocketWaker, EndsTheWaitsOfAllItsSocketsAndItsOwn) {
    const auto waker = std::make_shared<SocketWaker>();
    std::vector<std::thread> waiters;
    waiters.emplace_back([waker] { EXPECT_TRUE(waker->WaitFor(60000)); });
    for (int count = 0; count < 16; ++count) {
        waiters.emplace_back([waker] {
            NPT_UdpSocket socket;
            socket.SetWaker(waker);
            BindToLoopback(socket);
            NPT_DataBuffer packet(100);
            EXPECT_EQ(socket.Receive(packet), NPT_ERROR_CANCELLED);
        });
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const Stopwatch stopwatch;
    waker->Wake();
    for (std::thread& waiter : waiters)
        waiter.join();
    EXPECT_LT(stopwatch.Milliseconds(), 5000);
}

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

TEST(SocketWaker, LeavesOtherSocketsAlone) {
    const auto waker = std::make_shared<SocketWaker>();
    NPT_UdpSocket socket;
    socket.SetWaker(std::make_shared<SocketWaker>());
    socket.SetReadTimeout(0);
    waker->Wake();
    NPT_DataBuffer packet(100);
    EXPECT_EQ(socket.Receive(packet), NPT_ERROR_WOULD_BLOCK);
}

}  // namespace
