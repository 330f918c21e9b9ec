#ifndef VIREON_CORE_TIMEOUT_H
#define VIREON_CORE_TIMEOUT_H

#include "core/types.h"

// A limit for one wait, in milliseconds. 0 never waits.
using NPT_Timeout = NPT_UInt32;

constexpr NPT_Timeout NPT_TIMEOUT_INFINITE = 0xFFFFFFFF;

#endif
