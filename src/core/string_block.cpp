#include "core/string_block.h"

#include <algorithm>
#include <new>

namespace {

// Bytes; an answer to a search fits.
constexpr std::size_t kFirstPieceSize = 2560;

}  // namespace

StringBlock::~StringBlock() {
    while (last_) {
        Piece* const piece = last_;
        last_ = piece->previous;
        ::operator delete(piece);
    }
}

const NPT_String& StringBlock::Add(std::string_view text) {
    const std::size_t block_size = text.empty() ? 0 : NPT_String::BlockSize(text.size());
    auto* const memory = static_cast<char*>(Take(sizeof(NPT_String) + block_size));
    auto* const string = new (memory) NPT_String;
    if (!text.empty()) string->FillBlock(memory + sizeof(NPT_String), text);
    return *string;
}

void* StringBlock::Take(std::size_t size) {
    size = (size + kAlignment - 1) / kAlignment * kAlignment;
    if (!last_ || size > last_->size - used_) AddPiece(size);
    void* const memory = reinterpret_cast<char*>(last_) + used_;
    used_ += size;
    return memory;
}

// Twice as large as the one before, so that many strings need few.
void StringBlock::AddPiece(std::size_t needed) {
    const std::size_t usual = last_ ? last_->size * 2 : kFirstPieceSize;
    const std::size_t size = std::max(usual, sizeof(Piece) + needed);
    last_ = new (::operator new(size)) Piece{last_, size};
    used_ = sizeof(Piece);
}
