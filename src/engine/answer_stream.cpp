#include "engine/answer_stream.h"

NPT_Result AnswerStream::Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read) {
    if (read) *read = 0;
    return datagrams_.HasUnreadBytes() ? datagrams_.Read(buffer, count, read) : NPT_ERROR_EOS;
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
