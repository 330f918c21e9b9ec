#ifndef VIREON_BINDING_CLASS_RECORD_H
#define VIREON_BINDING_CLASS_RECORD_H

#include <Python.h>

namespace binding {

// A registered script class: how to make a bare instance of it and how it destroys native objects.
// A descriptor refers to it (TypeDescriptor::client_data) and sibling modules read it: the order of
// the fields is fixed. Each object field is an owned reference or null.
//
// Its memory is its module's static data, so that whoever still points at it finds a record, full
// or empty. Only the references come and go, and script code may run when they do: callers keep
// references of their own to what they use of it.
struct ClassRecord {
    PyObject* script_class;
    // The class's "__new__"; none for an old-style class, whose instances are made raw.
    PyObject* constructor;
    // The one-element tuple (class) for the constructor; without one, the class itself.
    PyObject* raw_arguments;
    // The class's "__swig_destroy__".
    PyObject* destructor;
    // 0 when the destructor is a builtin function of exactly one object: it is then called straight
    // with the dying wrapped pointer, everything else with a temporary one.
    int destructor_takes_wrapped;
    int implicit_conversion_running;
};

static_assert(sizeof(ClassRecord) == 40);

// Makes it the record of script_class, whatever it was before. False, with an exception set and
// nothing changed, when there is no memory.
bool FillClassRecord(ClassRecord& record, PyObject* script_class);
// Drops all its references.
void ClearClassRecord(ClassRecord& record);

}  // namespace binding

#endif
