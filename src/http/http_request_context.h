#ifndef VIREON_HTTP_HTTP_REQUEST_CONTEXT_H
#define VIREON_HTTP_HTTP_REQUEST_CONTEXT_H

#include "net/socket_address.h"

// Between which two sockets a message travelled. For an answer to a search the remote address is
// the responder's.
class NPT_HttpRequestContext {
  public:
    const NPT_SocketAddress& GetLocalAddress() const { return local_address_; }
    void SetLocalAddress(const NPT_SocketAddress& address) { local_address_ = address; }
    const NPT_SocketAddress& GetRemoteAddress() const { return remote_address_; }
    void SetRemoteAddress(const NPT_SocketAddress& address) { remote_address_ = address; }

  private:
    NPT_SocketAddress local_address_;
    NPT_SocketAddress remote_address_;
};

#endif
