#include "binding/constants.h"

#include <cstring>
#include <string_view>

#include "binding/hex_text.h"
#include "binding/interpreter/script_object.h"
#include "binding/packed_value.h"
#include "binding/pointer_conversion.h"

namespace binding {

namespace {

constexpr std::string_view kMarker = "swig_ptr: ";

PyObject* NewObject(const Constant& constant) {
    if (constant.kind == kPointerConstant)
        return NewPointerObject(constant.pointer, *constant.type, kBorrowed);
    if (!constant.pointer) return NewNone();
    return NewPackedValue(constant.pointer, static_cast<std::size_t>(constant.integer),
                          *constant.type);
}

// The constant that text names, or null. More text may follow the name.
const Constant* FindNamed(const Constant* constants, const char* text) {
    for (const Constant* constant = constants; constant->kind; ++constant) {
        if (std::strncmp(text, constant->name, std::strlen(constant->name)) == 0) return constant;
    }
    return nullptr;
}

// head, the marker and the pointer; null when there is no memory.
const char* NewText(std::string_view head, const Constant& constant) {
    const char* name = MangledName(*constant.type);
    const std::size_t start = head.size() + kMarker.size();
    const std::size_t rendering_size = 2 + 2 * sizeof(void*) + std::strlen(name);
    auto* text = static_cast<char*>(PyMem_Malloc(start + rendering_size));
    if (!text) return nullptr;
    std::memcpy(text, head.data(), head.size());
    std::memcpy(text + head.size(), kMarker.data(), kMarker.size());
    RenderPointer(text + start, rendering_size, constant.pointer, name);
    return text;
}

}  // namespace

void InstallConstants(PyObject* dictionary, const Constant* constants) {
    for (const Constant* constant = constants; constant->kind; ++constant) {
        if (constant->kind != kPointerConstant && constant->kind != kPackedConstant) continue;
        const auto object = ScriptObject::Steal(NewObject(*constant));
        if (!object || PyDict_SetItemString(dictionary, constant->name, object.Get()) != 0)
            PyErr_Clear();
    }
}

void CompleteDocumentation(PyMethodDef* methods, const Constant* constants) {
    for (PyMethodDef* method = methods; method->ml_name; ++method) {
        const std::string_view text = method->ml_doc ? method->ml_doc : "";
        const std::size_t marker = text.find(kMarker);
        if (marker == std::string_view::npos) continue;
        const Constant* constant = FindNamed(constants, text.data() + marker + kMarker.size());
        if (!constant || constant->kind != kPointerConstant || !constant->pointer) continue;
        const char* completed = NewText(text.substr(0, marker), *constant);
        if (completed) method->ml_doc = completed;
    }
}

}  // namespace binding
