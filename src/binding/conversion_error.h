#ifndef VIREON_BINDING_CONVERSION_ERROR_H
#define VIREON_BINDING_CONVERSION_ERROR_H

#include <Python.h>

namespace binding {

// Results of a conversion: 0 and above is success, a failure is one of the codes below and raises
// the exception that stands beside it.
constexpr int kConverted = 0;
// Set in a success: the native value was made for this call and ends with it.
constexpr int kNewObject = 0x200;

constexpr int kConversionFailed = -1;  // TypeError, by way of kTypeError
constexpr int kIoError = -2;
constexpr int kIndexError = -4;
constexpr int kTypeError = -5;
constexpr int kDivisionByZero = -6;
constexpr int kOverflowError = -7;
constexpr int kSyntaxError = -8;
constexpr int kValueError = -9;
constexpr int kSystemError = -10;
constexpr int kAttributeError = -11;
constexpr int kMemoryError = -12;

// The exception for a failure code, borrowed; RuntimeError for a code that is not listed.
PyObject* ExceptionFor(int code);

// What an error message tells of an argument: "in method 'f', argument 2 of type 'T const &'".
struct ArgumentPlace {
    const char* function;
    int number;
    // The type text in two pieces: the type and what follows it.
    const char* type;
    const char* suffix;
};

void RaiseConversionError(int code, const ArgumentPlace& place);
void RaiseNullReference(const ArgumentPlace& place);

}  // namespace binding

#endif
