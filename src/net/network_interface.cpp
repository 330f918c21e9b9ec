#include "net/network_interface.h"

#include "net/interface_list.h"
#include "net/interface_platform.h"

NPT_Result NPT_NetworkInterface::GetNetworkInterfaces(NPT_List<NPT_NetworkInterface*>& interfaces) {
    NPT_List<interface_platform::Entry> entries;
    const NPT_Result result = interface_platform::Query(entries);
    if (NPT_Succeeded(result)) AppendInterfaces(entries, interfaces);
    return result;
}
