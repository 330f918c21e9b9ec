#ifndef VIREON_NET_POSIX_INTERFACE_ENTRIES_H
#define VIREON_NET_POSIX_INTERFACE_ENTRIES_H

#include "core/list.h"

namespace interface_platform {
struct Entry;
}

struct ifaddrs;

// The IPv4 records of the system's chain, which may be null. A record without an address or a
// netmask (a link that is not configured, a tunnel) is passed over.
NPT_List<interface_platform::Entry> ToInterfaceEntries(const ifaddrs* chain);

#endif
