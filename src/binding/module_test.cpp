#include "binding/interpreter/testing/embedded_interpreter.h"
#include "core/testing/failing_allocation.h"

PyMODINIT_FUNC init_vireon();

namespace {

[[maybe_unused]] const int module_is_built_in = PyImport_AppendInittab("_vireon", init_vireon);

// Each of these runs in a process of its own, in which the interpreter ends and starts again.

constexpr char kScript[] = R"(
import _vireon
engine = _vireon.new_Vireon()
worker = _vireon.new_CallbackTaskWorkerThread(engine)
def name_of_result():
    return type(_vireon.CallbackTaskWorkerThread_m_pVireon_get(worker)).__name__
before = name_of_result()
destroyed = []
class Engine(object):
    @staticmethod
    def __swig_destroy__(engine):
        destroyed.append(1)
        _vireon.delete_Vireon(engine)
_vireon.Vireon_swigregister(Engine)
after = name_of_result()
_vireon.delete_CallbackTaskWorkerThread(worker)
del engine
)";

void ImportAgain(const std::string& variable, const std::string& expected) {
    script::Run(kScript);
    Py_Finalize();
    Py_InitializeEx(0);
    script::Run(kScript);
    Py_Exit(script::Evaluate(variable) == expected ? 0 : 2);
}

TEST(ModuleDeathTest, FindsNoClassInTheNextInterpreter) {
    EXPECT_EXIT(ImportAgain("before", "'PySwigObject'"), testing::ExitedWithCode(0), "");
}

TEST(ModuleDeathTest, DressesResultsInTheNextInterpreter) {
    EXPECT_EXIT(ImportAgain("after", "'Engine'"), testing::ExitedWithCode(0), "");
}

TEST(ModuleDeathTest, DestroysInTheNextInterpreter) {
    EXPECT_EXIT(ImportAgain("destroyed", "[1]"), testing::ExitedWithCode(0), "");
}

// Each allocation fails once at the end of an interpreter that has a class.
void EndWithoutMemory() {
    PyThreadState* const first = PyThreadState_Get();
    RefuseEachAllocation(
        [] {
            PyThreadState* const state = Py_NewInterpreter();
            PyRun_SimpleString(
                "import _vireon\n"
                "class Engine(object): pass\n"
                "_vireon.Vireon_swigregister(Engine)\n");
            return state;
        },
        // Python knows no C++ exceptions.
        [](PyThreadState* state) noexcept { Py_EndInterpreter(state); },
        [](PyThreadState*, bool) {});
    PyThreadState_Swap(first);
    Py_Exit(0);
}

TEST(ModuleDeathTest, LetsClassesGoWithTheirInterpreterWithoutMemory) {
    EXPECT_EXIT(EndWithoutMemory(), testing::ExitedWithCode(0), "");
}

}  // namespace
