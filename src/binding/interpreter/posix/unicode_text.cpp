#include <Python.h>

#include "binding/interpreter/unicode_text.h"

// The function under both its names. The interpreter that loads the module has one of them; the
// other is null then.
extern "C" {
PyObject* PyUnicodeUCS2_FromWideChar(const wchar_t* text, Py_ssize_t size) __attribute__((weak));
PyObject* PyUnicodeUCS4_FromWideChar(const wchar_t* text, Py_ssize_t size) __attribute__((weak));
}

PyObject* NewUnicodeText(std::wstring_view text) {
    const auto make =
        PyUnicodeUCS4_FromWideChar ? PyUnicodeUCS4_FromWideChar : PyUnicodeUCS2_FromWideChar;
    return make(text.data(), static_cast<Py_ssize_t>(text.size()));
}
