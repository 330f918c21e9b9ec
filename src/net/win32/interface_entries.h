#ifndef VIREON_NET_WIN32_INTERFACE_ENTRIES_H
#define VIREON_NET_WIN32_INTERFACE_ENTRIES_H

#include <winsock2.h>
#include <ws2tcpip.h>

#include "core/list.h"

namespace interface_platform {
struct Entry;
}

// The system's records, in their order.
NPT_List<interface_platform::Entry> ToInterfaceEntries(const INTERFACE_INFO* records,
                                                       std::size_t count);

#endif
