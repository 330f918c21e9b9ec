#ifndef VIREON_TESTS_SCHEDULES_SCHEDULE_H
#define VIREON_TESTS_SCHEDULES_SCHEDULE_H

#include <functional>
#include <vector>

// Runs a few threads one at a time, in an order that is drawn from a seed: before and behind each
// lock, event, wait, start and end of a thread and each look at an engine another one may go on.
// Who does is said by priorities, which change at a few moments. So a fault that needs n changes of
// threads at certain moments is met with a known chance, whatever the machine does, and met again
// by the same seed.
//
// The calls themselves are the real ones; they are turned here by the linker (turned_calls.cpp).
// The threads that they start are part of the schedule. One schedule runs at a time.
namespace schedule {

// Where a schedule has no thread that could go on, or goes on without an end, this says with which
// seed, and where each thread stands, and ends the process. The seed is also said of a schedule
// that ends the process otherwise.
void Run(unsigned seed, const std::vector<std::function<void()>>& threads);

// Of the schedules that have run: how often another thread could have gone on.
unsigned long CountOfSteps();

// What turned calls are made of. Outside of a schedule they do nothing, and IsRunning is false.
bool IsRunning();
// Another thread may go on.
void Step(const char* what);
// The same, and this one is the last to go on from now on: it waits for time to pass.
void LetTimePass(const char* what);
// Waits until the condition holds, which only the schedule's threads change.
void Await(const char* what, const std::function<bool()>& condition);
// Who asks; each thread of a schedule has another one.
const void* CurrentThread();
// Gives what a started thread has to run in the place of its own function.
using Entry = unsigned (*)(void*);
struct Start {
    Entry entry;
    void* argument;
};
Start Include(Start start);
const void* ThreadOf(const Start& start);
bool HasEnded(const void* thread);

}  // namespace schedule

#endif
