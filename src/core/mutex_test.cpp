#include "core/mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "core/testing/becomes_true.h"
#include "core/testing/failing_allocation.h"

// The data-race checker takes the unlock by a stranger, which a test here makes on purpose, for a
// mistake.
extern "C" const char* __tsan_default_suppressions();
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "mutex:NPT_PosixMutex::Unlock\n";
}

namespace {

// Not checked, so that tests may unlock what the compiler does not see locked.
NPT_Result Unlock(NPT_Mutex& mutex) NO_THREAD_SAFETY_ANALYSIS {
    return mutex.Unlock();
}

// Takes the mutex on a thread of its own and gives it back.
class Contender {
  public:
    explicit Contender(NPT_Mutex& mutex)
        : thread_([this, &mutex] {
              mutex.Lock();
              has_locked_ = true;
              Unlock(mutex);
          }) {}
    ~Contender() { thread_.join(); }
    // False when the mutex was not to be had for a while.
    bool LocksSoon(NPT_Timeout patience) const {
        return BecomesTrue([this] { return has_locked_.load(); }, patience);
    }

  private:
    std::atomic<bool> has_locked_{false};
    std::thread thread_;
};

constexpr NPT_Timeout kShort = 50;  // milliseconds
constexpr NPT_Timeout kLong = 10000;

TEST(Mutex, IsFreeAfterAsManyUnlocksAsLocks) {
    NPT_Mutex mutex;
    EXPECT_EQ(mutex.Lock(), NPT_SUCCESS);
    EXPECT_EQ(mutex.Lock(), NPT_SUCCESS);
    EXPECT_EQ(Unlock(mutex), NPT_SUCCESS);
    const Contender contender(mutex);
    EXPECT_FALSE(contender.LocksSoon(kShort));
    EXPECT_EQ(Unlock(mutex), NPT_SUCCESS);
    EXPECT_TRUE(contender.LocksSoon(kLong));
}

TEST(Mutex, UnlockByAnotherThreadDoesNothing) {
    NPT_Mutex mutex;
    mutex.Lock();
    std::thread([&mutex] { EXPECT_EQ(Unlock(mutex), NPT_SUCCESS); }).join();
    const Contender contender(mutex);
    EXPECT_FALSE(contender.LocksSoon(kShort));
    Unlock(mutex);
    EXPECT_TRUE(contender.LocksSoon(kLong));
}

TEST(Mutex, UnlockOfAFreeMutexDoesNothing) {
    NPT_Mutex mutex;
    EXPECT_EQ(Unlock(mutex), NPT_SUCCESS);
    EXPECT_EQ(mutex.Lock(), NPT_SUCCESS);
    Unlock(mutex);
}

TEST(Mutex, AutoLockHoldsForItsScope) {
    NPT_Mutex mutex;
    {
        const NPT_AutoLock lock(mutex);
        EXPECT_EQ(mutex.Lock(), NPT_SUCCESS);
        Unlock(mutex);
    }
    const Contender contender(mutex);
    EXPECT_TRUE(contender.LocksSoon(kLong));
}

TEST(Mutex, KeepsThreadsApart) {
    NPT_Mutex mutex;
    int count = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&] {
            for (int round = 0; round < 5000; ++round) {
                const NPT_AutoLock lock(mutex);
                ++count;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(count, 20000);
}

TEST(Mutex, WithoutADelegateLockFails) {
    const auto make = [] {
        const FailingAllocation failing;
        return std::make_unique<NPT_Mutex>();
    };
    const std::unique_ptr<NPT_Mutex> mutex = make();
    EXPECT_EQ(mutex->Lock(), NPT_FAILURE);
    EXPECT_EQ(Unlock(*mutex), NPT_SUCCESS);
}

TEST(Mutex, AutoLockDoesNotGoOnWithoutADelegate) {
    const auto make = [] {
        const FailingAllocation failing;
        return std::make_unique<NPT_Mutex>();
    };
    const std::unique_ptr<NPT_Mutex> mutex = make();
    EXPECT_THROW(const NPT_AutoLock lock(*mutex), std::bad_alloc);
}

}  // namespace
