#ifndef VIREON_BINDING_INTERPRETER_PENDING_EXCEPTION_H
#define VIREON_BINDING_INTERPRETER_PENDING_EXCEPTION_H

#include <Python.h>

namespace binding {

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
