#ifndef VIREON_BINDING_SCRIPT_TYPE_H
#define VIREON_BINDING_SCRIPT_TYPE_H

#include <Python.h>

#include "binding/interpreter/script_object.h"

namespace binding {

// What the types of script objects that this module brings have in common.

// Prints what the type shows of an object. The interpreter writes to its own C runtime's file; here
// the pointer is only passed on.
inline int PrintRepresentation(PyObject* object, FILE* file, int) {
    const auto text = ScriptObject::Steal(Py_TYPE(object)->tp_repr(object));
    return text ? PyObject_Print(text.Get(), file, Py_PRINT_RAW) : -1;
}

// Completes a type, in static memory, whose own fields are filled in. Null with an exception set
// when the interpreter cannot make it.
inline PyTypeObject* ReadyType(PyTypeObject& type) {
    Py_REFCNT(&type) = 1;
    type.tp_doc = "Swig object carries a C/C++ instance pointer";
    type.tp_flags = Py_TPFLAGS_DEFAULT;
    type.tp_print = PrintRepresentation;
    type.tp_getattro = PyObject_GenericGetAttr;
    return PyType_Ready(&type) == 0 ? &type : nullptr;
}

}  // namespace binding

#endif
