#include "core/thread.h"

#include <windows.h>

NPT_Thread::ThreadId NPT_Thread::GetCurrentThreadId() {
    return ::GetCurrentThreadId();
}
