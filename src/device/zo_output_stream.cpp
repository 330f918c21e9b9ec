#include "device/zo_output_stream.h"

#include <cstring>
#include <limits>

namespace zorvane {

ZoOutputStream::ZoOutputStream(NPT_UdpSocket* socket, NPT_UInt32 buffer_size,
                               const NPT_SocketAddress* destination)
    : socket_(socket),
      datagram_(buffer_size),
      destination_(destination ? std::optional<NPT_SocketAddress>(*destination) : std::nullopt) {}

NPT_Result ZoOutputStream::Write(const void* buffer, NPT_UInt32 count, NPT_UInt32* written) {
    if (written) *written = 0;
    if (count == 0) return NPT_SUCCESS;
    const NPT_UInt32 old_size = datagram_.GetDataSize();
    const NPT_UInt64 new_size = NPT_UInt64{old_size} + count;
    if (new_size > std::numeric_limits<NPT_UInt32>::max()) return NPT_ERROR_NO_MEMORY;
    const NPT_Result result = datagram_.SetDataSize(static_cast<NPT_UInt32>(new_size));
    if (NPT_Failed(result)) return result;
    std::memcpy(datagram_.UseData() + old_size, buffer, count);
    if (written) *written = count;
    return NPT_SUCCESS;
}

NPT_Result ZoOutputStream::Seek(NPT_UInt64) {
    return NPT_FAILURE;
}

NPT_Result ZoOutputStream::Tell(NPT_UInt64& offset) {
    offset = 0;
    return NPT_FAILURE;
}

NPT_Result ZoOutputStream::Flush() {
    if (datagram_.GetDataSize() == 0) return NPT_SUCCESS;
    try {
        socket_->Send(datagram_, destination_ ? &*destination_ : nullptr);
    } catch (...) {
        // Lost like any other datagram that the network drops.
    }
    return datagram_.SetDataSize(0);
}

}  // namespace zorvane
