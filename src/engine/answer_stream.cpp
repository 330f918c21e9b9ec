#include "engine/answer_stream.h"

#include <utility>

AnswerStream::AnswerStream(NPT_InputStream& source, const Deadline& resend, StopTest is_stopped,
                           LimitWait limit_wait)
    : source_(source),
      resend_(resend),
      is_stopped_(std::move(is_stopped)),
      limit_wait_(std::move(limit_wait)) {}

NPT_Result AnswerStream::Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read) {
    if (read) *read = 0;
    if (has_received_ && (is_stopped_() || resend_.HasPassed())) return NPT_ERROR_TIMEOUT;
    has_received_ = true;
    limit_wait_(resend_.GetMillisLeft());
    return source_.Read(buffer, count, read);
}

NPT_Result AnswerStream::Seek(NPT_UInt64) {
    return NPT_FAILURE;
}

NPT_Result AnswerStream::Skip(NPT_UInt64) {
    return NPT_FAILURE;
}

NPT_Result AnswerStream::Tell(NPT_UInt64& offset) {
    offset = 0;
    return NPT_FAILURE;
}

NPT_Result AnswerStream::GetSize(NPT_UInt64& size) {
    size = 0;
    return NPT_FAILURE;
}

NPT_Result AnswerStream::GetAvailable(NPT_UInt64& available) {
    available = 0;
    return NPT_FAILURE;
}
