#include "net/interface_platform.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include "net/unique_socket.h"
#include "net/win32/interface_entries.h"

namespace {

static_assert(sizeof(INTERFACE_INFO) == 76, "the record's size is fixed by the platform");

NPT_IpAddress FromSystemAddress(const sockaddr_gen& system_address) {
    return NPT_IpAddress(ntohl(system_address.AddressIn.sin_addr.s_addr));
}

}  // namespace

NPT_List<interface_platform::Entry> ToInterfaceEntries(const INTERFACE_INFO* records,
                                                       std::size_t count) {
    NPT_List<interface_platform::Entry> entries;
    for (std::size_t index = 0; index < count; ++index) {
        const INTERFACE_INFO& record = records[index];
        interface_platform::Entry entry;
        entry.address = FromSystemAddress(record.iiAddress);
        entry.netmask = FromSystemAddress(record.iiNetmask);
        entry.is_up = (record.iiFlags & IFF_UP) != 0;
        entry.is_loopback = (record.iiFlags & IFF_LOOPBACK) != 0;
        entry.is_point_to_point = (record.iiFlags & IFF_POINTTOPOINT) != 0;
        entry.can_broadcast = (record.iiFlags & IFF_BROADCAST) != 0;
        entry.can_multicast = (record.iiFlags & IFF_MULTICAST) != 0;
        entries.Add(entry);
    }
    return entries;
}

namespace interface_platform {

NPT_Result Query(NPT_List<Entry>& entries) {
    entries.Clear();
    socket_platform::Handle created = socket_platform::kInvalidHandle;
    if (NPT_Failed(socket_platform::Open(socket_platform::Transport::kDatagram, created)))
        return NPT_FAILURE;
    const UniqueSocket query(created);
    INTERFACE_INFO records[kMaxEntries];
    DWORD size = 0;
    if (::WSAIoctl(static_cast<SOCKET>(created), SIO_GET_INTERFACE_LIST, nullptr, 0, records,
                   sizeof records, &size, nullptr, nullptr) != 0)
        return NPT_FAILURE;
    entries = ToInterfaceEntries(records, size / sizeof(INTERFACE_INFO));
    return NPT_SUCCESS;
}

}  // namespace interface_platform
