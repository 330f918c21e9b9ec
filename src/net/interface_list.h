#ifndef VIREON_NET_INTERFACE_LIST_H
#define VIREON_NET_INTERFACE_LIST_H

#include "core/list.h"
#include "net/interface_platform.h"
#include "net/network_interface.h"

// Makes one interface of each entry that is up, among the first interface_platform::kMaxEntries,
// and appends it to interfaces; the caller owns and deletes it. Names count the interfaces made by
// this call. Throws std::bad_alloc; what was appended by then stays in the list.
void AppendInterfaces(const NPT_List<interface_platform::Entry>& entries,
                      NPT_List<NPT_NetworkInterface*>& interfaces);

#endif
