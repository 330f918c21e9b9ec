#include <Python.h>

#include "binding/interpreter/script_object.h"

ScriptObject ScriptObject::Steal(PyObject* object) {
    ScriptObject reference;
    reference.object_ = object;
    return reference;
}

ScriptObject ScriptObject::Borrow(PyObject* object) {
    Py_XINCREF(object);
    return Steal(object);
}

ScriptObject::~ScriptObject() {
    Py_XDECREF(object_);
}
