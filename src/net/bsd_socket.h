#ifndef VIREON_NET_BSD_SOCKET_H
#define VIREON_NET_BSD_SOCKET_H

#include <memory>
#include <utility>

#include "net/bsd_socket_fd.h"
#include "net/socket_interface.h"

// A socket over the Berkeley socket calls. Shares its descriptor with the streams obtained from it.
// Connections are the derived classes' business: Connect and WaitForConnection give
// NPT_ERROR_NOT_SUPPORTED here.
class NPT_BsdSocket : public NPT_SocketInterface {
  public:
    // Takes ownership of handle, which may be invalid: then every operation fails. Closes it when
    // it throws std::bad_alloc.
    NPT_BsdSocket(socket_platform::Handle handle, NPT_UInt32 flags);
    NPT_BsdSocket(const NPT_BsdSocket&) = delete;
    NPT_BsdSocket& operator=(const NPT_BsdSocket&) = delete;

    NPT_Result Bind(const NPT_SocketAddress& address, bool reuse_address) override;
    NPT_Result Connect(const NPT_SocketAddress& address, NPT_Timeout timeout) override;
    NPT_Result WaitForConnection(NPT_Timeout timeout) override;
    NPT_Result GetInputStream(NPT_InputStreamReference& stream) override;
    NPT_Result GetOutputStream(NPT_OutputStreamReference& stream) override;
    NPT_Result GetInfo(NPT_SocketInfo& info) override;
    NPT_Result SetReadTimeout(NPT_Timeout timeout) override;
    NPT_Result SetWriteTimeout(NPT_Timeout timeout) override;
    NPT_Result Cancel(bool shutdown) override;

    // See NPT_BsdSocketFd::SetWaker.
    void SetWaker(std::shared_ptr<SocketWaker> waker) { descriptor_->SetWaker(std::move(waker)); }

  protected:
    // Asks the platform for both addresses; one that it does not tell stays as it is.
    NPT_Result RefreshInfo();

    NPT_BsdSocketFdReference descriptor_;
    NPT_SocketInfo info_;
};

#endif
