#include "core/system_thread.h"

#include <pthread.h>

#include <utility>

struct SystemThread::State {
    pthread_t thread{};
    bool is_joinable = false;
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
    if (state_->is_joinable) pthread_detach(state_->thread);
}

void SystemThread::Join() {
    if (!state_->is_joinable) return;
    if (IsCurrent()) {
        pthread_detach(state_->thread);
    } else {
        pthread_join(state_->thread, nullptr);
    }
    state_->is_joinable = false;  // only now: until its end the thread may ask IsCurrent
}

bool SystemThread::IsCurrent() const {
    return state_->is_joinable && pthread_equal(state_->thread, pthread_self());
}
