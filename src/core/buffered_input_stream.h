#ifndef VIREON_CORE_BUFFERED_INPUT_STREAM_H
#define VIREON_CORE_BUFFERED_INPUT_STREAM_H

#include <memory>

#include "core/streams.h"
#include "core/string.h"

// A source read through a buffer, line by line or in blocks. The buffer (size in bytes, 0 means
// unbuffered) is allocated on the first fill. Holds a reference to its source, or borrows source
// and buffer, which then must outlive it.
class NPT_BufferedInputStream : public NPT_InputStream {
  public:
    explicit NPT_BufferedInputStream(const NPT_InputStreamReference& source,
                                     NPT_UInt32 buffer_size = 4096);
    NPT_BufferedInputStream(NPT_InputStream& source, NPT_UInt8* buffer, NPT_UInt32 buffer_size);

    // One line without its end, NUL-terminated, in a buffer of size characters; chars, when given,
    // is its length. LF ends a line. A CR ends it too with break_on_cr (a LF right behind it is
    // then skipped); without, it is dropped wherever it stands. A last line without an end is
    // delivered. left, when given, bounds the bytes that are taken, line ends and dropped ones
    // among them, and is reduced by their number: one count bounds several lines.
    //   NPT_ERROR_INVALID_ARGUMENT  null buffer or size 0
    //   NPT_ERROR_LINE_TOO_LONG     more than size - 1 characters; the first ones are in the buffer
    //                               and the next one is gone, reading can go on behind it; or more
    //                               bytes than are left
    //   NPT_ERROR_NO_PROGRESS       the source delivered 0 bytes with success
    //   NPT_ERROR_EOS               nothing left
    // Any other error is the source's; what had been read of the line by then is in the buffer.
    NPT_Result ReadLine(char* buffer, NPT_UInt32 size, NPT_UInt32* chars = nullptr,
                        bool break_on_cr = false, NPT_UInt64* left = nullptr);
    // The same for at most max_chars characters; NPT_ERROR_NO_MEMORY when they cannot be had.
    NPT_Result ReadLine(NPT_String& line, NPT_UInt32 max_chars, bool break_on_cr = false);
    // Bytes already buffered stay readable whatever the new size. Without force a buffer that is
    // large enough is kept and only the nominal size changes.
    NPT_Result SetBufferSize(NPT_UInt32 size, bool force = false);

    // What is buffered, or one refill: a read may be short without being the last.
    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override;
    // The count of bytes and line characters delivered, line ends not among them.
    NPT_Result Tell(NPT_UInt64& offset) override;
    // The source's size.
    NPT_Result GetSize(NPT_UInt64& size) override;
    // The buffered bytes and what the source has available; the buffered ones alone when the source
    // fails, and its error when there are none.
    NPT_Result GetAvailable(NPT_UInt64& available) override;

  private:
    struct Buffer {
        std::unique_ptr<NPT_UInt8[]> owned;
        NPT_UInt8* bytes = nullptr;  // owned's or the caller's
        NPT_UInt32 capacity = 0;     // of bytes
        NPT_UInt32 size = 0;    // asked of the source at once, never above capacity once filled
        NPT_UInt32 offset = 0;  // of the next byte to deliver
        NPT_UInt32 valid = 0;   // end of what the source delivered
        NPT_UInt32 GetCount() const { return valid - offset; }
    };

    NPT_Result Fill();
    NPT_Result ReadSource(void* buffer, NPT_UInt32 count, NPT_UInt32& read);
    NPT_Result ReadUnbuffered(void* buffer, NPT_UInt32 count, NPT_UInt32& read);
    NPT_Result ReadChunk(NPT_UInt8* buffer, NPT_UInt32 count, NPT_UInt32& read);
    bool IsUnbuffered() const { return buffer_.size == 0 && !end_reached_; }

    const NPT_InputStreamReference reference_;
    NPT_InputStream* const source_;  // the reference's or the caller's
    NPT_UInt64 position_ = 0;
    bool skip_newline_ = false;
    bool end_reached_ = false;
    Buffer buffer_;
};

#endif
