#include "device/zo_vireonity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "core/testing/failing_allocation.h"
#include "net/owned_interfaces.h"

namespace {

using zorvane::ZoVireonity;

constexpr NPT_UInt32 kLoopback = NPT_NETWORK_INTERFACE_FLAG_LOOPBACK;
constexpr NPT_UInt32 kBroadcast = NPT_NETWORK_INTERFACE_FLAG_BROADCAST;
constexpr NPT_UInt32 kMulticast = NPT_NETWORK_INTERFACE_FLAG_MULTICAST;
constexpr NPT_UInt32 kPointToPoint = NPT_NETWORK_INTERFACE_FLAG_POINT_TO_POINT;

struct Interface {
    const char* name;
    NPT_UInt32 flags;
    std::vector<const char*> addresses;
};

const Interface kEthernet{"eth", kBroadcast | kMulticast, {"192.168.1.10"}};
const Interface kLocal{"lo", kLoopback | kMulticast, {"127.0.0.1"}};

NPT_NetworkInterface* New(const Interface& description) {
    auto* entry = new NPT_NetworkInterface(description.name, NPT_MacAddress(), description.flags);
    for (const char* text : description.addresses) {
        NPT_IpAddress address;
        EXPECT_EQ(address.Parse(text), NPT_SUCCESS);
        entry->AddAddress(NPT_NetworkInterfaceAddress(address, {}, {}, {}));
    }
    return entry;
}

// Lists given interfaces instead of the machine's. Results by call, the last one repeated.
struct Enumeration {
    std::vector<Interface> interfaces;
    std::vector<NPT_Result> results = {NPT_SUCCESS};
    std::size_t calls = 0;

    NPT_Result operator()(NPT_List<NPT_NetworkInterface*>& list) {
        for (const Interface& description : interfaces)
            list.Add(New(description));
        const NPT_Result result = results[std::min(calls, results.size() - 1)];
        ++calls;
        return result;
    }
};

// The caller's list. Whatever is missing from it was deleted, or the sanitized build reports it.
class InterfaceList {
  public:
    NPT_Result Fill(Enumeration& enumeration) {
        return ZoVireonity::GetNetworkInterfaces(AsList(), std::ref(enumeration));
    }
    void Add(const Interface& description) { AsList().Add(New(description)); }
    NPT_List<NPT_NetworkInterface*>& AsList() { return owner_.AsList(); }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const NPT_NetworkInterface* entry : owner_.AsList())
            names.push_back(entry->GetName().GetChars());
        return names;
    }

  private:
    OwnedInterfaces owner_;
};

using Names = std::vector<std::string>;

struct Choice {
    const char* what;
    std::vector<Interface> listed;
    Names kept;
};

class ZoVireonityChoice : public testing::TestWithParam<Choice> {};

}  // namespace

TEST_P(ZoVireonityChoice, KeepsTheUsableInterfaces) {
    Enumeration enumeration{GetParam().listed};
    InterfaceList interfaces;
    EXPECT_EQ(interfaces.Fill(enumeration), NPT_SUCCESS);
    EXPECT_EQ(interfaces.Names(), GetParam().kept);
}

INSTANTIATE_TEST_SUITE_P(
    Machines, ZoVireonityChoice,
    testing::Values(
        Choice{"EthernetAndLoopback", {kLocal, kEthernet}, {"eth"}},
        Choice{"SeveralInListOrder",
               {{"b", kMulticast, {"10.0.0.2"}}, kLocal, {"a", kMulticast, {"10.0.0.1"}}},
               {"b", "a"}},
        Choice{"OnlyLoopback", {kLocal}, {"lo"}},
        Choice{"SeveralLoopbacks",
               {kLocal, {"lo1", kLoopback | kMulticast, {"127.0.0.2"}}},
               {"lo", "lo1"}},
        Choice{"LoopbackWithoutMulticast", {{"lo", kLoopback, {"127.0.0.1"}}}, {}},
        Choice{"Unconfigured", {{"eth", kMulticast, {"0.0.0.0"}}}, {}},
        Choice{
            "UnconfiguredGivesWayToLoopback", {{"eth", kMulticast, {"0.0.0.0"}}, kLocal}, {"lo"}},
        Choice{"UnconfiguredLoopback", {{"lo", kLoopback | kMulticast, {"0.0.0.0"}}}, {"lo"}},
        Choice{"OnlyTheFirstAddressCounts",
               {{"late", kMulticast, {"0.0.0.0", "10.0.0.1"}},
                {"early", kMulticast, {"10.0.0.1", "0.0.0.0"}}},
               {"early"}},
        Choice{"PointToPoint",
               {{"vpn", kMulticast | kPointToPoint, {"10.0.0.1"}},
                {"lo", kMulticast | kLoopback | kPointToPoint, {"127.0.0.1"}},
                {"all", 0xFFFFFFFF, {"10.0.0.2"}}},
               {}},
        Choice{
            "WithoutMulticast", {{"eth", kBroadcast, {"10.0.0.1"}}, {"none", 0, {"10.0.0.2"}}}, {}},
        Choice{"WithoutAddress", {{"eth", kMulticast, {}}, {"lo", kMulticast | kLoopback, {}}}, {}},
        Choice{"NothingAtAll", {}, {}}),
    [](const testing::TestParamInfo<Choice>& choice) { return std::string(choice.param.what); });

TEST(ZoVireonity, AsksOnceWhenTheFirstListHasAUsableInterface) {
    Enumeration enumeration{{kEthernet, kLocal}};
    InterfaceList interfaces;
    EXPECT_EQ(interfaces.Fill(enumeration), NPT_SUCCESS);
    EXPECT_EQ(enumeration.calls, 1u);
}

TEST(ZoVireonity, AsksAgainForTheLoopbackFallback) {
    Enumeration enumeration{{kLocal}};
    InterfaceList interfaces;
    EXPECT_EQ(interfaces.Fill(enumeration), NPT_SUCCESS);
    EXPECT_EQ(enumeration.calls, 2u);
}

TEST(ZoVireonity, AFilledListSuppressesTheFallback) {
    Enumeration enumeration{{kLocal}};
    InterfaceList interfaces;
    interfaces.Add({"own", 0, {}});
    EXPECT_EQ(interfaces.Fill(enumeration), NPT_SUCCESS);
    EXPECT_EQ(interfaces.Names(), Names{"own"});
    EXPECT_EQ(enumeration.calls, 1u);
}

TEST(ZoVireonity, AppendsToAFilledList) {
    Enumeration enumeration{{kEthernet}};
    InterfaceList interfaces;
    interfaces.Add({"own", 0, {}});
    EXPECT_EQ(interfaces.Fill(enumeration), NPT_SUCCESS);
    EXPECT_EQ(interfaces.Names(), (Names{"own", "eth"}));
}

TEST(ZoVireonity, ReportsAFailingEnumeration) {
    Enumeration enumeration{{kEthernet}, {-12345}};
    InterfaceList interfaces;
    interfaces.Add({"own", 0, {}});
    EXPECT_EQ(interfaces.Fill(enumeration), -12345);
    EXPECT_EQ(interfaces.Names(), Names{"own"});
    EXPECT_EQ(enumeration.calls, 1u);
}

TEST(ZoVireonity, ReportsAFailingSecondEnumeration) {
    Enumeration enumeration{{kLocal}, {NPT_SUCCESS, -12345}};
    InterfaceList interfaces;
    EXPECT_EQ(interfaces.Fill(enumeration), -12345);
    EXPECT_EQ(interfaces.Names(), Names{});
    EXPECT_EQ(enumeration.calls, 2u);
}

TEST(ZoVireonity, SkipsAMissingInterface) {
    InterfaceList interfaces;
    const NPT_Result result = ZoVireonity::GetNetworkInterfaces(
        interfaces.AsList(), [](NPT_List<NPT_NetworkInterface*>& list) {
            list.Add(nullptr);
            list.Add(New(kEthernet));
            return NPT_SUCCESS;
        });
    EXPECT_EQ(result, NPT_SUCCESS);
    EXPECT_EQ(interfaces.Names(), Names{"eth"});
}

TEST(ZoVireonity, FreesWhatAThrowingEnumerationListed) {
    InterfaceList interfaces;
    EXPECT_THROW(
        ZoVireonity::GetNetworkInterfaces(interfaces.AsList(),
                                          [](NPT_List<NPT_NetworkInterface*>& list) -> NPT_Result {
                                              list.Add(New(kEthernet));
                                              throw std::bad_alloc();
                                          }),
        std::bad_alloc);
    EXPECT_EQ(interfaces.Names(), Names{});
}

// Whatever machine this is: only multicast interfaces with an address, none of them point-to-point,
// and loopback ones only among themselves.
TEST(ZoVireonity, ChoosesFromTheMachinesInterfaces) {
    InterfaceList interfaces;
    ASSERT_EQ(ZoVireonity::GetNetworkInterfaces(interfaces.AsList()), NPT_SUCCESS);
    std::size_t loopbacks = 0;
    for (const NPT_NetworkInterface* entry : interfaces.AsList()) {
        EXPECT_NE(entry->GetFlags() & kMulticast, 0u);
        EXPECT_EQ(entry->GetFlags() & kPointToPoint, 0u);
        EXPECT_FALSE(entry->GetAddresses().IsEmpty());
        if (entry->GetFlags() & kLoopback) ++loopbacks;
    }
    EXPECT_TRUE(loopbacks == 0 || loopbacks == interfaces.Names().size());
}
