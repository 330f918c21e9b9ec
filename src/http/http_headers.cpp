#include "http/http_headers.h"

#include <cstring>

#include "http/http_protocol.h"

namespace {

bool IsBlank(char character) {
    return character == ' ' || character == '\t';
}

// A NUL ends a line's text, so that nobody reads a value other than the one that was compared.
std::string_view TextOf(const char* line, NPT_UInt32 length) {
    const std::string_view whole(line, length);
    return whole.substr(0, whole.find('\0'));
}

std::string_view WithoutBlanksAround(std::string_view text) {
    while (!text.empty() && IsBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

const char* OrEmpty(const char* text) {
    return text ? text : "";
}

// The length first: it tells most names apart.
bool IsNamed(const NPT_HttpHeader& header, std::string_view key) {
    return header.GetName().GetLength() == key.size() &&
           header.GetName().Compare(key.data(), true) == 0;
}

// The header that the next line may still continue.
class PendingHeader {
  public:
    PendingHeader() { lines_.Reserve(kUsualLength); }

    // A line that begins with a blank continues the header, less that blank. False when it does
    // not, or when there is no header to continue.
    bool Continue(std::string_view line) {
        if (IsNone() || line.empty() || !IsBlank(line.front())) return false;
        lines_.Append(line.data() + 1, static_cast<NPT_UInt32>(line.size() - 1));
        return true;
    }

    // A line without a name in front of a colon begins nothing.
    void Begin(std::string_view line) {
        const std::size_t colon = line.find(':');
        name_length_ = colon == std::string_view::npos ? 0 : colon;
        if (!IsNone()) lines_.Assign(line.data(), static_cast<NPT_UInt32>(line.size()));
    }

    bool IsNone() const { return name_length_ == 0; }
    std::string_view GetName() const { return GetLines().substr(0, name_length_); }
    std::string_view GetValue() const {
        return WithoutBlanksAround(GetLines().substr(name_length_ + 1));
    }

  private:
    static constexpr NPT_UInt32 kUsualLength = 240;

    std::string_view GetLines() const { return {lines_.GetChars(), lines_.GetLength()}; }

    NPT_String lines_;  // without what lies between them
    std::size_t name_length_ = 0;
};

}  // namespace

const NPT_HttpHeader* NPT_HttpHeaders::GetHeader(const char* name) const {
    const std::string_view key = OrEmpty(name);
    for (const NPT_HttpHeader& header : list_) {
        if (IsNamed(header, key)) return &header;
    }
    return nullptr;
}

const NPT_String* NPT_HttpHeaders::GetHeaderValue(const char* name) const {
    const NPT_HttpHeader* header = GetHeader(name);
    return header ? &header->GetValue() : nullptr;
}

NPT_Result NPT_HttpHeaders::AddHeader(const char* name, const char* value) {
    Add(OrEmpty(name), OrEmpty(value));
    return NPT_SUCCESS;
}

void NPT_HttpHeaders::Add(std::string_view name, std::string_view value) {
    const NPT_String& kept_name = texts_.Add(name);
    list_.headers_.emplace_back(kept_name, texts_.Add(value));
}

NPT_Result NPT_HttpHeaders::SetHeader(const char* name, const char* value, bool replace) {
    const std::string_view key = OrEmpty(name);
    for (NPT_HttpHeader& header : list_.headers_) {
        if (!IsNamed(header, key)) continue;
        if (replace) header.value_ = &texts_.Add(OrEmpty(value));
        return NPT_SUCCESS;
    }
    return AddHeader(name, value);
}

NPT_Result NPT_HttpHeaders::Emit(NPT_OutputStream& stream) const {
    for (const NPT_HttpHeader& header : list_) {
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
    PendingHeader pending;
    while (NPT_Succeeded(stream.ReadLine(line, sizeof(line), &line_length, false, &bytes_left)) &&
           line_length != 0) {
        const std::string_view text = TextOf(line, line_length);
        if (pending.Continue(text)) continue;
        if (!pending.IsNone()) Add(pending.GetName(), pending.GetValue());
        pending.Begin(text);
    }
    if (!pending.IsNone()) Add(pending.GetName(), pending.GetValue());
    return NPT_SUCCESS;
}
