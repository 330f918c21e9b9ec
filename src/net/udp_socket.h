#ifndef VIREON_NET_UDP_SOCKET_H
#define VIREON_NET_UDP_SOCKET_H

#include <memory>

#include "net/socket.h"
#include "net/socket_waker.h"

class NPT_BsdUdpSocket;

// An IPv4 datagram socket that may send to broadcast addresses. When the system refuses a socket
// the object exists all the same and every operation on it fails.
class NPT_UdpSocket : public NPT_Socket, public NPT_UdpSocketInterface {
  public:
    // flags: 0 or NPT_SOCKET_FLAG_CANCELLABLE
    explicit NPT_UdpSocket(NPT_UInt32 flags = 0);

    // Makes it cancellable by a waker that it shares with others: waking that cancels them all.
    // Before the first wait.
    void SetWaker(std::shared_ptr<SocketWaker> waker);

    // Has the system keep so many bytes of what has arrived but was not received, or as many as it
    // gives, where that is more than it keeps. What arrives beyond that is lost.
    void AskForReceiveBuffer(int bytes);

    // Has it send to networks that the machine itself is in, and by no gateway, where the system
    // can: a broadcast whose network has gone would be an ordinary datagram to some stranger.
    void AvoidGateways();

    NPT_Result Send(const NPT_DataBuffer& packet,
                    const NPT_SocketAddress* address = nullptr) override;
    NPT_Result Receive(NPT_DataBuffer& packet, NPT_SocketAddress* address = nullptr) override;

  protected:
    // Takes ownership of delegate.
    explicit NPT_UdpSocket(NPT_BsdUdpSocket* delegate);

  private:
    NPT_BsdUdpSocket& udp_delegate_;
};

#endif
