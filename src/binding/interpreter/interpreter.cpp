#include <Python.h>

#include "binding/interpreter/interpreter.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <utility>

#include "binding/interpreter/pending_exception.h"

namespace {

using Interpreters = std::vector<std::shared_ptr<Interpreter>>;

// Those that have not ended. Never destroyed: threads may look while the process exits.
Interpreters& LivingInterpreters() REQUIRES(interpreter_lock) {
    static auto& living = *new Interpreters;
    return living;
}

// What Python had when it ended and left behind. The next one's first interpreter has it behind
// itself in Python's list, which begins with the youngest.
PyInterpreterState* left_behind GUARDED_BY(interpreter_lock) = nullptr;
bool is_end_awaited GUARDED_BY(interpreter_lock) = false;

// The end of an interpreter begins with taking some of sys's attributes: this one is the first.
char first_taken[] = "path";
// And this dictionary is the one that other things can be put in: Python looks up paths in it, and
// nothing else.
char early_place[] = "path_importer_cache";

// Under which name the watches lie; each copy of the module has its own. Since it begins with no
// underscore it is among the last that go from sys.
const char* WatchName() {
    static char name[40];
    if (!*name) std::snprintf(name, sizeof name, "vireon at %p", static_cast<void*>(name));
    return name;
}

}  // namespace

// What lies in an interpreter to go with it.
struct Interpreter::Watch {
    static constexpr const char* kKind = "vireon watch";

    // Without memory there is no watch, and no exception.
    static void Put(const std::shared_ptr<Interpreter>& interpreter, PyObject* place,
                    PyCapsule_Destructor go, std::shared_ptr<Interpreter>& owned)
        REQUIRES(interpreter_lock) {
        if (!place || !PyDict_Check(place)) return;
        PyObject* const watch = PyCapsule_New(interpreter.get(), kKind, go);
        if (watch && PyDict_SetItemString(place, WatchName(), watch) == 0)
            owned = interpreter;
        else
            PyErr_Clear();
        Py_XDECREF(watch);
    }
    static Interpreter& Of(PyObject* watch) {
        return *static_cast<Interpreter*>(PyCapsule_GetPointer(watch, kKind));
    }
    static void PutEarly(const std::shared_ptr<Interpreter>& interpreter)
        REQUIRES(interpreter_lock) {
        Put(interpreter, PySys_GetObject(early_place), GoEarly, interpreter->held_by_early_watch_);
    }
    static void PutLate(const std::shared_ptr<Interpreter>& interpreter)
        REQUIRES(interpreter_lock) {
        Put(interpreter, interpreter->state_->sysdict, GoLate, interpreter->held_by_late_watch_);
    }

    static void GoEarly(PyObject* watch) REQUIRES(interpreter_lock) {
        const EntryFromInterpreter entry;
        const binding::PendingException pending;
        const auto interpreter = std::exchange(Of(watch).held_by_early_watch_, nullptr);
        // One that could not be put in. Or a script has cleared the cache: the next use puts
        // another watch in. A script that takes out entries until there are none would never end if
        // this did.
        if (!interpreter || interpreter->HasEnded() || interpreter->IsCurrentAndWhole()) return;
        interpreter->BeginToEnd();
    }
    static void GoLate(PyObject* watch) REQUIRES(interpreter_lock) {
        const EntryFromInterpreter entry;
        const binding::PendingException pending;
        const auto interpreter = std::exchange(Of(watch).held_by_late_watch_, nullptr);
        if (!interpreter || !interpreter->state_) return;
        if (!interpreter->IsCurrentAndWhole()) return interpreter->End();
        PutLate(interpreter);
    }
};

Interpreter::Interpreter(PyInterpreterState* state) : state_(state), modules_(state->modules) {
    Py_XINCREF(modules_);
}

std::shared_ptr<Interpreter> Interpreter::Find(PyInterpreterState* state) {
    for (const std::shared_ptr<Interpreter>& each : LivingInterpreters()) {
        if (each->state_ == state && !each->HasEnded()) return each;
    }
    return nullptr;
}

bool Interpreter::IsCurrentEnding() {
    const std::shared_ptr<Interpreter> current = Find(PyThreadState_GET()->interp);
    return current && current->is_ending_;
}

std::shared_ptr<Interpreter> Interpreter::Get(PyInterpreterState* state) {
    std::shared_ptr<Interpreter> known = Find(state);
    if (known) return known;
    EndUnnoticed();
    known.reset(new Interpreter(state));
    LivingInterpreters().push_back(known);
    return known;
}

std::shared_ptr<Interpreter> Interpreter::GetFirst() {
    PyInterpreterState* first = PyInterpreterState_Head();
    while (PyInterpreterState_Next(first) && PyInterpreterState_Next(first) != left_behind)
        first = PyInterpreterState_Next(first);
    return Get(first);
}

std::shared_ptr<Interpreter> Interpreter::GetCurrent() {
    std::shared_ptr<Interpreter> current = Get(PyThreadState_GET()->interp);
    if (!current->is_ending_) {
        const binding::PendingException pending;
        if (!current->held_by_early_watch_) Watch::PutEarly(current);
        if (!current->held_by_late_watch_) Watch::PutLate(current);
    }
    if (!is_end_awaited) is_end_awaited = Py_AtExit(EndAll) == 0;
    return current;
}

// Python's list and its table of modules tell whether a state is still the same interpreter's.
bool Interpreter::HasEnded() const {
    PyInterpreterState* each = state_ ? PyInterpreterState_Head() : nullptr;
    while (each && each != state_)
        each = PyInterpreterState_Next(each);
    return !each || each->modules != modules_;
}

bool Interpreter::IsFirst() const {
    return state_ && PyInterpreterState_Next(state_) == left_behind;
}

// When an interpreter ends, what the attribute was gives way to nothing.
bool Interpreter::IsCurrentAndWhole() const {
    if (PyThreadState_GET()->interp != state_) return false;
    PyObject* const value = PySys_GetObject(first_taken);
    return value && value != Py_None;
}

void Interpreter::Add(const std::shared_ptr<InterpreterGuest>& guest) {
    const auto is_over = [&guest](const std::weak_ptr<InterpreterGuest>& each) {
        const std::shared_ptr<InterpreterGuest> other = each.lock();
        return !other || other == guest;
    };
    guests_.erase(std::remove_if(guests_.begin(), guests_.end(), is_over), guests_.end());
    guests_.push_back(guest);
}

void Interpreter::SendGuestsAway(bool is_whole) {
    is_ending_ = true;
    for (const std::weak_ptr<InterpreterGuest>& each : std::exchange(guests_, {})) {
        const auto guest = each.lock();
        if (guest && is_whole) guest->LeaveInterpreter(*this);
        if (guest && !is_whole) guest->LoseInterpreter(*this);
    }
}

void Interpreter::BeginToEnd() {
    is_ending_ = true;
    // The one that ends with Python itself is no host's script: a host that starts Python again may
    // go on with its engines.
    if (Py_IsInitialized()) SendGuestsAway(!HasEnded());
    guests_.clear();
}

void Interpreter::CallAtEnd(std::function<void()> function) {
    end_functions_.push_back(std::move(function));
}

void Interpreter::End() {
    BeginToEnd();
    for (const auto& function : std::exchange(end_functions_, {})) {
        if (Py_IsInitialized()) function();
    }
    // A function's scripts may have come here before.
    if (!std::exchange(state_, nullptr)) return;
    Py_XDECREF(modules_);
    Interpreters& living = LivingInterpreters();
    const auto is_this = [this](const auto& each) { return each.get() == this; };
    living.erase(std::remove_if(living.begin(), living.end(), is_this), living.end());
}

// Those whose watches a script keeps.
void Interpreter::EndUnnoticed() {
    for (;;) {
        Interpreters& living = LivingInterpreters();
        const auto has_ended = [](const auto& each)
                                   REQUIRES(interpreter_lock) { return each->HasEnded(); };
        const auto found = std::find_if(living.begin(), living.end(), has_ended);
        if (found == living.end()) return;
        const std::shared_ptr<Interpreter> ended = *found;
        ended->End();
    }
}

// Python calls this last of all: it ends its first interpreter and leaves the others behind.
void Interpreter::EndAll() {
    is_end_awaited = false;
    left_behind = PyInterpreterState_Head();
    for (const auto& each : std::exchange(LivingInterpreters(), {})) {
        each->state_ = nullptr;
        each->SendGuestsAway(false);
    }
}
