#include "binding/this_name.h"

namespace binding {

namespace {

PyObject* this_name = nullptr;

}  // namespace

PyObject* ThisName() {
    if (!this_name) this_name = PyString_InternFromString("this");
    return this_name;
}

void ForgetThisName() {
    Py_CLEAR(this_name);
}

}  // namespace binding
