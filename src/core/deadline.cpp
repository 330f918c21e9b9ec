#include "core/deadline.h"

#include <algorithm>

namespace {

constexpr NPT_Int64 kLongestTimeout = NPT_Int64{NPT_TIMEOUT_INFINITE} - 1;

NPT_Timeout ClampToTimeout(NPT_Int64 milliseconds) {
    return static_cast<NPT_Timeout>(std::clamp<NPT_Int64>(milliseconds, 0, kLongestTimeout));
}

}  // namespace

NPT_Timeout TimeoutFromInterval(NPT_TimeInterval interval) {
    return ClampToTimeout(interval.ToMillis());
}

Deadline Deadline::After(NPT_TimeInterval interval, Clock::time_point now) {
    const auto span = std::chrono::duration_cast<Clock::duration>(
        std::chrono::nanoseconds(std::max<NPT_Int64>(interval.ToNanos(), 0)));
    if (span > Clock::time_point::max() - now) return Deadline(Clock::time_point::max());
    return Deadline(now + span);
}

NPT_Timeout Deadline::GetMillisLeft(Clock::time_point now) const {
    if (HasPassed(now)) return 0;
    return ClampToTimeout(std::chrono::ceil<std::chrono::milliseconds>(time_ - now).count());
}
