#include "engine/search_answer.h"

#include <gtest/gtest.h>

#include "engine/testing/search_answers.h"

namespace {

using search_answers::Complete;
using search_answers::Headers;
using search_answers::kDeviceType;
using search_answers::Make;
using search_answers::With;
using search_answers::Without;

Headers Identity(const std::string& search_target, const std::string& usn) {
    return {{"ST", search_target}, {"USN", usn}, {"EXT", ""}};
}

TEST(SearchAnswerUuid, StandsBeforeTheSearchTarget) {
    const std::string type = kDeviceType;
    const struct {
        std::string search_target;
        std::string usn;
        const char* uuid;
    } cases[] = {
        {type, "uuid:abc::" + type, "abc"},
        {type, "uuid:abc::URN:SCHEMAS-UPNP-ORG:DEVICE:zomediaserver:1", "abc"},
        // The prefix is dropped unseen.
        {type, "12345abc::" + type, "abc"},
        {type, "abc::" + type, ""},
        {type, "::" + type, ""},
        {"", "uuid:abc::", "abc"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.usn);
        NPT_String uuid("old");
        EXPECT_EQ(ReadUuid(*Make(Identity(test.search_target, test.usn)), uuid), NPT_SUCCESS);
        EXPECT_STREQ(uuid.GetChars(), test.uuid);
    }
}

TEST(SearchAnswerUuid, NeedsAUsnOfTwoPartsThatEndsInTheSearchTarget) {
    const std::string type = kDeviceType;
    const struct {
        std::string search_target;
        std::string usn;
    } cases[] = {
        {"uuid:abc", "uuid:abc"},
        {type, "uuid:abc"},
        {type, "uuid:abc::" + type + "::more"},
        {type, "uuid:abc::::" + type},
        {type, "uuid:abc::upnp:rootdevice"},
        {type, "uuid:::" + type},
        {type, "uuid:abc::" + type + " "},
        {type, ""},
        {"", ""},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.usn);
        NPT_String uuid("old");
        EXPECT_EQ(ReadUuid(*Make(Identity(test.search_target, test.usn)), uuid), NPT_FAILURE);
        EXPECT_TRUE(uuid.IsEmpty());
    }
}

TEST(SearchAnswerUuid, NeedsAllThreeHeaders) {
    for (const char* name : {"ST", "USN", "EXT"}) {
        SCOPED_TRACE(name);
        NPT_String uuid("old");
        EXPECT_EQ(ReadUuid(*Make(Without(Complete(), name)), uuid), NPT_ERROR_INVALID_ARGUMENT);
        EXPECT_TRUE(uuid.IsEmpty());
    }
}

TEST(SearchAnswerUuid, ComesFromTheFirstOfSeveralHeaders) {
    Headers headers = Complete();
    headers.emplace_back("usn", "uuid:other::upnp:rootdevice");
    NPT_String uuid;
    EXPECT_EQ(ReadUuid(*Make(headers), uuid), NPT_SUCCESS);
    EXPECT_EQ(uuid, "abc");
}

TEST(SearchAnswerDeviceType, IsLookedForAnywhereWithItsCase) {
    const std::string type = kDeviceType;
    EXPECT_TRUE(IsMediaServer(("uuid:abc::" + type).c_str()));
    EXPECT_TRUE(IsMediaServer((type + "23").c_str()));
    EXPECT_FALSE(IsMediaServer("uuid:abc::upnp:rootdevice"));
    EXPECT_FALSE(IsMediaServer("uuid:abc::urn:schemas-upnp-org:device:zomediaserver:1"));
    EXPECT_FALSE(IsMediaServer(""));
}

TEST(SearchAnswerLocation, OfALoopbackHostBecomesTheResponder) {
    const NPT_IpAddress responder(192, 168, 1, 20);
    const struct {
        const char* location;
        const char* url;
    } cases[] = {
        {"http://localhost:8080/a/b.xml?c=d#e", "http://192.168.1.20:8080/a/b.xml?c=d#e"},
        {"http://127.0.0.1:8080/", "http://192.168.1.20:8080/"},
        {"http://127.0.0.1/", "http://192.168.1.20/"},
        {"https://localhost/", "https://192.168.1.20/"},
        {"http://LOCALHOST:8080/", "http://LOCALHOST:8080/"},
        {"http://127.0.0.2:8080/", "http://127.0.0.2:8080/"},
        {"http://10.0.0.1:8080/x", "http://10.0.0.1:8080/x"},
        {"http://localhost.example:8080/x", "http://localhost.example:8080/x"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.location);
        const NPT_HttpUrl url = ReadLocation(test.location, responder);
        EXPECT_TRUE(url.IsValid());
        EXPECT_STREQ(url.ToString().GetChars(), test.url);
    }
}

TEST(SearchAnswerLocation, MayBeInvalid) {
    for (const char* location : {"", "den", "ftp://localhost/", "http://", "http://:80/",
                                 "http://localhost:99999/", "://", "localhost"}) {
        SCOPED_TRACE(location);
        EXPECT_FALSE(ReadLocation(location, NPT_IpAddress(10, 0, 0, 1)).IsValid());
    }
}

TEST(SearchAnswerLeaseTime, IsTheMaxAgeAsFarAsItFits) {
    const struct {
        const char* directive;
        NPT_Int64 seconds;
    } cases[] = {
        {"max-age=60", 60},
        {"MAX-AGE=60", 60},
        {"max-age= 60, private", 60},
        {"max-age=0", 0},
        {"max-age=-5", -5},
        {"max-age=2147483647", 2147483647},
        {"max-age=-2147483648", -2147483648LL},
        {"max-age=2147483648", 1800},
        {"max-age=-2147483649", 1800},
        {"max-age=4294967356", 1800},
        {"max-age=99999999999999999999999", 1800},
        {"max-age=abc", 1800},
        {"max-age=", 1800},
        {"max-age", 1800},
        {"max-age =60", 1800},
        {"no-cache", 1800},
        {"no-cache, max-age=60", 1800},
        {"", 1800},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.directive);
        const NPT_TimeInterval lease = ReadLeaseTime(*Make({{"Cache-Control", test.directive}}));
        EXPECT_EQ(lease.ToSeconds(), test.seconds);
    }
}

TEST(SearchAnswerLeaseTime, IsHalfAnHourWithoutTheHeader) {
    EXPECT_EQ(ReadLeaseTime(*Make({})).ToSeconds(), 1800);
}

class DeviceRecord : public testing::Test {
  protected:
    static std::unique_ptr<ZoSsdpDeviceInfo> MakeRecord(const Headers& headers) {
        return MakeDeviceRecord(*Make(headers), NPT_HttpUrl("http://10.0.0.1:80/d.xml"), "abc",
                                "the usn", NPT_TimeInterval(60.0));
    }
};

TEST_F(DeviceRecord, HoldsEveryProperty) {
    const auto record = MakeRecord(Complete());
    ASSERT_TRUE(record);
    EXPECT_EQ(record->GetDescriptionUrl(nullptr), "http://10.0.0.1/d.xml");
    EXPECT_EQ(record->GetUUID(), "abc");
    EXPECT_EQ(record->GetType(), "the usn");
    EXPECT_EQ(record->GetLeaseTime().ToSeconds(), 60);
    EXPECT_EQ(record->GetFriendlyName(), "Den");
    EXPECT_EQ(record->m_Manufacturer, "a maker");
    EXPECT_EQ(record->m_ManufacturerURL, "http://maker/");
    EXPECT_EQ(record->m_ModelDescription, "a model");
    EXPECT_EQ(record->m_ModelName, "name");
    EXPECT_EQ(record->m_ModelURL, "http://model/");
    EXPECT_EQ(record->m_ModelNumber, "7");
    EXPECT_EQ(record->m_SerialNumber, "0815");
    EXPECT_EQ(record->m_PresentationURL, "http://show/");
    EXPECT_EQ(record->m_HttpPort, "8080");
    EXPECT_EQ(record->m_HttpsPort, "8443");
    EXPECT_EQ(record->m_WebsocketPort, "8081");
    EXPECT_EQ(record->m_DBStatus, "ready");
    EXPECT_EQ(record->m_Version, "1.2");
}

TEST_F(DeviceRecord, NeedsAFriendlyName) {
    EXPECT_FALSE(MakeRecord(Without(Complete(), "FriendlyName")));
    EXPECT_TRUE(MakeRecord(With(Complete(), "FriendlyName", "")));
}

TEST_F(DeviceRecord, KeepsDefaultsForOptionalPropertiesAndEmptiesTheOthers) {
    const auto record = MakeRecord({{"friendlyname", "Den"}});
    ASSERT_TRUE(record);
    const ZoSsdpDeviceInfo fresh;
    EXPECT_EQ(record->m_HttpPort, fresh.m_HttpPort);
    EXPECT_EQ(record->m_HttpsPort, fresh.m_HttpsPort);
    EXPECT_EQ(record->m_WebsocketPort, fresh.m_WebsocketPort);
    EXPECT_EQ(record->m_DBStatus, fresh.m_DBStatus);
    EXPECT_EQ(record->m_Version, fresh.m_Version);
    EXPECT_TRUE(record->m_Manufacturer.IsEmpty());
    EXPECT_TRUE(record->m_ManufacturerURL.IsEmpty());
}

TEST_F(DeviceRecord, KeepsBytesAsTheyCame) {
    const auto record = MakeRecord(With(Complete(), "FriendlyName", "D\xC3\xA9n \xFF<&>\x01"));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->GetFriendlyName(), "D\xC3\xA9n \xFF<&>\x01");
}

}  // namespace
