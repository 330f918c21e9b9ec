#ifndef VIREON_HTTP_HTTP_CLIENT_H
#define VIREON_HTTP_HTTP_CLIENT_H

#include "core/streams.h"
#include "http/http_connection.h"
#include "http/http_request.h"
#include "http/http_response.h"

// One request out, one response in, over whatever streams the caller has: a connection, or a
// datagram in each direction. Holds no state; any thread, with streams and messages of its own.
class NPT_HttpClient {
  public:
    // Completes the request's headers (Connection, Host, those of its entity) and writes head and
    // body. The head goes out in one write, and the stream is flushed once, behind everything: to a
    // datagram stream each request is one datagram. Nothing is flushed when the head cannot be
    // written, and nothing written when there is no memory for it. Gives the result of the last
    // write or copy.
    static NPT_Result WriteRequest(NPT_OutputStream& stream, NPT_HttpRequest& request,
                                   bool should_persist, bool use_proxy = false);

    // Reads the head of the next response that is not an interim (1xx) one. The caller owns
    // response, which is null on failure. What lies behind the head may have been taken from the
    // stream: this is for datagrams, which end there.
    //   NPT_ERROR_HTTP_TOO_MANY_INTERIM_RESPONSES  ten interim responses in a row
    //   others                                     see NPT_HttpResponse::Parse
    static NPT_Result ReadHead(NPT_InputStream& stream, NPT_HttpResponse*& response);

    // Reads the next response in the same way. With expect_entity its entity's stream delivers the
    // body; otherwise there is no entity. connection, when given, is taken from the caller by the
    // body, or handed back for reuse at once when no entity is expected and both sides keep the
    // connection open.
    //   NPT_ERROR_INVALID_ARGUMENT  null stream
    //   others                      as above
    static NPT_Result ReadResponse(const NPT_InputStreamReference& stream, bool should_persist,
                                   bool expect_entity, NPT_HttpResponse*& response,
                                   NPT_HttpConnectionReference* connection = nullptr);
};

#endif
