// An extension module of the same family, written from the layout alone and without any of the
// product's code: what it shares with _vireon is memory. It knows five pointer types, one of them a
// pair of integers whose second one passes as an NPT_UInt32, one an engine that passes as a Vireon
// as it is.
#include <Python.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

struct Type;

struct Cast {
    Type* from;
    void* (*convert)(void*);
    Cast* next;
    Cast* previous;
};

struct Type {
    const char* name;
    const char* human_name;
    void* dynamic_cast_function;
    Cast* casts;
    void* client_data;
    int owns_client_data;
};

struct Record {
    Type** types;
    std::size_t count;
    Record* next;
    Type** type_initial;
    Cast** cast_initial;
    void* client_data;
};

struct Pointer {
    PyObject_HEAD void* address;
    Type* type;
    int own;
    PyObject* next;
};

void* SecondOfPair(void* address) {
    return static_cast<std::uint32_t*>(address) + 1;
}

struct Class {
    PyObject* script_class;
    PyObject* constructor;
    PyObject* raw_arguments;
    PyObject* destructor;
    int destructor_takes_wrapped;
    int implicit_conversion_running;
};

constexpr std::size_t kCount = 5;
Type number = {"_p_NPT_UInt32", "NPT_UInt32 *", nullptr, nullptr, nullptr, 0};
Type derived = {"_p_SiblingEngine", "SiblingEngine *", nullptr, nullptr, nullptr, 0};
Type pair = {"_p_SiblingPair", "SiblingPair *", nullptr, nullptr, nullptr, 0};
Type engine = {"_p_Vireon", "Vireon *", nullptr, nullptr, nullptr, 0};
Type text = {"_p_char", "char *|TCHAR *", nullptr, nullptr, nullptr, 0};

Cast number_casts[] = {{&number, nullptr, nullptr, nullptr},
                       {&pair, SecondOfPair, nullptr, nullptr},
                       {nullptr, nullptr, nullptr, nullptr}};
Cast derived_casts[] = {{&derived, nullptr, nullptr, nullptr},
                        {nullptr, nullptr, nullptr, nullptr}};
Cast pair_casts[] = {{&pair, nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr, nullptr}};
Cast engine_casts[] = {{&engine, nullptr, nullptr, nullptr},
                       {&derived, nullptr, nullptr, nullptr},
                       {nullptr, nullptr, nullptr, nullptr}};
Cast text_casts[] = {{&text, nullptr, nullptr, nullptr}, {nullptr, nullptr, nullptr, nullptr}};

Type* types[kCount + 1] = {&number, &derived, &pair, &engine, &text, nullptr};
Type* initial[kCount + 1] = {&number, &derived, &pair, &engine, &text, nullptr};
Cast* casts[kCount + 1] = {number_casts, derived_casts, pair_casts,
                           engine_casts, text_casts,    nullptr};
Record record = {types, kCount, &record, initial, casts, nullptr};

// Joining

Type* FindElsewhere(const char* name) {
    for (Record* other = record.next; other != &record; other = other->next) {
        for (std::size_t i = 0; i < other->count; ++i) {
            if (std::strcmp(other->types[i]->name, name) == 0) return other->types[i];
        }
    }
    return nullptr;
}

void AddCast(Type& type, Cast& added) {
    for (Cast* cast = type.casts; cast; cast = cast->next) {
        if (cast->from == added.from) return;
    }
    added.next = type.casts;
    if (added.next) added.next->previous = &added;
    type.casts = &added;
}

void Join() {
    static char module_name[] = "swig_runtime_data3";
    static char attribute[] = "type_pointer";
    static PyMethodDef no_methods[] = {{nullptr, nullptr, 0, nullptr}};
    auto* head = static_cast<Record*>(PyCObject_Import(module_name, attribute));
    PyErr_Clear();
    if (head) {
        record.next = head->next;
        head->next = &record;
    } else {
        PyObject* runtime = Py_InitModule(module_name, no_methods);
        PyModule_AddObject(runtime, attribute, PyCObject_FromVoidPtr(&record, nullptr));
    }
    for (std::size_t i = 0; i < kCount; ++i) {
        Type* shared = FindElsewhere(initial[i]->name);
        types[i] = shared ? shared : initial[i];
    }
    for (std::size_t i = 0; i < kCount; ++i) {
        for (Cast* cast = casts[i]; cast->from; ++cast) {
            Type* shared = FindElsewhere(cast->from->name);
            if (shared) cast->from = shared;
            AddCast(*types[i], *cast);
        }
    }
}

// Wrapped pointers of a type object of its own

void Deallocate(PyObject* object) {
    Py_XDECREF(reinterpret_cast<Pointer*>(object)->next);
    PyObject_Del(object);
}

PyTypeObject pointer_type;

bool ReadyType() {
    Py_REFCNT(&pointer_type) = 1;
    pointer_type.tp_name = "PySwigObject";
    pointer_type.tp_basicsize = sizeof(Pointer);
    pointer_type.tp_flags = Py_TPFLAGS_DEFAULT;
    pointer_type.tp_dealloc = Deallocate;
    return PyType_Ready(&pointer_type) == 0;
}

Type* FindType(const char* name) {
    for (Type* type : types) {
        if (type && std::strcmp(type->name, name) == 0) return type;
    }
    PyErr_SetString(PyExc_KeyError, name);
    return nullptr;
}

PyObject* Wrap(PyObject*, PyObject* arguments) {
    unsigned long long address = 0;
    const char* name = nullptr;
    if (!PyArg_ParseTuple(arguments, "Ks", &address, &name)) return nullptr;
    Type* type = FindType(name);
    if (!type) return nullptr;
    PyObject* object = _PyObject_New(&pointer_type);
    if (!object) return nullptr;
    auto* pointer = reinterpret_cast<Pointer*>(object);
    pointer->address = reinterpret_cast<void*>(static_cast<std::uintptr_t>(address));
    pointer->type = type;
    pointer->own = 0;
    pointer->next = nullptr;
    return object;
}

PyObject* Unwrap(PyObject*, PyObject* arguments) {
    PyObject* object = nullptr;
    const char* name = nullptr;
    if (!PyArg_ParseTuple(arguments, "Os", &object, &name)) return nullptr;
    const Type* type = FindType(name);
    if (!type) return nullptr;
    auto* pointer = reinterpret_cast<Pointer*>(object);
    if (std::strcmp(Py_TYPE(object)->tp_name, "PySwigObject") != 0 || pointer->type != type) {
        PyErr_SetString(PyExc_TypeError, name);
        return nullptr;
    }
    return PyLong_FromVoidPtr(pointer->address);
}

PyObject* Descriptor(PyObject*, PyObject* arguments) {
    const char* name = nullptr;
    if (!PyArg_ParseTuple(arguments, "s", &name)) return nullptr;
    Type* type = FindType(name);
    return type ? PyLong_FromVoidPtr(type) : nullptr;
}

// Registers an old-style class for a type, for good.
PyObject* Register(PyObject*, PyObject* arguments) {
    static Class classes[kCount];
    const char* name = nullptr;
    PyObject* script_class = nullptr;
    if (!PyArg_ParseTuple(arguments, "sO", &name, &script_class)) return nullptr;
    Type* type = FindType(name);
    if (!type) return nullptr;
    std::size_t place = 0;
    while (types[place] != type)
        ++place;
    Py_INCREF(script_class);
    Py_INCREF(script_class);
    classes[place] = {script_class, nullptr, script_class, nullptr, 1, 0};
    type->client_data = &classes[place];
    type->owns_client_data = 1;
    return PyLong_FromVoidPtr(&classes[place]);
}

PyObject* RecordAddress(PyObject*, PyObject*) {
    return PyLong_FromVoidPtr(&record);
}

PyMethodDef methods[] = {{"wrap", Wrap, METH_VARARGS, nullptr},
                         {"unwrap", Unwrap, METH_VARARGS, nullptr},
                         {"descriptor", Descriptor, METH_VARARGS, nullptr},
                         {"register", Register, METH_VARARGS, nullptr},
                         {"record", RecordAddress, METH_NOARGS, nullptr},
                         {nullptr, nullptr, 0, nullptr}};

}  // namespace

PyMODINIT_FUNC initvireon_sibling() {
    if (!ReadyType() || !Py_InitModule("vireon_sibling", methods)) return;
    Join();
}
