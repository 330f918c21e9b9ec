#ifndef VIREON_CORE_STRING_OUTPUT_STREAM_H
#define VIREON_CORE_STRING_OUTPUT_STREAM_H

#include <memory>

#include "core/streams.h"
#include "core/string.h"

// Appends what is written to a string: the caller's, which must outlive the stream, or one that the
// stream owns. Tell reports the string's length; it cannot seek.
class NPT_StringOutputStream : public NPT_OutputStream {
  public:
    explicit NPT_StringOutputStream(NPT_UInt32 initial_capacity = 4096);
    explicit NPT_StringOutputStream(NPT_String& target);

    const NPT_String& GetString() const { return *target_; }

    NPT_Result Write(const void* buffer, NPT_UInt32 count, NPT_UInt32* written = nullptr) override;
    NPT_Result Tell(NPT_UInt64& offset) override;

  private:
    std::unique_ptr<NPT_String> owned_;
    NPT_String* target_;
};

#endif
