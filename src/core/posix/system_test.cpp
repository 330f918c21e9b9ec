#include "core/system.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

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

}  // namespace
