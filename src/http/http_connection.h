#ifndef VIREON_HTTP_HTTP_CONNECTION_H
#define VIREON_HTTP_HTTP_CONNECTION_H

#include "core/reference.h"

// The transport connection that a response arrives on, for callers who keep connections open.
class NPT_HttpConnection {
  public:
    virtual ~NPT_HttpConnection() = default;
    // The response has been read and the peer keeps the connection open: it may carry another
    // request. The reader drops its reference right after this call.
    virtual void Reuse() = 0;
};

using NPT_HttpConnectionReference = NPT_Reference<NPT_HttpConnection>;

#endif
