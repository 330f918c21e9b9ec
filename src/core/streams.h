#ifndef VIREON_CORE_STREAMS_H
#define VIREON_CORE_STREAMS_H

#include "core/data_buffer.h"
#include "core/reference.h"
#include "core/result.h"
#include "core/types.h"

// The two interfaces through which every byte of the system moves. Counts are in bytes.
// The out count of Read and Write may be null; when given it is reset first and stays 0 on failure.
// A stream that does not say otherwise has no positions and does not know its size: that gives
// NPT_ERROR_NOT_SUPPORTED and 0.
// A stream is used by one thread at a time; handles to it (the reference types below) may be
// shared.

class NPT_InputStream {
  public:
    virtual ~NPT_InputStream() = default;

    // Replaces the buffer's data by what the stream still holds, at most max_read bytes (0: no
    // limit). NPT_ERROR_INVALID_ARGUMENT for a max_read, NPT_ERROR_OUT_OF_RANGE for content above
    // 1 GiB (the buffer is then cleared), NPT_ERROR_NO_PROGRESS when a read succeeds with none. The
    // end of the stream ends the load with success. The buffer grows to the size that the stream
    // tells at once, otherwise with what arrives.
    virtual NPT_Result Load(NPT_DataBuffer& buffer, NPT_UInt64 max_read = 0);
    // Up to count bytes; NPT_ERROR_EOS at the end of the stream.
    virtual NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) = 0;
    // Exactly count bytes; NPT_ERROR_NO_PROGRESS when a read succeeds with none.
    virtual NPT_Result ReadFully(void* buffer, NPT_UInt32 count);
    virtual NPT_Result Seek(NPT_UInt64 /*offset*/) { return NPT_ERROR_NOT_SUPPORTED; }
    virtual NPT_Result Skip(NPT_UInt64 count);
    virtual NPT_Result Tell(NPT_UInt64& offset) { return NotSupported(offset); }
    virtual NPT_Result GetSize(NPT_UInt64& size) { return NotSupported(size); }
    virtual NPT_Result GetAvailable(NPT_UInt64& available) { return NotSupported(available); }

  private:
    static NPT_Result NotSupported(NPT_UInt64& value) {
        value = 0;
        return NPT_ERROR_NOT_SUPPORTED;
    }
};

class NPT_OutputStream {
  public:
    virtual ~NPT_OutputStream() = default;

    // Up to count bytes.
    virtual NPT_Result Write(const void* buffer, NPT_UInt32 count,
                             NPT_UInt32* written = nullptr) = 0;
    // Exactly count bytes; NPT_ERROR_NO_PROGRESS when a write succeeds with none.
    virtual NPT_Result WriteFully(const void* buffer, NPT_UInt32 count);
    // The characters without their terminator; nothing for a null text.
    virtual NPT_Result WriteString(const char* text);
    // The text and "\r\n".
    virtual NPT_Result WriteLine(const char* text);
    virtual NPT_Result Seek(NPT_UInt64 /*offset*/) { return NPT_ERROR_NOT_SUPPORTED; }
    virtual NPT_Result Tell(NPT_UInt64& offset) {
        offset = 0;
        return NPT_ERROR_NOT_SUPPORTED;
    }
    virtual NPT_Result Flush() { return NPT_SUCCESS; }
};

using NPT_InputStreamReference = NPT_Reference<NPT_InputStream>;
using NPT_OutputStreamReference = NPT_Reference<NPT_OutputStream>;

// Copies size bytes (0: until the source ends) from one stream to the other, starting at offset of
// the source when that is not 0. copied, when given, counts the bytes written, also on failure. The
// source's end is a success; NPT_ERROR_NO_MEMORY when the copy buffer cannot be had,
// NPT_ERROR_NO_PROGRESS when a read or a write succeeds with none.
NPT_Result NPT_StreamToStreamCopy(NPT_InputStream& from, NPT_OutputStream& to,
                                  NPT_UInt64 offset = 0, NPT_UInt64 size = 0,
                                  NPT_UInt64* copied = nullptr);

#endif
