#ifndef VIREON_CORE_PROCESS_H
#define VIREON_CORE_PROCESS_H

#include "core/types.h"

using ProcessId = NPT_UInt64;

// The process that the caller runs in, by a number that tells it from all that it was forked from;
// other processes may have the same. Costs no system call. A child that was forked has another
// one than its parent, and with the parent's memory only that thread of it which forked: it must
// neither wait for the other threads nor for a lock that one of them may have held just then. Any
// thread.
ProcessId CurrentProcess();

#endif
