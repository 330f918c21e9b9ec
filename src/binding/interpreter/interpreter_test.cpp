#include "binding/interpreter/interpreter.h"

#include <cstdlib>
#include <memory>
#include <string>

#include "binding/interpreter/testing/embedded_interpreter.h"
#include "binding/interpreter/testing/further_interpreter.h"

namespace {

// Notes what it is told, and whether the modules are still there then.
class Guest : public InterpreterGuest {
  public:
    void LeaveInterpreter(const Interpreter&) override {
        PyObject* const module = PyImport_AddModule("__main__");
        PyObject* const value = PyDict_GetItemString(PyModule_GetDict(module), "value");
        told += value && PyInt_Check(value) ? "left whole " : "left ";
    }
    void LoseInterpreter(const Interpreter&) override { told += "lost "; }

    std::string told;
};

class InterpreterRecord : public FurtherInterpreter {
  protected:
    InterpreterRecord() {
        PyRun_SimpleString("value = 7");
        record_->Add(guest_);
    }

    const std::shared_ptr<Interpreter> record_ = Interpreter::GetCurrent();
    const std::shared_ptr<Guest> guest_ = std::make_shared<Guest>();
};

TEST_F(InterpreterRecord, IsTheSameForAsLongAsTheInterpreterLives) {
    script::ExpectLocked();
    EXPECT_EQ(Interpreter::GetCurrent(), record_);
    EXPECT_EQ(record_->GetState(), state_->interp);
}

TEST_F(InterpreterRecord, IsAnotherInAnotherInterpreter) {
    script::ExpectLocked();
    PyThreadState_Swap(first_);
    EXPECT_NE(Interpreter::GetCurrent(), record_);
    EXPECT_TRUE(Interpreter::GetCurrent()->IsFirst());
    EXPECT_FALSE(record_->IsFirst());
}

TEST_F(InterpreterRecord, TellsItsGuestsWhileTheInterpreterIsWhole) {
    script::ExpectLocked();
    End();
    EXPECT_EQ(guest_->told, "left whole ");
    EXPECT_TRUE(record_->HasEnded());
}

TEST_F(InterpreterRecord, TellsAGuestThatWasAddedTwiceOnce) {
    script::ExpectLocked();
    record_->Add(guest_);
    End();
    EXPECT_EQ(guest_->told, "left whole ");
}

TEST_F(InterpreterRecord, KeepsNoGuest) {
    script::ExpectLocked();
    auto other = std::make_shared<Guest>();
    record_->Add(other);
    const std::weak_ptr<Guest> gone = other;
    other.reset();
    EXPECT_TRUE(gone.expired());
}

TEST_F(InterpreterRecord, GoesOnWhenAScriptClearsWhatShowsTheEnd) {
    script::ExpectLocked();
    PyRun_SimpleString(
        "import sys\n"
        "while sys.path_importer_cache: sys.path_importer_cache.popitem()\n"
        "for name in [name for name in vars(sys) if name.startswith('vireon')]: delattr(sys, "
        "name)\n");
    EXPECT_EQ(guest_->told, "");
    EXPECT_EQ(Interpreter::GetCurrent(), record_);
    End();
    EXPECT_EQ(guest_->told, "left whole ");
}

TEST_F(InterpreterRecord, NoticesTheEndLateWhenAScriptHasClearedWhatShowsItsBeginning) {
    script::ExpectLocked();
    PyRun_SimpleString("import sys; sys.path_importer_cache.clear()");
    End();
    EXPECT_EQ(guest_->told, "left ");
    EXPECT_TRUE(record_->HasEnded());
}

TEST_F(InterpreterRecord, CallsWhatWaitsForItsEndWhenTheModulesHaveGone) {
    script::ExpectLocked();
    std::string told;
    record_->CallAtEnd([this, &told] { told = guest_->told + "ended"; });
    PyThreadState* const state = state_;
    record_->CallAtEnd([state] { EXPECT_EQ(PyThreadState_Get(), state); });
    End();
    EXPECT_EQ(told, "left whole ended");
}

TEST_F(InterpreterRecord, SpeaksOfNoOtherInterpreter) {
    script::ExpectLocked();
    PyThreadState_Swap(first_);
    const auto guest = std::make_shared<Guest>();
    const std::shared_ptr<Interpreter> first = Interpreter::GetCurrent();
    first->Add(guest);
    End();
    EXPECT_EQ(guest->told, "");
    EXPECT_FALSE(first->HasEnded());
}

TEST_F(InterpreterRecord, EndsUnnoticedWhenAScriptKeepsWhatShowsTheEnd) {
    script::ExpectLocked();
    // A class outlives its interpreter until garbage is collected.
    PyRun_SimpleString("import sys\nclass Kept(object): copy = dict(vars(sys))");
    End();
    EXPECT_TRUE(record_->HasEnded());
    state_ = Py_NewInterpreter();
    EXPECT_NE(Interpreter::GetCurrent(), record_);
    EXPECT_EQ(guest_->told, "lost ");
}

// In a process of its own.
void EndPythonAroundIt() {
    script::ExpectLocked();
    const auto guest = std::make_shared<Guest>();
    const auto first_guest = std::make_shared<Guest>();
    PyThreadState* const first = PyThreadState_Get();
    Interpreter::GetCurrent()->Add(first_guest);
    Py_NewInterpreter();
    const std::shared_ptr<Interpreter> record = Interpreter::GetCurrent();
    record->Add(guest);
    PyThreadState_Swap(first);
    Py_Finalize();
    Py_InitializeEx(0);
    const bool is_first = Interpreter::GetCurrent()->IsFirst();
    // What Python has left behind of the other one keeps what lies in it, which is no leak of ours.
    std::_Exit(guest->told == "lost " && first_guest->told.empty() && record->HasEnded() && is_first
                   ? 0
                   : 2);
}

TEST(InterpreterRecordDeathTest, EndsWithPython) {
    EXPECT_EXIT(EndPythonAroundIt(), testing::ExitedWithCode(0), "");
}

}  // namespace
