#include "device/zo_vireonity.h"

namespace zorvane {

namespace {

// The interfaces of one enumeration, deleted unless they were handed on.
class OwnedInterfaces {
  public:
    OwnedInterfaces() = default;
    OwnedInterfaces(const OwnedInterfaces&) = delete;
    OwnedInterfaces& operator=(const OwnedInterfaces&) = delete;
    ~OwnedInterfaces() {
        for (NPT_NetworkInterface* entry : list_)
            delete entry;
    }

    NPT_List<NPT_NetworkInterface*>& AsList() { return list_; }

    // Moves those that pass the test to the end of kept, in list order.
    template <typename Test>
    void MoveTo(NPT_List<NPT_NetworkInterface*>& kept, Test test) {
        for (auto entry = list_.begin(); entry;) {
            if (*entry && test(**entry)) {
                kept.Add(*entry);
                entry = list_.Erase(entry);
            } else {
                ++entry;
            }
        }
    }

  private:
    NPT_List<NPT_NetworkInterface*> list_;
};

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
        found.MoveTo(interfaces, [](const NPT_NetworkInterface& entry) {
            return IsUsable(entry) && !IsLoopback(entry) && IsConfigured(entry);
        });
    }
    if (!interfaces.IsEmpty()) return NPT_SUCCESS;

    OwnedInterfaces found;
    const NPT_Result result = enumerate(found.AsList());
    if (NPT_Failed(result)) return result;
    found.MoveTo(interfaces, [](const NPT_NetworkInterface& entry) {
        return IsUsable(entry) && IsLoopback(entry);
    });
    return NPT_SUCCESS;
}

}  // namespace zorvane
