#ifndef VIREON_ENGINE_TESTING_WATCHED_CALLS_H
#define VIREON_ENGINE_TESTING_WATCHED_CALLS_H

#include <atomic>
#include <chrono>

// The program's calls of locks and events, which a test may slow down and count.
namespace watched_calls {

// How long this thread takes before each CriticalSection::lock and each Event::Wait.
extern thread_local std::chrono::milliseconds pace;

// How often any thread has called Event::Wait; Event::Set, and when last.
extern std::atomic<int> event_waits;
extern std::atomic<int> event_sets;
extern std::atomic<std::chrono::steady_clock::time_point> last_event_set;

}  // namespace watched_calls

#endif
