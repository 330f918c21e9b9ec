#include "net/socket_platform.h"

#include <winsock2.h>

#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "net/bsd_udp_socket.h"
#include "net/socket_pair.h"
#include "net/testing/loopback.h"

namespace {

std::vector<DWORD> reports_switched_off;

int WSAAPI NotingWsaIoctl(SOCKET socket, DWORD code, void* in, DWORD in_size, void* out,
                          DWORD out_size, DWORD* returned, OVERLAPPED* overlapped,
                          LPWSAOVERLAPPED_COMPLETION_ROUTINE routine) {
    if (in && in_size == sizeof(BOOL) && !*static_cast<const BOOL*>(in))
        reports_switched_off.push_back(code);
    static const auto real = reinterpret_cast<decltype(&WSAIoctl)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ws2_32.dll"), "WSAIoctl")));
    return real(socket, code, in, in_size, out, out_size, returned, overlapped, routine);
}

}  // namespace

// What the program itself defines, the linker does not take from the system's import library.
extern "C" const decltype(&WSAIoctl) __imp_WSAIoctl = NotingWsaIoctl;

namespace {

struct ErrorCase {
    int error;
    NPT_Result result;
};

class SocketErrorTest : public testing::TestWithParam<ErrorCase> {};

TEST_P(SocketErrorTest, HasItsResultCode) {
    EXPECT_EQ(socket_platform::MapError(GetParam().error), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    WindowsSocketTest, SocketErrorTest,
    testing::Values(ErrorCase{10004, -20020}, ErrorCase{10035, -20015}, ErrorCase{10036, -20015},
                    ErrorCase{10048, -20412}, ErrorCase{10050, -20413}, ErrorCase{10051, -20414},
                    ErrorCase{10052, -20400}, ErrorCase{10053, -20401}, ErrorCase{10054, -20400},
                    ErrorCase{10057, -20416}, ErrorCase{10060, -20014}, ErrorCase{10061, -20402},
                    ErrorCase{10065, -20415}, ErrorCase{10013, -32013}, ErrorCase{10040, -32040},
                    ErrorCase{10038, -32038}, ErrorCase{10093, -32093}));

TEST(WindowsSocketTest, ADatagramThatIsTooLongHasTheNumberOfItsError) {
    NPT_BsdUdpSocket receiver;
    NPT_BsdUdpSocket sender;
    const NPT_SocketAddress address = BindToLoopback(receiver);
    NPT_DataBuffer packet(2000);
    receiver.SetReadTimeout(10000);
    SendText(sender, std::string(2001, 'l'), &address);
    EXPECT_EQ(receiver.Receive(packet), -32040);
}

TEST(WindowsSocketTest, AnInvalidHandleIsAnError) {
    socket_platform::WaitRequest request;
    request.for_read = true;
    socket_platform::Readiness readiness;
    EXPECT_EQ(socket_platform::Wait(request, NPT_TIMEOUT_INFINITE, readiness), -32038);
}

TEST(WindowsSocketTest, ADatagramSocketSwitchesBothReportsOff) {
    reports_switched_off.clear();
    const NPT_BsdUdpSocket socket;
    EXPECT_EQ(reports_switched_off, (std::vector<DWORD>{0x9800000C, 0x9800000F}));
}

TEST(WindowsSocketTest, HandlesAreNotInherited) {
    UniqueSocket connecting;
    UniqueSocket accepted;
    ASSERT_EQ(ConnectSocketPair(connecting, accepted), NPT_SUCCESS);
    for (const UniqueSocket* socket : {&connecting, &accepted}) {
        DWORD flags = HANDLE_FLAG_INHERIT;
        ASSERT_TRUE(GetHandleInformation(reinterpret_cast<HANDLE>(socket->Get()), &flags));
        EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u);
    }
}

// Nobody gets a sender's port, and no sender one of which another program has an address.
TEST(WindowsSocketTest, APortIsItsSocketsAloneUnlessItIsShared) {
    for (const int shares : {0, 1}) {
        SCOPED_TRACE(shares);
        socket_platform::Handle handle = socket_platform::kInvalidHandle;
        ASSERT_EQ(socket_platform::Open(socket_platform::Transport::kDatagram, handle),
                  NPT_SUCCESS);
        const UniqueSocket socket(handle);
        if (shares) {
            ASSERT_EQ(socket_platform::SetOption(handle, socket_platform::Option::kReuseAddress,
                                                 &shares, sizeof shares),
                      NPT_SUCCESS);
        }
        ASSERT_EQ(socket_platform::Bind(handle, NPT_SocketAddress(NPT_IpAddress(127, 0, 0, 1), 0)),
                  NPT_SUCCESS);
        BOOL is_exclusive = FALSE;
        int size = sizeof is_exclusive;
        ASSERT_EQ(::getsockopt(static_cast<SOCKET>(handle), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
                               reinterpret_cast<char*>(&is_exclusive), &size),
                  0);
        EXPECT_EQ(is_exclusive != FALSE, shares == 0);
    }
}

TEST(WindowsSocketTest, UrgentDataIsAnExceptionalCondition) {
    UniqueSocket near_end;
    UniqueSocket far_end;
    ASSERT_EQ(ConnectSocketPair(near_end, far_end), NPT_SUCCESS);
    ASSERT_EQ(::send(static_cast<SOCKET>(far_end.Get()), "!", 1, MSG_OOB), 1);
    socket_platform::WaitRequest request;
    request.socket = near_end.Get();
    socket_platform::Readiness readiness;
    EXPECT_EQ(socket_platform::Wait(request, 5000, readiness), NPT_SUCCESS);
    EXPECT_TRUE(readiness.exceptional);
    EXPECT_FALSE(readiness.readable);
}

}  // namespace
