#ifndef VIREON_CORE_CRITICAL_SECTION_H
#define VIREON_CORE_CRITICAL_SECTION_H

#include <memory>

// A light lock inside one process, recursive for its owner. Lock and Unlock make it usable with
// std::lock_guard. Locks that this one protects are held for a few instructions, never over a wait.
class CriticalSection {
  public:
    CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    ~CriticalSection();

    void lock();
    void unlock();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

#endif
