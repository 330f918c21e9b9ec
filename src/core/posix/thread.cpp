#include "core/thread.h"

#include <unistd.h>

NPT_Thread::ThreadId NPT_Thread::GetCurrentThreadId() {
    return static_cast<ThreadId>(gettid());
}
