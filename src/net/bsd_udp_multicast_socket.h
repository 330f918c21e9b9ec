#ifndef VIREON_NET_BSD_UDP_MULTICAST_SOCKET_H
#define VIREON_NET_BSD_UDP_MULTICAST_SOCKET_H

#include <optional>

#include "net/bsd_udp_socket.h"

// A datagram socket with the multicast options; the host receives its own multicast datagrams. The
// system keeps the outgoing interface by a number, which an interface that is removed and made
// again (a dongle, a VPN, a resume) does not keep: so the interface is named anew before each
// datagram, and nothing is sent while it is not there.
class NPT_BsdUdpMulticastSocket : public NPT_UdpMulticastSocketInterface, public NPT_BsdUdpSocket {
  public:
    explicit NPT_BsdUdpMulticastSocket(NPT_UInt32 flags = 0);

    NPT_Result Send(const NPT_DataBuffer& packet,
                    const NPT_SocketAddress* address = nullptr) override;
    NPT_Result JoinGroup(const NPT_IpAddress& group, const NPT_IpAddress& interface_ip) override;
    NPT_Result LeaveGroup(const NPT_IpAddress& group, const NPT_IpAddress& interface_ip) override;
    NPT_Result SetTimeToLive(NPT_UInt8 time_to_live) override;
    NPT_Result SetInterface(const NPT_IpAddress& interface_ip) override;

  private:
    NPT_Result ChangeMembership(socket_platform::Option change, const NPT_IpAddress& group,
                                const NPT_IpAddress& interface_ip);

    std::optional<NPT_IpAddress> outgoing_interface_;
};

#endif
