#ifndef VIREON_BINDING_METHOD_TABLE_H
#define VIREON_BINDING_METHOD_TABLE_H

#include <Python.h>

namespace binding {

// The module's 80 functions in their fixed order, ended by an empty row. The interpreter keeps
// pointing into the table, which lives as long as the process.
PyMethodDef* MethodTable();

}  // namespace binding

#endif
