// The chunked transfer coding (RFC 7230, section 4.1), both ways.
#ifndef VIREON_HTTP_CHUNKED_STREAMS_H
#define VIREON_HTTP_CHUNKED_STREAMS_H

#include "core/buffered_input_stream.h"
#include "core/streams.h"

// Delivers the data of the chunks; NPT_ERROR_EOS behind the last one. Chunk extensions and trailers
// are skipped. A chunk size counts modulo 2^32. Shares its source. Only reads forward.
//   NPT_ERROR_INVALID_FORMAT  an empty size line, a character in it that is no hexadecimal digit,
//                             or a chunk without CR LF behind it; where the source ended there
//                             instead, the chunk's data is delivered first
//   others                    the source could not be read
class NPT_HttpChunkedInputStream : public NPT_InputStream {
  public:
    explicit NPT_HttpChunkedInputStream(const NPT_Reference<NPT_BufferedInputStream>& source);

    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override;
    NPT_Result GetAvailable(NPT_UInt64& available) override;

  private:
    NPT_Result OpenChunk();
    NPT_Result SkipTrailers();
    NPT_Result CloseChunk();

    NPT_Reference<NPT_BufferedInputStream> source_;
    NPT_UInt32 chunk_remaining_ = 0;  // bytes
    bool end_of_stream_ = false;
    bool is_cut_off_ = false;  // the source ended right behind a chunk's data
};

// Writes each Write as one chunk to the target, which must outlive the stream. Its destructor
// writes the last chunk, so the target is to be flushed after that.
class NPT_HttpChunkedOutputStream : public NPT_OutputStream {
  public:
    explicit NPT_HttpChunkedOutputStream(NPT_OutputStream& target) : target_(target) {}
    NPT_HttpChunkedOutputStream(const NPT_HttpChunkedOutputStream&) = delete;
    NPT_HttpChunkedOutputStream& operator=(const NPT_HttpChunkedOutputStream&) = delete;
    ~NPT_HttpChunkedOutputStream() override;

    NPT_Result Write(const void* buffer, NPT_UInt32 count, NPT_UInt32* written = nullptr) override;
    NPT_Result Flush() override;

  private:
    NPT_OutputStream& target_;
};

#endif
