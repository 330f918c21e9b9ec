// Fixed-width names used by every folder of the system.
#ifndef VIREON_CORE_TYPES_H
#define VIREON_CORE_TYPES_H

#include <cstddef>
#include <cstdint>

using NPT_UInt8 = std::uint8_t;
using NPT_UInt16 = std::uint16_t;
using NPT_Int32 = std::int32_t;
using NPT_UInt32 = std::uint32_t;
using NPT_Int64 = std::int64_t;
using NPT_UInt64 = std::uint64_t;

// Result of every fallible operation: 0 is success, negative values are listed in core/result.h.
using NPT_Result = NPT_Int32;

namespace zorvane {
// The 32-bit value that a search and a worker's run operation report.
using Int32 = NPT_Int32;
}  // namespace zorvane

#endif
