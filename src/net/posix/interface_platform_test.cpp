#include "net/interface_platform.h"

#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <deque>

#include "net/interface_list.h"
#include "net/posix/interface_entries.h"
#include "net/testing/interface_at.h"

namespace {

using interface_platform::Entry;

// A chain as the system hands it out.
class Chain {
  public:
    ifaddrs& Add(unsigned flags, const NPT_IpAddress* address, const NPT_IpAddress* netmask) {
        records_.emplace_back();
        ifaddrs& record = records_.back();
        if (records_.size() > 1) records_[records_.size() - 2].ifa_next = &record;
        record.ifa_flags = flags;
        record.ifa_addr = Convert(address);
        record.ifa_netmask = Convert(netmask);
        return record;
    }
    sockaddr* Convert(const NPT_IpAddress* address) {
        if (!address) return nullptr;
        addresses_.emplace_back();
        addresses_.back().sin_family = AF_INET;
        addresses_.back().sin_addr.s_addr = htonl(address->AsLong());
        return reinterpret_cast<sockaddr*>(&addresses_.back());
    }
    const ifaddrs* Get() const { return &records_.front(); }

  private:
    std::deque<ifaddrs> records_;
    std::deque<sockaddr_in> addresses_;
};

const NPT_IpAddress kAddress(192, 168, 1, 20);
const NPT_IpAddress kNetmask(255, 255, 255, 0);

TEST(PosixInterfaceTest, RecordsKeepTheirOrder) {
    const NPT_IpAddress second(10, 0, 0, 1);
    Chain chain;
    chain.Add(IFF_UP, &kAddress, &kNetmask);
    chain.Add(0, &second, &kNetmask);
    const NPT_List<Entry> entries = ToInterfaceEntries(chain.Get());
    ASSERT_EQ(entries.GetItemCount(), 2u);
    EXPECT_EQ(entries.begin()->address, kAddress);
    EXPECT_EQ(entries.begin()->netmask, kNetmask);
    EXPECT_TRUE(entries.begin()->is_up);
    EXPECT_EQ(entries.GetLastItem()->address, second);
    EXPECT_FALSE(entries.GetLastItem()->is_up);
}

TEST(PosixInterfaceTest, RecordsWithoutAnIpv4AddressOrANetmaskArePassedOver) {
    Chain chain;
    chain.Add(IFF_UP, nullptr, nullptr);
    chain.Add(IFF_UP, nullptr, &kNetmask);
    chain.Add(IFF_UP, &kAddress, nullptr);
    chain.Add(IFF_UP, &kAddress, &kNetmask).ifa_addr->sa_family = AF_INET6;
    chain.Add(IFF_UP, &kAddress, &kNetmask).ifa_addr->sa_family = AF_PACKET;
    chain.Add(IFF_UP, &kAddress, &kNetmask);
    EXPECT_EQ(ToInterfaceEntries(chain.Get()).GetItemCount(), 1u);
    EXPECT_TRUE(ToInterfaceEntries(nullptr).IsEmpty());
}

struct FlagCase {
    unsigned reported;
    bool Entry::*flag;
};

class PosixInterfaceFlagTest : public testing::TestWithParam<FlagCase> {};

TEST_P(PosixInterfaceFlagTest, IsTakenFromTheSystemsFlags) {
    Chain chain;
    chain.Add(GetParam().reported, &kAddress, &kNetmask);
    chain.Add(~GetParam().reported, &kAddress, &kNetmask);
    const NPT_List<Entry> entries = ToInterfaceEntries(chain.Get());
    EXPECT_TRUE((*entries.begin()).*GetParam().flag);
    EXPECT_FALSE((*entries.GetLastItem()).*GetParam().flag);
}

INSTANTIATE_TEST_SUITE_P(PosixInterfaceTest, PosixInterfaceFlagTest,
                         testing::Values(FlagCase{IFF_UP, &Entry::is_up},
                                         FlagCase{IFF_LOOPBACK, &Entry::is_loopback},
                                         FlagCase{IFF_POINTOPOINT, &Entry::is_point_to_point},
                                         FlagCase{IFF_BROADCAST, &Entry::can_broadcast},
                                         FlagCase{IFF_MULTICAST, &Entry::can_multicast}));

TEST(PosixInterfaceTest, AWrongBroadcastAddressOfTheSystemIsNotUsed) {
    const NPT_IpAddress wrong(10, 99, 99, 99);
    Chain chain;
    chain.Add(IFF_UP | IFF_BROADCAST, &kAddress, &kNetmask).ifa_broadaddr = chain.Convert(&wrong);
    OwnedInterfaces interfaces;
    AppendInterfaces(ToInterfaceEntries(chain.Get()), interfaces.AsList());
    EXPECT_EQ(AddressAt(interfaces, 0).GetBroadcastAddress(), NPT_IpAddress(192, 168, 1, 255));
}

TEST(PosixInterfaceTest, OnlyIpv4RecordsCountTowardsTheLimit) {
    Chain chain;
    for (NPT_UInt32 number = 0; number < 40; ++number) {
        const NPT_IpAddress address(0x0A000000 + number);
        chain.Add(IFF_UP, &address, &kNetmask).ifa_addr->sa_family = AF_INET6;
        chain.Add(number == 0 ? 0 : IFF_UP, &address, &kNetmask);
    }
    OwnedInterfaces interfaces;
    AppendInterfaces(ToInterfaceEntries(chain.Get()), interfaces.AsList());
    ASSERT_EQ(interfaces.AsList().GetItemCount(), 31u);
    EXPECT_EQ(AddressAt(interfaces, 30).GetPrimaryAddress(), NPT_IpAddress(10, 0, 0, 31));
}

TEST(PosixInterfaceTest, AQueryThatTheSystemRefusesLeavesNothing) {
    NPT_List<Entry> entries;
    entries.Add(Entry());
    rlimit files{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
    const rlimit none{0, files.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const NPT_Result result = interface_platform::Query(entries);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
    EXPECT_EQ(result, NPT_FAILURE);
    EXPECT_TRUE(entries.IsEmpty());
}

TEST(PosixInterfaceTest, AQueryReplacesWhatTheListHeld) {
    NPT_List<Entry> entries;
    Entry stale;
    stale.address = NPT_IpAddress(192, 0, 2, 1);
    entries.Add(stale);
    ASSERT_EQ(interface_platform::Query(entries), NPT_SUCCESS);
    for (const Entry& entry : entries)
        EXPECT_NE(entry.address, stale.address);
}

}  // namespace
