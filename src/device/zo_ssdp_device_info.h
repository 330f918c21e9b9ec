#ifndef VIREON_DEVICE_ZO_SSDP_DEVICE_INFO_H
#define VIREON_DEVICE_ZO_SSDP_DEVICE_INFO_H

#include "core/result.h"
#include "core/string.h"
#include "core/time.h"
#include "http/http_url.h"
#include "xml/xml_element_node.h"

// What a record says about its maker until an answer says otherwise.
constexpr const char* kDefaultManufacturer = "Zorvane Corporation";
constexpr const char* kDefaultManufacturerUrl = "http://www.zorvane.com";
constexpr const char* kDefaultDescriptionPath = "/description.xml";

// SSDP leases, in whole seconds. A lease below the minimum is not believed: it would have every
// device expire between two searches.
constexpr NPT_Int64 kDefaultLeaseSeconds = 1800;
constexpr NPT_Int64 kMinimumLeaseSeconds = 10;

// The record of one UPnP device: identity, maker and model, where its description document lies,
// its SSDP lease and the counters that SSDP announcements carry.
//
// Made by a search thread or by a script and passed on as a whole: whoever holds it deletes it, and
// only one thread uses it at a time. It never changes by itself. Texts are kept as they came; an
// empty and a null text are the same. The data members stand in an order that scripts' sibling
// modules rely on: a new one goes behind the very last, the private ones included.
class ZoSsdpDeviceInfo {
  public:
    // An empty or null uuid has one generated. The URL base is derived from the description URL.
    explicit ZoSsdpDeviceInfo(
        NPT_HttpUrl description_url = NPT_HttpUrl("", 0, kDefaultDescriptionPath),
        const char* uuid = "",
        NPT_TimeInterval lease_time = NPT_TimeInterval::FromSeconds(kDefaultLeaseSeconds),
        const char* device_type = "", const char* friendly_name = "");
    virtual ~ZoSsdpDeviceInfo() = default;

    // The two descriptions are made in device/device_description.cpp.
    //
    // Appends the UPnP device element to parent, which owns it. *device, when asked for, is that
    // element; null after a failure that left none.
    //   NPT_ERROR_INVALID_ARGUMENT  null parent, or no memory for an element
    //   NPT_ERROR_NO_MEMORY         no memory for anything else
    virtual NPT_Result GetDescription(NPT_XmlElementNode* parent,
                                      NPT_XmlElementNode** device) const;
    // Appends the whole UPnP device description document to desc, which is not cleared first.
    // Failures as above, and NPT_FAILURE when there is no memory for specVersion. Only when memory
    // runs out during the writing does an incomplete document stay in desc; where it was desc that
    // could not grow, the result is a success all the same.
    virtual NPT_Result GetDescription(NPT_String& desc) const;
    // The description URL as text, its host replaced by bind_addr unless that is null.
    virtual NPT_String GetDescriptionUrl(const char* bind_addr = nullptr) const;
    virtual NPT_HttpUrl GetURLBase() const;

    // Takes scheme, port, host and directory of url as base for the device's relative URLs; a port
    // of 0 and an empty host leave the old ones. NPT_FAILURE, path unchanged, when the path of url
    // holds no '/'.
    NPT_Result SetURLBase(NPT_HttpUrl& url);

    // The field itself: the same address each time.
    const NPT_TimeInterval& GetLeaseTime() const { return m_LeaseTime; }
    // A lease below 10 whole seconds becomes 1800 s; an update time of 0 is now. Always
    // NPT_SUCCESS.
    NPT_Result SetLeaseTime(NPT_TimeInterval lease_time,
                            NPT_TimeStamp lease_time_last_update = NPT_TimeStamp());

    // The bare UUID, without "uuid:".
    const NPT_String& GetUUID() const { return m_UUID; }
    const NPT_String& GetFriendlyName() const { return m_FriendlyName; }
    const NPT_String& GetType() const { return m_DeviceType; }
    const NPT_String& GetModelDescription() const { return m_ModelDescription; }

    NPT_UInt32 GetBootId() const { return m_BootId; }
    void SetBootId(NPT_UInt32 boot_id) { m_BootId = boot_id; }
    void SetNextBootId(NPT_UInt32 next_boot_id) { m_NextBootId = next_boot_id; }
    // A boot id for the next start, different from the current one; stores nothing.
    NPT_UInt32 GenerateNextBootId() const;
    // 24 bits.
    NPT_UInt32 GetConfigId() const { return m_ConfigId; }
    // Draws a config id that differs from the current one.
    void UpdateConfigId();

    NPT_String m_Manufacturer;
    NPT_String m_ManufacturerURL;
    NPT_String m_ModelDescription;
    NPT_String m_ModelName;
    NPT_String m_ModelNumber;
    NPT_String m_ModelURL;
    NPT_String m_SerialNumber;
    NPT_String m_PresentationURL;
    NPT_String m_HttpPort;
    NPT_String m_HttpsPort;
    NPT_String m_WebsocketPort;
    NPT_String m_DBStatus;
    NPT_String m_Version;

  private:
    NPT_String m_UUID;
    NPT_HttpUrl m_URLBase;
    NPT_HttpUrl m_URLDescription;
    NPT_String m_DeviceType;
    NPT_String m_FriendlyName;
    NPT_TimeInterval m_LeaseTime;
    NPT_TimeStamp m_LeaseTimeLastUpdate;
    NPT_UInt32 m_BootId = 0;
    NPT_UInt32 m_NextBootId = 0;
    NPT_UInt32 m_ConfigId = 0;
};

#endif
