#include "net/interface_platform.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstring>
#include <memory>

#include "net/posix/interface_entries.h"

namespace {

NPT_IpAddress FromSystemAddress(const sockaddr* generic) {
    sockaddr_in system_address;
    std::memcpy(&system_address, generic, sizeof system_address);
    return NPT_IpAddress(ntohl(system_address.sin_addr.s_addr));
}

bool IsIpv4(const ifaddrs& record) {
    return record.ifa_addr && record.ifa_addr->sa_family == AF_INET && record.ifa_netmask;
}

}  // namespace

NPT_List<interface_platform::Entry> ToInterfaceEntries(const ifaddrs* chain) {
    NPT_List<interface_platform::Entry> entries;
    for (const ifaddrs* record = chain; record; record = record->ifa_next) {
        if (!IsIpv4(*record)) continue;
        interface_platform::Entry entry;
        entry.address = FromSystemAddress(record->ifa_addr);
        entry.netmask = FromSystemAddress(record->ifa_netmask);
        entry.is_up = (record->ifa_flags & IFF_UP) != 0;
        entry.is_loopback = (record->ifa_flags & IFF_LOOPBACK) != 0;
        entry.is_point_to_point = (record->ifa_flags & IFF_POINTOPOINT) != 0;
        entry.can_broadcast = (record->ifa_flags & IFF_BROADCAST) != 0;
        entry.can_multicast = (record->ifa_flags & IFF_MULTICAST) != 0;
        entries.Add(entry);
    }
    return entries;
}

namespace interface_platform {

NPT_Result Query(NPT_List<Entry>& entries) {
    entries.Clear();
    ifaddrs* chain = nullptr;
    if (::getifaddrs(&chain) != 0) return NPT_FAILURE;
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(chain, &::freeifaddrs);
    entries = ToInterfaceEntries(chain);
    return NPT_SUCCESS;
}

}  // namespace interface_platform
