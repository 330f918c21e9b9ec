#include "answer_model.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <utility>

namespace {

constexpr std::size_t kLongestDatagram = 2000;
constexpr int kInterimLimit = 10;

std::string Upper(std::string text) {
    for (char& character : text) {
        if (character >= 'a' && character <= 'z') character = static_cast<char>(character - 32);
    }
    return text;
}

bool HasOnlyDigits(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

// As C code reads it.
std::string UpToNul(const std::string& text) {
    return text.substr(0, text.find('\0'));
}

// The lines of a datagram: LF ends one, CRs count nowhere, a last one needs no end.
std::vector<std::string> LinesOf(const std::string& datagram) {
    std::vector<std::string> lines(1);
    for (const char character : datagram) {
        if (character == '\n')
            lines.emplace_back();
        else if (character != '\r')
            lines.back() += character;
    }
    if (lines.back().empty()) lines.pop_back();
    return lines;
}

struct Message {
    int status = 0;
    std::vector<std::pair<std::string, std::string>> headers;

    const std::string* Find(const std::string& name) const {
        for (const auto& header : headers) {
            if (Upper(header.first) == Upper(name)) return &header.second;
        }
        return nullptr;
    }
};

// Blanks, then digits; what is behind them does not count. Without digits it is 0.
int LenientNumber(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    int number = 0;
    for (std::size_t at = begin; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
        number = number * 10 + (text[at] - '0');
    return number;
}

std::optional<int> StatusOf(const std::string& whole_line) {
    constexpr std::size_t kWithoutReason = 12;
    const std::string line = UpToNul(whole_line);
    const std::size_t first = line.find(' ');
    if (first == std::string::npos || first == 0) return std::nullopt;
    const std::size_t second = line.find(' ', first + 1);
    const bool is_good =
        second == std::string::npos ? line.size() == kWithoutReason : second == first + 4;
    if (!is_good) return std::nullopt;
    return LenientNumber(line.substr(first + 1, 3));
}

std::string Trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string::npos) return "";
    return text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

// Takes the lines up to an empty one, that one too.
void ReadHeaders(const std::vector<std::string>& lines, std::size_t& next, Message& message) {
    bool is_open = false;  // whether the next line may continue the last header
    while (next < lines.size()) {
        const std::string& whole_line = lines[next++];
        if (whole_line.empty()) break;
        const std::string line = UpToNul(whole_line);
        if (is_open && !line.empty() && (line[0] == ' ' || line[0] == '\t')) {
            message.headers.back().second += line.substr(1);
            continue;
        }
        const std::size_t colon = line.find(':');
        is_open = colon != std::string::npos && colon > 0;
        if (is_open) message.headers.emplace_back(line.substr(0, colon), line.substr(colon + 1));
    }
    for (auto& header : message.headers)
        header.second = Trimmed(header.second);
}

// The first one that is not interim.
std::optional<Message> MessageOf(const std::string& datagram) {
    const std::vector<std::string> lines = LinesOf(datagram);
    std::size_t next = 0;
    for (int interim = 0; interim < kInterimLimit; ++interim) {
        if (next == lines.size()) return std::nullopt;
        const std::optional<int> status = StatusOf(lines[next++]);
        if (!status) return std::nullopt;
        Message message;
        message.status = *status;
        ReadHeaders(lines, next, message);
        if (message.status < 100 || message.status > 199) return message;
    }
    return std::nullopt;
}

// The pieces between occurrences of "::".
std::vector<std::string> PartsOf(std::string usn) {
    std::vector<std::string> parts;
    for (std::size_t at = usn.find("::"); at != std::string::npos; at = usn.find("::")) {
        parts.push_back(usn.substr(0, at));
        usn.erase(0, at + 2);
    }
    parts.push_back(usn);
    return parts;
}

// An HTTP URL that names a host and a port.
struct Location {
    std::string scheme;
    std::string host;
    bool is_in_brackets = false;
    unsigned port = 0;
    std::string rest;  // path, query and fragment as they are printed

    std::string Print() const {
        const unsigned usual = scheme == "http" ? 80 : 443;
        return scheme + "://" + (is_in_brackets ? "[" + host + "]" : host) +
               (port == usual ? "" : ":" + std::to_string(port)) + rest;
    }
};

bool BeginsWithDrive(const std::string& text) {
    const std::string first = Upper(text.substr(0, 1));
    return text.size() >= 2 && first >= "A" && first <= "Z" && text[1] == ':';
}

// What is printed for a path, query and fragment that stood behind host and port.
std::string PrintedRest(std::string text) {
    if (text.empty()) return "/";
    // A drive's path has a slash in print, whether it was there or not.
    if (text[0] == '/' && BeginsWithDrive(text.substr(1))) text.erase(0, 1);
    const std::string path = text.substr(0, text.find_first_of("?#"));
    return path.empty() || BeginsWithDrive(path) ? "/" + text : text;
}

std::optional<Location> LocationOf(const std::string& text) {
    Location location;
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) return std::nullopt;
    const std::string scheme = Upper(text.substr(0, colon));
    if (scheme != "HTTP" && scheme != "HTTPS") return std::nullopt;
    location.scheme = scheme == "HTTP" ? "http" : "https";
    location.port = scheme == "HTTP" ? 80 : 443;
    if (text.compare(colon + 1, 2, "//") != 0) return std::nullopt;
    std::string left = text.substr(colon + 3);

    std::size_t search_from = 0;
    if (!left.empty() && left[0] == '[') search_from = std::min(left.find(']'), left.size());
    const std::size_t host_end = std::min(left.find_first_of("#/:?", search_from), left.size());
    location.host = left.substr(0, host_end);
    left.erase(0, host_end);
    if (location.host.size() >= 3 && location.host.front() == '[' && location.host.back() == ']') {
        location.is_in_brackets = true;
        location.host = location.host.substr(1, location.host.size() - 2);
    }
    if (!left.empty() && left[0] == ':') {
        const std::size_t port_end = std::min(left.find('/'), left.size());
        std::string digits = left.substr(1, port_end - 1);
        left.erase(0, port_end);
        if (!HasOnlyDigits(digits)) return std::nullopt;  // none at all is no port
        digits.erase(0, digits.find_first_not_of('0'));
        if (digits.empty() || digits.size() > 5) return std::nullopt;
        location.port = static_cast<unsigned>(std::stoul(digits));
        if (location.port > 65535) return std::nullopt;
    }
    if (location.host.empty()) return std::nullopt;
    location.rest = PrintedRest(left);
    return location;
}

long long LeaseOf(const Message& message) {
    constexpr long long kUsual = 1800;
    constexpr long long kLeast = 10;
    const std::string* const value = message.Find("Cache-Control");
    if (!value || Upper(*value).compare(0, 8, "MAX-AGE=") != 0) return kUsual;
    std::string text = value->substr(8);
    text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
    const bool is_negative = !text.empty() && text[0] == '-';
    if (is_negative || (!text.empty() && text[0] == '+')) text.erase(0, 1);
    text = text.substr(0, text.find_first_not_of("0123456789"));
    text.erase(0, std::min(text.find_first_not_of('0'), text.size()));
    // More than 32 bits hold is none; what is negative or short is not believed either.
    if (is_negative || text.empty() || text.size() > 10) return kUsual;
    const long long seconds = std::stoll(text);
    return seconds < kLeast || seconds > 2147483647 ? kUsual : seconds;
}

std::vector<std::string> PropertiesOf(const Message& message) {
    const char* const names[] = {
        "Manufacturer",  "ManufacturerURL", "ModelDescription", "ModelName", "ModelNumber",
        "ModelURL",      "SerialNumber",    "PresentationURL",  "HttpPort",  "HttpsPort",
        "WebsocketPort", "DBStatus",        "Version",
    };
    std::vector<std::string> properties;
    for (const char* const name : names) {
        const std::string* const value = message.Find(name);
        properties.push_back(value ? *value : "");
    }
    return properties;
}

}  // namespace

std::optional<FoundDevice> DeviceOf(const std::string& datagram, const std::string& responder) {
    if (datagram.size() > kLongestDatagram) return std::nullopt;
    const std::optional<Message> message = MessageOf(datagram);
    if (!message || message->status / 100 != 2) return std::nullopt;
    const std::string* const target = message->Find("ST");
    const std::string* const usn = message->Find("USN");
    const std::string* const where = message->Find("Location");
    const std::string* const name = message->Find("FriendlyName");
    if (!target || !usn || !where || !name || !message->Find("EXT")) return std::nullopt;

    const std::vector<std::string> parts = PartsOf(*usn);
    if (parts.size() != 2 || Upper(parts[1]) != Upper(*target)) return std::nullopt;
    if (usn->find("urn:schemas-upnp-org:device:ZOMediaServer:1") == std::string::npos)
        return std::nullopt;
    std::optional<Location> location = LocationOf(*where);
    if (!location) return std::nullopt;
    if (location->host == "localhost" || location->host == "127.0.0.1") {
        location->host = responder;
        location->is_in_brackets = false;
    }

    FoundDevice device;
    device.uuid = parts[0].size() > 5 ? parts[0].substr(5) : "";
    device.type = *usn;
    device.friendly_name = *name;
    device.location = location->Print();
    device.lease_seconds = LeaseOf(*message);
    device.properties = PropertiesOf(*message);
    return device;
}
