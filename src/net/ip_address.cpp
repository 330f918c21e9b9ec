#include "net/ip_address.h"

namespace {

// Reads one decimal number of a dotted quad and moves text behind it.
bool ParseByte(const char*& text, NPT_UInt8& byte) {
    unsigned value = 0;
    const char* digit = text;
    for (; *digit >= '0' && *digit <= '9'; ++digit) {
        value = value * 10 + static_cast<unsigned>(*digit - '0');
        if (value > 255) return false;
    }
    if (digit == text) return false;
    text = digit;
    byte = static_cast<NPT_UInt8>(value);
    return true;
}

}  // namespace

NPT_IpAddress::NPT_IpAddress(NPT_UInt32 host_order)
    : bytes_{static_cast<NPT_UInt8>(host_order >> 24), static_cast<NPT_UInt8>(host_order >> 16),
             static_cast<NPT_UInt8>(host_order >> 8), static_cast<NPT_UInt8>(host_order)} {}

NPT_UInt32 NPT_IpAddress::AsLong() const {
    NPT_UInt32 host_order = 0;
    for (const NPT_UInt8 byte : bytes_)
        host_order = host_order << 8 | byte;
    return host_order;
}

NPT_Result NPT_IpAddress::Parse(const char* text) {
    *this = NPT_IpAddress();
    if (!text) return NPT_ERROR_INVALID_ARGUMENT;
    NPT_IpAddress parsed;
    for (std::size_t part = 0; part < parsed.bytes_.size(); ++part) {
        if (part > 0 && *text++ != '.') return NPT_ERROR_INVALID_SYNTAX;
        if (!ParseByte(text, parsed.bytes_[part])) return NPT_ERROR_INVALID_SYNTAX;
    }
    if (*text != '\0') return NPT_ERROR_INVALID_SYNTAX;
    *this = parsed;
    return NPT_SUCCESS;
}

NPT_String NPT_IpAddress::ToString() const {
    return NPT_String::Format("%u.%u.%u.%u", bytes_[0], bytes_[1], bytes_[2], bytes_[3]);
}
