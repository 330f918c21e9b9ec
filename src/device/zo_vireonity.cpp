#include "device/zo_vireonity.h"

#include "net/owned_interfaces.h"

namespace zorvane {

namespace {

// Moves those that pass the test to the end of kept, in list order. One that cannot be added is
// still owned by where it was found.
template <typename Test>
void MoveTo(NPT_List<NPT_NetworkInterface*>& kept, OwnedInterfaces& owner, Test test) {
    NPT_List<NPT_NetworkInterface*>& found = owner.AsList();
    for (auto entry = found.begin(); entry;) {
        if (*entry && test(**entry)) {
            kept.Add(*entry);
            entry = found.Erase(entry);
        } else {
            ++entry;
        }
    }
}

bool HasFlag(const NPT_NetworkInterface& entry, NPT_UInt32 flag) {
    return (entry.GetFlags() & flag) != 0;
}

bool IsLoopback(const NPT_NetworkInterface& entry) {
    return HasFlag(entry, NPT_NETWORK_INTERFACE_FLAG_LOOPBACK);
}

bool IsUsable(const NPT_NetworkInterface& entry) {
    return !entry.GetAddresses().IsEmpty() &&
           HasFlag(entry, NPT_NETWORK_INTERFACE_FLAG_MULTICAST) &&
           !HasFlag(entry, NPT_NETWORK_INTERFACE_FLAG_POINT_TO_POINT);
}

// An interface that is up but waits for its address, from DHCP for example, has 0.0.0.0.
bool IsConfigured(const NPT_NetworkInterface& entry) {
    return entry.GetAddresses().begin()->GetPrimaryAddress() != NPT_IpAddress();
}

}  // namespace

NPT_Result ZoVireonity::GetNetworkInterfaces(NPT_List<NPT_NetworkInterface*>& interfaces) {
    return GetNetworkInterfaces(interfaces, NPT_NetworkInterface::GetNetworkInterfaces);
}

NPT_Result ZoVireonity::GetNetworkInterfaces(NPT_List<NPT_NetworkInterface*>& interfaces,
                                             const InterfaceEnumeration& enumerate) {
    {
        OwnedInterfaces found;
        const NPT_Result result = enumerate(found.AsList());
        if (NPT_Failed(result)) return result;
        MoveTo(interfaces, found, [](const NPT_NetworkInterface& entry) {
            return IsUsable(entry) && !IsLoopback(entry) && IsConfigured(entry);
        });
    }
    if (!interfaces.IsEmpty()) return NPT_SUCCESS;

    OwnedInterfaces found;
    const NPT_Result result = enumerate(found.AsList());
    if (NPT_Failed(result)) return result;
    MoveTo(interfaces, found,
           [](const NPT_NetworkInterface& entry) { return IsUsable(entry) && IsLoopback(entry); });
    return NPT_SUCCESS;
}

}  // namespace zorvane
