#ifndef VIREON_BINDING_MODULE_FAMILY_H
#define VIREON_BINDING_MODULE_FAMILY_H

#include <Python.h>

#include <cstddef>

#include "binding/class_record.h"
#include "binding/interpreter/held_lock.h"
#include "binding/type_descriptor.h"

namespace binding {

// What one extension module of the family contributes to the shared types. The records of all of
// them form a ring, which starts at the one that the runtime module "swig_runtime_data3" shows as
// "type_pointer". All in the static data of its module; order and layout are fixed.
struct ModuleRecord {
    // Sorted by mangled name in byte order: siblings search it by halves. What the module uses: its
    // own descriptors or, for types that another module brought first, that module's.
    TypeDescriptor** types;
    std::size_t count;
    // Null until the module has joined a ring; the ring of one is a link to itself.
    ModuleRecord* next;
    // The module's own descriptors and, in parallel, its tables of links into them, each ended by a
    // link from null.
    TypeDescriptor** type_initial;
    CastLink** cast_initial;
    void* client_data;
};

static_assert(sizeof(ModuleRecord) == 48 && offsetof(ModuleRecord, client_data) == 40);

// Makes the module part of the family: finds or creates the runtime module, enters the ring, and
// settles module.types. Failures of the interpreter are cleared; the module then works alone.
void JoinFamily(ModuleRecord& module);

// The descriptor of that mangled name in any record of the ring, else the one that has human_name,
// blanks aside, among its alternatives; null when there is none.
TypeDescriptor* QueryType(ModuleRecord& module, const char* name, const char* human_name);

// Dresses the pointers of this type, and of the types linked to it that have no class yet, with
// script_class. Linked types that have one keep it. In other interpreters of the process than the
// current one nothing changes but what the descriptors show. The class goes with its interpreter.
// False with an exception set; throws std::bad_alloc.
bool RegisterClass(ModuleRecord& module, TypeDescriptor& type, PyObject* script_class)
    REQUIRES(interpreter_lock);

// Takes the classes from all types of the ring when the interpreter that they lived in has ended:
// the next one that the process starts finds none. Calls nothing of the interpreter.
void ForgetClasses(ModuleRecord& module);

}  // namespace binding

#endif
