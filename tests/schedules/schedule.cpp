#include "schedule.h"

#include <algorithm>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <utility>

// What a checked build has, and no other.
extern "C" __attribute__((weak)) void __asan_set_death_callback(void (*callback)());

namespace schedule {

namespace {

// More than any of the tests needs.
constexpr unsigned long kMostSteps = 20000;
// How many steps lie between two changes of a priority on average: in some schedules a few, in
// others more than they have.
constexpr unsigned kStepsBetweenChanges[] = {4, 10, 25, 100};

struct Thread {
    Start start{};
    long priority = 0;
    const char* where = "its start";
    std::function<bool()> condition;  // none: it can go on
    bool has_ended = false;

    bool CanGoOn() const { return !has_ended && (!condition || condition()); }
};

class Schedule {
  public:
    explicit Schedule(unsigned seed)
        : seed_(seed),
          draw_(seed),
          steps_between_changes_(kStepsBetweenChanges[draw_() % std::size(kStepsBetweenChanges)]) {}

    Thread& Add(Start start) {
        const std::lock_guard<std::mutex> lock(mutex_);
        threads_.push_back(std::make_unique<Thread>());
        threads_.back()->start = start;
        threads_.back()->priority = 1 + static_cast<long>(draw_() % 1000000);
        return *threads_.back();
    }

    void Begin() { PassOn(nullptr); }

    void Step(Thread& thread, const char* what) {
        thread.where = what;
        ++steps_;
        if (steps_ > kMostSteps) GiveUp("goes on without an end");
        if (draw_() % steps_between_changes_ == 0) Sink(thread);
        PassOn(&thread);
    }

    void Sink(Thread& thread) { thread.priority = --lowest_; }

    void Await(Thread& thread, const char* what, const std::function<bool()>& condition) {
        Step(thread, what);
        thread.condition = condition;
        PassOn(&thread);
        thread.condition = nullptr;
    }

    void End(Thread& thread) {
        const std::lock_guard<std::mutex> lock(mutex_);
        thread.has_ended = true;
        Choose();
    }

    void AwaitTurn(const Thread& thread) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return current_ == &thread; });
    }

    void AwaitEnd() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] {
            return std::all_of(threads_.begin(), threads_.end(),
                               [](const auto& thread) { return thread->has_ended; });
        });
    }

    unsigned long GetSteps() const { return steps_; }

  private:
    // To the thread of the highest priority that can go on; back when that is this one again.
    void PassOn(const Thread* from) {
        std::unique_lock<std::mutex> lock(mutex_);
        Choose();
        if (from) changed_.wait(lock, [&] { return current_ == from; });
    }

    void Choose() {
        current_ = nullptr;
        bool is_over = true;
        for (const auto& thread : threads_) {
            is_over = is_over && thread->has_ended;
            if (thread->CanGoOn() && (!current_ || thread->priority > current_->priority))
                current_ = thread.get();
        }
        if (!current_ && !is_over) GiveUp("leaves every thread waiting");
        changed_.notify_all();
    }

    [[noreturn]] void GiveUp(const char* what) const {
        std::fprintf(stderr, "the schedule of VIREON_SEED=%u %s\n", seed_, what);
        for (const auto& thread : threads_)
            if (!thread->has_ended)
                std::fprintf(stderr, "  a thread stands at %s\n", thread->where);
        std::_Exit(3);
    }

    const unsigned seed_;
    std::mt19937 draw_;
    const unsigned steps_between_changes_;
    unsigned long steps_ = 0;
    long lowest_ = 0;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::unique_ptr<Thread>> threads_;
    Thread* current_ = nullptr;
};

Schedule* running = nullptr;
unsigned running_seed = 0;
unsigned long steps_of_all = 0;
thread_local Thread* own = nullptr;

// The thread of the schedule that runs, which is none of it meanwhile: the locks of what stands
// here are turned as well.
class Outside {
  public:
    Outside() = default;
    Outside(const Outside&) = delete;
    Outside& operator=(const Outside&) = delete;
    ~Outside() { own = thread_; }
    explicit operator bool() const { return thread_ != nullptr; }
    Thread& operator*() const { return *thread_; }

  private:
    Thread* const thread_ = std::exchange(own, nullptr);
};

unsigned RunThread(void* argument) {
    auto& thread = *static_cast<Thread*>(argument);
    running->AwaitTurn(thread);
    own = &thread;
    const unsigned result = thread.start.entry(thread.start.argument);
    own = nullptr;
    running->End(thread);
    return result;
}

// What a fault or a checker ends the process with says nothing of the schedule.
void TellSeed() {
    std::fprintf(stderr, "the schedule of VIREON_SEED=%u ends the process\n", running_seed);
}

void TellSeedAndEnd(int signal) {
    TellSeed();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void TellSeedWhateverEndsTheProcess() {
    if (__asan_set_death_callback) return __asan_set_death_callback(TellSeed);
    for (const int signal : {SIGSEGV, SIGABRT, SIGBUS})
        std::signal(signal, TellSeedAndEnd);
}

unsigned RunFunction(void* function) {
    (*static_cast<const std::function<void()>*>(function))();
    return 0;
}

}  // namespace

void Run(unsigned seed, const std::vector<std::function<void()>>& threads) {
    if (!running_seed) TellSeedWhateverEndsTheProcess();
    running_seed = seed;
    Schedule schedule(seed);
    running = &schedule;
    std::vector<std::thread> real;
    for (const auto& function : threads) {
        auto* const argument = const_cast<std::function<void()>*>(&function);
        Thread& thread = schedule.Add({RunFunction, argument});
        real.emplace_back([&thread] { RunThread(&thread); });
    }
    schedule.Begin();
    schedule.AwaitEnd();
    for (std::thread& thread : real)
        thread.join();
    steps_of_all += schedule.GetSteps();
    running = nullptr;
}

unsigned long CountOfSteps() {
    return steps_of_all;
}

bool IsRunning() {
    return own != nullptr;
}

void Step(const char* what) {
    const Outside thread;
    if (thread) running->Step(*thread, what);
}

void LetTimePass(const char* what) {
    const Outside thread;
    if (!thread) return;
    running->Sink(*thread);
    running->Step(*thread, what);
}

void Await(const char* what, const std::function<bool()>& condition) {
    const Outside thread;
    if (thread) running->Await(*thread, what, condition);
}

const void* CurrentThread() {
    return own;
}

Start Include(Start start) {
    const Outside thread;
    return {RunThread, &running->Add(start)};
}

const void* ThreadOf(const Start& start) {
    return start.argument;
}

bool HasEnded(const void* thread) {
    return static_cast<const Thread*>(thread)->has_ended;
}

}  // namespace schedule
