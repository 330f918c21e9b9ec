#ifndef VIREON_CORE_DEADLINE_H
#define VIREON_CORE_DEADLINE_H

#include <chrono>

#include "core/time.h"
#include "core/timeout.h"

// The milliseconds of an interval as a socket's time-out: truncated, negative as 0, and whatever is
// too long as the longest time that still ends.
NPT_Timeout TimeoutFromInterval(NPT_TimeInterval interval);

// A point in time ahead. Counted on the monotonic clock, so that a change of the wall clock neither
// holds a wait back nor hurries it.
class Deadline {
  public:
    using Clock = std::chrono::steady_clock;

    // A negative interval has passed already; one beyond the clock's range never passes.
    static Deadline After(NPT_TimeInterval interval, Clock::time_point now = Clock::now());
    static Deadline AfterMillis(NPT_Timeout milliseconds) {
        return Deadline(Clock::now() + std::chrono::milliseconds(milliseconds));
    }

    bool HasPassed(Clock::time_point now = Clock::now()) const { return now >= time_; }
    // Rounded up, so that a wait of this length does not end early; 0 once it has passed.
    NPT_Timeout GetMillisLeft(Clock::time_point now = Clock::now()) const;

  private:
    explicit Deadline(Clock::time_point time) : time_(time) {}
    Clock::time_point time_;
};

#endif
