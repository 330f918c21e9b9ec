#ifndef VIREON_BINDING_INTERPRETER_UNICODE_TEXT_H
#define VIREON_BINDING_INTERPRETER_UNICODE_TEXT_H

#include <string_view>

#include "binding/interpreter/interpreter_lock.h"

// A new reference to a unicode object with that text; null with the interpreter's error set when
// memory runs out.
//
// Python 2.7 keeps two or four bytes for a character, as it was built, and names its functions for
// such texts accordingly (PyUnicodeUCS2_..., PyUnicodeUCS4_...), so that no module is loaded by an
// interpreter of the other kind unnoticed. This is the module's only call of one of them, and never
// looks into the object that it makes: so one module serves both kinds.
PyObject* NewUnicodeText(std::wstring_view text) REQUIRES(interpreter_lock);

#endif
