#include "http/http_headers.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "core/string_output_stream.h"
#include "http/testing/message_streams.h"

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

Pairs ListOf(const NPT_HttpHeaders& headers) {
    Pairs pairs;
    for (const NPT_HttpHeader& header : headers.GetHeaders()) {
        const NPT_String& value = header.GetValue();
        pairs.emplace_back(header.GetName().GetChars(),
                           std::string(value.GetChars(), value.GetLength()));
    }
    return pairs;
}

Pairs Parse(std::vector<std::string> pieces, NPT_Result end = NPT_ERROR_EOS) {
    NPT_HttpHeaders headers;
    EXPECT_EQ(NPT_SUCCESS, headers.Parse(*MakeBuffered(std::move(pieces), 4096, end)));
    return ListOf(headers);
}

struct BlockCase {
    const char* name;
    std::string text;
    Pairs headers;
};

class HeaderBlock : public testing::TestWithParam<BlockCase> {};

TEST_P(HeaderBlock, ReadsTheSameInEveryWayOfCuttingIt) {
    ForEverySplit(GetParam().text, [](const std::vector<std::string>& pieces) {
        EXPECT_EQ(GetParam().headers, Parse(pieces));
    });
}

std::string operator""_bytes(const char* text, std::size_t length) {
    return std::string(text, length);
}

INSTANTIATE_TEST_SUITE_P(
    Blocks, HeaderBlock,
    testing::Values(
        BlockCase{"Plain", "A: 1\r\nB: 2\r\n\r\n", {{"A", "1"}, {"B", "2"}}},
        BlockCase{"BareLineFeeds", "A: 1\nB: 2\n\n", {{"A", "1"}, {"B", "2"}}},
        BlockCase{"Trimmed", "X-A:   v  \r\n\r\n", {{"X-A", "v"}}},
        BlockCase{"Folded", "X-A:   v  \r\n more\r\n\r\n", {{"X-A", "v  more"}}},
        BlockCase{
            "FoldedByTab", "A: 1\r\n\t2\r\n  3 \r\nB: 4\r\n\r\n", {{"A", "12 3"}, {"B", "4"}}},
        BlockCase{"FoldedWithColon", "A: 1\r\n B: 2\r\n\r\n", {{"A", "1B: 2"}}},
        BlockCase{"FoldedFirst", " X: 1\r\n more\r\n\r\n", {{" X", "1more"}}},
        BlockCase{"FoldedFirstWithoutColon", " x\r\nA: 1\r\n\r\n", {{"A", "1"}}},
        BlockCase{"FoldedBehindIgnored", "A: 1\r\nnothing\r\n more\r\n\r\n", {{"A", "1"}}},
        BlockCase{"FoldedEmpty", "A: 1\r\n \r\n 2\r\n\r\n", {{"A", "12"}}},
        BlockCase{"OnlyBlanksFolded", "A:\r\n \r\n\t\r\n\r\n", {{"A", ""}}},
        BlockCase{"ColonFirst", ": 1\r\nA: 2\r\n\r\n", {{"A", "2"}}},
        BlockCase{"NoColon", "junk\r\nA: 2\r\n\r\n", {{"A", "2"}}},
        BlockCase{"NothingButJunk", "junk\r\n:\r\n::\r\n\r\n", {}},
        BlockCase{"EmptyValue", "A:\r\nB: \r\n\r\n", {{"A", ""}, {"B", ""}}},
        BlockCase{"ColonInValue", "A:b:c\r\n\r\n", {{"A", "b:c"}}},
        BlockCase{"NameIsNotTrimmed", "A : 1\r\n\r\n", {{"A ", "1"}}},
        BlockCase{"Twice", "ST: 1\r\nst: 2\r\n\r\n", {{"ST", "1"}, {"st", "2"}}},
        BlockCase{"CarriageReturnInside", "A\r: \r1\r2\r\n\r\n", {{"A", "12"}}},
        BlockCase{"NoEmptyLine", "A: 1\r\nB: 2", {{"A", "1"}, {"B", "2"}}},
        BlockCase{"EndsAtEmptyLine", "A: 1\r\n\r\nB: 2\r\n", {{"A", "1"}}},
        BlockCase{"NulInValue", "A: 1\0002\r\nB: 3\r\n\r\n"_bytes, {{"A", "1"}, {"B", "3"}}},
        BlockCase{"NulAtEndOfValue", "A: 1\0\r\n\r\n"_bytes, {{"A", "1"}}},
        BlockCase{"NulInFolded", "A: 1\r\n 2\0003\r\n 4\r\n\r\n"_bytes, {{"A", "124"}}},
        BlockCase{"NulInName", "A\0B: 1\r\nC: 2\r\n\r\n"_bytes, {{"C", "2"}}},
        BlockCase{
            "NulLineIsNotTheEnd", "A: 1\r\n\0\r\nB: 2\r\n\r\n"_bytes, {{"A", "1"}, {"B", "2"}}},
        BlockCase{"HighBytes", "F\xFC: \xC3\xA9\xFF\r\n\r\n", {{"F\xFC", "\xC3\xA9\xFF"}}}),
    [](const testing::TestParamInfo<BlockCase>& test) { return test.param.name; });

TEST(HeaderBlockEnd, EveryReadErrorEndsTheBlockWithSuccess) {
    for (NPT_Result error : {NPT_ERROR_EOS, NPT_ERROR_TIMEOUT, NPT_FAILURE, -22090}) {
        SCOPED_TRACE(error);
        EXPECT_EQ((Pairs{{"A", "1"}}), Parse({"A: 1\r\n"}, error));
        EXPECT_EQ(Pairs{}, Parse({}, error));
    }
}

TEST(HeaderBlockEnd, ALineCutByAnErrorIsDropped) {
    EXPECT_EQ((Pairs{{"A", "1"}}), Parse({"A: 1\r\nB: 2"}, NPT_ERROR_TIMEOUT));
}

TEST(HeaderBlockEnd, AnEmptyReadEndsTheBlock) {
    EXPECT_EQ((Pairs{{"A", "1"}}), Parse({"A: 1\r\n", "", "B: 2\r\n"}));
}

TEST(HeaderBlockLimit, ALineOf8191CharactersIsRead) {
    const std::string value(8191 - 3, 'v');
    EXPECT_EQ((Pairs{{"A", value}, {"B", "1"}}), Parse({"A: " + value + "\r\nB: 1\r\n\r\n"}));
}

TEST(HeaderBlockLimit, ALongerLineEndsTheBlockSilently) {
    const std::string value(8192 - 3, 'v');
    EXPECT_EQ((Pairs{{"A", "1"}}), Parse({"A: 1\r\nB: " + value + "\r\nC: 2\r\n\r\n"}));
}

TEST(HeaderBlockLimit, ABlockEndsAtOneMebibyte) {
    const std::string line = "A: " + std::string(59, 'v') + "\r\n";
    ASSERT_EQ(64U, line.size());
    auto* stream = new RepeatingInputStream("", line, 64U << 20);
    NPT_BufferedInputStream buffered{NPT_InputStreamReference(stream)};
    NPT_HttpHeaders headers;
    EXPECT_EQ(NPT_SUCCESS, headers.Parse(buffered));
    EXPECT_EQ((1U << 20) / 64, headers.GetHeaders().GetItemCount());
    EXPECT_LE(stream->GetDelivered(), (1U << 20) + 2 * 4096);
}

TEST(HeaderBlockLimit, AFoldedValueEndsThereToo) {
    auto* stream = new RepeatingInputStream("A: 1\r\n", " 345678\n", 64U << 20);
    NPT_BufferedInputStream buffered{NPT_InputStreamReference(stream)};
    NPT_HttpHeaders headers;
    EXPECT_EQ(NPT_SUCCESS, headers.Parse(buffered));
    ASSERT_EQ(1U, headers.GetHeaders().GetItemCount());
    EXPECT_LT(headers.GetHeaderValue("a")->GetLength(), 1U << 20);
    EXPECT_GT(headers.GetHeaderValue("a")->GetLength(), 1U << 19);
}

TEST(HeaderBlockLimit, LinesWithoutHeadersCountToo) {
    auto* stream = new RepeatingInputStream("", "x\n", 64U << 20);
    NPT_BufferedInputStream buffered{NPT_InputStreamReference(stream)};
    NPT_HttpHeaders headers;
    EXPECT_EQ(NPT_SUCCESS, headers.Parse(buffered));
    EXPECT_LE(stream->GetDelivered(), (1U << 20) + 2 * 4096);
}

TEST(HeaderBlockLimit, DroppedCarriageReturnsCountToo) {
    const std::string line = "A: " + std::string(60, '\r') + "\n";
    ASSERT_EQ(64U, line.size());
    NPT_BufferedInputStream buffered{
        NPT_InputStreamReference(new RepeatingInputStream("", line, 64U << 20))};
    NPT_HttpHeaders headers;
    EXPECT_EQ(NPT_SUCCESS, headers.Parse(buffered));
    EXPECT_EQ((1U << 20) / 64, headers.GetHeaders().GetItemCount());
}

TEST(HeaderBlockLimit, ALineThatIsNothingElseEndsThereToo) {
    auto* stream = new RepeatingInputStream("A: 1\r\n", "\r", 64U << 20);
    NPT_BufferedInputStream buffered{NPT_InputStreamReference(stream)};
    NPT_HttpHeaders headers;
    EXPECT_EQ(NPT_SUCCESS, headers.Parse(buffered));
    EXPECT_EQ(1U, headers.GetHeaders().GetItemCount());
    EXPECT_LE(stream->GetDelivered(), (1U << 20) + 4096);
}

TEST(HeaderBlockLimit, ThousandsOfHeadersAreKeptInOrder) {
    std::string text;
    for (int i = 0; i < 5000; ++i)
        text += "H" + std::to_string(i) + ": " + std::to_string(i) + "\r\n";
    const Pairs headers = Parse({text + "\r\n"});
    ASSERT_EQ(5000U, headers.size());
    EXPECT_EQ("H4999", headers.back().first);
    EXPECT_EQ("4999", headers.back().second);
}

TEST(Headers, AParsedBlockIsAppended) {
    NPT_HttpHeaders headers;
    headers.AddHeader("A", "0");
    headers.Parse(*MakeBuffered({"A: 1\r\n\r\n"}));
    EXPECT_EQ((Pairs{{"A", "0"}, {"A", "1"}}), ListOf(headers));
}

TEST(Headers, LookupIgnoresCaseAndGivesTheFirst) {
    NPT_HttpHeaders headers;
    headers.AddHeader("ST", "1");
    headers.AddHeader("st", "2");
    for (const char* key : {"ST", "st", "sT"}) {
        ASSERT_NE(nullptr, headers.GetHeader(key));
        EXPECT_EQ(&*headers.GetHeaders().begin(), headers.GetHeader(key));
        EXPECT_STREQ("1", headers.GetHeaderValue(key)->GetChars());
    }
    EXPECT_STREQ("ST", headers.GetHeader("st")->GetName().GetChars());
}

TEST(Headers, LookupFoldsLettersOnly) {
    NPT_HttpHeaders headers;
    headers.AddHeader("a[", "1");
    EXPECT_EQ(nullptr, headers.GetHeader("A{"));
    EXPECT_EQ(nullptr, headers.GetHeader("a"));
    EXPECT_EQ(nullptr, headers.GetHeader("a[["));
}

TEST(Headers, AbsentHeadersAreNull) {
    NPT_HttpHeaders headers;
    headers.AddHeader("A", "1");
    EXPECT_EQ(nullptr, headers.GetHeader("B"));
    EXPECT_EQ(nullptr, headers.GetHeaderValue("B"));
    EXPECT_EQ(nullptr, headers.GetHeader(nullptr));
}

TEST(Headers, SetHeaderReplacesTheFirst) {
    NPT_HttpHeaders headers;
    headers.AddHeader("A", "1");
    headers.AddHeader("a", "2");
    EXPECT_EQ(NPT_SUCCESS, headers.SetHeader("a", "3"));
    EXPECT_EQ((Pairs{{"A", "3"}, {"a", "2"}}), ListOf(headers));
}

TEST(Headers, SetHeaderWithoutReplaceKeepsWhatIsThere) {
    NPT_HttpHeaders headers;
    EXPECT_EQ(NPT_SUCCESS, headers.SetHeader("A", "1", false));
    EXPECT_EQ(NPT_SUCCESS, headers.SetHeader("a", "2", false));
    EXPECT_EQ((Pairs{{"A", "1"}}), ListOf(headers));
}

TEST(Headers, SetHeaderTakesTheHeadersOwnTexts) {
    NPT_HttpHeaders headers;
    headers.AddHeader("A", "value");
    headers.SetHeader(headers.GetHeader("A")->GetName().GetChars(),
                      headers.GetHeaderValue("A")->GetChars() + 1);
    EXPECT_STREQ("alue", headers.GetHeaderValue("A")->GetChars());
}

TEST(Headers, AreWrittenInOrder) {
    NPT_HttpHeaders headers;
    headers.AddHeader("MX", "5");
    headers.AddHeader("ST", "ssdp:all");
    headers.AddHeader(nullptr, nullptr);
    NPT_StringOutputStream stream;
    EXPECT_EQ(NPT_SUCCESS, headers.Emit(stream));
    EXPECT_STREQ("MX: 5\r\nST: ssdp:all\r\n: \r\n", stream.GetString().GetChars());
}

TEST(Headers, WritingIgnoresRefusedWrites) {
    NPT_HttpHeaders headers;
    headers.AddHeader("A", "1");
    headers.AddHeader("B", "2");
    RecordingOutputStream stream(0);
    EXPECT_EQ(NPT_SUCCESS, headers.Emit(stream));
    EXPECT_EQ(": 1\r\nB: 2\r\n", stream.GetAll());
}

TEST(Headers, WhatIsWrittenIsReadBack) {
    NPT_HttpHeaders headers;
    headers.AddHeader("FriendlyName", "J\xC3\xBCrgen's server: #1");
    headers.AddHeader("Version", "");
    headers.AddHeader("version", "a\tb  c");
    NPT_StringOutputStream stream;
    headers.Emit(stream);
    EXPECT_EQ(ListOf(headers), Parse({stream.GetString().GetChars()}));
}

}  // namespace
