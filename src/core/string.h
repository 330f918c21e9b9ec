#ifndef VIREON_CORE_STRING_H
#define VIREON_CORE_STRING_H

#include <cstdarg>
#include <cstring>
#include <string_view>

#include "core/list.h"
#include "core/result.h"
#include "core/types.h"

// A byte string: header names and values, URLs, device fields, every text that crosses a border.
//
// One pointer wide. A null pointer is the empty string; any other points just behind a header of
// two unsigned 32-bit values (length, capacity), so that a debugger, or a script with ctypes, reads
// the text straight from the pointer. The characters always end in a NUL, which the length does not
// count. There is no locale: case folding touches the ASCII letters only.
//
// Each object owns its characters. Not synchronised: one thread at a time per object.
// Sizes are in bytes and below 2 GiB, so that every index fits the int that the searches return;
// what would pass that limit throws std::bad_alloc, as does a failed allocation; the string is then
// what it was.
class NPT_String {
  public:
    NPT_String() = default;
    NPT_String(const char* text);
    // The first length characters of text, cut at a NUL among the first length - 1 of them. The
    // last character is not looked at: a range whose only NUL is its last character keeps it.
    NPT_String(const char* text, NPT_UInt32 length);
    NPT_String(const NPT_String& other);
    NPT_String(NPT_String&& other) noexcept;
    ~NPT_String();

    NPT_String& operator=(const NPT_String& other);
    NPT_String& operator=(NPT_String&& other) noexcept;
    // Null and "" both free the block. text may point into this string.
    NPT_String& operator=(const char* text);

    // Decimal, with a leading '-' for negative values.
    static NPT_String FromInteger(NPT_Int64 value);
    // printf-style. Gives the empty string when the text would pass 524288 characters.
    [[gnu::format(printf, 1, 2)]] static NPT_String Format(const char* format, ...);

    // Replaces the content by the same (characters, length) rule as construction.
    void Assign(const char* text, NPT_UInt32 length);
    // Never null: the empty string reads as "".
    const char* GetChars() const { return chars_ ? chars_ : ""; }
    // The writable characters, or null for the empty string.
    char* UseChars() { return chars_; }
    NPT_UInt32 GetLength() const { return chars_ ? HeaderOf(chars_)->length : 0; }
    NPT_UInt32 GetCapacity() const { return chars_ ? HeaderOf(chars_)->capacity : 0; }
    bool IsEmpty() const { return GetLength() == 0; }
    char operator[](NPT_UInt32 index) const { return GetChars()[index]; }

    // Makes room for n characters, at least doubling the capacity when it has to grow.
    void Reserve(NPT_UInt32 n);
    // 0 frees the block. With pad, positions behind the old end are filled with spaces.
    void SetLength(NPT_UInt32 n, bool pad = false);
    // text may point into this string.
    void Append(const char* text, NPT_UInt32 count);
    void Append(const char* text);
    NPT_String& operator+=(const NPT_String& other);
    NPT_String& operator+=(const char* text);
    NPT_String& operator+=(char character);

    // 0 when equal, else the difference of the first differing characters as signed 8-bit values.
    int Compare(const char* other, bool ignore_case = false) const;
    int Compare(const NPT_String& other, bool ignore_case = false) const;
    // Index of the first occurrence at or after start, or -1.
    int Find(char character, NPT_UInt32 start = 0, bool ignore_case = false) const;
    int Find(const char* text, NPT_UInt32 start = 0, bool ignore_case = false) const;
    // Searches backwards from index length - start - 1; -1 when there is none.
    int ReverseFind(char character, NPT_UInt32 start = 0, bool ignore_case = false) const;
    bool StartsWith(const char* text, bool ignore_case = false) const;
    bool EndsWith(const char* text, bool ignore_case = false) const;

    NPT_String SubString(NPT_UInt32 first, NPT_UInt32 count = 0xFFFFFFFF) const;
    void MakeLowercase();
    NPT_String ToLowercase() const;
    // Trimming removes "\r\n\t " from the ends.
    void TrimLeft();
    void TrimRight();
    void Trim();
    // The pieces between occurrences of separator; adjacent separators give empty pieces, an empty
    // separator one piece, a copy of the whole string with any NUL in it.
    NPT_List<NPT_String> Split(const char* separator) const;

    // The rules and results of NPT_ParseInteger (core/parse_integer.h).
    NPT_Result ToInteger(NPT_UInt32& value, bool relaxed = false) const;
    NPT_Result ToInteger(NPT_UInt64& value, bool relaxed = false) const;

  private:
    friend class StringBlock;
    // What stands in front of the characters. The layout is part of the class's contract.
    struct BlockHeader {
        NPT_UInt32 length;
        NPT_UInt32 capacity;
    };
    static BlockHeader* HeaderOf(char* chars) { return reinterpret_cast<BlockHeader*>(chars) - 1; }
    static std::size_t BlockSize(NPT_UInt64 capacity);
    // An empty text in a block that lies in memory.
    static char* MakeBlock(void* memory, NPT_UInt32 capacity);
    static char* NewBlock(NPT_UInt32 capacity);
    static void FreeBlock(char* chars);
    // Makes a string that has no block yet use memory for one, which then is never freed here.
    void FillBlock(void* memory, std::string_view text);
    [[gnu::format(printf, 1, 0)]] static NPT_String FormatList(const char* format,
                                                               va_list arguments);
    void Replace(const char* text, NPT_UInt32 length);
    // Moves the content to a block of that capacity and returns the holder of the old block.
    NPT_String MoveToBlock(NPT_UInt32 capacity);
    void EndAt(NPT_UInt32 length);

    char* chars_ = nullptr;
};

NPT_String operator+(const NPT_String& left, const NPT_String& right);
NPT_String operator+(const NPT_String& left, const char* right);
NPT_String operator+(const char* left, const NPT_String& right);

inline bool operator==(const NPT_String& left, const char* right) {
    return std::strcmp(left.GetChars(), right ? right : "") == 0;
}
inline bool operator==(const NPT_String& left, const NPT_String& right) {
    return left == right.GetChars();
}
inline bool operator!=(const NPT_String& left, const NPT_String& right) {
    return !(left == right);
}
inline bool operator!=(const NPT_String& left, const char* right) {
    return !(left == right);
}

#endif
