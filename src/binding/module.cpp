#include <Python.h>

#include "binding/constants.h"
#include "binding/method_table.h"
#include "binding/module_record.h"
#include "binding/module_types.h"

namespace {

// The module has none.
const binding::Constant kConstants[] = {{0, nullptr, 0, 0, nullptr, nullptr}};

}  // namespace

// What the interpreter calls on "import _vireon". An exception that creating the module leaves
// behind is the import's.
PyMODINIT_FUNC init_vireon() {
    // Native threads call scripts: the interpreter lock has to exist before any of them.
    PyEval_InitThreads();
    PyMethodDef* methods = binding::MethodTable();
    binding::CompleteDocumentation(methods, kConstants);
    PyObject* module = Py_InitModule4("_vireon", methods, nullptr, nullptr, PYTHON_API_VERSION);
    if (!module) return;
    binding::JoinFamily(binding::OwnModule());
    binding::InstallConstants(PyModule_GetDict(module), kConstants);
}
