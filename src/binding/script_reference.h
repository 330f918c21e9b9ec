#ifndef VIREON_BINDING_SCRIPT_REFERENCE_H
#define VIREON_BINDING_SCRIPT_REFERENCE_H

#include <Python.h>

#include <utility>

namespace binding {

// One owned reference to a script object, or none. Needs the interpreter lock for everything but a
// move.
class ScriptReference {
  public:
    ScriptReference() = default;
    // Takes over a reference that the caller owns, as interpreter calls return it; null is none.
    static ScriptReference Take(PyObject* owned) { return ScriptReference(owned); }
    // Takes a reference of its own.
    static ScriptReference Share(PyObject* borrowed) {
        Py_XINCREF(borrowed);
        return ScriptReference(borrowed);
    }
    ScriptReference(ScriptReference&& other) noexcept : object_(other.Release()) {}
    // The old object goes last: its end may run script code that comes back here.
    ScriptReference& operator=(ScriptReference&& other) noexcept {
        PyObject* old = std::exchange(object_, other.Release());
        Py_XDECREF(old);
        return *this;
    }
    ~ScriptReference() { Py_XDECREF(object_); }

    PyObject* Get() const { return object_; }
    // Hands the reference to the caller.
    PyObject* Release() { return std::exchange(object_, nullptr); }
    explicit operator bool() const { return object_ != nullptr; }

  private:
    explicit ScriptReference(PyObject* owned) : object_(owned) {}

    PyObject* object_ = nullptr;
};

// Sets a pending exception aside and puts it back at the end of the scope, in place of whatever was
// raised meanwhile.
class PendingException {
  public:
    PendingException() { PyErr_Fetch(&type_, &value_, &traceback_); }
    PendingException(const PendingException&) = delete;
    PendingException& operator=(const PendingException&) = delete;
    ~PendingException() { PyErr_Restore(type_, value_, traceback_); }

  private:
    PyObject* type_ = nullptr;
    PyObject* value_ = nullptr;
    PyObject* traceback_ = nullptr;
};

}  // namespace binding

#endif
