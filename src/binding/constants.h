#ifndef VIREON_BINDING_CONSTANTS_H
#define VIREON_BINDING_CONSTANTS_H

#include <Python.h>

#include "binding/type_descriptor.h"

namespace binding {

// A row of a module's constant table, which ends with a row of kind 0. The descriptor is named by
// its place, since types are settled only when the module is loaded.
struct Constant {
    int kind;
    const char* name;
    // The number of bytes of a packed value.
    long integer;
    double floating;
    void* pointer;
    TypeDescriptor** type;
};

// The kinds that become script objects; others are skipped.
constexpr int kPointerConstant = 4;
constexpr int kPackedConstant = 5;

// Puts the constants into a module's dictionary: pointers borrowed, packed values as copies, a
// packed value without bytes as None. What the interpreter cannot make is left out.
void InstallConstants(PyObject* dictionary, const Constant* constants);

// Completes the documentation of functions that refer to a pointer constant: the name behind
// "swig_ptr: " becomes the rendering of the constant's value. Completed texts live as long as the
// process.
void CompleteDocumentation(PyMethodDef* methods, const Constant* constants);

}  // namespace binding

#endif
