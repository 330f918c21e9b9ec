#ifndef VIREON_ENGINE_SEARCH_ANSWER_H
#define VIREON_ENGINE_SEARCH_ANSWER_H

#include <memory>

#include "core/string.h"
#include "core/time.h"
#include "device/zo_ssdp_device_info.h"
#include "http/http_message.h"
#include "http/http_url.h"
#include "net/ip_address.h"

// What an answer to an SSDP search says, header by header. Pure functions: any thread, each with
// a message of its own.

// The device's uuid from the USN "uuid:<uuid>::<ST>". uuid is empty after a failure:
//   NPT_ERROR_INVALID_ARGUMENT  no ST, USN or EXT
//   NPT_FAILURE                 a USN of another form or with another ST (ASCII case is ignored)
NPT_Result ReadUuid(const NPT_HttpMessage& answer, NPT_String& uuid);

// Whether a USN names the one device type that we search for.
bool IsMediaServer(const NPT_String& usn);

// The description URL. A server that names itself by a loopback host is reached at the address
// that it answered from.
NPT_HttpUrl ReadLocation(const NPT_String& location, const NPT_IpAddress& responder);

// The seconds behind "max-age=" at the start of Cache-Control, as far as they fit 32 bits; a
// record's default lease otherwise.
NPT_TimeInterval ReadLeaseTime(const NPT_HttpMessage& answer);

// The record that the answer's property headers describe; properties that are not there keep the
// record's defaults or, the ones every server sends, become empty. Null without a friendly name.
std::unique_ptr<ZoSsdpDeviceInfo> MakeDeviceRecord(const NPT_HttpMessage& answer,
                                                   NPT_HttpUrl location, const char* uuid,
                                                   const NPT_String& usn,
                                                   NPT_TimeInterval lease_time);

#endif
