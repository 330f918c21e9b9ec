#include "binding/wrapped_pointer.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <unordered_set>
#include <utility>

#include "binding/class_record.h"
#include "binding/hex_text.h"
#include "binding/interpreter/pending_exception.h"
#include "binding/interpreter/script_object.h"
#include "binding/script_type.h"

namespace binding {

namespace {

constexpr char kTypeName[] = "PySwigObject";
// What objects of sibling modules have at least.
constexpr Py_ssize_t kSharedSize = offsetof(WrappedPointer, release);

std::uint64_t Number(PyObject* object) {
    return reinterpret_cast<std::uintptr_t>(AsWrappedPointer(object).address);
}

std::string NumberText(std::uint64_t number, int base) {
    char digits[24];
    return std::string(digits, std::to_chars(digits, std::end(digits), number, base).ptr);
}

PyObject* NewText(const std::string& text) {
    return PyString_FromStringAndSize(text.data(), static_cast<Py_ssize_t>(text.size()));
}

// For operations that build their text in memory of their own.
template <typename Operation>
PyObject* MemoryChecked(Operation operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return PyErr_NoMemory();
    }
}

// Destruction

void ReportLeak(const TypeDescriptor* type) {
    PySys_WriteStdout("swig/python detected a memory leak of type '%s', no destructor found.\n",
                      ShownName(type));
}

// A builtin of one object gets the dying object itself, brought back to life for the call. True
// when the function has kept a reference, so that the object lives on, without owning anything.
bool CallWithDying(PyObject* destructor, WrappedPointer& self) {
    auto* object = reinterpret_cast<PyObject*>(&self);
    Py_REFCNT(object) = 1;
    const PyCFunction function = PyCFunction_GetFunction(destructor);
    ScriptObject::Steal(function(PyCFunction_GetSelf(destructor), object));
    const Py_ssize_t kept = --Py_REFCNT(object);
    if (kept == 0) return false;
    // The interpreter already counted this object as gone; it has to learn of it anew.
    _Py_NewReference(object);
    Py_REFCNT(object) = kept;
    _Py_DEC_REFTOTAL;
    return true;
}

void CallWithTemporary(PyObject* destructor, const WrappedPointer& self) {
    const auto temporary = ScriptObject::Steal(NewWrappedPointer(self.address, self.type, false));
    if (!temporary) return;
    ScriptObject::Steal(PyObject_CallFunctionObjArgs(destructor, temporary.Get(), nullptr));
}

// Ends the native object as its class says. True when the script object has to live on.
bool DestroyNative(WrappedPointer& self) {
    const PendingException pending;
    self.own = 0;
    const ClassRecord* record = self.type ? ClassOf(*self.type) : nullptr;
    const auto destructor = ScriptObject::Borrow(record ? record->destructor : nullptr);
    bool revived = false;
    if (!record || !destructor) {
        ReportLeak(self.type);
        if (self.release) self.release(self.address);
    } else if (record->destructor_takes_wrapped || !PyCFunction_Check(destructor.Get())) {
        CallWithTemporary(destructor.Get(), self);
    } else {
        revived = CallWithDying(destructor.Get(), self);
    }
    PyErr_Clear();
    return revived;
}

// Entries that only this chain holds go one by one: a long chain must not end in a recursion.
void DropChain(PyObject* entry) {
    while (entry && Py_REFCNT(entry) == 1 && IsWrappedPointer(entry)) {
        PyObject* following = std::exchange(AsWrappedPointer(entry).next, nullptr);
        Py_DECREF(entry);
        entry = following;
    }
    Py_XDECREF(entry);
}

void Deallocate(PyObject* object) {
    WrappedPointer& self = AsWrappedPointer(object);
    if (self.own && DestroyNative(self)) return;
    DropChain(std::exchange(self.next, nullptr));
    PyObject_Del(object);
}

// Texts

PyObject* Represent(PyObject* object) {
    return MemoryChecked([object] {
        std::string text;
        for (const WrappedPointer* entry : ChainFrom(AsWrappedPointer(object))) {
            const auto address = reinterpret_cast<std::uintptr_t>(entry->address);
            text.append("<Swig Object of type '").append(ShownName(entry->type));
            text.append("' at 0x").append(NumberText(address, 16)).append(">");
        }
        return NewText(text);
    });
}

PyObject* RepresentMethod(PyObject* object, PyObject*) {
    return Represent(object);
}

PyObject* Text(PyObject* object) {
    const WrappedPointer& self = AsWrappedPointer(object);
    char buffer[kRenderingSize];
    const char* name = MangledName(self.type);
    const char* text = RenderPointer(buffer, sizeof buffer, self.address, name);
    return PyString_FromString(text ? text : name);
}

PyObject* ToLong(PyObject* object) {
    return PyLong_FromUnsignedLongLong(Number(object));
}

PyObject* ToOctal(PyObject* object) {
    return MemoryChecked([object] { return NewText(NumberText(Number(object), 8)); });
}

PyObject* ToHexadecimal(PyObject* object) {
    return MemoryChecked([object] { return NewText(NumberText(Number(object), 16)); });
}

// Comparison

int Compare(PyObject* left, PyObject* right) {
    const std::uint64_t a = Number(left), b = Number(right);
    return a < b ? -1 : a > b;
}

// Objects of a sibling module are of another type, which Compare is never asked about.
PyObject* CompareRich(PyObject* left, PyObject* right, int operation) {
    if (!IsWrappedPointer(left) || !IsWrappedPointer(right)) {
        Py_INCREF(Py_NotImplemented);
        return Py_NotImplemented;
    }
    const int order = Compare(left, right);
    switch (operation) {
        case Py_LT:
            return PyBool_FromLong(order < 0);
        case Py_LE:
            return PyBool_FromLong(order <= 0);
        case Py_EQ:
            return PyBool_FromLong(order == 0);
        case Py_NE:
            return PyBool_FromLong(order != 0);
        case Py_GT:
            return PyBool_FromLong(order > 0);
        default:
            return PyBool_FromLong(order >= 0);
    }
}

// Methods

PyObject* Disown(PyObject* object, PyObject*) {
    AsWrappedPointer(object).own = 0;
    return NewNone();
}

PyObject* Acquire(PyObject* object, PyObject*) {
    AsWrappedPointer(object).own = 1;
    return NewNone();
}

PyObject* Own(PyObject* object, PyObject* arguments) {
    PyObject* flag = nullptr;
    if (!PyArg_UnpackTuple(arguments, "own", 0, 1, &flag)) return nullptr;
    const int wanted = flag ? PyObject_IsTrue(flag) : -1;
    if (flag && wanted < 0) return nullptr;
    int& own = AsWrappedPointer(object).own;
    const int before = own;
    if (flag) own = wanted;
    return PyBool_FromLong(before);
}

// Anything else than a wrapped pointer gives null without an exception: the interpreter then raises
// the SystemError that callers know.
PyObject* Append(PyObject* object, PyObject* next) {
    if (!IsWrappedPointer(next)) return nullptr;
    Py_INCREF(next);
    DropChain(std::exchange(AsWrappedPointer(object).next, next));
    return NewNone();
}

PyObject* Next(PyObject* object, PyObject*) {
    PyObject* next = AsWrappedPointer(object).next;
    return next ? ScriptObject::Borrow(next).Release() : NewNone();
}

PyMethodDef methods[] = {
    {"disown", Disown, METH_NOARGS, "releases ownership of the pointer"},
    {"acquire", Acquire, METH_NOARGS, "aquires ownership of the pointer"},
    {"own", Own, METH_VARARGS, "returns/sets ownership of the pointer"},
    {"append", Append, METH_O, "appends another 'this' object"},
    {"next", Next, METH_NOARGS, "returns the next 'this' object"},
    // In place of the interpreter's own wrapper around tp_repr, for the sake of its text.
    {"__repr__", RepresentMethod, METH_NOARGS | METH_COEXIST, "returns object representation"},
    {nullptr, nullptr, 0, nullptr}};

PyNumberMethods number_methods;
PyTypeObject type_object;

// Made on first use; null with an exception set when the interpreter cannot make it.
PyTypeObject* OwnType() {
    if (type_object.tp_flags & Py_TPFLAGS_READY) return &type_object;
    number_methods.nb_int = ToLong;
    number_methods.nb_long = ToLong;
    number_methods.nb_oct = ToOctal;
    number_methods.nb_hex = ToHexadecimal;

    type_object.tp_name = kTypeName;
    type_object.tp_basicsize = sizeof(WrappedPointer);
    type_object.tp_dealloc = Deallocate;
    type_object.tp_compare = Compare;
    type_object.tp_richcompare = CompareRich;
    type_object.tp_repr = Represent;
    type_object.tp_str = Text;
    type_object.tp_as_number = &number_methods;
    type_object.tp_methods = methods;
    return ReadyType(type_object);
}

}  // namespace

PyObject* NewWrappedPointer(void* address, TypeDescriptor* type, bool own, NativeRelease release) {
    PyTypeObject* own_type = OwnType();
    if (!own_type) return nullptr;
    PyObject* object = _PyObject_New(own_type);
    if (!object) return nullptr;
    WrappedPointer& self = AsWrappedPointer(object);
    self.address = address;
    self.type = type;
    self.own = own;
    self.next = nullptr;
    self.release = release;
    return object;
}

bool IsWrappedPointer(PyObject* object) {
    const PyTypeObject* type = Py_TYPE(object);
    if (type == &type_object) return true;
    return !(type->tp_flags & Py_TPFLAGS_HEAPTYPE) && type->tp_basicsize >= kSharedSize &&
           type->tp_itemsize == 0 && std::strcmp(type->tp_name, kTypeName) == 0;
}

std::vector<WrappedPointer*> ChainFrom(WrappedPointer& first) {
    std::vector<WrappedPointer*> chain{&first};
    std::unordered_set<PyObject*> seen{reinterpret_cast<PyObject*>(&first)};
    for (PyObject* next = first.next; next && seen.insert(next).second;
         next = AsWrappedPointer(next).next) {
        chain.push_back(&AsWrappedPointer(next));
    }
    return chain;
}

}  // namespace binding
