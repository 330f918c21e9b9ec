#include "core/streams.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace {

constexpr NPT_UInt64 kLoadLimit = 0x40000000;  // bytes
constexpr NPT_UInt32 kLoadChunkSize = 4096;    // bytes, when the source cannot tell
constexpr NPT_UInt32 kCopyBufferSize = 65536;  // bytes

// How much a load has to fetch, as far as that is known beforehand.
struct LoadTarget {
    bool is_known = false;
    NPT_UInt64 size = 0;
    // What the stream says that it holds of it.
    NPT_UInt64 expected = 0;

    NPT_UInt64 GetNextChunk(NPT_InputStream& stream, NPT_UInt64 loaded) const {
        NPT_UInt64 chunk = 0;
        if (NPT_Failed(stream.GetAvailable(chunk)) || chunk == 0) chunk = kLoadChunkSize;
        return is_known ? std::min(chunk, size - loaded) : chunk;
    }
};

LoadTarget GetLoadTarget(NPT_InputStream& stream, NPT_UInt64 max_read) {
    LoadTarget target{max_read != 0, max_read, 0};
    NPT_UInt64 size = 0;
    if (NPT_Succeeded(stream.GetSize(size))) {
        target.size = target.is_known ? std::min(size, max_read) : size;
        target.is_known = true;
        target.expected = target.size;
    }
    return target;
}

NPT_Result LoadChunk(NPT_InputStream& stream, NPT_DataBuffer& buffer, NPT_UInt32 chunk) {
    const NPT_UInt32 loaded = buffer.GetDataSize();
    NPT_Result result = buffer.Reserve(loaded + chunk);
    if (NPT_Failed(result)) return result;
    NPT_UInt32 read = 0;
    result = stream.Read(buffer.UseData() + loaded, chunk, &read);
    if (NPT_Failed(result)) return result;
    if (read == 0) return NPT_ERROR_NO_PROGRESS;
    return buffer.SetDataSize(loaded + read);
}

// Writes all of count bytes and adds to copied what went out.
NPT_Result WriteChunk(NPT_OutputStream& to, const NPT_UInt8* bytes, NPT_UInt32 count,
                      NPT_UInt64& copied) {
    while (count > 0) {
        NPT_UInt32 written = 0;
        const NPT_Result result = to.Write(bytes, count, &written);
        if (NPT_Failed(result)) return result;
        if (written == 0) return NPT_ERROR_NO_PROGRESS;
        bytes += written;
        count -= written;
        copied += written;
    }
    return NPT_SUCCESS;
}

NPT_Result CopyChunks(NPT_InputStream& from, NPT_OutputStream& to, NPT_UInt64 size,
                      NPT_UInt64& copied) {
    const std::unique_ptr<NPT_UInt8[]> buffer(new (std::nothrow) NPT_UInt8[kCopyBufferSize]);
    if (!buffer) return NPT_ERROR_NO_MEMORY;
    while (size == 0 || copied < size) {
        NPT_UInt32 wanted = kCopyBufferSize;
        if (size) wanted = static_cast<NPT_UInt32>(std::min<NPT_UInt64>(wanted, size - copied));
        NPT_UInt32 read = 0;
        NPT_Result result = from.Read(buffer.get(), wanted, &read);
        if (result == NPT_ERROR_EOS) return NPT_SUCCESS;
        if (NPT_Failed(result)) return result;
        if (read == 0) return NPT_ERROR_NO_PROGRESS;
        result = WriteChunk(to, buffer.get(), read, copied);
        if (NPT_Failed(result)) return result;
    }
    return NPT_SUCCESS;
}

}  // namespace

NPT_Result NPT_InputStream::Load(NPT_DataBuffer& buffer, NPT_UInt64 max_read) {
    buffer.SetDataSize(0);
    if (max_read > kLoadLimit) return NPT_ERROR_INVALID_ARGUMENT;
    const LoadTarget target = GetLoadTarget(*this, max_read);
    if (target.expected > kLoadLimit) return NPT_ERROR_OUT_OF_RANGE;
    const NPT_Result reserved = buffer.Reserve(static_cast<NPT_UInt32>(target.expected));
    if (NPT_Failed(reserved)) return reserved;
    for (;;) {
        const NPT_UInt64 chunk = target.GetNextChunk(*this, buffer.GetDataSize());
        if (chunk == 0) return NPT_SUCCESS;
        if (chunk > kLoadLimit - buffer.GetDataSize()) {
            buffer.Clear();
            return NPT_ERROR_OUT_OF_RANGE;
        }
        const NPT_Result result = LoadChunk(*this, buffer, static_cast<NPT_UInt32>(chunk));
        if (result == NPT_ERROR_EOS) return NPT_SUCCESS;
        if (NPT_Failed(result)) return result;
    }
}

NPT_Result NPT_InputStream::ReadFully(void* buffer, NPT_UInt32 count) {
    auto* next = static_cast<NPT_UInt8*>(buffer);
    while (count > 0) {
        NPT_UInt32 read = 0;
        const NPT_Result result = Read(next, count, &read);
        if (NPT_Failed(result)) return result;
        if (read == 0) return NPT_ERROR_NO_PROGRESS;
        next += read;
        count -= read;
    }
    return NPT_SUCCESS;
}

NPT_Result NPT_InputStream::Skip(NPT_UInt64 count) {
    NPT_UInt64 offset = 0;
    const NPT_Result result = Tell(offset);
    if (NPT_Failed(result)) return result;
    if (count > std::numeric_limits<NPT_UInt64>::max() - offset) return NPT_ERROR_OUT_OF_RANGE;
    return Seek(offset + count);
}

NPT_Result NPT_OutputStream::WriteFully(const void* buffer, NPT_UInt32 count) {
    NPT_UInt64 written = 0;
    return WriteChunk(*this, static_cast<const NPT_UInt8*>(buffer), count, written);
}

NPT_Result NPT_OutputStream::WriteString(const char* text) {
    const std::size_t length = text ? std::strlen(text) : 0;
    if (length > std::numeric_limits<NPT_UInt32>::max()) return NPT_ERROR_OUT_OF_RANGE;
    return WriteFully(text, static_cast<NPT_UInt32>(length));
}

NPT_Result NPT_OutputStream::WriteLine(const char* text) {
    const NPT_Result result = WriteString(text);
    if (NPT_Failed(result)) return result;
    return WriteFully("\r\n", 2);
}

NPT_Result NPT_StreamToStreamCopy(NPT_InputStream& from, NPT_OutputStream& to, NPT_UInt64 offset,
                                  NPT_UInt64 size, NPT_UInt64* copied) {
    NPT_UInt64 count = 0;
    NPT_Result result = offset ? from.Seek(offset) : NPT_SUCCESS;
    if (NPT_Succeeded(result)) result = CopyChunks(from, to, size, count);
    if (copied) *copied = count;
    return result;
}
