#include "core/memory_stream.h"

#include <algorithm>
#include <cstring>
#include <limits>

NPT_MemoryStream::NPT_MemoryStream(NPT_UInt32 initial_size) : buffer_(initial_size) {}

NPT_Result NPT_MemoryStream::Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read) {
    if (read) *read = 0;
    if (count == 0) return NPT_SUCCESS;
    const NPT_UInt32 copied = std::min(count, buffer_.GetDataSize() - read_offset_);
    if (copied == 0) return NPT_ERROR_EOS;
    std::memcpy(buffer, buffer_.GetData() + read_offset_, copied);
    read_offset_ += copied;
    if (read) *read = copied;
    return NPT_SUCCESS;
}

NPT_Result NPT_MemoryStream::GetSize(NPT_UInt64& size) {
    size = buffer_.GetDataSize();
    return NPT_SUCCESS;
}

NPT_Result NPT_MemoryStream::GetAvailable(NPT_UInt64& available) {
    available = buffer_.GetDataSize() - read_offset_;
    return NPT_SUCCESS;
}

NPT_Result NPT_MemoryStream::Write(const void* buffer, NPT_UInt32 count, NPT_UInt32* written) {
    if (written) *written = 0;
    if (count == 0) return NPT_SUCCESS;
    if (count > std::numeric_limits<NPT_UInt32>::max() - write_offset_) return NPT_ERROR_NO_MEMORY;
    const NPT_UInt32 end = write_offset_ + count;
    const NPT_Result result = buffer_.Reserve(end);
    if (NPT_Failed(result)) return result;
    std::memcpy(buffer_.UseData() + write_offset_, buffer, count);
    write_offset_ = end;
    if (written) *written = count;
    return buffer_.SetDataSize(std::max(buffer_.GetDataSize(), end));
}

NPT_Result NPT_MemoryStream::InputSeek(NPT_UInt64 offset) {
    if (offset > buffer_.GetDataSize()) return NPT_ERROR_OUT_OF_RANGE;
    read_offset_ = static_cast<NPT_UInt32>(offset);
    return NPT_SUCCESS;
}

NPT_Result NPT_MemoryStream::InputTell(NPT_UInt64& offset) {
    offset = read_offset_;
    return NPT_SUCCESS;
}

NPT_Result NPT_MemoryStream::OutputSeek(NPT_UInt64 offset) {
    if (offset > buffer_.GetDataSize()) return NPT_ERROR_OUT_OF_RANGE;
    write_offset_ = static_cast<NPT_UInt32>(offset);
    return NPT_SUCCESS;
}

NPT_Result NPT_MemoryStream::OutputTell(NPT_UInt64& offset) {
    offset = write_offset_;
    return NPT_SUCCESS;
}
