#include "binding/packed_value.h"

#include <cstring>

#include "binding/hex_text.h"
#include "binding/script_type.h"

namespace binding {

namespace {

PackedValue& AsPackedValue(PyObject* object) {
    return *reinterpret_cast<PackedValue*>(object);
}

// The bytes as text, or "" when they are too many for a rendering.
const char* HexText(const PackedValue& self, char (&buffer)[kRenderingSize]) {
    constexpr std::size_t kMaxBytes = (kRenderingSize - 2) / 2;
    char* end = self.size > kMaxBytes ? buffer : WriteHex(buffer, self.bytes, self.size);
    *end = '\0';
    return buffer;
}

PyObject* Text(PyObject* object) {
    const PackedValue& self = AsPackedValue(object);
    char buffer[kRenderingSize];
    return PyString_FromFormat("%s%s", HexText(self, buffer), MangledName(self.type));
}

PyObject* Represent(PyObject* object) {
    const PackedValue& self = AsPackedValue(object);
    char buffer[kRenderingSize];
    const char* hex = HexText(self, buffer);
    return *hex ? PyString_FromFormat("<Swig Packed at %s%s>", hex, MangledName(self.type))
                : PyString_FromFormat("<Swig Packed %s>", MangledName(self.type));
}

// The bytes are compared as text of up to twice their number, as the modules of this family always
// did; the closing zero of both copies keeps the comparison inside them.
int Compare(PyObject* left, PyObject* right) {
    const PackedValue& a = AsPackedValue(left);
    const PackedValue& b = AsPackedValue(right);
    if (a.size != b.size) return a.size < b.size ? -1 : 1;
    const int order = std::strncmp(a.bytes, b.bytes, 2 * a.size);
    return order < 0 ? -1 : order > 0;
}

void Deallocate(PyObject* object) {
    PyMem_Free(AsPackedValue(object).bytes);
    PyObject_Del(object);
}

PyTypeObject type_object;

// Made on first use; null with an exception set when the interpreter cannot make it.
PyTypeObject* OwnType() {
    if (type_object.tp_flags & Py_TPFLAGS_READY) return &type_object;
    type_object.tp_name = "PySwigPacked";
    type_object.tp_basicsize = sizeof(PackedValue);
    type_object.tp_dealloc = Deallocate;
    type_object.tp_compare = Compare;
    type_object.tp_repr = Represent;
    type_object.tp_str = Text;
    return ReadyType(type_object);
}

}  // namespace

PyObject* NewPackedValue(const void* bytes, std::size_t size, TypeDescriptor* type) {
    // Twice the size has to be a size as well, for Compare.
    if (size > std::size_t{PY_SSIZE_T_MAX} / 2) return PyErr_NoMemory();
    PyTypeObject* own_type = OwnType();
    if (!own_type) return nullptr;
    PyObject* object = _PyObject_New(own_type);
    if (!object) return nullptr;
    PackedValue& self = AsPackedValue(object);
    self.type = type;
    self.size = size;
    self.bytes = static_cast<char*>(PyMem_Malloc(size + 1));
    if (!self.bytes) {
        Py_DECREF(object);
        return PyErr_NoMemory();
    }
    std::memcpy(self.bytes, bytes, size);
    self.bytes[size] = '\0';
    return object;
}

}  // namespace binding
