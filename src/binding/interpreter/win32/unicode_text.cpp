#include <Python.h>

#include "binding/interpreter/unicode_text.h"

// python27.dll keeps two bytes, always: its name is the one that the headers give.
PyObject* NewUnicodeText(std::wstring_view text) {
    return PyUnicode_FromWideChar(text.data(), static_cast<Py_ssize_t>(text.size()));
}
