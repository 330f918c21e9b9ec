#include "binding/type_descriptor.h"

#include <cstring>

namespace binding {

namespace {

void MoveToFront(CastLink& link, TypeDescriptor& wanted) {
    link.previous->next = link.next;
    if (link.next) link.next->previous = link.previous;
    link.previous = nullptr;
    link.next = wanted.casts;
    wanted.casts->previous = &link;
    wanted.casts = &link;
}

}  // namespace

const char* ShownName(const TypeDescriptor* type) {
    if (!type) return "(null)";
    if (!type->human_name) return type->name;
    const char* separator = std::strrchr(type->human_name, '|');
    return separator ? separator + 1 : type->human_name;
}

const char* MangledName(const TypeDescriptor* type) {
    return type ? type->name : "";
}

CastLink* FindCast(const char* name, TypeDescriptor& wanted) {
    for (CastLink* link = wanted.casts; link; link = link->next) {
        if (std::strcmp(link->from->name, name) != 0) continue;
        if (link != wanted.casts) MoveToFront(*link, wanted);
        return link;
    }
    return nullptr;
}

}  // namespace binding
