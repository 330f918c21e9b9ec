#include "core/event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <list>
#include <new>
#include <thread>

#include "core/testing/becomes_true.h"
#include "core/testing/failing_allocation.h"

namespace {

using Milliseconds = std::chrono::milliseconds;

// Threads that wait on one event; what still waits at the end is let through, one by one.
class Waiters {
  public:
    // From "started" to "waiting" nothing can be observed from here: so much time is left for it.
    Waiters(Event& event, int count, Milliseconds time_to_wait = Milliseconds(200))
        : event_(event), count_(count) {
        for (int number = 0; number < count; ++number) {
            threads_.emplace_back([this] {
                ++started_;
                event_.Wait();
                ++through_;
            });
        }
        while (started_ < count)
            std::this_thread::sleep_for(Milliseconds(1));
        std::this_thread::sleep_for(time_to_wait);
    }
    ~Waiters() {
        while (through_ < count_) {
            event_.Set();
            std::this_thread::sleep_for(Milliseconds(1));
        }
        for (std::thread& thread : threads_)
            thread.join();
    }
    bool AreThroughSoon(int count) const {
        return BecomesTrue([&] { return through_ >= count; });
    }
    int GetThroughCount() const { return through_; }

  private:
    Event& event_;
    const int count_;
    std::atomic<int> started_{0};
    std::atomic<int> through_{0};
    std::list<std::thread> threads_;
};

TEST(Event, StaysSetUntilReset) {
    Event event;
    event.Set();
    event.Wait();
    event.Wait();
    event.Reset();
    const Waiters waiters(event, 1);
    EXPECT_EQ(waiters.GetThroughCount(), 0);
}

TEST(Event, LetsEveryWaiterThrough) {
    Event event;
    const Waiters waiters(event, 3);
    EXPECT_EQ(waiters.GetThroughCount(), 0);
    event.Set();
    EXPECT_TRUE(waiters.AreThroughSoon(3));
}

TEST(Event, SetReachesAWaiterInSpiteOfAResetRightBehind) {
    Event event;
    // One who came to wait behind the reset would wait for ever.
    const Waiters waiters(event, 2, Milliseconds(1000));
    event.Set();
    event.Reset();
    EXPECT_TRUE(waiters.AreThroughSoon(2));
}

TEST(Event, ThatCannotBeMadeThrows) {
    const FailingAllocation failing(1);
    EXPECT_THROW(Event(), std::bad_alloc);
}

}  // namespace
