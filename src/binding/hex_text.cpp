#include "binding/hex_text.h"

#include <cstring>

namespace binding {

char* WriteHex(char* buffer, const void* bytes, std::size_t count) {
    constexpr char kDigits[] = "0123456789abcdef";
    const auto* byte = static_cast<const unsigned char*>(bytes);
    *buffer++ = '_';
    for (const unsigned char* end = byte + count; byte != end; ++byte) {
        *buffer++ = kDigits[*byte >> 4];
        *buffer++ = kDigits[*byte & 0xF];
    }
    return buffer;
}

const char* RenderPointer(char* buffer, std::size_t size, const void* address, const char* name) {
    constexpr std::size_t kHexLength = 1 + 2 * sizeof address;
    const std::size_t name_size = std::strlen(name) + 1;
    if (size < kHexLength || name_size > size - kHexLength) return nullptr;
    std::memcpy(WriteHex(buffer, &address, sizeof address), name, name_size);
    return buffer;
}

}  // namespace binding
