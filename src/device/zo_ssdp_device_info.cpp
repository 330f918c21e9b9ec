#include "device/zo_ssdp_device_info.h"

#include <utility>

#include "core/system.h"
#include "device/device_identifiers.h"

ZoSsdpDeviceInfo::ZoSsdpDeviceInfo(NPT_HttpUrl description_url, const char* uuid,
                                   NPT_TimeInterval lease_time, const char* device_type,
                                   const char* friendly_name)
    : m_Manufacturer(kDefaultManufacturer),
      m_ManufacturerURL(kDefaultManufacturerUrl),
      m_UUID(uuid),
      m_URLBase(""),  // all its fields empty
      m_URLDescription(std::move(description_url)),
      m_DeviceType(device_type),
      m_FriendlyName(friendly_name) {
    if (m_UUID.IsEmpty()) m_UUID = MakeUuid(NPT_System::GetRandomInteger);
    SetLeaseTime(lease_time);
    SetURLBase(m_URLDescription);
    UpdateConfigId();
}

NPT_String ZoSsdpDeviceInfo::GetDescriptionUrl(const char* bind_addr) const {
    if (!bind_addr) return m_URLDescription.ToString();
    NPT_HttpUrl url = m_URLDescription;
    url.SetHost(bind_addr);
    return url.ToString();
}

NPT_HttpUrl ZoSsdpDeviceInfo::GetURLBase() const {
    return m_URLBase;
}

NPT_Result ZoSsdpDeviceInfo::SetURLBase(NPT_HttpUrl& url) {
    NPT_HttpUrl base = url;
    const bool has_directory = base.CutToDirectory();
    if (!has_directory) base.SetPath(m_URLBase.GetPath().GetChars(), true);
    if (base.GetHost().IsEmpty()) base.SetHostOf(m_URLBase);
    if (base.GetPort() == 0) base.SetPort(m_URLBase.GetPort());
    m_URLBase = std::move(base);
    return has_directory ? NPT_SUCCESS : NPT_FAILURE;
}

NPT_Result ZoSsdpDeviceInfo::SetLeaseTime(NPT_TimeInterval lease_time,
                                          NPT_TimeStamp lease_time_last_update) {
    if (lease_time.ToSeconds() < kMinimumLeaseSeconds)
        lease_time = NPT_TimeInterval::FromSeconds(kDefaultLeaseSeconds);
    if (lease_time_last_update == NPT_TimeStamp())
        NPT_System::GetCurrentTimeStamp(lease_time_last_update);
    m_LeaseTime = lease_time;
    m_LeaseTimeLastUpdate = lease_time_last_update;
    return NPT_SUCCESS;
}

NPT_UInt32 ZoSsdpDeviceInfo::GenerateNextBootId() const {
    NPT_TimeStamp now;
    NPT_System::GetCurrentTimeStamp(now);
    return MakeBootId(now, m_BootId);
}

void ZoSsdpDeviceInfo::UpdateConfigId() {
    m_ConfigId = MakeConfigId(NPT_System::GetRandomInteger(), m_ConfigId);
}
