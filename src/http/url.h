#ifndef VIREON_HTTP_URL_H
#define VIREON_HTTP_URL_H

#include "core/result.h"
#include "core/string.h"
#include "core/types.h"

// The part that every URI has: its scheme, stored in lower case.
class NPT_Uri {
  public:
    enum SchemeId { SCHEME_ID_UNKNOWN = 0, SCHEME_ID_HTTP = 1, SCHEME_ID_HTTPS = 2 };

    virtual ~NPT_Uri() = default;

    const NPT_String& GetScheme() const { return scheme_; }
    SchemeId GetSchemeId() const { return scheme_id_; }
    // Null reads as empty.
    void SetScheme(const char* scheme);

  protected:
    void SetScheme(const char* scheme, NPT_UInt32 length);
    NPT_Uri() = default;
    NPT_Uri(const NPT_Uri&) = default;
    NPT_Uri(NPT_Uri&&) = default;
    NPT_Uri& operator=(const NPT_Uri&) = default;
    NPT_Uri& operator=(NPT_Uri&&) = default;

  private:
    NPT_String scheme_;
    SchemeId scheme_id_ = SCHEME_ID_UNKNOWN;
};

// An absolute URL: scheme "://" host [":" port] [path] ["?" query] ["#" fragment] (RFC 3986, with
// IPv6 literals in brackets). A value: copies are independent, one thread at a time per object.
//
// The path is kept percent-encoded, nothing is ever decoded. Port 0 means that none is set. A
// constructor that cannot parse its text leaves every field empty, which IsValid reports.
// Texts given to an operation may be the URL's own.
class NPT_Url : public NPT_Uri {
  public:
    // Everything empty, but the path is "/".
    NPT_Url();
    // A default_port of 0 stands for the scheme's own: 80, 443, or none.
    explicit NPT_Url(const char* text, NPT_UInt16 default_port = 0);
    // The parts as they are, the path already encoded; a host in brackets is an IPv6 literal. A
    // null query or fragment is an absent one.
    NPT_Url(const char* scheme, const char* host, NPT_UInt16 port, const char* path,
            const char* query = nullptr, const char* fragment = nullptr);

    const NPT_String& GetHost() const { return host_; }
    bool IsHostIpv6() const { return host_is_ipv6_; }
    NPT_UInt16 GetPort() const { return port_; }
    const NPT_String& GetPath() const { return path_; }
    bool HasQuery() const { return has_query_; }
    const NPT_String& GetQuery() const { return query_; }
    bool HasFragment() const { return has_fragment_; }
    const NPT_String& GetFragment() const { return fragment_; }
    // The port that the scheme stands for, 0 for any scheme but the HTTP ones.
    NPT_UInt16 GetDefaultPort() const;
    // The host as it stands in a URL or a Host field: an IPv6 literal is in brackets.
    NPT_String GetHostText() const;

    // host [":" port]; the port stays when text has none. Nothing changes on failure:
    //   NPT_ERROR_INVALID_ARGUMENT  null text
    //   NPT_ERROR_INVALID_SYNTAX    bad brackets, or the port is not a 32-bit number
    //   NPT_ERROR_OUT_OF_RANGE      a port above 65535
    NPT_Result SetHost(const char* text);
    void SetHostOf(const NPT_Url& other);
    void SetPort(NPT_UInt16 port) { port_ = port; }
    // With encoded false the path is percent-encoded first, a '%' in it too.
    void SetPath(const char* path, bool encoded = false);
    // Drops query, fragment and what stands behind the last '/' of the path. False when it holds
    // none: then it stays.
    bool CutToDirectory();
    // Path, query and fragment of a request target; NPT_ERROR_INVALID_ARGUMENT for null.
    NPT_Result ParsePathPlus(const char* text);

    // HTTP schemes need a port and a host, others only the scheme.
    virtual bool IsValid() const;
    // What stands in a request line: path (at least "/") and query.
    virtual NPT_String ToRequestString(bool with_fragment = false) const;
    // The whole URL; the port is left out when it is default_port.
    virtual NPT_String ToStringWithDefaultPort(NPT_UInt16 default_port,
                                               bool with_fragment = true) const;
    // The whole URL with every port but 0.
    virtual NPT_String ToString(bool with_fragment = true) const;

  protected:
    void Reset();

  private:
    NPT_Result Parse(const char* text, NPT_UInt16 default_port);
    NPT_Result ParseScheme(const char*& cursor);
    void ParseHost(const char*& cursor);
    NPT_Result ParsePort(const char*& cursor);
    void AppendHost(NPT_String& text) const;
    void AppendRequest(NPT_String& text, bool with_fragment) const;

    NPT_String host_;
    bool host_is_ipv6_ = false;
    NPT_UInt16 port_ = 0;
    NPT_String path_;
    bool has_query_ = false;
    NPT_String query_;
    bool has_fragment_ = false;
    NPT_String fragment_;
};

#endif
