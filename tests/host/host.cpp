// A host that gives each script an interpreter of its own, as media hosts do:
//
//   vireon_host --same|--own [--count N] [--rounds N] [--lives N] [--leave] [--executable FILE]
//       SCRIPT [ARGUMENT ...]
//   vireon_host --same|--own ... -c TEXT [ARGUMENT ...]
//
//   --same, --own  whether the thread that made the first interpreter makes all others too and runs
//                  their scripts, or a thread for each
//   --count        how many interpreters there are at once (1); each runs the script
//   --rounds       how often all of them are made and ended (1)
//   --lives        how often all of this is done between starting and ending Python (1)
//   --leave        they are not ended: that is left to the end of Python
//   --executable   what scripts are told that they are run by
//
// A script finds its number behind its name in sys.argv, if there are several interpreters, and may
// define two functions: the host calls waiting() until it is false, with the interpreter lock
// released in between, then finish(). The interpreter ends afterwards, once none of its callables
// is running. Exit code 0; what a script asked for by SystemExit; 1 after another exception; 3 when
// a script waits for too long.
#include <Python.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// Between two looks at what a script waits for.
constexpr std::chrono::milliseconds kLookInterval(2);
// Long enough for a checked build on a busy machine.
constexpr std::chrono::seconds kTimeLimit(100);
constexpr int kTooLate = 3;

struct Options {
    bool own_threads = false;
    bool leaves = false;
    int count = 1;
    int rounds = 1;
    int lives = 1;
    std::string executable;
    std::string name;
    std::string text;
    std::vector<std::string> arguments;
};

// The first code other than 0 that a script ended with.
std::atomic<int> exit_code{0};

void Report(int code) {
    int expected = 0;
    exit_code.compare_exchange_strong(expected, code);
}

[[noreturn]] void GiveUp(const char* what) {
    std::fprintf(stderr, "host: %s\n", what);
    std::fflush(stderr);
    std::_Exit(kTooLate);
}

// Not constant, since the interpreter's functions take it that way.
char sys_executable[] = "executable";

class Reference {
  public:
    explicit Reference(PyObject* object) : object_(object) {}
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;
    ~Reference() { Py_XDECREF(object_); }
    PyObject* Get() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

  private:
    PyObject* object_;
};

// Takes the exception that a script ended with: printed, unless it asked to end.
void ReportException() {
    if (!PyErr_ExceptionMatches(PyExc_SystemExit)) {
        PyErr_Print();
        Report(1);
        return;
    }
    PyObject* type = nullptr;
    PyObject* value = nullptr;
    PyObject* traceback = nullptr;
    PyErr_Fetch(&type, &value, &traceback);
    PyErr_NormalizeException(&type, &value, &traceback);
    const Reference code(value ? PyObject_GetAttrString(value, "code") : nullptr);
    // Like the interpreter: nothing means success, a text failure.
    const bool is_number = code && PyInt_Check(code.Get());
    const bool is_nothing = code.Get() == Py_None;
    Report(is_number ? static_cast<int>(PyInt_AsLong(code.Get())) : is_nothing ? 0 : 1);
    Py_XDECREF(type);
    Py_XDECREF(value);
    Py_XDECREF(traceback);
    PyErr_Clear();
}

PyObject* Globals() {
    return PyModule_GetDict(PyImport_AddModule("__main__"));
}

void RunText(const std::string& text, const std::string& name) {
    const Reference code(Py_CompileString(text.c_str(), name.c_str(), Py_file_input));
    const Reference result(
        code ? PyEval_EvalCode(reinterpret_cast<PyCodeObject*>(code.Get()), Globals(), Globals())
             : nullptr);
    if (!result) ReportException();
}

// Whether the script's function of that name gave something true; without one, false.
bool Ask(const char* name) {
    PyObject* const function = PyDict_GetItemString(Globals(), name);
    if (!function) return false;
    const Reference result(PyObject_CallObject(function, nullptr));
    if (result) return PyObject_IsTrue(result.Get()) == 1;
    ReportException();
    return false;
}

void LetOthersRun() {
    PyThreadState* const state = PyEval_SaveThread();
    std::this_thread::sleep_for(kLookInterval);
    PyEval_RestoreThread(state);
}

// One interpreter with its script. All on one thread, which holds the lock and has the
// interpreter's state as the current one; there may be others in between.
class Script {
  public:
    Script(const Options& options, int number) : options_(options) {
        state_ = Py_NewInterpreter();
        if (!state_) GiveUp("no interpreter");
        std::vector<std::string> texts{options.name};
        if (options.count > 1) texts.push_back(std::to_string(number));
        texts.insert(texts.end(), options.arguments.begin(), options.arguments.end());
        std::vector<char*> arguments;
        for (std::string& each : texts)
            arguments.push_back(each.data());
        if (!options.executable.empty()) {
            const Reference executable(PyString_FromString(options.executable.c_str()));
            PySys_SetObject(sys_executable, executable.Get());
        }
        const bool is_file = options.name != "-c";
        // As the interpreter does: a script may import what lies beside it.
        PySys_SetArgvEx(static_cast<int>(arguments.size()), arguments.data(), is_file);
        if (is_file) {
            const Reference name(PyString_FromString(options.name.c_str()));
            PyDict_SetItemString(Globals(), "__file__", name.Get());
        }
    }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    void Enter() { PyThreadState_Swap(state_); }
    void Run() { RunText(options_.text, options_.name); }
    bool IsWaiting() { return Ask("waiting"); }
    void Finish() {
        Ask("finish");
        RunText("import sys\nif 'threading' in sys.modules: sys.modules['threading']._shutdown()\n",
                "host");
    }
    // An interpreter must not end while one of its callables is running, which another thread's
    // state shows. No other thread makes one without the lock.
    bool IsBusy() const {
        return PyInterpreterState_ThreadHead(state_->interp) != state_ ||
               PyThreadState_Next(state_) != nullptr;
    }
    void End() { Py_EndInterpreter(state_); }

  private:
    const Options& options_;
    PyThreadState* state_;
};

// Calls condition until it is false, with the lock released in between.
template <typename Condition>
void WaitWhile(Condition condition) {
    const Clock::time_point limit = Clock::now() + kTimeLimit;
    while (condition()) {
        if (Clock::now() > limit) GiveUp("a script waits for too long");
        LetOthersRun();
    }
}

// One of several threads, each with an interpreter of its own.
void RunOnOwnThread(const Options& options, int number) {
    PyEval_AcquireLock();
    Script script(options, number);
    script.Run();
    WaitWhile([&script] { return script.IsWaiting(); });
    script.Finish();
    if (options.leaves) {
        PyThreadState_Swap(nullptr);
    } else {
        WaitWhile([&script] { return script.IsBusy(); });
        script.End();
    }
    PyEval_ReleaseLock();
}

void RunEachOnOwnThread(const Options& options) {
    PyThreadState* const state = PyEval_SaveThread();
    std::vector<std::thread> threads;
    for (int number = 0; number < options.count; ++number) {
        threads.emplace_back([&options, number] {
            for (int round = 0; round < options.rounds; ++round)
                RunOnOwnThread(options, number);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    PyEval_RestoreThread(state);
}

void RunAllOnThisThread(const Options& options) {
    PyThreadState* const state = PyThreadState_Get();
    for (int round = 0; round < options.rounds; ++round) {
        std::vector<std::unique_ptr<Script>> scripts;
        for (int number = 0; number < options.count; ++number) {
            scripts.push_back(std::make_unique<Script>(options, number));
            scripts.back()->Run();
        }
        for (const auto& script : scripts) {
            script->Enter();
            WaitWhile([&script] { return script->IsWaiting(); });
        }
        for (const auto& script : scripts) {
            script->Enter();
            script->Finish();
        }
        for (const auto& script : scripts) {
            if (options.leaves) break;
            script->Enter();
            WaitWhile([&script] { return script->IsBusy(); });
            script->End();
        }
        PyThreadState_Swap(state);
    }
}

void RunOneLife(const Options& options) {
    Py_DontWriteBytecodeFlag = 1;
    Py_InitializeEx(0);
    PyEval_InitThreads();
    if (options.own_threads) {
        RunEachOnOwnThread(options);
    } else {
        RunAllOnThisThread(options);
    }
    Py_Finalize();
}

std::string ReadFile(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    if (!file) GiveUp(("cannot read " + name).c_str());
    std::string text(std::istreambuf_iterator<char>(file), {});
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text + "\n";
}

Options ReadOptions(std::vector<std::string> words) {
    Options options;
    auto word = words.begin();
    const auto next = [&words, &word]() -> std::string {
        if (word == words.end()) GiveUp("an argument is missing");
        return *word++;
    };
    std::string name = next();
    for (; name.compare(0, 2, "--") == 0; name = next()) {
        if (name == "--own") {
            options.own_threads = true;
        } else if (name == "--leave") {
            options.leaves = true;
        } else if (name == "--executable") {
            options.executable = next();
        } else if (name == "--count") {
            options.count = std::atoi(next().c_str());
        } else if (name == "--rounds") {
            options.rounds = std::atoi(next().c_str());
        } else if (name == "--lives") {
            options.lives = std::atoi(next().c_str());
        } else if (name != "--same") {
            GiveUp(("there is no option " + name).c_str());
        }
    }
    // A host writes no bytecode anyway.
    if (name == "-B") name = next();
    options.name = name;
    options.text = name == "-c" ? next() + "\n" : ReadFile(name);
    options.arguments.assign(word, words.end());
    return options;
}

}  // namespace

int main(int count, char** arguments) {
    const Options options = ReadOptions({arguments + 1, arguments + count});
    for (int life = 0; life < options.lives; ++life)
        RunOneLife(options);
    return exit_code;
}
