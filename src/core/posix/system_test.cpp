#include "core/system.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

std::atomic<int> signals_handled{0};

void CountSignal(int) {
    ++signals_handled;
}

TEST(PosixSystem, SleepGoesOnAfterASignal) {
    struct sigaction counting = {};
    struct sigaction previous = {};
    counting.sa_handler = CountSignal;
    ASSERT_EQ(sigaction(SIGUSR1, &counting, &previous), 0);

    const pthread_t sleeper = pthread_self();
    std::thread disturber([sleeper] {
        for (int round = 0; round < 5; ++round) {
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            pthread_kill(sleeper, SIGUSR1);
        }
    });
    const auto start = std::chrono::steady_clock::now();
    NPT_System::Sleep(NPT_TimeInterval(0.3));
    const auto slept = std::chrono::steady_clock::now() - start;
    disturber.join();
    sigaction(SIGUSR1, &previous, nullptr);

    EXPECT_GT(signals_handled, 0);
    EXPECT_GE(slept, std::chrono::milliseconds(300));
}

// How often the calling thread gave the processor up to wait for something. A yield does not wait.
long CountWaits() {
    rusage usage{};
    EXPECT_EQ(getrusage(RUSAGE_THREAD, &usage), 0);
    return usage.ru_nvcsw;
}

TEST(PosixSystem, AnIntervalBelowAMillisecondOnlyYields) {
    constexpr int kRounds = 50;
    for (const NPT_Int64 nanoseconds : {NPT_Int64{999999}, NPT_Int64{0}, NPT_Int64{-5000000000}}) {
        SCOPED_TRACE(nanoseconds);
        const long before = CountWaits();
        for (int round = 0; round < kRounds; ++round)
            EXPECT_EQ(NPT_System::Sleep(NPT_TimeInterval::FromNanos(nanoseconds)), NPT_SUCCESS);
        // The machine may make the thread wait for a page of memory, but not each time.
        EXPECT_LT(CountWaits() - before, kRounds / 2);
    }
}

}  // namespace
