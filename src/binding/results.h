#ifndef VIREON_BINDING_RESULTS_H
#define VIREON_BINDING_RESULTS_H

#include <Python.h>

#include <memory>
#include <type_traits>
#include <utility>

#include "binding/module_types.h"
#include "binding/pointer_conversion.h"

namespace binding {

// The kinds of results that signatures are made of. Wrap turns what the native operation returned
// into a new script reference, or null with an exception set.

struct Nothing {};

struct Boolean {
    static PyObject* Wrap(bool value) { return PyBool_FromLong(value); }
};

// A value: the script gets a copy of its own, which ends with the script object unless a script
// class brings a destructor for the type.
template <typename Type>
struct Owned {
    using Native = typename Type::Native;

    static PyObject* Wrap(Native value) {
        auto copy = std::make_unique<Native>(std::move(value));
        PyObject* object = NewPointerObject(copy.get(), DescriptorOf<Type>(), kOwned, Release);
        if (object) copy.release();
        return object;
    }

  private:
    static void Release(void* address) { delete static_cast<Native*>(address); }
};

// A pointer or a reference to what somebody else owns. Scripts know no constness.
template <typename Type>
struct Borrowed {
    using Native = typename Type::Native;

    static PyObject* Wrap(const Native* native) {
        return NewPointerObject(const_cast<Native*>(native), DescriptorOf<Type>(), kBorrowed);
    }
    static PyObject* Wrap(const Native& native) { return Wrap(&native); }
    static PyObject* Wrap(Native&&) = delete;
};

// A native object made for the script; null, which gives None, when there was no memory for it.
template <typename Type>
struct New {
    using Native = typename Type::Native;

    static PyObject* Wrap(Native* native) {
        std::unique_ptr<Native> fresh(native);
        PyObject* object = NewPointerObject(fresh.get(), DescriptorOf<Type>(), kNewlyConstructed);
        if (object) fresh.release();
        return object;
    }
};

// An interpreter call's own result: 0, or -1 with its exception set.
struct Status {
    static PyObject* Wrap(int status) { return status < 0 ? nullptr : PyInt_FromLong(status); }
};

// A script object, passed on unchanged.
struct Unchanged {
    static PyObject* Wrap(PyObject* object) { return object; }
};

}  // namespace binding

#endif
