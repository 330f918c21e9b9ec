#include "http/http_request.h"

NPT_HttpRequest::NPT_HttpRequest(const NPT_HttpUrl& url, const char* method, const char* protocol)
    : NPT_HttpMessage(protocol), url_(url), method_(method) {}

NPT_Result NPT_HttpRequest::Emit(NPT_OutputStream& stream, bool use_proxy) const {
    const NPT_String target = use_proxy ? url_.ToString(false) : url_.ToRequestString(false);
    stream.WriteString(method_.GetChars());
    stream.WriteString(" ");
    stream.WriteString(target.GetChars());
    stream.WriteString(" ");
    stream.WriteLine(GetProtocol().GetChars());
    GetHeaders().Emit(stream);
    stream.WriteLine("");
    return NPT_SUCCESS;
}
