#ifndef VIREON_HTTP_ENTITY_BODY_STREAM_H
#define VIREON_HTTP_ENTITY_BODY_STREAM_H

#include "core/buffered_input_stream.h"
#include "core/streams.h"
#include "http/http_connection.h"

// The body of a response, from the stream that its head was read from to the body's end: the
// content length, the last chunk, or the end of the connection. Shares the source and lets go of it
// once the body is read; a connection that persists is handed back for reuse then.
// Cannot seek. GetSize gives NPT_ERROR_NOT_SUPPORTED unless the length is known and not superseded
// by chunks.
class NPT_HttpEntityBodyInputStream : public NPT_InputStream {
  public:
    // connection may be null.
    NPT_HttpEntityBodyInputStream(const NPT_Reference<NPT_BufferedInputStream>& source,
                                  NPT_UInt64 size, bool size_is_known, bool chunked,
                                  NPT_HttpConnectionReference connection, bool should_persist);

    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override;
    NPT_Result Tell(NPT_UInt64& offset) override;
    NPT_Result GetSize(NPT_UInt64& size) override;
    NPT_Result GetAvailable(NPT_UInt64& available) override;

  private:
    void OnFullyRead();

    const NPT_UInt64 size_;
    const bool size_is_known_;
    const bool chunked_;
    NPT_HttpConnectionReference connection_;
    const bool should_persist_;
    NPT_UInt64 position_ = 0;  // bytes delivered
    NPT_InputStreamReference source_;
};

#endif
