#include "engine/answer_stream.h"

NPT_Result AnswerStream::Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read) {
    if (read) *read = 0;
    return datagrams_.HasUnreadBytes() ? datagrams_.Read(buffer, count, read) : NPT_ERROR_EOS;
}
