#include "net/bsd_socket_fd.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "net/socket_interface.h"
#include "net/socket_pair.h"
#include "net/testing/loopback.h"

namespace {

// One end of a connection as a descriptor, the other as a plain socket.
struct Connection {
    explicit Connection(NPT_UInt32 flags = 0) {
        UniqueSocket near_end;
        EXPECT_EQ(ConnectSocketPair(near_end, peer), NPT_SUCCESS);
        descriptor = NPT_BsdSocketFdReference(new NPT_BsdSocketFd(near_end.Release(), flags));
    }
    void SendFromPeer(const char* text, NPT_UInt32 size) {
        NPT_UInt32 sent = 0;
        EXPECT_EQ(socket_platform::Send(peer.Get(), text, size, sent), NPT_SUCCESS);
    }

    UniqueSocket peer;
    NPT_BsdSocketFdReference descriptor;
};

TEST(SocketDescriptorTest, StartsWithoutLimitsAndWithoutTransfers) {
    const Connection connection;
    EXPECT_EQ(connection.descriptor->GetReadTimeout(), NPT_TIMEOUT_INFINITE);
    EXPECT_EQ(connection.descriptor->GetWriteTimeout(), NPT_TIMEOUT_INFINITE);
    EXPECT_EQ(connection.descriptor->GetTransferCount(), 0u);
    EXPECT_FALSE(connection.descriptor->IsCancelled());
    EXPECT_FALSE(connection.descriptor->IsCancellable());
}

TEST(SocketDescriptorTest, IsNonBlocking) {
    const Connection connection;
    char byte = 0;
    NPT_UInt32 received = 0;
    EXPECT_EQ(socket_platform::Receive(connection.descriptor->GetHandle(), &byte, 1, received),
              NPT_ERROR_WOULD_BLOCK);
}

TEST(SocketWaitTest, SeesDataAndRoom) {
    Connection connection;
    EXPECT_EQ(connection.descriptor->WaitFor(SocketCondition::kReadable, 0), NPT_ERROR_WOULD_BLOCK);
    EXPECT_EQ(connection.descriptor->WaitFor(SocketCondition::kWritable, 1000), NPT_SUCCESS);
    EXPECT_EQ(connection.descriptor->WaitFor(SocketCondition::kReadableOrWritable, 1000,
                                             PendingErrors::kReported),
              NPT_SUCCESS);
    connection.SendFromPeer("x", 1);
    EXPECT_EQ(connection.descriptor->WaitFor(SocketCondition::kReadable, 5000), NPT_SUCCESS);
}

TEST(SocketWaitTest, TheEndOfTheConnectionIsReadable) {
    Connection connection;
    connection.peer = UniqueSocket();
    EXPECT_EQ(connection.descriptor->WaitFor(SocketCondition::kReadable, 5000), NPT_SUCCESS);
}

TEST(SocketWaitTest, LastsAsLongAsItsTimeOut) {
    const Connection connection;
    const Stopwatch stopwatch;
    EXPECT_EQ(connection.descriptor->WaitFor(SocketCondition::kReadable, 200), NPT_ERROR_TIMEOUT);
    EXPECT_GE(stopwatch.Milliseconds(), 200);
    EXPECT_LT(stopwatch.Milliseconds(), 5000);
}

TEST(SocketWaitTest, AnInvalidHandleFailsInsteadOfWaiting) {
    NPT_BsdSocketFd descriptor(socket_platform::kInvalidHandle, 0);
    EXPECT_LT(descriptor.WaitFor(SocketCondition::kReadable, NPT_TIMEOUT_INFINITE),
              NPT_ERROR_SYSTEM_BASE);
}

TEST(SocketCancelTest, EndsAWaitInProgressAtOnce) {
    for (const NPT_Timeout timeout : {NPT_TIMEOUT_INFINITE, NPT_Timeout{600000}}) {
        SCOPED_TRACE(timeout);
        const Connection connection(NPT_SOCKET_FLAG_CANCELLABLE);
        ASSERT_TRUE(connection.descriptor->IsCancellable());
        std::thread canceller([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            connection.descriptor->Cancel(false);
        });
        EXPECT_EQ(connection.descriptor->WaitFor(SocketCondition::kReadable, timeout),
                  NPT_ERROR_CANCELLED);
        canceller.join();
    }
}

TEST(SocketCancelTest, WithShutdownEndsTheConnectionForThePeer) {
    const Connection connection;
    connection.descriptor->Cancel(true);
    char byte = 0;
    NPT_UInt32 received = 99;
    EXPECT_EQ(socket_platform::Receive(connection.peer.Get(), &byte, 1, received), NPT_SUCCESS);
    EXPECT_EQ(received, 0u);
}

TEST(SocketCancelTest, IsForGood) {
    Connection connection(NPT_SOCKET_FLAG_CANCELLABLE);
    for (int round = 0; round < 3; ++round) {
        connection.descriptor->Cancel(false);
        EXPECT_EQ(connection.descriptor->WaitFor(SocketCondition::kWritable, 0),
                  NPT_ERROR_CANCELLED);
        EXPECT_EQ(connection.descriptor->WaitFor(SocketCondition::kWritable, 1000),
                  NPT_ERROR_CANCELLED);
    }
}

}  // namespace
