#include "engine/search_plan.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>

#include "core/string_output_stream.h"
#include "core/system.h"
#include "http/http_client.h"

namespace {

constexpr NPT_UInt32 kLoopback = NPT_NETWORK_INTERFACE_FLAG_LOOPBACK;
constexpr NPT_UInt32 kBroadcast = NPT_NETWORK_INTERFACE_FLAG_BROADCAST;
constexpr NPT_UInt32 kMulticast = NPT_NETWORK_INTERFACE_FLAG_MULTICAST;
constexpr NPT_UInt32 kPointToPoint = NPT_NETWORK_INTERFACE_FLAG_POINT_TO_POINT;

NPT_IpAddress Parse(const char* text) {
    NPT_IpAddress address;
    EXPECT_EQ(address.Parse(text), NPT_SUCCESS) << text;
    return address;
}

class SearchPlanTest : public testing::Test {
  protected:
    struct Address {
        const char* primary;
        const char* broadcast;
    };

    void AddInterface(NPT_UInt32 flags, std::initializer_list<Address> addresses) {
        NPT_NetworkInterface& added = interfaces_.emplace_back("if", NPT_MacAddress(), flags);
        for (const Address& address : addresses) {
            added.AddAddress(NPT_NetworkInterfaceAddress(Parse(address.primary),
                                                         Parse(address.broadcast), NPT_IpAddress(),
                                                         Parse("255.255.255.0")));
        }
        list_.Add(&added);
    }

    // "b 10.0.0.255, m 10.0.0.1"
    std::string Plan() const {
        std::string text;
        for (const SenderPlan& sender : PlanSenders(list_)) {
            if (!text.empty()) text += ", ";
            text += sender.kind == SenderPlan::Kind::kBroadcast ? "b " : "m ";
            text += sender.address.ToString().GetChars();
        }
        return text;
    }

    std::deque<NPT_NetworkInterface> interfaces_;
    NPT_List<NPT_NetworkInterface*> list_;
};

TEST_F(SearchPlanTest, HasOneBroadcastSenderAndOneMulticastSenderPerAddress) {
    AddInterface(kBroadcast | kMulticast, {{"10.0.0.1", "10.0.0.255"}, {"10.0.1.1", "10.0.1.255"}});
    EXPECT_EQ(Plan(), "b 10.0.0.255, m 10.0.0.1, m 10.0.1.1");
}

TEST_F(SearchPlanTest, FollowsTheOrderOfTheInterfaces) {
    AddInterface(kBroadcast | kMulticast, {{"10.0.2.1", "10.0.2.255"}});
    AddInterface(kBroadcast | kMulticast, {{"10.0.0.1", "10.0.0.255"}});
    EXPECT_EQ(Plan(), "b 10.0.2.255, m 10.0.2.1, b 10.0.0.255, m 10.0.0.1");
}

TEST_F(SearchPlanTest, NeedsTheBroadcastFlagOnly) {
    AddInterface(kBroadcast, {{"10.0.0.1", "10.0.0.255"}});
    AddInterface(kMulticast, {{"10.0.1.1", "10.0.1.255"}});
    AddInterface(kMulticast | kPointToPoint, {{"10.0.2.1", "10.0.2.255"}});
    AddInterface(kMulticast | kLoopback, {{"127.0.0.1", "127.255.255.255"}});
    AddInterface(0, {{"10.0.3.1", "10.0.3.255"}});
    EXPECT_EQ(Plan(), "b 10.0.0.255, m 10.0.0.1");
}

TEST_F(SearchPlanTest, SkipsAnInterfaceWhoseFirstAddressIsNotSet) {
    AddInterface(kBroadcast | kMulticast,
                 {{"0.0.0.0", "255.255.255.255"}, {"10.0.0.1", "10.0.0.255"}});
    EXPECT_EQ(Plan(), "");
}

TEST_F(SearchPlanTest, KeepsALaterAddressThatIsNotSet) {
    AddInterface(kBroadcast | kMulticast,
                 {{"10.0.0.1", "10.0.0.255"}, {"0.0.0.0", "255.255.255.255"}});
    EXPECT_EQ(Plan(), "b 10.0.0.255, m 10.0.0.1, m 0.0.0.0");
}

TEST_F(SearchPlanTest, SkipsInterfacesThatAreNotThereOrHaveNoAddress) {
    list_.Add(nullptr);
    AddInterface(kBroadcast | kMulticast, {});
    EXPECT_EQ(Plan(), "");
}

TEST_F(SearchPlanTest, IsEmptyWithoutInterfaces) {
    EXPECT_EQ(Plan(), "");
}

std::string Write(NPT_HttpRequest& request) {
    NPT_String text;
    NPT_StringOutputStream stream(text);
    EXPECT_EQ(NPT_HttpClient::WriteRequest(stream, request, false), NPT_SUCCESS);
    return text.GetChars();
}

TEST(SearchRequest, OfABroadcastSenderNamesTheGroupAsHost) {
    const auto request = MakeSearchRequest({SenderPlan::Kind::kBroadcast, Parse("192.168.1.255")});
    EXPECT_EQ(request->GetUrl().GetHost(), "192.168.1.255");
    EXPECT_EQ(request->GetUrl().GetPort(), 31288);
    const char* const expected =
        "M-SEARCH * HTTP/1.1\r\n"
        "MX: 5\r\n"
        "ST: ssdp:all\r\n"
        "MAN: \"ssdp:discover\"\r\n"
        "User-Agent: UPnP/1.0\r\n"
        "Host: 239.255.255.250:31288\r\n"
        "Connection: close\r\n\r\n";
    EXPECT_EQ(Write(*request), expected);
    EXPECT_EQ(Write(*request), expected);
}

TEST(SearchRequest, OfAMulticastSenderLeavesTheHostToTheWriter) {
    const auto request = MakeSearchRequest({SenderPlan::Kind::kMulticast, Parse("192.168.1.20")});
    EXPECT_EQ(request->GetUrl().GetHost(), "239.255.255.250");
    EXPECT_EQ(request->GetUrl().GetPort(), 31288);
    const char* const expected =
        "M-SEARCH * HTTP/1.1\r\n"
        "MX: 5\r\n"
        "ST: ssdp:all\r\n"
        "MAN: \"ssdp:discover\"\r\n"
        "User-Agent: UPnP/1.0\r\n"
        "Connection: close\r\n"
        "Host: 239.255.255.250:31288\r\n\r\n";
    EXPECT_EQ(Write(*request), expected);
    EXPECT_EQ(Write(*request), expected);
}

class RandomPort : public testing::Test {
  protected:
    // Draws the numbers in turn, the last one over and over.
    std::function<NPT_UInt32()> Draw(std::vector<NPT_UInt32> numbers) {
        numbers_ = std::move(numbers);
        return [this] {
            const NPT_UInt32 number = numbers_.front();
            if (numbers_.size() > 1) numbers_.erase(numbers_.begin());
            return number;
        };
    }
    // Refuses the first ports with a code and takes what follows.
    std::function<NPT_Result(NPT_UInt16)> Refuse(std::size_t count) {
        return [this, count](NPT_UInt16 port) {
            ports_.push_back(port);
            return ports_.size() <= count ? NPT_ERROR_ADDRESS_IN_USE : NPT_SUCCESS;
        };
    }

    std::vector<NPT_UInt32> numbers_;
    std::vector<NPT_UInt16> ports_;
};

TEST_F(RandomPort, LiesBetween1024And16023) {
    const struct {
        NPT_UInt32 number;
        NPT_UInt16 port;
    } cases[] = {{0, 1024},     {14999, 16023},     {15000, 1024},
                 {32767, 3791}, {0xFFFFFFFF, 3319}, {15264, 1288}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.number);
        ports_.clear();
        EXPECT_EQ(BindToRandomPort(Draw({test.number}), Refuse(0)), NPT_SUCCESS);
        EXPECT_EQ(ports_, std::vector<NPT_UInt16>{test.port});
    }
}

TEST_F(RandomPort, IsNeverOutsideForTheSystemsRandomNumbers) {
    for (int count = 0; count < 2000; ++count)
        BindToRandomPort(NPT_System::GetRandomInteger, Refuse(0));
    for (const NPT_UInt16 port : ports_) {
        EXPECT_GE(port, 1024);
        EXPECT_LE(port, 16023);
    }
}

TEST_F(RandomPort, IsDrawnAgainUntilOneIsFree) {
    EXPECT_EQ(BindToRandomPort(Draw({1, 2, 3, 4}), Refuse(2)), NPT_SUCCESS);
    EXPECT_EQ(ports_, (std::vector<NPT_UInt16>{1025, 1026, 1027}));
}

TEST_F(RandomPort, MayBeTheTwentieth) {
    EXPECT_EQ(BindToRandomPort(Draw({5}), Refuse(19)), NPT_SUCCESS);
    EXPECT_EQ(ports_.size(), 20u);
}

TEST_F(RandomPort, IsGivenUpAfterTwentyAttempts) {
    EXPECT_EQ(BindToRandomPort(Draw({5}), Refuse(20)), NPT_ERROR_ADDRESS_IN_USE);
    EXPECT_EQ(ports_.size(), 20u);
}

}  // namespace
