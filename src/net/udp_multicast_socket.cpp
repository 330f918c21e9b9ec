#include "net/udp_multicast_socket.h"

#include "net/bsd_udp_multicast_socket.h"

NPT_UdpMulticastSocket::NPT_UdpMulticastSocket(NPT_UInt32 flags)
    : NPT_UdpMulticastSocket(new NPT_BsdUdpMulticastSocket(flags)) {}

NPT_UdpMulticastSocket::NPT_UdpMulticastSocket(NPT_BsdUdpMulticastSocket* delegate)
    : NPT_UdpSocket(delegate), multicast_delegate_(*delegate) {}

NPT_Result NPT_UdpMulticastSocket::JoinGroup(const NPT_IpAddress& group,
                                             const NPT_IpAddress& interface_ip) {
    return multicast_delegate_.JoinGroup(group, interface_ip);
}

NPT_Result NPT_UdpMulticastSocket::LeaveGroup(const NPT_IpAddress& group,
                                              const NPT_IpAddress& interface_ip) {
    return multicast_delegate_.LeaveGroup(group, interface_ip);
}

NPT_Result NPT_UdpMulticastSocket::SetTimeToLive(NPT_UInt8 time_to_live) {
    return multicast_delegate_.SetTimeToLive(time_to_live);
}

NPT_Result NPT_UdpMulticastSocket::SetInterface(const NPT_IpAddress& interface_ip) {
    return multicast_delegate_.SetInterface(interface_ip);
}
