#ifndef VIREON_NET_UDP_SOCKET_H
#define VIREON_NET_UDP_SOCKET_H

#include "net/socket.h"

class NPT_BsdUdpSocket;

// An IPv4 datagram socket that may send to broadcast addresses. When the system refuses a socket
// the object exists all the same and every operation on it fails.
class NPT_UdpSocket : public NPT_Socket, public NPT_UdpSocketInterface {
  public:
    // flags: 0 or NPT_SOCKET_FLAG_CANCELLABLE
    explicit NPT_UdpSocket(NPT_UInt32 flags = 0);

    NPT_Result Send(const NPT_DataBuffer& packet,
                    const NPT_SocketAddress* address = nullptr) override;
    NPT_Result Receive(NPT_DataBuffer& packet, NPT_SocketAddress* address = nullptr) override;

  protected:
    // Takes ownership of delegate.
    explicit NPT_UdpSocket(NPT_BsdUdpSocket* delegate);

  private:
    NPT_UdpSocketInterface& udp_delegate_;
};

#endif
