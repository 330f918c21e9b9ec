#include "http/http_response.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/string_output_stream.h"
#include "http/testing/message_streams.h"

namespace {

// The response read from the pieces; null on failure.
std::unique_ptr<NPT_HttpResponse> Parse(std::vector<std::string> pieces, NPT_Result& result,
                                        NPT_Result end = NPT_ERROR_EOS) {
    NPT_HttpResponse* response = nullptr;
    result = NPT_HttpResponse::Parse(*MakeBuffered(std::move(pieces), 4096, end), response);
    EXPECT_EQ(NPT_Failed(result), response == nullptr);
    return std::unique_ptr<NPT_HttpResponse>(response);
}

std::string Emitted(const NPT_HttpResponse& message, bool use_proxy = false) {
    NPT_StringOutputStream stream;
    EXPECT_EQ(NPT_SUCCESS, message.Emit(stream, use_proxy));
    return stream.GetString().GetChars();
}

struct StatusCase {
    const char* line;
    const char* protocol;
    NPT_UInt32 code;
    const char* reason;
};

class StatusLine : public testing::TestWithParam<StatusCase> {};

TEST_P(StatusLine, IsTakenApart) {
    const StatusCase& c = GetParam();
    for (const char* end : {"\r\n\r\n", "\n\n", "\r\n", ""}) {
        NPT_Result result = NPT_FAILURE;
        const auto response = Parse({std::string(c.line) + end}, result);
        ASSERT_EQ(NPT_SUCCESS, result);
        EXPECT_STREQ(c.protocol, response->GetProtocol().GetChars());
        EXPECT_EQ(c.code, response->GetStatusCode());
        EXPECT_STREQ(c.reason, response->GetReasonPhrase().GetChars());
        EXPECT_EQ(nullptr, response->GetEntity());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Lines, StatusLine,
    testing::Values(StatusCase{"HTTP/1.1 200 OK", "HTTP/1.1", 200, "OK"},
                    StatusCase{"HTTP/1.1 200", "HTTP/1.1", 200, ""},
                    StatusCase{"HTTP/1.1 200 ", "HTTP/1.1", 200, ""},
                    StatusCase{"HTTP/1.1 404 Not Found", "HTTP/1.1", 404, "Not Found"},
                    StatusCase{"HTTP/1.1 404  x", "HTTP/1.1", 404, " x"},
                    StatusCase{"HTTP/1.1 abc OK", "HTTP/1.1", 0, "OK"},
                    StatusCase{"HTTP/1.1 -12 OK", "HTTP/1.1", 0, "OK"},
                    StatusCase{"HTTP/1.1 +12 OK", "HTTP/1.1", 0, "OK"},
                    StatusCase{"HTTP/1.1 20x OK", "HTTP/1.1", 20, "OK"},
                    StatusCase{"HTTP/1.1 \t20 OK", "HTTP/1.1", 20, "OK"},
                    StatusCase{"HTTP/1.1 999 OK", "HTTP/1.1", 999, "OK"},
                    StatusCase{"HTTP/1.1 abc", "HTTP/1.1", 0, ""},
                    StatusCase{"HTTP/1.1\t200 200 OK", "HTTP/1.1\t200", 200, "OK"},
                    StatusCase{"x 200 OK", "x", 200, "OK"},
                    StatusCase{"HT\rTP/1.1 2\r00 OK", "HTTP/1.1", 200, "OK"},
                    StatusCase{"HTTP/1.1 200 \xC3\x9C", "HTTP/1.1", 200, "\xC3\x9C"}));

class BadStatusLine : public testing::TestWithParam<const char*> {};

TEST_P(BadStatusLine, IsRefused) {
    NPT_Result result = NPT_SUCCESS;
    Parse({std::string(GetParam()) + "\r\nA: 1\r\n\r\n"}, result);
    EXPECT_EQ(NPT_ERROR_HTTP_BAD_STATUS_LINE, result);
}

INSTANTIATE_TEST_SUITE_P(Lines, BadStatusLine,
                         testing::Values("", "HTTP/1.1", " 200 OK", "HTTP/1.1 2000 OK",
                                         "HTTP/1.1 200OK", "HTTP/1.1 20 OK", "HTTP/1.1  200 OK",
                                         "HTTP/1.1 20", "HTTP/1.1 2000", "HTTP/1.1200",
                                         "NOTIFY * HTTP/1.1", "M-SEARCH * HTTP/1.1"));

TEST(StatusLineText, ANulEndsIt) {
    NPT_Result result = NPT_FAILURE;
    const auto response = Parse({std::string("HTTP/1.1 200 OK\0junk\r\nA: 1\r\n\r\n", 29)}, result);
    ASSERT_EQ(NPT_SUCCESS, result);
    EXPECT_STREQ("OK", response->GetReasonPhrase().GetChars());
    EXPECT_NE(nullptr, response->GetHeaders().GetHeader("A"));
    Parse({std::string("HTTP\0/1.1 200 OK\r\n\r\n", 20)}, result);
    EXPECT_EQ(NPT_ERROR_HTTP_BAD_STATUS_LINE, result);
}

TEST(StatusLineText, MayHave8191Characters) {
    const std::string start = "HTTP/1.1 200 ";
    const std::string reason(8191 - start.size(), 'r');
    NPT_Result result = NPT_FAILURE;
    const auto response = Parse({start + reason + "\r\n\r\n"}, result);
    ASSERT_EQ(NPT_SUCCESS, result);
    EXPECT_EQ(reason, response->GetReasonPhrase().GetChars());
    Parse({start + reason + "r\r\n\r\n"}, result);
    EXPECT_EQ(NPT_ERROR_LINE_TOO_LONG, result);
}

TEST(ResponseParsing, AFailureLeavesNoResponse) {
    NPT_HttpResponse other(200, "OK", "HTTP/1.1");
    NPT_HttpResponse* response = &other;
    EXPECT_EQ(NPT_ERROR_EOS, NPT_HttpResponse::Parse(*MakeBuffered({}), response));
    EXPECT_EQ(nullptr, response);
}

TEST(ResponseParsing, AStatusLineOfCarriageReturnsEnds) {
    NPT_BufferedInputStream stream{
        NPT_InputStreamReference(new RepeatingInputStream("HTTP/1.1 200 ", "\r", 64U << 20))};
    NPT_HttpResponse* response = nullptr;
    EXPECT_EQ(NPT_ERROR_LINE_TOO_LONG, NPT_HttpResponse::Parse(stream, response));
    EXPECT_EQ(nullptr, response);
}

TEST(ResponseParsing, ReportsWhyTheStatusLineCouldNotBeRead) {
    for (NPT_Result error : {NPT_ERROR_EOS, NPT_ERROR_TIMEOUT, NPT_FAILURE, -22090}) {
        NPT_Result result = NPT_SUCCESS;
        Parse({}, result, error);
        EXPECT_EQ(error, result);
    }
    NPT_Result result = NPT_SUCCESS;
    Parse({""}, result);
    EXPECT_EQ(NPT_ERROR_NO_PROGRESS, result);
    Parse({"HTTP/1.1 20"}, result, NPT_ERROR_TIMEOUT);
    EXPECT_EQ(NPT_ERROR_TIMEOUT, result);
}

TEST(ResponseParsing, AHeadMayEndInAReadError) {
    NPT_Result result = NPT_FAILURE;
    const auto response = Parse({"HTTP/1.1 200 OK\r\nST: x\r\n"}, result, NPT_ERROR_TIMEOUT);
    ASSERT_EQ(NPT_SUCCESS, result);
    EXPECT_STREQ("x", response->GetHeaders().GetHeaderValue("st")->GetChars());
}

TEST(ResponseParsing, LeavesTheBodyInTheStream) {
    const auto stream = MakeBuffered({"HTTP/1.1 200 OK\r\nA: 1\r\n\r\nbody"});
    NPT_HttpResponse* response = nullptr;
    ASSERT_EQ(NPT_SUCCESS, NPT_HttpResponse::Parse(*stream, response));
    delete response;
    NPT_Result result = NPT_SUCCESS;
    EXPECT_EQ("body", ReadAll(*stream, 16, result));
}

TEST(ResponseEmit, WritesTheHead) {
    NPT_HttpResponse response(200, "OK", "HTTP/1.1");
    response.GetHeaders().AddHeader("Ext", "");
    EXPECT_EQ("HTTP/1.1 200 OK\r\nExt: \r\n\r\n", Emitted(response));
    EXPECT_EQ("HTTP/1.1 200 OK\r\nExt: \r\n\r\n", Emitted(response, true));
}

TEST(ResponseEmit, WritesEmptyTexts) {
    EXPECT_EQ(" 4294967295 \r\n\r\n", Emitted(NPT_HttpResponse(4294967295U, nullptr, nullptr)));
}

TEST(ResponseEmit, IsReadBack) {
    const std::string head = "HTTP/1.0 204 No Content\r\nUSN: uuid:a::b\r\nusn: c\r\n\r\n";
    ForEverySplit(head, [&](const std::vector<std::string>& pieces) {
        NPT_Result result = NPT_FAILURE;
        const auto response = Parse(pieces, result);
        ASSERT_EQ(NPT_SUCCESS, result);
        EXPECT_EQ(head, Emitted(*response));
    });
}

}  // namespace
