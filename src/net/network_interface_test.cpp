#include "net/network_interface.h"

#include <gtest/gtest.h>

#include "net/owned_interfaces.h"

namespace {

TEST(NetworkInterfaceTest, KeepsItsAddressesInOrder) {
    NPT_NetworkInterface made("if00", NPT_MacAddress(), NPT_NETWORK_INTERFACE_FLAG_MULTICAST);
    const NPT_IpAddress zero;
    made.AddAddress(NPT_NetworkInterfaceAddress(NPT_IpAddress(1), zero, zero, zero));
    made.AddAddress(NPT_NetworkInterfaceAddress(NPT_IpAddress(2), zero, zero, zero));
    ASSERT_EQ(made.GetAddresses().GetItemCount(), 2u);
    EXPECT_EQ(made.GetAddresses().begin()->GetPrimaryAddress(), NPT_IpAddress(1));
    EXPECT_EQ(made.GetAddresses().GetLastItem()->GetPrimaryAddress(), NPT_IpAddress(2));
}

TEST(NetworkInterfaceTest, ThisHostsLoopbackIsListed) {
    OwnedInterfaces interfaces;
    ASSERT_EQ(NPT_NetworkInterface::GetNetworkInterfaces(interfaces.AsList()), NPT_SUCCESS);
    bool found = false;
    for (const NPT_NetworkInterface* listed : interfaces.AsList()) {
        ASSERT_EQ(listed->GetAddresses().GetItemCount(), 1u);
        const NPT_NetworkInterfaceAddress& address = *listed->GetAddresses().begin();
        if (address.GetPrimaryAddress() != NPT_IpAddress(127, 0, 0, 1)) continue;
        found = true;
        EXPECT_NE(listed->GetFlags() & NPT_NETWORK_INTERFACE_FLAG_LOOPBACK, 0u);
        EXPECT_EQ(address.GetNetMask(), NPT_IpAddress(255, 0, 0, 0));
        EXPECT_EQ(address.GetBroadcastAddress(), NPT_IpAddress(127, 255, 255, 255));
    }
    EXPECT_TRUE(found);
}

}  // namespace
