#include "net/bsd_socket.h"

#include "net/bsd_socket_stream.h"

namespace {

// Lets go of the handle only when the descriptor is there to take it: its memory comes first.
NPT_BsdSocketFd* MakeDescriptor(UniqueSocket handle, NPT_UInt32 flags) {
    return new NPT_BsdSocketFd(handle.Release(), flags);
}

}  // namespace

NPT_BsdSocket::NPT_BsdSocket(socket_platform::Handle handle, NPT_UInt32 flags)
    : descriptor_(MakeDescriptor(UniqueSocket(handle), flags)) {
    RefreshInfo();
}

NPT_Result NPT_BsdSocket::Bind(const NPT_SocketAddress& address, bool reuse_address) {
    const socket_platform::Handle handle = descriptor_->GetHandle();
    if (reuse_address) {
        const int on = 1;
        const NPT_Result result = socket_platform::SetOption(
            handle, socket_platform::Option::kReuseAddress, &on, sizeof on);
        if (NPT_Failed(result)) return result;
    }
    const NPT_Result result = socket_platform::Bind(handle, address);
    return NPT_Failed(result) ? result : RefreshInfo();
}

NPT_Result NPT_BsdSocket::Connect(const NPT_SocketAddress&, NPT_Timeout) {
    return NPT_ERROR_NOT_SUPPORTED;
}

NPT_Result NPT_BsdSocket::WaitForConnection(NPT_Timeout) {
    return NPT_ERROR_NOT_SUPPORTED;
}

NPT_Result NPT_BsdSocket::GetInputStream(NPT_InputStreamReference& stream) {
    stream.Release();
    if (!descriptor_->IsOpen()) return NPT_ERROR_INVALID_STATE;
    stream = NPT_InputStreamReference(new NPT_BsdSocketInputStream(descriptor_));
    return NPT_SUCCESS;
}

NPT_Result NPT_BsdSocket::GetOutputStream(NPT_OutputStreamReference& stream) {
    stream.Release();
    if (!descriptor_->IsOpen()) return NPT_ERROR_INVALID_STATE;
    stream = NPT_OutputStreamReference(new NPT_BsdSocketOutputStream(descriptor_));
    return NPT_SUCCESS;
}

NPT_Result NPT_BsdSocket::GetInfo(NPT_SocketInfo& info) {
    info = info_;
    return NPT_SUCCESS;
}

NPT_Result NPT_BsdSocket::SetReadTimeout(NPT_Timeout timeout) {
    descriptor_->SetReadTimeout(timeout);
    return NPT_SUCCESS;
}

NPT_Result NPT_BsdSocket::SetWriteTimeout(NPT_Timeout timeout) {
    descriptor_->SetWriteTimeout(timeout);
    socket_platform::SetSendTimeout(descriptor_->GetHandle(), timeout);
    return NPT_SUCCESS;
}

NPT_Result NPT_BsdSocket::Cancel(bool shutdown) {
    descriptor_->Cancel(shutdown);
    return NPT_SUCCESS;
}

NPT_Result NPT_BsdSocket::RefreshInfo() {
    if (!descriptor_->IsOpen()) return NPT_ERROR_INVALID_STATE;
    NPT_SocketAddress address;
    if (NPT_Succeeded(socket_platform::GetLocalAddress(descriptor_->GetHandle(), address)))
        info_.local_address = address;
    if (NPT_Succeeded(socket_platform::GetPeerAddress(descriptor_->GetHandle(), address)))
        info_.remote_address = address;
    return NPT_SUCCESS;
}
