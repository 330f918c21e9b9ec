#include "core/time.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace {

TEST(TimeInterval, KeepsNanoseconds) {
    EXPECT_EQ(NPT_TimeInterval().ToNanos(), 0);
    EXPECT_EQ(NPT_TimeInterval(3.0).ToNanos(), 3000000000);
    EXPECT_EQ(NPT_TimeInterval(0.15).ToMillis(), 150);
    EXPECT_EQ(NPT_TimeInterval(-1.5).ToNanos(), -1500000000);
    EXPECT_EQ(NPT_TimeInterval::FromSeconds(1800).ToSeconds(), 1800);
}

TEST(TimeInterval, TruncatesTowardZero) {
    EXPECT_EQ(NPT_TimeInterval::FromNanos(1999999).ToMillis(), 1);
    EXPECT_EQ(NPT_TimeInterval::FromNanos(-1999999).ToMillis(), -1);
    EXPECT_EQ(NPT_TimeInterval::FromNanos(-1999999999).ToSeconds(), -1);
}

TEST(TimeInterval, EverySecondsValueHasANanosecondCount) {
    const double infinite = std::numeric_limits<double>::infinity();
    EXPECT_EQ(NPT_TimeInterval(std::numeric_limits<double>::quiet_NaN()).ToNanos(), 0);
    EXPECT_EQ(NPT_TimeInterval(infinite).ToNanos(), INT64_MAX);
    EXPECT_EQ(NPT_TimeInterval(-infinite).ToNanos(), INT64_MIN);
    EXPECT_EQ(NPT_TimeInterval(1e300).ToNanos(), INT64_MAX);
    EXPECT_EQ(NPT_TimeInterval(-1e300).ToNanos(), INT64_MIN);
    EXPECT_EQ(NPT_TimeInterval(9223372036.854775808).ToNanos(), INT64_MAX);
    EXPECT_EQ(NPT_TimeInterval::FromSeconds(INT64_MAX).ToNanos(), INT64_MAX);
    EXPECT_EQ(NPT_TimeInterval::FromSeconds(INT64_MIN).ToNanos(), INT64_MIN);
    EXPECT_EQ(NPT_TimeInterval::FromSeconds(9223372036).ToNanos(), 9223372036000000000);
}

TEST(TimeInterval, Compares) {
    const auto one = NPT_TimeInterval::FromNanos(1);
    const auto two = NPT_TimeInterval::FromNanos(2);
    EXPECT_TRUE(one < two);
    EXPECT_FALSE(two < one);
    EXPECT_FALSE(one < one);
}

TEST(TimeStamp, KeepsNanoseconds) {
    EXPECT_EQ(NPT_TimeStamp().ToNanos(), 0);
    EXPECT_EQ(NPT_TimeStamp(2.5).ToNanos(), 2500000000);
    EXPECT_EQ(NPT_TimeStamp(2.5).ToSeconds(), 2);
}

TEST(TimeStamp, Compares) {
    const auto one = NPT_TimeStamp::FromNanos(1);
    EXPECT_TRUE(one == NPT_TimeStamp::FromNanos(1));
    EXPECT_FALSE(one == NPT_TimeStamp::FromNanos(2));
}

}  // namespace
