#include "http/http_headers.h"

#include <cstring>
#include <utility>

#include "http/http_protocol.h"

namespace {

bool IsBlank(char character) {
    return character == ' ' || character == '\t';
}

// A NUL ends a line's text, so that nobody reads a value other than the one that was compared.
NPT_UInt32 TextLength(const char* line, NPT_UInt32 length) {
    const void* nul = std::memchr(line, 0, length);
    return nul ? static_cast<NPT_UInt32>(static_cast<const char*>(nul) - line) : length;
}

// The header that the next line may still continue.
class PendingHeader {
  public:
    explicit PendingHeader(NPT_List<NPT_HttpHeader>& headers) : headers_(headers) {}

    // A line that begins with a blank continues the header, less that blank. False when it does
    // not, or when there is no header to continue.
    bool Continue(const char* line, NPT_UInt32 length) {
        if (name_.IsEmpty() || length == 0 || !IsBlank(*line)) return false;
        value_.Append(line + 1, length - 1);
        return true;
    }

    // A line without a name in front of a colon begins nothing.
    void Begin(const char* line, NPT_UInt32 length) {
        const auto* colon = static_cast<const char*>(std::memchr(line, ':', length));
        if (!colon || colon == line) return;
        const char* end = line + length;
        const char* value = colon + 1;
        while (value != end && IsBlank(*value))
            ++value;
        name_.Assign(line, static_cast<NPT_UInt32>(colon - line));
        value_.Assign(value, static_cast<NPT_UInt32>(end - value));
    }

    void Complete() {
        if (name_.IsEmpty()) return;
        value_.Trim();
        headers_.Add(NPT_HttpHeader(std::move(name_), std::move(value_)));
        name_ = "";
        value_ = "";
    }

  private:
    NPT_List<NPT_HttpHeader>& headers_;
    NPT_String name_;  // empty: nothing pending
    NPT_String value_;
};

}  // namespace

NPT_HttpHeader::NPT_HttpHeader(NPT_String name, NPT_String value)
    : name_(std::move(name)), value_(std::move(value)) {}

const NPT_HttpHeader* NPT_HttpHeaders::GetHeader(const char* name) const {
    const char* key = name ? name : "";
    for (const NPT_HttpHeader& header : headers_) {
        if (header.GetName().Compare(key, true) == 0) return &header;
    }
    return nullptr;
}

const NPT_String* NPT_HttpHeaders::GetHeaderValue(const char* name) const {
    const NPT_HttpHeader* header = GetHeader(name);
    return header ? &header->GetValue() : nullptr;
}

NPT_Result NPT_HttpHeaders::AddHeader(const char* name, const char* value) {
    headers_.Add(NPT_HttpHeader(name, value));
    return NPT_SUCCESS;
}

NPT_Result NPT_HttpHeaders::SetHeader(const char* name, const char* value, bool replace) {
    const char* key = name ? name : "";
    for (NPT_HttpHeader& header : headers_) {
        if (header.GetName().Compare(key, true) != 0) continue;
        if (replace) header.SetValue(value);
        return NPT_SUCCESS;
    }
    return AddHeader(name, value);
}

NPT_Result NPT_HttpHeaders::Emit(NPT_OutputStream& stream) const {
    for (const NPT_HttpHeader& header : headers_) {
        stream.WriteString(header.GetName().GetChars());
        stream.WriteString(": ");
        stream.WriteLine(header.GetValue().GetChars());
    }
    return NPT_SUCCESS;
}

NPT_Result NPT_HttpHeaders::Parse(NPT_BufferedInputStream& stream) {
    char line[http_protocol::kMaxHeadLine];
    NPT_UInt32 line_length = 0;
    NPT_UInt64 bytes_left = http_protocol::kMaxHeaderBlock;
    PendingHeader pending(headers_);
    while (NPT_Succeeded(stream.ReadLine(line, sizeof(line), &line_length, false, &bytes_left)) &&
           line_length != 0) {
        const NPT_UInt32 text_length = TextLength(line, line_length);
        if (pending.Continue(line, text_length)) continue;
        pending.Complete();
        pending.Begin(line, text_length);
    }
    pending.Complete();
    return NPT_SUCCESS;
}
