#include "core/time.h"

#include <limits>

namespace {

constexpr NPT_Int64 kSmallest = std::numeric_limits<NPT_Int64>::min();
constexpr NPT_Int64 kLargest = std::numeric_limits<NPT_Int64>::max();
constexpr NPT_Int64 kNanosPerSecond = 1000000000;

NPT_Int64 NanosFromSeconds(double seconds) {
    const double nanoseconds = seconds * 1e9;
    if (nanoseconds != nanoseconds) return 0;  // not a number
    // 2^63 and -2^63 are exact as double; every double between them fits.
    if (nanoseconds >= 9223372036854775808.0) return kLargest;
    if (nanoseconds <= -9223372036854775808.0) return kSmallest;
    return static_cast<NPT_Int64>(nanoseconds);
}

NPT_Int64 Sum(NPT_Int64 a, NPT_Int64 b) {
    if (b > 0 && a > kLargest - b) return kLargest;
    if (b < 0 && a < kSmallest - b) return kSmallest;
    return a + b;
}

NPT_Int64 Difference(NPT_Int64 a, NPT_Int64 b) {
    if (b < 0 && a > kLargest + b) return kLargest;
    if (b > 0 && a < kSmallest + b) return kSmallest;
    return a - b;
}

}  // namespace

NPT_TimeInterval::NPT_TimeInterval(double seconds) : nanoseconds_(NanosFromSeconds(seconds)) {}

NPT_TimeInterval NPT_TimeInterval::FromNanos(NPT_Int64 nanoseconds) {
    NPT_TimeInterval interval;
    interval.nanoseconds_ = nanoseconds;
    return interval;
}

NPT_TimeInterval NPT_TimeInterval::FromSeconds(NPT_Int64 seconds) {
    if (seconds > kLargest / kNanosPerSecond) return FromNanos(kLargest);
    if (seconds < kSmallest / kNanosPerSecond) return FromNanos(kSmallest);
    return FromNanos(seconds * kNanosPerSecond);
}

NPT_TimeStamp::NPT_TimeStamp(double seconds) : nanoseconds_(NanosFromSeconds(seconds)) {}

NPT_TimeStamp NPT_TimeStamp::FromNanos(NPT_Int64 nanoseconds) {
    NPT_TimeStamp stamp;
    stamp.nanoseconds_ = nanoseconds;
    return stamp;
}

NPT_TimeStamp operator+(NPT_TimeStamp stamp, NPT_TimeInterval interval) {
    return NPT_TimeStamp::FromNanos(Sum(stamp.ToNanos(), interval.ToNanos()));
}

NPT_TimeInterval operator-(NPT_TimeStamp later, NPT_TimeStamp earlier) {
    return NPT_TimeInterval::FromNanos(Difference(later.ToNanos(), earlier.ToNanos()));
}
