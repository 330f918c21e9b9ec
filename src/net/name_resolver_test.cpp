#include "net/name_resolver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

TEST(NameResolverTest, FindsThisHostUnderItsLoopbackName) {
    NPT_List<NPT_IpAddress> addresses;
    EXPECT_EQ(NPT_NetworkNameResolver::Resolve("localhost", addresses), NPT_SUCCESS);
    EXPECT_GT(std::count(addresses.begin(), addresses.end(), NPT_IpAddress(127, 0, 0, 1)), 0);
}

TEST(NameResolverTest, ResolvesTheLoopbackNameToItsAddress) {
    NPT_IpAddress address;
    EXPECT_EQ(address.ResolveName("localhost"), NPT_SUCCESS);
    EXPECT_EQ(address, NPT_IpAddress(127, 0, 0, 1));
}

TEST(NameResolverTest, ANameThatIsTooLongIsUnknown) {
    const std::string name(5000, 'x');
    NPT_List<NPT_IpAddress> addresses;
    EXPECT_EQ(NPT_NetworkNameResolver::Resolve(name.c_str(), addresses), NPT_ERROR_HOST_UNKNOWN);
    EXPECT_TRUE(addresses.IsEmpty());
}

}  // namespace
