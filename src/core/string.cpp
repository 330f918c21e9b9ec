#include "core/string.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "core/parse_integer.h"

namespace {

constexpr NPT_UInt32 kMaxLength = 0x7FFFFFFF;  // the searches return an index as int
constexpr NPT_UInt32 kFirstFormatSize = 256;
constexpr NPT_UInt32 kLargestFormatSize = 0x80000;

NPT_UInt32 CheckedLength(NPT_UInt64 length) {
    if (length > kMaxLength) throw std::bad_alloc();
    return static_cast<NPT_UInt32>(length);
}

NPT_UInt32 LengthOf(const char* text) {
    return text ? CheckedLength(std::strlen(text)) : 0;
}

NPT_UInt32 GrownCapacity(NPT_UInt32 needed, NPT_UInt32 capacity) {
    const NPT_UInt64 doubled = NPT_UInt64{capacity} * 2;
    return std::max(needed, static_cast<NPT_UInt32>(std::min<NPT_UInt64>(doubled, kMaxLength)));
}

// The rule of ranges: a NUL ends them early unless it is their last character.
NPT_UInt32 LengthOfRange(const char* text, NPT_UInt32 length) {
    if (!text || length == 0) return 0;
    const void* nul = std::memchr(text, '\0', length - 1);
    return nul ? static_cast<NPT_UInt32>(static_cast<const char*>(nul) - text) : length;
}

char Folded(char character, bool ignore_case) {
    const bool is_lower = character >= 'a' && character <= 'z';
    return ignore_case && is_lower ? static_cast<char>(character & ~0x20) : character;
}

bool RangesEqual(const char* left, const char* right, NPT_UInt32 count, bool ignore_case) {
    if (!ignore_case) return std::memcmp(left, right, count) == 0;
    return std::equal(left, left + count, right,
                      [](char a, char b) { return Folded(a, true) == Folded(b, true); });
}

std::string_view ViewOf(const NPT_String& text) {
    return {text.GetChars(), text.GetLength()};
}

int IndexOf(std::string_view::size_type position) {
    return position == std::string_view::npos ? -1 : static_cast<int>(position);
}

bool IsTrimmed(char character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

int Difference(char left, char right) {
    return static_cast<signed char>(left) - static_cast<signed char>(right);
}

// Up to the first NUL, which stands behind both views at the latest.
int CompareExactly(std::string_view left, std::string_view right) {
    if (std::strcmp(left.data(), right.data()) == 0) return 0;
    constexpr std::size_t kStride = 16;  // compared by a few instructions
    const std::size_t shorter = std::min(left.size(), right.size());
    std::size_t same = 0;
    while (shorter - same >= kStride &&
           std::memcmp(left.data() + same, right.data() + same, kStride) == 0)
        same += kStride;
    while (left.data()[same] == right.data()[same])
        ++same;
    return Difference(left.data()[same], right.data()[same]);
}

int CompareFolded(const char* left, const char* right) {
    for (; *left != '\0' || *right != '\0'; ++left, ++right) {
        if (*left == *right) continue;
        const int difference = Difference(Folded(*left, true), Folded(*right, true));
        if (difference != 0) return difference;
    }
    return 0;
}

NPT_String Concatenate(const char* left, NPT_UInt32 left_length, const char* right,
                       NPT_UInt32 right_length) {
    NPT_String result;
    result.Reserve(CheckedLength(NPT_UInt64{left_length} + right_length));
    result.Append(left, left_length);
    result.Append(right, right_length);
    return result;
}

}  // namespace

std::size_t NPT_String::BlockSize(NPT_UInt64 capacity) {
    return sizeof(BlockHeader) + CheckedLength(capacity) + std::size_t{1};
}

char* NPT_String::MakeBlock(void* memory, NPT_UInt32 capacity) {
    auto* header = new (memory) BlockHeader{0, capacity};
    auto* chars = reinterpret_cast<char*>(header + 1);
    chars[0] = '\0';
    return chars;
}

char* NPT_String::NewBlock(NPT_UInt32 capacity) {
    return MakeBlock(::operator new(BlockSize(capacity)), capacity);
}

void NPT_String::FillBlock(void* memory, std::string_view text) {
    const NPT_UInt32 length = CheckedLength(text.size());
    chars_ = MakeBlock(memory, length);
    std::memcpy(chars_, text.data(), length);
    EndAt(length);
}

void NPT_String::FreeBlock(char* chars) {
    if (chars) ::operator delete(HeaderOf(chars));
}

NPT_String::NPT_String(const char* text) {
    Replace(text, LengthOf(text));
}

NPT_String::NPT_String(const char* text, NPT_UInt32 length) {
    Assign(text, length);
}

NPT_String::NPT_String(const NPT_String& other) {
    Replace(other.chars_, other.GetLength());
}

NPT_String::NPT_String(NPT_String&& other) noexcept
    : chars_(std::exchange(other.chars_, nullptr)) {}

NPT_String::~NPT_String() {
    FreeBlock(chars_);
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): Replace takes a text of its own as well.
NPT_String& NPT_String::operator=(const NPT_String& other) {
    Replace(other.chars_, other.GetLength());
    return *this;
}

NPT_String& NPT_String::operator=(NPT_String&& other) noexcept {
    std::swap(chars_, other.chars_);
    return *this;
}

NPT_String& NPT_String::operator=(const char* text) {
    Replace(text, LengthOf(text));
    return *this;
}

NPT_String NPT_String::FromInteger(NPT_Int64 value) {
    char digits[20];  // "-9223372036854775808"
    const auto end = std::to_chars(digits, digits + sizeof(digits), value).ptr;
    return NPT_String(digits, static_cast<NPT_UInt32>(end - digits));
}

NPT_String NPT_String::Format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    NPT_String text = FormatList(format, arguments);
    va_end(arguments);
    return text;
}

NPT_String NPT_String::FormatList(const char* format, va_list arguments) {
    NPT_String text;
    if (!format) return text;
    for (NPT_UInt32 size = kFirstFormatSize; size <= kLargestFormatSize; size *= 2) {
        text.Reserve(size);
        va_list per_try;  // formatting uses its list up
        va_copy(per_try, arguments);
        const int length = std::vsnprintf(text.chars_, size + std::size_t{1}, format, per_try);
        va_end(per_try);
        if (length >= 0 && static_cast<NPT_UInt32>(length) <= size) {
            text.SetLength(static_cast<NPT_UInt32>(length));
            return text;
        }
    }
    return NPT_String();
}

void NPT_String::Assign(const char* text, NPT_UInt32 length) {
    Replace(text, LengthOfRange(text, length));
}

// text may lie in this string's own block.
void NPT_String::Replace(const char* text, NPT_UInt32 length) {
    if (length == 0) {
        FreeBlock(std::exchange(chars_, nullptr));
    } else if (length <= GetCapacity()) {
        std::memmove(chars_, text, length);
        EndAt(length);
    } else {
        char* fresh = NewBlock(length);
        std::memcpy(fresh, text, length);
        FreeBlock(std::exchange(chars_, fresh));
        EndAt(length);
    }
}

NPT_String NPT_String::MoveToBlock(NPT_UInt32 capacity) {
    const NPT_UInt32 length = GetLength();
    NPT_String old;
    old.chars_ = std::exchange(chars_, NewBlock(capacity));
    if (length) std::memcpy(chars_, old.chars_, length);
    EndAt(length);
    return old;
}

void NPT_String::EndAt(NPT_UInt32 length) {
    HeaderOf(chars_)->length = length;
    chars_[length] = '\0';
}

void NPT_String::Reserve(NPT_UInt32 n) {
    if (n > GetCapacity()) MoveToBlock(GrownCapacity(n, GetCapacity()));
}

void NPT_String::SetLength(NPT_UInt32 n, bool pad) {
    if (n == 0) {
        FreeBlock(std::exchange(chars_, nullptr));
        return;
    }
    Reserve(n);
    const NPT_UInt32 length = GetLength();
    if (pad && n > length) std::memset(chars_ + length, ' ', n - length);
    EndAt(n);
}

void NPT_String::Append(const char* text, NPT_UInt32 count) {
    if (!text || count == 0) return;
    const NPT_UInt32 length = GetLength();
    const NPT_UInt32 total = CheckedLength(NPT_UInt64{length} + count);
    NPT_String old;  // kept until the copy: text may lie in it
    if (total > GetCapacity()) old = MoveToBlock(GrownCapacity(total, GetCapacity()));
    std::memmove(chars_ + length, text, count);
    EndAt(total);
}

void NPT_String::Append(const char* text) {
    Append(text, LengthOf(text));
}

NPT_String& NPT_String::operator+=(const NPT_String& other) {
    Append(other.chars_, other.GetLength());
    return *this;
}

NPT_String& NPT_String::operator+=(const char* text) {
    Append(text);
    return *this;
}

NPT_String& NPT_String::operator+=(char character) {
    Append(&character, 1);
    return *this;
}

int NPT_String::Compare(const char* other, bool ignore_case) const {
    if (ignore_case) return CompareFolded(GetChars(), other ? other : "");
    return CompareExactly(ViewOf(*this), other ? other : "");
}

int NPT_String::Compare(const NPT_String& other, bool ignore_case) const {
    if (ignore_case) return CompareFolded(GetChars(), other.GetChars());
    return CompareExactly(ViewOf(*this), ViewOf(other));
}

int NPT_String::Find(char character, NPT_UInt32 start, bool ignore_case) const {
    if (!ignore_case) return IndexOf(ViewOf(*this).find(character, start));
    const NPT_UInt32 length = GetLength();
    const char wanted = Folded(character, true);
    for (NPT_UInt32 index = start; index < length; ++index) {
        if (Folded(chars_[index], true) == wanted) return static_cast<int>(index);
    }
    return -1;
}

int NPT_String::Find(const char* text, NPT_UInt32 start, bool ignore_case) const {
    const NPT_UInt32 length = GetLength();
    if (!text || start >= length) return -1;
    if (!ignore_case) return IndexOf(ViewOf(*this).find(text, start));
    const NPT_UInt32 wanted = LengthOf(text);
    for (NPT_UInt32 index = start; wanted <= length - index; ++index) {
        if (RangesEqual(chars_ + index, text, wanted, true)) return static_cast<int>(index);
    }
    return -1;
}

int NPT_String::ReverseFind(char character, NPT_UInt32 start, bool ignore_case) const {
    const NPT_UInt32 length = GetLength();
    if (start >= length) return -1;
    const char wanted = Folded(character, ignore_case);
    for (NPT_UInt32 remaining = length - start; remaining > 0; --remaining) {
        if (Folded(chars_[remaining - 1], ignore_case) == wanted)
            return static_cast<int>(remaining - 1);
    }
    return -1;
}

bool NPT_String::StartsWith(const char* text, bool ignore_case) const {
    if (!text) return false;
    const NPT_UInt32 count = LengthOf(text);
    return count <= GetLength() && RangesEqual(GetChars(), text, count, ignore_case);
}

bool NPT_String::EndsWith(const char* text, bool ignore_case) const {
    if (!text) return false;
    const NPT_UInt32 count = LengthOf(text);
    const NPT_UInt32 length = GetLength();
    return count <= length && RangesEqual(GetChars() + (length - count), text, count, ignore_case);
}

NPT_String NPT_String::SubString(NPT_UInt32 first, NPT_UInt32 count) const {
    const NPT_UInt32 length = GetLength();
    if (first >= length) return NPT_String();
    return NPT_String(chars_ + first, std::min(count, length - first));
}

void NPT_String::MakeLowercase() {
    for (char *next = chars_, *end = chars_ + GetLength(); next != end; ++next) {
        if (*next >= 'A' && *next <= 'Z') *next = static_cast<char>(*next | 0x20);
    }
}

NPT_String NPT_String::ToLowercase() const {
    NPT_String lowercase(*this);
    lowercase.MakeLowercase();
    return lowercase;
}

void NPT_String::TrimLeft() {
    const NPT_UInt32 length = GetLength();
    NPT_UInt32 first = 0;
    while (first < length && IsTrimmed(chars_[first]))
        ++first;
    if (first) Replace(chars_ + first, length - first);
}

void NPT_String::TrimRight() {
    const NPT_UInt32 length = GetLength();
    NPT_UInt32 kept = length;
    while (kept > 0 && IsTrimmed(chars_[kept - 1]))
        --kept;
    if (kept < length) SetLength(kept);
}

void NPT_String::Trim() {
    TrimLeft();
    TrimRight();
}

NPT_List<NPT_String> NPT_String::Split(const char* separator) const {
    NPT_List<NPT_String> pieces;
    const NPT_UInt32 separator_length = LengthOf(separator);
    if (separator_length == 0) {
        pieces.Add(*this);  // a copy, not a range, which a NUL would end
        return pieces;
    }
    NPT_UInt32 first = 0;
    for (int found = Find(separator); found >= 0; found = Find(separator, first)) {
        pieces.Add(SubString(first, static_cast<NPT_UInt32>(found) - first));
        first = static_cast<NPT_UInt32>(found) + separator_length;
    }
    pieces.Add(SubString(first));
    return pieces;
}

NPT_Result NPT_String::ToInteger(NPT_UInt32& value, bool relaxed) const {
    return NPT_ParseInteger(GetChars(), value, relaxed);
}

NPT_Result NPT_String::ToInteger(NPT_UInt64& value, bool relaxed) const {
    return NPT_ParseInteger(GetChars(), value, relaxed);
}

NPT_String operator+(const NPT_String& left, const NPT_String& right) {
    return Concatenate(left.GetChars(), left.GetLength(), right.GetChars(), right.GetLength());
}

NPT_String operator+(const NPT_String& left, const char* right) {
    return Concatenate(left.GetChars(), left.GetLength(), right, LengthOf(right));
}

NPT_String operator+(const char* left, const NPT_String& right) {
    return Concatenate(left, LengthOf(left), right.GetChars(), right.GetLength());
}
