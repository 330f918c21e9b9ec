#include "net/ip_address.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(IpAddressTest, DefaultIsZero) {
    EXPECT_EQ(NPT_IpAddress().AsLong(), 0u);
    EXPECT_EQ(NPT_IpAddress().ToString(), "0.0.0.0");
}

TEST(IpAddressTest, HoldsTheMostSignificantByteFirst) {
    const NPT_IpAddress address(0xC0A80114);
    EXPECT_EQ(address, NPT_IpAddress(192, 168, 1, 20));
    EXPECT_EQ(address.AsLong(), 0xC0A80114u);
    EXPECT_EQ(address.AsBytes()[0], 192);
    EXPECT_EQ(address.AsBytes()[3], 20);
}

TEST(IpAddressTest, EveryByteTellsAddressesApart) {
    const NPT_IpAddress address(1, 2, 3, 4);
    EXPECT_EQ(address, NPT_IpAddress(1, 2, 3, 4));
    EXPECT_NE(address, NPT_IpAddress(0, 2, 3, 4));
    EXPECT_NE(address, NPT_IpAddress(1, 2, 3, 0));
}

TEST(IpAddressTest, PrintsFourDecimalNumbers) {
    EXPECT_EQ(NPT_IpAddress(192, 168, 1, 20).ToString(), "192.168.1.20");
    EXPECT_EQ(NPT_IpAddress(255, 255, 255, 255).ToString(), "255.255.255.255");
}

struct GoodText {
    const char* text;
    NPT_UInt32 value;
};

class IpAddressGoodTextTest : public testing::TestWithParam<GoodText> {};

TEST_P(IpAddressGoodTextTest, Parses) {
    NPT_IpAddress address;
    EXPECT_EQ(address.Parse(GetParam().text), NPT_SUCCESS);
    EXPECT_EQ(address.AsLong(), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(IpAddressTest, IpAddressGoodTextTest,
                         testing::Values(GoodText{"239.255.255.250", 0xEFFFFFFA},
                                         GoodText{"0.0.0.0", 0},
                                         GoodText{"255.255.255.255", 0xFFFFFFFF},
                                         GoodText{"001.002.003.004", 0x01020304},
                                         GoodText{"0000000000000000000255.0.0.00001", 0xFF000001}));

class IpAddressBadTextTest : public testing::TestWithParam<const char*> {};

TEST_P(IpAddressBadTextTest, IsASyntaxErrorAndLeavesZero) {
    NPT_IpAddress address(1, 2, 3, 4);
    EXPECT_EQ(address.Parse(GetParam()), NPT_ERROR_INVALID_SYNTAX);
    EXPECT_EQ(address, NPT_IpAddress());
}

INSTANTIATE_TEST_SUITE_P(IpAddressTest, IpAddressBadTextTest,
                         testing::Values("", ".", "...", "1", "1.2.3", "1.2.3.", "1.2.3.4.",
                                         "1.2.3.4.5", "1..2.3", ".1.2.3", "256.1.1.1", "1.1.1.256",
                                         "1.2.3.4x", "1.2.3.x", "1.2.3.4 ", " 1.2.3.4", "1 .2.3.4",
                                         "-1.2.3.4", "+1.2.3.4", "0x1.2.3.4", "1,2,3,4",
                                         "1.2.3.4294967297", "99999999999999999999999.0.0.1", "::1",
                                         "localhost"));

TEST(IpAddressTest, EveryCutOfAQuadIsASyntaxError) {
    const std::string whole = "192.168.100.20";
    for (std::size_t length = 0; length + 2 < whole.size(); ++length) {
        SCOPED_TRACE(length);
        NPT_IpAddress address;
        EXPECT_EQ(address.Parse(whole.substr(0, length).c_str()), NPT_ERROR_INVALID_SYNTAX);
    }
}

TEST(IpAddressTest, ANullTextIsAnInvalidArgument) {
    NPT_IpAddress address(1, 2, 3, 4);
    EXPECT_EQ(address.Parse(nullptr), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(address, NPT_IpAddress());
}

TEST(IpAddressTest, PrintedTextParsesBack) {
    for (const NPT_UInt32 value : {0u, 1u, 0x7F000001u, 0x0A141E28u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(value);
        NPT_IpAddress address;
        EXPECT_EQ(address.Parse(NPT_IpAddress(value).ToString().GetChars()), NPT_SUCCESS);
        EXPECT_EQ(address.AsLong(), value);
    }
}

}  // namespace
