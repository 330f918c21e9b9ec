#include "http/http_response.h"

#include "http/http_protocol.h"

namespace {

// "protocol ccc reason", taken apart. The protocol itself is not judged.
struct StatusLine {
    NPT_String protocol;
    NPT_UInt32 code = 0;
    NPT_String reason;
};

NPT_Result ParseStatusLine(const NPT_String& line, StatusLine& status) {
    constexpr int kCodeField = 4;                    // a space and three characters
    constexpr NPT_UInt32 kLengthWithoutReason = 12;  // "HTTP/1.1 200"

    const int first_space = line.Find(' ');
    if (first_space <= 0) return NPT_ERROR_HTTP_BAD_STATUS_LINE;
    const auto code_at = static_cast<NPT_UInt32>(first_space) + 1;
    const int second_space = line.Find(' ', code_at);
    const bool accepted = second_space < 0 ? line.GetLength() == kLengthWithoutReason
                                           : second_space - first_space == kCodeField;
    if (!accepted) return NPT_ERROR_HTTP_BAD_STATUS_LINE;

    status.protocol = line.SubString(0, code_at - 1);
    // A code that is no number stays 0: what such a response is worth is the caller's to say.
    line.SubString(code_at, 3).ToInteger(status.code, true);
    status.reason = line.SubString(code_at + kCodeField);
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

    auto parsed = std::make_unique<NPT_HttpResponse>(status.code, status.reason.GetChars(),
                                                     status.protocol.GetChars());
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
