#include "http/http_response.h"

#include <cstddef>
#include <cstring>
#include <memory>

#include "core/parse_integer.h"
#include "http/http_protocol.h"

namespace {

// "protocol ccc reason", taken apart. The protocol itself is not judged.
struct StatusLine {
    const char* protocol = "";
    NPT_UInt32 code = 0;
    const char* reason = "";
};

// Puts a NUL behind each part of the line.
NPT_Result ParseStatusLine(char* line, StatusLine& status) {
    constexpr std::ptrdiff_t kCodeLength = 3;
    constexpr std::ptrdiff_t kLengthWithoutReason = 12;  // "HTTP/1.1 200"

    const char* const end = line + std::strlen(line);
    char* const first_space = std::strchr(line, ' ');
    if (!first_space || first_space == line) return NPT_ERROR_HTTP_BAD_STATUS_LINE;
    char* const code = first_space + 1;
    const char* const second_space = std::strchr(code, ' ');
    const bool accepted =
        second_space ? second_space - code == kCodeLength : end - line == kLengthWithoutReason;
    if (!accepted) return NPT_ERROR_HTTP_BAD_STATUS_LINE;

    status.protocol = line;
    *first_space = '\0';
    if (end - code > kCodeLength) {
        status.reason = code + kCodeLength + 1;
        code[kCodeLength] = '\0';
    }
    // A code that is no number stays 0: what such a response is worth is the caller's to say.
    NPT_ParseInteger(code, status.code, true);
    return NPT_SUCCESS;
}

}  // namespace

NPT_HttpResponse::NPT_HttpResponse(NPT_UInt32 status_code, const char* reason_phrase,
                                   const char* protocol)
    : NPT_HttpMessage(protocol), status_code_(status_code), reason_phrase_(reason_phrase) {}

NPT_Result NPT_HttpResponse::Parse(NPT_BufferedInputStream& stream, NPT_HttpResponse*& response) {
    response = nullptr;
    char line[http_protocol::kMaxHeadLine];
    NPT_UInt64 bytes_left = http_protocol::kMaxHeaderBlock;
    NPT_Result result = stream.ReadLine(line, sizeof(line), nullptr, false, &bytes_left);
    if (NPT_Failed(result)) return result;

    StatusLine status;
    result = ParseStatusLine(line, status);
    if (NPT_Failed(result)) return result;

    auto parsed = std::make_unique<NPT_HttpResponse>(status.code, status.reason, status.protocol);
    result = parsed->ParseHeaders(stream);
    if (NPT_Failed(result)) return result;
    response = parsed.release();
    return NPT_SUCCESS;
}

NPT_Result NPT_HttpResponse::Emit(NPT_OutputStream& stream, bool /*use_proxy*/) const {
    stream.WriteString(GetProtocol().GetChars());
    stream.WriteString(" ");
    stream.WriteString(NPT_String::FromInteger(status_code_).GetChars());
    stream.WriteString(" ");
    stream.WriteLine(reason_phrase_.GetChars());
    GetHeaders().Emit(stream);
    stream.WriteLine("");
    return NPT_SUCCESS;
}
