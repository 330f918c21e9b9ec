#include "net/bsd_udp_multicast_socket.h"

#include <algorithm>

NPT_BsdUdpMulticastSocket::NPT_BsdUdpMulticastSocket(NPT_UInt32 flags) : NPT_BsdUdpSocket(flags) {
    const int on = 1;
    socket_platform::SetOption(descriptor_->GetHandle(), socket_platform::Option::kMulticastLoop,
                               &on, sizeof on);
}

NPT_Result NPT_BsdUdpMulticastSocket::Send(const NPT_DataBuffer& packet,
                                           const NPT_SocketAddress* address) {
    if (outgoing_interface_) {
        const NPT_Result result = SetInterface(*outgoing_interface_);
        if (NPT_Failed(result)) return result;
    }
    return NPT_BsdUdpSocket::Send(packet, address);
}

NPT_Result NPT_BsdUdpMulticastSocket::JoinGroup(const NPT_IpAddress& group,
                                                const NPT_IpAddress& interface_ip) {
    return ChangeMembership(socket_platform::Option::kMulticastAddGroup, group, interface_ip);
}

NPT_Result NPT_BsdUdpMulticastSocket::LeaveGroup(const NPT_IpAddress& group,
                                                 const NPT_IpAddress& interface_ip) {
    return ChangeMembership(socket_platform::Option::kMulticastRemoveGroup, group, interface_ip);
}

NPT_Result NPT_BsdUdpMulticastSocket::SetTimeToLive(NPT_UInt8 time_to_live) {
    return socket_platform::SetOption(descriptor_->GetHandle(),
                                      socket_platform::Option::kMulticastTimeToLive, &time_to_live,
                                      sizeof time_to_live);
}

NPT_Result NPT_BsdUdpMulticastSocket::SetInterface(const NPT_IpAddress& interface_ip) {
    outgoing_interface_ = interface_ip;
    return socket_platform::SetOption(descriptor_->GetHandle(),
                                      socket_platform::Option::kMulticastInterface,
                                      interface_ip.AsBytes(), 4);
}

NPT_Result NPT_BsdUdpMulticastSocket::ChangeMembership(socket_platform::Option change,
                                                       const NPT_IpAddress& group,
                                                       const NPT_IpAddress& interface_ip) {
    NPT_UInt8 request[8];
    std::copy_n(group.AsBytes(), 4, request);
    std::copy_n(interface_ip.AsBytes(), 4, request + 4);
    return socket_platform::SetOption(descriptor_->GetHandle(), change, request, sizeof request);
}
