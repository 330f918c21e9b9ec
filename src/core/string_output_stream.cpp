#include "core/string_output_stream.h"

#include <new>

NPT_StringOutputStream::NPT_StringOutputStream(NPT_UInt32 initial_capacity)
    : owned_(std::make_unique<NPT_String>()), target_(owned_.get()) {
    target_->Reserve(initial_capacity);
}

NPT_StringOutputStream::NPT_StringOutputStream(NPT_String& target) : target_(&target) {}

NPT_Result NPT_StringOutputStream::Write(const void* buffer, NPT_UInt32 count,
                                         NPT_UInt32* written) {
    if (written) *written = 0;
    try {
        target_->Append(static_cast<const char*>(buffer), count);
    } catch (const std::bad_alloc&) {
        return NPT_ERROR_NO_MEMORY;
    }
    if (written) *written = count;
    return NPT_SUCCESS;
}

NPT_Result NPT_StringOutputStream::Tell(NPT_UInt64& offset) {
    offset = target_->GetLength();
    return NPT_SUCCESS;
}
