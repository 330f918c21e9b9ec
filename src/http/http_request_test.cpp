#include "http/http_request.h"

#include <gtest/gtest.h>

#include <string>

#include "core/string_output_stream.h"
#include "http/testing/message_streams.h"

namespace {

std::string Emitted(const NPT_HttpRequest& message, bool use_proxy = false) {
    NPT_StringOutputStream stream;
    EXPECT_EQ(NPT_SUCCESS, message.Emit(stream, use_proxy));
    return stream.GetString().GetChars();
}

TEST(RequestEmit, WritesPathAndQuery) {
    NPT_HttpRequest request(NPT_HttpUrl("http://h:81/p?q#f"), "GET", "HTTP/1.1");
    request.GetHeaders().AddHeader("A", "1");
    EXPECT_EQ("GET /p?q HTTP/1.1\r\nA: 1\r\n\r\n", Emitted(request));
}

TEST(RequestEmit, WritesTheWholeUrlToAProxy) {
    const NPT_HttpRequest request(NPT_HttpUrl("http://h:81/p?q#f"), "GET", "HTTP/1.1");
    EXPECT_EQ("GET http://h:81/p?q HTTP/1.1\r\n\r\n", Emitted(request, true));
    const NPT_HttpRequest plain(NPT_HttpUrl("http://h/p"), "GET", "HTTP/1.1");
    EXPECT_EQ("GET http://h/p HTTP/1.1\r\n\r\n", Emitted(plain, true));
}

TEST(RequestEmit, KeepsTheAsteriskOfASearch) {
    const NPT_HttpRequest request(NPT_HttpUrl("239.255.255.250", 31288, "*"), "M-SEARCH",
                                  "HTTP/1.1");
    EXPECT_EQ("M-SEARCH * HTTP/1.1\r\n\r\n", Emitted(request));
}

TEST(RequestEmit, IgnoresRefusedWrites) {
    const NPT_HttpRequest request(NPT_HttpUrl("h", 80, "/"), "GET", "HTTP/1.1");
    RecordingOutputStream stream(0);
    EXPECT_EQ(NPT_SUCCESS, request.Emit(stream));
}

}  // namespace
