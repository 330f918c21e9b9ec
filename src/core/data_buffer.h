#ifndef VIREON_CORE_DATA_BUFFER_H
#define VIREON_CORE_DATA_BUFFER_H

#include <memory>

#include "core/result.h"
#include "core/types.h"

// A byte buffer with a capacity (the buffer size) and a count of valid bytes (the data size, never
// above the capacity). Holds datagrams, memory streams and emitted messages.
//
// Owns its bytes, except after SetBuffer, which refers to the caller's: those must outlive the use
// and are never resized or freed. Sizes are in bytes and unsigned 32-bit. Not synchronised. A
// failed allocation gives NPT_ERROR_NO_MEMORY and leaves the buffer as it was.
class NPT_DataBuffer {
  public:
    NPT_DataBuffer() = default;
    // Room for size bytes, no data. A failed allocation leaves the capacity at 0.
    explicit NPT_DataBuffer(NPT_UInt32 size);
    NPT_DataBuffer(const NPT_DataBuffer&) = delete;
    NPT_DataBuffer& operator=(const NPT_DataBuffer&) = delete;
    virtual ~NPT_DataBuffer() = default;

    // NPT_ERROR_INVALID_ARGUMENT, nothing changed, for a null buffer with a size.
    virtual NPT_Result SetBuffer(NPT_UInt8* buffer, NPT_UInt32 size);
    // NPT_ERROR_NOT_SUPPORTED for a borrowed buffer, NPT_ERROR_INVALID_ARGUMENT below the data
    // size.
    virtual NPT_Result SetBufferSize(NPT_UInt32 size);
    virtual NPT_UInt32 GetBufferSize() const { return buffer_size_; }
    // At least doubles the capacity when it has to grow.
    virtual NPT_Result Reserve(NPT_UInt32 size);
    // Frees or lets go of the bytes. A buffer that borrowed keeps refusing to allocate.
    virtual NPT_Result Clear();
    virtual const NPT_UInt8* GetData() const { return buffer_; }
    virtual NPT_UInt8* UseData() { return buffer_; }
    virtual NPT_UInt32 GetDataSize() const { return data_size_; }
    // A borrowed buffer that is too small gives NPT_ERROR_NOT_SUPPORTED.
    virtual NPT_Result SetDataSize(NPT_UInt32 size);
    // Copies size bytes in (none when data is null; data may point into this buffer). A borrowed
    // buffer that is too small gives NPT_ERROR_INVALID_STATE.
    virtual NPT_Result SetData(const NPT_UInt8* data, NPT_UInt32 size);

  private:
    // Moves the data to a block of exactly size bytes.
    NPT_Result Reallocate(NPT_UInt32 size);

    bool owns_buffer_ = true;
    std::unique_ptr<NPT_UInt8[]> owned_;
    NPT_UInt8* buffer_ = nullptr;  // owned_'s bytes or the caller's
    NPT_UInt32 buffer_size_ = 0;
    NPT_UInt32 data_size_ = 0;
};

#endif
