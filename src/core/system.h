#ifndef VIREON_CORE_SYSTEM_H
#define VIREON_CORE_SYSTEM_H

#include "core/result.h"
#include "core/time.h"
#include "core/types.h"

// The platform's wall clock, sleep and pseudo-random numbers. Any thread may call any of them.
class NPT_System {
  public:
    // Milliseconds of wall-clock time since 1970 UTC, as nanoseconds. Always NPT_SUCCESS.
    static NPT_Result GetCurrentTimeStamp(NPT_TimeStamp& stamp);
    // Whole milliseconds; an interval below one, or a negative one, only yields. Always
    // NPT_SUCCESS.
    static NPT_Result Sleep(NPT_TimeInterval interval);
    // 0 to 32767. The first call in the process seeds its own thread's sequence from the clock;
    // every other thread draws the default-seeded sequence. Never use it where a guess would hurt.
    static NPT_UInt32 GetRandomInteger();
};

#endif
