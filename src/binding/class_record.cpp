#include "binding/class_record.h"

#include <utility>

#include "binding/script_reference.h"

namespace binding {

namespace {

ScriptReference OptionalAttribute(PyObject* object, const char* name) {
    ScriptReference value = ScriptReference::Take(PyObject_GetAttrString(object, name));
    if (!value) PyErr_Clear();
    return value;
}

bool IsBuiltinOfOneObject(PyObject* function) {
    return PyCFunction_Check(function) && (PyCFunction_GetFlags(function) & METH_O);
}

// The old object goes when the record is whole again.
void Store(PyObject*& field, ScriptReference& value) {
    value = ScriptReference::Take(std::exchange(field, value.Release()));
}

}  // namespace

bool FillClassRecord(ClassRecord& record, PyObject* script_class) {
    ScriptReference own_class = ScriptReference::Share(script_class);
    ScriptReference constructor;
    if (!PyClass_Check(script_class)) constructor = OptionalAttribute(script_class, "__new__");
    ScriptReference arguments = constructor ? ScriptReference::Take(PyTuple_Pack(1, script_class))
                                            : ScriptReference::Share(script_class);
    if (!arguments) return false;
    ScriptReference destructor = OptionalAttribute(script_class, "__swig_destroy__");

    record.destructor_takes_wrapped = !(destructor && IsBuiltinOfOneObject(destructor.Get()));
    Store(record.script_class, own_class);
    Store(record.constructor, constructor);
    Store(record.raw_arguments, arguments);
    Store(record.destructor, destructor);
    return true;
}

void ClearClassRecord(ClassRecord& record) {
    ScriptReference script_class, constructor, arguments, destructor;
    Store(record.script_class, script_class);
    Store(record.constructor, constructor);
    Store(record.raw_arguments, arguments);
    Store(record.destructor, destructor);
}

}  // namespace binding
