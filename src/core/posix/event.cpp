#include "core/event.h"

#include <condition_variable>
#include <mutex>

#include "core/process.h"
#include "core/types.h"

struct Event::State {
    const ProcessId process = CurrentProcess();
    std::mutex mutex;
    std::condition_variable changed;
    bool is_set = false;
    NPT_UInt64 set_count = 0;  // tells a waiter of a Set that was reset before he woke
};

Event::Event() : state_(std::make_unique<State>()) {}

Event::~Event() {
    // A forked child: it has no thread that waits, but a copy that says that some do, and the end
    // of a condition variable waits until they have left.
    if (state_->process != CurrentProcess()) state_.release();
}

void Event::Set() {
    // Notified under the lock: a waiter may destroy the event as soon as he gets it.
    const std::lock_guard<std::mutex> lock(state_->mutex);
    state_->is_set = true;
    ++state_->set_count;
    state_->changed.notify_all();
}

void Event::Reset() {
    const std::lock_guard<std::mutex> lock(state_->mutex);
    state_->is_set = false;
}

void Event::Wait() {
    std::unique_lock<std::mutex> lock(state_->mutex);
    const NPT_UInt64 seen = state_->set_count;
    state_->changed.wait(lock,
                         [this, seen] { return state_->is_set || state_->set_count != seen; });
}
