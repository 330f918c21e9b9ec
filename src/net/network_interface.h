#ifndef VIREON_NET_NETWORK_INTERFACE_H
#define VIREON_NET_NETWORK_INTERFACE_H

#include <array>

#include "core/list.h"
#include "core/result.h"
#include "core/string.h"
#include "core/types.h"
#include "net/ip_address.h"

constexpr NPT_UInt32 NPT_NETWORK_INTERFACE_FLAG_LOOPBACK = 0x01;
constexpr NPT_UInt32 NPT_NETWORK_INTERFACE_FLAG_BROADCAST = 0x04;
constexpr NPT_UInt32 NPT_NETWORK_INTERFACE_FLAG_MULTICAST = 0x08;
constexpr NPT_UInt32 NPT_NETWORK_INTERFACE_FLAG_POINT_TO_POINT = 0x10;

// A link-layer address of up to 8 bytes. The interface queries of this system do not report one, so
// that it is all zero in every list.
struct NPT_MacAddress {
    NPT_UInt32 type = 0;
    NPT_UInt32 length = 0;
    std::array<NPT_UInt8, 8> bytes{};
};

class NPT_NetworkInterfaceAddress {
  public:
    NPT_NetworkInterfaceAddress(const NPT_IpAddress& primary, const NPT_IpAddress& broadcast,
                                const NPT_IpAddress& destination, const NPT_IpAddress& netmask)
        : primary_(primary), broadcast_(broadcast), destination_(destination), netmask_(netmask) {}

    const NPT_IpAddress& GetPrimaryAddress() const { return primary_; }
    const NPT_IpAddress& GetBroadcastAddress() const { return broadcast_; }
    // The far end of a point-to-point link.
    const NPT_IpAddress& GetDestinationAddress() const { return destination_; }
    const NPT_IpAddress& GetNetMask() const { return netmask_; }

  private:
    NPT_IpAddress primary_;
    NPT_IpAddress broadcast_;
    NPT_IpAddress destination_;
    NPT_IpAddress netmask_;
};

// One network interface of this host: a name, what it can do, and its IPv4 addresses in the order
// in which they were added. A snapshot: it does not follow later changes of the system.
class NPT_NetworkInterface {
  public:
    // flags: a set of NPT_NETWORK_INTERFACE_FLAG_ values
    NPT_NetworkInterface(const NPT_String& name, const NPT_MacAddress& mac, NPT_UInt32 flags)
        : name_(name), mac_(mac), flags_(flags) {}

    // Appends the IPv4 interfaces of this host that are up, one per address, in the platform's
    // order; the caller owns and deletes them. Only the first 32 addresses that the platform lists
    // are looked at. The broadcast address is computed from address and netmask, the destination
    // address is 0.0.0.0, the names are "if00", "if01", ... without gaps. Any thread may call it.
    // NPT_FAILURE, with nothing appended, when the platform cannot be asked. Throws std::bad_alloc;
    // what was appended by then stays in the list. Defined in net/interface_list.cpp.
    static NPT_Result GetNetworkInterfaces(NPT_List<NPT_NetworkInterface*>& interfaces);

    const NPT_String& GetName() const { return name_; }
    const NPT_MacAddress& GetMacAddress() const { return mac_; }
    NPT_UInt32 GetFlags() const { return flags_; }
    void AddAddress(const NPT_NetworkInterfaceAddress& address) { addresses_.Add(address); }
    const NPT_List<NPT_NetworkInterfaceAddress>& GetAddresses() const { return addresses_; }

  private:
    NPT_String name_;
    NPT_MacAddress mac_;
    NPT_UInt32 flags_;
    NPT_List<NPT_NetworkInterfaceAddress> addresses_;
};

#endif
