#include "net/udp_socket.h"

#include <utility>

#include "net/bsd_udp_socket.h"

NPT_UdpSocket::NPT_UdpSocket(NPT_UInt32 flags) : NPT_UdpSocket(new NPT_BsdUdpSocket(flags)) {}

NPT_UdpSocket::NPT_UdpSocket(NPT_BsdUdpSocket* delegate)
    : NPT_Socket(std::unique_ptr<NPT_SocketInterface>(delegate)), udp_delegate_(*delegate) {}

void NPT_UdpSocket::SetWaker(std::shared_ptr<SocketWaker> waker) {
    udp_delegate_.SetWaker(std::move(waker));
}

void NPT_UdpSocket::AskForReceiveBuffer(int bytes) {
    udp_delegate_.AskForReceiveBuffer(bytes);
}

void NPT_UdpSocket::AvoidGateways() {
    udp_delegate_.AvoidGateways();
}

NPT_Result NPT_UdpSocket::Send(const NPT_DataBuffer& packet, const NPT_SocketAddress* address) {
    return udp_delegate_.Send(packet, address);
}

NPT_Result NPT_UdpSocket::Receive(NPT_DataBuffer& packet, NPT_SocketAddress* address) {
    return udp_delegate_.Receive(packet, address);
}
