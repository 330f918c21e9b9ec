#ifndef VIREON_NET_IP_ADDRESS_H
#define VIREON_NET_IP_ADDRESS_H

#include <array>

#include "core/result.h"
#include "core/string.h"
#include "core/timeout.h"
#include "core/types.h"

// An IPv4 address: four bytes, the most significant first. 0.0.0.0 unless told otherwise.
class NPT_IpAddress {
  public:
    NPT_IpAddress() = default;
    // 0xC0A80114 is 192.168.1.20.
    explicit NPT_IpAddress(NPT_UInt32 host_order);
    NPT_IpAddress(NPT_UInt8 first, NPT_UInt8 second, NPT_UInt8 third, NPT_UInt8 fourth)
        : bytes_{first, second, third, fourth} {}

    // In host order, the first byte in the top 8 bits.
    NPT_UInt32 AsLong() const;
    // The four bytes, which is also network order.
    const NPT_UInt8* AsBytes() const { return bytes_.data(); }

    // Dotted quad only: four decimal numbers up to 255, leading zeros allowed, nothing behind. The
    // address is 0.0.0.0 after a failure.
    //   NPT_ERROR_INVALID_ARGUMENT  null text
    //   NPT_ERROR_INVALID_SYNTAX    anything else that is not a dotted quad
    NPT_Result Parse(const char* text);
    // A dotted quad is taken as it is, any other name is looked up and the first address taken. The
    // look-up blocks for as long as the platform's resolver needs, whatever the timeout. The
    // address is 0.0.0.0 after a failure. Defined with the resolver (net/name_resolver.cpp).
    //   NPT_ERROR_HOST_UNKNOWN  null, empty or unknown name
    //   NPT_ERROR_NO_ADDRESS    the name has no IPv4 address
    NPT_Result ResolveName(const char* name, NPT_Timeout timeout = NPT_TIMEOUT_INFINITE);
    // "192.168.1.20"
    NPT_String ToString() const;

    friend bool operator==(const NPT_IpAddress& left, const NPT_IpAddress& right) {
        return left.bytes_ == right.bytes_;
    }
    friend bool operator!=(const NPT_IpAddress& left, const NPT_IpAddress& right) {
        return !(left == right);
    }

  private:
    std::array<NPT_UInt8, 4> bytes_{};
};

#endif
