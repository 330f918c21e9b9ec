#include "device/zo_input_stream.h"

#include <algorithm>
#include <cstring>

namespace zorvane {

ZoInputStream::ZoInputStream(NPT_UdpSocket* socket, NPT_UInt32 buffer_size)
    : socket_(socket), datagram_(buffer_size), buffer_size_(buffer_size) {}

ZoInputStream::ZoInputStream(NPT_UdpSocket* socket, NPT_UInt8* buffer, NPT_UInt32 buffer_size)
    : socket_(socket), buffer_size_(buffer_size) {
    datagram_.SetBuffer(buffer, buffer_size);
}

NPT_Result ZoInputStream::Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read) {
    if (read) *read = 0;
    if (datagram_.GetDataSize() == 0) {
        const NPT_Result result = ReceiveDatagram();
        if (NPT_Failed(result)) return result;
    }
    if (count == 0) return NPT_SUCCESS;

    const NPT_UInt32 copied = std::min(count, datagram_.GetDataSize() - position_);
    if (copied > 0) std::memcpy(buffer, datagram_.GetData() + position_, copied);
    position_ += copied;
    if (read) *read = copied;
    if (position_ == datagram_.GetDataSize()) {
        position_ = 0;
        datagram_.SetDataSize(0);
    }
    return NPT_SUCCESS;
}

NPT_Result ZoInputStream::ReceiveDatagram() {
    NPT_Result result = datagram_.Reserve(buffer_size_);
    if (NPT_Failed(result)) return result;
    try {
        NPT_SocketAddress source;
        result = socket_->Receive(datagram_, &source);
        socket_->GetInfo(info_);
        if (NPT_Succeeded(result)) source_ = source;
    } catch (...) {
        result = NPT_FAILURE;
    }
    info_.remote_address = source_;
    if (NPT_Failed(result)) datagram_.SetDataSize(0);
    return result;
}

NPT_Result ZoInputStream::Seek(NPT_UInt64) {
    return NPT_FAILURE;
}

NPT_Result ZoInputStream::Skip(NPT_UInt64) {
    return NPT_FAILURE;
}

NPT_Result ZoInputStream::Tell(NPT_UInt64& offset) {
    offset = 0;
    return NPT_FAILURE;
}

NPT_Result ZoInputStream::GetSize(NPT_UInt64& size) {
    size = 0;
    return NPT_FAILURE;
}

NPT_Result ZoInputStream::GetAvailable(NPT_UInt64& available) {
    available = 0;
    return NPT_FAILURE;
}

}  // namespace zorvane
