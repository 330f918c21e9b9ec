#include "core/deadline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr NPT_Timeout kLongest = NPT_TIMEOUT_INFINITE - 1;
constexpr NPT_Int64 kLargest = std::numeric_limits<NPT_Int64>::max();
constexpr NPT_Int64 kSmallest = std::numeric_limits<NPT_Int64>::min();

TEST(TimeoutFromInterval, IsWholeMillisecondsAndNeverInfinite) {
    const struct {
        NPT_TimeInterval interval;
        NPT_Timeout timeout;
    } cases[] = {
        {NPT_TimeInterval(3.0), 3000},
        {NPT_TimeInterval(1.9999), 1999},
        {NPT_TimeInterval(0.0009), 0},
        {NPT_TimeInterval(), 0},
        {NPT_TimeInterval(-0.001), 0},
        {NPT_TimeInterval(-1.0), 0},
        {NPT_TimeInterval::FromNanos(kSmallest), 0},
        {NPT_TimeInterval(4294967.294), kLongest},
        {NPT_TimeInterval(4294967.295), kLongest},
        {NPT_TimeInterval(4294967.296), kLongest},
        {NPT_TimeInterval(1e30), kLongest},
        {NPT_TimeInterval(std::numeric_limits<double>::infinity()), kLongest},
        {NPT_TimeInterval(std::nan("")), 0},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.interval.ToNanos());
        EXPECT_EQ(TimeoutFromInterval(test.interval), test.timeout);
    }
}

class DeadlineTest : public testing::Test {
  protected:
    const Deadline::Clock::time_point now_ = Deadline::Clock::now();
};

TEST_F(DeadlineTest, CountsOnAClockThatNobodySets) {
    constexpr bool is_steady = Deadline::Clock::is_steady;
    EXPECT_TRUE(is_steady);
}

TEST_F(DeadlineTest, PassesWhenItsTimeHasCome) {
    const Deadline deadline = Deadline::After(NPT_TimeInterval(3.0), now_);
    EXPECT_FALSE(deadline.HasPassed(now_));
    EXPECT_FALSE(deadline.HasPassed(now_ + microseconds(2999999)));
    EXPECT_TRUE(deadline.HasPassed(now_ + milliseconds(3000)));
}

TEST_F(DeadlineTest, RoundsWhatIsLeftUp) {
    const Deadline deadline = Deadline::After(NPT_TimeInterval(3.0), now_);
    EXPECT_EQ(deadline.GetMillisLeft(now_), 3000u);
    EXPECT_EQ(deadline.GetMillisLeft(now_ + microseconds(1)), 3000u);
    EXPECT_EQ(deadline.GetMillisLeft(now_ + microseconds(2999999)), 1u);
    EXPECT_EQ(deadline.GetMillisLeft(now_ + milliseconds(3000)), 0u);
    EXPECT_EQ(deadline.GetMillisLeft(now_ + milliseconds(9000)), 0u);
}

TEST_F(DeadlineTest, HasPassedAtOnceForANegativeInterval) {
    EXPECT_TRUE(Deadline::After(NPT_TimeInterval(-5.0), now_).HasPassed(now_));
    EXPECT_TRUE(Deadline::After(NPT_TimeInterval::FromNanos(kSmallest), now_).HasPassed(now_));
}

TEST_F(DeadlineTest, SaturatesForAHugeInterval) {
    const Deadline deadline = Deadline::After(NPT_TimeInterval::FromNanos(kLargest), now_);
    EXPECT_FALSE(deadline.HasPassed(now_ + std::chrono::hours(1000000)));
    EXPECT_EQ(deadline.GetMillisLeft(now_), kLongest);
}

}  // namespace
