#include <Python.h>

#include "binding/interpreter/script_call.h"

namespace {

// The interpreter's own way of printing an exception ends the process for SystemExit; what it would
// print for any other is printed here.
void PrintSystemExit() {
    PyObject* type = nullptr;
    PyObject* value = nullptr;
    PyObject* traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    PyErr_NormalizeException(&type, &value, &traceback);
    PyErr_Display(type, value, traceback);
    Py_XDECREF(type);
    Py_XDECREF(value);
    Py_XDECREF(traceback);
}

}  // namespace

void PrintScriptError() {
    if (!PyErr_Occurred()) return;
    if (PyErr_ExceptionMatches(PyExc_SystemExit)) {
        PrintSystemExit();
    } else {
        PyErr_Print();
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
