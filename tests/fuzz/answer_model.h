// What has to become of a datagram that a sender receives, worked out from plain texts and without
// any code of the module's.
#ifndef VIREON_ANSWER_MODEL_H
#define VIREON_ANSWER_MODEL_H

#include <optional>
#include <string>
#include <vector>

// A found device, as far as an answer decides it.
struct FoundDevice {
    std::string uuid;  // "" where one is generated
    std::string type;
    std::string friendly_name;
    std::string location;
    long long lease_seconds = 0;
    // In the order of the record's public fields.
    std::vector<std::string> properties;
};

inline bool operator==(const FoundDevice& one, const FoundDevice& other) {
    return one.uuid == other.uuid && one.type == other.type &&
           one.friendly_name == other.friendly_name && one.location == other.location &&
           one.lease_seconds == other.lease_seconds && one.properties == other.properties;
}

// The device that the datagram makes known, if it does. responder is its source in dotted text.
std::optional<FoundDevice> DeviceOf(const std::string& datagram, const std::string& responder);

#endif
