#ifndef VIREON_BINDING_INTERPRETER_SCRIPT_CALL_H
#define VIREON_BINDING_INTERPRETER_SCRIPT_CALL_H

#include <functional>

#include "binding/interpreter/script_object.h"

// Calls of script callables by the engine. Nothing that a script raises gets out.

// Prints the script exception that is set, by the script's sys.excepthook, and clears it; nothing
// keeps it. SystemExit is printed like any other, that of the hook too: a callable must not end the
// host's process.
void PrintScriptError() REQUIRES(interpreter_lock);

// Makes the argument object of a call from a format of the interpreter's Py_BuildValue; null with
// the interpreter's error set on failure.
using ArgumentBuilder = std::function<ScriptObject(const char* format)>;

// Calls callable with what build makes of format: of a format of one character c it is asked for
// "(c)", so that one value still arrives as one argument; a null or empty format means a call
// without arguments. When the arguments cannot be built that error is printed and nothing called.
// The call's result, or null after an error.
ScriptObject CallScript(PyObject* callable, const char* format, const ArgumentBuilder& build)
    REQUIRES(interpreter_lock);

#endif
