#include "http/url.h"

#include <charconv>
#include <cstring>
#include <utility>

#include "http/http_protocol.h"

namespace {

constexpr NPT_UInt32 kUsualLength = 120;  // of a URL's text; a longer one takes memory twice
constexpr std::size_t kPortDigits = 5;

bool IsLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool IsDigit(char character) {
    return character >= '0' && character <= '9';
}

bool IsSchemeCharacter(char character) {
    return IsLetter(character) || IsDigit(character) || character == '+' || character == '-' ||
           character == '.';
}

// "c:" as in a path on a drive.
bool StartsWithDrive(const char* text) {
    return IsLetter(text[0]) && text[1] == ':';
}

const char* OrEmpty(const char* text) {
    return text ? text : "";
}

NPT_String FromRange(const char* begin, const char* end) {
    return NPT_String(begin, static_cast<NPT_UInt32>(end - begin));
}

bool MustBeEncoded(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code >= 0x7F || std::strchr("% !\"<>\\^`{|}?#[]", character);
}

NPT_String PercentEncode(const char* text) {
    static constexpr char kHexDigits[] = "0123456789ABCDEF";
    NPT_String encoded;
    encoded.Reserve(static_cast<NPT_UInt32>(std::strlen(text)));
    for (; *text; ++text) {
        if (!MustBeEncoded(*text)) {
            encoded += *text;
            continue;
        }
        const auto code = static_cast<unsigned char>(*text);
        encoded += '%';
        encoded += kHexDigits[code >> 4];
        encoded += kHexDigits[code & 15];
    }
    return encoded;
}

NPT_UInt16 DefaultPortOf(NPT_Uri::SchemeId scheme) {
    switch (scheme) {
        case NPT_Uri::SCHEME_ID_HTTP:
            return http_protocol::kHttpPort;
        case NPT_Uri::SCHEME_ID_HTTPS:
            return http_protocol::kHttpsPort;
        case NPT_Uri::SCHEME_ID_UNKNOWN:
            break;
    }
    return 0;
}

// The end of the host that begins at text. Delimiters inside a leading '[' ... ']' are part of it.
const char* FindHostEnd(const char* text) {
    bool in_brackets = *text == '[';
    for (; *text; ++text) {
        if (in_brackets) {
            in_brackets = *text != ']';
        } else if (std::strchr("#/:?", *text)) {
            break;
        }
    }
    return text;
}

}  // namespace

void NPT_Uri::SetScheme(const char* scheme) {
    SetScheme(scheme, scheme ? static_cast<NPT_UInt32>(std::strlen(scheme)) : 0);
}

void NPT_Uri::SetScheme(const char* scheme, NPT_UInt32 length) {
    scheme_.Assign(scheme, length);
    scheme_.MakeLowercase();
    if (scheme_ == http_protocol::kHttpScheme) {
        scheme_id_ = SCHEME_ID_HTTP;
    } else if (scheme_ == http_protocol::kHttpsScheme) {
        scheme_id_ = SCHEME_ID_HTTPS;
    } else {
        scheme_id_ = SCHEME_ID_UNKNOWN;
    }
}

NPT_Url::NPT_Url() : path_("/") {}

NPT_Url::NPT_Url(const char* text, NPT_UInt16 default_port) {
    if (NPT_Failed(Parse(text, default_port))) Reset();
}

NPT_Url::NPT_Url(const char* scheme, const char* host, NPT_UInt16 port, const char* path,
                 const char* query, const char* fragment)
    : host_(host),
      port_(port),
      path_(path),
      has_query_(query != nullptr),
      query_(query),
      has_fragment_(fragment != nullptr),
      fragment_(fragment) {
    SetScheme(scheme);
    if (host_.StartsWith("[") && host_.EndsWith("]")) {
        host_is_ipv6_ = true;
        host_ = host_.SubString(1, host_.GetLength() - 2);
    }
}

void NPT_Url::Reset() {
    SetScheme("");
    host_ = "";
    host_is_ipv6_ = false;
    port_ = 0;
    path_ = "";
    has_query_ = false;
    query_ = "";
    has_fragment_ = false;
    fragment_ = "";
}

NPT_Result NPT_Url::Parse(const char* text, NPT_UInt16 default_port) {
    if (!text) return NPT_ERROR_INVALID_ARGUMENT;

    const char* cursor = text;
    NPT_Result result = ParseScheme(cursor);
    if (NPT_Failed(result)) return result;
    port_ = default_port ? default_port : GetDefaultPort();

    if (cursor[0] != '/' || cursor[1] != '/') return NPT_ERROR_INVALID_SYNTAX;
    cursor += 2;
    ParseHost(cursor);
    if (*cursor == ':') {
        ++cursor;
        result = ParsePort(cursor);
        if (NPT_Failed(result)) return result;
    }
    if (!*cursor) {
        path_ = "/";
        return NPT_SUCCESS;
    }
    return ParsePathPlus(cursor);
}

NPT_Result NPT_Url::ParseScheme(const char*& cursor) {
    const char* begin = cursor;
    while (IsSchemeCharacter(*cursor))
        ++cursor;
    if (cursor == begin || *cursor != ':') return NPT_ERROR_INVALID_SYNTAX;
    SetScheme(begin, static_cast<NPT_UInt32>(cursor - begin));
    ++cursor;
    return NPT_SUCCESS;
}

void NPT_Url::ParseHost(const char*& cursor) {
    const char* begin = cursor;
    cursor = FindHostEnd(begin);
    host_is_ipv6_ = cursor - begin >= 3 && *begin == '[' && cursor[-1] == ']';
    host_ = host_is_ipv6_ ? FromRange(begin + 1, cursor - 1) : FromRange(begin, cursor);
}

NPT_Result NPT_Url::ParsePort(const char*& cursor) {
    port_ = 0;
    NPT_UInt32 port = 0;
    for (; IsDigit(*cursor); ++cursor) {
        port = port * 10 + static_cast<NPT_UInt32>(*cursor - '0');
        if (port > 0xFFFF) return NPT_ERROR_INVALID_SYNTAX;
    }
    if (*cursor && *cursor != '/') return NPT_ERROR_INVALID_SYNTAX;
    port_ = static_cast<NPT_UInt16>(port);
    return NPT_SUCCESS;
}

NPT_UInt16 NPT_Url::GetDefaultPort() const {
    return DefaultPortOf(GetSchemeId());
}

NPT_String NPT_Url::GetHostText() const {
    NPT_String text;
    AppendHost(text);
    return text;
}

void NPT_Url::AppendHost(NPT_String& text) const {
    if (host_is_ipv6_) text += '[';
    text += host_;
    if (host_is_ipv6_) text += ']';
}

NPT_Result NPT_Url::SetHost(const char* text) {
    if (!text) return NPT_ERROR_INVALID_ARGUMENT;

    const bool in_brackets = *text == '[';
    const char* begin = in_brackets ? text + 1 : text;
    const char* end = begin + std::strcspn(begin, in_brackets ? "]" : ":");
    const char* behind = end;
    if (in_brackets) {
        if (!*end) return NPT_ERROR_INVALID_SYNTAX;
        ++behind;
        if (*behind && *behind != ':') return NPT_ERROR_INVALID_SYNTAX;
    }

    NPT_UInt32 port = port_;
    if (*behind == ':') {
        if (NPT_Failed(NPT_String(behind + 1).ToInteger(port))) return NPT_ERROR_INVALID_SYNTAX;
        if (port > 0xFFFF) return NPT_ERROR_OUT_OF_RANGE;
    }
    host_ = FromRange(begin, end);
    host_is_ipv6_ = in_brackets;
    port_ = static_cast<NPT_UInt16>(port);
    return NPT_SUCCESS;
}

void NPT_Url::SetHostOf(const NPT_Url& other) {
    host_ = other.host_;
    host_is_ipv6_ = other.host_is_ipv6_;
}

bool NPT_Url::CutToDirectory() {
    has_query_ = false;
    query_ = nullptr;
    has_fragment_ = false;
    fragment_ = nullptr;
    const int last_slash = path_.ReverseFind('/');
    if (last_slash < 0) return false;
    path_.SetLength(static_cast<NPT_UInt32>(last_slash) + 1);
    return true;
}

void NPT_Url::SetPath(const char* path, bool encoded) {
    path_ = encoded ? NPT_String(path) : PercentEncode(OrEmpty(path));
}

NPT_Result NPT_Url::ParsePathPlus(const char* text) {
    if (!text) return NPT_ERROR_INVALID_ARGUMENT;
    if (*text == '/' && StartsWithDrive(text + 1)) ++text;

    const char* path_end = text + std::strcspn(text, "?#");
    const bool has_query = *path_end == '?';
    const char* query_begin = has_query ? path_end + 1 : path_end;
    const char* query_end = query_begin + std::strcspn(query_begin, "#");
    const bool has_fragment = *query_end == '#';

    // All pieces exist before the first field changes: text may be one of them.
    NPT_String path = FromRange(text, path_end);
    NPT_String query = FromRange(query_begin, query_end);
    NPT_String fragment = has_fragment ? query_end + 1 : "";
    path_ = std::move(path);
    has_query_ = has_query;
    query_ = std::move(query);
    has_fragment_ = has_fragment;
    fragment_ = std::move(fragment);
    return NPT_SUCCESS;
}

bool NPT_Url::IsValid() const {
    if (GetSchemeId() == SCHEME_ID_UNKNOWN) return !GetScheme().IsEmpty();
    return port_ != 0 && !host_.IsEmpty();
}

NPT_String NPT_Url::ToRequestString(bool with_fragment) const {
    NPT_String text;
    AppendRequest(text, with_fragment);
    return text;
}

void NPT_Url::AppendRequest(NPT_String& text, bool with_fragment) const {
    if (path_.IsEmpty() || StartsWithDrive(path_.GetChars())) text += '/';
    text += path_;
    if (has_query_) {
        text += '?';
        text += query_;
    }
    if (with_fragment && has_fragment_) {
        text += '#';
        text += fragment_;
    }
}

NPT_String NPT_Url::ToStringWithDefaultPort(NPT_UInt16 default_port, bool with_fragment) const {
    NPT_String text;
    text.Reserve(kUsualLength);
    text += GetScheme();
    text += "://";
    AppendHost(text);
    if (port_ != default_port) {
        char port[1 + kPortDigits] = {':'};
        const char* const end = std::to_chars(port + 1, port + sizeof(port), port_).ptr;
        text.Append(port, static_cast<NPT_UInt32>(end - port));
    }
    AppendRequest(text, with_fragment);
    return text;
}

NPT_String NPT_Url::ToString(bool with_fragment) const {
    return ToStringWithDefaultPort(0, with_fragment);
}
