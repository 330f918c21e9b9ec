#include "http/http_entity.h"

#include <gtest/gtest.h>

#include "http/testing/message_streams.h"

namespace {

TEST(Entity, StartsEmpty) {
    const NPT_HttpEntity entity;
    NPT_InputStreamReference stream = MakePieces({"x"});
    EXPECT_EQ(NPT_FAILURE, entity.GetInputStream(stream));
    EXPECT_TRUE(stream.IsNull());
    EXPECT_FALSE(entity.ContentLengthIsKnown());
    EXPECT_EQ(0U, entity.GetContentLength());
}

TEST(Entity, SharesItsStream) {
    NPT_HttpEntity entity;
    const NPT_InputStreamReference given = MakePieces({"x"});
    entity.SetInputStream(given);
    NPT_InputStreamReference stream;
    EXPECT_EQ(NPT_SUCCESS, entity.GetInputStream(stream));
    EXPECT_EQ(given.AsPointer(), stream.AsPointer());
}

struct LengthCase {
    const char* value;
    NPT_UInt64 length;
};

class EntityContentLength : public testing::TestWithParam<LengthCase> {};

TEST_P(EntityContentLength, IsKnownAndZeroWhenItIsNoNumber) {
    NPT_HttpHeaders headers;
    headers.AddHeader("content-length", GetParam().value);
    NPT_HttpEntity entity;
    EXPECT_EQ(NPT_SUCCESS, entity.SetFromHeaders(headers));
    EXPECT_TRUE(entity.ContentLengthIsKnown());
    EXPECT_EQ(GetParam().length, entity.GetContentLength());
}

INSTANTIATE_TEST_SUITE_P(Values, EntityContentLength,
                         testing::Values(LengthCase{"5", 5}, LengthCase{" \t5 bytes", 5},
                                         LengthCase{"0", 0}, LengthCase{"", 0}, LengthCase{"-5", 0},
                                         LengthCase{"+5", 0}, LengthCase{"five", 0},
                                         LengthCase{"4294967296", 4294967296U},
                                         LengthCase{"18446744073709551615", 18446744073709551615U},
                                         LengthCase{"18446744073709551616", 0},
                                         LengthCase{"99999999999999999999999999", 0}));

TEST(Entity, AnUnreadableLengthReplacesAnEarlierOne) {
    NPT_HttpHeaders headers;
    headers.AddHeader("Content-Length", "x");
    NPT_HttpEntity entity;
    entity.SetContentLength(7);
    entity.SetFromHeaders(headers);
    EXPECT_EQ(0U, entity.GetContentLength());
}

TEST(Entity, TakesOverWhatTheHeadersNameAndKeepsTheRest) {
    NPT_HttpHeaders headers;
    headers.AddHeader("CONTENT-TYPE", "text/plain");
    NPT_HttpEntity entity;
    entity.SetContentEncoding("gzip");
    entity.SetContentType("old");
    entity.SetFromHeaders(headers);
    EXPECT_STREQ("text/plain", entity.GetContentType().GetChars());
    EXPECT_STREQ("gzip", entity.GetContentEncoding().GetChars());
    EXPECT_STREQ("", entity.GetTransferEncoding().GetChars());
    EXPECT_FALSE(entity.ContentLengthIsKnown());

    headers.AddHeader("Content-Encoding", "br");
    headers.AddHeader("Transfer-Encoding", "chunked");
    entity.SetFromHeaders(headers);
    EXPECT_STREQ("br", entity.GetContentEncoding().GetChars());
    EXPECT_STREQ("chunked", entity.GetTransferEncoding().GetChars());
}

}  // namespace
