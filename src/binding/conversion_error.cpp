#include "binding/conversion_error.h"

namespace binding {

PyObject* ExceptionFor(int code) {
    switch (code) {
        case kMemoryError:
            return PyExc_MemoryError;
        case kAttributeError:
            return PyExc_AttributeError;
        case kSystemError:
            return PyExc_SystemError;
        case kValueError:
            return PyExc_ValueError;
        case kSyntaxError:
            return PyExc_SyntaxError;
        case kOverflowError:
            return PyExc_OverflowError;
        case kDivisionByZero:
            return PyExc_ZeroDivisionError;
        case kConversionFailed:
        case kTypeError:
            return PyExc_TypeError;
        case kIndexError:
            return PyExc_IndexError;
        case kIoError:
            return PyExc_IOError;
        default:
            return PyExc_RuntimeError;
    }
}

void RaiseConversionError(int code, const ArgumentPlace& place) {
    PyErr_Format(ExceptionFor(code), "in method '%s', argument %d of type '%s%s'", place.function,
                 place.number, place.type, place.suffix);
}

void RaiseNullReference(const ArgumentPlace& place) {
    PyErr_Format(PyExc_ValueError,
                 "invalid null reference in method '%s', argument %d of type '%s%s'",
                 place.function, place.number, place.type, place.suffix);
}

}  // namespace binding
