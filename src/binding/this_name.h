#ifndef VIREON_BINDING_THIS_NAME_H
#define VIREON_BINDING_THIS_NAME_H

#include <Python.h>

namespace binding {

// The text "this", the attribute under which script instances keep their wrapped pointer; made once
// and kept. A borrowed reference, or null with an exception set.
PyObject* ThisName();
// Drops the kept text; the next use makes it anew.
void ForgetThisName();

}  // namespace binding

#endif
