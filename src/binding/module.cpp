#include <Python.h>

#include <new>

#include "binding/constants.h"
#include "binding/interpreter/interpreter_lock.h"
#include "binding/interpreter/pending_exception.h"
#include "binding/method_table.h"
#include "binding/module_family.h"
#include "binding/module_types.h"

namespace {

constexpr char kModuleName[] = "_vireon";

// The module has none.
const binding::Constant kConstants[] = {{0, nullptr, 0, 0, nullptr, nullptr}};

bool is_end_awaited GUARDED_BY(interpreter_lock) = false;

// A host may start the interpreter again and import the module anew.
void EndInterpreter() REQUIRES(interpreter_lock) {
    is_end_awaited = false;
    binding::ForgetClasses(binding::OwnModule());
}

// The interpreter has room for few such functions, so for one of ours only, however often the
// module is loaded. Without it a next interpreter finds the classes of this one.
void AwaitEnd() REQUIRES(interpreter_lock) {
    if (!is_end_awaited) is_end_awaited = Py_AtExit(EndInterpreter) == 0;
}

// Python keeps a module whose functions could not all be made, and the next import would find it.
void ForgetHalfMadeModule() REQUIRES(interpreter_lock) {
    const binding::PendingException pending;
    if (PyDict_DelItemString(PyImport_GetModuleDict(), kModuleName) != 0) PyErr_Clear();
}

}  // namespace

// What the interpreter calls on "import _vireon". An exception that creating the module leaves
// behind is the import's.
PyMODINIT_FUNC init_vireon() REQUIRES(interpreter_lock) {
    const EntryFromInterpreter entry;
    // Native threads call scripts. Not only once this copy of the module starts one: an engine of
    // another copy's may end here, and that has to know when the interpreter exits.
    try {
        OpenInterpreterToThreads();
    } catch (const std::bad_alloc&) {
        PyErr_NoMemory();
        return;
    }
    PyMethodDef* methods = binding::MethodTable();
    binding::CompleteDocumentation(methods, kConstants);
    PyObject* module = Py_InitModule4(kModuleName, methods, nullptr, nullptr, PYTHON_API_VERSION);
    if (!module) return ForgetHalfMadeModule();
    AwaitEnd();
    binding::JoinFamily(binding::OwnModule());
    binding::InstallConstants(PyModule_GetDict(module), kConstants);
}
