#ifndef VIREON_NET_SOCKET_PLATFORM_H
#define VIREON_NET_SOCKET_PLATFORM_H

#include <cstdint>

#include "core/list.h"
#include "core/result.h"
#include "core/timeout.h"
#include "core/types.h"
#include "net/ip_address.h"
#include "net/socket_address.h"

// The few things that the socket classes need from the operating system, IPv4 only. One call here
// is one system call, or little more. Thread-safe as far as the system's own calls are.
//
// All report the platform's errors as MapError does. Out values are reset first and stay reset on
// failure. An invalid handle is an error of the call, never undefined behaviour.
namespace socket_platform {

using Handle = std::intptr_t;
// 0 is a valid handle.
constexpr Handle kInvalidHandle = -1;

enum class Transport { kDatagram, kStream };

// The result code for an error number of the platform.
NPT_Result MapError(int platform_error);

// Child processes do not inherit the handle.
NPT_Result Open(Transport transport, Handle& socket);
void Close(Handle socket);
NPT_Result SetNonBlocking(Handle socket);
// Keeps what the network tells about datagrams that were sent (nobody listens there, they lived too
// short) from failing the receives of this datagram socket, as far as it is not connected.
NPT_Result IgnoreDeliveryReports(Handle socket);
// Has this datagram socket send to networks that the machine itself is in, and by no gateway.
// NPT_ERROR_NOT_SUPPORTED where the system cannot say that of a socket that has no address.
NPT_Result AvoidGateways(Handle socket);

NPT_Result Bind(Handle socket, const NPT_SocketAddress& address);
NPT_Result Connect(Handle socket, const NPT_SocketAddress& address);
NPT_Result Listen(Handle socket, int backlog);
NPT_Result Accept(Handle listener, Handle& connection);
// Ends the connection in both directions.
NPT_Result Shutdown(Handle socket);
NPT_Result GetLocalAddress(Handle socket, NPT_SocketAddress& address);
NPT_Result GetPeerAddress(Handle socket, NPT_SocketAddress& address);

// To the connected peer. A peer that is gone is an error, never a signal.
NPT_Result Send(Handle socket, const void* data, NPT_UInt32 size, NPT_UInt32& sent);
NPT_Result SendTo(Handle socket, const void* data, NPT_UInt32 size,
                  const NPT_SocketAddress& address, NPT_UInt32& sent);
// Up to size bytes of a connection; success with 0 bytes at its end.
NPT_Result Receive(Handle socket, void* buffer, NPT_UInt32 size, NPT_UInt32& received);
// One whole datagram and, where source is given, where it came from. A datagram longer than size is
// consumed and gives the platform's "message too long".
NPT_Result ReceiveDatagram(Handle socket, void* buffer, NPT_UInt32 size, NPT_SocketAddress* source,
                           NPT_UInt32& received);
// Whether the failure of a receive is about one datagram, which is gone with it: one that was too
// long, or the report that one sent earlier did not arrive. Any other is the socket's own.
bool IsAboutOneDatagram(NPT_Result result);
// How many bytes can be read at once.
NPT_Result GetAvailable(Handle socket, NPT_UInt32& available);

struct WaitRequest {
    Handle socket = kInvalidHandle;
    bool for_read = false;
    bool for_write = false;
    // A second socket whose readability ends the wait, where there is one.
    Handle waker = kInvalidHandle;
};

struct Readiness {
    bool readable = false;
    bool writable = false;
    // An exceptional condition: out-of-band data, a failed connection attempt.
    bool exceptional = false;
    bool awake = false;  // the waker
};

// Waits until one of the wanted conditions, an exceptional one or the waker's holds. There is no
// bound to the handles' values.
//   NPT_ERROR_TIMEOUT      the time passed; may come early for a long wait
//   NPT_ERROR_INTERRUPTED  a signal came in between
NPT_Result Wait(const WaitRequest& request, NPT_Timeout timeout, Readiness& readiness);

enum class Option {
    kReuseAddress,          // int
    kBroadcast,             // int
    kPendingError,          // int, read only; reading clears it
    kReceiveBuffer,         // int: bytes for what has arrived but was not received
    kNoDelay,               // int
    kMulticastLoop,         // int
    kMulticastTimeToLive,   // one byte
    kMulticastInterface,    // four bytes: the interface's address
    kMulticastAddGroup,     // eight bytes: the group's and the interface's address
    kMulticastRemoveGroup,  // likewise
};

NPT_Result SetOption(Handle socket, Option option, const void* value, NPT_UInt32 size);
// size: room on entry, bytes filled on return.
NPT_Result GetOption(Handle socket, Option option, void* value, NPT_UInt32& size);
NPT_Result SetSendTimeout(Handle socket, NPT_Timeout timeout);

// One line of the platform resolver's answer.
struct ResolvedAddress {
    bool is_ipv4 = false;
    NPT_UInt32 address_length = 0;  // bytes of the platform's address record
    int protocol = 0;               // IANA number, 0 for any
    NPT_IpAddress address;          // when it is an IPv4 record of sufficient length
};

// Appends the answer in its order. NPT_ERROR_HOST_UNKNOWN when there is none.
NPT_Result LookUpName(const char* name, NPT_List<ResolvedAddress>& answer);

}  // namespace socket_platform

#endif
