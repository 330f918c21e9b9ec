#ifndef VIREON_DEVICE_ZO_VIREONITY_H
#define VIREON_DEVICE_ZO_VIREONITY_H

#include <functional>

#include "core/list.h"
#include "core/result.h"
#include "net/network_interface.h"

namespace zorvane {

// The choice of local interfaces on which a search can go out: those that are up, speak multicast
// and have an address; not point-to-point links; the loopback interface only when there is nothing
// else. Holds no data; any thread may call it.
class ZoVireonity {
  public:
    // Appends newly allocated interfaces to a list, which owns them also when the result is a
    // failure.
    using InterfaceEnumeration = std::function<NPT_Result(NPT_List<NPT_NetworkInterface*>&)>;

    virtual ~ZoVireonity() = default;

    // Appends the machine's usable interfaces to a list that is not cleared first; those it holds
    // already count as found. The caller deletes what was appended. Fails only as the enumeration
    // does, with nothing appended; no usable interface at all is a success. Throws std::bad_alloc;
    // what was appended by then stays in the list.
    static NPT_Result GetNetworkInterfaces(NPT_List<NPT_NetworkInterface*>& interfaces);
    // The same choice from what enumerate lists. It is called once or, for the loopback fallback,
    // twice.
    static NPT_Result GetNetworkInterfaces(NPT_List<NPT_NetworkInterface*>& interfaces,
                                           const InterfaceEnumeration& enumerate);
};

}  // namespace zorvane

#endif
