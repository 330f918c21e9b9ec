#include "http/entity_body_stream.h"

#include <algorithm>
#include <utility>

#include "http/chunked_streams.h"

NPT_HttpEntityBodyInputStream::NPT_HttpEntityBodyInputStream(
    const NPT_Reference<NPT_BufferedInputStream>& source, NPT_UInt64 size, bool size_is_known,
    bool chunked, NPT_HttpConnectionReference connection, bool should_persist)
    : size_(size),
      size_is_known_(size_is_known),
      chunked_(chunked),
      connection_(std::move(connection)),
      should_persist_(should_persist) {
    if (size_is_known && size == 0) {
        OnFullyRead();
    } else if (chunked) {
        source_ = NPT_InputStreamReference(new NPT_HttpChunkedInputStream(source));
    } else {
        source_ = source;
    }
}

void NPT_HttpEntityBodyInputStream::OnFullyRead() {
    source_.Release();
    if (connection_ && should_persist_) connection_->Reuse();
    connection_.Release();
}

NPT_Result NPT_HttpEntityBodyInputStream::Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read) {
    if (read) *read = 0;
    if (source_.IsNull()) return NPT_ERROR_EOS;

    if (size_is_known_ && !chunked_) {
        count = static_cast<NPT_UInt32>(std::min<NPT_UInt64>(count, size_ - position_));
    }
    NPT_UInt32 delivered = 0;
    const NPT_Result result = source_->Read(buffer, count, &delivered);
    if (NPT_Failed(result)) {
        if (result == NPT_ERROR_EOS) OnFullyRead();
        return result;
    }
    position_ += delivered;
    if (size_is_known_ && position_ >= size_) OnFullyRead();
    if (read) *read = delivered;
    return NPT_SUCCESS;
}

NPT_Result NPT_HttpEntityBodyInputStream::Tell(NPT_UInt64& offset) {
    offset = position_;
    return NPT_SUCCESS;
}

NPT_Result NPT_HttpEntityBodyInputStream::GetSize(NPT_UInt64& size) {
    size = 0;
    if (!size_is_known_ || chunked_) return NPT_ERROR_NOT_SUPPORTED;
    size = size_;
    return NPT_SUCCESS;
}

NPT_Result NPT_HttpEntityBodyInputStream::GetAvailable(NPT_UInt64& available) {
    available = 0;
    if (source_.IsNull()) return NPT_SUCCESS;
    const NPT_Result result = source_->GetAvailable(available);
    if (NPT_Failed(result)) {
        available = 0;
        return result;
    }
    if (size_is_known_) available = std::min(available, size_ - position_);
    return NPT_SUCCESS;
}
