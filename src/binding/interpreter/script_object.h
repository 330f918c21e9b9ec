#ifndef VIREON_BINDING_INTERPRETER_SCRIPT_OBJECT_H
#define VIREON_BINDING_INTERPRETER_SCRIPT_OBJECT_H

#include <utility>

#include "binding/interpreter/interpreter_lock.h"

// One counted reference to a script object, or none. Made and dropped with the interpreter lock
// held; moving needs no lock. For a second reference, Borrow the object again.
class ScriptObject {
  public:
    ScriptObject() = default;
    // Takes the caller's reference over.
    static ScriptObject Steal(PyObject* object);
    // Adds a reference of its own.
    static ScriptObject Borrow(PyObject* object);
    ScriptObject(ScriptObject&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ScriptObject& operator=(ScriptObject&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~ScriptObject();

    PyObject* Get() const { return object_; }
    // Hands the reference to the caller.
    PyObject* Release() { return std::exchange(object_, nullptr); }
    explicit operator bool() const { return object_ != nullptr; }

  private:
    PyObject* object_ = nullptr;
};

#endif
