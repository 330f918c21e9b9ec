#ifndef VIREON_CORE_MEMORY_STREAM_H
#define VIREON_CORE_MEMORY_STREAM_H

#include "core/data_buffer.h"
#include "core/streams.h"

// Both stream interfaces have a Seek and a Tell; these two bases give each side a name of its own
// so that one class can be both.
class NPT_DelegatingInputStream : public NPT_InputStream {
  public:
    NPT_Result Seek(NPT_UInt64 offset) override { return InputSeek(offset); }
    NPT_Result Tell(NPT_UInt64& offset) override { return InputTell(offset); }

  private:
    virtual NPT_Result InputSeek(NPT_UInt64 offset) = 0;
    virtual NPT_Result InputTell(NPT_UInt64& offset) = 0;
};

class NPT_DelegatingOutputStream : public NPT_OutputStream {
  public:
    NPT_Result Seek(NPT_UInt64 offset) override { return OutputSeek(offset); }
    NPT_Result Tell(NPT_UInt64& offset) override { return OutputTell(offset); }

  private:
    virtual NPT_Result OutputSeek(NPT_UInt64 offset) = 0;
    virtual NPT_Result OutputTell(NPT_UInt64& offset) = 0;
};

// A growing memory buffer with independent read and write offsets (in bytes, below 4 GiB). Owns its
// bytes. Seeking beyond the data gives NPT_ERROR_OUT_OF_RANGE; a write that would pass 4 GiB or
// cannot be stored gives NPT_ERROR_NO_MEMORY and changes nothing. What is written must not lie in
// the stream's own buffer.
class NPT_MemoryStream : public NPT_DelegatingInputStream, public NPT_DelegatingOutputStream {
  public:
    explicit NPT_MemoryStream(NPT_UInt32 initial_size = 0);

    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override;
    NPT_Result GetSize(NPT_UInt64& size) override;
    NPT_Result GetAvailable(NPT_UInt64& available) override;
    NPT_Result Write(const void* buffer, NPT_UInt32 count, NPT_UInt32* written = nullptr) override;

    const NPT_UInt8* GetData() const { return buffer_.GetData(); }
    NPT_UInt32 GetDataSize() const { return buffer_.GetDataSize(); }

  private:
    NPT_Result InputSeek(NPT_UInt64 offset) override;
    NPT_Result InputTell(NPT_UInt64& offset) override;
    NPT_Result OutputSeek(NPT_UInt64 offset) override;
    NPT_Result OutputTell(NPT_UInt64& offset) override;

    NPT_DataBuffer buffer_;
    NPT_UInt32 read_offset_ = 0;
    NPT_UInt32 write_offset_ = 0;
};

#endif
