#include "net/interface_list.h"

#include <gtest/gtest.h>

#include <new>

#include "core/testing/failing_allocation.h"
#include "net/testing/interface_at.h"

namespace {

using interface_platform::Entry;

Entry Up(const NPT_IpAddress& address, const NPT_IpAddress& netmask) {
    Entry entry;
    entry.address = address;
    entry.netmask = netmask;
    entry.is_up = true;
    return entry;
}

Entry Numbered(NPT_UInt32 number, bool is_up) {
    Entry entry = Up(NPT_IpAddress(0x0A000000 + number), NPT_IpAddress(255, 0, 0, 0));
    entry.is_up = is_up;
    return entry;
}

TEST(InterfaceListTest, AnEntryBecomesAnInterfaceWithOneAddress) {
    NPT_List<Entry> entries;
    entries.Add(Up(NPT_IpAddress(192, 168, 1, 20), NPT_IpAddress(255, 255, 255, 0)));
    OwnedInterfaces interfaces;
    AppendInterfaces(entries, interfaces.AsList());
    ASSERT_EQ(interfaces.AsList().GetItemCount(), 1u);
    const NPT_NetworkInterface& made = InterfaceAt(interfaces, 0);
    EXPECT_EQ(made.GetName(), "if00");
    EXPECT_EQ(made.GetFlags(), 0u);
    EXPECT_EQ(made.GetMacAddress().type, 0u);
    EXPECT_EQ(made.GetMacAddress().length, 0u);
    EXPECT_EQ(made.GetMacAddress().bytes, (std::array<NPT_UInt8, 8>{}));
    ASSERT_EQ(made.GetAddresses().GetItemCount(), 1u);
    const NPT_NetworkInterfaceAddress& address = AddressAt(interfaces, 0);
    EXPECT_EQ(address.GetPrimaryAddress(), NPT_IpAddress(192, 168, 1, 20));
    EXPECT_EQ(address.GetBroadcastAddress(), NPT_IpAddress(192, 168, 1, 255));
    EXPECT_EQ(address.GetDestinationAddress(), NPT_IpAddress());
    EXPECT_EQ(address.GetNetMask(), NPT_IpAddress(255, 255, 255, 0));
}

struct BroadcastCase {
    NPT_IpAddress address;
    NPT_IpAddress netmask;
    NPT_IpAddress broadcast;
};

class InterfaceBroadcastTest : public testing::TestWithParam<BroadcastCase> {};

TEST_P(InterfaceBroadcastTest, FollowsFromAddressAndNetmask) {
    NPT_List<Entry> entries;
    entries.Add(Up(GetParam().address, GetParam().netmask));
    OwnedInterfaces interfaces;
    AppendInterfaces(entries, interfaces.AsList());
    EXPECT_EQ(AddressAt(interfaces, 0).GetBroadcastAddress(), GetParam().broadcast);
}

INSTANTIATE_TEST_SUITE_P(
    InterfaceListTest, InterfaceBroadcastTest,
    testing::Values(BroadcastCase{{10, 20, 30, 40}, {255, 0, 0, 0}, {10, 255, 255, 255}},
                    BroadcastCase{{172, 16, 5, 9}, {255, 255, 252, 0}, {172, 16, 7, 255}},
                    BroadcastCase{{192, 168, 1, 20}, {255, 255, 255, 240}, {192, 168, 1, 31}},
                    BroadcastCase{{10, 8, 0, 6}, {255, 255, 255, 255}, {10, 8, 0, 6}},
                    BroadcastCase{{10, 8, 0, 6}, {0, 0, 0, 0}, {255, 255, 255, 255}},
                    BroadcastCase{{10, 1, 2, 3}, {255, 0, 255, 0}, {10, 255, 2, 255}},
                    BroadcastCase{{0, 0, 0, 0}, {255, 255, 0, 0}, {0, 0, 255, 255}}));

struct FlagCase {
    bool Entry::*reported;
    NPT_UInt32 flag;
};

class InterfaceFlagTest : public testing::TestWithParam<FlagCase> {};

TEST_P(InterfaceFlagTest, IsSetByWhatThePlatformReportsAlone) {
    Entry entry = Numbered(1, true);
    entry.*GetParam().reported = true;
    NPT_List<Entry> entries;
    entries.Add(entry);
    OwnedInterfaces interfaces;
    AppendInterfaces(entries, interfaces.AsList());
    EXPECT_EQ(InterfaceAt(interfaces, 0).GetFlags(), GetParam().flag);
}

INSTANTIATE_TEST_SUITE_P(InterfaceListTest, InterfaceFlagTest,
                         testing::Values(FlagCase{&Entry::is_loopback, 0x01},
                                         FlagCase{&Entry::can_broadcast, 0x04},
                                         FlagCase{&Entry::can_multicast, 0x08},
                                         FlagCase{&Entry::is_point_to_point, 0x10}));

TEST(InterfaceListTest, FlagsAddUp) {
    Entry entry = Numbered(1, true);
    entry.is_loopback = entry.can_broadcast = true;
    entry.can_multicast = entry.is_point_to_point = true;
    NPT_List<Entry> entries;
    entries.Add(entry);
    OwnedInterfaces interfaces;
    AppendInterfaces(entries, interfaces.AsList());
    EXPECT_EQ(InterfaceAt(interfaces, 0).GetFlags(), 0x1Du);
}

TEST(InterfaceListTest, ADownInterfaceIsSkippedAndTakesNoNumber) {
    NPT_List<Entry> entries;
    for (NPT_UInt32 number = 0; number < 6; ++number)
        entries.Add(Numbered(number, number % 2 == 1));
    OwnedInterfaces interfaces;
    AppendInterfaces(entries, interfaces.AsList());
    ASSERT_EQ(interfaces.AsList().GetItemCount(), 3u);
    EXPECT_EQ(InterfaceAt(interfaces, 0).GetName(), "if00");
    EXPECT_EQ(InterfaceAt(interfaces, 1).GetName(), "if01");
    EXPECT_EQ(InterfaceAt(interfaces, 2).GetName(), "if02");
    EXPECT_EQ(AddressAt(interfaces, 0).GetPrimaryAddress(), NPT_IpAddress(10, 0, 0, 1));
    EXPECT_EQ(AddressAt(interfaces, 2).GetPrimaryAddress(), NPT_IpAddress(10, 0, 0, 5));
}

TEST(InterfaceListTest, NumbersBeginAnewBehindWhatTheListHeld) {
    NPT_List<Entry> entries;
    entries.Add(Numbered(1, true));
    OwnedInterfaces interfaces;
    AppendInterfaces(entries, interfaces.AsList());
    AppendInterfaces(entries, interfaces.AsList());
    ASSERT_EQ(interfaces.AsList().GetItemCount(), 2u);
    EXPECT_EQ(InterfaceAt(interfaces, 1).GetName(), "if00");
}

TEST(InterfaceListTest, NoEntriesAddNothing) {
    OwnedInterfaces interfaces;
    AppendInterfaces(NPT_List<Entry>(), interfaces.AsList());
    EXPECT_TRUE(interfaces.AsList().IsEmpty());
}

TEST(InterfaceListTest, LooksAtTheFirst32EntriesUpOrDown) {
    NPT_List<Entry> entries;
    for (NPT_UInt32 number = 0; number < 40; ++number)
        entries.Add(Numbered(number, number >= 20));
    OwnedInterfaces interfaces;
    AppendInterfaces(entries, interfaces.AsList());
    ASSERT_EQ(interfaces.AsList().GetItemCount(), 12u);
    EXPECT_EQ(InterfaceAt(interfaces, 11).GetName(), "if11");
    EXPECT_EQ(AddressAt(interfaces, 11).GetPrimaryAddress(), NPT_IpAddress(10, 0, 0, 31));
}

TEST(InterfaceListTest, LosesNoInterfaceToARefusedAllocation) {
    NPT_List<Entry> entries;
    entries.Add(Numbered(1, true));
    entries.Add(Numbered(2, true));
    bool refused = true;
    for (long nth = 1; refused; ++nth) {
        // Whatever is in neither this list nor deleted, the sanitized build reports.
        OwnedInterfaces interfaces;
        const FailingAllocation failing(nth);
        try {
            AppendInterfaces(entries, interfaces.AsList());
            EXPECT_EQ(interfaces.AsList().GetItemCount(), 2u);
        } catch (const std::bad_alloc&) {
            EXPECT_LT(interfaces.AsList().GetItemCount(), 2u);
        }
        refused = failing.HasHappened();
    }
}

TEST(InterfaceListTest, All32MayBeUp) {
    NPT_List<Entry> entries;
    for (NPT_UInt32 number = 0; number < 33; ++number)
        entries.Add(Numbered(number, true));
    OwnedInterfaces interfaces;
    AppendInterfaces(entries, interfaces.AsList());
    ASSERT_EQ(interfaces.AsList().GetItemCount(), 32u);
    EXPECT_EQ(InterfaceAt(interfaces, 31).GetName(), "if31");
}

TEST(InterfaceListTest, ThisHostsLoopbackIsListed) {
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
