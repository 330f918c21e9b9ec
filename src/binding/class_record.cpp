#include "binding/class_record.h"

#include <utility>

#include "binding/interpreter/script_object.h"

namespace binding {

namespace {

// False, with the exception set, when there was no memory to look: a class that has a destructor
// must not be taken for one that has none.
bool ReadOptionalAttribute(PyObject* object, const char* name, ScriptObject& value) {
    value = ScriptObject::Steal(PyObject_GetAttrString(object, name));
    if (value) return true;
    if (PyErr_ExceptionMatches(PyExc_MemoryError)) return false;
    PyErr_Clear();
    return true;
}

bool IsBuiltinOfOneObject(PyObject* function) {
    return PyCFunction_Check(function) && (PyCFunction_GetFlags(function) & METH_O);
}

ClassRecord& EmptyRecord() {
    for (ClassRecord& record : OwnClassRecords()) {
        if (!record.script_class) return record;
    }
    return OwnClassRecords().emplace_front();
}

}  // namespace

ClassRecord* NewClassRecord(PyObject* script_class) {
    ScriptObject constructor;
    if (!PyClass_Check(script_class) &&
        !ReadOptionalAttribute(script_class, "__new__", constructor))
        return nullptr;
    ScriptObject arguments = constructor ? ScriptObject::Steal(PyTuple_Pack(1, script_class))
                                         : ScriptObject::Borrow(script_class);
    if (!arguments) return nullptr;
    ScriptObject destructor;
    if (!ReadOptionalAttribute(script_class, "__swig_destroy__", destructor)) return nullptr;

    // Only now: the attributes' scripts may have registered classes themselves.
    ClassRecord& record = EmptyRecord();
    record.destructor_takes_wrapped = !(destructor && IsBuiltinOfOneObject(destructor.Get()));
    record.implicit_conversion_running = 0;
    record.script_class = ScriptObject::Borrow(script_class).Release();
    record.constructor = constructor.Release();
    record.raw_arguments = arguments.Release();
    record.destructor = destructor.Release();
    return &record;
}

void ClearClassRecord(ClassRecord& record) {
    // They go when the record is empty.
    const auto script_class = ScriptObject::Steal(std::exchange(record.script_class, nullptr));
    const auto constructor = ScriptObject::Steal(std::exchange(record.constructor, nullptr));
    const auto arguments = ScriptObject::Steal(std::exchange(record.raw_arguments, nullptr));
    const auto destructor = ScriptObject::Steal(std::exchange(record.destructor, nullptr));
}

std::vector<RegisteredClass>& RegisteredClasses() {
    static auto& classes = *new std::vector<RegisteredClass>;
    return classes;
}

ClassRecord* ClassOf(const TypeDescriptor& type) {
    ClassRecord* const shown = type.client_data;
    const PyThreadState* const state = _PyThreadState_Current;
    if (!shown || !state) return shown;
    bool is_ours = false;
    ClassRecord* of_current = nullptr;
    for (const RegisteredClass& each : RegisteredClasses()) {
        const bool is_of_current = each.interpreter == state->interp;
        if (each.record == shown && is_of_current) return shown;
        is_ours = is_ours || each.record == shown;
        if (each.type == &type && is_of_current) of_current = each.record;
    }
    return is_ours ? of_current : shown;
}

std::forward_list<ClassRecord>& OwnClassRecords() {
    static auto& records = *new std::forward_list<ClassRecord>;
    return records;
}

}  // namespace binding
