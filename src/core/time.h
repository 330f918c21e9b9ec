#ifndef VIREON_CORE_TIME_H
#define VIREON_CORE_TIME_H

#include "core/types.h"

// A span of time: a signed 64-bit count of nanoseconds.
class NPT_TimeInterval {
  public:
    NPT_TimeInterval() = default;
    // NaN becomes 0, what is too large for the count becomes the largest or smallest one.
    explicit NPT_TimeInterval(double seconds);
    static NPT_TimeInterval FromNanos(NPT_Int64 nanoseconds);
    // Saturates likewise.
    static NPT_TimeInterval FromSeconds(NPT_Int64 seconds);

    NPT_Int64 ToNanos() const { return nanoseconds_; }
    // Whole units, truncated toward zero.
    NPT_Int64 ToSeconds() const { return nanoseconds_ / 1000000000; }
    NPT_Int64 ToMillis() const { return nanoseconds_ / 1000000; }

    friend bool operator<(NPT_TimeInterval a, NPT_TimeInterval b) {
        return a.nanoseconds_ < b.nanoseconds_;
    }

  private:
    NPT_Int64 nanoseconds_ = 0;
};

// A point in time: nanoseconds since 1970-01-01 00:00:00 UTC, in steps of one millisecond when
// taken from the clock (NPT_System::GetCurrentTimeStamp).
class NPT_TimeStamp {
  public:
    NPT_TimeStamp() = default;
    explicit NPT_TimeStamp(double seconds);
    static NPT_TimeStamp FromNanos(NPT_Int64 nanoseconds);

    NPT_Int64 ToNanos() const { return nanoseconds_; }
    NPT_Int64 ToSeconds() const { return nanoseconds_ / 1000000000; }

    friend bool operator==(NPT_TimeStamp a, NPT_TimeStamp b) {
        return a.nanoseconds_ == b.nanoseconds_;
    }

  private:
    NPT_Int64 nanoseconds_ = 0;
};

#endif
