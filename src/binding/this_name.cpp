#include <Python.h>

#include "binding/this_name.h"

namespace binding {

namespace {

PyObject* this_name = nullptr;

}  // namespace

ScriptObject ThisName() {
    if (!this_name) this_name = PyString_InternFromString("this");
    return ScriptObject::Borrow(this_name);
}

void ForgetThisName() {
    Py_CLEAR(this_name);
}

}  // namespace binding
