#include "core/parse_integer.h"

#include <limits>

namespace {

struct Number {
    NPT_UInt64 magnitude = 0;
    bool negative = false;
    NPT_UInt32 used = 0;
};

// The digits from text[number.used] on; their value must not pass limit.
NPT_Result ParseDigits(const char* text, NPT_UInt64 limit, bool relaxed, Number& number) {
    const char* const first = text + number.used;
    const char* next = first;
    for (; *next >= '0' && *next <= '9'; ++next) {
        const auto digit = static_cast<NPT_UInt64>(*next - '0');
        if (number.magnitude > (limit - digit) / 10) return NPT_ERROR_OVERFLOW;
        number.magnitude = number.magnitude * 10 + digit;
    }
    if (next == first || (*next && !relaxed)) return NPT_ERROR_INVALID_ARGUMENT;
    number.used += static_cast<NPT_UInt32>(next - first);
    return NPT_SUCCESS;
}

void SkipBlanks(const char* text, bool relaxed, Number& number) {
    while (relaxed && (text[number.used] == ' ' || text[number.used] == '\t'))
        ++number.used;
}

NPT_Result ParseUnsigned(const char* text, NPT_UInt64 limit, bool relaxed, Number& number) {
    if (!text) return NPT_ERROR_INVALID_ARGUMENT;
    SkipBlanks(text, relaxed, number);
    return ParseDigits(text, limit, relaxed, number);
}

NPT_Result ParseSigned(const char* text, bool relaxed, Number& number) {
    if (!text) return NPT_ERROR_INVALID_ARGUMENT;
    SkipBlanks(text, relaxed, number);
    number.negative = text[number.used] == '-';
    if (number.negative || text[number.used] == '+') ++number.used;
    constexpr auto kLargest = static_cast<NPT_UInt64>(std::numeric_limits<NPT_Int64>::max());
    return ParseDigits(text, kLargest + (number.negative ? 1 : 0), relaxed, number);
}

// Hands out a parsed number, or zeros for a failed one.
template <typename Integer>
NPT_Result Deliver(NPT_Result result, const Number& number, Integer& value, NPT_UInt32* used) {
    const Number delivered = NPT_Succeeded(result) ? number : Number();
    value =
        static_cast<Integer>(delivered.negative ? 0 - delivered.magnitude : delivered.magnitude);
    if (used) *used = delivered.used;
    return result;
}

}  // namespace

NPT_Result NPT_ParseInteger(const char* text, NPT_Int64& value, bool relaxed, NPT_UInt32* used) {
    Number number;
    return Deliver(ParseSigned(text, relaxed, number), number, value, used);
}

NPT_Result NPT_ParseInteger(const char* text, NPT_UInt64& value, bool relaxed, NPT_UInt32* used) {
    Number number;
    constexpr NPT_UInt64 kLimit = std::numeric_limits<NPT_UInt64>::max();
    return Deliver(ParseUnsigned(text, kLimit, relaxed, number), number, value, used);
}

NPT_Result NPT_ParseInteger(const char* text, NPT_UInt32& value, bool relaxed, NPT_UInt32* used) {
    Number number;
    // Parsed at full width first: a long strict number with a letter behind it is no overflow of 32
    // bits but no number at all.
    constexpr NPT_UInt64 kLimit = std::numeric_limits<NPT_UInt64>::max();
    NPT_Result result = ParseUnsigned(text, kLimit, relaxed, number);
    if (NPT_Succeeded(result) && number.magnitude > std::numeric_limits<NPT_UInt32>::max())
        result = NPT_ERROR_OVERFLOW;
    return Deliver(result, number, value, used);
}
