#ifndef VIREON_CORE_TESTING_PRINT_STRING_H
#define VIREON_CORE_TESTING_PRINT_STRING_H

#include <ostream>

#include "core/string.h"

// How a failed expectation shows a string: its characters instead of its pointer's bytes.
inline void PrintTo(const NPT_String& text, std::ostream* out) {
    *out << '"' << text.GetChars() << '"';
}

#endif
