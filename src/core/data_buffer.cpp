#include "core/data_buffer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

NPT_DataBuffer::NPT_DataBuffer(NPT_UInt32 size) {
    Reallocate(size);
}

NPT_Result NPT_DataBuffer::SetBuffer(NPT_UInt8* buffer, NPT_UInt32 size) {
    if (!buffer && size) return NPT_ERROR_INVALID_ARGUMENT;
    Clear();
    owns_buffer_ = false;
    buffer_ = buffer;
    buffer_size_ = size;
    return NPT_SUCCESS;
}

NPT_Result NPT_DataBuffer::SetBufferSize(NPT_UInt32 size) {
    if (!owns_buffer_) return NPT_ERROR_NOT_SUPPORTED;
    if (data_size_ > size) return NPT_ERROR_INVALID_ARGUMENT;
    return Reallocate(size);
}

NPT_Result NPT_DataBuffer::Reserve(NPT_UInt32 size) {
    if (size <= buffer_size_) return NPT_SUCCESS;
    const NPT_UInt64 doubled = NPT_UInt64{buffer_size_} * 2;
    constexpr NPT_UInt64 kLargest = std::numeric_limits<NPT_UInt32>::max();
    return SetBufferSize(std::max(size, static_cast<NPT_UInt32>(std::min(doubled, kLargest))));
}

NPT_Result NPT_DataBuffer::Clear() {
    owned_.reset();
    buffer_ = nullptr;
    buffer_size_ = 0;
    data_size_ = 0;
    return NPT_SUCCESS;
}

NPT_Result NPT_DataBuffer::SetDataSize(NPT_UInt32 size) {
    if (size > buffer_size_) {
        if (!owns_buffer_) return NPT_ERROR_NOT_SUPPORTED;
        const NPT_Result result = Reallocate(size);
        if (NPT_Failed(result)) return result;
    }
    data_size_ = size;
    return NPT_SUCCESS;
}

NPT_Result NPT_DataBuffer::SetData(const NPT_UInt8* data, NPT_UInt32 size) {
    if (size > buffer_size_) {
        if (!owns_buffer_) return NPT_ERROR_INVALID_STATE;
        const NPT_Result result = Reallocate(size);
        if (NPT_Failed(result)) return result;
    }
    // What lies in this buffer is never larger than it, so it is still there.
    if (data && size) std::memmove(buffer_, data, size);
    data_size_ = size;
    return NPT_SUCCESS;
}

NPT_Result NPT_DataBuffer::Reallocate(NPT_UInt32 size) {
    std::unique_ptr<NPT_UInt8[]> fresh(size ? new (std::nothrow) NPT_UInt8[size] : nullptr);
    if (size && !fresh) return NPT_ERROR_NO_MEMORY;
    if (data_size_) std::memcpy(fresh.get(), buffer_, data_size_);
    owned_ = std::move(fresh);
    buffer_ = owned_.get();
    buffer_size_ = size;
    return NPT_SUCCESS;
}
