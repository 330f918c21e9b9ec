#include "net/name_resolver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

// To the platform this is an address, which it needs no file and no network for; to NPT_IpAddress
// it is a name.
constexpr char kNameOfThisHost[] = "127.1";

TEST(NameResolverTest, AsksThePlatform) {
    NPT_List<NPT_IpAddress> addresses;
    EXPECT_EQ(NPT_NetworkNameResolver::Resolve(kNameOfThisHost, addresses), NPT_SUCCESS);
    EXPECT_GT(std::count(addresses.begin(), addresses.end(), NPT_IpAddress(127, 0, 0, 1)), 0);
}

TEST(NameResolverTest, ResolvesANameToItsAddress) {
    NPT_IpAddress address;
    ASSERT_NE(address.Parse(kNameOfThisHost), NPT_SUCCESS);
    EXPECT_EQ(address.ResolveName(kNameOfThisHost), NPT_SUCCESS);
    EXPECT_EQ(address, NPT_IpAddress(127, 0, 0, 1));
}

TEST(NameResolverTest, ANameThatIsTooLongIsUnknown) {
    const std::string name(5000, 'x');
    NPT_List<NPT_IpAddress> addresses;
    EXPECT_EQ(NPT_NetworkNameResolver::Resolve(name.c_str(), addresses), NPT_ERROR_HOST_UNKNOWN);
    EXPECT_TRUE(addresses.IsEmpty());
}

}  // namespace
