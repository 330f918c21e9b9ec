#ifndef VIREON_ENGINE_TESTING_SEARCH_ANSWERS_H
#define VIREON_ENGINE_TESTING_SEARCH_ANSWERS_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "http/http_response.h"

// Answers to a search, for tests of what is made of them.
namespace search_answers {

using Headers = std::vector<std::pair<std::string, std::string>>;

inline const char* const kDeviceType = "urn:schemas-upnp-org:device:ZOMediaServer:1";

// What a media server sends.
inline Headers Complete() {
    return {
        {"CACHE-CONTROL", "max-age=60"},
        {"EXT", ""},
        {"LOCATION", "http://192.168.1.20:8080/description.xml?a=b"},
        {"ST", kDeviceType},
        {"USN", std::string("uuid:abc::") + kDeviceType},
        {"FriendlyName", "Den"},
        {"Manufacturer", "a maker"},
        {"ManufacturerURL", "http://maker/"},
        {"ModelDescription", "a model"},
        {"ModelName", "name"},
        {"ModelURL", "http://model/"},
        {"ModelNumber", "7"},
        {"SerialNumber", "0815"},
        {"PresentationURL", "http://show/"},
        {"HttpPort", "8080"},
        {"HttpsPort", "8443"},
        {"WebsocketPort", "8081"},
        {"DBStatus", "ready"},
        {"Version", "1.2"},
    };
}

inline Headers Without(Headers headers, const std::string& name) {
    for (auto header = headers.begin(); header != headers.end(); ++header) {
        if (header->first != name) continue;
        headers.erase(header);
        return headers;
    }
    ADD_FAILURE() << "no header " << name;
    return headers;
}

inline Headers With(Headers headers, const std::string& name, const std::string& value) {
    for (auto& header : headers) {
        if (header.first == name) {
            header.second = value;
            return headers;
        }
    }
    headers.emplace_back(name, value);
    return headers;
}

inline std::unique_ptr<NPT_HttpResponse> Make(const Headers& headers, NPT_UInt32 status = 200) {
    auto answer = std::make_unique<NPT_HttpResponse>(status, "OK", "HTTP/1.1");
    for (const auto& header : headers)
        answer->GetHeaders().AddHeader(header.first.c_str(), header.second.c_str());
    return answer;
}

// As it stands in a datagram.
inline std::string Print(const Headers& headers) {
    std::string text = "HTTP/1.1 200 OK\r\n";
    for (const auto& header : headers)
        text += header.first + ": " + header.second + "\r\n";
    return text + "\r\n";
}

}  // namespace search_answers

#endif
