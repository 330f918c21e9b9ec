#include "engine/testing/watched_calls.h"

#include <thread>

#include "core/critical_section.h"
#include "core/event.h"

namespace watched_calls {

thread_local std::chrono::milliseconds pace{0};
std::atomic<int> event_waits{0};
std::atomic<int> event_sets{0};
std::atomic<std::chrono::steady_clock::time_point> last_event_set{};

namespace {

void TakeTime() {
    if (pace.count() > 0) std::this_thread::sleep_for(pace);
}

}  // namespace
}  // namespace watched_calls

// In the place of CriticalSection::lock, Event::Wait and Event::Set, which the linker knows by
// these names.
extern "C" void __real__ZN15CriticalSection4lockEv(CriticalSection* lock);
extern "C" void __wrap__ZN15CriticalSection4lockEv(CriticalSection* lock) {
    watched_calls::TakeTime();
    __real__ZN15CriticalSection4lockEv(lock);
}
extern "C" void __real__ZN5Event4WaitEv(Event* event);
extern "C" void __wrap__ZN5Event4WaitEv(Event* event) {
    ++watched_calls::event_waits;
    watched_calls::TakeTime();
    __real__ZN5Event4WaitEv(event);
}
extern "C" void __real__ZN5Event3SetEv(Event* event);
extern "C" void __wrap__ZN5Event3SetEv(Event* event) {
    ++watched_calls::event_sets;
    watched_calls::last_event_set = std::chrono::steady_clock::now();
    __real__ZN5Event3SetEv(event);
}
