#include "core/critical_section.h"

#include <windows.h>

struct CriticalSection::State {
    State() { InitializeCriticalSection(&section); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { DeleteCriticalSection(&section); }

    CRITICAL_SECTION section;
};

CriticalSection::CriticalSection() : state_(std::make_unique<State>()) {}

CriticalSection::~CriticalSection() = default;

void CriticalSection::lock() {
    EnterCriticalSection(&state_->section);
}

void CriticalSection::unlock() {
    LeaveCriticalSection(&state_->section);
}
