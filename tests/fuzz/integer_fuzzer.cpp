// Decimal integers: status codes, lengths, leases and ports. Every form is held against digits that
// are compared as text.
#include <string>

#include "core/parse_integer.h"
#include "fuzz_input.h"

namespace {

// The expectation: sign, digits and what is behind them, worked out without any arithmetic.
struct Digits {
    Digits(const std::string& text, bool relaxed, bool with_sign) {
        std::size_t at = relaxed ? std::min(text.find_first_not_of(" \t"), text.size()) : 0;
        if (with_sign && at < text.size() && (text[at] == '-' || text[at] == '+')) {
            negative = text[at] == '-';
            ++at;
        }
        const std::size_t end = std::min(text.find_first_not_of("0123456789", at), text.size());
        accepted = end > at && (relaxed || end == text.size());
        used = end;
        digits = text.substr(at, end - at);
        digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
        if (digits.empty()) digits = "0";
    }

    bool IsAbove(const std::string& limit) const {
        return digits.size() != limit.size() ? digits.size() > limit.size() : digits > limit;
    }

    bool negative = false;
    bool accepted = false;
    std::size_t used = 0;
    std::string digits;  // without leading zeros
};

template <typename Integer>
void Check(const std::string& text, bool relaxed, bool with_sign, const char* limit,
           const char* negative_limit) {
    const Digits expected(text, relaxed, with_sign);
    Integer value = 7;
    NPT_UInt32 used = 7;
    const NPT_Result result = NPT_ParseInteger(text.c_str(), value, relaxed, &used);
    Integer same = 7;
    Require(NPT_ParseInteger(text.c_str(), same, relaxed) == result && same == value,
            "the count of characters is optional");

    const bool overflow = expected.IsAbove(expected.negative ? negative_limit : limit);
    if (NPT_Failed(result)) {
        Require(value == 0 && used == 0, "a failure leaves nothing");
        Require(!expected.accepted || overflow, "a number that fits is read");
        if (result == NPT_ERROR_OVERFLOW) {
            Require(overflow, "only what is too large overflows");
        } else {
            Require(result == NPT_ERROR_INVALID_ARGUMENT, "anything else is invalid");
        }
        return;
    }
    Require(expected.accepted && !overflow, "only a number that fits is read");
    Require(used == expected.used, "the characters used are the number's");
    const bool minus = expected.negative && expected.digits != "0";
    Require(std::to_string(value) == (minus ? "-" : "") + expected.digits, "the value is the text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const NPT_UInt8* data, std::size_t size) {
    // What a C text ends at.
    const std::string text = FuzzInput(data, size).TakeRest().c_str();
    for (const bool relaxed : {false, true}) {
        Check<NPT_UInt32>(text, relaxed, false, "4294967295", "");
        Check<NPT_UInt64>(text, relaxed, false, "18446744073709551615", "");
        Check<NPT_Int64>(text, relaxed, true, "9223372036854775807", "9223372036854775808");
    }
    return 0;
}
