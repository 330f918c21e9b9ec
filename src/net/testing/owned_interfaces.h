#ifndef VIREON_NET_TESTING_OWNED_INTERFACES_H
#define VIREON_NET_TESTING_OWNED_INTERFACES_H

#include "net/network_interface.h"

// A list of interfaces that a test owns.
class OwnedInterfaces {
  public:
    OwnedInterfaces() = default;
    OwnedInterfaces(const OwnedInterfaces&) = delete;
    OwnedInterfaces& operator=(const OwnedInterfaces&) = delete;
    ~OwnedInterfaces() {
        for (const NPT_NetworkInterface* owned : list)
            delete owned;
    }
    const NPT_NetworkInterface& At(NPT_UInt32 index) const {
        auto position = list.begin();
        while (index-- > 0)
            ++position;
        return **position;
    }
    const NPT_NetworkInterfaceAddress& AddressAt(NPT_UInt32 index) const {
        return *At(index).GetAddresses().begin();
    }

    NPT_List<NPT_NetworkInterface*> list;
};

#endif
