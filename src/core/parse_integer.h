#ifndef VIREON_CORE_PARSE_INTEGER_H
#define VIREON_CORE_PARSE_INTEGER_H

#include "core/result.h"
#include "core/types.h"

// Decimal integers from text. Strict: the whole text is the number. Relaxed: leading spaces and
// tabs are skipped and anything may follow at least one digit. Only the signed form takes a sign.
//
// value, and used (the count of characters taken, when given), are 0 after any failure:
//   NPT_ERROR_INVALID_ARGUMENT  null or empty text, no digit, or (strict) a character behind it
//   NPT_ERROR_OVERFLOW          the number does not fit
NPT_Result NPT_ParseInteger(const char* text, NPT_Int64& value, bool relaxed,
                            NPT_UInt32* used = nullptr);
NPT_Result NPT_ParseInteger(const char* text, NPT_UInt64& value, bool relaxed,
                            NPT_UInt32* used = nullptr);
NPT_Result NPT_ParseInteger(const char* text, NPT_UInt32& value, bool relaxed,
                            NPT_UInt32* used = nullptr);

#endif
