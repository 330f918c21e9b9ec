#ifndef VIREON_CORE_STRING_BLOCK_H
#define VIREON_CORE_STRING_BLOCK_H

#include <cstddef>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>

#include "core/string.h"

// Strings that come and go together, such as the headers of a message, in one block of memory or,
// where they do not fit, a few.
//
// Owns the strings and, unlike anything else, their characters as well. Nobody changes them; they
// stay where they are and go with it, all at once. So does what is kept beside them to tell what
// they are. What throws std::bad_alloc adds nothing. Not synchronised.
class StringBlock {
  public:
    StringBlock() = default;
    StringBlock(const StringBlock&) = delete;
    StringBlock& operator=(const StringBlock&) = delete;
    ~StringBlock();

    // text may lie in this block.
    const NPT_String& Add(std::string_view text);
    template <typename T, typename... Arguments>
    T* Make(Arguments&&... arguments) {
        static_assert(std::is_trivially_destructible_v<T>, "it just goes");
        static_assert(alignof(T) <= kAlignment, "it lies among strings");
        return new (Take(sizeof(T))) T(std::forward<Arguments>(arguments)...);
    }

  private:
    static constexpr std::size_t kAlignment = alignof(NPT_String);

    struct Piece {
        Piece* previous;
        std::size_t size;  // bytes, this header among them
    };

    // Bytes, rounded up so that the next ones are aligned too.
    void* Take(std::size_t size);
    void AddPiece(std::size_t needed);

    Piece* last_ = nullptr;
    std::size_t used_ = 0;  // bytes of the last piece
};

#endif
