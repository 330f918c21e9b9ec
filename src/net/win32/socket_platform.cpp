#include "net/socket_platform.h"

// Before windows.h, which otherwise brings an older header along that collides.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include <algorithm>
#include <climits>

#include "net/socket_calls.h"
#include "net/win32/winsock.h"

namespace socket_platform {
namespace {

static_assert(sizeof(SOCKET) == sizeof(Handle), "a socket handle fits the neutral handle");
static_assert(static_cast<Handle>(INVALID_SOCKET) == kInvalidHandle,
              "both sides agree on the invalid handle");

// The calls count in signed integers.
int ToLength(NPT_UInt32 size) {
    return static_cast<int>(std::min<NPT_UInt32>(size, INT_MAX));
}

// Windows hands handles down to child processes unless told not to. Here a process that another
// thread starts in between has it still.
NPT_Result Adopt(SOCKET created, Handle& socket) {
    socket = static_cast<Handle>(created);
    if (created == INVALID_SOCKET) return LastError();
    SetHandleInformation(reinterpret_cast<HANDLE>(created), HANDLE_FLAG_INHERIT, 0);
    return NPT_SUCCESS;
}

// WSA_FLAG_NO_HANDLE_INHERIT, which not all headers have.
constexpr DWORD kNoHandleInherit = 0x80;

// SIO_UDP_CONNRESET and SIO_UDP_NETRESET, which not all headers have: an ICMP message about a
// datagram fails the next receive (10054, 10052), and anybody nearby can forge one.
constexpr DWORD kPortUnreachableReport = IOC_IN | IOC_VENDOR | 12;
constexpr DWORD kTimeToLiveReport = IOC_IN | IOC_VENDOR | 15;

bool SharesItsAddress(Handle socket) {
    BOOL shares = FALSE;
    int size = sizeof shares;
    return ::getsockopt(ToNative(socket), SOL_SOCKET, SO_REUSEADDR,
                        reinterpret_cast<char*>(&shares), &size) == 0 &&
           shares;
}

NPT_Result SwitchReportOff(Handle socket, DWORD report) {
    BOOL reported = FALSE;
    DWORD returned = 0;
    return ResultOf(::WSAIoctl(ToNative(socket), report, &reported, sizeof reported, nullptr, 0,
                               &returned, nullptr, nullptr));
}

}  // namespace

NPT_Result LastError() {
    return MapError(WSAGetLastError());
}

NPT_Result MapError(int platform_error) {
    switch (platform_error) {
        case WSAEINTR:
            return NPT_ERROR_INTERRUPTED;
        case WSAEWOULDBLOCK:
            return NPT_ERROR_WOULD_BLOCK;
        case WSAEINPROGRESS:
            return NPT_ERROR_WOULD_BLOCK;
        case WSAEADDRINUSE:
            return NPT_ERROR_ADDRESS_IN_USE;
        case WSAENETDOWN:
            return NPT_ERROR_NETWORK_DOWN;
        case WSAENETUNREACH:
            return NPT_ERROR_NETWORK_UNREACHABLE;
        case WSAENETRESET:
            return NPT_ERROR_CONNECTION_RESET;
        case WSAECONNABORTED:
            return NPT_ERROR_CONNECTION_ABORTED;
        case WSAECONNRESET:
            return NPT_ERROR_CONNECTION_RESET;
        case WSAENOTCONN:
            return NPT_ERROR_NOT_CONNECTED;
        case WSAETIMEDOUT:
            return NPT_ERROR_TIMEOUT;
        case WSAECONNREFUSED:
            return NPT_ERROR_CONNECTION_REFUSED;
        case WSAEHOSTUNREACH:
            return NPT_ERROR_HOST_UNREACHABLE;
        default:
            return NPT_ERROR_SYSTEM_BASE - platform_error;
    }
}

NPT_Result Open(Transport transport, Handle& socket) {
    socket = kInvalidHandle;
    if (!StartWinsock()) return MapError(WSANOTINITIALISED);
    const int type = transport == Transport::kDatagram ? SOCK_DGRAM : SOCK_STREAM;
    const SOCKET created =
        ::WSASocketW(AF_INET, type, 0, nullptr, 0, WSA_FLAG_OVERLAPPED | kNoHandleInherit);
    // The first Windows 7 knows no such flag.
    const bool is_refused = created == INVALID_SOCKET && WSAGetLastError() == WSAEINVAL;
    return Adopt(is_refused ? ::socket(AF_INET, type, 0) : created, socket);
}

void Close(Handle socket) {
    ::closesocket(ToNative(socket));
}

NPT_Result SetNonBlocking(Handle socket) {
    u_long on = 1;
    return ResultOf(::ioctlsocket(ToNative(socket), static_cast<long>(FIONBIO), &on));
}

NPT_Result IgnoreDeliveryReports(Handle socket) {
    const NPT_Result unreachable = SwitchReportOff(socket, kPortUnreachableReport);
    const NPT_Result expired = SwitchReportOff(socket, kTimeToLiveReport);
    return NPT_Failed(unreachable) ? unreachable : expired;
}

// Windows has an option of that name too, which is about the interface that a socket is bound to.
NPT_Result AvoidGateways(Handle) {
    return NPT_ERROR_NOT_SUPPORTED;
}

NPT_Result Bind(Handle socket, const NPT_SocketAddress& address) {
    // Otherwise Windows gives all addresses of a port also to whoever comes when another program
    // has one of them, which then gets what is sent there.
    if (!SharesItsAddress(socket)) {
        const BOOL on = TRUE;
        ::setsockopt(ToNative(socket), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
                     reinterpret_cast<const char*>(&on), sizeof on);
    }
    const sockaddr_in system_address = ToSystemAddress(address);
    return ResultOf(::bind(ToNative(socket), AsGeneric(system_address), sizeof system_address));
}

NPT_Result Connect(Handle socket, const NPT_SocketAddress& address) {
    const sockaddr_in system_address = ToSystemAddress(address);
    return ResultOf(::connect(ToNative(socket), AsGeneric(system_address), sizeof system_address));
}

NPT_Result Listen(Handle socket, int backlog) {
    return ResultOf(::listen(ToNative(socket), backlog));
}

NPT_Result Accept(Handle listener, Handle& connection) {
    return Adopt(::accept(ToNative(listener), nullptr, nullptr), connection);
}

NPT_Result Shutdown(Handle socket) {
    return ResultOf(::shutdown(ToNative(socket), SD_BOTH));
}

NPT_Result GetLocalAddress(Handle socket, NPT_SocketAddress& address) {
    return AskForAddress(::getsockname, socket, address);
}

NPT_Result GetPeerAddress(Handle socket, NPT_SocketAddress& address) {
    return AskForAddress(::getpeername, socket, address);
}

NPT_Result Send(Handle socket, const void* data, NPT_UInt32 size, NPT_UInt32& sent) {
    sent = 0;
    return ResultOfTransfer(
        ::send(ToNative(socket), static_cast<const char*>(data), ToLength(size), 0), sent);
}

NPT_Result SendTo(Handle socket, const void* data, NPT_UInt32 size,
                  const NPT_SocketAddress& address, NPT_UInt32& sent) {
    sent = 0;
    const sockaddr_in system_address = ToSystemAddress(address);
    return ResultOfTransfer(
        ::sendto(ToNative(socket), static_cast<const char*>(data), ToLength(size), 0,
                 AsGeneric(system_address), sizeof system_address),
        sent);
}

NPT_Result Receive(Handle socket, void* buffer, NPT_UInt32 size, NPT_UInt32& received) {
    received = 0;
    return ResultOfTransfer(::recv(ToNative(socket), static_cast<char*>(buffer), ToLength(size), 0),
                            received);
}

NPT_Result ReceiveDatagram(Handle socket, void* buffer, NPT_UInt32 size, NPT_SocketAddress* source,
                           NPT_UInt32& received) {
    received = 0;
    if (source) *source = NPT_SocketAddress();
    sockaddr_in system_address{};
    socklen_t length = sizeof system_address;
    // A datagram cut short is an error of the call here (WSAEMSGSIZE), unasked.
    const int count =
        ::recvfrom(ToNative(socket), static_cast<char*>(buffer), ToLength(size), 0,
                   source ? AsGeneric(system_address) : nullptr, source ? &length : nullptr);
    if (count < 0) return LastError();
    received = static_cast<NPT_UInt32>(count);
    if (source) *source = FromSystemAddress(system_address);
    return NPT_SUCCESS;
}

bool IsAboutOneDatagram(NPT_Result result) {
    // An ICMP message about something that was sent fails the next receive (10054, 10052).
    return result == MapError(WSAEMSGSIZE) || result == NPT_ERROR_CONNECTION_RESET;
}

NPT_Result GetAvailable(Handle socket, NPT_UInt32& available) {
    available = 0;
    u_long count = 0;
    if (::ioctlsocket(ToNative(socket), static_cast<long>(FIONREAD), &count) != 0)
        return LastError();
    available = count;
    return NPT_SUCCESS;
}

NPT_Result Wait(const WaitRequest& request, NPT_Timeout timeout, Readiness& readiness) {
    readiness = Readiness();
    const SOCKET socket = ToNative(request.socket);
    fd_set readable;
    fd_set writable;
    fd_set exceptional;
    FD_ZERO(&readable);
    FD_ZERO(&writable);
    FD_ZERO(&exceptional);
    if (request.for_read) FD_SET(socket, &readable);
    if (request.for_write) FD_SET(socket, &writable);
    FD_SET(socket, &exceptional);
    if (request.waker != kInvalidHandle) FD_SET(ToNative(request.waker), &readable);

    timeval limit{};
    limit.tv_sec = static_cast<long>(timeout / 1000);
    limit.tv_usec = static_cast<long>(timeout % 1000 * 1000);
    // The first argument has no meaning on this platform.
    const int count = ::select(0, &readable, &writable, &exceptional,
                               timeout == NPT_TIMEOUT_INFINITE ? nullptr : &limit);
    if (count < 0) return LastError();
    if (count == 0) return NPT_ERROR_TIMEOUT;
    readiness.readable = request.for_read && FD_ISSET(socket, &readable);
    readiness.writable = request.for_write && FD_ISSET(socket, &writable);
    readiness.exceptional = FD_ISSET(socket, &exceptional);
    readiness.awake =
        request.waker != kInvalidHandle && FD_ISSET(ToNative(request.waker), &readable);
    return NPT_SUCCESS;
}

NPT_Result SetOption(Handle socket, Option option, const void* value, NPT_UInt32 size) {
    const OptionName option_name = NameOf(option);
    return ResultOf(::setsockopt(ToNative(socket), option_name.level, option_name.name,
                                 static_cast<const char*>(value), ToLength(size)));
}

NPT_Result GetOption(Handle socket, Option option, void* value, NPT_UInt32& size) {
    const OptionName option_name = NameOf(option);
    int length = ToLength(size);
    size = 0;
    if (::getsockopt(ToNative(socket), option_name.level, option_name.name,
                     static_cast<char*>(value), &length) != 0)
        return LastError();
    size = static_cast<NPT_UInt32>(length);
    return NPT_SUCCESS;
}

NPT_Result SetSendTimeout(Handle socket, NPT_Timeout timeout) {
    const DWORD limit = timeout;
    return ResultOf(::setsockopt(ToNative(socket), SOL_SOCKET, SO_SNDTIMEO,
                                 reinterpret_cast<const char*>(&limit), sizeof limit));
}

NPT_Result LookUpName(const char* name, NPT_List<ResolvedAddress>& answer) {
    if (!StartWinsock()) return NPT_ERROR_HOST_UNKNOWN;
    return AppendAddressesOf(name, answer);
}

}  // namespace socket_platform
