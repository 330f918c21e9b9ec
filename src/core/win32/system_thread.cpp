#include "core/system_thread.h"

#include <windows.h>

#include <utility>

struct SystemThread::State {
    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { Close(); }
    void Close() {
        if (handle) CloseHandle(std::exchange(handle, nullptr));
    }

    HANDLE handle = nullptr;  // null once joined
    DWORD id = 0;
};

namespace {

struct Call {
    SystemThread::Entry entry;
    void* argument;
};

DWORD WINAPI Run(void* packet) {
    const Call call = *std::unique_ptr<Call>(static_cast<Call*>(packet));
    return call.entry(call.argument);
}

}  // namespace

NPT_Thread::ThreadId NPT_Thread::GetCurrentThreadId() {
    return ::GetCurrentThreadId();
}

std::unique_ptr<SystemThread> SystemThread::Start(Entry entry, void* argument) {
    std::unique_ptr<SystemThread> started(new SystemThread(std::make_unique<State>()));
    auto call = std::make_unique<Call>(Call{entry, argument});
    State& state = *started->state_;
    state.handle = CreateThread(nullptr, 0, Run, call.get(), 0, &state.id);
    if (!state.handle) return nullptr;
    call.release();  // the new thread's now
    return started;
}

SystemThread::SystemThread(std::unique_ptr<State> state) : state_(std::move(state)) {}

SystemThread::~SystemThread() = default;

void SystemThread::Join() {
    if (state_->handle && !IsCurrent()) WaitForSingleObject(state_->handle, INFINITE);
    state_->Close();
}

bool SystemThread::IsCurrent() const {
    return state_->handle && state_->id == GetCurrentThreadId();
}
