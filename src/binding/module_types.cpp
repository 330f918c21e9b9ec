#include "binding/module_types.h"

namespace binding {

namespace {

constexpr bool IsSorted() {
    for (std::size_t i = 1; i < kTypeCount; ++i) {
        if (std::string_view(kTypeNames[i - 1].name) >= kTypeNames[i].name) return false;
    }
    return true;
}
static_assert(IsSorted(), "searches by halves in this array would miss types");

// The record with everything it points at. Each array ends in a null (a link from null).
struct OwnTypes {
    OwnTypes() {
        for (std::size_t i = 0; i < kTypeCount; ++i) {
            descriptors[i].name = kTypeNames[i].name;
            descriptors[i].human_name = kTypeNames[i].human_name;
            links[i][0].from = &descriptors[i];
            types[i] = &descriptors[i];
            initial[i] = &descriptors[i];
            casts[i] = links[i];
        }
        record.types = types;
        record.count = kTypeCount;
        record.type_initial = initial;
        record.cast_initial = casts;
    }

    TypeDescriptor descriptors[kTypeCount] = {};
    // Each type converts to itself and to nothing else.
    CastLink links[kTypeCount][2] = {};
    TypeDescriptor* types[kTypeCount + 1] = {};
    TypeDescriptor* initial[kTypeCount + 1] = {};
    CastLink* casts[kTypeCount + 1] = {};
    ModuleRecord record = {};
};

}  // namespace

ModuleRecord& OwnModule() {
    static OwnTypes own;
    return own.record;
}

}  // namespace binding
