#include "net/socket_platform.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "net/socket_calls.h"

namespace socket_platform {

NPT_Result LastError() {
    return MapError(errno);
}

NPT_Result MapError(int platform_error) {
    switch (platform_error) {
        case EINTR:
            return NPT_ERROR_INTERRUPTED;
        case EAGAIN:
        case EINPROGRESS:
            return NPT_ERROR_WOULD_BLOCK;
        case EADDRINUSE:
            return NPT_ERROR_ADDRESS_IN_USE;
        case ENETDOWN:
            return NPT_ERROR_NETWORK_DOWN;
        case ENETUNREACH:
            return NPT_ERROR_NETWORK_UNREACHABLE;
        case ENETRESET:
            return NPT_ERROR_CONNECTION_RESET;
        case ECONNABORTED:
            return NPT_ERROR_CONNECTION_ABORTED;
        case ECONNRESET:
            return NPT_ERROR_CONNECTION_RESET;
        case ENOTCONN:
            return NPT_ERROR_NOT_CONNECTED;
        case ETIMEDOUT:
            return NPT_ERROR_TIMEOUT;
        case ECONNREFUSED:
            return NPT_ERROR_CONNECTION_REFUSED;
        case EHOSTUNREACH:
            return NPT_ERROR_HOST_UNREACHABLE;
        default:
            return NPT_ERROR_SYSTEM_BASE - platform_error;
    }
}

NPT_Result Open(Transport transport, Handle& socket) {
    const int type = transport == Transport::kDatagram ? SOCK_DGRAM : SOCK_STREAM;
    const int descriptor = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
    socket = descriptor < 0 ? kInvalidHandle : descriptor;
    return descriptor < 0 ? LastError() : NPT_SUCCESS;
}

void Close(Handle socket) {
    ::close(ToNative(socket));
}

NPT_Result SetNonBlocking(Handle socket) {
    int on = 1;
    return ResultOf(::ioctl(ToNative(socket), FIONBIO, &on));
}

// Nothing to switch off: here such a report reaches only a socket that is connected to the reported
// address, or one that asked for reports.
NPT_Result IgnoreDeliveryReports(Handle) {
    return NPT_SUCCESS;
}

NPT_Result AvoidGateways(Handle socket) {
    const int on = 1;
    return ResultOf(::setsockopt(ToNative(socket), SOL_SOCKET, SO_DONTROUTE, &on, sizeof on));
}

NPT_Result Bind(Handle socket, const NPT_SocketAddress& address) {
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
    const int descriptor = ::accept4(ToNative(listener), nullptr, nullptr, SOCK_CLOEXEC);
    connection = descriptor < 0 ? kInvalidHandle : descriptor;
    return descriptor < 0 ? LastError() : NPT_SUCCESS;
}

NPT_Result Shutdown(Handle socket) {
    return ResultOf(::shutdown(ToNative(socket), SHUT_RDWR));
}

NPT_Result GetLocalAddress(Handle socket, NPT_SocketAddress& address) {
    return AskForAddress(::getsockname, socket, address);
}

NPT_Result GetPeerAddress(Handle socket, NPT_SocketAddress& address) {
    return AskForAddress(::getpeername, socket, address);
}

NPT_Result Send(Handle socket, const void* data, NPT_UInt32 size, NPT_UInt32& sent) {
    sent = 0;
    return ResultOfTransfer(::send(ToNative(socket), data, size, MSG_NOSIGNAL), sent);
}

NPT_Result SendTo(Handle socket, const void* data, NPT_UInt32 size,
                  const NPT_SocketAddress& address, NPT_UInt32& sent) {
    sent = 0;
    const sockaddr_in system_address = ToSystemAddress(address);
    return ResultOfTransfer(::sendto(ToNative(socket), data, size, MSG_NOSIGNAL,
                                     AsGeneric(system_address), sizeof system_address),
                            sent);
}

NPT_Result Receive(Handle socket, void* buffer, NPT_UInt32 size, NPT_UInt32& received) {
    received = 0;
    return ResultOfTransfer(::recv(ToNative(socket), buffer, size, 0), received);
}

NPT_Result ReceiveDatagram(Handle socket, void* buffer, NPT_UInt32 size, NPT_SocketAddress* source,
                           NPT_UInt32& received) {
    received = 0;
    if (source) *source = NPT_SocketAddress();
    sockaddr_in system_address{};
    socklen_t length = sizeof system_address;
    // With MSG_TRUNC the count is the datagram's true length, so that one cut short shows.
    const ssize_t count =
        ::recvfrom(ToNative(socket), buffer, size, MSG_TRUNC,
                   source ? AsGeneric(system_address) : nullptr, source ? &length : nullptr);
    if (count < 0) return LastError();
    if (static_cast<size_t>(count) > size) return MapError(EMSGSIZE);
    received = static_cast<NPT_UInt32>(count);
    if (source) *source = FromSystemAddress(system_address);
    return NPT_SUCCESS;
}

bool IsAboutOneDatagram(NPT_Result result) {
    return result == MapError(EMSGSIZE) || result == NPT_ERROR_CONNECTION_RESET ||
           result == NPT_ERROR_CONNECTION_REFUSED;
}

NPT_Result GetAvailable(Handle socket, NPT_UInt32& available) {
    available = 0;
    int count = 0;
    if (::ioctl(ToNative(socket), FIONREAD, &count) != 0) return LastError();
    available = static_cast<NPT_UInt32>(count);
    return NPT_SUCCESS;
}

NPT_Result Wait(const WaitRequest& request, NPT_Timeout timeout, Readiness& readiness) {
    readiness = Readiness();
    // An invalid descriptor is one that poll passes over, which would wait for nothing.
    if (request.socket == kInvalidHandle) return MapError(EBADF);
    short wanted = POLLPRI;
    if (request.for_read) wanted |= POLLIN;
    if (request.for_write) wanted |= POLLOUT;
    pollfd entries[2] = {{ToNative(request.socket), wanted, 0},
                         {ToNative(request.waker), POLLIN, 0}};
    const int limit = timeout == NPT_TIMEOUT_INFINITE
                          ? -1
                          : static_cast<int>(std::min<NPT_Timeout>(timeout, INT_MAX));
    const int count = ::poll(entries, 2, limit);
    if (count < 0) return LastError();
    if (count == 0) return NPT_ERROR_TIMEOUT;
    const short events = entries[0].revents;
    if (events & POLLNVAL) return MapError(EBADF);
    // An error or a hang-up makes the next transfer return at once, which is what ready means.
    readiness.readable = request.for_read && (events & (POLLIN | POLLERR | POLLHUP)) != 0;
    readiness.writable = request.for_write && (events & (POLLOUT | POLLERR | POLLHUP)) != 0;
    readiness.exceptional = (events & POLLPRI) != 0;
    readiness.awake = entries[1].revents != 0;
    return NPT_SUCCESS;
}

NPT_Result SetOption(Handle socket, Option option, const void* value, NPT_UInt32 size) {
    const OptionName option_name = NameOf(option);
    return ResultOf(::setsockopt(ToNative(socket), option_name.level, option_name.name, value,
                                 static_cast<socklen_t>(size)));
}

NPT_Result GetOption(Handle socket, Option option, void* value, NPT_UInt32& size) {
    const OptionName option_name = NameOf(option);
    socklen_t length = size;
    size = 0;
    if (::getsockopt(ToNative(socket), option_name.level, option_name.name, value, &length))
        return LastError();
    size = length;
    return NPT_SUCCESS;
}

NPT_Result SetSendTimeout(Handle socket, NPT_Timeout timeout) {
    timeval limit{};  // zero is without a limit here
    if (timeout != NPT_TIMEOUT_INFINITE) {
        limit.tv_sec = timeout / 1000;
        limit.tv_usec = static_cast<suseconds_t>(timeout % 1000) * 1000;
    }
    return ResultOf(::setsockopt(ToNative(socket), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit));
}

NPT_Result LookUpName(const char* name, NPT_List<ResolvedAddress>& answer) {
    return AppendAddressesOf(name, answer);
}

}  // namespace socket_platform
