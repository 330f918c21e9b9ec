#ifndef VIREON_CORE_SYSTEM_THREAD_H
#define VIREON_CORE_SYSTEM_THREAD_H

#include <memory>

#include "core/types.h"

class NPT_Thread {
  public:
    using ThreadId = NPT_UInt64;
    // The operating system's identifier of the calling thread; never 0, unique while it lives.
    static ThreadId GetCurrentThreadId();
};

// A running system thread. Whoever holds the object joins it exactly once; the destructor of an
// object that was never joined detaches the thread instead of ending the process. In a forked
// child, which has no such thread, both do nothing.
class SystemThread {
  public:
    using Entry = NPT_UInt32 (*)(void* argument);

    // Starts a thread (default stack and security) that runs entry(argument) at once; null when the
    // system refuses.
    static std::unique_ptr<SystemThread> Start(Entry entry, void* argument);
    SystemThread(const SystemThread&) = delete;
    SystemThread& operator=(const SystemThread&) = delete;
    ~SystemThread();

    // Waits without a time limit, except on the thread itself: that join detaches and returns at
    // once, since nobody can wait for his own end.
    void Join();

  private:
    struct State;
    explicit SystemThread(std::unique_ptr<State> state);
    // Whether the calling thread is this one; false once joined.
    bool IsCurrent() const;
    std::unique_ptr<State> state_;
};

#endif
