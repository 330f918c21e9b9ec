#include "http/url.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "http/http_url.h"

namespace {

struct UrlParts {
    const char* text;
    const char* scheme;
    NPT_Uri::SchemeId scheme_id;
    const char* host;
    bool ipv6;
    NPT_UInt16 port;
    const char* path;
    const char* query;     // null: none
    const char* fragment;  // null: none
};

constexpr auto kHttp = NPT_Uri::SCHEME_ID_HTTP;
constexpr auto kHttps = NPT_Uri::SCHEME_ID_HTTPS;
constexpr auto kUnknown = NPT_Uri::SCHEME_ID_UNKNOWN;

void ExpectParts(const NPT_Url& url, const UrlParts& parts) {
    EXPECT_STREQ(parts.scheme, url.GetScheme().GetChars());
    EXPECT_EQ(parts.scheme_id, url.GetSchemeId());
    EXPECT_STREQ(parts.host, url.GetHost().GetChars());
    EXPECT_EQ(parts.ipv6, url.IsHostIpv6());
    EXPECT_EQ(parts.port, url.GetPort());
    EXPECT_STREQ(parts.path, url.GetPath().GetChars());
    EXPECT_EQ(parts.query != nullptr, url.HasQuery());
    EXPECT_STREQ(parts.query ? parts.query : "", url.GetQuery().GetChars());
    EXPECT_EQ(parts.fragment != nullptr, url.HasFragment());
    EXPECT_STREQ(parts.fragment ? parts.fragment : "", url.GetFragment().GetChars());
}

const UrlParts kReset = {"", "", kUnknown, "", false, 0, "", nullptr, nullptr};

class UrlParsing : public testing::TestWithParam<UrlParts> {};

TEST_P(UrlParsing, FindsTheParts) {
    const NPT_Url url(GetParam().text);
    ExpectParts(url, GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, UrlParsing,
    testing::Values(
        UrlParts{"http://192.168.0.1:8080/desc.xml?a=b#top", "http", kHttp, "192.168.0.1", false,
                 8080, "/desc.xml", "a=b", "top"},
        UrlParts{"HTTP://Host/x", "http", kHttp, "Host", false, 80, "/x", nullptr, nullptr},
        UrlParts{"hTtPs://h", "https", kHttps, "h", false, 443, "/", nullptr, nullptr},
        UrlParts{"http://h", "http", kHttp, "h", false, 80, "/", nullptr, nullptr},
        UrlParts{"http://h/", "http", kHttp, "h", false, 80, "/", nullptr, nullptr},
        UrlParts{"http://h?q", "http", kHttp, "h", false, 80, "", "q", nullptr},
        UrlParts{"http://h#f", "http", kHttp, "h", false, 80, "", nullptr, "f"},
        UrlParts{"http://h?", "http", kHttp, "h", false, 80, "", "", nullptr},
        UrlParts{"http://h#", "http", kHttp, "h", false, 80, "", nullptr, ""},
        UrlParts{"http://h/p?#", "http", kHttp, "h", false, 80, "/p", "", ""},
        UrlParts{"http://h/p?a?b#c#d?e", "http", kHttp, "h", false, 80, "/p", "a?b", "c#d?e"},
        UrlParts{"http://h/p#f?q", "http", kHttp, "h", false, 80, "/p", nullptr, "f?q"},
        UrlParts{"http://[fe80::1]:1900/x", "http", kHttp, "fe80::1", true, 1900, "/x", nullptr,
                 nullptr},
        UrlParts{"http://[fe80::1]", "http", kHttp, "fe80::1", true, 80, "/", nullptr, nullptr},
        UrlParts{"http://[/?#:]/x", "http", kHttp, "/?#:", true, 80, "/x", nullptr, nullptr},
        UrlParts{"http://[]/x", "http", kHttp, "[]", false, 80, "/x", nullptr, nullptr},
        UrlParts{"http://[::1", "http", kHttp, "[::1", false, 80, "/", nullptr, nullptr},
        UrlParts{"http://[::1]a/x", "http", kHttp, "[::1]a", false, 80, "/x", nullptr, nullptr},
        UrlParts{"http://a[b:1/x", "http", kHttp, "a[b", false, 1, "/x", nullptr, nullptr},
        UrlParts{"http://h:/x", "http", kHttp, "h", false, 0, "/x", nullptr, nullptr},
        UrlParts{"http://h:", "http", kHttp, "h", false, 0, "/", nullptr, nullptr},
        UrlParts{"http://h:0/x", "http", kHttp, "h", false, 0, "/x", nullptr, nullptr},
        UrlParts{"http://h:65535", "http", kHttp, "h", false, 65535, "/", nullptr, nullptr},
        UrlParts{"http://h:0000000080/x", "http", kHttp, "h", false, 80, "/x", nullptr, nullptr},
        UrlParts{"http:///x", "http", kHttp, "", false, 80, "/x", nullptr, nullptr},
        UrlParts{"http://", "http", kHttp, "", false, 80, "/", nullptr, nullptr},
        UrlParts{"http://u@h/x", "http", kHttp, "u@h", false, 80, "/x", nullptr, nullptr},
        UrlParts{"http://h/a%20b c", "http", kHttp, "h", false, 80, "/a%20b c", nullptr, nullptr},
        UrlParts{"http://h/\xC3\xA9", "http", kHttp, "h", false, 80, "/\xC3\xA9", nullptr, nullptr},
        UrlParts{"http://h/c:/d", "http", kHttp, "h", false, 80, "c:/d", nullptr, nullptr},
        UrlParts{"ftp://h/x", "ftp", kUnknown, "h", false, 0, "/x", nullptr, nullptr},
        UrlParts{"A1+-.://h", "a1+-.", kUnknown, "h", false, 0, "/", nullptr, nullptr}));

TEST(UrlPathPlus, TakesTheUrlsOwnPath) {
    NPT_HttpUrl url("http://h/");
    url.SetPath("/a path that is long enough?query#fragment", true);
    EXPECT_EQ(NPT_SUCCESS, url.ParsePathPlus(url.GetPath().GetChars()));
    EXPECT_EQ("/a path that is long enough", std::string(url.GetPath().GetChars()));
    EXPECT_EQ("query", std::string(url.GetQuery().GetChars()));
    EXPECT_EQ("fragment", std::string(url.GetFragment().GetChars()));
}

class UrlRefusal : public testing::TestWithParam<const char*> {};

TEST_P(UrlRefusal, LeavesEverythingEmpty) {
    const NPT_Url url(GetParam());
    ExpectParts(url, kReset);
    EXPECT_FALSE(url.IsValid());
}

INSTANTIATE_TEST_SUITE_P(Texts, UrlRefusal,
                         testing::Values(nullptr, "", "://h", ":", "http", "http:", "http:/",
                                         "http:/h", "http:h", "ht tp://h", "h_p://h", "//h/x", "/x",
                                         "http://h:70000", "http://h:65536/x", "http://h:12a",
                                         "http://h:12a/x", "http://h:a", "http://h:-1",
                                         "http://h:+1", "http://h: 1", "http://h:80?q",
                                         "http://h:80#f", "http://h:99999999999999999999",
                                         "http://h:4294967376/", "http://[::1]:x",
                                         "http://fe80::1/", "\xFFhttp://h"));

TEST(Url, StartsEmptyWithTheRootPath) {
    const NPT_Url url;
    ExpectParts(url, {"", "", kUnknown, "", false, 0, "/", nullptr, nullptr});
    EXPECT_FALSE(url.IsValid());
}

TEST(Url, GivenDefaultPortStandsForAnyScheme) {
    EXPECT_EQ(31288, NPT_Url("http://h/x", 31288).GetPort());
    EXPECT_EQ(31288, NPT_Url("ftp://h/x", 31288).GetPort());
    EXPECT_EQ(81, NPT_Url("http://h:81/x", 31288).GetPort());
    EXPECT_EQ(0, NPT_Url("http://h:/x", 31288).GetPort());
}

TEST(Url, TakesPartsAsTheyAre) {
    const NPT_Url url("HTTPS", "Host", 1, "/a b", "q?", "f#");
    ExpectParts(url, {"", "https", kHttps, "Host", false, 1, "/a b", "q?", "f#"});
}

TEST(Url, TakesAbsentPartsAsAbsent) {
    const NPT_Url url(nullptr, nullptr, 0, nullptr);
    ExpectParts(url, kReset);
}

TEST(Url, TakesEmptyQueryAndFragmentAsPresent) {
    const NPT_Url url("http", "h", 80, "/", "", "");
    EXPECT_STREQ("http://h:80/?#", url.ToString().GetChars());
}

TEST(Url, BracketsOfAHostMarkIpv6) {
    const NPT_Url url("http", "[fe80::1]", 80, "/");
    EXPECT_STREQ("fe80::1", url.GetHost().GetChars());
    EXPECT_TRUE(url.IsHostIpv6());
    for (const char* host : {"[fe80::1", "fe80::1]", "[", "]", ""}) {
        SCOPED_TRACE(host);
        const NPT_Url plain("http", host, 80, "/");
        EXPECT_STREQ(host, plain.GetHost().GetChars());
        EXPECT_FALSE(plain.IsHostIpv6());
    }
}

struct HostCase {
    const char* text;
    NPT_Result result;
    const char* host;
    bool ipv6;
    NPT_UInt16 port;
};

class UrlSetHost : public testing::TestWithParam<HostCase> {};

TEST_P(UrlSetHost, TakesHostAndPortOrChangesNothing) {
    NPT_Url url("http://old:8080/p?q#f");
    const HostCase& c = GetParam();
    EXPECT_EQ(c.result, url.SetHost(c.text));
    ExpectParts(url, {"", "http", kHttp, c.host, c.ipv6, c.port, "/p", "q", "f"});
}

constexpr NPT_Result kSyntax = NPT_ERROR_INVALID_SYNTAX;
constexpr NPT_Result kRange = NPT_ERROR_OUT_OF_RANGE;

INSTANTIATE_TEST_SUITE_P(
    Texts, UrlSetHost,
    testing::Values(HostCase{"new", NPT_SUCCESS, "new", false, 8080},
                    HostCase{"192.168.1.20", NPT_SUCCESS, "192.168.1.20", false, 8080},
                    HostCase{"new:81", NPT_SUCCESS, "new", false, 81},
                    HostCase{"new:0", NPT_SUCCESS, "new", false, 0},
                    HostCase{"new:65535", NPT_SUCCESS, "new", false, 65535},
                    HostCase{"", NPT_SUCCESS, "", false, 8080},
                    HostCase{":81", NPT_SUCCESS, "", false, 81},
                    HostCase{"[fe80::1]", NPT_SUCCESS, "fe80::1", true, 8080},
                    HostCase{"[fe80::1]:81", NPT_SUCCESS, "fe80::1", true, 81},
                    HostCase{"[]", NPT_SUCCESS, "", true, 8080},
                    HostCase{nullptr, NPT_ERROR_INVALID_ARGUMENT, "old", false, 8080},
                    HostCase{"[fe80::1", kSyntax, "old", false, 8080},
                    HostCase{"[", kSyntax, "old", false, 8080},
                    HostCase{"[fe80::1]x", kSyntax, "old", false, 8080},
                    HostCase{"[fe80::1]:", kSyntax, "old", false, 8080},
                    HostCase{"new:", kSyntax, "old", false, 8080},
                    HostCase{"new:12a", kSyntax, "old", false, 8080},
                    HostCase{"new: 12", kSyntax, "old", false, 8080},
                    HostCase{"new:-1", kSyntax, "old", false, 8080},
                    HostCase{"fe80::1", kSyntax, "old", false, 8080},
                    HostCase{"new:4294967296", kSyntax, "old", false, 8080},
                    HostCase{"new:65536", kRange, "old", false, 8080},
                    HostCase{"new:4294967295", kRange, "old", false, 8080}));

TEST(UrlSetHost, PlainHostClearsTheIpv6Mark) {
    NPT_Url url("http://[::1]/x");
    ASSERT_EQ(NPT_SUCCESS, url.SetHost("h"));
    EXPECT_FALSE(url.IsHostIpv6());
    EXPECT_STREQ("http://h:80/x", url.ToString().GetChars());
}

TEST(UrlSetPath, EncodesWhatMayNotStandInAPath) {
    NPT_Url url;
    url.SetPath("a b%c");
    EXPECT_STREQ("a%20b%25c", url.GetPath().GetChars());
}

TEST(UrlSetPath, EncodesExactlyTheListedCharacters) {
    const std::string listed = " !\"<>\\^`{|}?#[]%";
    NPT_Url url;
    for (int code = 1; code < 256; ++code) {
        SCOPED_TRACE(code);
        const std::string text(1, static_cast<char>(code));
        const bool encoded = code < 0x20 || code >= 0x7F || listed.find(text) != std::string::npos;
        char escape[8];
        std::snprintf(escape, sizeof(escape), "%%%02X", static_cast<unsigned>(code));
        url.SetPath(text.c_str());
        EXPECT_EQ(encoded ? std::string(escape) : text, url.GetPath().GetChars());
    }
}

TEST(UrlSetPath, EncodesAnEncodedPathAgain) {
    NPT_Url url;
    url.SetPath("%20");
    url.SetPath(url.GetPath().GetChars());
    EXPECT_STREQ("%252520", url.GetPath().GetChars());
}

TEST(UrlSetPath, KeepsAnEncodedPath) {
    NPT_Url url;
    url.SetPath("a%20b c", true);
    EXPECT_STREQ("a%20b c", url.GetPath().GetChars());
    url.SetPath(url.GetPath().GetChars(), true);
    EXPECT_STREQ("a%20b c", url.GetPath().GetChars());
}

TEST(UrlSetPath, TakesNullAsEmpty) {
    for (bool encoded : {false, true}) {
        NPT_Url url;
        url.SetPath(nullptr, encoded);
        EXPECT_STREQ("", url.GetPath().GetChars());
    }
}

TEST(UrlParsePathPlus, RefusesNullAndKeepsWhatIsThere) {
    NPT_Url url("http://h/p?q#f");
    EXPECT_EQ(NPT_ERROR_INVALID_ARGUMENT, url.ParsePathPlus(nullptr));
    EXPECT_STREQ("http://h:80/p?q#f", url.ToString().GetChars());
}

TEST(UrlParsePathPlus, ReplacesPathQueryAndFragment) {
    struct {
        const char* text;
        const char* path;
        const char* query;
        const char* fragment;
    } const cases[] = {{"/x", "/x", nullptr, nullptr},       {"", "", nullptr, nullptr},
                       {"*", "*", nullptr, nullptr},         {"?a#b", "", "a", "b"},
                       {"#b?a", "", nullptr, "b?a"},         {"/c:/d?e", "c:/d", "e", nullptr},
                       {"/1:/d", "/1:/d", nullptr, nullptr}, {"/c", "/c", nullptr, nullptr},
                       {"/", "/", nullptr, nullptr}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        NPT_Url url("http://h:1/p?q#f");
        EXPECT_EQ(NPT_SUCCESS, url.ParsePathPlus(c.text));
        ExpectParts(url, {"", "http", kHttp, "h", false, 1, c.path, c.query, c.fragment});
    }
}

TEST(UrlParsePathPlus, TextMayBeTheUrlsOwn) {
    NPT_Url url("http://h/p?/a?b#c");
    ASSERT_EQ(NPT_SUCCESS, url.ParsePathPlus(url.GetQuery().GetChars()));
    EXPECT_STREQ("/a?b", url.ToRequestString(true).GetChars());
}

TEST(Url, SettersTakeTheUrlsOwnTexts) {
    NPT_Url url("http://host/p");
    EXPECT_EQ(NPT_SUCCESS, url.SetHost(url.GetHost().GetChars() + 1));
    EXPECT_STREQ("ost", url.GetHost().GetChars());
    url.SetScheme(url.GetScheme().GetChars());
    EXPECT_EQ(kHttp, url.GetSchemeId());
}

TEST(Url, AssignmentCopiesEverything) {
    NPT_HttpUrl url;
    const NPT_HttpUrl source("http://[::1]:1/p?q#f");
    url = source;
    ExpectParts(url, {"", "http", kHttp, "::1", true, 1, "/p", "q", "f"});
    const NPT_HttpUrl& self = url;
    url = self;
    ExpectParts(url, {"", "http", kHttp, "::1", true, 1, "/p", "q", "f"});
}

TEST(UrlSetScheme, FoldsAsciiAndKnowsTheHttpSchemes) {
    struct {
        const char* text;
        const char* stored;
        NPT_Uri::SchemeId id;
    } const cases[] = {{"HTTP", "http", kHttp},      {"Https", "https", kHttps},
                       {"httpx", "httpx", kUnknown}, {"", "", kUnknown},
                       {nullptr, "", kUnknown},      {"\xC9", "\xC9", kUnknown}};
    for (const auto& c : cases) {
        NPT_Url url("http://h/x");
        url.SetScheme(c.text);
        EXPECT_STREQ(c.stored, url.GetScheme().GetChars());
        EXPECT_EQ(c.id, url.GetSchemeId());
    }
}

TEST(UrlIsValid, AsksForWhatTheSchemeNeeds) {
    struct {
        const char* scheme;
        const char* host;
        NPT_UInt16 port;
        bool valid;
    } const cases[] = {{"http", "h", 80, true},   {"http", "", 80, false},  {"http", "h", 0, false},
                       {"https", "h", 443, true}, {"https", "h", 0, false}, {"ftp", "", 0, true},
                       {"", "h", 80, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.scheme) + "://" + c.host + ":" + std::to_string(c.port));
        EXPECT_EQ(c.valid, NPT_Url(c.scheme, c.host, c.port, "/").IsValid());
    }
}

TEST(UrlToRequestString, IsWhatARequestLineNeeds) {
    struct {
        const char* path;
        const char* query;
        const char* fragment;
        const char* plain;
        const char* with_fragment;
    } const cases[] = {{"/x", nullptr, nullptr, "/x", "/x"},
                       {"", nullptr, nullptr, "/", "/"},
                       {"", "q", nullptr, "/?q", "/?q"},
                       {"*", nullptr, nullptr, "*", "*"},
                       {"c:/d", "q", "f", "/c:/d?q", "/c:/d?q#f"},
                       {"1:/d", nullptr, nullptr, "1:/d", "1:/d"},
                       {"c", nullptr, "", "c", "c#"},
                       {"/x", "", "f", "/x?", "/x?#f"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.with_fragment);
        const NPT_Url url("http", "h", 80, c.path, c.query, c.fragment);
        EXPECT_STREQ(c.plain, url.ToRequestString().GetChars());
        EXPECT_STREQ(c.with_fragment, url.ToRequestString(true).GetChars());
    }
}

TEST(UrlToString, LeavesOutTheDefaultPort) {
    const NPT_Url url("http", "h", 8080, "/x", nullptr, "f");
    EXPECT_STREQ("http://h/x#f", url.ToStringWithDefaultPort(8080).GetChars());
    EXPECT_STREQ("http://h/x", url.ToStringWithDefaultPort(8080, false).GetChars());
    EXPECT_STREQ("http://h:8080/x#f", url.ToStringWithDefaultPort(80).GetChars());
    EXPECT_STREQ("http://h:8080/x", url.ToString(false).GetChars());
    EXPECT_STREQ("http://h:80/", NPT_Url("http://h").ToString().GetChars());
    EXPECT_STREQ("ftp://h/", NPT_Url("ftp://h").ToString().GetChars());
    EXPECT_STREQ("ftp://h:0/", NPT_Url("ftp://h").ToStringWithDefaultPort(21).GetChars());
}

TEST(UrlToString, RestoresTheBrackets) {
    EXPECT_STREQ("http://[fe80::1]:1900/x",
                 NPT_Url("http://[fe80::1]:1900/x").ToString().GetChars());
}

TEST(UrlToString, GivesBackWhatWasParsed) {
    for (const char* text :
         {"http://192.168.0.1:8080/desc.xml?a=b#top", "https://h:1/", "http://[::1]:80/a/b?c",
          "ftp://h/x?y#z", "http://h:80/%20%zz?", "http://h:80/#", "gopher://h:70/c:d"}) {
        EXPECT_STREQ(text, NPT_Url(text).ToString().GetChars());
    }
}

TEST(Url, HugeTextsAreParsedAsTheyAre) {
    const std::string path = "/" + std::string(1 << 20, '[');
    EXPECT_EQ(path, NPT_Url(("http://h" + path).c_str()).GetPath().GetChars());
    const std::string host(1 << 20, 'h');
    EXPECT_EQ(host, NPT_Url(("http://" + host).c_str()).GetHost().GetChars());
    const std::string colons(1 << 20, ':');
    EXPECT_FALSE(NPT_Url(("http://h" + colons).c_str()).IsValid());
}

}  // namespace
