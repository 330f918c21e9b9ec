#include "core/event.h"

#include <windows.h>

struct Event::State {
    explicit State(Mode mode)
        : handle(CreateEventA(nullptr, mode == Mode::kManualReset, FALSE, nullptr)) {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        if (handle) CloseHandle(handle);
    }

    const HANDLE handle;
};

Event::Event(Mode mode) : state_(std::make_unique<State>(mode)) {}

Event::~Event() = default;

void Event::Set() {
    SetEvent(state_->handle);
}

void Event::Reset() {
    ResetEvent(state_->handle);
}

void Event::Wait() {
    WaitForSingleObject(state_->handle, INFINITE);
}
