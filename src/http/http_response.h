#ifndef VIREON_HTTP_HTTP_RESPONSE_H
#define VIREON_HTTP_HTTP_RESPONSE_H

#include "http/http_message.h"

class NPT_HttpResponse : public NPT_HttpMessage {
  public:
    NPT_HttpResponse(NPT_UInt32 status_code, const char* reason_phrase, const char* protocol);

    // Reads a status line and its headers; the body stays in the stream. The caller owns response,
    // which is null on failure. A code that is not a number reads as 0.
    //   NPT_ERROR_HTTP_BAD_STATUS_LINE  not "protocol ccc[ reason]"
    //   NPT_ERROR_LINE_TOO_LONG         a status line of more than 8191 characters, or of 1 MiB
    //   with
    //                                   the carriage returns that are dropped from it
    //   others                          the status line could not be read
    static NPT_Result Parse(NPT_BufferedInputStream& stream, NPT_HttpResponse*& response);

    NPT_UInt32 GetStatusCode() const { return status_code_; }
    const NPT_String& GetReasonPhrase() const { return reason_phrase_; }

    NPT_Result Emit(NPT_OutputStream& stream, bool use_proxy = false) const override;

  private:
    const NPT_UInt32 status_code_;
    const NPT_String reason_phrase_;
};

#endif
