#include "device/device_identifiers.h"

#include <gtest/gtest.h>

namespace {

NPT_TimeStamp Seconds(NPT_Int64 seconds, NPT_Int64 nanoseconds = 0) {
    return NPT_TimeStamp::FromNanos(seconds * 1000000000 + nanoseconds);
}

}  // namespace

TEST(MakeUuid, WritesOneDigitPerDraw) {
    NPT_UInt32 drawn = 0;
    const NPT_String uuid = MakeUuid([&drawn] { return drawn++; });
    EXPECT_STREQ(uuid.GetChars(), "01234567-89ab-cdef-0123-456789abcdef");
    EXPECT_EQ(drawn, 32u);
}

TEST(MakeUuid, UsesTheLowFourBitsOnly) {
    const NPT_String uuid = MakeUuid([] { return 0x7FFAu; });
    EXPECT_STREQ(uuid.GetChars(), "aaaaaaaa-aaaa-aaaa-aaaa-aaaaaaaaaaaa");
}

TEST(MakeConfigId, Keeps24BitsAndNeverRepeats) {
    const struct {
        NPT_UInt32 random, current, expected;
    } cases[] = {
        {5, 4, 5},
        {5, 5, 4},
        {0, 0, 1},
        {1, 1, 0},
        {0xFF000000, 0, 1},
        {0xFFFFFFFF, 0, 0xFFFFFF},
        {0xFFFFFFFF, 0xFFFFFF, 0xFFFFFE},
        {0x1000007, 7, 6},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.random << " after " << c.current);
        EXPECT_EQ(MakeConfigId(c.random, c.current), c.expected);
    }
}

TEST(MakeConfigId, TwoEqualDrawsGiveTwoIds) {
    for (NPT_UInt32 random : {0u, 1u, 12345u, 0xFFFFFFu}) {
        const NPT_UInt32 first = MakeConfigId(random, 99);
        EXPECT_NE(MakeConfigId(random, first), first);
    }
}

TEST(MakeBootId, IsTheCurrentSecondOrTheNextOne) {
    EXPECT_EQ(MakeBootId(Seconds(1500000000), 0), 1500000000u);
    EXPECT_EQ(MakeBootId(Seconds(1500000000, 999999999), 0), 1500000000u);
    EXPECT_EQ(MakeBootId(Seconds(1500000000), 1500000000), 1500000001u);
    EXPECT_EQ(MakeBootId(Seconds(1500000000, 5000000), 1500000000), 1500000001u);
}

TEST(MakeBootId, KeepsTheLow32BitsOfTheSeconds) {
    EXPECT_EQ(MakeBootId(Seconds(0x100000002), 0), 2u);
    EXPECT_EQ(MakeBootId(Seconds(0xFFFFFFFF), 0xFFFFFFFF), 0u);
}
