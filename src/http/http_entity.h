#ifndef VIREON_HTTP_HTTP_ENTITY_H
#define VIREON_HTTP_HTTP_ENTITY_H

#include "core/streams.h"
#include "core/string.h"
#include "http/http_headers.h"

// The body of a message and what its headers say about it. Shares the body's stream with whoever
// reads it. The length is in bytes and counts only when it is known.
class NPT_HttpEntity {
  public:
    NPT_HttpEntity() = default;
    NPT_HttpEntity(const NPT_HttpEntity&) = delete;
    NPT_HttpEntity& operator=(const NPT_HttpEntity&) = delete;
    virtual ~NPT_HttpEntity() = default;

    // Takes over what the headers name and leaves the rest. A Content-Length that is not a number
    // is a known length of 0. Always NPT_SUCCESS.
    NPT_Result SetFromHeaders(const NPT_HttpHeaders& headers);

    void SetInputStream(const NPT_InputStreamReference& stream) { stream_ = stream; }
    // NPT_FAILURE, stream null, when there is no body.
    NPT_Result GetInputStream(NPT_InputStreamReference& stream) const;

    NPT_UInt64 GetContentLength() const { return content_length_; }
    bool ContentLengthIsKnown() const { return content_length_is_known_; }
    // The length is known from then on.
    void SetContentLength(NPT_UInt64 length);
    const NPT_String& GetContentType() const { return content_type_; }
    void SetContentType(const char* type) { content_type_ = type; }
    const NPT_String& GetContentEncoding() const { return content_encoding_; }
    void SetContentEncoding(const char* encoding) { content_encoding_ = encoding; }
    const NPT_String& GetTransferEncoding() const { return transfer_encoding_; }
    void SetTransferEncoding(const char* encoding) { transfer_encoding_ = encoding; }

  private:
    NPT_InputStreamReference stream_;
    NPT_UInt64 content_length_ = 0;
    bool content_length_is_known_ = false;
    NPT_String content_type_;
    NPT_String content_encoding_;
    NPT_String transfer_encoding_;
};

#endif
