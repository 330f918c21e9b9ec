#include "binding/arguments.h"

#include <limits>

#include "binding/interpreter/pending_exception.h"

namespace binding {

namespace {

TypeDescriptor* CharPointerType() {
    static TypeDescriptor* const type = QueryType(OwnModule(), "_p_char", "char *");
    return type;
}

int ConvertToDouble(PyObject* object, double& value) {
    // One that the caller has pending is no failure of this conversion.
    const PendingException pending;
    if (PyFloat_Check(object)) {
        value = PyFloat_AsDouble(object);
    } else if (PyInt_Check(object)) {
        value = static_cast<double>(PyInt_AsLong(object));
    } else if (PyLong_Check(object)) {
        value = PyLong_AsDouble(object);
    } else {
        return kTypeError;
    }
    return PyErr_Occurred() ? kTypeError : kConverted;
}

}  // namespace

bool Text::Accepts(PyObject* object) {
    return Text().Convert(object) >= 0;
}

int Text::Convert(PyObject* object) {
    if (PyString_Check(object)) {
        text_ = PyString_AsString(object);
        return kConverted;
    }
    const int code = ConvertPointer(object, CharPointerType(), 0, converted_);
    if (code < 0) return kTypeError;
    text_ = static_cast<const char*>(converted_.address);
    return code;
}

int Float::Convert(PyObject* object) {
    constexpr double kLargest = std::numeric_limits<float>::max();
    double value = 0;
    const int code = ConvertToDouble(object, value);
    if (code < 0) return code;
    if (value < -kLargest || value > kLargest) return kOverflowError;
    value_ = static_cast<float>(value);
    return kConverted;
}

int Bool::Convert(PyObject* object) {
    // True and False are integers too.
    if (!PyInt_Check(object) && !PyLong_Check(object)) return kTypeError;
    const PendingException pending;
    const long value = PyInt_Check(object) ? PyInt_AsLong(object) : PyLong_AsLong(object);
    if (PyErr_Occurred()) return kTypeError;
    value_ = value != 0;
    return kConverted;
}

}  // namespace binding
