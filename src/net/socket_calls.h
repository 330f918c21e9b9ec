#ifndef VIREON_NET_SOCKET_CALLS_H
#define VIREON_NET_SOCKET_CALLS_H

#include <cstring>
#include <memory>

#include "net/socket_platform.h"

// What the socket calls of the platforms have in common. For the sources that implement
// net/socket_platform.h alone: each includes it behind its system's headers, which name the types
// and numbers that stand here.
namespace socket_platform {

using NativeHandle = decltype(::socket(0, 0, 0));

inline NativeHandle ToNative(Handle socket) {
    return static_cast<NativeHandle>(socket);
}

// The failure of the call before; each platform has its own.
NPT_Result LastError();

inline NPT_Result ResultOf(int status) {
    return status == 0 ? NPT_SUCCESS : LastError();
}

// count: bytes, negative for a failure.
template <typename Count>
NPT_Result ResultOfTransfer(Count count, NPT_UInt32& transferred) {
    if (count < 0) return LastError();
    transferred = static_cast<NPT_UInt32>(count);
    return NPT_SUCCESS;
}

inline sockaddr_in ToSystemAddress(const NPT_SocketAddress& address) {
    sockaddr_in system_address{};
    system_address.sin_family = AF_INET;
    system_address.sin_port = htons(address.GetPort());
    system_address.sin_addr.s_addr = htonl(address.GetIpAddress().AsLong());
    return system_address;
}

inline NPT_SocketAddress FromSystemAddress(const sockaddr_in& system_address) {
    return NPT_SocketAddress(NPT_IpAddress(ntohl(system_address.sin_addr.s_addr)),
                             ntohs(system_address.sin_port));
}

inline const sockaddr* AsGeneric(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

inline sockaddr* AsGeneric(sockaddr_in& address) {
    return reinterpret_cast<sockaddr*>(&address);
}

// ask: getsockname or getpeername.
template <typename Ask>
NPT_Result AskForAddress(Ask ask, Handle socket, NPT_SocketAddress& address) {
    address = NPT_SocketAddress();
    sockaddr_in system_address{};
    socklen_t length = sizeof system_address;
    if (ask(ToNative(socket), AsGeneric(system_address), &length) != 0) return LastError();
    address = FromSystemAddress(system_address);
    return NPT_SUCCESS;
}

struct OptionName {
    int level;
    int name;
};

inline OptionName NameOf(Option option) {
    switch (option) {
        case Option::kReuseAddress:
            return {SOL_SOCKET, SO_REUSEADDR};
        case Option::kBroadcast:
            return {SOL_SOCKET, SO_BROADCAST};
        case Option::kPendingError:
            return {SOL_SOCKET, SO_ERROR};
        case Option::kReceiveBuffer:
            return {SOL_SOCKET, SO_RCVBUF};
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

// LookUpName, once the platform's resolver can be asked.
inline NPT_Result AppendAddressesOf(const char* name, NPT_List<ResolvedAddress>& answer) {
    addrinfo* found = nullptr;
    if (::getaddrinfo(name, nullptr, nullptr, &found) != 0) return NPT_ERROR_HOST_UNKNOWN;
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);
    for (const addrinfo* entry = found; entry; entry = entry->ai_next) {
        ResolvedAddress line;
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

#endif
