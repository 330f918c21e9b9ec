// Put in front of a program's other libraries: the clock on its wall, as many seconds before or
// behind as it says itself. The steady clocks are left alone, as they are where somebody sets a
// machine's time.
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

namespace {

std::atomic<long> shift{0};

}  // namespace

extern "C" void shift_clock(long seconds) {
    shift = seconds;
}

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
    const long result = syscall(SYS_clock_gettime, clock, now);
    if (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE) now->tv_sec += shift;
    return static_cast<int>(result);
}

extern "C" int gettimeofday(timeval* now, void*) noexcept {
    timespec precise{};
    const int result = clock_gettime(CLOCK_REALTIME, &precise);
    now->tv_sec = precise.tv_sec;
    now->tv_usec = precise.tv_nsec / 1000;
    return result;
}

extern "C" time_t time(time_t* now) noexcept {
    timespec precise{};
    clock_gettime(CLOCK_REALTIME, &precise);
    if (now) *now = precise.tv_sec;
    return precise.tv_sec;
}
