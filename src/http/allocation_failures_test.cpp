// Every operation of this folder that allocates, with each of its allocations refused in turn: it
// throws std::bad_alloc or gives NPT_ERROR_NO_MEMORY, and leaves what its header says.
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "core/string_output_stream.h"
#include "core/testing/failing_allocation.h"
#include "http/chunked_streams.h"
#include "http/entity_body_stream.h"
#include "http/http_client.h"
#include "http/http_url.h"
#include "http/testing/message_streams.h"

namespace {

struct UrlWork {
    const char* name;
    void (*run)(NPT_HttpUrl& url);
};

void PrintTo(const UrlWork& work, std::ostream* out) {
    *out << work.name;
}

class UrlWithoutMemory : public testing::TestWithParam<UrlWork> {};

TEST_P(UrlWithoutMemory, IsWhatItWas) {
    const long refusals =
        RefuseEachAllocation([] { return NPT_HttpUrl("http://h:81/p?q#f"); },
                             [](NPT_HttpUrl& url) { GetParam().run(url); },
                             [](const NPT_HttpUrl& url, bool refused) {
                                 if (!refused) return;
                                 EXPECT_EQ(url.ToString(), "http://h:81/p?q#f");
                                 EXPECT_EQ(url.GetSchemeId(), NPT_Uri::SCHEME_ID_HTTP);
                             });
    EXPECT_GE(refusals, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, UrlWithoutMemory,
    testing::Values(
        UrlWork{"SetScheme", [](NPT_HttpUrl& url) { url.SetScheme("HTTPS"); }},
        UrlWork{"SetHost", [](NPT_HttpUrl& url) { url.SetHost("a.longer.host:8080"); }},
        UrlWork{"SetPath", [](NPT_HttpUrl& url) { url.SetPath("/a longer % path"); }},
        UrlWork{"SetEncodedPath", [](NPT_HttpUrl& url) { url.SetPath("/a/longer/path", true); }},
        UrlWork{"ParsePathPlus", [](NPT_HttpUrl& url) { url.ParsePathPlus("/path?query#part"); }},
        UrlWork{"Copy", [](NPT_HttpUrl& url) { const NPT_HttpUrl copy(url); }},
        UrlWork{"ToString", [](NPT_HttpUrl& url) { url.ToString(); }},
        UrlWork{"ToRequestString", [](NPT_HttpUrl& url) { url.ToRequestString(true); }},
        UrlWork{"GetHostText", [](NPT_HttpUrl& url) { url.GetHostText(); }},
        UrlWork{"FromText", [](NPT_HttpUrl&) { const NPT_HttpUrl url("http://[::1]:1/p?q#f"); }},
        UrlWork{"FromParts",
                [](NPT_HttpUrl&) { const NPT_HttpUrl url("[::1]", 1, "/p", "q", "f"); }}),
    [](const testing::TestParamInfo<UrlWork>& work) { return std::string(work.param.name); });

std::string TextOf(const NPT_HttpHeaders& headers) {
    NPT_StringOutputStream stream;
    headers.Emit(stream);
    return stream.GetString().GetChars();
}

// More than a list has room for in the memory that it took already.
const std::string& Large() {
    static const std::string text(3000, 'x');
    return text;
}

struct HeadersWork {
    const char* name;
    void (*run)(NPT_HttpHeaders& headers);
};

void PrintTo(const HeadersWork& work, std::ostream* out) {
    *out << work.name;
}

class HeadersWithoutMemory : public testing::TestWithParam<HeadersWork> {};

TEST_P(HeadersWithoutMemory, AreWhatTheyWere) {
    const long refusals = RefuseEachAllocation(
        [] {
            auto headers = std::make_unique<NPT_HttpHeaders>();
            headers->AddHeader("A", "1");
            return headers;
        },
        [](auto& headers) { GetParam().run(*headers); },
        [](const auto& headers, bool refused) {
            EXPECT_EQ(TextOf(*headers) == "A: 1\r\n", refused);
        });
    EXPECT_GE(refusals, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, HeadersWithoutMemory,
    testing::Values(
        HeadersWork{"AddHeader",
                    [](NPT_HttpHeaders& headers) { headers.AddHeader("B", Large().c_str()); }},
        HeadersWork{"SetNewHeader",
                    [](NPT_HttpHeaders& headers) { headers.SetHeader("B", Large().c_str()); }},
        HeadersWork{"SetHeader",
                    [](NPT_HttpHeaders& headers) { headers.SetHeader("a", Large().c_str()); }}),
    [](const testing::TestParamInfo<HeadersWork>& work) { return std::string(work.param.name); });

// What was read by then stays; a header is whole or not there.
TEST(HeaderBlockWithoutMemory, KeepsWholeHeaders) {
    struct Parsing {
        NPT_Reference<NPT_BufferedInputStream> stream =
            MakeBuffered({"A: 1\r\n 2\r\nB: " + Large() + "\r\nC: 4\r\n\r\n"});
        NPT_HttpHeaders headers;
    };
    const std::string whole = "A: 12\r\nB: " + Large() + "\r\nC: 4\r\n";
    const long refusals =
        RefuseEachAllocation([] { return std::make_unique<Parsing>(); },
                             [](auto& parsing) { parsing->headers.Parse(*parsing->stream); },
                             [&whole](const auto& parsing, bool refused) {
                                 const std::string text = TextOf(parsing->headers);
                                 EXPECT_EQ(whole.substr(0, text.size()), text);
                                 EXPECT_TRUE(text.empty() || text.back() == '\n');
                                 EXPECT_EQ(text == whole, !refused);
                             });
    EXPECT_GE(refusals, 5);
}

constexpr char kChunkedAnswer[] =
    "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nContent-Type: t\r\n\r\n"
    "4\r\nWiki\r\n0\r\n\r\n";

struct Reading {
    NPT_InputStreamReference stream = MakePieces({kChunkedAnswer});
    ConnectionLog log;
    NPT_HttpConnectionReference connection{new LoggedConnection(log)};
    std::unique_ptr<NPT_HttpResponse> response;
    std::string body;
    NPT_Result result = NPT_SUCCESS;

    void Run() {
        NPT_HttpResponse* read = nullptr;
        result = NPT_HttpClient::ReadResponse(stream, true, true, read, &connection);
        response.reset(read);
        if (NPT_Failed(result)) return;
        NPT_InputStreamReference content;
        result = response->GetEntity()->GetInputStream(content);
        char buffer[16];
        NPT_UInt32 count = 0;
        while (NPT_Succeeded(result)) {
            result = content->Read(buffer, sizeof(buffer), &count);
            body.append(buffer, count);
        }
    }
};

TEST(ReadingWithoutMemory, GivesNoHalfOfAnAnswer) {
    const long refusals = RefuseEachAllocation(
        [] { return std::make_unique<Reading>(); }, [](auto& reading) { reading->Run(); },
        [](const auto& reading, bool refused) {
            if (refused && !reading->response) {
                EXPECT_EQ(reading->body, "");
            } else {
                EXPECT_NE(reading->response->GetHeaders().GetHeader("content-type"), nullptr);
                EXPECT_EQ(reading->body, reading->result == NPT_ERROR_EOS ? "Wiki" : "");
            }
            reading->response.reset();
            reading->connection.Release();
            EXPECT_EQ(reading->log.released, 1);
        });
    EXPECT_GE(refusals, 14);
}

struct Writing {
    Writing() {
        auto entity = std::make_unique<NPT_HttpEntity>();
        entity->SetInputStream(MakePieces({"body"}));
        entity->SetContentLength(4);
        entity->SetContentType("t");
        request.SetEntity(entity.release());
    }
    NPT_HttpRequest request{NPT_HttpUrl("http://h:81/p"), "POST", "HTTP/1.1"};
    NPT_StringOutputStream stream{1000};
    NPT_Result result = NPT_FAILURE;
};

TEST(WritingWithoutMemory, SendsNoHalfOfAHead) {
    std::string head;
    {
        Writing whole;
        ASSERT_EQ(NPT_HttpClient::WriteRequest(whole.stream, whole.request, false), NPT_SUCCESS);
        const std::string text = whole.stream.GetString().GetChars();
        head = text.substr(0, text.size() - 4);
    }
    const long refusals =
        RefuseEachAllocation([] { return std::make_unique<Writing>(); },
                             [](auto& writing) {
                                 writing->result = NPT_HttpClient::WriteRequest(
                                     writing->stream, writing->request, false);
                             },
                             [&head](const auto& writing, bool refused) {
                                 const std::string sent = writing->stream.GetString().GetChars();
                                 if (refused)
                                     EXPECT_TRUE(sent.empty() || sent == head) << sent;
                                 else
                                     EXPECT_EQ(sent, head + "body");
                                 EXPECT_EQ(writing->result == NPT_SUCCESS, !refused);
                             });
    EXPECT_GE(refusals, 10);
}

// What a construction that throws has made by then, it frees; the sanitized build sees that.
TEST(MessagesWithoutMemory, LeaveNothing) {
    const auto refuse = [](void (*work)()) {
        return RefuseEachAllocation([] { return 0; }, [work](int) { work(); }, [](int, bool) {});
    };
    EXPECT_GE(refuse([] {
                  const NPT_HttpRequest request(NPT_HttpUrl("http://h/"), "GET", "HTTP/1.1");
                  NPT_StringOutputStream stream;
                  request.Emit(stream, true);
              }),
              8);
    EXPECT_GE(refuse([] {
                  const NPT_HttpResponse response(200, "OK", "HTTP/1.1");
                  NPT_StringOutputStream stream;
                  response.Emit(stream);
              }),
              4);
    EXPECT_GE(refuse([] {
                  NPT_HttpHeaders headers;
                  headers.AddHeader("Content-Type", "t");
                  headers.AddHeader("Content-Encoding", "c");
                  headers.AddHeader("Transfer-Encoding", "chunked");
                  NPT_HttpEntity entity;
                  entity.SetFromHeaders(headers);
              }),
              4);
}

}  // namespace
