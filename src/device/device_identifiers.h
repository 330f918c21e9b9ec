#ifndef VIREON_DEVICE_DEVICE_IDENTIFIERS_H
#define VIREON_DEVICE_DEVICE_IDENTIFIERS_H

#include <functional>

#include "core/string.h"
#include "core/time.h"
#include "core/types.h"

// The rules by which a device record gets the identifiers that nobody gave it. Pure functions of
// what they are handed; any thread may call them.

// 32 lower-case hexadecimal digits in groups of 8-4-4-4-12, each from the low four bits of one
// draw. Not an RFC 4122 UUID: no version or variant bits are set.
NPT_String MakeUuid(const std::function<NPT_UInt32()>& draw);

// The low 24 bits of random, or a neighbour where that would be the current id again.
NPT_UInt32 MakeConfigId(NPT_UInt32 random, NPT_UInt32 current);

// The whole seconds of now (modulo 2^32), one more where that would be the current id again.
NPT_UInt32 MakeBootId(NPT_TimeStamp now, NPT_UInt32 current);

#endif
