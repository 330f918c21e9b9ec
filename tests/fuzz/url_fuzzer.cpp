// URLs from the network: a Location value, and every operation that takes a text.
#include <string>

#include "fuzz_input.h"
#include "http/http_url.h"

namespace {

std::string Printed(const NPT_Url& url) {
    return url.ToString().GetChars();
}

// What would not come back from its printed form: a port that means "none", and a host with an
// opening bracket that nothing closes.
bool ComesBack(const NPT_Url& url) {
    const bool has_port = url.GetPort() != 0 || url.GetDefaultPort() == 0;
    return has_port && (url.IsHostIpv6() || !url.GetHost().StartsWith("["));
}

void CheckUrl(const NPT_Url& url, bool parsed) {
    if (!parsed) {
        Require(url.GetHost().IsEmpty() && url.GetPort() == 0 && url.GetPath().IsEmpty() &&
                    !url.HasQuery() && !url.HasFragment() && !url.IsValid(),
                "a refused URL is empty");
        return;
    }
    Require(url.GetScheme() == url.GetScheme().ToLowercase(), "schemes are in lower case");
    if (!ComesBack(url)) return;
    const std::string printed = Printed(url);
    Require(printed == Printed(NPT_Url(printed.c_str())), "a printed URL is read back");
}

void CheckSetHost(const char* text) {
    NPT_Url url("http://h:1/p?q#f");
    const std::string before = Printed(url);
    if (NPT_Failed(url.SetHost(text))) {
        Require(before == Printed(url), "a refused host changes nothing");
    } else {
        Require(url.GetPath() == "/p" && url.HasQuery() && url.HasFragment(),
                "a host leaves path, query and fragment alone");
    }
}

void CheckSetPath(const char* text) {
    NPT_Url url;
    url.SetPath(text);
    for (const char character : std::string(url.GetPath().GetChars()))
        Require(character > ' ' && character < 0x7F && !std::strchr("!\"<>\\^`{|}?#[]", character),
                "an encoded path has no character to encode but its own '%'");
    url.SetPath(text, true);
    Require(url.GetPath() == text, "an encoded path is kept");
}

void CheckParsePathPlus(const char* text) {
    NPT_Url url("http://h:1");
    Require(NPT_Succeeded(url.ParsePathPlus(text)), "every request target has a path");
    Require(url.GetPath().Find('?') < 0 && url.GetPath().Find('#') < 0, "a path ends at ? and #");
    Require(url.GetQuery().Find('#') < 0, "a query ends at #");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const NPT_UInt8* data, std::size_t size) {
    const std::string bytes = FuzzInput(data, size).TakeRest();
    const char* text = bytes.c_str();
    const NPT_Url url(text);
    // A parsed URL has a path, a query or a fragment; a refused one has nothing.
    CheckUrl(url, !url.GetPath().IsEmpty() || url.HasQuery() || url.HasFragment());
    const NPT_HttpUrl http_url(text);
    Require(http_url.GetSchemeId() != NPT_Uri::SCHEME_ID_UNKNOWN || !http_url.IsValid(),
            "only HTTP schemes make an HTTP URL");
    http_url.ToString();
    CheckSetHost(text);
    CheckSetPath(text);
    CheckParsePathPlus(text);
    return 0;
}
