#include "device/zo_ssdp_device_info.h"

#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <set>
#include <string>

#include "core/system.h"

namespace {

NPT_TimeInterval Nanos(NPT_Int64 nanoseconds) {
    return NPT_TimeInterval::FromNanos(nanoseconds);
}

bool IsUuid(const NPT_String& text) {
    static const std::regex kForm("[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}");
    return std::regex_match(text.GetChars(), kForm);
}

ZoSsdpDeviceInfo RecordAt(const char* description_url) {
    return ZoSsdpDeviceInfo(NPT_HttpUrl(description_url));
}

std::string Text(const NPT_String& text) {
    return text.GetChars();
}

}  // namespace

TEST(ZoSsdpDeviceInfo, HasDefaultsWithoutArguments) {
    ZoSsdpDeviceInfo record;
    EXPECT_EQ(record.GetUUID().GetLength(), 36u);
    EXPECT_TRUE(IsUuid(record.GetUUID())) << record.GetUUID().GetChars();
    EXPECT_EQ(record.GetLeaseTime().ToNanos(), 1800 * NPT_Int64{1000000000});
    EXPECT_EQ(Text(record.m_Manufacturer), "Zorvane Corporation");
    EXPECT_EQ(Text(record.m_ManufacturerURL), kDefaultManufacturerUrl);
    EXPECT_EQ(Text(record.GetURLBase().GetPath()), "/");
    EXPECT_EQ(Text(record.GetDescriptionUrl()), "http://:0/description.xml");
    EXPECT_EQ(Text(record.GetType()), "");
    EXPECT_EQ(Text(record.GetFriendlyName()), "");
    EXPECT_EQ(record.GetBootId(), 0u);
    for (const NPT_String* text :
         {&record.m_ModelDescription, &record.m_ModelName, &record.m_ModelNumber,
          &record.m_ModelURL, &record.m_SerialNumber, &record.m_PresentationURL, &record.m_HttpPort,
          &record.m_HttpsPort, &record.m_WebsocketPort, &record.m_DBStatus, &record.m_Version}) {
        EXPECT_TRUE(text->IsEmpty());
    }
}

TEST(ZoSsdpDeviceInfo, GeneratesAUuidOnlyWhenNoneIsGiven) {
    const NPT_HttpUrl url("http://10.0.0.1:8080/d.xml");
    EXPECT_TRUE(IsUuid(ZoSsdpDeviceInfo(url, "").GetUUID()));
    EXPECT_TRUE(IsUuid(ZoSsdpDeviceInfo(url, nullptr).GetUUID()));
    EXPECT_EQ(Text(ZoSsdpDeviceInfo(url, "no uuid").GetUUID()), "no uuid");
    EXPECT_EQ(Text(ZoSsdpDeviceInfo(url, " ").GetUUID()), " ");
}

TEST(ZoSsdpDeviceInfo, KeepsItsArguments) {
    const ZoSsdpDeviceInfo record(NPT_HttpUrl("http://10.0.0.1:8080/d.xml"), "u",
                                  NPT_TimeInterval::FromSeconds(60), "type", "name");
    EXPECT_EQ(Text(record.GetUUID()), "u");
    EXPECT_EQ(record.GetLeaseTime().ToSeconds(), 60);
    EXPECT_EQ(Text(record.GetType()), "type");
    EXPECT_EQ(Text(record.GetFriendlyName()), "name");
}

TEST(ZoSsdpDeviceInfo, ReadsNullTextsAsEmpty) {
    const ZoSsdpDeviceInfo record(NPT_HttpUrl(), "u", NPT_TimeInterval(), nullptr, nullptr);
    EXPECT_TRUE(record.GetType().IsEmpty());
    EXPECT_TRUE(record.GetFriendlyName().IsEmpty());
}

TEST(ZoSsdpDeviceInfo, DoesNotBelieveShortLeases) {
    constexpr NPT_Int64 kSecond = 1000000000;
    const struct {
        NPT_Int64 given, kept;
    } cases[] = {
        {9999000000, 1800 * kSecond},
        {10 * kSecond, 10 * kSecond},
        {10 * kSecond + 1, 10 * kSecond + 1},
        {-5 * kSecond, 1800 * kSecond},
        {0, 1800 * kSecond},
        {INT64_MIN, 1800 * kSecond},
        {INT64_MAX, INT64_MAX},
    };
    ZoSsdpDeviceInfo record;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.given);
        EXPECT_EQ(record.SetLeaseTime(Nanos(c.given)), NPT_SUCCESS);
        EXPECT_EQ(record.GetLeaseTime().ToNanos(), c.kept);
        EXPECT_EQ(record.SetLeaseTime(Nanos(c.given), NPT_TimeStamp(12.5)), NPT_SUCCESS);
        EXPECT_EQ(record.GetLeaseTime().ToNanos(), c.kept);
        const ZoSsdpDeviceInfo made(NPT_HttpUrl(), "", Nanos(c.given));
        EXPECT_EQ(made.GetLeaseTime().ToNanos(), c.kept);
    }
}

TEST(ZoSsdpDeviceInfo, TheLeaseStaysAtOneAddress) {
    ZoSsdpDeviceInfo record;
    const NPT_TimeInterval* lease = &record.GetLeaseTime();
    record.SetLeaseTime(NPT_TimeInterval::FromSeconds(77));
    EXPECT_EQ(&record.GetLeaseTime(), lease);
    EXPECT_EQ(lease->ToSeconds(), 77);
}

TEST(ZoSsdpDeviceInfo, DerivesTheUrlBaseFromTheDescriptionUrl) {
    const struct {
        const char* path;
        const char* base_path;
    } cases[] = {
        {"/a/b/desc.xml", "/a/b/"}, {"/dev/", "/dev/"}, {"/", "/"},       {"//", "//"},
        {"desc.xml", ""},           {"", ""},           {"a/desc", "a/"}, {"/a%20b/c", "/a%20b/"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        ZoSsdpDeviceInfo record(NPT_HttpUrl("10.0.0.1", 8080, c.path, "q", "f"));
        const NPT_HttpUrl base = record.GetURLBase();
        EXPECT_EQ(Text(base.GetScheme()), "http");
        EXPECT_EQ(Text(base.GetHost()), "10.0.0.1");
        EXPECT_EQ(base.GetPort(), 8080);
        EXPECT_EQ(Text(base.GetPath()), c.base_path);
        EXPECT_FALSE(base.HasQuery());
        EXPECT_FALSE(base.HasFragment());
    }
}

TEST(ZoSsdpDeviceInfo, UrlBaseKeepsSchemeAndIpv6Host) {
    const ZoSsdpDeviceInfo record = RecordAt("https://[fe80::1]:1900/a/b");
    const NPT_HttpUrl base = record.GetURLBase();
    EXPECT_EQ(Text(base.GetHost()), "fe80::1");
    EXPECT_TRUE(base.IsHostIpv6());
    EXPECT_EQ(Text(base.ToString()), "https://[fe80::1]:1900/a/");
}

TEST(ZoSsdpDeviceInfo, SetUrlBaseKeepsPortAndHostThatTheNewUrlLacks) {
    ZoSsdpDeviceInfo record = RecordAt("http://[fe80::1]:8080/old/x");
    NPT_HttpUrl partial("", 0, "/new/x");
    EXPECT_EQ(record.SetURLBase(partial), NPT_SUCCESS);
    EXPECT_EQ(Text(record.GetURLBase().ToString()), "http://[fe80::1]:8080/new/");
}

TEST(ZoSsdpDeviceInfo, SetUrlBaseFailsWithoutAnyDirectory) {
    ZoSsdpDeviceInfo record = RecordAt("http://10.0.0.1:8080/old/x");
    NPT_HttpUrl flat("10.0.0.2", 81, "desc.xml");
    EXPECT_EQ(record.SetURLBase(flat), NPT_FAILURE);
    EXPECT_EQ(Text(record.GetURLBase().ToString()), "http://10.0.0.2:81/old/");
    EXPECT_EQ(Text(flat.GetPath()), "desc.xml");
}

TEST(ZoSsdpDeviceInfo, TheUrlBaseIsACopy) {
    ZoSsdpDeviceInfo record = RecordAt("http://10.0.0.1:8080/a/b");
    NPT_HttpUrl base = record.GetURLBase();
    base.SetPath("/other/");
    EXPECT_EQ(Text(record.GetURLBase().GetPath()), "/a/");
}

TEST(ZoSsdpDeviceInfo, DescriptionUrlTakesTheBindAddressAsHost) {
    const ZoSsdpDeviceInfo record = RecordAt("http://10.0.0.1:8080/description.xml?a=b#top");
    EXPECT_EQ(Text(record.GetDescriptionUrl(nullptr)),
              "http://10.0.0.1:8080/description.xml?a=b#top");
    EXPECT_EQ(Text(record.GetDescriptionUrl("192.168.1.5")),
              "http://192.168.1.5:8080/description.xml?a=b#top");
    EXPECT_EQ(Text(record.GetDescriptionUrl("")), "http://:8080/description.xml?a=b#top");
    EXPECT_EQ(Text(record.GetDescriptionUrl("[fe80::1]")),
              "http://[fe80::1]:8080/description.xml?a=b#top");
    EXPECT_EQ(Text(record.GetDescriptionUrl("h:99")), "http://h:99/description.xml?a=b#top");
    EXPECT_EQ(Text(record.GetDescriptionUrl()), "http://10.0.0.1:8080/description.xml?a=b#top");
}

TEST(ZoSsdpDeviceInfo, DescriptionUrlLeavesOutTheDefaultPort) {
    EXPECT_EQ(Text(RecordAt("http://10.0.0.1:80/d.xml").GetDescriptionUrl()),
              "http://10.0.0.1/d.xml");
    EXPECT_EQ(Text(RecordAt("https://10.0.0.1:80/d.xml").GetDescriptionUrl()),
              "https://10.0.0.1:80/d.xml");
}

TEST(ZoSsdpDeviceInfo, BootIdsChangeOnlyWhenSet) {
    ZoSsdpDeviceInfo record;
    record.SetBootId(7);
    record.SetNextBootId(8);
    EXPECT_EQ(record.GetBootId(), 7u);
    record.GenerateNextBootId();
    EXPECT_EQ(record.GetBootId(), 7u);
}

TEST(ZoSsdpDeviceInfo, TheNextBootIdIsTheCurrentSecond) {
    const ZoSsdpDeviceInfo record;
    NPT_TimeStamp before;
    NPT_TimeStamp after;
    NPT_System::GetCurrentTimeStamp(before);
    const NPT_UInt32 next = record.GenerateNextBootId();
    NPT_System::GetCurrentTimeStamp(after);
    EXPECT_GE(next, static_cast<NPT_UInt32>(before.ToSeconds()));
    EXPECT_LE(next, static_cast<NPT_UInt32>(after.ToSeconds()));
}

TEST(ZoSsdpDeviceInfo, TheNextBootIdNeverRepeatsTheCurrentOne) {
    ZoSsdpDeviceInfo record;
    for (int round = 0; round < 1000; ++round) {
        record.SetBootId(record.GenerateNextBootId());
        EXPECT_NE(record.GenerateNextBootId(), record.GetBootId());
    }
}

TEST(ZoSsdpDeviceInfo, HasAConfigIdFromTheStart) {
    EXPECT_NE(ZoSsdpDeviceInfo().GetConfigId(), 0u);
}

TEST(ZoSsdpDeviceInfo, EachConfigIdDiffersFromTheLast) {
    ZoSsdpDeviceInfo record;
    for (int round = 0; round < 100000; ++round) {
        const NPT_UInt32 last = record.GetConfigId();
        record.UpdateConfigId();
        ASSERT_NE(record.GetConfigId(), last);
        ASSERT_LE(record.GetConfigId(), 16777215u);
    }
}

TEST(ZoSsdpDeviceInfo, GeneratedUuidsDiffer) {
    std::set<std::string> seen;
    for (int round = 0; round < 100; ++round)
        seen.insert(Text(ZoSsdpDeviceInfo().GetUUID()));
    EXPECT_EQ(seen.size(), 100u);
}

TEST(ZoSsdpDeviceInfo, GetModelDescriptionIsThePublicField) {
    ZoSsdpDeviceInfo record;
    record.m_ModelDescription = "model";
    EXPECT_EQ(&record.GetModelDescription(), &record.m_ModelDescription);
}

// Sibling modules and debuggers read the texts where they stand: behind the one pointer to the
// virtual operations, one pointer each, in declared order.
TEST(ZoSsdpDeviceInfo, PublicTextsStandInDeclaredOrder) {
    const ZoSsdpDeviceInfo record;
    const NPT_String* const texts[] = {
        &record.m_Manufacturer, &record.m_ManufacturerURL, &record.m_ModelDescription,
        &record.m_ModelName,    &record.m_ModelNumber,     &record.m_ModelURL,
        &record.m_SerialNumber, &record.m_PresentationURL, &record.m_HttpPort,
        &record.m_HttpsPort,    &record.m_WebsocketPort,   &record.m_DBStatus,
        &record.m_Version,      &record.GetUUID(),
    };
    const char* expected = reinterpret_cast<const char*>(&record) + sizeof(void*);
    for (const NPT_String* text : texts) {
        EXPECT_EQ(reinterpret_cast<const char*>(text), expected);
        expected += sizeof(void*);
    }
}
