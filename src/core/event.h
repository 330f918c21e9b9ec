#ifndef VIREON_CORE_EVENT_H
#define VIREON_CORE_EVENT_H

#include <memory>

// A signal between threads, initially not set. It stays set until Reset and lets every waiter
// through. A Set lets those through who wait already, even when a Reset follows at once.
// Any thread may call any operation; the owner destroys it when nobody waits any more, or in a
// forked child, where nobody does.
class Event {
  public:
    // Throws std::bad_alloc when the system has no event to give.
    Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;
    ~Event();

    void Set();
    void Reset();
    // Waits without a time limit.
    void Wait();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

#endif
