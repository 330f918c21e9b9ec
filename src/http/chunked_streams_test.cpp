#include "http/chunked_streams.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/memory_stream.h"
#include "http/testing/message_streams.h"

namespace {

std::string Decode(std::vector<std::string> pieces, NPT_Result& result, NPT_UInt32 piece = 64,
                   NPT_Result end = NPT_ERROR_EOS) {
    NPT_HttpChunkedInputStream stream(MakeBuffered(std::move(pieces), 4096, end));
    return ReadAll(stream, piece, result);
}

struct ChunkCase {
    const char* name;
    std::string text;
    std::string data;
    NPT_Result end;
};

constexpr NPT_Result kFormat = NPT_ERROR_INVALID_FORMAT;
constexpr NPT_Result kEos = NPT_ERROR_EOS;

class ChunkedInput : public testing::TestWithParam<ChunkCase> {};

TEST_P(ChunkedInput, DecodesTheSameInEveryWayOfCuttingIt) {
    ForEverySplit(GetParam().text, [](const std::vector<std::string>& pieces) {
        NPT_Result result = NPT_SUCCESS;
        EXPECT_EQ(GetParam().data, Decode(pieces, result));
        EXPECT_EQ(GetParam().end, result);
    });
}

TEST_P(ChunkedInput, DecodesTheSameReadByteByByte) {
    NPT_Result result = NPT_SUCCESS;
    const std::string data = Decode({GetParam().text}, result, 1);
    EXPECT_EQ(GetParam().end, result);
    EXPECT_EQ(GetParam().data, data);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ChunkedInput,
    testing::Values(
        ChunkCase{"OneChunk", "4\r\nWiki\r\n0\r\n\r\n", "Wiki", kEos},
        ChunkCase{"TwoChunks", "4\r\nWiki\r\n5\r\npedia\r\n0\r\n\r\n", "Wikipedia", kEos},
        ChunkCase{"Extension", "1a;name=value\r\nabcdefghijklmnopqrstuvwxyz\r\n0\r\n\r\n",
                  "abcdefghijklmnopqrstuvwxyz", kEos},
        ChunkCase{"ExtensionBehindBlank", "2 ;x\r\nab\r\n0\r\n\r\n", "ab", kEos},
        ChunkCase{"UpperCaseAndZeros", "000A\r\n0123456789\r\n000\r\n\r\n", "0123456789", kEos},
        ChunkCase{"BareLineFeedBehindSize", "2\nab\r\n0\n\n", "ab", kEos},
        ChunkCase{"DataLooksLikeFraming", "7\r\n0\r\n\r\n\r\n\r\n0\r\n\r\n", "0\r\n\r\n\r\n", kEos},
        ChunkCase{"Trailers", "1\r\na\r\n0\r\nA: 1\r\nB: 2\r\n\r\nrest", "a", kEos},
        ChunkCase{"NoTrailerEnd", "1\r\na\r\n0\r\nA: 1\r\n", "a", kEos},
        ChunkCase{"SizeWraps", "100000001\r\na\r\n0\r\n\r\n", "a", kEos},
        ChunkCase{"SizeWrapsToNothing", "100000000\r\n\r\n", "", kEos},
        ChunkCase{"OnlyAnExtension", ";x\r\n\r\n", "", kEos}, ChunkCase{"CutInSize", "4", "", kEos},
        ChunkCase{"CutBehindData", "1\r\na", "a", kFormat},
        ChunkCase{"CutInTheLineEndBehindData", "1\r\na\r", "a", kFormat},
        ChunkCase{"CutBehindTheSecondData", "1\r\na\r\n2\r\nbc", "abc", kFormat},
        ChunkCase{"EmptySize", "\r\n\r\n", "", kFormat},
        ChunkCase{"NoHexDigit", "g\r\n\r\n", "", kFormat},
        ChunkCase{"NegativeSize", "-1\r\na\r\n", "", kFormat},
        ChunkCase{"PrefixedSize", "0x4\r\nWiki\r\n", "", kFormat},
        ChunkCase{"TabBehindSize", "1\t\r\na\r\n", "", kFormat},
        ChunkCase{"NulInSize", std::string("1\0\r\na\r\n", 7), "", kFormat},
        ChunkCase{"HighByteInSize", "\xFF\r\na\r\n", "", kFormat},
        ChunkCase{"EmptySecondSize", "1\r\na\r\n\r\n", "a", kFormat}),
    [](const testing::TestParamInfo<ChunkCase>& test) { return test.param.name; });

// What a read had got before the line end behind the chunk turned out wrong is not delivered.
TEST(ChunkEnd, MustBeCarriageReturnAndLineFeed) {
    for (const char* end : {"XY", "\n\n", "\r\r", "\rX", "X\n"}) {
        NPT_Result result = NPT_SUCCESS;
        EXPECT_EQ("", Decode({std::string("1\r\na") + end + "0\r\n\r\n"}, result));
        EXPECT_EQ(kFormat, result);
    }
}

TEST(ChunkEnd, IsMissingForGood) {
    NPT_HttpChunkedInputStream stream(MakeBuffered({"1\r\na"}));
    char byte = 0;
    NPT_UInt32 read = 0;
    EXPECT_EQ(NPT_SUCCESS, stream.Read(&byte, 1, &read));
    EXPECT_EQ(1U, read);
    EXPECT_EQ(kFormat, stream.Read(&byte, 1, &read));
    EXPECT_EQ(0U, read);
    EXPECT_EQ(kFormat, stream.Read(&byte, 1));
}

TEST(ChunkEnd, MayBeMissingBecauseReadingFailed) {
    for (const char* end : {"", "\r"}) {
        NPT_Result result = NPT_SUCCESS;
        EXPECT_EQ("", Decode({std::string("1\r\na") + end}, result, 64, NPT_ERROR_TIMEOUT));
        EXPECT_EQ(NPT_ERROR_TIMEOUT, result);
    }
}

TEST(ChunkedInputStream, ReadErrorsPassThrough) {
    const std::string text = "2;x\r\nab\r\n0\r\nA: 1\r\n\r\n";
    for (std::size_t length = 1; length < text.size(); ++length) {
        SCOPED_TRACE(length);
        NPT_Result result = NPT_SUCCESS;
        Decode({text.substr(0, length)}, result, 64, NPT_ERROR_CONNECTION_RESET);
        // A last line without its end is delivered only at the stream's proper end.
        EXPECT_EQ(NPT_ERROR_CONNECTION_RESET, result);
    }
}

TEST(ChunkedInputStream, AStreamWithoutAnythingIsAtItsEnd) {
    NPT_Result result = NPT_SUCCESS;
    EXPECT_EQ("", Decode({}, result));
    EXPECT_EQ(kEos, result);
}

TEST(ChunkedInputStream, TheEndIsFinal) {
    NPT_HttpChunkedInputStream stream(MakeBuffered({"0\r\n\r\n1\r\na\r\n0\r\n\r\n"}));
    char byte = 0;
    NPT_UInt32 read = 7;
    EXPECT_EQ(NPT_ERROR_EOS, stream.Read(&byte, 1, &read));
    EXPECT_EQ(0U, read);
    EXPECT_EQ(NPT_ERROR_EOS, stream.Read(&byte, 1));
    EXPECT_EQ(NPT_ERROR_EOS, stream.Read(&byte, 0));
}

TEST(ChunkedInputStream, AReadOfNothingTouchesNothing) {
    NPT_HttpChunkedInputStream stream(MakeBuffered({"g\r\n"}));
    NPT_UInt32 read = 7;
    EXPECT_EQ(NPT_SUCCESS, stream.Read(nullptr, 0, &read));
    EXPECT_EQ(0U, read);
}

TEST(ChunkedInputStream, NeverReadsBeyondTheLastChunk) {
    const auto source = MakeBuffered({"1\r\na\r\n0\r\n\r\n", "next"});
    NPT_HttpChunkedInputStream stream(source);
    NPT_Result result = NPT_SUCCESS;
    EXPECT_EQ("a", ReadAll(stream, 16, result));
    EXPECT_EQ("next", ReadAll(*source, 16, result));
}

TEST(ChunkedInputStream, ReadsNoDataAhead) {
    auto* source = new AskedInputStream(std::vector<ScriptedRead>{"4\r\n", "Wiki\r\n0\r\n\r\n"});
    NPT_HttpChunkedInputStream stream(NPT_Reference<NPT_BufferedInputStream>(
        new NPT_BufferedInputStream(NPT_InputStreamReference(source))));
    char buffer[3];
    EXPECT_EQ(NPT_SUCCESS, stream.Read(buffer, sizeof(buffer)));
    EXPECT_EQ(sizeof(buffer), source->asked);
}

TEST(ChunkedInputStream, AHugeSizeClaimsNothing) {
    NPT_HttpChunkedInputStream stream(MakeBuffered({"FFFFFFFF\r\nabc"}));
    char buffer[16];
    NPT_UInt32 read = 0;
    EXPECT_EQ(NPT_SUCCESS, stream.Read(buffer, sizeof(buffer), &read));
    EXPECT_EQ("abc", std::string(buffer, read));
    EXPECT_EQ(NPT_ERROR_EOS, stream.Read(buffer, sizeof(buffer), &read));
    EXPECT_EQ(0U, read);
}

TEST(ChunkedInputStream, SizeLinesAreLimited) {
    NPT_Result result = NPT_SUCCESS;
    EXPECT_EQ("a", Decode({"1;" + std::string(4095 - 2, 'x') + "\r\na\r\n0\r\n\r\n"}, result));
    EXPECT_EQ(NPT_ERROR_EOS, result);
    Decode({"1;" + std::string(4095 - 1, 'x') + "\r\na\r\n0\r\n\r\n"}, result);
    EXPECT_EQ(NPT_ERROR_LINE_TOO_LONG, result);
    Decode({"0\r\n" + std::string(4096, 'x') + "\r\n\r\n"}, result);
    EXPECT_EQ(NPT_ERROR_LINE_TOO_LONG, result);
}

TEST(ChunkedInputStream, TellsWhatTheOpenChunkHas) {
    auto memory = std::make_unique<NPT_MemoryStream>();
    memory->WriteString("3\r\nabc\r\n0\r\n\r\n");
    NPT_HttpChunkedInputStream stream(NPT_Reference<NPT_BufferedInputStream>(
        new NPT_BufferedInputStream(NPT_InputStreamReference(memory.release()))));
    NPT_UInt64 available = 7;
    EXPECT_EQ(NPT_SUCCESS, stream.GetAvailable(available));
    EXPECT_EQ(0U, available);
    char byte = 0;
    ASSERT_EQ(NPT_SUCCESS, stream.Read(&byte, 1));
    EXPECT_EQ(NPT_SUCCESS, stream.GetAvailable(available));
    EXPECT_EQ(2U, available);
}

TEST(ChunkedInputStream, CannotSeek) {
    NPT_HttpChunkedInputStream stream(MakeBuffered({}));
    NPT_UInt64 value = 7;
    EXPECT_EQ(NPT_ERROR_NOT_SUPPORTED, stream.Seek(0));
    EXPECT_EQ(NPT_ERROR_NOT_SUPPORTED, stream.Tell(value));
    EXPECT_EQ(0U, value);
    value = 7;
    EXPECT_EQ(NPT_ERROR_NOT_SUPPORTED, stream.GetSize(value));
    EXPECT_EQ(0U, value);
}

TEST(ChunkedOutputStream, WritesOneChunkPerWrite) {
    RecordingOutputStream target;
    const std::string data(300, 'x');
    {
        NPT_HttpChunkedOutputStream stream(target);
        NPT_UInt32 written = 0;
        EXPECT_EQ(NPT_SUCCESS, stream.Write(data.data(), 300, &written));
        EXPECT_EQ(300U, written);
        EXPECT_EQ("12C\r\n" + data + "\r\n", target.GetAll());
    }
    EXPECT_EQ("12C\r\n" + data + "\r\n0\r\n\r\n", target.GetAll());
    EXPECT_TRUE(target.datagrams.empty());
}

TEST(ChunkedOutputStream, SizesAreUpperCaseWithoutZeros) {
    struct {
        NPT_UInt32 count;
        const char* line;
    } const cases[] = {{1, "1\r\n"},    {10, "A\r\n"},        {16, "10\r\n"},
                       {255, "FF\r\n"}, {65536, "10000\r\n"}, {0xABCDE, "ABCDE\r\n"}};
    const std::string data(0xABCDE, 'x');
    for (const auto& c : cases) {
        RecordingOutputStream target;
        NPT_HttpChunkedOutputStream stream(target);
        stream.Write(data.data(), c.count);
        EXPECT_EQ(c.line, target.writes.front());
    }
}

TEST(ChunkedOutputStream, WritesNothingForNothing) {
    RecordingOutputStream target;
    NPT_HttpChunkedOutputStream stream(target);
    NPT_UInt32 written = 7;
    EXPECT_EQ(NPT_SUCCESS, stream.Write("", 0, &written));
    EXPECT_EQ(0U, written);
    EXPECT_TRUE(target.writes.empty());
}

TEST(ChunkedOutputStream, FlushOnlyFlushes) {
    RecordingOutputStream target;
    NPT_HttpChunkedOutputStream stream(target);
    EXPECT_EQ(NPT_SUCCESS, stream.Flush());
    EXPECT_EQ(1U, target.datagrams.size());
    EXPECT_TRUE(target.writes.empty());
}

TEST(ChunkedOutputStream, ReturnsTheFirstRefusedWrite) {
    for (int failing = 0; failing < 3; ++failing) {
        SCOPED_TRACE(failing);
        RecordingOutputStream target(failing);
        NPT_HttpChunkedOutputStream stream(target);
        NPT_UInt32 written = 7;
        EXPECT_EQ(NPT_ERROR_WRITE_FAILED, stream.Write("ab", 2, &written));
        EXPECT_EQ(0U, written);
        EXPECT_EQ(static_cast<std::size_t>(failing) + 1, target.writes.size());
    }
}

TEST(ChunkedOutputStream, ARefusedLastChunkIsNobodysConcern) {
    RecordingOutputStream target(0);
    { NPT_HttpChunkedOutputStream stream(target); }
    EXPECT_EQ(1U, target.writes.size());
}

TEST(ChunkedOutputStream, PartialWritesAreCompleted) {
    RecordingOutputStream target(RecordingOutputStream::kNever, 1);
    { NPT_HttpChunkedOutputStream(target).Write("abc", 3); }
    EXPECT_EQ("3\r\nabc\r\n0\r\n\r\n", target.GetAll());
}

TEST(ChunkedOutputStream, CannotSeek) {
    RecordingOutputStream target;
    NPT_HttpChunkedOutputStream stream(target);
    NPT_UInt64 offset = 7;
    EXPECT_EQ(NPT_ERROR_NOT_SUPPORTED, stream.Seek(0));
    EXPECT_EQ(NPT_ERROR_NOT_SUPPORTED, stream.Tell(offset));
    EXPECT_EQ(0U, offset);
}

TEST(ChunkedStreams, WhatIsWrittenIsReadBack) {
    std::string data;
    for (int i = 0; i < 70000; ++i)
        data += static_cast<char>(i * 31 >> 3);
    for (NPT_UInt32 step : {1U, 7U, 4096U, 65536U}) {
        SCOPED_TRACE(step);
        RecordingOutputStream target;
        {
            NPT_HttpChunkedOutputStream stream(target);
            for (std::size_t at = 0; at < data.size(); at += step)
                stream.Write(data.data() + at, static_cast<NPT_UInt32>(
                                                   std::min<std::size_t>(step, data.size() - at)));
        }
        for (NPT_UInt32 piece : {1U, 100U, 65536U}) {
            NPT_Result result = NPT_SUCCESS;
            EXPECT_TRUE(data == Decode({target.GetAll()}, result, piece));
            EXPECT_EQ(NPT_ERROR_EOS, result);
        }
    }
}

}  // namespace
