// What the search says on the wire and when: texts, ports, limits. Each stands here only.
#ifndef VIREON_ENGINE_PROTOCOL_H
#define VIREON_ENGINE_PROTOCOL_H

#include <cstddef>

#include "core/types.h"
#include "net/timeout.h"

namespace protocol {

// The group of SSDP (UPnP Device Architecture 1.1, 1.3) on a port of our own: only our own media
// servers listen there.
constexpr const char* kMulticastGroup = "239.255.255.250";
constexpr NPT_UInt16 kSearchPort = 31288;
constexpr const char* kHostOfBroadcastSearch = "239.255.255.250:31288";

constexpr const char* kSearchMethod = "M-SEARCH";
constexpr const char* kSearchPath = "*";
constexpr const char* kHttpVersion = "HTTP/1.1";
constexpr const char* kSearchMaximumWait = "5";  // seconds; for the servers, we listen longer
constexpr const char* kSearchTarget = "ssdp:all";
constexpr const char* kSearchExtension = "\"ssdp:discover\"";
constexpr const char* kUserAgent = "UPnP/1.0";

// Only answers whose USN names this type are ours.
constexpr const char* kDeviceType = "urn:schemas-upnp-org:device:ZOMediaServer:1";
constexpr const char* kUsnSeparator = "::";
constexpr NPT_UInt32 kUuidPrefixLength = 5;  // "uuid:", dropped unseen
constexpr const char* kMaxAgeDirective = "max-age=";
constexpr NPT_UInt32 kMaxAgeDirectiveLength = 8;

constexpr NPT_Int64 kDefaultLeaseSeconds = 1800;  // of an answer that names no max-age

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

// Records that wait for the script's callable, about 1 KB each: beyond that a flood of answers
// would take the host's memory while the callable is busy.
constexpr std::size_t kQueueLimit = 65536;

// What the script callable gets as its first argument.
constexpr const char* kUpdateEvent = "Update Service";

}  // namespace protocol

#endif
