#ifndef VIREON_NET_SOCKET_ADDRESS_H
#define VIREON_NET_SOCKET_ADDRESS_H

#include "core/types.h"
#include "net/ip_address.h"

// An IPv4 address with a port in host order.
class NPT_SocketAddress {
  public:
    NPT_SocketAddress() = default;
    NPT_SocketAddress(const NPT_IpAddress& ip_address, NPT_UInt16 port = 0)
        : ip_address_(ip_address), port_(port) {}

    const NPT_IpAddress& GetIpAddress() const { return ip_address_; }
    NPT_UInt16 GetPort() const { return port_; }

    friend bool operator==(const NPT_SocketAddress& left, const NPT_SocketAddress& right) {
        return left.ip_address_ == right.ip_address_ && left.port_ == right.port_;
    }
    friend bool operator!=(const NPT_SocketAddress& left, const NPT_SocketAddress& right) {
        return !(left == right);
    }

  private:
    NPT_IpAddress ip_address_;
    NPT_UInt16 port_ = 0;
};

// The two ends of a socket, 0.0.0.0 and port 0 where an end is not known.
struct NPT_SocketInfo {
    NPT_SocketAddress local_address;
    NPT_SocketAddress remote_address;
};

#endif
