#ifndef VIREON_BINDING_PACKED_VALUE_H
#define VIREON_BINDING_PACKED_VALUE_H

#include <Python.h>

#include "binding/type_descriptor.h"

namespace binding {

// A small native value (a member pointer, say) that scripts carry as bytes: a private copy and its
// type.
struct PackedValue {
    PyObject_HEAD char* bytes;
    TypeDescriptor* type;
    std::size_t size;
};

// A new reference to a copy of size bytes; null with an exception set when there is no memory.
PyObject* NewPackedValue(const void* bytes, std::size_t size, TypeDescriptor* type);

}  // namespace binding

#endif
