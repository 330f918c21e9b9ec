#include "binding/interpreter/testing/embedded_interpreter.h"

#include <dlfcn.h>
#include <errno.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "binding/interpreter/interpreter_lock.h"
#include "core/testing/failing_allocation.h"
#include "engine/protocol.h"
#include "engine/testing/search_answers.h"
#include "engine/testing/watched_calls.h"
#include "engine/vireon.h"

namespace {

// How many of the next thread states the interpreter has no memory for.
std::atomic<int> refused_thread_states{0};
// What this thread does when it has let the interpreter lock go.
thread_local std::function<void()> when_unlocked = [] {};

}  // namespace

// In front of the interpreter's own, also for its own calls.
extern "C" __attribute__((visibility("default"))) PyThreadState* PyThreadState_New(
    PyInterpreterState* interpreter) {
    using Function = PyThreadState* (*)(PyInterpreterState*);
    static const Function original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, __func__));
    if (refused_thread_states > 0 && refused_thread_states-- > 0) return nullptr;
    return original(interpreter);
}
extern "C" __attribute__((visibility("default"))) PyThreadState* PyEval_SaveThread() {
    using Function = PyThreadState* (*)();
    static const Function original = reinterpret_cast<Function>(dlsym(RTLD_NEXT, __func__));
    PyThreadState* const saved = original();
    when_unlocked();
    return saved;
}

namespace {

// Each in a process of its own, whose switches nobody has read yet and which may be crippled.

TEST(VireonProcessDeathTest, LogsItsLifeAtLevelFive) {
    EXPECT_EXIT(
        {
            setenv("VIREON_LOG", "5", 1);
            { const Vireon vireon; }
            exit(0);
        },
        testing::ExitedWithCode(0),
        "^\\[vireon\\] Vireon::Vireon Construct object in thread: [0-9]+\n"
        "\\[vireon\\] Vireon::~Vireon\n$");
}

TEST(VireonProcessDeathTest, IsSilentAtLevelFour) {
    EXPECT_EXIT(
        {
            setenv("VIREON_LOG", "4", 1);
            setenv("VIREON_TRACE", "1", 1);
            { const Vireon vireon; }
            exit(0);
        },
        testing::ExitedWithCode(0), "^$");
}

// From now on every such system call of this thread fails with that error.
bool Refuse(std::initializer_list<unsigned> calls, unsigned error) {
    std::vector<sock_filter> instructions = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const unsigned call : calls) {
        instructions.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1));
        instructions.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error));
    }
    instructions.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program = {static_cast<unsigned short>(instructions.size()),
                                instructions.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// Nothing leaves the machine by the loopback interface.
class LoopbackInterfaces {
  public:
    LoopbackInterfaces() {
        const NPT_IpAddress address(127, 0, 0, 1);
        interface_.AddAddress(NPT_NetworkInterfaceAddress(address, address, NPT_IpAddress(),
                                                          NPT_IpAddress(255, 0, 0, 0)));
        list_.Add(&interface_);
    }
    const NPT_List<NPT_NetworkInterface*>& Get() const { return list_; }

  private:
    NPT_NetworkInterface interface_{
        "if00", NPT_MacAddress(),
        NPT_NETWORK_INTERFACE_FLAG_BROADCAST | NPT_NETWORK_INTERFACE_FLAG_MULTICAST};
    NPT_List<NPT_NetworkInterface*> list_;
};

NPT_Result Process(Vireon& vireon, const char* name) {
    using namespace search_answers;
    const NPT_HttpRequest request(NPT_HttpUrl("239.255.255.250", 31288, "*"), "M-SEARCH",
                                  "HTTP/1.1");
    return vireon.ProcessSsdpSearchResponse(NPT_SUCCESS, request, NPT_HttpRequestContext(),
                                            Make(With(Complete(), "FriendlyName", name)).get());
}

void Collect(Vireon& vireon) {
    script::Run("names = []\ndef collect(event, device): names.append(device['friendlyName'])\n");
    vireon.SetCallback(script::Get("collect"));
}

void SearchWithoutPorts() {
    const LoopbackInterfaces loopback;
    Vireon vireon;
    vireon.SetInterVal(0.1f);
    if (vireon.SearchInterfaces(loopback.Get()) != Vireon::kSearchStarted) exit(2);
    if (!Refuse({__NR_bind}, EADDRINUSE)) exit(3);
    const zorvane::Int32 result = vireon.SearchInterfaces(loopback.Get());
    vireon.Stop();
    exit(result == 0 ? 0 : 4);
}

TEST(VireonProcessDeathTest, ReportsZeroWhenAMulticastSenderFindsNoPort) {
    EXPECT_EXIT(SearchWithoutPorts(), testing::ExitedWithCode(0), "");
}

// These two leave by _exit: the leak check at the end would want a thread too.
void SearchWithoutThreads() {
    const LoopbackInterfaces loopback;
    Vireon vireon;
    if (!Refuse({__NR_clone, __NR_clone3}, EAGAIN)) _exit(3);
    if (vireon.SearchInterfaces(loopback.Get()) != 0) _exit(4);
    if (Process(vireon, "nobody's") != NPT_ERROR_INVALID_STATE) _exit(5);
    vireon.Stop();
    _exit(0);
}

TEST(VireonProcessDeathTest, ReportsZeroAndQueuesNothingWithoutADispatchThread) {
    EXPECT_EXIT(SearchWithoutThreads(), testing::ExitedWithCode(0), "");
}

void SearchAgainWithoutThreads() {
    const LoopbackInterfaces loopback;
    Vireon vireon;
    Collect(vireon);
    if (vireon.SearchInterfaces(loopback.Get()) != Vireon::kSearchStarted) _exit(2);
    if (!Refuse({__NR_clone, __NR_clone3}, EAGAIN)) _exit(3);
    if (vireon.SearchInterfaces(loopback.Get()) != 0) _exit(4);
    if (Process(vireon, "Den") != NPT_SUCCESS) _exit(5);
    const bool is_found = script::BecomesTrue("names == ['Den']");
    vireon.Stop();
    _exit(is_found ? 0 : 6);
}

TEST(VireonProcessDeathTest, KeepsTheOldSearchWhenThereIsNoThreadForANewOne) {
    EXPECT_EXIT(SearchAgainWithoutThreads(), testing::ExitedWithCode(0), "");
}

void OverfillTheQueue() {
    setenv("VIREON_LOG", "3", 1);
    const auto answer = search_answers::Make({{"FriendlyName", "Den"}});
    const NPT_HttpUrl location("http://10.0.0.1:80/");
    const NPT_String usn("usn");
    {
        Vireon vireon;
        vireon.isClosed = true;  // nobody delivers
        vireon.SearchInterfaces(NPT_List<NPT_NetworkInterface*>());
        for (std::size_t count = 0; count < protocol::kQueueLimit + 10; ++count)
            vireon.InspectDevice(*answer, location, "abc", &usn, NPT_TimeInterval());
        vireon.Stop();
    }
    exit(0);
}

TEST(VireonProcessDeathTest, SaysOnceThatTheQueueIsFull) {
    EXPECT_EXIT(OverfillTheQueue(), testing::ExitedWithCode(0),
                "^\\[vireon\\] 65536 devices wait for the callable: the next are dropped\n$");
}

void OverfillQueuesWithoutMemory() {
    setenv("VIREON_LOG", "3", 1);
    const auto turn = std::make_shared<CallbackTaskWorkerThread::DeliveryTurn>(false);
    bool was_refused = true;
    for (long nth = 1; was_refused; ++nth) {
        CallbackTaskWorkerThread worker(nullptr, 0, turn);
        auto device = std::make_unique<ZoSsdpDeviceInfo>();
        const FailingAllocation failing(nth);
        try {
            worker.addTask(device.get());
            device.release();
        } catch (const std::bad_alloc&) {
        }
        was_refused = failing.HasHappened();
    }
    exit(0);
}

TEST(VireonProcessDeathTest, DestroysADroppedDeviceOnceThoughItCannotBeSaid) {
    EXPECT_EXIT(OverfillQueuesWithoutMemory(), testing::ExitedWithCode(0), "dropped\n$");
}

int CountDescriptors() {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        count += !entry.path().empty();
    return count;
}

TEST(VireonProcess, KeepsNoDescriptorsOfEarlierSearches) {
    const LoopbackInterfaces loopback;
    Vireon vireon;
    vireon.SetInterVal(30);
    const int before = CountDescriptors();
    for (int round = 0; round < 20; ++round) {
        vireon.isClosed = false;
        vireon.SearchInterfaces(loopback.Get());
        vireon.Stop();
    }
    EXPECT_LE(CountDescriptors(), before + 2);  // the last waker's
}

void SearchWithoutThreadsForSenders() {
    const LoopbackInterfaces loopback;
    Vireon vireon;
    vireon.SearchInterfaces(NPT_List<NPT_NetworkInterface*>());
    const int before = CountDescriptors();
    // The first time is when the new dispatch thread runs and the old one is waited for.
    when_unlocked = [] {
        if (!Refuse({__NR_clone, __NR_clone3}, EAGAIN)) _exit(3);
        when_unlocked = [] {};
    };
    if (vireon.SearchInterfaces(loopback.Get()) != Vireon::kSearchStarted) _exit(4);
    const int kept = CountDescriptors() - before;
    vireon.Stop();
    _exit(kept <= 2 ? 0 : 5);  // the waker's
}

TEST(VireonProcessDeathTest, KeepsNoSocketOfASenderWithoutAThread) {
    EXPECT_EXIT(SearchWithoutThreadsForSenders(), testing::ExitedWithCode(0), "");
}

// Or another program could take answers off it.
TEST(VireonProcess, SharesNoPortOfItsSenders) {
    const LoopbackInterfaces loopback;
    Vireon vireon;
    vireon.SetInterVal(30);
    vireon.SearchInterfaces(loopback.Get());
    int senders = 0;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        int type = 0;
        int shares = 0;
        socklen_t size = sizeof type;
        if (getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) != 0 || type != SOCK_DGRAM)
            continue;
        EXPECT_EQ(getsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &shares, &size), 0);
        EXPECT_EQ(shares, 0);
        ++senders;
    }
    EXPECT_EQ(senders, 2);
    vireon.Stop();
}

// What an ended thread leaves behind until it is waited for.
long GetAddressSpace() {
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * sysconf(_SC_PAGESIZE);
}

long GetStackSize() {
    pthread_attr_t attributes;
    std::size_t size = 0;
    pthread_attr_init(&attributes);
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_destroy(&attributes);
    return static_cast<long>(size);
}

TEST(VireonProcess, LetsThreadsThatEndedGoAtTheNextSearch) {
    const LoopbackInterfaces loopback;
    Vireon vireon;
    const auto search = [&] {
        vireon.isClosed = true;  // the two senders send once and end by themselves
        vireon.SearchInterfaces(loopback.Get());
        PyAutoUnlock2 unlocked;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    };
    for (int round = 0; round < 5; ++round)
        search();
    const long before = GetAddressSpace();
    for (int round = 0; round < 40; ++round)
        search();
    EXPECT_LT(GetAddressSpace() - before, 40 * GetStackSize());
    vireon.Stop();
}

TEST(VireonProcess, LosesOneDeviceToAThreadStateThatCannotBeMade) {
    Vireon vireon;
    Collect(vireon);
    vireon.SearchInterfaces(NPT_List<NPT_NetworkInterface*>());
    refused_thread_states = 1;
    Process(vireon, "lost");
    Process(vireon, "found");
    EXPECT_TRUE(script::BecomesTrue("names == ['found']"));
    EXPECT_EQ(refused_thread_states, 0);
    vireon.Stop();
}

// Whoever destroys a worker holds the interpreter lock first when the taker lets it go.
TEST(VireonProcess, LetsATakerLeaveWhoseWorkerIsDestroyedAsHeComes) {
    Vireon vireon;
    auto worker = std::make_unique<CallbackTaskWorkerThread>(&vireon);
    std::atomic<bool> is_coming{false};
    std::atomic<bool> has_left{false};
    std::thread taker([&] {
        PyAutoLock2 lock;
        when_unlocked = [] { std::this_thread::sleep_for(std::chrono::milliseconds(100)); };
        is_coming = true;
        EXPECT_EQ(worker->getTask(), nullptr);
        has_left = true;
    });
    while (!is_coming) {
        PyAutoUnlock2 unlocked;
        std::this_thread::yield();
    }
    worker.reset();
    EXPECT_TRUE(has_left);
    PyAutoUnlock2 unlocked;
    taker.join();
}

// The end of the dispatch thread before lets other scripts run.
TEST(VireonProcess, StartsNothingWhenItIsDestroyedAsItsOldDispatchThreadGoes) {
    const LoopbackInterfaces loopback;
    auto* const vireon = new Vireon;
    // Of a search that was stopped there is nobody left to wait for.
    for (int count = 0; count < 2; ++count) {
        vireon->SearchInterfaces({});
        vireon->Stop();
    }
    std::atomic<bool> is_coming{false};
    std::thread destroyer([vireon, &is_coming] {
        is_coming = true;
        const PyAutoLock2 lock;
        delete vireon;
    });
    while (!is_coming)
        std::this_thread::yield();
    // From "coming" to waiting for the lock nothing can be observed from here.
    when_unlocked = [] { std::this_thread::sleep_for(std::chrono::milliseconds(500)); };
    EXPECT_EQ(vireon->SearchInterfaces(loopback.Get()), 0);
    when_unlocked = [] {};
    PyAutoUnlock2 unlocked;
    destroyer.join();
}

// Each allocation of a second search is refused in turn; the first one's senders find on.
TEST(VireonProcess, LosesNoDeviceToASecondSearchThatFindsNoMemory) {
    const NPT_List<NPT_NetworkInterface*> none;
    Vireon vireon;
    Collect(vireon);
    bool was_refused = true;
    for (long nth = 1; was_refused; ++nth) {
        SCOPED_TRACE(nth);
        script::Run("del names[:]");
        vireon.isClosed = false;
        vireon.SearchInterfaces(none);
        {
            const FailingAllocation failing(nth);
            try {
                vireon.SearchInterfaces(none);
            } catch (const std::bad_alloc&) {
            }
            was_refused = failing.HasHappened();
        }
        Process(vireon, "Den");
        EXPECT_TRUE(script::BecomesTrue("names == ['Den']"));
        vireon.Stop();
    }
}

// Each allocation of a search is refused in turn. How many of them fail it without an exception?
int CountSearchesThatFailInSilence(bool are_there_ended_senders) {
    const LoopbackInterfaces loopback;
    int count = 0;
    bool was_refused = true;
    for (long nth = 1; was_refused; ++nth) {
        Vireon vireon;
        vireon.SetInterVal(0.01f);
        if (are_there_ended_senders) {
            vireon.SearchInterfaces(loopback.Get());
            vireon.isClosed = true;
            PyAutoUnlock2 unlocked;
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
        vireon.isClosed = false;
        try {
            const FailingAllocation failing(nth);
            const bool has_failed = vireon.SearchInterfaces({}) == 0;
            was_refused = failing.HasHappened();
            if (was_refused && has_failed) ++count;
        } catch (const std::bad_alloc&) {
        }
        vireon.Stop();
    }
    return count;
}

TEST(VireonProcess, SaysThatASearchFindsNoMemoryToTakeLeaveOfEndedSenders) {
    EXPECT_EQ(CountSearchesThatFailInSilence(true), CountSearchesThatFailInSilence(false));
}

// Each allocation of an engine's whole life is refused in turn, on the thread of its script. The
// leak check sees memory, this test the descriptors.
TEST(VireonProcess, LeavesNothingBehindWhateverAllocationFails) {
    const LoopbackInterfaces loopback;
    const int before = CountDescriptors();
    const long refused = RefuseEachAllocation([] { return std::unique_ptr<Vireon>(); },
                                              [&loopback](std::unique_ptr<Vireon>& vireon) {
                                                  vireon = std::make_unique<Vireon>();
                                                  vireon->SearchInterfaces(loopback.Get());
                                                  vireon->Stop();
                                              },
                                              [before](std::unique_ptr<Vireon>& vireon, bool) {
                                                  if (vireon) vireon->Stop();
                                                  vireon.reset();
                                                  ASSERT_EQ(CountDescriptors(), before);
                                              });
    EXPECT_GT(refused, 50);
}

PyObject* CountCall(PyObject* counter, PyObject*) {
    ++*static_cast<int*>(PyCObject_AsVoidPtr(counter));
    Py_RETURN_NONE;
}

PyMethodDef count_call = {"count_call", CountCall, METH_VARARGS, nullptr};

void CountCallsIn(Vireon& vireon, int& count) {
    script::ExpectLocked();
    PyObject* const counter = PyCObject_FromVoidPtr(&count, nullptr);
    PyObject* const callable = PyCFunction_New(&count_call, counter);
    vireon.SetCallback(callable);
    Py_DECREF(callable);
    Py_DECREF(counter);
}

// For at most ten seconds, in which scripts run.
void WaitForEventWaitBeyond(int waits) {
    for (int round = 0; round < 2000 && watched_calls::event_waits == waits; ++round)
        script::BecomesTrue("__import__('time').sleep(0.005) is None");
}

void SearchThroughTwoInterpreters() {
    int first = 0;
    int second = 0;
    Vireon vireon;
    CountCallsIn(vireon, first);
    int waits = watched_calls::event_waits;
    vireon.SearchInterfaces(NPT_List<NPT_NetworkInterface*>());
    WaitForEventWaitBeyond(waits);
    Py_Finalize();
    Py_InitializeEx(0);
    OpenInterpreterToThreads();
    // The dispatch thread waits again only once it has delivered what was queued.
    waits = watched_calls::event_waits;
    Process(vireon, "Den");
    WaitForEventWaitBeyond(waits);
    CountCallsIn(vireon, second);
    Process(vireon, "Attic");
    for (int round = 0; round < 2000 && second == 0; ++round)
        script::BecomesTrue("__import__('time').sleep(0.005) is None");
    vireon.Stop();
    Py_Exit(first == 0 && second == 1 ? 0 : 2);
}

// A host may end its interpreter and start another one, with an engine that was never stopped.
TEST(VireonProcessDeathTest, CallsNothingOfAnInterpreterThatHasEnded) {
    EXPECT_EXIT(SearchThroughTwoInterpreters(), testing::ExitedWithCode(0), "");
}

// The engine that a script's exit handler registration destroys.
Vireon* destroyed_by_script = nullptr;

PyObject* DestroyEngine(PyObject*, PyObject*) {
    delete std::exchange(destroyed_by_script, nullptr);
    Py_RETURN_NONE;
}

PyMethodDef destroy_engine = {"destroy_engine", DestroyEngine, METH_VARARGS, nullptr};

void SearchWhileScriptsDestroy() {
    PyObject* const function = PyCFunction_New(&destroy_engine, nullptr);
    PyDict_SetItemString(script::GetGlobals(), "destroy_engine", function);
    script::Run("import atexit\natexit.register = destroy_engine");
    destroyed_by_script = new Vireon;
    const LoopbackInterfaces loopback;
    exit(destroyed_by_script->SearchInterfaces(loopback.Get()) == 0 ? 0 : 2);
}

// A handler that was registered before the search runs when the interpreter is ending already.
void DestroyAtExit() {
    static bool was_told = false;
    static PyMethodDef destroy = {"destroy",
                                  [](PyObject*, PyObject*) -> PyObject* {
                                      const int before = watched_calls::event_sets;
                                      delete std::exchange(destroyed_by_script, nullptr);
                                      was_told = watched_calls::event_sets > before;
                                      Py_RETURN_NONE;
                                  },
                                  METH_NOARGS, nullptr};
    PyDict_SetItemString(script::GetGlobals(), "destroy", PyCFunction_New(&destroy, nullptr));
    script::Run("import atexit\natexit.register(destroy)");
    destroyed_by_script = new Vireon;
    destroyed_by_script->SearchInterfaces(NPT_List<NPT_NetworkInterface*>());
    Py_Finalize();
    _exit(was_told ? 0 : 2);
}

TEST(VireonProcessDeathTest, LetsItsThreadEndThoughItDoesNotWaitForIt) {
    EXPECT_EXIT(DestroyAtExit(), testing::ExitedWithCode(0), "");
}

// Registering with the interpreter's exit runs scripts, and lets other threads' scripts run.
TEST(VireonProcessDeathTest, StartsNothingWhenItIsDestroyedWhileItsSearchStarts) {
    EXPECT_EXIT(SearchWhileScriptsDestroy(), testing::ExitedWithCode(0), "");
}

// In a forked child, as a script's os.fork makes one.

// What a checked build has, and no other.
extern "C" __attribute__((weak)) void __asan_init();
extern "C" __attribute__((weak)) void __tsan_init();

// Whether the child of a process with several threads can allocate and start threads: the checkers
// lock their own tables like any other, and are forked as they are.
bool IsForkOfBusyThreadsSafe() {
    return !__asan_init && !__tsan_init;
}
bool IsForkOfThreadsSafe() {
    return !__tsan_init;
}
constexpr char kNoFork[] = "platform: a checker's own locks do not survive a fork";

// Runs a function in a forked child; whether it gave true there, in time.
bool IsTrueInChild(const std::function<bool()>& function) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        PyOS_AfterFork();
        _exit(function() ? 0 : 1);
    }
    PyAutoUnlock2 unlocked;
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class VireonInAForkedChild : public testing::Test {
  protected:
    VireonInAForkedChild() {
        Collect(*vireon_);
        vireon_->SearchInterfaces(loopback_.Get());
    }
    ~VireonInAForkedChild() override { vireon_->Stop(); }

    const LoopbackInterfaces loopback_;
    std::unique_ptr<Vireon> vireon_ = std::make_unique<Vireon>();
};

TEST_F(VireonInAForkedChild, IsStoppedAndDestroyedWithoutWaiting) {
    EXPECT_TRUE(IsTrueInChild([this] {
        vireon_->Stop();
        vireon_.reset();
        return true;
    }));
}

TEST_F(VireonInAForkedChild, IsDestroyedWithoutAStop) {
    EXPECT_TRUE(IsTrueInChild([this] {
        vireon_.reset();
        return true;
    }));
}

TEST_F(VireonInAForkedChild, IsDestroyedWithoutMemory) {
    EXPECT_TRUE(IsTrueInChild([this] {
        const FailingAllocation failing(1);
        vireon_.reset();
        return true;
    }));
}

TEST_F(VireonInAForkedChild, IsNotUsedByAWorkerOfTheParentsOnceItIsDestroyed) {
    const VireonLink link(vireon_.get());
    EXPECT_TRUE(IsTrueInChild([&] {
        vireon_->Stop();
        vireon_.reset();
        return !link.load();
    }));
}

TEST_F(VireonInAForkedChild, IsOfUseAgainAfterAnAllocationThatFailed) {
    constexpr long kMoreThanAStopMakes = 8;
    for (long nth = 1; nth <= kMoreThanAStopMakes; ++nth) {
        EXPECT_TRUE(IsTrueInChild([this, nth] {
            {
                const FailingAllocation failing(nth);
                try {
                    vireon_->Stop();
                } catch (const std::bad_alloc&) {
                }
                if (failing.HasHappened() && nth == kMoreThanAStopMakes) return false;
            }
            vireon_->Stop();
            vireon_.reset();
            return true;
        })) << nth;
    }
}

TEST_F(VireonInAForkedChild, SearchesAnew) {
    if (!IsForkOfThreadsSafe()) GTEST_SKIP() << kNoFork;
    EXPECT_TRUE(IsTrueInChild([this] {
        vireon_->SearchInterfaces(loopback_.Get());
        Process(*vireon_, "child's");
        const bool is_found = script::BecomesTrue("names == [\"child's\"]");
        vireon_->Stop();
        vireon_.reset();
        return is_found;
    }));
}

TEST_F(VireonInAForkedChild, MakesRoomForANewOne) {
    if (!IsForkOfThreadsSafe()) GTEST_SKIP() << kNoFork;
    EXPECT_TRUE(IsTrueInChild([this] {
        Vireon vireon;
        Collect(vireon);
        vireon.SearchInterfaces(loopback_.Get());
        Process(vireon, "new");
        const bool is_found = script::BecomesTrue("names == ['new']");
        vireon.Stop();
        return is_found;
    }));
}

TEST_F(VireonInAForkedChild, LeavesTheParentsSearchAlone) {
    EXPECT_TRUE(IsTrueInChild([this] {
        vireon_->Stop();
        return true;
    }));
    EXPECT_FALSE(vireon_->isClosed);
    Process(*vireon_, "Den");
    EXPECT_TRUE(script::BecomesTrue("names == ['Den']"));
}

TEST_F(VireonInAForkedChild, WaitsForNoAnswerThatAThreadOfTheParentIsTakingIn) {
    std::atomic<bool> is_inside{false};
    std::atomic<bool> may_leave{false};
    std::thread taking([&] {
        vireon_->GetLife()->Use([&](Vireon&) {
            is_inside = true;
            while (!may_leave)
                std::this_thread::yield();
        });
    });
    while (!is_inside)
        std::this_thread::yield();
    EXPECT_TRUE(IsTrueInChild([this] {
        vireon_->Stop();
        vireon_.reset();
        return true;
    }));
    may_leave = true;
    taking.join();
}

// The locks are the child's too, as the parent's threads held them.
TEST_F(VireonInAForkedChild, WaitsForNoLockThatAThreadOfTheParentHolds) {
    if (!IsForkOfBusyThreadsSafe()) GTEST_SKIP() << kNoFork;
    std::atomic<bool> is_done{false};
    std::vector<std::thread> busy;
    for (int count = 0; count < 2; ++count) {
        busy.emplace_back([this, &is_done] {
            while (!is_done)
                Process(*vireon_, "Den");
        });
    }
    for (int round = 0; round < 20; ++round) {
        EXPECT_TRUE(IsTrueInChild([this] {
            vireon_->SearchInterfaces(loopback_.Get());
            vireon_->Stop();
            vireon_.reset();
            return true;
        }));
    }
    is_done = true;
    for (std::thread& thread : busy)
        thread.join();
}

// Reads until every writer of the pipe has ended, for at most ten seconds.
std::string ReadToEnd(int read_end) {
    std::string text;
    char byte = 0;
    pollfd readable = {read_end, POLLIN, 0};
    while (poll(&readable, 1, 10000) == 1 && read(read_end, &byte, 1) == 1)
        text += byte;
    return readable.revents ? text : text + " and goes on";
}

// The child of a callable has the thread that delivers, and with it the parent's queue.
TEST(VireonProcess, EndsAChildThatReturnsFromTheCallable) {
    int pipe_ends[2];
    ASSERT_EQ(pipe(pipe_ends), 0);
    script::Run("import os, signal\npipe = " + std::to_string(pipe_ends[1]) +
                "\nnames, parent = [], os.getpid()\n"
                "def fork_once(event, device):\n"
                "    names.append(device['friendlyName'])\n"
                "    if len(names) == 1 and os.fork() == 0:\n"
                "        signal.alarm(20)\n"
                "        os.close(2)  # a checker's word on what the parent's threads own\n"
                "    if os.getpid() != parent: os.write(pipe, names[-1])\n");
    Vireon vireon;
    vireon.SetCallback(script::Get("fork_once"));
    vireon.SearchInterfaces(NPT_List<NPT_NetworkInterface*>());
    Process(vireon, "1");
    Process(vireon, "2");
    EXPECT_TRUE(script::BecomesTrue("names == ['1', '2']"));
    close(pipe_ends[1]);
    {
        PyAutoUnlock2 unlocked;
        EXPECT_EQ(ReadToEnd(pipe_ends[0]), "1");
        EXPECT_NE(wait(nullptr), -1);
    }
    close(pipe_ends[0]);
    vireon.Stop();
}

}  // namespace
