#include "engine/search_plan.h"

#include "engine/protocol.h"

namespace {

bool CanSearch(const NPT_NetworkInterface& interface) {
    return (interface.GetFlags() & NPT_NETWORK_INTERFACE_FLAG_BROADCAST) != 0 &&
           !interface.GetAddresses().IsEmpty() &&
           (*interface.GetAddresses().begin()).GetPrimaryAddress() != NPT_IpAddress();
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
        protocol::kSearchMethod, protocol::kHttpVersion);
    NPT_HttpHeaders& headers = request->GetHeaders();
    headers.SetHeader("MX", protocol::kSearchMaximumWait);
    headers.SetHeader("ST", protocol::kSearchTarget);
    headers.SetHeader("MAN", protocol::kSearchExtension);
    headers.SetHeader("User-Agent", protocol::kUserAgent);
    if (is_broadcast) headers.SetHeader("Host", protocol::kHostOfBroadcastSearch);
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
