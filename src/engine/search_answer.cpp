#include "engine/search_answer.h"

#include <limits>
#include <utility>

#include "core/parse_integer.h"
#include "engine/protocol.h"

namespace {

struct Property {
    const char* header;
    NPT_String ZoSsdpDeviceInfo::*field;
};

// Every server sends these.
constexpr Property kFixedProperties[] = {
    {protocol::header::kManufacturer, &ZoSsdpDeviceInfo::m_Manufacturer},
    {protocol::header::kManufacturerUrl, &ZoSsdpDeviceInfo::m_ManufacturerURL},
    {protocol::header::kModelDescription, &ZoSsdpDeviceInfo::m_ModelDescription},
    {protocol::header::kModelName, &ZoSsdpDeviceInfo::m_ModelName},
    {protocol::header::kModelUrl, &ZoSsdpDeviceInfo::m_ModelURL},
    {protocol::header::kModelNumber, &ZoSsdpDeviceInfo::m_ModelNumber},
    {protocol::header::kSerialNumber, &ZoSsdpDeviceInfo::m_SerialNumber},
    {protocol::header::kPresentationUrl, &ZoSsdpDeviceInfo::m_PresentationURL},
};

constexpr Property kOptionalProperties[] = {
    {protocol::header::kHttpPort, &ZoSsdpDeviceInfo::m_HttpPort},
    {protocol::header::kHttpsPort, &ZoSsdpDeviceInfo::m_HttpsPort},
    {protocol::header::kWebsocketPort, &ZoSsdpDeviceInfo::m_WebsocketPort},
    {protocol::header::kDbStatus, &ZoSsdpDeviceInfo::m_DBStatus},
    {protocol::header::kVersion, &ZoSsdpDeviceInfo::m_Version},
};

}  // namespace

NPT_Result ReadUuid(const NPT_HttpMessage& answer, NPT_String& uuid) {
    uuid = nullptr;
    const NPT_HttpHeaders& headers = answer.GetHeaders();
    const NPT_String* const search_target = headers.GetHeaderValue(protocol::header::kSearchTarget);
    const NPT_String* const usn = headers.GetHeaderValue(protocol::header::kUsn);
    const NPT_String* const ext = headers.GetHeaderValue(protocol::header::kExt);
    if (!search_target || !usn || !ext) return NPT_ERROR_INVALID_ARGUMENT;
    const int separator = usn->Find(protocol::kUsnSeparator);
    if (separator < 0) return NPT_FAILURE;
    const auto uuid_end = static_cast<NPT_UInt32>(separator);
    const NPT_UInt32 type = uuid_end + protocol::kUsnSeparatorLength;
    const bool has_third_part = usn->Find(protocol::kUsnSeparator, type) >= 0;
    if (has_third_part || search_target->Compare(usn->GetChars() + type, true) != 0)
        return NPT_FAILURE;
    if (uuid_end > protocol::kUuidPrefixLength)
        uuid = usn->SubString(protocol::kUuidPrefixLength, uuid_end - protocol::kUuidPrefixLength);
    return NPT_SUCCESS;
}

bool IsMediaServer(const NPT_String& usn) {
    return usn.Find(protocol::kDeviceType) >= 0;
}

NPT_HttpUrl ReadLocation(const NPT_String& location, const NPT_IpAddress& responder) {
    NPT_HttpUrl url(location.GetChars());
    if (url.GetHost() == protocol::kLoopbackName || url.GetHost() == protocol::kLoopbackAddress)
        url.SetHost(responder.ToString().GetChars());
    return url;
}

NPT_TimeInterval ReadLeaseTime(const NPT_HttpMessage& answer) {
    using Limits = std::numeric_limits<NPT_Int32>;
    const NPT_TimeInterval unstated = NPT_TimeInterval::FromSeconds(kDefaultLeaseSeconds);
    const NPT_String* const directive =
        answer.GetHeaders().GetHeaderValue(protocol::header::kCacheControl);
    if (!directive || !directive->StartsWith(protocol::kMaxAgeDirective, true)) return unstated;
    NPT_Int64 seconds = 0;
    const char* const text = directive->GetChars() + protocol::kMaxAgeDirectiveLength;
    if (NPT_Failed(NPT_ParseInteger(text, seconds, true))) return unstated;
    if (seconds < Limits::min() || seconds > Limits::max()) return unstated;
    return NPT_TimeInterval::FromSeconds(seconds);
}

std::unique_ptr<ZoSsdpDeviceInfo> MakeDeviceRecord(const NPT_HttpMessage& answer,
                                                   NPT_HttpUrl location, const char* uuid,
                                                   const NPT_String& usn,
                                                   NPT_TimeInterval lease_time) {
    const NPT_HttpHeaders& headers = answer.GetHeaders();
    const NPT_String* const friendly_name = headers.GetHeaderValue(protocol::header::kFriendlyName);
    if (!friendly_name) return nullptr;
    // The whole USN stands in for the device type: it is what scripts receive.
    auto device = std::make_unique<ZoSsdpDeviceInfo>(std::move(location), uuid, lease_time,
                                                     usn.GetChars(), friendly_name->GetChars());
    for (const Property& property : kFixedProperties) {
        const NPT_String* const value = headers.GetHeaderValue(property.header);
        (*device).*property.field = value ? value->GetChars() : nullptr;
    }
    for (const Property& property : kOptionalProperties) {
        if (const NPT_String* const value = headers.GetHeaderValue(property.header))
            (*device).*property.field = *value;
    }
    return device;
}
