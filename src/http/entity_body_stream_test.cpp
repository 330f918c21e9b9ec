#include "http/entity_body_stream.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/memory_stream.h"
#include "http/testing/message_streams.h"

namespace {

constexpr bool kKnown = true;
constexpr bool kUnknownSize = false;
constexpr bool kChunked = true;
constexpr bool kPlain = false;

class Body : public NPT_HttpEntityBodyInputStream {
  public:
    Body(std::vector<std::string> pieces, NPT_UInt64 size, bool known, bool chunked,
         NPT_Result end = NPT_ERROR_EOS)
        : NPT_HttpEntityBodyInputStream(MakeBuffered(std::move(pieces), 4096, end), size, known,
                                        chunked, NPT_HttpConnectionReference(), false) {}
};

struct BodyCase {
    const char* name;
    std::string text;
    NPT_UInt64 size;
    bool known;
    bool chunked;
    std::string data;
};

class BodyEnd : public testing::TestWithParam<BodyCase> {};

TEST_P(BodyEnd, IsTheSameInEveryWayOfCuttingTheStream) {
    const BodyCase& c = GetParam();
    for (NPT_UInt32 piece : {1U, 2U, 64U}) {
        ForEverySplit(c.text, [&](const std::vector<std::string>& pieces) {
            Body body(pieces, c.size, c.known, c.chunked);
            NPT_Result result = NPT_SUCCESS;
            EXPECT_EQ(c.data, ReadAll(body, piece, result));
            EXPECT_EQ(NPT_ERROR_EOS, result);
            NPT_UInt64 position = 0;
            EXPECT_EQ(NPT_SUCCESS, body.Tell(position));
            EXPECT_EQ(c.data.size(), position);
        });
    }
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, BodyEnd,
    testing::Values(BodyCase{"AtItsLength", "hello and more", 5, kKnown, kPlain, "hello"},
                    BodyCase{"AtTheStreamsEnd", "hello", 0, kUnknownSize, kPlain, "hello"},
                    BodyCase{"BeforeItsLength", "hel", 5, kKnown, kPlain, "hel"},
                    BodyCase{"AtOnce", "hello", 0, kKnown, kPlain, ""},
                    BodyCase{"AtOnceThoughChunked", "1\r\na\r\n0\r\n\r\n", 0, kKnown, kChunked, ""},
                    BodyCase{"AtTheLastChunk", "4\r\nWiki\r\n0\r\n\r\nmore", 0, kUnknownSize,
                             kChunked, "Wiki"},
                    BodyCase{"AtTheLastChunkBeforeItsLength", "4\r\nWiki\r\n0\r\n\r\n", 9, kKnown,
                             kChunked, "Wiki"}),
    [](const testing::TestParamInfo<BodyCase>& test) { return test.param.name; });

TEST(BodyStream, AKnownLengthEndsAChunkedBodyToo) {
    Body body({"4\r\nWiki\r\n5\r\npedia\r\n0\r\n\r\n"}, 3, kKnown, kChunked);
    char buffer[16];
    NPT_UInt32 read = 0;
    EXPECT_EQ(NPT_SUCCESS, body.Read(buffer, sizeof(buffer), &read));
    EXPECT_EQ("Wiki", std::string(buffer, read));
    EXPECT_EQ(NPT_ERROR_EOS, body.Read(buffer, sizeof(buffer), &read));
    EXPECT_EQ(0U, read);
}

TEST(BodyStream, HugeLengthsAreOnlyNumbers) {
    for (NPT_UInt64 size :
         {NPT_UInt64(0xFFFFFFFF), NPT_UInt64(0x100000001), NPT_UInt64(0xFFFFFFFFFFFFFFFF)}) {
        Body body({"abc"}, size, kKnown, kPlain);
        NPT_Result result = NPT_SUCCESS;
        EXPECT_EQ("abc", ReadAll(body, 64, result));
        EXPECT_EQ(NPT_ERROR_EOS, result);
    }
}

TEST(BodyStream, OtherErrorsPassAndEndNothing) {
    Body body({"ab"}, 5, kKnown, kPlain, NPT_ERROR_TIMEOUT);
    char buffer[16];
    NPT_UInt32 read = 0;
    EXPECT_EQ(NPT_SUCCESS, body.Read(buffer, sizeof(buffer), &read));
    EXPECT_EQ(2U, read);
    EXPECT_EQ(NPT_ERROR_TIMEOUT, body.Read(buffer, sizeof(buffer), &read));
    EXPECT_EQ(0U, read);
    EXPECT_EQ(NPT_ERROR_TIMEOUT, body.Read(buffer, sizeof(buffer)));
}

TEST(BodyStream, ABrokenChunkIsAnError) {
    Body body({"x\r\n"}, 0, kUnknownSize, kChunked);
    char byte = 0;
    EXPECT_EQ(NPT_ERROR_INVALID_FORMAT, body.Read(&byte, 1));
}

TEST(BodyStream, LetsGoOfItsSourceOnceRead) {
    auto source = MakeBuffered({"abc"});
    NPT_HttpEntityBodyInputStream body(source, 3, kKnown, kPlain, NPT_HttpConnectionReference(),
                                       false);
    NPT_BufferedInputStream* raw = source.AsPointer();
    NPT_Result result = NPT_SUCCESS;
    ReadAll(body, 3, result);
    EXPECT_EQ(raw, source.AsPointer());
    NPT_UInt64 available = 7;
    EXPECT_EQ(NPT_SUCCESS, body.GetAvailable(available));
    EXPECT_EQ(0U, available);
}

// A source that knows how much it still has, as a connection does.
NPT_Reference<NPT_BufferedInputStream> MakeMemory(const char* text) {
    auto memory = std::make_unique<NPT_MemoryStream>();
    memory->WriteString(text);
    return NPT_Reference<NPT_BufferedInputStream>(
        new NPT_BufferedInputStream(NPT_InputStreamReference(memory.release())));
}

TEST(BodyStream, AvailableIsCutToTheBody) {
    NPT_HttpEntityBodyInputStream body(MakeMemory("abcdef"), 3, kKnown, kPlain,
                                       NPT_HttpConnectionReference(), false);
    NPT_UInt64 available = 0;
    EXPECT_EQ(NPT_SUCCESS, body.GetAvailable(available));
    EXPECT_EQ(3U, available);
    char byte = 0;
    body.Read(&byte, 1);
    EXPECT_EQ(NPT_SUCCESS, body.GetAvailable(available));
    EXPECT_EQ(2U, available);
}

TEST(BodyStream, AvailableIsTheSourcesWithoutALength) {
    NPT_HttpEntityBodyInputStream body(MakeMemory("abcdef"), 0, kUnknownSize, kPlain,
                                       NPT_HttpConnectionReference(), false);
    NPT_UInt64 available = 0;
    EXPECT_EQ(NPT_SUCCESS, body.GetAvailable(available));
    EXPECT_EQ(6U, available);
}

TEST(BodyStream, AvailableReportsTheSourcesFailure) {
    Body body({}, 5, kKnown, kPlain);
    NPT_UInt64 available = 7;
    EXPECT_EQ(NPT_ERROR_NOT_SUPPORTED, body.GetAvailable(available));
    EXPECT_EQ(0U, available);
}

TEST(BodyStream, SizeIsKnownOnlyWhenNothingSupersedesIt) {
    NPT_UInt64 size = 7;
    EXPECT_EQ(NPT_SUCCESS, Body({}, 5, kKnown, kPlain).GetSize(size));
    EXPECT_EQ(5U, size);
    EXPECT_EQ(NPT_ERROR_NOT_SUPPORTED, Body({}, 5, kKnown, kChunked).GetSize(size));
    EXPECT_EQ(0U, size);
    size = 7;
    EXPECT_EQ(NPT_ERROR_NOT_SUPPORTED, Body({}, 0, kUnknownSize, kPlain).GetSize(size));
    EXPECT_EQ(0U, size);
}

TEST(BodyStream, CannotSeek) {
    EXPECT_EQ(NPT_ERROR_NOT_SUPPORTED, Body({"abc"}, 3, kKnown, kPlain).Seek(0));
}

TEST(BodyStream, IsLoadedWhole) {
    for (bool chunked : {false, true}) {
        NPT_DataBuffer buffer;
        Body body({chunked ? "4\r\nWiki\r\n0\r\n\r\n" : "Wiki and more"}, 4, !chunked, chunked);
        EXPECT_EQ(NPT_SUCCESS, body.Load(buffer));
        EXPECT_EQ("Wiki", std::string(reinterpret_cast<const char*>(buffer.GetData()),
                                      buffer.GetDataSize()));
    }
}

TEST(BodyConnection, IsHandedBackOnceTheBodyIsRead) {
    struct {
        bool persist;
        NPT_UInt64 size;
        bool known;
        bool chunked;
        const char* text;
    } const cases[] = {{true, 3, kKnown, kPlain, "abcdef"},
                       {false, 3, kKnown, kPlain, "abcdef"},
                       {true, 0, kUnknownSize, kChunked, "1\r\na\r\n0\r\n\r\n"},
                       {true, 0, kUnknownSize, kPlain, "abc"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        ConnectionLog log;
        NPT_HttpEntityBodyInputStream body(MakeBuffered({c.text}), c.size, c.known, c.chunked,
                                           NPT_HttpConnectionReference(new LoggedConnection(log)),
                                           c.persist);
        char byte = 0;
        EXPECT_EQ(NPT_SUCCESS, body.Read(&byte, 1));
        EXPECT_EQ(0, log.reused);
        EXPECT_EQ(0, log.released);
        NPT_Result result = NPT_SUCCESS;
        ReadAll(body, 16, result);
        EXPECT_EQ(c.persist ? 1 : 0, log.reused);
        EXPECT_EQ(1, log.released);
    }
}

TEST(BodyConnection, AnEmptyBodyHandsItBackAtOnce) {
    ConnectionLog log;
    const NPT_HttpEntityBodyInputStream body(MakeBuffered({}), 0, kKnown, kPlain,
                                             NPT_HttpConnectionReference(new LoggedConnection(log)),
                                             true);
    EXPECT_EQ(1, log.reused);
    EXPECT_EQ(1, log.released);
}

TEST(BodyConnection, AnUnreadBodyNeverHandsItBack) {
    ConnectionLog log;
    {
        const NPT_HttpEntityBodyInputStream body(
            MakeBuffered({"abc"}), 3, kKnown, kPlain,
            NPT_HttpConnectionReference(new LoggedConnection(log)), true);
    }
    EXPECT_EQ(0, log.reused);
    EXPECT_EQ(1, log.released);
}

}  // namespace
