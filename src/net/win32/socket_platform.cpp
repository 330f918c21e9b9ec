#include "net/socket_platform.h"

// Before windows.h, which otherwise brings an older header along that collides.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>

#include "net/win32/winsock.h"

namespace socket_platform {
namespace {

static_assert(sizeof(SOCKET) == sizeof(Handle), "a socket handle fits the neutral handle");
static_assert(static_cast<Handle>(INVALID_SOCKET) == kInvalidHandle,
              "both sides agree on the invalid handle");

SOCKET ToSocket(Handle socket) {
    return static_cast<SOCKET>(socket);
}

// The calls count in signed integers.
int ToLength(NPT_UInt32 size) {
    return static_cast<int>(std::min<NPT_UInt32>(size, INT_MAX));
}

NPT_Result LastError() {
    return MapError(WSAGetLastError());
}

NPT_Result ResultOf(int status) {
    return status == 0 ? NPT_SUCCESS : LastError();
}

NPT_Result ResultOfTransfer(int count, NPT_UInt32& transferred) {
    if (count < 0) return LastError();
    transferred = static_cast<NPT_UInt32>(count);
    return NPT_SUCCESS;
}

// Windows hands handles down to child processes unless told not to.
NPT_Result Adopt(SOCKET created, Handle& socket) {
    socket = static_cast<Handle>(created);
    if (created == INVALID_SOCKET) return LastError();
    SetHandleInformation(reinterpret_cast<HANDLE>(created), HANDLE_FLAG_INHERIT, 0);
    return NPT_SUCCESS;
}

sockaddr_in ToSystemAddress(const NPT_SocketAddress& address) {
    sockaddr_in system_address{};
    system_address.sin_family = AF_INET;
    system_address.sin_port = htons(address.GetPort());
    system_address.sin_addr.s_addr = htonl(address.GetIpAddress().AsLong());
    return system_address;
}

NPT_SocketAddress FromSystemAddress(const sockaddr_in& system_address) {
    return NPT_SocketAddress(NPT_IpAddress(ntohl(system_address.sin_addr.s_addr)),
                             ntohs(system_address.sin_port));
}

const sockaddr* AsGeneric(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

sockaddr* AsGeneric(sockaddr_in& address) {
    return reinterpret_cast<sockaddr*>(&address);
}

// SIO_UDP_CONNRESET and SIO_UDP_NETRESET, which not all headers have: an ICMP message about a
// datagram fails the next receive (10054, 10052), and anybody nearby can forge one.
constexpr DWORD kPortUnreachableReport = IOC_IN | IOC_VENDOR | 12;
constexpr DWORD kTimeToLiveReport = IOC_IN | IOC_VENDOR | 15;

NPT_Result SwitchReportOff(Handle socket, DWORD report) {
    BOOL reported = FALSE;
    DWORD returned = 0;
    return ResultOf(::WSAIoctl(ToSocket(socket), report, &reported, sizeof reported, nullptr, 0,
                               &returned, nullptr, nullptr));
}

struct OptionName {
    int level;
    int name;
};

OptionName NameOf(Option option) {
    switch (option) {
        case Option::kReuseAddress:
            return {SOL_SOCKET, SO_REUSEADDR};
        case Option::kBroadcast:
            return {SOL_SOCKET, SO_BROADCAST};
        case Option::kPendingError:
            return {SOL_SOCKET, SO_ERROR};
        case Option::kNoDelay:
            return {IPPROTO_TCP, TCP_NODELAY};
        case Option::kMulticastLoop:
            return {IPPROTO_IP, IP_MULTICAST_LOOP};
        case Option::kMulticastTimeToLive:
            return {IPPROTO_IP, IP_MULTICAST_TTL};
        case Option::kMulticastInterface:
            return {IPPROTO_IP, IP_MULTICAST_IF};
        case Option::kMulticastAddGroup:
            return {IPPROTO_IP, IP_ADD_MEMBERSHIP};
        case Option::kMulticastRemoveGroup:
            return {IPPROTO_IP, IP_DROP_MEMBERSHIP};
    }
    return {-1, -1};
}

}  // namespace

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
    return Adopt(::socket(AF_INET, transport == Transport::kDatagram ? SOCK_DGRAM : SOCK_STREAM, 0),
                 socket);
}

void Close(Handle socket) {
    ::closesocket(ToSocket(socket));
}

NPT_Result SetNonBlocking(Handle socket) {
    u_long on = 1;
    return ResultOf(::ioctlsocket(ToSocket(socket), static_cast<long>(FIONBIO), &on));
}

NPT_Result IgnoreDeliveryReports(Handle socket) {
    const NPT_Result unreachable = SwitchReportOff(socket, kPortUnreachableReport);
    const NPT_Result expired = SwitchReportOff(socket, kTimeToLiveReport);
    return NPT_Failed(unreachable) ? unreachable : expired;
}

NPT_Result Bind(Handle socket, const NPT_SocketAddress& address) {
    const sockaddr_in system_address = ToSystemAddress(address);
    return ResultOf(::bind(ToSocket(socket), AsGeneric(system_address), sizeof system_address));
}

NPT_Result Connect(Handle socket, const NPT_SocketAddress& address) {
    const sockaddr_in system_address = ToSystemAddress(address);
    return ResultOf(::connect(ToSocket(socket), AsGeneric(system_address), sizeof system_address));
}

NPT_Result Listen(Handle socket, int backlog) {
    return ResultOf(::listen(ToSocket(socket), backlog));
}

NPT_Result Accept(Handle listener, Handle& connection) {
    return Adopt(::accept(ToSocket(listener), nullptr, nullptr), connection);
}

NPT_Result Shutdown(Handle socket) {
    return ResultOf(::shutdown(ToSocket(socket), SD_BOTH));
}

NPT_Result GetLocalAddress(Handle socket, NPT_SocketAddress& address) {
    address = NPT_SocketAddress();
    sockaddr_in system_address{};
    int length = sizeof system_address;
    if (::getsockname(ToSocket(socket), AsGeneric(system_address), &length) != 0)
        return LastError();
    address = FromSystemAddress(system_address);
    return NPT_SUCCESS;
}

NPT_Result GetPeerAddress(Handle socket, NPT_SocketAddress& address) {
    address = NPT_SocketAddress();
    sockaddr_in system_address{};
    int length = sizeof system_address;
    if (::getpeername(ToSocket(socket), AsGeneric(system_address), &length) != 0)
        return LastError();
    address = FromSystemAddress(system_address);
    return NPT_SUCCESS;
}

NPT_Result Send(Handle socket, const void* data, NPT_UInt32 size, NPT_UInt32& sent) {
    sent = 0;
    return ResultOfTransfer(
        ::send(ToSocket(socket), static_cast<const char*>(data), ToLength(size), 0), sent);
}

NPT_Result SendTo(Handle socket, const void* data, NPT_UInt32 size,
                  const NPT_SocketAddress& address, NPT_UInt32& sent) {
    sent = 0;
    const sockaddr_in system_address = ToSystemAddress(address);
    return ResultOfTransfer(
        ::sendto(ToSocket(socket), static_cast<const char*>(data), ToLength(size), 0,
                 AsGeneric(system_address), sizeof system_address),
        sent);
}

NPT_Result Receive(Handle socket, void* buffer, NPT_UInt32 size, NPT_UInt32& received) {
    received = 0;
    return ResultOfTransfer(::recv(ToSocket(socket), static_cast<char*>(buffer), ToLength(size), 0),
                            received);
}

NPT_Result ReceiveDatagram(Handle socket, void* buffer, NPT_UInt32 size, NPT_SocketAddress* source,
                           NPT_UInt32& received) {
    received = 0;
    if (source) *source = NPT_SocketAddress();
    sockaddr_in system_address{};
    int length = sizeof system_address;
    // A datagram cut short is an error of the call here (WSAEMSGSIZE), unasked.
    const int count =
        ::recvfrom(ToSocket(socket), static_cast<char*>(buffer), ToLength(size), 0,
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
    if (::ioctlsocket(ToSocket(socket), static_cast<long>(FIONREAD), &count) != 0)
        return LastError();
    available = count;
    return NPT_SUCCESS;
}

NPT_Result Wait(const WaitRequest& request, NPT_Timeout timeout, Readiness& readiness) {
    readiness = Readiness();
    const SOCKET socket = ToSocket(request.socket);
    fd_set readable;
    fd_set writable;
    fd_set exceptional;
    FD_ZERO(&readable);
    FD_ZERO(&writable);
    FD_ZERO(&exceptional);
    if (request.for_read) FD_SET(socket, &readable);
    if (request.for_write) FD_SET(socket, &writable);
    FD_SET(socket, &exceptional);
    if (request.waker != kInvalidHandle) FD_SET(ToSocket(request.waker), &readable);

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
    return NPT_SUCCESS;
}

NPT_Result SetOption(Handle socket, Option option, const void* value, NPT_UInt32 size) {
    const OptionName option_name = NameOf(option);
    return ResultOf(::setsockopt(ToSocket(socket), option_name.level, option_name.name,
                                 static_cast<const char*>(value), ToLength(size)));
}

NPT_Result GetOption(Handle socket, Option option, void* value, NPT_UInt32& size) {
    const OptionName option_name = NameOf(option);
    int length = ToLength(size);
    size = 0;
    if (::getsockopt(ToSocket(socket), option_name.level, option_name.name,
                     static_cast<char*>(value), &length) != 0)
        return LastError();
    size = static_cast<NPT_UInt32>(length);
    return NPT_SUCCESS;
}

NPT_Result SetSendTimeout(Handle socket, NPT_Timeout timeout) {
    const DWORD limit = timeout;
    return ResultOf(::setsockopt(ToSocket(socket), SOL_SOCKET, SO_SNDTIMEO,
                                 reinterpret_cast<const char*>(&limit), sizeof limit));
}

NPT_Result LookUpName(const char* name, NPT_List<ResolvedName>& answer) {
    if (!StartWinsock()) return NPT_ERROR_HOST_UNKNOWN;
    addrinfo* found = nullptr;
    if (::getaddrinfo(name, nullptr, nullptr, &found) != 0) return NPT_ERROR_HOST_UNKNOWN;
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);
    for (const addrinfo* entry = found; entry; entry = entry->ai_next) {
        ResolvedName line;
        line.is_ipv4 = entry->ai_family == AF_INET;
        line.address_length = static_cast<NPT_UInt32>(entry->ai_addrlen);
        line.protocol = entry->ai_protocol;
        if (line.is_ipv4 && entry->ai_addrlen >= sizeof(sockaddr_in)) {
            sockaddr_in system_address;
            std::memcpy(&system_address, entry->ai_addr, sizeof system_address);
            line.address = FromSystemAddress(system_address).GetIpAddress();
        }
        answer.Add(line);
    }
    return NPT_SUCCESS;
}

}  // namespace socket_platform
