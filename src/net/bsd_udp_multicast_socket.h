#ifndef VIREON_NET_BSD_UDP_MULTICAST_SOCKET_H
#define VIREON_NET_BSD_UDP_MULTICAST_SOCKET_H

#include "net/bsd_udp_socket.h"

// A datagram socket with the multicast options; the host receives its own multicast datagrams.
class NPT_BsdUdpMulticastSocket : public NPT_UdpMulticastSocketInterface, public NPT_BsdUdpSocket {
  public:
    explicit NPT_BsdUdpMulticastSocket(NPT_UInt32 flags = 0);

    NPT_Result JoinGroup(const NPT_IpAddress& group, const NPT_IpAddress& interface_ip) override;
    NPT_Result LeaveGroup(const NPT_IpAddress& group, const NPT_IpAddress& interface_ip) override;
    NPT_Result SetTimeToLive(NPT_UInt8 time_to_live) override;
    NPT_Result SetInterface(const NPT_IpAddress& interface_ip) override;

  private:
    NPT_Result ChangeMembership(socket_platform::Option change, const NPT_IpAddress& group,
                                const NPT_IpAddress& interface_ip);
};

#endif
