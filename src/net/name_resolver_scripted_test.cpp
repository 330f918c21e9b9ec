#include "net/name_resolver.h"

#include <gtest/gtest.h>

#include "net/testing/scripted_platform.h"

namespace {

socket_platform::ResolvedAddress Line(const NPT_IpAddress& address, int protocol,
                                      NPT_UInt32 length = 16, bool is_ipv4 = true) {
    socket_platform::ResolvedAddress line;
    line.is_ipv4 = is_ipv4;
    line.address_length = length;
    line.protocol = protocol;
    line.address = address;
    return line;
}

const NPT_IpAddress kFirst(10, 0, 0, 1);
const NPT_IpAddress kSecond(10, 0, 0, 2);

TEST(NameResolverScriptedTest, KeepsIpv4LinesOfTcpAndOfAnyProtocolInOrder) {
    ScriptedPlatform platform;
    platform.answer.Add(Line(NPT_IpAddress(), 6, 28, false));
    platform.answer.Add(Line(NPT_IpAddress(10, 0, 0, 9), 17));
    platform.answer.Add(Line(NPT_IpAddress(10, 0, 0, 8), 6, 15));
    platform.answer.Add(Line(kSecond, 6));
    platform.answer.Add(Line(kFirst, 0, 28));
    NPT_List<NPT_IpAddress> addresses;
    addresses.Add(NPT_IpAddress(1, 1, 1, 1));
    EXPECT_EQ(NPT_NetworkNameResolver::Resolve("host", addresses), NPT_SUCCESS);
    ASSERT_EQ(addresses.GetItemCount(), 2u);
    EXPECT_EQ(*addresses.begin(), kSecond);
    EXPECT_EQ(*addresses.GetLastItem(), kFirst);
}

TEST(NameResolverScriptedTest, ListsAnAddressAsOftenAsThePlatformDoes) {
    ScriptedPlatform platform;
    platform.answer.Add(Line(kFirst, 6));
    platform.answer.Add(Line(kFirst, 0));
    NPT_List<NPT_IpAddress> addresses;
    NPT_NetworkNameResolver::Resolve("host", addresses);
    EXPECT_EQ(addresses.GetItemCount(), 2u);
}

TEST(NameResolverScriptedTest, StopsAt1024Addresses) {
    ScriptedPlatform platform;
    for (NPT_UInt32 number = 0; number < 1100; ++number)
        platform.answer.Add(Line(NPT_IpAddress(number), 6));
    NPT_List<NPT_IpAddress> addresses;
    EXPECT_EQ(NPT_NetworkNameResolver::Resolve("host", addresses), NPT_SUCCESS);
    EXPECT_EQ(addresses.GetItemCount(), 1024u);
    EXPECT_EQ(*addresses.GetLastItem(), NPT_IpAddress(1023));
}

TEST(NameResolverScriptedTest, AFailedLookUpEmptiesTheList) {
    ScriptedPlatform platform;
    platform.failing_name = "LookUpName";
    NPT_List<NPT_IpAddress> addresses;
    addresses.Add(kFirst);
    EXPECT_EQ(NPT_NetworkNameResolver::Resolve("host", addresses), NPT_ERROR_HOST_UNKNOWN);
    EXPECT_TRUE(addresses.IsEmpty());
}

TEST(ResolveNameScriptedTest, ADottedQuadIsNotLookedUp) {
    ScriptedPlatform platform;
    NPT_IpAddress address;
    EXPECT_EQ(address.ResolveName("239.255.255.250", 300000000), NPT_SUCCESS);
    EXPECT_EQ(address, NPT_IpAddress(239, 255, 255, 250));
    EXPECT_EQ(platform.CountOf("LookUpName"), 0);
}

TEST(ResolveNameScriptedTest, NoNameIsNotLookedUp) {
    ScriptedPlatform platform;
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        NPT_IpAddress address = kFirst;
        EXPECT_EQ(address.ResolveName(name), NPT_ERROR_HOST_UNKNOWN);
        EXPECT_EQ(address, NPT_IpAddress());
    }
    EXPECT_EQ(platform.CountOf("LookUpName"), 0);
}

TEST(ResolveNameScriptedTest, TakesTheFirstAddressOfAName) {
    ScriptedPlatform platform;
    platform.answer.Add(Line(kFirst, 6));
    platform.answer.Add(Line(kSecond, 6));
    NPT_IpAddress address;
    EXPECT_EQ(address.ResolveName("host", 0), NPT_SUCCESS);
    EXPECT_EQ(address, kFirst);
}

TEST(ResolveNameScriptedTest, FailuresLeaveTheAddressZero) {
    ScriptedPlatform platform;
    NPT_IpAddress address = kFirst;
    EXPECT_EQ(address.ResolveName("host"), NPT_ERROR_NO_ADDRESS);
    EXPECT_EQ(address, NPT_IpAddress());
    address = kFirst;
    platform.failing_name = "LookUpName";
    EXPECT_EQ(address.ResolveName("host"), NPT_ERROR_HOST_UNKNOWN);
    EXPECT_EQ(address, NPT_IpAddress());
}

}  // namespace
