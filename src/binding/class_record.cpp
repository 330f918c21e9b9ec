#include "binding/class_record.h"

#include <utility>

#include "engine/script_object.h"

namespace binding {

namespace {

ScriptObject OptionalAttribute(PyObject* object, const char* name) {
    ScriptObject value = ScriptObject::Steal(PyObject_GetAttrString(object, name));
    if (!value) PyErr_Clear();
    return value;
}

bool IsBuiltinOfOneObject(PyObject* function) {
    return PyCFunction_Check(function) && (PyCFunction_GetFlags(function) & METH_O);
}

// The old object goes when the record is whole again.
void Store(PyObject*& field, ScriptObject& value) {
    value = ScriptObject::Steal(std::exchange(field, value.Release()));
}

}  // namespace

bool FillClassRecord(ClassRecord& record, PyObject* script_class) {
    ScriptObject own_class = ScriptObject::Borrow(script_class);
    ScriptObject constructor;
    if (!PyClass_Check(script_class)) constructor = OptionalAttribute(script_class, "__new__");
    ScriptObject arguments = constructor ? ScriptObject::Steal(PyTuple_Pack(1, script_class))
                                         : ScriptObject::Borrow(script_class);
    if (!arguments) return false;
    ScriptObject destructor = OptionalAttribute(script_class, "__swig_destroy__");

    record.destructor_takes_wrapped = !(destructor && IsBuiltinOfOneObject(destructor.Get()));
    Store(record.script_class, own_class);
    Store(record.constructor, constructor);
    Store(record.raw_arguments, arguments);
    Store(record.destructor, destructor);
    return true;
}

void ClearClassRecord(ClassRecord& record) {
    ScriptObject script_class, constructor, arguments, destructor;
    Store(record.script_class, script_class);
    Store(record.constructor, constructor);
    Store(record.raw_arguments, arguments);
    Store(record.destructor, destructor);
}

}  // namespace binding
