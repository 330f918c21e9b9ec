#ifndef VIREON_NET_UDP_MULTICAST_SOCKET_H
#define VIREON_NET_UDP_MULTICAST_SOCKET_H

#include "net/udp_socket.h"

class NPT_BsdUdpMulticastSocket;

// A datagram socket for multicast groups. The host receives its own multicast datagrams.
class NPT_UdpMulticastSocket : public NPT_UdpSocket, public NPT_UdpMulticastSocketInterface {
  public:
    // flags: 0 or NPT_SOCKET_FLAG_CANCELLABLE
    explicit NPT_UdpMulticastSocket(NPT_UInt32 flags = 0);

    NPT_Result JoinGroup(const NPT_IpAddress& group, const NPT_IpAddress& interface_ip) override;
    NPT_Result LeaveGroup(const NPT_IpAddress& group, const NPT_IpAddress& interface_ip) override;
    NPT_Result SetTimeToLive(NPT_UInt8 time_to_live) override;
    NPT_Result SetInterface(const NPT_IpAddress& interface_ip) override;

  private:
    // Takes ownership of delegate.
    explicit NPT_UdpMulticastSocket(NPT_BsdUdpMulticastSocket* delegate);

    NPT_UdpMulticastSocketInterface& multicast_delegate_;
};

#endif
