#ifndef VIREON_NET_BSD_SOCKET_STREAM_H
#define VIREON_NET_BSD_SOCKET_STREAM_H

#include "core/streams.h"
#include "net/bsd_socket_fd.h"

// The share that a stream over a connection has in its socket's descriptor.
class NPT_BsdSocketStream {
  protected:
    explicit NPT_BsdSocketStream(const NPT_BsdSocketFdReference& descriptor)
        : descriptor_(descriptor) {}
    ~NPT_BsdSocketStream() = default;

    NPT_BsdSocketFdReference descriptor_;
};

// Reads a connection. Positions have no meaning here: Tell reports 0, the rest gives
// NPT_ERROR_NOT_SUPPORTED.
class NPT_BsdSocketInputStream : public NPT_InputStream, private NPT_BsdSocketStream {
  public:
    explicit NPT_BsdSocketInputStream(const NPT_BsdSocketFdReference& descriptor)
        : NPT_BsdSocketStream(descriptor) {}

    // What has arrived, at least one byte; waits for at most the socket's read time-out.
    // NPT_ERROR_EOS when the peer has ended the connection.
    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override;
    NPT_Result Tell(NPT_UInt64& offset) override;
    // 1 too where the next read will report the end or an error instead of waiting.
    // NPT_ERROR_IOCTL_FAILED when the platform does not tell.
    NPT_Result GetAvailable(NPT_UInt64& available) override;
};

// Writes a connection.
class NPT_BsdSocketOutputStream : public NPT_OutputStream, private NPT_BsdSocketStream {
  public:
    explicit NPT_BsdSocketOutputStream(const NPT_BsdSocketFdReference& descriptor)
        : NPT_BsdSocketStream(descriptor) {}

    // What the connection takes, at least one byte; waits for at most the socket's write time-out.
    // A null buffer cancels the socket and ends its connection.
    //   NPT_ERROR_CONNECTION_RESET  nothing was taken
    //   NPT_ERROR_WRITE_FAILED      announced as writable again and again, but it never was
    NPT_Result Write(const void* buffer, NPT_UInt32 count, NPT_UInt32* written = nullptr) override;
    NPT_Result Tell(NPT_UInt64& offset) override;
    // Sends at once what the platform holds back to fill a packet.
    NPT_Result Flush() override;
};

#endif
