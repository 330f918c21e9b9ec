#ifndef VIREON_BINDING_TYPE_DESCRIPTOR_H
#define VIREON_BINDING_TYPE_DESCRIPTOR_H

#include <cstddef>

namespace binding {

struct ClassRecord;
struct TypeDescriptor;

// An address of one type as an address of another; none means that the address is the same.
using AddressConverter = void* (*)(void* address);
using DynamicCast = TypeDescriptor* (*)(void** address);

// The structures of this header and of module_family.h are shared memory: every extension module of
// the family in the process reads and links them. Order and layout are fixed.

// "A pointer of type `from` will do as well": one entry of a descriptor's cast list, which starts
// with a link from the descriptor to itself.
struct CastLink {
    TypeDescriptor* from;
    AddressConverter convert;
    CastLink* next;
    CastLink* previous;
};

// One native pointer type that scripts can hold. Lives in its module's static data and never goes.
struct TypeDescriptor {
    // Mangled, the identity across modules: "_p_char".
    const char* name;
    // For people: "char *|TCHAR *"; the last alternative is the one shown.
    const char* human_name;
    DynamicCast dynamic_cast_function;
    CastLink* casts;
    // The script class that dresses pointers of this type, or none.
    ClassRecord* client_data;
    // 1 on the one descriptor that keeps the class record; linked ones may share the pointer.
    int owns_client_data;
};

static_assert(sizeof(CastLink) == 32 && offsetof(CastLink, previous) == 24);
static_assert(sizeof(TypeDescriptor) == 48 && offsetof(TypeDescriptor, owns_client_data) == 40);

// The text that messages show for a type; "(null)" for none.
const char* ShownName(const TypeDescriptor* type);
// The mangled name, "" for none.
const char* MangledName(const TypeDescriptor* type);

// The link in wanted's cast list that leads from the type with this mangled name, or null. A link
// that is found moves to the front of the list, where the next look-up finds it at once.
CastLink* FindCast(const char* name, TypeDescriptor& wanted);

}  // namespace binding

#endif
