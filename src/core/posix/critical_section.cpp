#include "core/critical_section.h"

#include <mutex>

struct CriticalSection::State {
    std::recursive_mutex mutex;
};

CriticalSection::CriticalSection() : state_(std::make_unique<State>()) {}

CriticalSection::~CriticalSection() = default;

void CriticalSection::lock() {
    state_->mutex.lock();
}

void CriticalSection::unlock() {
    state_->mutex.unlock();
}
