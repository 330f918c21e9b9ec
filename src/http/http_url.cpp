#include "http/http_url.h"

#include "http/http_protocol.h"

NPT_HttpUrl::NPT_HttpUrl(const char* host, NPT_UInt16 port, const char* path, const char* query,
                         const char* fragment)
    : NPT_Url(http_protocol::kHttpScheme, host, port, path, query, fragment) {}

NPT_HttpUrl::NPT_HttpUrl(const char* text, bool ignore_scheme) : NPT_Url(text) {
    if (!ignore_scheme && GetSchemeId() == SCHEME_ID_UNKNOWN) Reset();
}

NPT_String NPT_HttpUrl::ToString(bool with_fragment) const {
    return ToStringWithDefaultPort(GetDefaultPort(), with_fragment);
}
