#include "core/system_thread.h"

#include <pthread.h>
#include <unistd.h>

#include <utility>

#include "core/process.h"

struct SystemThread::State {
    pthread_t thread{};
    const ProcessId process = CurrentProcess();
    bool is_joinable = false;

    // A forked child has a copy of this, but not the thread.
    bool IsHere() const { return is_joinable && process == CurrentProcess(); }
};

namespace {

struct Call {
    SystemThread::Entry entry;
    void* argument;
};

void* Run(void* packet) {
    const Call call = *std::unique_ptr<Call>(static_cast<Call*>(packet));
    call.entry(call.argument);
    return nullptr;
}

}  // namespace

// Kept per thread, since the system would be asked each time. The thread that forks has another one
// in the child.
NPT_Thread::ThreadId NPT_Thread::GetCurrentThreadId() {
    thread_local ThreadId id = 0;
    thread_local ProcessId process = 0;
    if (process != CurrentProcess()) {
        id = static_cast<ThreadId>(gettid());
        process = CurrentProcess();
    }
    return id;
}

std::unique_ptr<SystemThread> SystemThread::Start(Entry entry, void* argument) {
    std::unique_ptr<SystemThread> started(new SystemThread(std::make_unique<State>()));
    auto call = std::make_unique<Call>(Call{entry, argument});
    State& state = *started->state_;
    if (pthread_create(&state.thread, nullptr, Run, call.get()) != 0) return nullptr;
    call.release();  // the new thread's now
    state.is_joinable = true;
    return started;
}

SystemThread::SystemThread(std::unique_ptr<State> state) : state_(std::move(state)) {}

SystemThread::~SystemThread() {
    if (state_->IsHere()) pthread_detach(state_->thread);
}

void SystemThread::Join() {
    if (!state_->IsHere()) return;
    if (IsCurrent()) {
        pthread_detach(state_->thread);
    } else {
        pthread_join(state_->thread, nullptr);
    }
    state_->is_joinable = false;  // only now: until its end the thread may ask IsCurrent
}

bool SystemThread::IsCurrent() const {
    return state_->IsHere() && pthread_equal(state_->thread, pthread_self());
}
