#ifndef VIREON_HTTP_HTTP_MESSAGE_H
#define VIREON_HTTP_HTTP_MESSAGE_H

#include <memory>

#include "core/buffered_input_stream.h"
#include "core/streams.h"
#include "core/string.h"
#include "http/http_entity.h"
#include "http/http_headers.h"

// What requests and responses share: protocol ("HTTP/1.1"), headers and an optional body. Owns its
// headers and its entity. One thread at a time.
class NPT_HttpMessage {
  public:
    NPT_HttpMessage(const NPT_HttpMessage&) = delete;
    NPT_HttpMessage& operator=(const NPT_HttpMessage&) = delete;
    virtual ~NPT_HttpMessage() = default;

    // Appends the headers of one block, see NPT_HttpHeaders::Parse.
    virtual NPT_Result ParseHeaders(NPT_BufferedInputStream& stream);
    // Writes the head: start line, headers, empty line. use_proxy matters to requests only. Always
    // NPT_SUCCESS: results of the single writes are not looked at.
    virtual NPT_Result Emit(NPT_OutputStream& stream, bool use_proxy = false) const = 0;

    const NPT_String& GetProtocol() const { return protocol_; }
    const NPT_HttpHeaders& GetHeaders() const { return headers_; }
    NPT_HttpHeaders& GetHeaders() { return headers_; }
    // Null when there is no body.
    NPT_HttpEntity* GetEntity() const { return entity_.get(); }
    // Takes ownership and deletes the previous entity unless it is the same. Always NPT_SUCCESS.
    NPT_Result SetEntity(NPT_HttpEntity* entity);

  protected:
    explicit NPT_HttpMessage(const char* protocol) : protocol_(protocol) {}

  private:
    const NPT_String protocol_;
    NPT_HttpHeaders headers_;
    std::unique_ptr<NPT_HttpEntity> entity_;
};

#endif
