#ifndef VIREON_NET_SOCKET_H
#define VIREON_NET_SOCKET_H

#include <memory>

#include "net/socket_interface.h"

// A socket over a delegate that does the work. Owns the delegate; what the operations do and which
// threads may call them is told at NPT_SocketInterface.
class NPT_Socket : public NPT_SocketInterface {
  public:
    explicit NPT_Socket(std::unique_ptr<NPT_SocketInterface> delegate);
    NPT_Socket(const NPT_Socket&) = delete;
    NPT_Socket& operator=(const NPT_Socket&) = delete;

    NPT_Result Bind(const NPT_SocketAddress& address, bool reuse_address) override;
    NPT_Result Connect(const NPT_SocketAddress& address, NPT_Timeout timeout) override;
    NPT_Result WaitForConnection(NPT_Timeout timeout) override;
    NPT_Result GetInputStream(NPT_InputStreamReference& stream) override;
    NPT_Result GetOutputStream(NPT_OutputStreamReference& stream) override;
    NPT_Result GetInfo(NPT_SocketInfo& info) override;
    NPT_Result SetReadTimeout(NPT_Timeout timeout) override;
    NPT_Result SetWriteTimeout(NPT_Timeout timeout) override;
    NPT_Result Cancel(bool shutdown) override;

  private:
    std::unique_ptr<NPT_SocketInterface> delegate_;
};

#endif
