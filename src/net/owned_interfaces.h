#ifndef VIREON_NET_OWNED_INTERFACES_H
#define VIREON_NET_OWNED_INTERFACES_H

#include "core/list.h"
#include "net/network_interface.h"

// A list of interfaces that owns what it holds: whatever is still in it at its end is deleted. The
// queries of interfaces append to the bare list; what is erased from that belongs to whoever erased
// it. Not synchronised.
class OwnedInterfaces {
  public:
    OwnedInterfaces() = default;
    OwnedInterfaces(const OwnedInterfaces&) = delete;
    OwnedInterfaces& operator=(const OwnedInterfaces&) = delete;
    ~OwnedInterfaces() {
        for (const NPT_NetworkInterface* owned : list_)
            delete owned;
    }

    NPT_List<NPT_NetworkInterface*>& AsList() { return list_; }
    const NPT_List<NPT_NetworkInterface*>& AsList() const { return list_; }

  private:
    NPT_List<NPT_NetworkInterface*> list_;
};

#endif
