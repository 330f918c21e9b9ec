#include "net/interface_platform.h"

#include <gtest/gtest.h>
#include <winsock2.h>
#include <ws2tcpip.h>

#include "net/interface_list.h"
#include "net/testing/interface_at.h"
#include "net/win32/interface_entries.h"

namespace {

using interface_platform::Entry;

const NPT_IpAddress kAddress(192, 168, 1, 20);
const NPT_IpAddress kNetmask(255, 255, 255, 0);

void Assign(sockaddr_gen& field, const NPT_IpAddress& address) {
    field.AddressIn.sin_family = AF_INET;
    field.AddressIn.sin_addr.s_addr = htonl(address.AsLong());
}

INTERFACE_INFO Record(u_long flags) {
    INTERFACE_INFO record{};
    record.iiFlags = flags;
    Assign(record.iiAddress, kAddress);
    Assign(record.iiNetmask, kNetmask);
    return record;
}

struct FlagCase {
    u_long reported;
    bool Entry::*flag;
};

class WindowsInterfaceFlagTest : public testing::TestWithParam<FlagCase> {};

TEST_P(WindowsInterfaceFlagTest, IsTakenFromTheSystemsFlags) {
    const INTERFACE_INFO records[] = {Record(GetParam().reported), Record(~GetParam().reported)};
    const NPT_List<Entry> entries = ToInterfaceEntries(records, 2);
    EXPECT_TRUE((*entries.begin()).*GetParam().flag);
    EXPECT_FALSE((*entries.GetLastItem()).*GetParam().flag);
}

INSTANTIATE_TEST_SUITE_P(WindowsInterfaceTest, WindowsInterfaceFlagTest,
                         testing::Values(FlagCase{IFF_UP, &Entry::is_up},
                                         FlagCase{IFF_LOOPBACK, &Entry::is_loopback},
                                         FlagCase{IFF_POINTTOPOINT, &Entry::is_point_to_point},
                                         FlagCase{IFF_BROADCAST, &Entry::can_broadcast},
                                         FlagCase{IFF_MULTICAST, &Entry::can_multicast}));

TEST(WindowsInterfaceTest, AWrongBroadcastAddressOfTheSystemIsNotUsed) {
    INTERFACE_INFO record = Record(IFF_UP | IFF_BROADCAST);
    Assign(record.iiBroadcastAddress, NPT_IpAddress(255, 255, 255, 255));
    OwnedInterfaces interfaces;
    AppendInterfaces(ToInterfaceEntries(&record, 1), interfaces.AsList());
    ASSERT_EQ(interfaces.AsList().GetItemCount(), 1u);
    EXPECT_EQ(AddressAt(interfaces, 0).GetPrimaryAddress(), kAddress);
    EXPECT_EQ(AddressAt(interfaces, 0).GetNetMask(), kNetmask);
    EXPECT_EQ(AddressAt(interfaces, 0).GetBroadcastAddress(), NPT_IpAddress(192, 168, 1, 255));
}

TEST(WindowsInterfaceTest, NoRecordsAreNoEntries) {
    EXPECT_TRUE(ToInterfaceEntries(nullptr, 0).IsEmpty());
}

TEST(WindowsInterfaceTest, AQueryReplacesWhatTheListHeld) {
    NPT_List<Entry> entries;
    Entry stale;
    stale.address = NPT_IpAddress(192, 0, 2, 1);
    entries.Add(stale);
    ASSERT_EQ(interface_platform::Query(entries), NPT_SUCCESS);
    for (const Entry& entry : entries)
        EXPECT_NE(entry.address, stale.address);
}

}  // namespace
