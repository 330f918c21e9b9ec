#ifndef VIREON_DEVICE_ZO_OUTPUT_STREAM_H
#define VIREON_DEVICE_ZO_OUTPUT_STREAM_H

#include <optional>

#include "core/data_buffer.h"
#include "core/streams.h"
#include "net/socket_address.h"
#include "net/udp_socket.h"

namespace zorvane {

// Collects what is written and sends it as one UDP datagram on Flush.
//
// Borrows the socket, which must outlive the stream; used by one thread at a time. What was not
// flushed is lost with the stream. Seek and Tell give NPT_FAILURE.
class ZoOutputStream : public NPT_OutputStream {
  public:
    // buffer_size: bytes of room before the first enlargement. The destination is copied; without
    // one datagrams go to the peer that the socket is connected to.
    ZoOutputStream(NPT_UdpSocket* socket, NPT_UInt32 buffer_size,
                   const NPT_SocketAddress* destination = nullptr);

    // Takes all count bytes; NPT_ERROR_NO_MEMORY, with nothing taken, when there is no room to be
    // had for them.
    NPT_Result Write(const void* buffer, NPT_UInt32 count, NPT_UInt32* written = nullptr) override;
    NPT_Result Seek(NPT_UInt64 offset) override;
    NPT_Result Tell(NPT_UInt64& offset) override;
    // Always NPT_SUCCESS, sent or not: a lost datagram is no error in SSDP. Nothing written since
    // the last flush sends nothing.
    NPT_Result Flush() override;

  private:
    NPT_UdpSocket* const socket_;
    NPT_DataBuffer datagram_;
    const std::optional<NPT_SocketAddress> destination_;
};

}  // namespace zorvane

#endif
