#ifndef VIREON_NET_NAME_RESOLVER_H
#define VIREON_NET_NAME_RESOLVER_H

#include "core/list.h"
#include "core/result.h"
#include "net/ip_address.h"

class NPT_NetworkNameResolver {
  public:
    // Replaces the list by the IPv4 addresses that the platform's resolver gives for name, in its
    // order, at most 1024. An address stands in the list as often as the platform lists it (once
    // per transport, say). Blocks without a time limit; any thread may call it.
    // NPT_ERROR_HOST_UNKNOWN, with an empty list, when the look-up fails.
    static NPT_Result Resolve(const char* name, NPT_List<NPT_IpAddress>& addresses);
};

#endif
