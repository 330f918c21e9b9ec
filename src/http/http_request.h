#ifndef VIREON_HTTP_HTTP_REQUEST_H
#define VIREON_HTTP_HTTP_REQUEST_H

#include "http/http_message.h"
#include "http/http_url.h"

// A request to be written; requests are never parsed here.
class NPT_HttpRequest : public NPT_HttpMessage {
  public:
    NPT_HttpRequest(const NPT_HttpUrl& url, const char* method, const char* protocol);

    const NPT_HttpUrl& GetUrl() const { return url_; }

    // With use_proxy the request line carries the whole URL, otherwise path and query.
    NPT_Result Emit(NPT_OutputStream& stream, bool use_proxy = false) const override;

  private:
    const NPT_HttpUrl url_;
    const NPT_String method_;
};

#endif
