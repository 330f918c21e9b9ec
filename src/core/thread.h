#ifndef VIREON_CORE_THREAD_H
#define VIREON_CORE_THREAD_H

#include "core/types.h"

class NPT_Thread {
  public:
    using ThreadId = NPT_UInt64;
    // The operating system's identifier of the calling thread; never 0, unique while it lives.
    static ThreadId GetCurrentThreadId();
};

#endif
