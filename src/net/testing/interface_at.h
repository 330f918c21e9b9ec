#ifndef VIREON_NET_TESTING_INTERFACE_AT_H
#define VIREON_NET_TESTING_INTERFACE_AT_H

#include "net/owned_interfaces.h"

// The interface with this number, counted from 0; there must be one.
inline const NPT_NetworkInterface& InterfaceAt(const OwnedInterfaces& interfaces,
                                               NPT_UInt32 index) {
    auto position = interfaces.AsList().begin();
    while (index-- > 0)
        ++position;
    return **position;
}

// Its first address; it must have one.
inline const NPT_NetworkInterfaceAddress& AddressAt(const OwnedInterfaces& interfaces,
                                                    NPT_UInt32 index) {
    return *InterfaceAt(interfaces, index).GetAddresses().begin();
}

#endif
