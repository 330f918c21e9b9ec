// A library with one fault per function, each of which one of the sanitizers has to report.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <new>
#include <thread>

namespace {

// Opaque to the optimiser, so that the faults are still there in an optimised build.
volatile int g_seven = 7;
volatile int g_sink;
int* volatile g_numbers;
int g_shared;
thread_local int t_number = 1;

// What a thread that is in the middle of ending leaves, by the name that the report gives it.
__attribute__((noinline)) void pthread_getattr_np() {
    char* processors = new char[32];
    processors[g_seven] = 1;
    g_sink = processors[g_seven];
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void Leak() {
    int* numbers = new int[100];
    numbers[g_seven] = 1;
    g_sink = numbers[g_seven];
}

__attribute__((visibility("default"))) void ReadBeyondTheEnd() {
    g_numbers = new int[7]();
    g_sink = g_numbers[g_seven];
    delete[] g_numbers;
}

__attribute__((visibility("default"))) void OverflowAnInteger() {
    g_sink = std::numeric_limits<int>::max() - 1 + g_seven;
}

__attribute__((visibility("default"))) void Race() {
    std::thread other([] {
        for (int i = 0; i < 1000; ++i)
            ++g_shared;
    });
    for (int i = 0; i < 1000; ++i)
        ++g_shared;
    other.join();
}

__attribute__((visibility("default"))) void EndAThread() {
    pthread_getattr_np();
    g_sink = 1;
}

__attribute__((visibility("default"))) void LeaveThreadsBehind() {
    std::atomic<int> running{0};
    for (int i = 0; i < 8; ++i)
        std::thread([&running] {
            t_number += g_seven;
            ++running;
            for (;;)
                std::this_thread::sleep_for(std::chrono::hours(1));
        }).detach();
    while (running < 8)
        std::this_thread::yield();
}

__attribute__((visibility("default"))) void DoNoHarm() {
    int* numbers = new int[8]();
    g_sink = numbers[g_seven];
    delete[] numbers;
}
}
