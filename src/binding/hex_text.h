#ifndef VIREON_BINDING_HEX_TEXT_H
#define VIREON_BINDING_HEX_TEXT_H

#include <cstddef>

namespace binding {

// Room for a rendering, in characters with the closing NUL. What does not fit is not cut but left
// out.
constexpr std::size_t kRenderingSize = 1024;

// Writes "_" and two lower-case hexadecimal digits per byte, in memory order and without a NUL;
// returns the position behind. The buffer holds 1 + 2 * count characters.
char* WriteHex(char* buffer, const void* bytes, std::size_t count);

// "_", the address's 8 bytes in hexadecimal, least significant first, and the mangled name. Returns
// buffer, or null when size (with the NUL) is too small.
const char* RenderPointer(char* buffer, std::size_t size, const void* address, const char* name);

}  // namespace binding

#endif
