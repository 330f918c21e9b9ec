#ifndef VIREON_BINDING_WRAPPED_POINTER_H
#define VIREON_BINDING_WRAPPED_POINTER_H

#include <Python.h>

#include <vector>

#include "binding/type_descriptor.h"

namespace binding {

// A new reference to None.
inline PyObject* NewNone() {
    Py_RETURN_NONE;
}

using NativeRelease = void (*)(void* address);

// The script-side form of a native object: its address, what it is and whether this script object
// owns it. Several can stand for one native object, and several addresses (of its bases, say) can
// hang on one script object as a chain.
//
// Sibling modules read and make objects of this layout, each with a type object of its own; the
// fields up to `next` are what they share.
struct WrappedPointer {
    PyObject_HEAD void* address;
    TypeDescriptor* type;
    // 1 when the native object ends with this one.
    int own;
    // The next of the chain, an owned reference, or null.
    PyObject* next;
    // How to free a native object of a type that no class has a destructor for: set on results that
    // were copied for the script alone. Only objects of this module's own type have the field.
    NativeRelease release;
};

// A new reference; null with an exception set when there is no memory.
PyObject* NewWrappedPointer(void* address, TypeDescriptor* type, bool own,
                            NativeRelease release = nullptr);

// True for objects of this module's type and of the type of the same name of a sibling module. A
// script class of that name is none.
bool IsWrappedPointer(PyObject* object);
// The object must be one.
inline WrappedPointer& AsWrappedPointer(PyObject* object) {
    return *reinterpret_cast<WrappedPointer*>(object);
}

// The chain that starts with first, each entry once, however it leads back into itself. Borrowed.
std::vector<WrappedPointer*> ChainFrom(WrappedPointer& first);

}  // namespace binding

#endif
