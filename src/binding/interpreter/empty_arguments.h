#ifndef VIREON_BINDING_INTERPRETER_EMPTY_ARGUMENTS_H
#define VIREON_BINDING_INTERPRETER_EMPTY_ARGUMENTS_H

#include "binding/interpreter/script_object.h"

// What the interpreter's Py_BuildValue makes of a format when every item's argument is null or
// zero. Scripts can name a format for a call but hand over no native arguments for it; an argument
// list that is not there must not be read.
//
// Null with the interpreter's error set when an item cannot be built from null or zero (an object,
// a converter, a complex number), when the format is malformed, and when it nests deeper than 100
// levels.
ScriptObject BuildFromEmptyArguments(const char* format) REQUIRES(interpreter_lock);

#endif
