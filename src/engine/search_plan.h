#ifndef VIREON_ENGINE_SEARCH_PLAN_H
#define VIREON_ENGINE_SEARCH_PLAN_H

#include <functional>
#include <memory>
#include <vector>

#include "core/list.h"
#include "core/types.h"
#include "http/http_request.h"
#include "net/ip_address.h"
#include "net/network_interface.h"

// One sender of a search: where its requests go, and from which address.
struct SenderPlan {
    enum class Kind { kBroadcast, kMulticast };
    Kind kind;
    // Broadcast: the destination. Multicast: the address of the interface that it leaves by.
    NPT_IpAddress address;
};

// The senders for these interfaces, in their order: for each one with the broadcast flag and a
// first address other than 0.0.0.0, one towards that address's broadcast address and one multicast
// sender per address. Null entries are skipped.
std::vector<SenderPlan> PlanSenders(const NPT_List<NPT_NetworkInterface*>& interfaces);

// The sender's M-SEARCH (UPnP Device Architecture 1.1, 1.3.2), without what the request writer
// adds.
std::unique_ptr<NPT_HttpRequest> MakeSearchRequest(const SenderPlan& sender);

// Draws ports from 1024 to 16023 until bind takes one, 20 times at most; the last failure of bind
// when none was taken.
NPT_Result BindToRandomPort(const std::function<NPT_UInt32()>& draw,
                            const std::function<NPT_Result(NPT_UInt16 port)>& bind);

#endif
