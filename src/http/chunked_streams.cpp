#include "http/chunked_streams.h"

#include <algorithm>
#include <cstdio>

#include "http/http_protocol.h"

namespace {

constexpr int kNoDigit = -1;

int HexDigitValue(char character) {
    if (character >= '0' && character <= '9') return character - '0';
    if (character >= 'a' && character <= 'f') return character - 'a' + 10;
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    return kNoDigit;
}

bool EndsChunkSize(char character) {
    return character == '\n' || character == '\r' || character == ' ' || character == ';';
}

NPT_Result ParseChunkSize(const char* line, NPT_UInt32 length, NPT_UInt32& size) {
    size = 0;
    if (length == 0) return NPT_ERROR_INVALID_FORMAT;
    NPT_UInt32 sum = 0;
    for (const char* end = line + length; line != end && !EndsChunkSize(*line); ++line) {
        const int digit = HexDigitValue(*line);
        if (digit == kNoDigit) return NPT_ERROR_INVALID_FORMAT;
        sum = (sum << 4) | static_cast<NPT_UInt32>(digit);
    }
    size = sum;
    return NPT_SUCCESS;
}

}  // namespace

NPT_HttpChunkedInputStream::NPT_HttpChunkedInputStream(
    const NPT_Reference<NPT_BufferedInputStream>& source)
    : source_(source) {}

NPT_Result NPT_HttpChunkedInputStream::Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read) {
    if (read) *read = 0;
    if (end_of_stream_) return NPT_ERROR_EOS;
    if (count == 0) return NPT_SUCCESS;
    if (is_cut_off_) return NPT_ERROR_INVALID_FORMAT;

    if (chunk_remaining_ == 0) {
        const NPT_Result result = OpenChunk();
        if (NPT_Failed(result)) return result;
    }
    NPT_UInt32 delivered = 0;
    NPT_Result result = source_->Read(buffer, std::min(count, chunk_remaining_), &delivered);
    if (NPT_Failed(result)) return result;
    chunk_remaining_ -= delivered;
    if (chunk_remaining_ == 0) {
        result = CloseChunk();
        is_cut_off_ = result == NPT_ERROR_EOS;
        if (NPT_Failed(result) && !is_cut_off_) return result;
    }
    if (read) *read = delivered;
    return NPT_SUCCESS;
}

NPT_Result NPT_HttpChunkedInputStream::OpenChunk() {
    NPT_Result result = source_->SetBufferSize(http_protocol::kReadBufferSize);
    if (NPT_Failed(result)) return result;
    char line[http_protocol::kMaxChunkLine];
    NPT_UInt32 length = 0;
    result = source_->ReadLine(line, sizeof(line), &length);
    if (NPT_Failed(result)) return result;

    NPT_UInt32 size = 0;
    result = ParseChunkSize(line, length, size);
    if (NPT_Failed(result)) return result;
    if (size == 0) return SkipTrailers();

    chunk_remaining_ = size;
    // What is buffered is used up first, then the data goes straight to the reader.
    return source_->SetBufferSize(0);
}

NPT_Result NPT_HttpChunkedInputStream::SkipTrailers() {
    char line[http_protocol::kMaxChunkLine];
    NPT_UInt32 length = 0;
    do {
        const NPT_Result result = source_->ReadLine(line, sizeof(line), &length);
        if (NPT_Failed(result)) return result;
    } while (length != 0);
    end_of_stream_ = true;
    return NPT_ERROR_EOS;
}

NPT_Result NPT_HttpChunkedInputStream::CloseChunk() {
    char line_end[2];
    const NPT_Result result = source_->ReadFully(line_end, sizeof(line_end));
    if (NPT_Failed(result)) return result;
    return line_end[0] == '\r' && line_end[1] == '\n' ? NPT_SUCCESS : NPT_ERROR_INVALID_FORMAT;
}

NPT_Result NPT_HttpChunkedInputStream::GetAvailable(NPT_UInt64& available) {
    const NPT_Result result = source_->GetAvailable(available);
    available = NPT_Succeeded(result) ? std::min<NPT_UInt64>(available, chunk_remaining_) : 0;
    return result;
}

NPT_HttpChunkedOutputStream::~NPT_HttpChunkedOutputStream() {
    constexpr char kLastChunk[] = "0\r\n\r\n";
    target_.WriteFully(kLastChunk, sizeof(kLastChunk) - 1);
}

NPT_Result NPT_HttpChunkedOutputStream::Write(const void* buffer, NPT_UInt32 count,
                                              NPT_UInt32* written) {
    if (written) *written = 0;
    // A chunk of 0 bytes would end the body.
    if (count == 0) return NPT_SUCCESS;

    char size_line[16];
    const int length = std::snprintf(size_line, sizeof(size_line), "%X\r\n", count);
    NPT_Result result = target_.WriteFully(size_line, static_cast<NPT_UInt32>(length));
    if (NPT_Failed(result)) return result;
    result = target_.WriteFully(buffer, count);
    if (NPT_Failed(result)) return result;
    result = target_.WriteFully("\r\n", 2);
    if (NPT_Failed(result)) return result;
    if (written) *written = count;
    return NPT_SUCCESS;
}

NPT_Result NPT_HttpChunkedOutputStream::Flush() {
    return target_.Flush();
}
