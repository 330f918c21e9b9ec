#ifndef VIREON_CORE_CRITICAL_SECTION_H
#define VIREON_CORE_CRITICAL_SECTION_H

#include <memory>

#include "core/thread_annotations.h"

// A light lock inside one process, recursive for its owner. Held by a CriticalSectionLock, for a
// few instructions, never over a wait.
class CAPABILITY("critical section") CriticalSection {
  public:
    CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    ~CriticalSection();

    // Not checked themselves, since the platform's locks say nothing to the compiler.
    void lock() ACQUIRE() NO_THREAD_SAFETY_ANALYSIS;
    void unlock() RELEASE() NO_THREAD_SAFETY_ANALYSIS;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// Holds a critical section for a scope.
class SCOPED_CAPABILITY CriticalSectionLock {
  public:
    explicit CriticalSectionLock(CriticalSection& section) ACQUIRE(section) : section_(section) {
        section_.lock();
    }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;
    ~CriticalSectionLock() RELEASE() { section_.unlock(); }

  private:
    CriticalSection& section_;
};

#endif
