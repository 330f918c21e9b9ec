#ifndef VIREON_CORE_STRING_BLOCK_H
#define VIREON_CORE_STRING_BLOCK_H

#include <cstddef>
#include <string_view>

#include "core/string.h"

// Strings that come and go together, such as the headers of a message, in one block of memory or,
// where they do not fit, a few.
//
// Owns the strings and, unlike anything else, their characters as well. Nobody changes them; they
// stay where they are and go with it, all at once. An Add that throws std::bad_alloc adds nothing.
// Not synchronised.
class StringBlock {
  public:
    StringBlock() = default;
    StringBlock(const StringBlock&) = delete;
    StringBlock& operator=(const StringBlock&) = delete;
    ~StringBlock();

    // text may lie in this block.
    const NPT_String& Add(std::string_view text);

  private:
    struct Piece {
        Piece* previous;
        std::size_t size;  // bytes, this header among them
    };

    void* Take(std::size_t size);
    void AddPiece(std::size_t needed);

    Piece* last_ = nullptr;
    std::size_t used_ = 0;  // bytes of the last piece
};

#endif
