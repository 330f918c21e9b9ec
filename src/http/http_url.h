#ifndef VIREON_HTTP_HTTP_URL_H
#define VIREON_HTTP_HTTP_URL_H

#include "http/url.h"

// The URL of an HTTP request: scheme "http" or "https", printed without their default ports.
class NPT_HttpUrl : public NPT_Url {
  public:
    NPT_HttpUrl() = default;
    // Scheme "http"; the path is already encoded, a null query or fragment is an absent one.
    NPT_HttpUrl(const char* host, NPT_UInt16 port, const char* path, const char* query = nullptr,
                const char* fragment = nullptr);
    // Any other scheme leaves every field empty, unless ignore_scheme is true.
    explicit NPT_HttpUrl(const char* text, bool ignore_scheme = false);

    NPT_String ToString(bool with_fragment = true) const override;
};

#endif
