#include "net/socket.h"

#include <utility>

NPT_Socket::NPT_Socket(std::unique_ptr<NPT_SocketInterface> delegate)
    : delegate_(std::move(delegate)) {}

NPT_Result NPT_Socket::Bind(const NPT_SocketAddress& address, bool reuse_address) {
    return delegate_->Bind(address, reuse_address);
}

NPT_Result NPT_Socket::Connect(const NPT_SocketAddress& address, NPT_Timeout timeout) {
    return delegate_->Connect(address, timeout);
}

NPT_Result NPT_Socket::WaitForConnection(NPT_Timeout timeout) {
    return delegate_->WaitForConnection(timeout);
}

NPT_Result NPT_Socket::GetInputStream(NPT_InputStreamReference& stream) {
    return delegate_->GetInputStream(stream);
}

NPT_Result NPT_Socket::GetOutputStream(NPT_OutputStreamReference& stream) {
    return delegate_->GetOutputStream(stream);
}

NPT_Result NPT_Socket::GetInfo(NPT_SocketInfo& info) {
    return delegate_->GetInfo(info);
}

NPT_Result NPT_Socket::SetReadTimeout(NPT_Timeout timeout) {
    return delegate_->SetReadTimeout(timeout);
}

NPT_Result NPT_Socket::SetWriteTimeout(NPT_Timeout timeout) {
    return delegate_->SetWriteTimeout(timeout);
}

NPT_Result NPT_Socket::Cancel(bool shutdown) {
    return delegate_->Cancel(shutdown);
}
