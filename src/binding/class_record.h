#ifndef VIREON_BINDING_CLASS_RECORD_H
#define VIREON_BINDING_CLASS_RECORD_H

#include <Python.h>

#include <forward_list>
#include <vector>

#include "binding/type_descriptor.h"

namespace binding {

// A registered script class: how to make a bare instance of it and how it destroys native objects.
// A descriptor refers to it (TypeDescriptor::client_data) and sibling modules read it: the order of
// the fields is fixed. Each object field is an owned reference or null.
//
// Its memory is its module's for the life of the process, so that whoever still points at it finds
// a record, full or empty; an empty one is filled again for another class. Script code may run when
// references go: callers keep references of their own to what they use of it.
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

// Fills a record of this module's for script_class. Null, with an exception set, when the
// interpreter has no memory; throws std::bad_alloc.
ClassRecord* NewClassRecord(PyObject* script_class);
// Drops all its references, after which it is empty.
void ClearClassRecord(ClassRecord& record);
// A registration with this module. A type's descriptor shows the record of the latest one only,
// whichever interpreter of the process that was made in: each has its own classes.
struct RegisteredClass {
    PyInterpreterState* interpreter;
    TypeDescriptor* type;
    ClassRecord* record;
};
// The latest behind the others, one for a type in an interpreter.
std::vector<RegisteredClass>& RegisteredClasses();
// What dresses, converts to and destroys objects of the type in the current interpreter: its own
// class or one of a sibling module's, which does not say where it was registered. Null for none.
ClassRecord* ClassOf(const TypeDescriptor& type);
// Every record that NewClassRecord ever made, empty ones as well. None is taken out.
std::forward_list<ClassRecord>& OwnClassRecords();

}  // namespace binding

#endif
