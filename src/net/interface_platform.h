#ifndef VIREON_NET_INTERFACE_PLATFORM_H
#define VIREON_NET_INTERFACE_PLATFORM_H

#include "core/list.h"
#include "core/result.h"
#include "core/types.h"
#include "net/ip_address.h"

namespace interface_platform {

// How many of the platform's IPv4 addresses are looked at, whether their interface is up or not.
constexpr NPT_UInt32 kMaxEntries = 32;

// One IPv4 address of an interface. The broadcast address that the platform keeps beside it is left
// out: administrators get it wrong, while address and netmask always tell it.
struct Entry {
    NPT_IpAddress address;
    NPT_IpAddress netmask;
    bool is_up = false;
    bool is_loopback = false;
    bool is_point_to_point = false;
    bool can_broadcast = false;
    bool can_multicast = false;
};

// Replaces the list by the IPv4 addresses of all interfaces, up or not, in the platform's order.
// NPT_FAILURE, with an empty list, when the platform cannot be asked.
NPT_Result Query(NPT_List<Entry>& entries);

}  // namespace interface_platform

#endif
