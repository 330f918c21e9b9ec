#include "binding/pointer_conversion.h"

#include "binding/class_record.h"
#include "binding/conversion_error.h"
#include "binding/interpreter/pending_exception.h"

namespace binding {

namespace {

// How often "this" is followed before the search is given up: a property can deliver ever new
// objects, each with a "this" of its own.
constexpr int kMaxSteps = 100;

PyObject* this_name = nullptr;

// The text "this", the attribute under which script instances keep their wrapped pointer; made once
// and kept. The reference is the caller's own, since a script that runs during a look-up can end
// what is kept here. Null with an exception set.
ScriptObject ThisName() {
    if (!this_name) this_name = PyString_InternFromString("this");
    return ScriptObject::Borrow(this_name);
}

// Dressing

// Puts "this" into the fresh instance, whose dictionary usually does not exist yet. False with or
// without an exception when it has no place for it.
bool AdoptThis(PyObject* instance, PyObject* wrapped) {
    const ScriptObject name = ThisName();
    PyObject** place = _PyObject_GetDictPtr(instance);
    if (!place || !name) return false;
    if (!*place) *place = PyDict_New();
    // A key that the class's own constructor has put there may give the instance another dictionary
    // while this one is searched.
    const auto dictionary = ScriptObject::Borrow(*place);
    if (!dictionary) return false;
    // A "this" that the constructor has put there stays.
    if (!PyDict_GetItem(dictionary.Get(), name.Get()) &&
        PyDict_SetItem(dictionary.Get(), name.Get(), wrapped) != 0) {
        return false;
    }
    return *place == dictionary.Get();
}

ScriptObject DressAsInstance(PyObject* constructor, PyObject* arguments, PyObject* wrapped) {
    auto instance = ScriptObject::Steal(PyObject_Call(constructor, arguments, nullptr));
    if (instance && !AdoptThis(instance.Get(), wrapped)) return ScriptObject();
    return instance;
}

ScriptObject DressAsOldStyleInstance(PyObject* script_class, PyObject* wrapped) {
    const ScriptObject name = ThisName();
    const auto dictionary = ScriptObject::Steal(PyDict_New());
    if (!dictionary || !name || PyDict_SetItem(dictionary.Get(), name.Get(), wrapped) != 0) {
        return ScriptObject();
    }
    return ScriptObject::Steal(PyInstance_NewRaw(script_class, dictionary.Get()));
}

// None, and no exception, when the class does not give an instance.
ScriptObject Dress(const ClassRecord& record, PyObject* wrapped) {
    const PendingException pending;
    const auto constructor = ScriptObject::Borrow(record.constructor);
    const auto arguments = ScriptObject::Borrow(record.raw_arguments);
    ScriptObject instance;
    if (constructor && arguments) {
        instance = DressAsInstance(constructor.Get(), arguments.Get(), wrapped);
    } else if (arguments) {
        instance = DressAsOldStyleInstance(arguments.Get(), wrapped);
    }
    return instance;
}

// The way to "this"

// What the dictionary, if there is one, has under that name. It is held while it is searched: a
// key's __eq__ may take it from its owner.
ScriptObject FindIn(PyObject* dictionary, PyObject* name) {
    const auto held = ScriptObject::Borrow(dictionary);
    return ScriptObject::Borrow(held ? PyDict_GetItem(held.Get(), name) : nullptr);
}

// In the class or its bases, in the interpreter's order.
ScriptObject FindInOldStyleClass(PyObject* object, PyObject* name) {
    const auto held = ScriptObject::Borrow(object);
    const auto& script_class = *reinterpret_cast<PyClassObject*>(object);
    ScriptObject found = FindIn(script_class.cl_dict, name);
    const auto bases = ScriptObject::Borrow(script_class.cl_bases);
    for (Py_ssize_t i = 0; !found && i < PyTuple_GET_SIZE(bases.Get()); ++i)
        found = FindInOldStyleClass(PyTuple_GET_ITEM(bases.Get(), i), name);
    return found;
}

ScriptObject FollowThis(PyObject* object) {
    const ScriptObject held_name = ThisName();
    PyObject* name = held_name.Get();
    if (!name) return ScriptObject();
    if (PyInstance_Check(object)) {
        const auto& instance = *reinterpret_cast<PyInstanceObject*>(object);
        ScriptObject found = FindIn(instance.in_dict, name);
        return found ? std::move(found)
                     : FindInOldStyleClass(reinterpret_cast<PyObject*>(instance.in_class), name);
    }
    if (PyObject** dictionary = _PyObject_GetDictPtr(object)) return FindIn(*dictionary, name);
    if (PyWeakref_CheckProxy(object)) {
        PyObject* referent = PyWeakref_GET_OBJECT(object);
        return ScriptObject::Borrow(referent == Py_None ? nullptr : referent);
    }
    return ScriptObject::Steal(PyObject_GetAttr(object, name));
}

// The wrapped pointer that the object is or leads to, or none.
ScriptObject FindWrappedPointer(PyObject* object) {
    auto current = ScriptObject::Borrow(object);
    if (IsWrappedPointer(object)) return current;
    // Scripts may run from here on.
    const PendingException pending;
    for (int step = 0; current && step < kMaxSteps; ++step) {
        current = FollowThis(current.Get());
        if (current && IsWrappedPointer(current.Get())) return current;
    }
    return ScriptObject();
}

// Matching

bool Matches(const WrappedPointer& entry, TypeDescriptor* wanted, void*& address) {
    address = entry.address;
    if (!wanted || entry.type == wanted) return true;
    const CastLink* link = entry.type ? FindCast(entry.type->name, *wanted) : nullptr;
    if (link && link->convert) address = link->convert(address);
    return link != nullptr;
}

// The first entry of the chain that is of the wanted type, or null.
WrappedPointer* FindEntry(WrappedPointer& first, TypeDescriptor* wanted, void*& address) {
    if (Matches(first, wanted, address)) return &first;
    if (!first.next) return nullptr;
    for (WrappedPointer* entry : ChainFrom(first)) {
        if (Matches(*entry, wanted, address)) return entry;
    }
    return nullptr;
}

int ConvertByClass(PyObject* object, TypeDescriptor& wanted, ConvertedPointer& result) {
    ClassRecord* record = ClassOf(wanted);
    if (!record || record->implicit_conversion_running || !record->script_class) {
        return kConversionFailed;
    }
    const PendingException pending;
    const auto script_class = ScriptObject::Borrow(record->script_class);
    record->implicit_conversion_running = 1;
    const auto converted =
        ScriptObject::Steal(PyObject_CallFunctionObjArgs(script_class.Get(), object, nullptr));
    record->implicit_conversion_running = 0;
    if (!converted) return kConversionFailed;
    const int code = ConvertPointer(converted.Get(), &wanted, kDisown, result);
    return code < 0 ? code : code | kNewObject;
}

}  // namespace

PyObject* NewPointerObject(void* address, TypeDescriptor* type, int flags, NativeRelease release) {
    constexpr int kBare = kNewlyConstructed & ~kOwned;
    if (!address) return NewNone();
    auto wrapped =
        ScriptObject::Steal(NewWrappedPointer(address, type, (flags & kOwned) != 0, release));
    const ClassRecord* record = wrapped && type && !(flags & kBare) ? ClassOf(*type) : nullptr;
    if (record) {
        ScriptObject instance = Dress(*record, wrapped.Get());
        if (instance) return instance.Release();
    }
    return wrapped.Release();
}

int ConvertPointer(PyObject* object, TypeDescriptor* wanted, int flags, ConvertedPointer& result) {
    result = ConvertedPointer();
    if (!object) return kConversionFailed;
    if (object == Py_None) return kConverted;
    if (const ScriptObject wrapped = FindWrappedPointer(object)) {
        void* address = nullptr;
        WrappedPointer* entry = FindEntry(AsWrappedPointer(wrapped.Get()), wanted, address);
        if (entry) {
            if (flags & kDisown) entry->own = 0;
            result.address = address;
            result.holder = ScriptObject::Borrow(reinterpret_cast<PyObject*>(entry));
            return kConverted;
        }
    }
    if ((flags & kImplicitConversion) && wanted) return ConvertByClass(object, *wanted, result);
    return kConversionFailed;
}

void ForgetThisName() {
    Py_CLEAR(this_name);
}

}  // namespace binding
