#include "net/bsd_udp_socket.h"

namespace {

socket_platform::Handle OpenDatagramSocket() {
    socket_platform::Handle handle = socket_platform::kInvalidHandle;
    socket_platform::Open(socket_platform::Transport::kDatagram, handle);
    return handle;
}

}  // namespace

NPT_BsdUdpSocket::NPT_BsdUdpSocket(NPT_UInt32 flags) : NPT_BsdSocket(OpenDatagramSocket(), flags) {
    // A platform that refuses reports on: to the reader each report is one more receive that
    // failed.
    socket_platform::IgnoreDeliveryReports(descriptor_->GetHandle());
    const int on = 1;
    socket_platform::SetOption(descriptor_->GetHandle(), socket_platform::Option::kBroadcast, &on,
                               sizeof on);
}

void NPT_BsdUdpSocket::AskForReceiveBuffer(int bytes) {
    const socket_platform::Handle handle = descriptor_->GetHandle();
    int present = 0;
    NPT_UInt32 size = sizeof present;
    const auto option = socket_platform::Option::kReceiveBuffer;
    if (NPT_Failed(socket_platform::GetOption(handle, option, &present, size))) return;
    // Some systems cut what is too much for them, others refuse it.
    for (; bytes > present; bytes /= 2) {
        if (NPT_Succeeded(socket_platform::SetOption(handle, option, &bytes, sizeof bytes))) return;
    }
}

void NPT_BsdUdpSocket::AvoidGateways() {
    socket_platform::AvoidGateways(descriptor_->GetHandle());
}

NPT_Result NPT_BsdUdpSocket::Connect(const NPT_SocketAddress& address, NPT_Timeout) {
    const NPT_Result result = socket_platform::Connect(descriptor_->GetHandle(), address);
    return NPT_Failed(result) ? result : RefreshInfo();
}

NPT_Result NPT_BsdUdpSocket::Send(const NPT_DataBuffer& packet, const NPT_SocketAddress* address) {
    const NPT_Result ready =
        descriptor_->WaitBefore(SocketCondition::kWritable, descriptor_->GetWriteTimeout());
    if (NPT_Failed(ready)) return ready;
    const socket_platform::Handle handle = descriptor_->GetHandle();
    const NPT_UInt8* data = packet.GetData();
    const NPT_UInt32 size = packet.GetDataSize();
    NPT_UInt32 sent = 0;
    const NPT_Result result = address ? socket_platform::SendTo(handle, data, size, *address, sent)
                                      : socket_platform::Send(handle, data, size, sent);
    if (descriptor_->IsCancelled()) return NPT_ERROR_CANCELLED;
    if (NPT_Succeeded(result)) descriptor_->CountTransfer(size);
    return result;
}

NPT_Result NPT_BsdUdpSocket::Receive(NPT_DataBuffer& packet, NPT_SocketAddress* address) {
    packet.SetDataSize(0);
    if (address) *address = NPT_SocketAddress();
    if (packet.GetBufferSize() == 0) return NPT_ERROR_INVALID_ARGUMENT;
    const NPT_Result ready =
        descriptor_->WaitBefore(SocketCondition::kReadable, descriptor_->GetReadTimeout());
    if (NPT_Failed(ready)) return ready;
    NPT_SocketAddress source;
    NPT_UInt32 received = 0;
    const NPT_Result result = socket_platform::ReceiveDatagram(
        descriptor_->GetHandle(), packet.UseData(), packet.GetBufferSize(),
        address ? &source : nullptr, received);
    if (descriptor_->IsCancelled()) return NPT_ERROR_CANCELLED;
    if (NPT_Failed(result)) return result;
    packet.SetDataSize(received);
    descriptor_->CountTransfer(received);
    if (address) *address = source;
    return NPT_SUCCESS;
}
