// What the search says on the wire and when: texts, ports, limits. Each stands here only; what any
// HTTP message may say stands in http/http_protocol.h, what a record says by itself with the
// record.
#ifndef VIREON_ENGINE_PROTOCOL_H
#define VIREON_ENGINE_PROTOCOL_H

#include <cstddef>

#include "core/timeout.h"
#include "core/types.h"

namespace protocol {

// The group of SSDP (UPnP Device Architecture 1.1, 1.3) on a port of our own: only our own media
// servers listen there.
constexpr const char* kMulticastGroup = "239.255.255.250";
constexpr NPT_UInt16 kSearchPort = 31288;

constexpr const char* kSearchMethod = "M-SEARCH";
constexpr const char* kSearchPath = "*";
constexpr const char* kSearchMaximumWait = "5";  // seconds; for the servers, we listen longer
constexpr const char* kSearchTarget = "ssdp:all";
constexpr const char* kSearchExtension = "\"ssdp:discover\"";
constexpr const char* kUserAgent = "UPnP/1.0";

// Only answers whose USN names this type are ours.
constexpr const char* kDeviceType = "urn:schemas-upnp-org:device:ZOMediaServer:1";
constexpr char kUsnSeparator[] = "::";
constexpr NPT_UInt32 kUsnSeparatorLength = sizeof(kUsnSeparator) - 1;
constexpr NPT_UInt32 kUuidPrefixLength = 5;  // "uuid:", dropped unseen
constexpr char kMaxAgeDirective[] = "max-age=";
constexpr NPT_UInt32 kMaxAgeDirectiveLength = sizeof(kMaxAgeDirective) - 1;

// Hosts of a location that are of use on the server's own machine only.
constexpr const char* kLoopbackName = "localhost";
constexpr const char* kLoopbackAddress = "127.0.0.1";

// How far a multicast search goes, in routers.
constexpr NPT_UInt8 kMulticastTimeToLive = 4;

// Local ports of multicast senders: 1024 to 16023.
constexpr NPT_UInt32 kFirstPort = 1024;
constexpr NPT_UInt32 kPortCount = 15000;
constexpr int kBindAttempts = 20;

// UDP loses datagrams: each search goes out twice.
constexpr int kSearchesPerCycle = 2;
constexpr NPT_UInt32 kSearchBufferSize = 4096;  // bytes
// Bytes; above one Ethernet frame, so that every answer that was not fragmented fits.
constexpr NPT_UInt32 kAnswerBufferSize = 2000;

// Bytes of answers that have arrived but were not received. All servers of a network answer at
// once, and systems count up to 4 KiB for an answer, however short: this is room for a thousand.
// Memory is taken only as they arrive. Systems may give less (docs/datagram.md).
constexpr int kReceiveBufferSize = 4 * 1024 * 1024;

constexpr float kDefaultIntervalSeconds = 3;
// Stands in for an interval of exactly 0.
constexpr NPT_Int64 kFallbackIntervalSeconds = 30;
constexpr NPT_Timeout kSendTimeout = 10000;  // milliseconds
// Passed to the resolver, which looks up without a limit.
constexpr NPT_Timeout kResolveTimeout = 300000000;  // milliseconds
// After a failed receive, so that a broken socket cannot spin the processor; and after a datagram
// that is no answer, so that a flood of them cannot either. Behind the latter the sender takes in
// what arrived meanwhile, for as long again at most, and pauses for nothing of that: so a neighbour
// that sends nonsense delays answers, but loses none.
constexpr NPT_Timeout kPauseAfterError = 150;  // milliseconds

// How many answers that arrive together a sender takes in before it wakes the dispatch thread: some
// tenths of a millisecond of work. Waking it for each would cost more than all else of an answer.
constexpr int kAnswersAtOneGo = 32;

// Records that wait for the script's callable, about 1 KB each, and 4 KB where an answer is made to
// take as much as it can: beyond that a flood of answers would take the host's memory while the
// callable is busy.
constexpr std::size_t kQueueLimit = 65536;

// What the script callable gets as its first argument.
constexpr const char* kUpdateEvent = "Update Service";

// The names of headers, as requests spell them; in answers their case is ignored.
namespace header {

constexpr const char* kMaximumWait = "MX";
constexpr const char* kSearchTarget = "ST";
constexpr const char* kSearchExtension = "MAN";
constexpr const char* kUserAgent = "User-Agent";

constexpr const char* kUsn = "USN";
constexpr const char* kExt = "EXT";
constexpr const char* kLocation = "Location";
constexpr const char* kCacheControl = "Cache-Control";

// The properties of a server, one header each.
constexpr const char* kFriendlyName = "FriendlyName";
constexpr const char* kManufacturer = "Manufacturer";
constexpr const char* kManufacturerUrl = "ManufacturerURL";
constexpr const char* kModelDescription = "ModelDescription";
constexpr const char* kModelName = "ModelName";
constexpr const char* kModelUrl = "ModelURL";
constexpr const char* kModelNumber = "ModelNumber";
constexpr const char* kSerialNumber = "SerialNumber";
constexpr const char* kPresentationUrl = "PresentationURL";
constexpr const char* kHttpPort = "HttpPort";
constexpr const char* kHttpsPort = "HttpsPort";
constexpr const char* kWebsocketPort = "WebsocketPort";
constexpr const char* kDbStatus = "DBStatus";
constexpr const char* kVersion = "Version";

}  // namespace header

}  // namespace protocol

#endif
