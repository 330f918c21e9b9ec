#include "net/name_resolver.h"

#include "net/socket_platform.h"

namespace {

constexpr NPT_UInt32 kMaxAddresses = 1024;
// Bytes of the platform's IPv4 address record; a shorter one holds no address.
constexpr NPT_UInt32 kMinAddressLength = 16;
constexpr int kAnyProtocol = 0;
constexpr int kTcpProtocol = 6;

bool IsUsable(const socket_platform::ResolvedAddress& line) {
    return line.is_ipv4 && line.address_length >= kMinAddressLength &&
           (line.protocol == kAnyProtocol || line.protocol == kTcpProtocol);
}

}  // namespace

NPT_Result NPT_NetworkNameResolver::Resolve(const char* name, NPT_List<NPT_IpAddress>& addresses) {
    addresses.Clear();
    NPT_List<socket_platform::ResolvedAddress> answer;
    if (NPT_Failed(socket_platform::LookUpName(name, answer))) return NPT_ERROR_HOST_UNKNOWN;
    for (const socket_platform::ResolvedAddress& line : answer) {
        if (addresses.GetItemCount() == kMaxAddresses) break;
        if (IsUsable(line)) addresses.Add(line.address);
    }
    return NPT_SUCCESS;
}

NPT_Result NPT_IpAddress::ResolveName(const char* name, NPT_Timeout) {
    *this = NPT_IpAddress();
    if (!name || *name == '\0') return NPT_ERROR_HOST_UNKNOWN;
    if (NPT_Succeeded(Parse(name))) return NPT_SUCCESS;
    NPT_List<NPT_IpAddress> addresses;
    const NPT_Result result = NPT_NetworkNameResolver::Resolve(name, addresses);
    if (NPT_Failed(result)) return result;
    if (addresses.IsEmpty()) return NPT_ERROR_NO_ADDRESS;
    *this = *addresses.begin();
    return NPT_SUCCESS;
}
