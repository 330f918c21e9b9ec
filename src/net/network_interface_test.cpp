#include "net/network_interface.h"

#include <gtest/gtest.h>

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

}  // namespace
