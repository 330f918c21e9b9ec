#include "net/socket_waker.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "net/socket_pair.h"
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

TEST(SocketWaker, IsToldApartFromTheSocketThatWaits) {
    UniqueSocket write_end;
    UniqueSocket read_end;
    ASSERT_EQ(ConnectSocketPair(write_end, read_end), NPT_SUCCESS);
    socket_platform::Handle handle = socket_platform::kInvalidHandle;
    ASSERT_EQ(socket_platform::Open(socket_platform::Transport::kDatagram, handle), NPT_SUCCESS);
    const UniqueSocket waiting(handle);
    socket_platform::WaitRequest request;
    request.socket = handle;
    request.for_write = true;
    request.waker = read_end.Get();
    socket_platform::Readiness readiness;
    EXPECT_EQ(socket_platform::Wait(request, 5000, readiness), NPT_SUCCESS);
    EXPECT_FALSE(readiness.awake);
    request.for_write = false;
    request.for_read = true;
    NPT_UInt32 sent = 0;
    EXPECT_EQ(socket_platform::Send(write_end.Get(), "x", 1, sent), NPT_SUCCESS);
    EXPECT_EQ(socket_platform::Wait(request, 5000, readiness), NPT_SUCCESS);
    EXPECT_TRUE(readiness.awake);
    EXPECT_FALSE(readiness.readable);
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
