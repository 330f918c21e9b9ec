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
