#include "engine/search_plan.h"

#include "engine/protocol.h"
#include "http/http_protocol.h"

namespace {

bool CanSearch(const NPT_NetworkInterface& interface) {
    return (interface.GetFlags() & NPT_NETWORK_INTERFACE_FLAG_BROADCAST) != 0 &&
           !interface.GetAddresses().IsEmpty() &&
           (*interface.GetAddresses().begin()).GetPrimaryAddress() != NPT_IpAddress();
}

// A broadcast search names the group as well, whatever address it goes to.
NPT_String GroupAsHost() {
    return NPT_String(protocol::kMulticastGroup) + ":" +
           NPT_String::FromInteger(protocol::kSearchPort);
}

}  // namespace

std::vector<SenderPlan> PlanSenders(const NPT_List<NPT_NetworkInterface*>& interfaces) {
    std::vector<SenderPlan> senders;
    for (const NPT_NetworkInterface* interface : interfaces) {
        if (!interface || !CanSearch(*interface)) continue;
        const NPT_List<NPT_NetworkInterfaceAddress>& addresses = interface->GetAddresses();
        senders.push_back(
            {SenderPlan::Kind::kBroadcast, (*addresses.begin()).GetBroadcastAddress()});
        for (const NPT_NetworkInterfaceAddress& address : addresses)
            senders.push_back({SenderPlan::Kind::kMulticast, address.GetPrimaryAddress()});
    }
    return senders;
}

std::unique_ptr<NPT_HttpRequest> MakeSearchRequest(const SenderPlan& sender) {
    const bool is_broadcast = sender.kind == SenderPlan::Kind::kBroadcast;
    const NPT_String host = is_broadcast ? sender.address.ToString() : protocol::kMulticastGroup;
    auto request = std::make_unique<NPT_HttpRequest>(
        NPT_HttpUrl(host.GetChars(), protocol::kSearchPort, protocol::kSearchPath),
        protocol::kSearchMethod, http_protocol::kVersion11);
    NPT_HttpHeaders& headers = request->GetHeaders();
    headers.SetHeader(protocol::header::kMaximumWait, protocol::kSearchMaximumWait);
    headers.SetHeader(protocol::header::kSearchTarget, protocol::kSearchTarget);
    headers.SetHeader(protocol::header::kSearchExtension, protocol::kSearchExtension);
    headers.SetHeader(protocol::header::kUserAgent, protocol::kUserAgent);
    if (is_broadcast) headers.SetHeader(http_protocol::kHost, GroupAsHost().GetChars());
    return request;
}

NPT_Result BindToRandomPort(const std::function<NPT_UInt32()>& draw,
                            const std::function<NPT_Result(NPT_UInt16 port)>& bind) {
    static_assert(protocol::kSearchPort >= protocol::kFirstPort + protocol::kPortCount,
                  "a sender must never take the servers' own port");
    NPT_Result result = NPT_FAILURE;
    for (int attempt = 0; attempt < protocol::kBindAttempts && NPT_Failed(result); ++attempt) {
        const NPT_UInt32 port = draw() % protocol::kPortCount + protocol::kFirstPort;
        result = bind(static_cast<NPT_UInt16>(port));
    }
    return result;
}
