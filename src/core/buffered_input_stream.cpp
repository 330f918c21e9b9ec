#include "core/buffered_input_stream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace {

// Where the byte stands between begin and end; end when it does not.
const NPT_UInt8* FindByte(NPT_UInt8 byte, const NPT_UInt8* begin, const NPT_UInt8* end) {
    const void* const found = std::memchr(begin, byte, static_cast<std::size_t>(end - begin));
    return found ? static_cast<const NPT_UInt8*>(found) : end;
}

// A line while it is put together in the caller's buffer.
struct LineInProgress {
    enum class State { kOpen, kEndedByLf, kEndedByCr, kTooLong };

    char* const chars;
    const NPT_UInt32 max_length;
    const bool break_on_cr;
    bool skip_newline;  // a LF that comes next is the second half of the last line's end
    NPT_UInt32 length = 0;
    State state = State::kOpen;

    // Takes bytes until the line is no longer open; returns how many.
    NPT_UInt32 Take(const NPT_UInt8* bytes, NPT_UInt32 count) {
        const NPT_UInt8* next = bytes;
        const NPT_UInt8* const end = bytes + count;
        if (std::exchange(skip_newline, false) && next != end && *next == '\n') ++next;
        const NPT_UInt8* const line_feed = FindByte('\n', next, end);
        while (next != line_feed && state == State::kOpen) {
            const NPT_UInt8* const run_end = FindByte('\r', next, line_feed);
            next += TakeRun(next, static_cast<NPT_UInt32>(run_end - next));
            if (state == State::kOpen && next != line_feed) {
                ++next;  // a CR
                if (break_on_cr) state = State::kEndedByCr;
            }
        }
        if (state == State::kOpen && next != end) {
            ++next;  // the LF
            state = State::kEndedByLf;
        }
        return static_cast<NPT_UInt32>(next - bytes);
    }

  private:
    // The first character without room is taken too, and dropped.
    NPT_UInt32 TakeRun(const NPT_UInt8* run, NPT_UInt32 count) {
        const NPT_UInt32 stored = std::min(count, max_length - length);
        std::memcpy(chars + length, run, stored);
        length += stored;
        if (stored == count) return count;
        state = State::kTooLong;
        return stored + 1;
    }
};

}  // namespace

NPT_BufferedInputStream::NPT_BufferedInputStream(const NPT_InputStreamReference& source,
                                                 NPT_UInt32 buffer_size)
    : reference_(source), source_(source.AsPointer()) {
    buffer_.size = buffer_size;
}

NPT_BufferedInputStream::NPT_BufferedInputStream(NPT_InputStream& source, NPT_UInt8* buffer,
                                                 NPT_UInt32 buffer_size)
    : source_(&source) {
    buffer_.bytes = buffer;
    buffer_.capacity = buffer_size;
    buffer_.size = buffer_size;
}

NPT_Result NPT_BufferedInputStream::ReadLine(char* buffer, NPT_UInt32 size, NPT_UInt32* chars,
                                             bool break_on_cr, NPT_UInt64* left) {
    if (chars) *chars = 0;
    if (!buffer || size == 0) return NPT_ERROR_INVALID_ARGUMENT;
    NPT_UInt64 unbounded = std::numeric_limits<NPT_UInt64>::max();
    NPT_UInt64& bytes_left = left ? *left : unbounded;

    using State = LineInProgress::State;
    LineInProgress line{buffer, size - 1, break_on_cr, skip_newline_};
    NPT_Result result = NPT_SUCCESS;
    while (line.state == State::kOpen) {
        if (bytes_left == 0) {
            result = NPT_ERROR_LINE_TOO_LONG;
            break;
        }
        if (buffer_.GetCount() == 0 && IsUnbuffered()) {
            NPT_UInt8 byte = 0;
            NPT_UInt32 read = 0;
            result = ReadUnbuffered(&byte, 1, read);
            if (NPT_Succeeded(result) && read == 0) result = NPT_ERROR_NO_PROGRESS;
            if (NPT_Failed(result)) break;
            line.skip_newline = false;  // without a buffer every LF counts
            bytes_left -= line.Take(&byte, 1);
            continue;
        }
        if (buffer_.GetCount() == 0) {
            result = Fill();
            if (NPT_Succeeded(result) && buffer_.GetCount() == 0) result = NPT_ERROR_NO_PROGRESS;
            if (NPT_Failed(result)) break;
        }
        const NPT_UInt32 taken = line.Take(
            buffer_.bytes + buffer_.offset,
            static_cast<NPT_UInt32>(std::min<NPT_UInt64>(buffer_.GetCount(), bytes_left)));
        buffer_.offset += taken;
        bytes_left -= taken;
    }

    buffer[line.length] = '\0';
    position_ += line.length;
    skip_newline_ = line.state == State::kEndedByCr;
    if (chars) *chars = line.length;
    if (line.state == State::kTooLong) return NPT_ERROR_LINE_TOO_LONG;
    if (result == NPT_ERROR_EOS && line.length > 0) {
        end_reached_ = true;
        return NPT_SUCCESS;
    }
    return result;
}

NPT_Result NPT_BufferedInputStream::ReadLine(NPT_String& line, NPT_UInt32 max_chars,
                                             bool break_on_cr) {
    line.SetLength(0);
    if (max_chars == 0) return NPT_ERROR_INVALID_ARGUMENT;
    try {
        line.Reserve(max_chars);
    } catch (const std::bad_alloc&) {
        return NPT_ERROR_NO_MEMORY;
    }
    NPT_UInt32 chars = 0;
    const NPT_Result result = ReadLine(line.UseChars(), max_chars + 1, &chars, break_on_cr);
    line.SetLength(chars);
    return result;
}

NPT_Result NPT_BufferedInputStream::SetBufferSize(NPT_UInt32 size, bool force) {
    const bool is_large_enough = buffer_.capacity >= size && !force;
    if (buffer_.bytes && !is_large_enough) {
        const NPT_UInt32 unread = buffer_.GetCount();
        const NPT_UInt32 capacity = std::max(size, unread);
        std::unique_ptr<NPT_UInt8[]> bytes(new (std::nothrow) NPT_UInt8[capacity]);
        if (!bytes) return NPT_ERROR_NO_MEMORY;
        std::memcpy(bytes.get(), buffer_.bytes + buffer_.offset, unread);
        buffer_.owned = std::move(bytes);
        buffer_.bytes = buffer_.owned.get();
        buffer_.capacity = capacity;
        buffer_.offset = 0;
        buffer_.valid = unread;
    }
    buffer_.size = size;
    return NPT_SUCCESS;
}

NPT_Result NPT_BufferedInputStream::Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read) {
    if (read) *read = 0;
    if (count == 0) return NPT_SUCCESS;

    auto* bytes = static_cast<NPT_UInt8*>(buffer);
    NPT_UInt32 delivered = 0;
    NPT_Result result = NPT_SUCCESS;
    if (std::exchange(skip_newline_, false)) {
        result = ReadChunk(bytes, 1, delivered);
        if (NPT_Succeeded(result) && delivered == 1 && bytes[0] == '\n') delivered = 0;
    }
    if (NPT_Succeeded(result) && delivered < count) {
        NPT_UInt32 more = 0;
        result = ReadChunk(bytes + delivered, count - delivered, more);
        delivered += more;
    }
    position_ += delivered;
    if (read) *read = delivered;
    if (delivered == 0) return result;
    // Any other failure behind the first byte is the next call's: this one has bytes to hand out.
    if (result == NPT_ERROR_EOS) end_reached_ = true;
    return NPT_SUCCESS;
}

NPT_Result NPT_BufferedInputStream::Tell(NPT_UInt64& offset) {
    offset = position_;
    return NPT_SUCCESS;
}

NPT_Result NPT_BufferedInputStream::GetSize(NPT_UInt64& size) {
    size = 0;
    return !source_ ? NPT_ERROR_INVALID_STATE : source_->GetSize(size);
}

NPT_Result NPT_BufferedInputStream::GetAvailable(NPT_UInt64& available) {
    const NPT_UInt64 buffered = buffer_.GetCount();
    NPT_UInt64 behind = 0;
    const NPT_Result result = !source_ ? NPT_ERROR_INVALID_STATE : source_->GetAvailable(behind);
    available = buffered + (NPT_Succeeded(result) ? behind : 0);
    return buffered ? NPT_SUCCESS : result;
}

NPT_Result NPT_BufferedInputStream::ReadChunk(NPT_UInt8* buffer, NPT_UInt32 count,
                                              NPT_UInt32& read) {
    if (buffer_.GetCount() == 0) {
        if (IsUnbuffered()) return ReadUnbuffered(buffer, count, read);
        const NPT_Result result = Fill();
        if (NPT_Failed(result)) return result;
    }
    read = std::min(count, buffer_.GetCount());
    std::memcpy(buffer, buffer_.bytes + buffer_.offset, read);
    buffer_.offset += read;
    return NPT_SUCCESS;
}

NPT_Result NPT_BufferedInputStream::ReadUnbuffered(void* buffer, NPT_UInt32 count,
                                                   NPT_UInt32& read) {
    buffer_ = Buffer();
    return ReadSource(buffer, count, read);
}

NPT_Result NPT_BufferedInputStream::Fill() {
    if (end_reached_) return NPT_ERROR_EOS;
    if (!buffer_.bytes) {
        buffer_.owned.reset(new (std::nothrow) NPT_UInt8[buffer_.size]);
        if (!buffer_.owned) return NPT_ERROR_NO_MEMORY;
        buffer_.bytes = buffer_.owned.get();
        buffer_.capacity = buffer_.size;
    }
    buffer_.offset = 0;
    buffer_.valid = 0;
    return ReadSource(buffer_.bytes, buffer_.size, buffer_.valid);
}

// read stays 0 on failure, whatever the source left in it.
NPT_Result NPT_BufferedInputStream::ReadSource(void* buffer, NPT_UInt32 count, NPT_UInt32& read) {
    if (!source_) return NPT_ERROR_INVALID_STATE;
    const NPT_Result result = source_->Read(buffer, count, &read);
    if (NPT_Failed(result)) read = 0;
    return result;
}
