#include "http/http_headers.h"

#include <cstring>
#include <utility>

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

// Length and equality first: they tell most names apart, and most that are the same.
bool IsSameName(const NPT_String& name, std::string_view key) {
    if (name.GetLength() != key.size()) return false;
    return std::memcmp(name.GetChars(), key.data(), key.size()) == 0 ||
           name.Compare(key.data(), true) == 0;
}

// The header that the next line may still continue. Its line stays the caller's until it is.
class PendingHeader {
  public:
    // A line that begins with a blank continues the header, less that blank. False when it does
    // not, or when there is no header to continue.
    bool Continue(std::string_view line) {
        if (IsNone() || line.empty() || !IsBlank(line.front())) return false;
        if (joined_.IsEmpty()) Append(lines_);
        Append(line.substr(1));
        lines_ = {joined_.GetChars(), joined_.GetLength()};
        return true;
    }

    // A line without a name in front of a colon begins nothing.
    void Begin(std::string_view line) {
        const std::size_t colon = line.find(':');
        name_length_ = colon == std::string_view::npos ? 0 : colon;
        lines_ = line;
        joined_.SetLength(0);
    }

    bool IsNone() const { return name_length_ == 0; }
    std::string_view GetName() const { return lines_.substr(0, name_length_); }
    std::string_view GetValue() const {
        return WithoutBlanksAround(lines_.substr(name_length_ + 1));
    }

  private:
    void Append(std::string_view line) {
        joined_.Append(line.data(), static_cast<NPT_UInt32>(line.size()));
    }

    std::string_view lines_;  // without what lies between them
    NPT_String joined_;       // what these are once there are several
    std::size_t name_length_ = 0;
};

}  // namespace

const NPT_HttpHeader* NPT_HttpHeaders::GetHeader(const char* name) const {
    return FindHeader(OrEmpty(name));
}

NPT_HttpHeader* NPT_HttpHeaders::FindHeader(std::string_view name) const {
    NPT_HttpHeader* header = list_.first_;
    while (header && !IsSameName(header->GetName(), name))
        header = header->next_;
    return header;
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
    auto* const header = block_.Make<NPT_HttpHeader>(block_.Add(name), block_.Add(value));
    (list_.last_ ? list_.last_->next_ : list_.first_) = header;
    list_.last_ = header;
    ++list_.count_;
}

NPT_Result NPT_HttpHeaders::SetHeader(const char* name, const char* value, bool replace) {
    NPT_HttpHeader* const header = FindHeader(OrEmpty(name));
    if (!header) return AddHeader(name, value);
    if (replace) header->value_ = &block_.Add(OrEmpty(value));
    return NPT_SUCCESS;
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
    // In turn, so that the pending header's line stays while the next one is read.
    char lines[2][http_protocol::kMaxHeadLine];
    char* line = lines[0];
    char* pending_line = lines[1];
    NPT_UInt32 line_length = 0;
    NPT_UInt64 bytes_left = http_protocol::kMaxHeaderBlock;
    PendingHeader pending;
    while (NPT_Succeeded(stream.ReadLine(line, http_protocol::kMaxHeadLine, &line_length, false,
                                         &bytes_left)) &&
           line_length != 0) {
        const std::string_view text = TextOf(line, line_length);
        if (pending.Continue(text)) continue;
        if (!pending.IsNone()) Add(pending.GetName(), pending.GetValue());
        pending.Begin(text);
        std::swap(line, pending_line);
    }
    if (!pending.IsNone()) Add(pending.GetName(), pending.GetValue());
    return NPT_SUCCESS;
}
