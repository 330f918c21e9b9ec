#ifndef VIREON_DEVICE_DEVICE_DESCRIPTION_H
#define VIREON_DEVICE_DEVICE_DESCRIPTION_H

#include "core/result.h"
#include "core/string.h"
#include "device/zo_ssdp_device_info.h"
#include "xml/xml_element_node.h"

// The UPnP device description of a record, in the two forms and with the failures that
// ZoSsdpDeviceInfo::GetDescription states. Thread rules are those of the record.

// The device element, appended to parent.
NPT_Result AppendDeviceElement(const ZoSsdpDeviceInfo& record, NPT_XmlElementNode* parent,
                               NPT_XmlElementNode** device);

// The whole document, appended to text. The device element comes from the record's virtual
// operation, so that a derived record can bring its own.
NPT_Result WriteDescription(const ZoSsdpDeviceInfo& record, NPT_String& text);

#endif
