#ifndef VIREON_BINDING_POINTER_CONVERSION_H
#define VIREON_BINDING_POINTER_CONVERSION_H

#include <Python.h>

#include "binding/interpreter/script_object.h"
#include "binding/type_descriptor.h"
#include "binding/wrapped_pointer.h"

namespace binding {

// How native addresses become script objects and come back.

// Flags of NewPointerObject.
constexpr int kBorrowed = 0;
constexpr int kOwned = 1;
// Owned and bare: the script class's own constructor adopts it.
constexpr int kNewlyConstructed = 3;

// A new reference to a wrapped pointer or, for a type with a script class, to an instance of that
// class that holds the wrapped pointer as "this"; a class that cannot be instantiated leaves the
// bare wrapped pointer. None for a null address; null with an exception set when there is no
// memory.
PyObject* NewPointerObject(void* address, TypeDescriptor* type, int flags,
                           NativeRelease release = nullptr);

// Flags of ConvertPointer.
constexpr int kDisown = 1;
constexpr int kImplicitConversion = 2;

struct ConvertedPointer {
    void* address = nullptr;
    // Keeps the wrapped pointer that the address is of, and with it what it owns, for as long as
    // the address is used: a property may have made it for this one look, and the chain it was
    // found in may be changed by the "this" of a later argument.
    ScriptObject holder;
};

// The address of the wanted type (null: of any type) that object stands for: None is the null
// address, a wrapped pointer is looked through with its chain, anything else is asked for the
// wrapped pointer that its "this" leads to. Returns a code of conversion_error.h, leaves no
// exception and keeps one that was pending before. With kDisown the matching wrapped pointer stops
// owning; with kImplicitConversion the type's script class may be called to convert, and a result
// with kNewObject is the caller's to end.
int ConvertPointer(PyObject* object, TypeDescriptor* wanted, int flags, ConvertedPointer& result);

// Drops the text "this", which is kept between conversions; the next use makes it anew.
void ForgetThisName();

}  // namespace binding

#endif
