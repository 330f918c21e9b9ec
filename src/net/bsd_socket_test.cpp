#include "net/bsd_socket.h"

#include <gtest/gtest.h>

#include <new>

#include "core/testing/failing_allocation.h"
#include "net/socket_pair.h"
#include "net/testing/loopback.h"

namespace {

class ExposedSocket : public NPT_BsdSocket {
  public:
    explicit ExposedSocket(socket_platform::Handle handle) : NPT_BsdSocket(handle, 0) {}
    using NPT_BsdSocket::RefreshInfo;
    NPT_BsdSocketFd& Descriptor() { return *descriptor_; }
};

TEST(BsdSocketTest, KnowsBothEndsOfItsConnection) {
    UniqueSocket near_end;
    UniqueSocket far_end;
    ASSERT_EQ(ConnectSocketPair(near_end, far_end), NPT_SUCCESS);
    ExposedSocket socket(near_end.Release());
    ExposedSocket peer(far_end.Release());
    NPT_SocketInfo socket_info;
    NPT_SocketInfo peer_info;
    EXPECT_EQ(socket.GetInfo(socket_info), NPT_SUCCESS);
    EXPECT_EQ(peer.GetInfo(peer_info), NPT_SUCCESS);
    EXPECT_NE(socket_info.local_address.GetPort(), 0);
    EXPECT_EQ(socket_info.local_address, peer_info.remote_address);
    EXPECT_EQ(socket_info.remote_address, peer_info.local_address);
}

TEST(BsdSocketTest, ClosesItsHandleWhenItCannotBeMade) {
    bool refused = true;
    for (long nth = 1; refused; ++nth) {
        socket_platform::Handle handle = socket_platform::kInvalidHandle;
        ASSERT_EQ(socket_platform::Open(socket_platform::Transport::kDatagram, handle),
                  NPT_SUCCESS);
        const FailingAllocation failing(nth);
        try {
            const NPT_BsdSocket socket(handle, 0);
            EXPECT_FALSE(failing.HasHappened());
        } catch (const std::bad_alloc&) {
        }
        refused = failing.HasHappened();
        EXPECT_NE(socket_platform::SetNonBlocking(handle), NPT_SUCCESS);
    }
}

TEST(BsdSocketTest, LeavesConnectingToDerivedClasses) {
    ExposedSocket socket(socket_platform::kInvalidHandle);
    EXPECT_EQ(socket.Connect(NPT_SocketAddress(), 0), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(socket.WaitForConnection(0), NPT_ERROR_NOT_SUPPORTED);
}

TEST(BsdSocketTest, KeepsTimeOutsAsGiven) {
    UniqueSocket near_end;
    UniqueSocket far_end;
    ASSERT_EQ(ConnectSocketPair(near_end, far_end), NPT_SUCCESS);
    ExposedSocket socket(near_end.Release());
    for (const NPT_Timeout timeout : {NPT_Timeout{0}, NPT_Timeout{3000}, NPT_TIMEOUT_INFINITE}) {
        SCOPED_TRACE(timeout);
        EXPECT_EQ(socket.SetReadTimeout(timeout), NPT_SUCCESS);
        EXPECT_EQ(socket.SetWriteTimeout(timeout), NPT_SUCCESS);
        EXPECT_EQ(socket.Descriptor().GetReadTimeout(), timeout);
        EXPECT_EQ(socket.Descriptor().GetWriteTimeout(), timeout);
    }
}

TEST(BsdSocketTest, WithoutAHandleEverythingFails) {
    ExposedSocket socket(socket_platform::kInvalidHandle);
    EXPECT_EQ(socket.RefreshInfo(), NPT_ERROR_INVALID_STATE);
    EXPECT_LT(socket.Bind(NPT_SocketAddress(Loopback(), 0), false), NPT_ERROR_SYSTEM_BASE);
    EXPECT_LT(socket.Bind(NPT_SocketAddress(Loopback(), 0), true), NPT_ERROR_SYSTEM_BASE);
    NPT_SocketInfo info;
    EXPECT_EQ(socket.GetInfo(info), NPT_SUCCESS);
    EXPECT_EQ(info.local_address, NPT_SocketAddress());
    EXPECT_EQ(socket.Cancel(true), NPT_SUCCESS);
}

TEST(BsdSocketTest, ARequestForAStreamReleasesWhatTheReferenceHeld) {
    UniqueSocket near_end;
    UniqueSocket far_end;
    ASSERT_EQ(ConnectSocketPair(near_end, far_end), NPT_SUCCESS);
    ExposedSocket socket(near_end.Release());
    ExposedSocket without_handle(socket_platform::kInvalidHandle);
    NPT_InputStreamReference input;
    NPT_OutputStreamReference output;
    ASSERT_EQ(socket.GetInputStream(input), NPT_SUCCESS);
    ASSERT_EQ(socket.GetOutputStream(output), NPT_SUCCESS);
    EXPECT_FALSE(input.IsNull());
    EXPECT_FALSE(output.IsNull());
    EXPECT_EQ(without_handle.GetInputStream(input), NPT_ERROR_INVALID_STATE);
    EXPECT_EQ(without_handle.GetOutputStream(output), NPT_ERROR_INVALID_STATE);
    EXPECT_TRUE(input.IsNull());
    EXPECT_TRUE(output.IsNull());
}

}  // namespace
