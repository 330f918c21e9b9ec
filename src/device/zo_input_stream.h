#ifndef VIREON_DEVICE_ZO_INPUT_STREAM_H
#define VIREON_DEVICE_ZO_INPUT_STREAM_H

#include "core/data_buffer.h"
#include "core/streams.h"
#include "net/socket_address.h"
#include "net/udp_socket.h"

namespace zorvane {

// The datagrams that arrive on a UDP socket, as a byte stream. A read never spans two datagrams: it
// delivers what is left of the current one, and only an empty stream receives the next.
//
// Borrows the socket, which must outlive the stream; used by one thread at a time, the one that
// receives on the socket. Seek, Skip, Tell, GetSize and GetAvailable give NPT_FAILURE.
class ZoInputStream : public NPT_InputStream {
  public:
    // buffer_size: bytes of the largest datagram that can be received. Where there is no memory for
    // them, each read tries anew.
    ZoInputStream(NPT_UdpSocket* socket, NPT_UInt32 buffer_size);
    // The same with a buffer of the caller's, which must outlive the stream.
    ZoInputStream(NPT_UdpSocket* socket, NPT_UInt8* buffer, NPT_UInt32 buffer_size);

    // The socket's local address and, as remote address, the source of the last datagram; all zero
    // before the first.
    const NPT_SocketInfo& GetInfo() const { return info_; }

    // Whether the next read delivers bytes of the current datagram instead of receiving another.
    bool HasUnreadBytes() const { return datagram_.GetDataSize() != 0; }

    // On an empty stream waits for a datagram as long as the socket's read time-out allows, also
    // when count is 0, and returns the socket's failures unchanged. NPT_ERROR_NO_MEMORY, with the
    // datagram still waiting, when there is none for the buffer; NPT_FAILURE when receiving threw.
    // A failure leaves the stream empty.
    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override;
    NPT_Result Seek(NPT_UInt64 offset) override;
    NPT_Result Skip(NPT_UInt64 count) override;
    NPT_Result Tell(NPT_UInt64& offset) override;
    NPT_Result GetSize(NPT_UInt64& size) override;
    NPT_Result GetAvailable(NPT_UInt64& available) override;

  private:
    NPT_Result ReceiveDatagram();

    NPT_UdpSocket* const socket_;
    NPT_SocketInfo info_;
    NPT_SocketAddress source_;
    NPT_DataBuffer datagram_;
    NPT_UInt32 position_ = 0;
    const NPT_UInt32 buffer_size_;
};

}  // namespace zorvane

#endif
