// Engines that further interpreters of the process have to do with.
#include <memory>
#include <string>
#include <utility>

#include "binding/interpreter/testing/embedded_interpreter.h"
#include "binding/interpreter/testing/further_interpreter.h"
#include "device/zo_ssdp_device_info.h"
#include "engine/testing/watched_calls.h"
#include "engine/vireon.h"

namespace {

// The engine's callable is the further interpreter's, which is current on the test's thread.
class VireonOfAnotherInterpreter : public FurtherInterpreter {
  protected:
    VireonOfAnotherInterpreter() {
        // What a script says in which interpreter: both have a module of that name.
        PyRun_SimpleString(
            "import sys\n"
            "class Callable(object):\n"
            "    def __call__(self, *_):\n"
            "        import sys as current\n"
            "        said.append('called here' if current is sys else 'called elsewhere')\n"
            "    def __del__(self):\n"
            "        import sys as current\n"
            "        said.append('let go here' if current is sys else 'let go elsewhere')\n"
            "said = []\n");
        SetCallable();
        PyThreadState_Swap(first_);
    }
    ~VireonOfAnotherInterpreter() override { vireon_.reset(); }

    void SetCallable() {
        script::ExpectLocked();
        const auto callable =
            ScriptObject::Steal(PyRun_String("Callable()", Py_eval_input, Globals(), Globals()));
        vireon_->SetCallback(callable.Get());
    }
    static PyObject* Globals() { return PyModule_GetDict(PyImport_AddModule("__main__")); }
    // What the callables of the further interpreter said.
    std::string Said() {
        PyThreadState* const current = PyThreadState_Swap(state_);
        std::string said = script::Evaluate("said");
        PyThreadState_Swap(current);
        return said;
    }

    std::unique_ptr<Vireon> vireon_ = std::make_unique<Vireon>();
};

TEST_F(VireonOfAnotherInterpreter, CallsThere) {
    ZoSsdpDeviceInfo device;
    vireon_->CallbacktoClient(&device);
    EXPECT_EQ(Said(), "['called here']");
    EXPECT_EQ(PyThreadState_Get(), first_);
}

TEST_F(VireonOfAnotherInterpreter, CallsBackThere) {
    script::ExpectLocked();
    ScriptObject::Steal(vireon_->CallbackWithoutArguments(""));
    vireon_->CallBack("i", 7);
    EXPECT_EQ(Said(), "['called here', 'called here']");
    EXPECT_EQ(PyThreadState_Get(), first_);
}

TEST_F(VireonOfAnotherInterpreter, LetsTheCallableGoThere) {
    vireon_.reset();
    EXPECT_EQ(Said(), "['let go here']");
    EXPECT_EQ(PyThreadState_Get(), first_);
}

TEST_F(VireonOfAnotherInterpreter, MovesToTheOneThatSetsAnotherCallable) {
    script::ExpectLocked();
    script::Run("called = []");
    vireon_->SetCallback(
        ScriptObject::Steal(PyObject_GetAttrString(script::Get("called"), "append")).Get());
    EXPECT_EQ(Said(), "['let go here']");
    End();
    EXPECT_FALSE(vireon_->isClosed);
    vireon_->CallBack("i", 7);
    EXPECT_EQ(script::Evaluate("called"), "[7]");
}

TEST_F(VireonOfAnotherInterpreter, IsClosedWhenThatEnds) {
    script::ExpectLocked();
    End();
    EXPECT_TRUE(vireon_->isClosed);
    vireon_->CallBack("i", 7);
    EXPECT_FALSE(vireon_->GetInterpreter());
}

TEST_F(VireonOfAnotherInterpreter, LetsItsThreadEndWhenThatEnds) {
    vireon_->SearchInterfaces(NPT_List<NPT_NetworkInterface*>());
    const int before = watched_calls::event_sets;
    End();
    EXPECT_GT(watched_calls::event_sets, before);
}

TEST_F(VireonOfAnotherInterpreter, ServesTheNextThatSetsACallable) {
    script::ExpectLocked();
    End();
    script::Run("called = []");
    vireon_->SetCallback(
        ScriptObject::Steal(PyObject_GetAttrString(script::Get("called"), "append")).Get());
    vireon_->CallBack("i", 7);
    EXPECT_EQ(script::Evaluate("called"), "[7]");
}

}  // namespace
