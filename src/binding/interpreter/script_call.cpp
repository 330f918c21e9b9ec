#include <Python.h>

#include "binding/interpreter/script_call.h"

namespace {

struct ScriptError {
    ScriptObject type;
    ScriptObject value;
    ScriptObject traceback;
};

// The one that is set, which is not set any more.
ScriptError TakeError() {
    PyObject* type = nullptr;
    PyObject* value = nullptr;
    PyObject* traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    PyErr_NormalizeException(&type, &value, &traceback);
    return {ScriptObject::Steal(type), ScriptObject::Steal(value), ScriptObject::Steal(traceback)};
}

void Display(const ScriptError& error) {
    PyErr_Display(error.type.Get(), error.value.Get(), error.traceback.Get());
}

PyObject* OrNone(const ScriptObject& object) {
    return object ? object.Get() : Py_None;
}

void DisplayByHook(const ScriptError& error) {
    const ScriptObject hook =
        ScriptObject::Borrow(PySys_GetObject(const_cast<char*>("excepthook")));
    if (!hook) return Display(error);
    const ScriptObject result = ScriptObject::Steal(PyObject_CallFunctionObjArgs(
        hook.Get(), OrNone(error.type), OrNone(error.value), OrNone(error.traceback), nullptr));
    if (result) return;
    const ScriptError own = TakeError();
    PySys_WriteStderr("Error in sys.excepthook:\n");
    Display(own);
    PySys_WriteStderr("\nOriginal exception was:\n");
    Display(error);
}

}  // namespace

// PyErr_Print would end the process for SystemExit, that of the script's hook too, and would keep
// the exception and with it all that its frames have: the object of an engine, say, for ever.
void PrintScriptError() {
    if (!PyErr_Occurred()) return;
    const bool is_exit = PyErr_ExceptionMatches(PyExc_SystemExit);
    const ScriptError error = TakeError();
    if (is_exit) {
        Display(error);
    } else {
        DisplayByHook(error);
    }
    PyErr_Clear();
}

ScriptObject CallScript(PyObject* callable, const char* format, const ArgumentBuilder& build) {
    ScriptObject arguments;
    if (format && *format) {
        const char tuple_of_one[] = {'(', *format, ')', '\0'};
        arguments = build(format[1] ? format : tuple_of_one);
        if (!arguments) {
            PrintScriptError();
            return ScriptObject();
        }
    }
    ScriptObject result = ScriptObject::Steal(PyObject_CallObject(callable, arguments.Get()));
    if (!result) PrintScriptError();
    return result;
}
