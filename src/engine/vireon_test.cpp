#include "binding/interpreter/testing/embedded_interpreter.h"

#include "engine/vireon.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "binding/interpreter/interpreter_lock.h"
#include "engine/protocol.h"
#include "engine/testing/search_answers.h"

namespace {

using Clock = std::chrono::steady_clock;
using search_answers::Complete;
using search_answers::kDeviceType;
using search_answers::With;
using search_answers::Without;
using std::chrono::milliseconds;

// How much slower than it should be a checked build on a busy machine may be.
constexpr int kTimeFactor = 20;

// The loopback interface as one that a search goes out on: nothing leaves the machine.
class LoopbackInterfaces {
  public:
    LoopbackInterfaces()
        : interface_("if00", NPT_MacAddress(),
                     NPT_NETWORK_INTERFACE_FLAG_BROADCAST | NPT_NETWORK_INTERFACE_FLAG_MULTICAST) {
        interface_.AddAddress(
            NPT_NetworkInterfaceAddress(NPT_IpAddress(127, 0, 0, 1), NPT_IpAddress(127, 0, 0, 1),
                                        NPT_IpAddress(), NPT_IpAddress(255, 0, 0, 0)));
        list_.Add(&interface_);
    }
    const NPT_List<NPT_NetworkInterface*>& Get() const { return list_; }

  private:
    NPT_NetworkInterface interface_;
    NPT_List<NPT_NetworkInterface*> list_;
};

class VireonTest : public testing::Test {
  protected:
    VireonTest() {
        script::Run(
            "import gc, sys, threading, time\n"
            "calls = []\n"
            "def record(*arguments):\n"
            "    calls.append(arguments)\n"
            "    return 'result'\n"
            "is_inside, may_leave = threading.Event(), threading.Event()\n"
            "def slow(event, device):\n"
            "    calls.append((event, device))\n"
            "    is_inside.set()\n"
            "    may_leave.wait(10)\n");
        vireon_->SetInterVal(0.2f);
    }
    ~VireonTest() override {
        if (vireon_) vireon_->Stop();
    }

    NPT_Result Process(const search_answers::Headers& headers, NPT_UInt32 status = 200) {
        NPT_HttpRequestContext context;
        context.SetRemoteAddress(NPT_SocketAddress(NPT_IpAddress(192, 168, 1, 20), 31288));
        const auto answer = search_answers::Make(headers, status);
        return vireon_->ProcessSsdpSearchResponse(NPT_SUCCESS, request_, context, answer.get());
    }
    void StartDispatchOnly() { vireon_->SearchInterfaces(NPT_List<NPT_NetworkInterface*>()); }
    static void LetScriptsRun(milliseconds time) {
        PyAutoUnlock2 unlocked;
        std::this_thread::sleep_for(time);
    }
    // For at most ten seconds.
    static void WaitUntil(const std::string& expression) {
        EXPECT_TRUE(script::BecomesTrue(expression)) << expression;
    }
    static std::string GetNames() {
        return script::Evaluate("[call[1]['friendlyName'] for call in calls]");
    }
    std::string CallBack(const char* format) {
        script::ExpectLocked();
        PyObject* const result = vireon_->CallbackWithoutArguments(format);
        EXPECT_FALSE(PyErr_Occurred());
        const std::string text = result ? PyString_AsString(result) : "null";
        Py_XDECREF(result);
        return text;
    }

    const NPT_HttpRequest request_{NPT_HttpUrl("239.255.255.250", 31288, "*"), "M-SEARCH",
                                   "HTTP/1.1"};
    const LoopbackInterfaces loopback_;
    std::unique_ptr<Vireon> vireon_ = std::make_unique<Vireon>();
};

// The callable

TEST_F(VireonTest, HoldsOneReferenceToTheCallable) {
    PyObject* const callable = script::Get("record");
    const Py_ssize_t before = Py_REFCNT(callable);
    vireon_->SetCallback(callable);
    EXPECT_EQ(Py_REFCNT(callable), before + 1);
    vireon_->SetCallback(callable);
    EXPECT_EQ(Py_REFCNT(callable), before + 1);
    vireon_->SetCallback(Py_None);
    EXPECT_EQ(Py_REFCNT(callable), before);
    vireon_->SetCallback(callable);
    vireon_->SetCallback(nullptr);
    EXPECT_EQ(Py_REFCNT(callable), before);
    vireon_->SetCallback(callable);
    vireon_.reset();
    EXPECT_EQ(Py_REFCNT(callable), before);
}

TEST_F(VireonTest, HoldsNoReferenceToNone) {
    script::ExpectLocked();
    const Py_ssize_t before = Py_REFCNT(Py_None);
    vireon_->SetCallback(Py_None);
    EXPECT_EQ(Py_REFCNT(Py_None), before);
}

TEST_F(VireonTest, DropsTheOldCallableWhenTheNewOneIsInPlace) {
    // The old callable's end calls back into the engine.
    static Vireon* engine;
    engine = vireon_.get();
    static PyMethodDef reset = {"reset",
                                [](PyObject*, PyObject*) -> PyObject* {
                                    engine->SetCallback(script::Get("record"));
                                    Py_RETURN_NONE;
                                },
                                METH_NOARGS, nullptr};
    PyObject* const function = PyCFunction_New(&reset, nullptr);
    PyDict_SetItemString(script::GetGlobals(), "reset", function);
    Py_DECREF(function);
    script::Run(
        "class Old(object):\n"
        "    def __call__(self, *arguments): pass\n"
        "    def __del__(self, reset=reset): reset()\n"
        "old = Old()\n");
    vireon_->SetCallback(script::Get("old"));
    script::Run("del old");
    vireon_->SetCallback(nullptr);
    CallBack("i");
    EXPECT_EQ(script::Evaluate("calls"), "[(0,)]");
}

TEST_F(VireonTest, CallsWithAOneElementTupleForOneLetter) {
    vireon_->SetCallback(script::Get("record"));
    PyObject* const list = script::Get("calls");
    vireon_->CallBack("O", Py_True);
    vireon_->CallBack("s", "text");
    EXPECT_EQ(PyList_Size(list), 2);
    EXPECT_EQ(script::Evaluate("calls"), "[(True,), ('text',)]");
}

TEST_F(VireonTest, CallsWithATupleOfAsManyElementsAsLetters) {
    vireon_->SetCallback(script::Get("record"));
    vireon_->CallBack("sO", "text", Py_True);
    vireon_->CallBack("(sid)", "text", 7, 0.5);
    EXPECT_EQ(script::Evaluate("calls"), "[('text', True), ('text', 7, 0.5)]");
}

TEST_F(VireonTest, CallsWithoutArgumentsForANullOrEmptyFormat) {
    vireon_->SetCallback(script::Get("record"));
    vireon_->CallBack(nullptr);
    vireon_->CallBack("");
    EXPECT_EQ(script::Evaluate("calls"), "[(), ()]");
}

TEST_F(VireonTest, CallsWithNullsAndZeroesWhenThereAreNoArguments) {
    vireon_->SetCallback(script::Get("record"));
    EXPECT_EQ(CallBack("i"), "result");
    EXPECT_EQ(CallBack("sid"), "result");
    EXPECT_EQ(CallBack(nullptr), "result");
    EXPECT_EQ(CallBack(""), "result");
    EXPECT_EQ(script::Evaluate("calls"), "[(0,), (None, 0, 0.0), (), ()]");
}

TEST_F(VireonTest, PrintsWhatCannotBeBuiltWithoutArgumentsAndDoesNotCall) {
    vireon_->SetCallback(script::Get("record"));
    testing::internal::CaptureStderr();
    for (const char* format : {"O", "sO", "O&", "D", "(", ")", "%s", "x", "{ii}", "[i]"})
        EXPECT_EQ(CallBack(format), "null") << format;
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(script::Evaluate("calls"), "[]");
}

TEST_F(VireonTest, DoesNothingWithoutACallable) {
    script::ExpectLocked();
    vireon_->CallBack("s", "text");
    EXPECT_EQ(CallBack("s"), "null");
    ZoSsdpDeviceInfo device;
    vireon_->CallbacktoClient(&device);
    EXPECT_FALSE(PyErr_Occurred());
}

TEST_F(VireonTest, HandsADeviceToTheCallable) {
    vireon_->SetCallback(script::Get("record"));
    ZoSsdpDeviceInfo device(NPT_HttpUrl("http://10.0.0.1:80/d.xml"), "abc", NPT_TimeInterval(60.0),
                            "usn", "Den");
    vireon_->CallbacktoClient(&device);
    EXPECT_EQ(script::Evaluate("len(calls), calls[0][0], len(calls[0][1])"),
              "(1, 'Update Service', 15)");
    EXPECT_EQ(GetNames(), "['Den']");
}

TEST_F(VireonTest, IgnoresANullDevice) {
    vireon_->SetCallback(script::Get("record"));
    vireon_->CallbacktoClient(nullptr);
    EXPECT_EQ(script::Evaluate("calls"), "[]");
}

// Makes drop() a function of scripts that leaves the engine without a callable.
void LetScriptsDropTheCallable(Vireon& vireon) {
    static Vireon* engine;
    engine = &vireon;
    static PyMethodDef drop = {"drop",
                               [](PyObject*, PyObject*) -> PyObject* {
                                   script::ExpectLocked();
                                   engine->SetCallback(nullptr);
                                   Py_RETURN_NONE;
                               },
                               METH_NOARGS, nullptr};
    PyObject* const function = PyCFunction_New(&drop, nullptr);
    PyDict_SetItemString(script::GetGlobals(), "drop", function);
    Py_DECREF(function);
}

TEST_F(VireonTest, KeepsTheCallableForTheCallThatReplacesIt) {
    LetScriptsDropTheCallable(*vireon_);
    script::Run(
        "class Once(object):\n"
        "    def __call__(self, *arguments):\n"
        "        drop()\n"
        "        gc.collect()\n"
        "        calls.append(self.__class__.__name__)\n"
        "once = Once()\n");
    vireon_->SetCallback(script::Get("once"));
    script::Run("del once");
    vireon_->CallBack("i", 1);
    vireon_->CallBack("i", 1);
    EXPECT_EQ(script::Evaluate("calls"), "['Once']");
}

TEST_F(VireonTest, KeepsTheCallableForTheDeviceThatReplacesIt) {
    LetScriptsDropTheCallable(*vireon_);
    script::Run(
        "import weakref\n"
        "def once(event, device):\n"
        "    drop()\n"
        "    calls.append(reference() is not None)\n"
        "reference = weakref.ref(once)\n");
    vireon_->SetCallback(script::Get("once"));
    script::Run("del once");
    ZoSsdpDeviceInfo device;
    vireon_->CallbacktoClient(&device);
    EXPECT_EQ(script::Evaluate("calls"), "[True]");
}

// Answers

TEST_F(VireonTest, QueuesARecordForAnAcceptedAnswer) {
    vireon_->SetCallback(script::Get("record"));
    StartDispatchOnly();
    EXPECT_EQ(Process(Complete()), NPT_SUCCESS);
    WaitUntil("len(calls) == 1");
    EXPECT_EQ(script::Evaluate("calls[0][1]['usn']"),
              std::string("'uuid:abc::") + kDeviceType + "'");
    EXPECT_EQ(script::Evaluate("calls[0][1]['location']"),
              "'http://192.168.1.20:8080/description.xml?a=b'");
}

TEST_F(VireonTest, DoesNotSuppressDuplicates) {
    vireon_->SetCallback(script::Get("record"));
    StartDispatchOnly();
    for (int count = 0; count < 3; ++count)
        EXPECT_EQ(Process(Complete()), NPT_SUCCESS);
    WaitUntil("len(calls) == 3");
}

TEST_F(VireonTest, RefusesBadAnswers) {
    vireon_->SetCallback(script::Get("record"));
    StartDispatchOnly();
    const struct {
        const char* what;
        search_answers::Headers headers;
        NPT_UInt32 status;
        NPT_Result result;
    } cases[] = {
        {"status 0", Complete(), 0, NPT_FAILURE},
        {"status 199", Complete(), 199, NPT_FAILURE},
        {"status 300", Complete(), 300, NPT_FAILURE},
        {"status 404", Complete(), 404, NPT_FAILURE},
        {"no ST", Without(Complete(), "ST"), 200, NPT_ERROR_INVALID_ARGUMENT},
        {"no USN", Without(Complete(), "USN"), 200, NPT_ERROR_INVALID_ARGUMENT},
        {"no EXT", Without(Complete(), "EXT"), 200, NPT_ERROR_INVALID_ARGUMENT},
        {"another USN", With(Complete(), "USN", "uuid:abc"), 200, NPT_FAILURE},
        {"another ST", With(Complete(), "ST", "upnp:rootdevice"), 200, NPT_FAILURE},
        {"no location", Without(Complete(), "LOCATION"), 200, NPT_ERROR_INVALID_ARGUMENT},
        {"a bad location", With(Complete(), "LOCATION", "den"), 200, NPT_FAILURE},
        {"no friendly name", Without(Complete(), "FriendlyName"), 200, NPT_FAILURE},
        {"another device",
         With(With(Complete(), "ST", "upnp:rootdevice"), "USN", "uuid:abc::upnp:rootdevice"), 200,
         NPT_SUCCESS},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        EXPECT_EQ(Process(test.headers, test.status), test.result);
    }
    EXPECT_EQ(Process(With(Complete(), "FriendlyName", "last"), 299), NPT_SUCCESS);
    WaitUntil("len(calls) > 0");
    EXPECT_EQ(GetNames(), "['last']");
}

TEST_F(VireonTest, PassesATransportFailureOn) {
    const NPT_HttpRequestContext context;
    EXPECT_EQ(vireon_->ProcessSsdpSearchResponse(NPT_ERROR_TIMEOUT, request_, context, nullptr),
              NPT_ERROR_TIMEOUT);
    EXPECT_EQ(vireon_->ProcessSsdpSearchResponse(NPT_SUCCESS, request_, context, nullptr),
              NPT_ERROR_INVALID_ARGUMENT);
}

TEST_F(VireonTest, DestroysTheRecordWhenNoSearchWasStarted) {
    EXPECT_EQ(Process(Complete()), NPT_ERROR_INVALID_STATE);
}

TEST_F(VireonTest, RefusesANullUsnAndTakesANullUuid) {
    StartDispatchOnly();
    const auto answer = search_answers::Make(Complete());
    const NPT_HttpUrl location("http://10.0.0.1:80/");
    const NPT_String usn("usn");
    EXPECT_EQ(vireon_->InspectDevice(*answer, location, "abc", nullptr, NPT_TimeInterval()),
              NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(vireon_->InspectDevice(*answer, location, nullptr, &usn, NPT_TimeInterval()),
              NPT_SUCCESS);
    EXPECT_EQ(vireon_->InspectDevice(*answer, NPT_HttpUrl(), "abc", &usn, NPT_TimeInterval()),
              NPT_FAILURE);
    EXPECT_EQ(vireon_->InspectDevice(*answer, NPT_HttpUrl(), "abc", nullptr, NPT_TimeInterval()),
              NPT_FAILURE);
}

TEST_F(VireonTest, ReplacesALoopbackHostByTheResponder) {
    vireon_->SetCallback(script::Get("record"));
    StartDispatchOnly();
    EXPECT_EQ(Process(With(Complete(), "LOCATION", "http://localhost:8080/d.xml")), NPT_SUCCESS);
    WaitUntil("len(calls) == 1");
    EXPECT_EQ(script::Evaluate("calls[0][1]['location']"), "'http://192.168.1.20:8080/d.xml'");
}

// Searching and stopping

TEST_F(VireonTest, ReportsAStartedSearch) {
    EXPECT_EQ(Vireon::kSearchStarted, 679481088);
    EXPECT_EQ(vireon_->SearchInterfaces(NPT_List<NPT_NetworkInterface*>()), 679481088);
    EXPECT_EQ(vireon_->SearchInterfaces(loopback_.Get()), 679481088);
}

// Whoever closes a window waits for this. The sixteen senders' waits are ended at once, whatever
// their interval; the rest is what a busy machine takes.
// A thread that draws ports has the numbers of every other one, and each search takes one port.
TEST_F(VireonTest, FindsPortsHoweverManyThreadsBeginASearch) {
    const LoopbackInterfaces loopback;
    std::vector<std::unique_ptr<Vireon>> engines(protocol::kBindAttempts + 4);
    for (std::unique_ptr<Vireon>& engine : engines) {
        engine = std::make_unique<Vireon>();
        zorvane::Int32 result = 0;
        PyAutoUnlock2 unlocked;
        std::thread([&] {
            const PyAutoLock2 lock;
            result = engine->SearchInterfaces(loopback.Get());
        }).join();
        EXPECT_EQ(result, Vireon::kSearchStarted);
    }
    for (const std::unique_ptr<Vireon>& engine : engines)
        engine->Stop();
}

TEST_F(VireonTest, StopsAtOnceWhateverTheInterval) {
    for (const float interval : {30.0f, 0.0f, -1.0f, 4e6f, std::numeric_limits<float>::quiet_NaN(),
                                 std::numeric_limits<float>::infinity()}) {
        SCOPED_TRACE(interval);
        vireon_->isClosed = false;
        vireon_->SetInterVal(interval);
        for (int count = 0; count < 8; ++count)
            vireon_->SearchInterfaces(loopback_.Get());
        LetScriptsRun(milliseconds(50));
        const Clock::time_point start = Clock::now();
        vireon_->Stop();
        EXPECT_LT(Clock::now() - start, milliseconds(50) * kTimeFactor);
        EXPECT_TRUE(vireon_->isClosed);
    }
}

// The quickest of some, since what else the machine does only adds.
TEST_F(VireonTest, TakesNoTimeOfItsOwnToStop) {
    Clock::duration quickest = Clock::duration::max();
    for (int round = 0; round < 10; ++round) {
        vireon_->isClosed = false;
        StartDispatchOnly();
        const Clock::time_point start = Clock::now();
        vireon_->Stop();
        quickest = std::min(quickest, Clock::now() - start);
    }
    EXPECT_LT(quickest, milliseconds(100));
}

TEST_F(VireonTest, StopsThoughItIsOpenedAgainMeanwhile) {
    vireon_->SetInterVal(30);
    vireon_->SetCallback(script::Get("slow"));
    vireon_->SearchInterfaces(loopback_.Get());
    EXPECT_EQ(Process(Complete()), NPT_SUCCESS);
    WaitUntil("is_inside.is_set()");
    std::thread opener([this] {
        while (!vireon_->isClosed)
            std::this_thread::yield();
        vireon_->isClosed = false;
        PyAutoLock2 lock;
        script::Run("may_leave.set()");
    });
    vireon_->Stop();
    PyAutoUnlock2 unlocked;
    opener.join();
}

TEST_F(VireonTest, MayBeStoppedBeforeAnySearchAndTwice) {
    vireon_->Stop();
    vireon_->Stop();
    vireon_->SearchInterfaces(loopback_.Get());
    vireon_->Stop();
    vireon_->Stop();
}

TEST_F(VireonTest, MayBeStoppedByManyThreadsAtOnce) {
    vireon_->SearchInterfaces(loopback_.Get());
    PyAutoUnlock2 unlocked;
    std::vector<std::thread> stoppers;
    for (int count = 0; count < 4; ++count) {
        stoppers.emplace_back([this, count] {
            if (count % 2) {
                PyAutoLock2 lock;
                vireon_->Stop();
            } else {
                vireon_->Stop();
            }
        });
    }
    for (std::thread& stopper : stoppers)
        stopper.join();
}

TEST_F(VireonTest, LetsScriptsRunWhileItStops) {
    vireon_->SetCallback(script::Get("slow"));
    StartDispatchOnly();
    EXPECT_EQ(Process(Complete()), NPT_SUCCESS);
    WaitUntil("is_inside.is_set()");
    std::thread releaser([] {
        PyAutoLock2 lock;
        script::Run("may_leave.set()");
    });
    vireon_->Stop();  // waits for the callback, which waits for the other thread
    EXPECT_TRUE(IsCurrentThreadHoldPythonGIL2());
    releaser.join();
}

TEST_F(VireonTest, SearchesAgainAfterAStopOnlyWhenReopened) {
    vireon_->SetCallback(script::Get("record"));
    vireon_->Stop();
    StartDispatchOnly();
    EXPECT_EQ(Process(Complete()), NPT_SUCCESS);
    LetScriptsRun(milliseconds(100));
    EXPECT_EQ(script::Evaluate("calls"), "[]");
    vireon_->isClosed = false;
    StartDispatchOnly();
    WaitUntil("len(calls) == 1");
}

TEST_F(VireonTest, DeliversWhatASecondSearchInherits) {
    vireon_->SetCallback(script::Get("slow"));
    StartDispatchOnly();
    Process(With(Complete(), "FriendlyName", "first"));
    WaitUntil("is_inside.is_set()");
    Process(With(Complete(), "FriendlyName", "second"));
    Process(With(Complete(), "FriendlyName", "third"));
    script::Run("may_leave.set()");
    StartDispatchOnly();
    Process(With(Complete(), "FriendlyName", "fourth"));
    WaitUntil("len(calls) == 4");
    EXPECT_EQ(GetNames(), "['first', 'second', 'third', 'fourth']");
}

TEST_F(VireonTest, DeliversNothingThatWasFoundBeforeAStop) {
    vireon_->SetCallback(script::Get("slow"));
    StartDispatchOnly();
    Process(With(Complete(), "FriendlyName", "first"));
    WaitUntil("is_inside.is_set()");
    Process(With(Complete(), "FriendlyName", "second"));
    std::thread releaser([this] {
        while (!vireon_->isClosed)
            std::this_thread::yield();
        PyAutoLock2 lock;
        script::Run("may_leave.set()");
    });
    vireon_->Stop();
    releaser.join();
    Process(With(Complete(), "FriendlyName", "late"));
    vireon_->isClosed = false;
    StartDispatchOnly();
    Process(With(Complete(), "FriendlyName", "new"));
    WaitUntil("len(calls) >= 2");
    EXPECT_EQ(GetNames(), "['first', 'new']");
}

TEST_F(VireonTest, KeepsNoMoreThanItsLimitOfRecords) {
    vireon_->SetCallback(script::Get("slow"));
    StartDispatchOnly();
    Process(With(Complete(), "FriendlyName", "first"));
    WaitUntil("is_inside.is_set()");
    const auto answer = search_answers::Make({{"FriendlyName", "Den"}});
    const NPT_HttpUrl location("http://10.0.0.1:80/");
    const NPT_String usn("usn");
    const auto inspect = [&] {
        return vireon_->InspectDevice(*answer, location, "abc", &usn, NPT_TimeInterval());
    };
    for (std::size_t count = 0; count < protocol::kQueueLimit + 10; ++count)
        ASSERT_EQ(inspect(), NPT_SUCCESS);
    vireon_->SetCallback(script::Get("record"));
    script::Run("may_leave.set()");
    constexpr NPT_Timeout kForSoMany = 60000;
    EXPECT_TRUE(script::BecomesTrue("len(calls) >= " + std::to_string(1 + protocol::kQueueLimit),
                                    kForSoMany));
    LetScriptsRun(milliseconds(100));
    EXPECT_EQ(script::Evaluate("len(calls)"), std::to_string(1 + protocol::kQueueLimit));
}

TEST_F(VireonTest, DestroysWhatWasNeverDelivered) {
    vireon_->isClosed = true;
    StartDispatchOnly();
    for (int count = 0; count < 10; ++count)
        EXPECT_EQ(Process(Complete()), NPT_SUCCESS);
    vireon_.reset();  // the leak check sees the rest
}

// A script function that does something native with the engine.
Vireon* engine_of_script = nullptr;

template <void (*Action)(Vireon&)>
void DefineFunction(const char* name) {
    static PyMethodDef method = {name,
                                 [](PyObject*, PyObject*) -> PyObject* {
                                     Action(*engine_of_script);
                                     Py_RETURN_NONE;
                                 },
                                 METH_VARARGS, nullptr};
    PyObject* const function = PyCFunction_New(&method, nullptr);
    PyDict_SetItemString(script::GetGlobals(), name, function);
    Py_DECREF(function);
}

void StopEngine(Vireon& vireon) {
    vireon.Stop();
}
void SearchEngine(Vireon& vireon) {
    vireon.SearchInterfaces(LoopbackInterfaces().Get());
}
void DestroyEngine(Vireon& vireon) {
    vireon.Stop();
    delete &vireon;
}

void ReopenEngine(Vireon& vireon) {
    vireon.isClosed = false;
}
void ProcessByEngine(Vireon& vireon) {
    const NPT_HttpRequest request(NPT_HttpUrl("239.255.255.250", 31288, "*"), "M-SEARCH",
                                  "HTTP/1.1");
    vireon.ProcessSsdpSearchResponse(NPT_SUCCESS, request, NPT_HttpRequestContext(),
                                     search_answers::Make(Complete()).get());
}

class VireonFromCallback : public VireonTest {
  protected:
    VireonFromCallback() {
        engine_of_script = vireon_.get();
        DefineFunction<ReopenEngine>("reopen");
        DefineFunction<ProcessByEngine>("process");
        DefineFunction<StopEngine>("stop");
        DefineFunction<SearchEngine>("search");
        DefineFunction<DestroyEngine>("destroy");
    }
    void DeliverTo(const std::string& body) {
        script::Run("def act(event, device):\n    " + body +
                    "\n    calls.append((event, device))\n");
        vireon_->SetCallback(script::Get("act"));
        vireon_->SearchInterfaces(loopback_.Get());
        EXPECT_EQ(Process(Complete()), NPT_SUCCESS);
        WaitUntil("len(calls) == 1");
    }
};

TEST_F(VireonFromCallback, MayBeStopped) {
    DeliverTo("stop()");
    EXPECT_TRUE(vireon_->isClosed);
    vireon_->Stop();
}

TEST_F(VireonFromCallback, MayBeStoppedWhileItIsStopped) {
    DeliverTo("is_inside.set(); time.sleep(0.1); stop()");
    vireon_->Stop();
}

TEST_F(VireonFromCallback, MayBeSearchedAgain) {
    DeliverTo("calls or search()");
    EXPECT_EQ(Process(Complete()), NPT_SUCCESS);
    WaitUntil("len(calls) == 2");
}

// The new dispatch thread has something to deliver while the old one is still inside the callable.
TEST_F(VireonFromCallback, NeverRunsTwoCallsAtOnce) {
    script::Run(
        "inside, most = [], []\n"
        "def count(event, device):\n"
        "    inside.append(1)\n"
        "    most.append(len(inside))\n"
        "    if len(most) == 1: search()\n"
        "    time.sleep(0.05)\n"
        "    inside.pop()\n");
    vireon_->SetCallback(script::Get("count"));
    StartDispatchOnly();
    for (int count = 0; count < 5; ++count)
        EXPECT_EQ(Process(Complete()), NPT_SUCCESS);
    WaitUntil("len(most) == 5");
    EXPECT_EQ(script::Evaluate("most"), "[1, 1, 1, 1, 1]");
}

TEST_F(VireonFromCallback, NeverRunsTwoCallsAtOnceAfterAStopEither) {
    script::Run(
        "inside, most = [], []\n"
        "def count(event, device):\n"
        "    inside.append(1)\n"
        "    most.append(len(inside))\n"
        "    if len(most) == 1:\n"
        "        stop()\n"
        "        reopen()\n"
        "        search()\n"
        "        process()\n"
        "    time.sleep(0.05)\n"
        "    inside.pop()\n");
    vireon_->SetCallback(script::Get("count"));
    StartDispatchOnly();
    EXPECT_EQ(Process(Complete()), NPT_SUCCESS);
    WaitUntil("len(most) == 2");
    EXPECT_EQ(script::Evaluate("most"), "[1, 1]");
}

TEST_F(VireonFromCallback, MayBeStoppedAfterItSearchedAgain) {
    DeliverTo("search(); stop()");
    EXPECT_TRUE(vireon_->isClosed);
}

TEST_F(VireonFromCallback, MayBeDestroyed) {
    DeliverTo("destroy()");
    vireon_.release();
    LetScriptsRun(milliseconds(100));
}

TEST_F(VireonTest, MayBeDestroyedByAnotherThreadWhileItStops) {
    vireon_->SetCallback(script::Get("slow"));
    vireon_->SearchInterfaces(loopback_.Get());
    EXPECT_EQ(Process(Complete()), NPT_SUCCESS);
    WaitUntil("is_inside.is_set()");
    std::thread destroyer([this] {
        PyAutoLock2 lock;
        while (!vireon_->isClosed)
            LetScriptsRun(milliseconds(1));
        vireon_->Stop();  // one of the two stops finds nobody to wait for
        vireon_.reset();
    });
    std::thread releaser([] {
        std::this_thread::sleep_for(milliseconds(100));
        PyAutoLock2 lock;
        script::Run("may_leave.set()");
    });
    vireon_->Stop();
    PyAutoUnlock2 unlocked;
    destroyer.join();
    releaser.join();
}

TEST_F(VireonTest, IsWaitedForByItsDestructorUntilSomebodyClosesIt) {
    vireon_->SearchInterfaces(loopback_.Get());
    std::atomic<bool> is_destroyed{false};
    Vireon* const engine = vireon_.release();
    std::thread destroyer([&] {
        PyAutoLock2 lock;
        delete engine;
        is_destroyed = true;
    });
    LetScriptsRun(milliseconds(600));
    EXPECT_FALSE(is_destroyed);
    engine->isClosed = true;
    PyAutoUnlock2 unlocked;
    destroyer.join();
}

// Everything at once, for the checkers of races and of memory.
TEST_F(VireonTest, SurvivesEverythingAtOnce) {
    vireon_->SetInterVal(0.01f);
    std::atomic<bool> is_done{false};
    std::vector<std::thread> threads;
    const auto run = [&](auto action) {
        threads.emplace_back([&is_done, action] {
            while (!is_done) {
                PyAutoLock2 lock;
                action();
                LetScriptsRun(milliseconds(1));
            }
        });
    };
    int searches = 0;
    run([this, &searches] {
        if (++searches < 40) vireon_->SearchInterfaces(loopback_.Get());
    });
    run([this] { StartDispatchOnly(); });
    run([this] { vireon_->Stop(); });
    run([this] { vireon_->SetCallback(script::Get("record")); });
    run([this] {
        script::ExpectLocked();
        vireon_->SetCallback(Py_None);
    });
    run([this] { Process(Complete()); });
    threads.emplace_back([this, &is_done] {
        while (!is_done)
            Process(Complete());
    });
    // Last to come and first to go: a Stop waits for whoever is told to go on meanwhile.
    const Clock::time_point start = Clock::now();
    while (Clock::now() - start < milliseconds(1500)) {
        vireon_->isClosed = false;
        LetScriptsRun(milliseconds(1));
    }
    is_done = true;
    vireon_->Stop();
    PyAutoUnlock2 unlocked;
    for (std::thread& thread : threads)
        thread.join();
}

// Ends the process as a script does that forgot to stop its search.
void ExitWithoutStop(const LoopbackInterfaces& loopback, float interval, const std::string& code,
                     bool destroys) {
    Vireon* const engine = new Vireon;
    engine->SetInterVal(interval);
    script::Run(code);
    engine->SetCallback(script::Get("callback"));
    engine->SearchInterfaces(loopback.Get());
    const auto answer = search_answers::Make(Complete());
    const NPT_HttpRequest request(NPT_HttpUrl("239.255.255.250", 31288, "*"), "M-SEARCH",
                                  "HTTP/1.1");
    for (int count = 0; count < 100; ++count)
        engine->ProcessSsdpSearchResponse(NPT_SUCCESS, request, NPT_HttpRequestContext(),
                                          answer.get());
    {
        PyAutoUnlock2 unlocked;
        std::this_thread::sleep_for(milliseconds(50));
    }
    if (destroys) {
        // What the interpreter's clean-up of a script's variables does.
        static Vireon* victim;
        victim = engine;
        PyObject* const capsule = PyCapsule_New(engine, nullptr, [](PyObject*) { delete victim; });
        PyDict_SetItemString(script::GetGlobals(), "engine", capsule);
        Py_DECREF(capsule);
    }
    Py_Exit(0);
}

class VireonDeathTest : public VireonTest {
  protected:
    // It has a callable in an interpreter that has begun to exit and is still there.
    Vireon& MakeOneThatOutlivesTheExit() {
        auto* const engine = new Vireon;
        OpenInterpreterToThreads();
        engine->SetCallback(script::Get("record"));
        script::Run("import atexit\natexit._run_exitfuncs()");
        return *engine;
    }
    void DeliverAfterTheExit() {
        Vireon& engine = MakeOneThatOutlivesTheExit();
        RunOnNativeThread([&engine] {
            ZoSsdpDeviceInfo device;
            engine.CallbacktoClient(&device);
        });
        std::_Exit(script::Evaluate("calls") == "[]" ? 0 : 2);
    }
    void DestroyAfterTheExit() {
        Vireon& engine = MakeOneThatOutlivesTheExit();
        const Py_ssize_t before = Py_REFCNT(script::Get("record"));
        RunOnNativeThread([&engine] { delete &engine; });
        std::_Exit(Py_REFCNT(script::Get("record")) == before ? 0 : 2);
    }
    template <typename Function>
    static void RunOnNativeThread(Function function) {
        PyAutoUnlock2 unlocked;
        std::thread(function).join();
    }
};

TEST_F(VireonDeathTest, DeliversNothingToAnInterpreterThatExits) {
    EXPECT_EXIT(DeliverAfterTheExit(), testing::ExitedWithCode(0), "");
}

TEST_F(VireonDeathTest, LeavesTheCallableToAnInterpreterThatItMayNotEnter) {
    EXPECT_EXIT(DestroyAfterTheExit(), testing::ExitedWithCode(0), "");
}

constexpr const char* kQuick = "def callback(event, device): pass\n";
constexpr const char* kStuck =
    "import time\n"
    "def callback(event, device): time.sleep(1000)\n";
constexpr const char* kBusy =
    "def callback(event, device):\n"
    "    while True: sum(range(10))\n";

TEST_F(VireonDeathTest, EndsCleanlyWithTheInterpreter) {
    for (const bool destroys : {false, true}) {
        SCOPED_TRACE(destroys);
        EXPECT_EXIT(ExitWithoutStop(loopback_, 0.2f, kQuick, destroys), testing::ExitedWithCode(0),
                    "^$");
    }
}

TEST_F(VireonDeathTest, DoesNotWaitOneIntervalWhenTheInterpreterEnds) {
    const Clock::time_point start = Clock::now();
    EXPECT_EXIT(ExitWithoutStop(loopback_, 1e9f, kQuick, true), testing::ExitedWithCode(0), "^$");
    EXPECT_LT(Clock::now() - start, milliseconds(10000));
}

TEST_F(VireonDeathTest, EndsWithTheInterpreterWhateverTheCallableDoes) {
    EXPECT_EXIT(ExitWithoutStop(loopback_, 0.2f, kStuck, true), testing::ExitedWithCode(0), "^$");
    EXPECT_EXIT(ExitWithoutStop(loopback_, 0.2f, kBusy, true), testing::ExitedWithCode(0), "");
}

}  // namespace
