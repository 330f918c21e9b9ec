#include "net/interface_list.h"

#include <memory>

namespace {

using interface_platform::Entry;

NPT_IpAddress BroadcastOf(const Entry& entry) {
    const NPT_UInt32 netmask = entry.netmask.AsLong();
    return NPT_IpAddress((entry.address.AsLong() & netmask) | ~netmask);
}

NPT_UInt32 FlagsOf(const Entry& entry) {
    NPT_UInt32 flags = 0;
    if (entry.can_broadcast) flags |= NPT_NETWORK_INTERFACE_FLAG_BROADCAST;
    if (entry.can_multicast) flags |= NPT_NETWORK_INTERFACE_FLAG_MULTICAST;
    if (entry.is_loopback) flags |= NPT_NETWORK_INTERFACE_FLAG_LOOPBACK;
    if (entry.is_point_to_point) flags |= NPT_NETWORK_INTERFACE_FLAG_POINT_TO_POINT;
    return flags;
}

std::unique_ptr<NPT_NetworkInterface> MakeInterface(const Entry& entry, NPT_UInt32 number) {
    auto made = std::make_unique<NPT_NetworkInterface>(NPT_String::Format("if%02u", number),
                                                       NPT_MacAddress(), FlagsOf(entry));
    made->AddAddress(NPT_NetworkInterfaceAddress(entry.address, BroadcastOf(entry), NPT_IpAddress(),
                                                 entry.netmask));
    return made;
}

}  // namespace

void AppendInterfaces(const NPT_List<Entry>& entries, NPT_List<NPT_NetworkInterface*>& interfaces) {
    NPT_UInt32 looked_at = 0;
    NPT_UInt32 kept = 0;
    for (const Entry& entry : entries) {
        if (looked_at++ == interface_platform::kMaxEntries) return;
        if (!entry.is_up) continue;
        std::unique_ptr<NPT_NetworkInterface> made = MakeInterface(entry, kept++);
        interfaces.Add(made.get());
        made.release();
    }
}

NPT_Result NPT_NetworkInterface::GetNetworkInterfaces(NPT_List<NPT_NetworkInterface*>& interfaces) {
    NPT_List<Entry> entries;
    const NPT_Result result = interface_platform::Query(entries);
    if (NPT_Succeeded(result)) AppendInterfaces(entries, interfaces);
    return result;
}
