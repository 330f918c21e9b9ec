#include "core/system.h"

#include <sys/timeb.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>

namespace {

constexpr NPT_Int64 kNanosPerMilli = 1000000;
constexpr NPT_Int64 kMillisPerSecond = 1000;
constexpr NPT_Int64 kLongestSleep = INFINITE - 1;  // milliseconds; INFINITE itself never ends

// The runtime's generator keeps its state per thread, this flag is the process's.
std::atomic<bool> is_seeded{false};

}  // namespace

NPT_Result NPT_System::GetCurrentTimeStamp(NPT_TimeStamp& stamp) {
    __timeb64 now{};
    _ftime64(&now);
    const NPT_Int64 milliseconds = NPT_Int64{now.time} * kMillisPerSecond + now.millitm;
    stamp = NPT_TimeStamp::FromNanos(milliseconds * kNanosPerMilli);
    return NPT_SUCCESS;
}

NPT_Result NPT_System::Sleep(NPT_TimeInterval interval) {
    NPT_Int64 remaining = std::max<NPT_Int64>(interval.ToMillis(), 0);
    do {
        const NPT_Int64 part = std::min(remaining, kLongestSleep);
        ::Sleep(static_cast<DWORD>(part));
        remaining -= part;
    } while (remaining > 0);
    return NPT_SUCCESS;
}

NPT_UInt32 NPT_System::GetRandomInteger() {
    if (!is_seeded.exchange(true)) {
        NPT_TimeStamp now;
        GetCurrentTimeStamp(now);
        std::srand(static_cast<unsigned int>(now.ToNanos()));
    }
    return static_cast<NPT_UInt32>(std::rand());
}
