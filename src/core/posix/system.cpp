#include "core/system.h"

#include <errno.h>
#include <sched.h>
#include <time.h>

#include <atomic>

namespace {

constexpr NPT_Int64 kNanosPerMilli = 1000000;
constexpr NPT_Int64 kMillisPerSecond = 1000;

std::atomic<bool> is_seeded{false};
thread_local NPT_UInt32 random_state = 1;

// A linear congruential generator with a period of 2^32; its upper half is the number drawn.
NPT_UInt32 DrawRandom() {
    random_state = random_state * 1664525u + 1013904223u;
    return random_state >> 17;
}

}  // namespace

NPT_Result NPT_System::GetCurrentTimeStamp(NPT_TimeStamp& stamp) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const NPT_Int64 milliseconds =
        NPT_Int64{now.tv_sec} * kMillisPerSecond + now.tv_nsec / kNanosPerMilli;
    stamp = NPT_TimeStamp::FromNanos(milliseconds * kNanosPerMilli);
    return NPT_SUCCESS;
}

NPT_Result NPT_System::Sleep(NPT_TimeInterval interval) {
    const NPT_Int64 milliseconds = interval.ToMillis();
    if (milliseconds <= 0) {
        sched_yield();
        return NPT_SUCCESS;
    }
    // Until a fixed moment, so that signals neither shorten nor stretch the sleep.
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += milliseconds / kMillisPerSecond;
    end.tv_nsec += milliseconds % kMillisPerSecond * kNanosPerMilli;
    if (end.tv_nsec >= kMillisPerSecond * kNanosPerMilli) {
        end.tv_nsec -= kMillisPerSecond * kNanosPerMilli;
        ++end.tv_sec;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
    return NPT_SUCCESS;
}

NPT_UInt32 NPT_System::GetRandomInteger() {
    if (!is_seeded.exchange(true)) {
        NPT_TimeStamp now;
        GetCurrentTimeStamp(now);
        random_state = static_cast<NPT_UInt32>(now.ToNanos());
    }
    return DrawRandom();
}
