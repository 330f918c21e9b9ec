#ifndef VIREON_NET_SOCKET_INTERFACE_H
#define VIREON_NET_SOCKET_INTERFACE_H

#include "core/data_buffer.h"
#include "core/result.h"
#include "core/streams.h"
#include "core/timeout.h"
#include "core/types.h"
#include "net/ip_address.h"
#include "net/socket_address.h"

// Creation flag: another thread can end a wait on the socket at once with Cancel. Costs a pair of
// connected loopback sockets.
constexpr NPT_UInt32 NPT_SOCKET_FLAG_CANCELLABLE = 1;

// What every socket can do. One thread at a time uses a socket; Cancel alone may come from any
// other thread while that one waits.
//
// Errors of the platform arrive under the names of core/result.h, a platform error e without a name
// there as NPT_ERROR_SYSTEM_BASE - e. Once a socket is cancelled every wait, send and receive on it
// and on its streams ends with NPT_ERROR_CANCELLED.
class NPT_SocketInterface {
  public:
    virtual ~NPT_SocketInterface() = default;

    virtual NPT_Result Bind(const NPT_SocketAddress& address, bool reuse_address) = 0;
    virtual NPT_Result Connect(const NPT_SocketAddress& address, NPT_Timeout timeout) = 0;
    virtual NPT_Result WaitForConnection(NPT_Timeout timeout) = 0;
    // Streams over the socket's connection; they keep the descriptor open when the socket goes.
    // The reference is null after a failure.
    virtual NPT_Result GetInputStream(NPT_InputStreamReference& stream) = 0;
    virtual NPT_Result GetOutputStream(NPT_OutputStreamReference& stream) = 0;
    // The addresses as they were after creation, or after the last successful Bind or Connect.
    virtual NPT_Result GetInfo(NPT_SocketInfo& info) = 0;
    // Limits for later receives and sends; NPT_TIMEOUT_INFINITE unless set. With 0 they do not
    // wait and give NPT_ERROR_WOULD_BLOCK where there is nothing to do.
    virtual NPT_Result SetReadTimeout(NPT_Timeout timeout) = 0;
    virtual NPT_Result SetWriteTimeout(NPT_Timeout timeout) = 0;
    // Cancels the socket for good; with shutdown its connection ends in both directions too. Always
    // NPT_SUCCESS.
    virtual NPT_Result Cancel(bool shutdown) = 0;
};

class NPT_UdpSocketInterface {
  public:
    virtual ~NPT_UdpSocketInterface() = default;

    // Sends the packet's data as one datagram, to address or else to the connected peer. Waits for
    // at most the write time-out.
    virtual NPT_Result Send(const NPT_DataBuffer& packet,
                            const NPT_SocketAddress* address = nullptr) = 0;
    // Receives one datagram into the packet's whole buffer and sets its data size; address, when
    // given, becomes its source. Waits for at most the read time-out. After a failure the data size
    // is 0 and the address 0.0.0.0:0.
    //   NPT_ERROR_INVALID_ARGUMENT  the packet's buffer size is 0
    //   NPT_ERROR_TIMEOUT           no datagram came in time
    // A datagram longer than the buffer is dropped and gives the platform's "message too long".
    virtual NPT_Result Receive(NPT_DataBuffer& packet, NPT_SocketAddress* address = nullptr) = 0;
};

// Groups and interfaces are named by their IPv4 addresses.
class NPT_UdpMulticastSocketInterface {
  public:
    virtual ~NPT_UdpMulticastSocketInterface() = default;

    virtual NPT_Result JoinGroup(const NPT_IpAddress& group, const NPT_IpAddress& interface_ip) = 0;
    virtual NPT_Result LeaveGroup(const NPT_IpAddress& group,
                                  const NPT_IpAddress& interface_ip) = 0;
    // How many networks a multicast datagram may cross.
    virtual NPT_Result SetTimeToLive(NPT_UInt8 time_to_live) = 0;
    // The interface on which multicast datagrams go out.
    virtual NPT_Result SetInterface(const NPT_IpAddress& interface_ip) = 0;
};

#endif
