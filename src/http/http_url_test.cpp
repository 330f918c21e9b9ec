#include "http/http_url.h"

#include <gtest/gtest.h>

namespace {

TEST(HttpUrl, PrintsNoDefaultPort) {
    EXPECT_STREQ("http://h/x", NPT_HttpUrl("h", 80, "/x").ToString().GetChars());
    EXPECT_STREQ("http://h:443/x", NPT_HttpUrl("h", 443, "/x").ToString().GetChars());
    EXPECT_STREQ("https://h/x", NPT_HttpUrl("https://h:443/x").ToString().GetChars());
    EXPECT_STREQ("https://h:80/x", NPT_HttpUrl("https://h:80/x").ToString().GetChars());
    EXPECT_STREQ("ftp://h/x", NPT_HttpUrl("ftp://h/x", true).ToString().GetChars());
    EXPECT_STREQ("ftp://h:21/x", NPT_HttpUrl("ftp://h:21/x", true).ToString().GetChars());
    EXPECT_STREQ("http://h/x", NPT_HttpUrl("h", 80, "/x", nullptr, "f").ToString(false).GetChars());
}

TEST(HttpUrl, PrintsTheSameThroughItsBaseClass) {
    const NPT_HttpUrl url("h", 80, "/x");
    const NPT_Url& base = url;
    EXPECT_STREQ("http://h/x", base.ToString().GetChars());
}

TEST(HttpUrl, TakesParts) {
    const NPT_HttpUrl url("239.255.255.250", 31288, "*");
    EXPECT_EQ(NPT_Uri::SCHEME_ID_HTTP, url.GetSchemeId());
    EXPECT_STREQ("http", url.GetScheme().GetChars());
    EXPECT_STREQ("239.255.255.250", url.GetHost().GetChars());
    EXPECT_EQ(31288, url.GetPort());
    EXPECT_STREQ("*", url.ToRequestString().GetChars());
    EXPECT_FALSE(url.HasQuery());
    EXPECT_FALSE(url.HasFragment());
}

TEST(HttpUrl, RefusesOtherSchemesUnlessTold) {
    const NPT_HttpUrl refused("ftp://h:21/x?q#f");
    EXPECT_FALSE(refused.IsValid());
    EXPECT_STREQ("", refused.GetScheme().GetChars());
    EXPECT_STREQ("", refused.GetHost().GetChars());
    EXPECT_EQ(0, refused.GetPort());
    EXPECT_STREQ("", refused.GetPath().GetChars());
    EXPECT_FALSE(refused.HasQuery());
    EXPECT_FALSE(refused.HasFragment());
    EXPECT_TRUE(NPT_HttpUrl("ftp://h/x", true).IsValid());
    EXPECT_TRUE(NPT_HttpUrl("https://h/x").IsValid());
}

TEST(HttpUrl, RefusesWhatIsNoUrl) {
    for (const char* text : {"", "h", "http:/h", "http://h:70000"}) {
        EXPECT_FALSE(NPT_HttpUrl(text).IsValid()) << text;
        EXPECT_FALSE(NPT_HttpUrl(text, true).IsValid()) << text;
    }
    EXPECT_FALSE(NPT_HttpUrl(nullptr).IsValid());
}

TEST(HttpUrl, StartsInvalid) {
    EXPECT_FALSE(NPT_HttpUrl().IsValid());
    EXPECT_STREQ("/", NPT_HttpUrl().GetPath().GetChars());
}

}  // namespace
