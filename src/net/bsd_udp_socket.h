#ifndef VIREON_NET_BSD_UDP_SOCKET_H
#define VIREON_NET_BSD_UDP_SOCKET_H

#include "net/bsd_socket.h"

// A datagram socket that may send to broadcast addresses.
class NPT_BsdUdpSocket : public NPT_UdpSocketInterface, public NPT_BsdSocket {
  public:
    explicit NPT_BsdUdpSocket(NPT_UInt32 flags = 0);

    // See NPT_UdpSocket::AskForReceiveBuffer.
    void AskForReceiveBuffer(int bytes);
    // See NPT_UdpSocket::AvoidGateways.
    void AvoidGateways();

    // Fixes the peer; this does not block, so that the timeout has no meaning.
    NPT_Result Connect(const NPT_SocketAddress& address, NPT_Timeout timeout) override;
    NPT_Result Send(const NPT_DataBuffer& packet,
                    const NPT_SocketAddress* address = nullptr) override;
    NPT_Result Receive(NPT_DataBuffer& packet, NPT_SocketAddress* address = nullptr) override;
};

#endif
