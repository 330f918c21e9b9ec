#include "core/event.h"

#include <windows.h>

#include <new>

struct Event::State {
    State() : handle(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
        // A wait for no handle returns at once: a loop around it would spin.
        if (!handle) throw std::bad_alloc();
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { CloseHandle(handle); }

    const HANDLE handle;
};

Event::Event() : state_(std::make_unique<State>()) {}

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
