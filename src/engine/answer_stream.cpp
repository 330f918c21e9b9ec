#include "engine/answer_stream.h"

NPT_Result AnswerStream::Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read) {
    if (read) *read = 0;
    if (has_received_ && !datagrams_.HasUnreadBytes()) return NPT_ERROR_EOS;
    const NPT_Result result = datagrams_.Read(buffer, count, read);
    if (!has_received_) receive_result_ = result;
    has_received_ = true;
    return result;
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
