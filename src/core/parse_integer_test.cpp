#include "core/parse_integer.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// The outcome that a row of the tables expects; used is checked for successes only where a failure
// has to leave 0.
template <typename Integer>
struct Row {
    const char* text;
    bool relaxed;
    NPT_Result result;
    Integer value;
    NPT_UInt32 used;
};

template <typename Integer>
void Check(const std::vector<Row<Integer>>& rows) {
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << (row.text ? row.text : "(null)")
                                        << (row.relaxed ? ", relaxed" : ", strict"));
        Integer value = 77;
        NPT_UInt32 used = 77;
        EXPECT_EQ(NPT_ParseInteger(row.text, value, row.relaxed, &used), row.result);
        EXPECT_EQ(value, row.value);
        EXPECT_EQ(used, row.used);
        value = 77;
        EXPECT_EQ(NPT_ParseInteger(row.text, value, row.relaxed), row.result);
        EXPECT_EQ(value, row.value);
    }
}

constexpr NPT_Result kInvalid = NPT_ERROR_INVALID_ARGUMENT;
constexpr NPT_Result kOverflow = NPT_ERROR_OVERFLOW;

TEST(ParseInteger, UnsignedTakesDigitsOnly) {
    Check<NPT_UInt32>({
        {nullptr, false, kInvalid, 0, 0},
        {nullptr, true, kInvalid, 0, 0},
        {"", false, kInvalid, 0, 0},
        {" \t", true, kInvalid, 0, 0},
        {"42", false, NPT_SUCCESS, 42, 2},
        {"0042", false, NPT_SUCCESS, 42, 4},
        {" 42", false, kInvalid, 0, 0},
        {"42 ", false, kInvalid, 0, 0},
        {" 42xyz", false, kInvalid, 0, 0},
        {" 42xyz", true, NPT_SUCCESS, 42, 3},
        {"\t 42", true, NPT_SUCCESS, 42, 4},
        {"\n42", true, kInvalid, 0, 0},
        {"xyz", true, kInvalid, 0, 0},
        {"-1", false, kInvalid, 0, 0},
        {"-1", true, kInvalid, 0, 0},
        {"+1", true, kInvalid, 0, 0},
    });
}

TEST(ParseInteger, Unsigned32EndsAtItsLargestValue) {
    Check<NPT_UInt32>({
        {"4294967295", false, NPT_SUCCESS, 4294967295u, 10},
        {"4294967296", false, kOverflow, 0, 0},
        {"4294967296", true, kOverflow, 0, 0},
        {"4294967296x", false, kInvalid, 0, 0},
        {"18446744073709551616", false, kOverflow, 0, 0},
    });
}

TEST(ParseInteger, Unsigned64EndsAtItsLargestValue) {
    Check<NPT_UInt64>({
        {"18446744073709551615", false, NPT_SUCCESS, UINT64_MAX, 20},
        {"0000018446744073709551615", false, NPT_SUCCESS, UINT64_MAX, 25},
        {"18446744073709551616", false, kOverflow, 0, 0},
        {"18446744073709551620", false, kOverflow, 0, 0},
        {"99999999999999999999999999999999", true, kOverflow, 0, 0},
        {"-1", true, kInvalid, 0, 0},
    });
}

TEST(ParseInteger, SignedTakesOneSignAndEndsAtItsLimits) {
    Check<NPT_Int64>({
        {"-42", false, NPT_SUCCESS, -42, 3},
        {"+42", false, NPT_SUCCESS, 42, 3},
        {" -42;", true, NPT_SUCCESS, -42, 4},
        {"-", false, kInvalid, 0, 0},
        {"+", true, kInvalid, 0, 0},
        {"--1", true, kInvalid, 0, 0},
        {"+-1", true, kInvalid, 0, 0},
        {"- 1", true, kInvalid, 0, 0},
        {"-0", false, NPT_SUCCESS, 0, 2},
        {"9223372036854775807", false, NPT_SUCCESS, INT64_MAX, 19},
        {"9223372036854775808", false, kOverflow, 0, 0},
        {"-9223372036854775808", false, NPT_SUCCESS, INT64_MIN, 20},
        {"-9223372036854775809", false, kOverflow, 0, 0},
        {nullptr, true, kInvalid, 0, 0},
    });
}

}  // namespace
