#include "http/http_client.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/string_output_stream.h"
#include "core/testing/failing_allocation.h"
#include "http/testing/message_streams.h"

namespace {

constexpr bool kPersist = true;
constexpr bool kExpectEntity = true;

NPT_HttpRequest MakeRequest(const char* url, const char* method = "GET") {
    return NPT_HttpRequest(NPT_HttpUrl(url, true), method, "HTTP/1.1");
}

std::string Written(NPT_HttpRequest& request, bool should_persist = false, bool use_proxy = false) {
    RecordingOutputStream stream;
    EXPECT_EQ(NPT_SUCCESS,
              NPT_HttpClient::WriteRequest(stream, request, should_persist, use_proxy));
    EXPECT_EQ(1U, stream.writes.size());
    EXPECT_EQ(1U, stream.datagrams.size());
    return stream.datagrams.front();
}

TEST(WriteRequest, CompletesASearchToABroadcastAddress) {
    NPT_HttpRequest request(NPT_HttpUrl("192.168.1.255", 31288, "*"), "M-SEARCH", "HTTP/1.1");
    for (const auto& header :
         {std::make_pair("MX", "5"), std::make_pair("ST", "ssdp:all"),
          std::make_pair("MAN", "\"ssdp:discover\""), std::make_pair("User-Agent", "UPnP/1.0"),
          std::make_pair("Host", "239.255.255.250:31288")})
        request.GetHeaders().SetHeader(header.first, header.second);
    EXPECT_EQ(
        "M-SEARCH * HTTP/1.1\r\nMX: 5\r\nST: ssdp:all\r\nMAN: \"ssdp:discover\"\r\n"
        "User-Agent: UPnP/1.0\r\nHost: 239.255.255.250:31288\r\nConnection: close\r\n\r\n",
        Written(request));
}

TEST(WriteRequest, CompletesASearchToTheMulticastGroup) {
    NPT_HttpRequest request(NPT_HttpUrl("239.255.255.250", 31288, "*"), "M-SEARCH", "HTTP/1.1");
    request.GetHeaders().SetHeader("MX", "5");
    EXPECT_EQ(
        "M-SEARCH * HTTP/1.1\r\nMX: 5\r\nConnection: close\r\nHost: 239.255.255.250:31288\r\n\r\n",
        Written(request));
}

TEST(WriteRequest, IsTheSameDatagramTheSecondTime) {
    NPT_HttpRequest request = MakeRequest("http://h:8080/x");
    RecordingOutputStream stream;
    NPT_HttpClient::WriteRequest(stream, request, false);
    NPT_HttpClient::WriteRequest(stream, request, false);
    ASSERT_EQ(2U, stream.datagrams.size());
    EXPECT_EQ(stream.datagrams[0], stream.datagrams[1]);
    EXPECT_NE("", stream.datagrams[0]);
}

TEST(WriteRequest, NamesTheHostWithAnUnusualPort) {
    struct {
        const char* url;
        const char* host;
    } const cases[] = {{"http://192.168.1.10:8080/", "192.168.1.10:8080"},
                       {"http://h/", "h"},
                       {"http://h:80/", "h"},
                       {"http://h:443/", "h:443"},
                       {"https://h/", "h"},
                       {"https://h:80/", "h:80"},
                       {"http://h:/", "h:0"},
                       {"ftp://h/", "h"},
                       {"ftp://h:21/", "h:21"},
                       {"http://[::1]/", "[::1]"},
                       {"http://[::1]:8080/", "[::1]:8080"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url);
        NPT_HttpRequest request = MakeRequest(c.url);
        Written(request);
        EXPECT_STREQ(c.host, request.GetHeaders().GetHeaderValue("Host")->GetChars());
    }
}

TEST(WriteRequest, KeepsHeadersThatAreThere) {
    NPT_HttpRequest request = MakeRequest("http://h/");
    request.GetHeaders().AddHeader("connection", "keep-alive");
    request.GetHeaders().AddHeader("HOST", "other");
    EXPECT_EQ("GET / HTTP/1.1\r\nconnection: keep-alive\r\nHOST: other\r\n\r\n", Written(request));
}

TEST(WriteRequest, SaysNothingAboutAConnectionThatPersists) {
    NPT_HttpRequest request = MakeRequest("http://h/");
    EXPECT_EQ("GET / HTTP/1.1\r\nHost: h\r\n\r\n", Written(request, kPersist));
}

TEST(WriteRequest, GivesAProxyTheWholeUrl) {
    NPT_HttpRequest request = MakeRequest("http://h:81/p?q#f");
    EXPECT_EQ("GET http://h:81/p?q HTTP/1.1\r\nHost: h:81\r\n\r\n",
              Written(request, kPersist, true));
}

void GiveBody(NPT_HttpRequest& request, std::vector<std::string> pieces,
              NPT_Result end = NPT_ERROR_EOS) {
    auto entity = std::make_unique<NPT_HttpEntity>();
    entity->SetInputStream(MakePieces(std::move(pieces), end));
    request.SetEntity(entity.release());
}

TEST(WriteRequestBody, IsOneFlushWithItsHead) {
    NPT_HttpRequest request = MakeRequest("http://h/", "POST");
    GiveBody(request, {"hello ", "world"});
    request.GetEntity()->SetContentLength(11);
    request.GetEntity()->SetContentType("text/plain");
    request.GetEntity()->SetContentEncoding("identity");
    RecordingOutputStream stream;
    EXPECT_EQ(NPT_SUCCESS, NPT_HttpClient::WriteRequest(stream, request, kPersist));
    ASSERT_EQ(1U, stream.datagrams.size());
    EXPECT_EQ(
        "POST / HTTP/1.1\r\nHost: h\r\nContent-Length: 11\r\nContent-Type: text/plain\r\n"
        "Content-Encoding: identity\r\n\r\nhello world",
        stream.datagrams.front());
}

TEST(WriteRequestBody, EndsItsChunksBeforeTheOneFlush) {
    NPT_HttpRequest request = MakeRequest("http://h/", "POST");
    GiveBody(request, {"hello ", "world"});
    request.GetEntity()->SetTransferEncoding("chunked");
    RecordingOutputStream stream;
    EXPECT_EQ(NPT_SUCCESS, NPT_HttpClient::WriteRequest(stream, request, kPersist));
    ASSERT_EQ(1U, stream.datagrams.size());
    EXPECT_EQ(
        "POST / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n"
        "6\r\nhello \r\n5\r\nworld\r\n0\r\n\r\n",
        stream.datagrams.front());
    EXPECT_EQ("", stream.unflushed);
}

TEST(WriteRequestBody, IsChunkedOnlyByTheExactWord) {
    NPT_HttpRequest request = MakeRequest("http://h/", "POST");
    GiveBody(request, {"x"});
    request.GetEntity()->SetTransferEncoding("Chunked");
    RecordingOutputStream stream;
    EXPECT_EQ(NPT_SUCCESS, NPT_HttpClient::WriteRequest(stream, request, kPersist));
    EXPECT_EQ("POST / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: Chunked\r\n\r\nx", stream.GetAll());
}

TEST(WriteRequestBody, ReplacesHeadersOfTheSameNames) {
    NPT_HttpRequest request = MakeRequest("http://h/", "POST");
    request.GetHeaders().AddHeader("content-length", "1");
    request.GetHeaders().AddHeader("content-type", "old");
    GiveBody(request, {});
    request.GetEntity()->SetContentLength(18446744073709551615U);
    request.GetEntity()->SetContentType("new");
    RecordingOutputStream stream;
    NPT_HttpClient::WriteRequest(stream, request, kPersist);
    EXPECT_EQ(
        "POST / HTTP/1.1\r\ncontent-length: 18446744073709551615\r\ncontent-type: new\r\n"
        "Host: h\r\n\r\n",
        stream.GetAll());
}

TEST(WriteRequestBody, WithoutAStreamIsNone) {
    NPT_HttpRequest request = MakeRequest("http://h/", "POST");
    request.SetEntity(new NPT_HttpEntity);
    request.GetEntity()->SetContentLength(5);
    EXPECT_EQ("POST / HTTP/1.1\r\nHost: h\r\n\r\n", Written(request, kPersist));
}

TEST(WriteRequestBody, ThatCannotBeReadIsReportedAndStillFlushed) {
    for (const char* encoding : {"", "chunked"}) {
        SCOPED_TRACE(encoding);
        NPT_HttpRequest request = MakeRequest("http://h/", "POST");
        GiveBody(request, {"x"}, NPT_ERROR_TIMEOUT);
        request.GetEntity()->SetTransferEncoding(encoding);
        RecordingOutputStream stream;
        EXPECT_EQ(NPT_ERROR_TIMEOUT, NPT_HttpClient::WriteRequest(stream, request, kPersist));
        EXPECT_EQ(1U, stream.datagrams.size());
        EXPECT_EQ("", stream.unflushed);
    }
}

TEST(WriteRequestFailure, ARefusedHeadIsReportedAndNotFlushed) {
    NPT_HttpRequest request = MakeRequest("http://h/", "POST");
    GiveBody(request, {"x"});
    RecordingOutputStream stream(0);
    EXPECT_EQ(NPT_ERROR_WRITE_FAILED, NPT_HttpClient::WriteRequest(stream, request, kPersist));
    EXPECT_EQ(1U, stream.writes.size());
    EXPECT_TRUE(stream.datagrams.empty());
}

TEST(WriteRequestFailure, WithoutMemoryForTheHeadNothingIsSent) {
    NPT_HttpRequest request = MakeRequest("http://h/");
    RecordingOutputStream stream;
    const FailingAllocation failing;
    EXPECT_EQ(NPT_ERROR_NO_MEMORY, NPT_HttpClient::WriteRequest(stream, request, kPersist));
    EXPECT_TRUE(stream.writes.empty());
    EXPECT_TRUE(stream.datagrams.empty());
}

TEST(WriteRequestFailure, ARefusedBodyIsReported) {
    NPT_HttpRequest request = MakeRequest("http://h/", "POST");
    GiveBody(request, {"x"});
    RecordingOutputStream stream(1);
    EXPECT_EQ(NPT_ERROR_WRITE_FAILED, NPT_HttpClient::WriteRequest(stream, request, kPersist));
}

TEST(WriteRequestFailure, AStreamThatTakesLittleGetsEverything) {
    NPT_HttpRequest request = MakeRequest("http://h/", "POST");
    GiveBody(request, {"hello"});
    request.GetEntity()->SetTransferEncoding("chunked");
    RecordingOutputStream stream(RecordingOutputStream::kNever, 3);
    EXPECT_EQ(NPT_SUCCESS, NPT_HttpClient::WriteRequest(stream, request, kPersist));
    EXPECT_EQ(
        "POST / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n",
        stream.GetAll());
}

std::unique_ptr<NPT_HttpResponse> Read(const NPT_InputStreamReference& stream, bool should_persist,
                                       bool expect_entity, NPT_Result& result,
                                       NPT_HttpConnectionReference* connection = nullptr) {
    NPT_HttpResponse unset(1, "", "");
    NPT_HttpResponse* response = &unset;
    result =
        NPT_HttpClient::ReadResponse(stream, should_persist, expect_entity, response, connection);
    EXPECT_EQ(NPT_Failed(result), response == nullptr);
    return std::unique_ptr<NPT_HttpResponse>(response);
}

std::string BodyOf(const NPT_HttpResponse& response, NPT_Result& result) {
    NPT_InputStreamReference body;
    if (!response.GetEntity() || NPT_Failed(response.GetEntity()->GetInputStream(body))) {
        result = NPT_FAILURE;
        return "";
    }
    return ReadAll(*body, 64, result);
}

constexpr char kAnswer[] =
    "HTTP/1.1 200 OK\r\nST: ssdp:all\r\nUSN: uuid:a::ssdp:all\r\nExt:\r\n"
    "FriendlyName: My\r\n Server\r\n\r\n";

TEST(ReadResponse, ReadsAnAnswerCutAnywhere) {
    ForEverySplit(kAnswer, [](const std::vector<std::string>& pieces) {
        NPT_Result result = NPT_FAILURE;
        const auto response = Read(MakePieces(pieces), false, false, result);
        ASSERT_EQ(NPT_SUCCESS, result);
        NPT_StringOutputStream stream;
        response->Emit(stream);
        EXPECT_STREQ(
            "HTTP/1.1 200 OK\r\nST: ssdp:all\r\nUSN: uuid:a::ssdp:all\r\nExt: \r\n"
            "FriendlyName: MyServer\r\n\r\n",
            stream.GetString().GetChars());
        EXPECT_EQ(nullptr, response->GetEntity());
    });
}

struct EntityCase {
    const char* name;
    std::string text;
    std::string body;
};

class ReadResponseBody : public testing::TestWithParam<EntityCase> {};

TEST_P(ReadResponseBody, IsTheSameInEveryWayOfCuttingTheStream) {
    ForEverySplit(GetParam().text, [](const std::vector<std::string>& pieces) {
        NPT_Result result = NPT_FAILURE;
        const auto response = Read(MakePieces(pieces), false, kExpectEntity, result);
        ASSERT_EQ(NPT_SUCCESS, result);
        EXPECT_EQ(GetParam().body, BodyOf(*response, result));
        EXPECT_EQ(NPT_ERROR_EOS, result);
    });
}

INSTANTIATE_TEST_SUITE_P(
    Responses, ReadResponseBody,
    testing::Values(
        EntityCase{"Length", "HTTP/1.1 200 OK\r\ncontent-length: 5\r\n\r\nhello+more", "hello"},
        EntityCase{"ZeroLength", "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\nmore", ""},
        EntityCase{"NegativeLength", "HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\nmore", ""},
        EntityCase{"HugeLength",
                   "HTTP/1.1 200 OK\r\nContent-Length: 18446744073709551615\r\n\r\nhi", "hi"},
        EntityCase{"UnknownLength", "HTTP/1.1 200 OK\r\n\r\nhello", "hello"},
        EntityCase{"Chunked",
                   "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                   "4\r\nWiki\r\n0\r\n\r\n",
                   "Wiki"},
        EntityCase{"NotQuiteChunked",
                   "HTTP/1.1 200 OK\r\nTransfer-Encoding: Chunked\r\n\r\n0\r\n\r\n", "0\r\n\r\n"},
        EntityCase{"BehindInterim", "HTTP/1.1 100 Go\r\n\r\nHTTP/1.1 200 OK\r\n\r\nhello",
                   "hello"}),
    [](const testing::TestParamInfo<EntityCase>& test) { return test.param.name; });

TEST(ReadResponseEntity, CarriesWhatTheHeadersSay) {
    NPT_Result result = NPT_FAILURE;
    const auto response =
        Read(MakePieces({"HTTP/1.1 200 OK\r\nContent-Type: a/b\r\nContent-Encoding: gzip\r\n"
                         "Content-Length: 3\r\nTransfer-Encoding: other\r\n\r\nabc"}),
             false, kExpectEntity, result);
    ASSERT_EQ(NPT_SUCCESS, result);
    const NPT_HttpEntity* entity = response->GetEntity();
    ASSERT_NE(nullptr, entity);
    EXPECT_STREQ("a/b", entity->GetContentType().GetChars());
    EXPECT_STREQ("gzip", entity->GetContentEncoding().GetChars());
    EXPECT_STREQ("other", entity->GetTransferEncoding().GetChars());
    EXPECT_TRUE(entity->ContentLengthIsKnown());
    EXPECT_EQ(3U, entity->GetContentLength());
}

TEST(ReadResponseEntity, IsNotReadAhead) {
    auto* source =
        new AskedInputStream(std::vector<ScriptedRead>{"HTTP/1.1 200 OK\r\n\r\n", "body"});
    NPT_Result result = NPT_FAILURE;
    const auto response = Read(NPT_InputStreamReference(source), false, true, result);
    ASSERT_EQ(NPT_SUCCESS, result);
    NPT_InputStreamReference body;
    ASSERT_EQ(NPT_SUCCESS, response->GetEntity()->GetInputStream(body));
    char byte = 0;
    EXPECT_EQ(NPT_SUCCESS, body->Read(&byte, 1));
    EXPECT_EQ(1U, source->asked);
}

TEST(ReadResponseEntity, NoLongerSaysChunked) {
    NPT_Result result = NPT_FAILURE;
    const auto response =
        Read(MakePieces({"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n"}), false,
             kExpectEntity, result);
    ASSERT_EQ(NPT_SUCCESS, result);
    EXPECT_STREQ("", response->GetEntity()->GetTransferEncoding().GetChars());
    EXPECT_FALSE(response->GetEntity()->ContentLengthIsKnown());
}

TEST(ReadResponseEntity, OutlivesTheResponse) {
    NPT_Result result = NPT_FAILURE;
    NPT_InputStreamReference body;
    {
        const auto response =
            Read(MakePieces({"HTTP/1.1 200 OK\r\n\r\nbody"}), false, kExpectEntity, result);
        ASSERT_EQ(NPT_SUCCESS, result);
        response->GetEntity()->GetInputStream(body);
    }
    EXPECT_EQ("body", ReadAll(*body, 64, result));
}

std::string Interims(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += i % 2 ? "HTTP/1.1 199 Wait\r\n\r\n" : "HTTP/1.1 100 Continue\r\nA: 1\r\n\r\n";
    return text;
}

TEST(ReadResponseInterim, NineAreSkipped) {
    NPT_Result result = NPT_FAILURE;
    const auto response =
        Read(MakePieces({Interims(9) + "HTTP/1.1 200 OK\r\n\r\n"}), false, false, result);
    ASSERT_EQ(NPT_SUCCESS, result);
    EXPECT_EQ(200U, response->GetStatusCode());
    EXPECT_EQ(nullptr, response->GetHeaders().GetHeader("A"));
}

TEST(ReadResponseInterim, TheTenthEndsTheRead) {
    NPT_Result result = NPT_SUCCESS;
    Read(MakePieces({Interims(10) + "HTTP/1.1 200 OK\r\n\r\n"}), false, false, result);
    EXPECT_EQ(NPT_ERROR_HTTP_TOO_MANY_INTERIM_RESPONSES, result);
}

TEST(ReadResponseInterim, OnlyCodesFrom100To199AreInterim) {
    for (const char* code : {"099", "200", "000", "abc", "10x"}) {
        NPT_Result result = NPT_FAILURE;
        const auto response = Read(MakePieces({std::string("HTTP/1.1 ") + code + " x\r\n\r\n"}),
                                   false, false, result);
        EXPECT_EQ(NPT_SUCCESS, result) << code;
    }
}

TEST(ReadResponseInterim, AnErrorBehindOneIsReported) {
    NPT_Result result = NPT_SUCCESS;
    Read(MakePieces({Interims(1)}, NPT_ERROR_TIMEOUT), false, false, result);
    EXPECT_EQ(NPT_ERROR_TIMEOUT, result);
    Read(MakePieces({Interims(1) + "junk\r\n"}), false, false, result);
    EXPECT_EQ(NPT_ERROR_HTTP_BAD_STATUS_LINE, result);
}

TEST(ReadResponseFailure, LeavesNoResponse) {
    NPT_Result result = NPT_SUCCESS;
    Read(NPT_InputStreamReference(), false, false, result);
    EXPECT_EQ(NPT_ERROR_INVALID_ARGUMENT, result);
    Read(MakePieces({}, NPT_ERROR_TIMEOUT), false, false, result);
    EXPECT_EQ(NPT_ERROR_TIMEOUT, result);
    Read(MakePieces({""}), false, false, result);
    EXPECT_EQ(NPT_ERROR_NO_PROGRESS, result);
    Read(MakePieces({std::string(9000, 'x')}), false, false, result);
    EXPECT_EQ(NPT_ERROR_LINE_TOO_LONG, result);
    Read(MakePieces({"NOTIFY * HTTP/1.1\r\n\r\n"}), false, false, result);
    EXPECT_EQ(NPT_ERROR_HTTP_BAD_STATUS_LINE, result);
}

// The buffer's is the one that is reported, the others throw.
TEST(ReadResponseFailure, ReportsThatThereIsNoMemoryForTheBuffer) {
    int reported = 0;
    bool refused = true;
    for (long nth = 1; refused; ++nth) {
        const NPT_InputStreamReference stream = MakePieces({"HTTP/1.1 200 OK\r\nA: 1\r\n\r\n"});
        NPT_HttpResponse* response = nullptr;
        const FailingAllocation failing(nth);
        try {
            const NPT_Result result = NPT_HttpClient::ReadResponse(stream, false, true, response);
            refused = failing.HasHappened();
            EXPECT_EQ(refused ? NPT_ERROR_NO_MEMORY : NPT_SUCCESS, result);
            if (refused) ++reported;
        } catch (const std::bad_alloc&) {
        }
        EXPECT_EQ(refused, response == nullptr);
        delete response;
    }
    EXPECT_EQ(1, reported);
}

TEST(ReadResponseFailure, ATimeoutInTheHeadersStillGivesTheResponse) {
    NPT_Result result = NPT_FAILURE;
    const auto response =
        Read(MakePieces({"HTTP/1.1 200 OK\r\nST: x\r\n"}, NPT_ERROR_TIMEOUT), false, false, result);
    ASSERT_EQ(NPT_SUCCESS, result);
    EXPECT_NE(nullptr, response->GetHeaders().GetHeader("st"));
}

TEST(ReadResponseFailure, AnEndlessHeadEnds) {
    for (const char* line : {"A: 1\r\n", " fold\r\n", "junk\n", "A:\n"}) {
        SCOPED_TRACE(line);
        auto* endless = new RepeatingInputStream("HTTP/1.1 200 OK\r\n", line, 1U << 30);
        const NPT_InputStreamReference stream(endless);
        NPT_Result result = NPT_FAILURE;
        const auto response = Read(stream, false, false, result);
        EXPECT_EQ(NPT_SUCCESS, result);
        EXPECT_LE(endless->GetDelivered(), 3U << 20);
    }
}

struct PersistCase {
    const char* protocol;
    const char* connection;  // null: no such header
    bool persists;
};

class Persistence : public testing::TestWithParam<PersistCase> {
  protected:
    static std::string MakeHead() {
        std::string head = std::string(GetParam().protocol) + " 200 OK\r\n";
        if (GetParam().connection)
            head += std::string("connection: ") + GetParam().connection + "\r\n";
        return head;
    }
};

TEST_P(Persistence, HandsTheConnectionBackWithoutAnEntity) {
    for (bool should_persist : {false, true}) {
        const bool expected = should_persist && GetParam().persists;
        ConnectionLog log;
        NPT_HttpConnectionReference connection(new LoggedConnection(log));
        NPT_Result result = NPT_FAILURE;
        Read(MakePieces({MakeHead() + "\r\n"}), should_persist, false, result, &connection);
        EXPECT_EQ(NPT_SUCCESS, result);
        EXPECT_EQ(expected ? 1 : 0, log.reused);
        EXPECT_EQ(expected, connection.IsNull());
    }
}

TEST_P(Persistence, HandsTheConnectionBackBehindTheBody) {
    for (bool should_persist : {false, true}) {
        const bool expected = should_persist && GetParam().persists;
        ConnectionLog log;
        NPT_HttpConnectionReference connection(new LoggedConnection(log));
        NPT_Result result = NPT_FAILURE;
        const auto response = Read(MakePieces({MakeHead() + "Content-Length: 2\r\n\r\nab"}),
                                   should_persist, kExpectEntity, result, &connection);
        ASSERT_EQ(NPT_SUCCESS, result);
        EXPECT_TRUE(connection.IsNull());
        EXPECT_EQ(0, log.reused + log.released);
        EXPECT_EQ("ab", BodyOf(*response, result));
        EXPECT_EQ(expected ? 1 : 0, log.reused);
        EXPECT_EQ(1, log.released);
    }
}

INSTANTIATE_TEST_SUITE_P(Peers, Persistence,
                         testing::Values(PersistCase{"HTTP/1.1", nullptr, true},
                                         PersistCase{"HTTP/1.1", "close", false},
                                         PersistCase{"HTTP/1.1", "Close", true},
                                         PersistCase{"HTTP/1.1", "keep-alive", true},
                                         PersistCase{"HTTP/1.0", nullptr, false},
                                         PersistCase{"HTTP/1.0", "keep-alive", true},
                                         PersistCase{"HTTP/1.0", "Keep-Alive", false},
                                         PersistCase{"HTTP/1.0", "close", false},
                                         PersistCase{"http/1.1", nullptr, false},
                                         PersistCase{"http/1.1", "keep-alive", true}));

TEST(PersistenceWithoutConnection, IsNobodysConcern) {
    NPT_Result result = NPT_FAILURE;
    NPT_HttpConnectionReference none;
    Read(MakePieces({"HTTP/1.1 200 OK\r\n\r\n"}), kPersist, false, result);
    EXPECT_EQ(NPT_SUCCESS, result);
    Read(MakePieces({"HTTP/1.1 200 OK\r\n\r\n"}), kPersist, false, result, &none);
    EXPECT_EQ(NPT_SUCCESS, result);
    Read(MakePieces({"HTTP/1.1 200 OK\r\n\r\n"}), kPersist, kExpectEntity, result, &none);
    EXPECT_EQ(NPT_SUCCESS, result);
}

TEST(ReadResponseFailure, LeavesTheCallersConnection) {
    ConnectionLog log;
    NPT_HttpConnectionReference connection(new LoggedConnection(log));
    NPT_Result result = NPT_SUCCESS;
    Read(MakePieces({"junk\r\n"}), kPersist, kExpectEntity, result, &connection);
    EXPECT_EQ(NPT_ERROR_HTTP_BAD_STATUS_LINE, result);
    EXPECT_FALSE(connection.IsNull());
    EXPECT_EQ(0, log.reused + log.released);
}

}  // namespace
