#include "binding/interpreter/testing/embedded_interpreter.h"

#include "engine/callback_task_worker_thread.h"

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "binding/interpreter/interpreter_lock.h"
#include "core/testing/becomes_true.h"
#include "core/testing/failing_allocation.h"
#include "engine/testing/watched_calls.h"
#include "engine/vireon.h"

namespace {

using std::chrono::milliseconds;

std::unique_ptr<ZoSsdpDeviceInfo> MakeDevice(const std::string& name) {
    return std::make_unique<ZoSsdpDeviceInfo>(NPT_HttpUrl("http://10.0.0.1:80/"), "abc",
                                              NPT_TimeInterval(60.0), "usn", name.c_str());
}

class CallbackTaskWorker : public testing::Test {
  protected:
    CallbackTaskWorker() : worker_(std::make_shared<CallbackTaskWorkerThread>(vireon_.get())) {
        OpenInterpreterToThreads();
        script::Run(
            "import threading, time\n"
            "names = []\n"
            "def collect(event, device): names.append(device['friendlyName'])\n");
    }
    ~CallbackTaskWorker() override {
        worker_->Close();
        worker_->DestroyTasks();
    }

    void Add(const std::string& name) { worker_->addTask(MakeDevice(name).release()); }
    std::string Take() { return TakeFrom(*worker_); }
    static std::string TakeFrom(CallbackTaskWorkerThread& worker) {
        const std::unique_ptr<ZoSsdpDeviceInfo> device(worker.getTask());
        return device ? device->GetFriendlyName().GetChars() : "null";
    }
    // Lets scripts run until the expression is true, for at most ten seconds.
    static void WaitUntil(const std::string& expression) {
        EXPECT_TRUE(script::BecomesTrue(expression)) << expression;
    }

    std::unique_ptr<Vireon> vireon_ = std::make_unique<Vireon>();
    const std::shared_ptr<CallbackTaskWorkerThread::DeliveryTurn> turn_ =
        std::make_shared<CallbackTaskWorkerThread::DeliveryTurn>(false);
    std::shared_ptr<CallbackTaskWorkerThread> worker_;
};

TEST_F(CallbackTaskWorker, GivesRecordsInTheOrderInWhichTheyCame) {
    Add("first");
    Add("second");
    Add("third");
    EXPECT_EQ(Take(), "first");
    EXPECT_EQ(Take(), "second");
    Add("fourth");
    EXPECT_EQ(Take(), "third");
    EXPECT_EQ(Take(), "fourth");
}

TEST_F(CallbackTaskWorker, GivesANullRecordLikeAnyOther) {
    worker_->addTask(nullptr);
    Add("first");
    EXPECT_EQ(Take(), "null");
    EXPECT_EQ(Take(), "first");
}

TEST_F(CallbackTaskWorker, PassesOverANullRecordWhenItDelivers) {
    vireon_->SetCallback(script::Get("collect"));
    worker_->addTask(nullptr);
    Add("first");
    worker_->Start();
    WaitUntil("names == ['first']");
}

TEST_F(CallbackTaskWorker, DestroysNullRecordsWithTheOthers) {
    worker_->addTask(nullptr);
    Add("first");
    worker_->DestroyTasks();
    Add("second");
    EXPECT_EQ(Take(), "second");
}

TEST_F(CallbackTaskWorker, TakesNoRecordThatItHasNoMemoryFor) {
    bool was_refused = false;
    for (int count = 0; count < 1000; ++count) {
        const auto device = MakeDevice("kept");
        try {
            const FailingAllocation failing(1);
            worker_->addTask(device.get());
        } catch (const std::bad_alloc&) {
            was_refused = true;
            EXPECT_STREQ(device->GetFriendlyName().GetChars(), "kept");
            continue;
        }
        EXPECT_EQ(worker_->getTask(), device.get());
    }
    EXPECT_TRUE(was_refused);
}

TEST_F(CallbackTaskWorker, DestroysAndCountsWhatIsBeyondItsLimit) {
    CallbackTaskWorkerThread limited(vireon_.get(), 2, turn_);
    for (const char* name : {"first", "second", "third", "fourth"})
        limited.addTask(MakeDevice(name).release());
    EXPECT_EQ(limited.GetDroppedCount(), 2u);
    EXPECT_EQ(TakeFrom(limited), "first");
    limited.addTask(MakeDevice("fifth").release());
    EXPECT_EQ(TakeFrom(limited), "second");
    EXPECT_EQ(TakeFrom(limited), "fifth");
    EXPECT_EQ(limited.GetDroppedCount(), 2u);
}

TEST_F(CallbackTaskWorker, GivesNothingOnceStopped) {
    Add("first");
    vireon_->isClosed = true;
    EXPECT_EQ(Take(), "null");
    vireon_->isClosed = false;
    worker_->SetEngine(nullptr);
    EXPECT_EQ(Take(), "null");
    worker_->SetEngine(vireon_.get());
    EXPECT_EQ(Take(), "first");
}

TEST_F(CallbackTaskWorker, WakesNobodyWhereNobodyWaits) {
    const int before = watched_calls::event_sets;
    Add("first");
    Add("second");
    EXPECT_EQ(watched_calls::event_sets, before);
}

TEST_F(CallbackTaskWorker, WakesWhoWaitsForWhatWasQueuedBefore) {
    std::future<std::string> taken = std::async(std::launch::async, [this] { return Take(); });
    std::this_thread::sleep_for(milliseconds(50));
    worker_->QueueTask(MakeDevice("first").release());
    worker_->WakeTakers();
    PyAutoUnlock2 unlocked;
    EXPECT_EQ(taken.get(), "first");
}

TEST_F(CallbackTaskWorker, WaitsForTheNextRecordWithoutLookingForItAllTheTime) {
    std::future<std::string> taken = std::async(std::launch::async, [this] {
        Take();
        return Take();
    });
    PyAutoUnlock2 unlocked;
    std::this_thread::sleep_for(milliseconds(100));
    Add("first");
    std::this_thread::sleep_for(milliseconds(100));
    const int before = watched_calls::event_waits;
    std::this_thread::sleep_for(milliseconds(100));
    EXPECT_LE(watched_calls::event_waits - before, 1);
    Add("second");
    EXPECT_EQ(taken.get(), "second");
}

TEST_F(CallbackTaskWorker, WaitsForARecordWithTheInterpreterLockReleased) {
    std::thread adder([this] {
        PyAutoLock2 lock;  // deadlocks when the waiting thread keeps the lock
        Add("late");
    });
    EXPECT_EQ(Take(), "late");
    adder.join();
}

TEST_F(CallbackTaskWorker, WaitsAgainWhenTheSignalWasForSomebodyElse) {
    Add("first");
    EXPECT_EQ(Take(), "first");
    // The event of the first record is still set now; the queue is empty.
    std::thread adder([this] {
        std::this_thread::sleep_for(milliseconds(50));
        Add("second");
    });
    EXPECT_EQ(Take(), "second");
    adder.join();
}

TEST_F(CallbackTaskWorker, EndsTheWaitWhenItIsClosed) {
    std::future<std::string> taken = std::async(std::launch::async, [this] { return Take(); });
    std::this_thread::sleep_for(milliseconds(50));
    worker_->Close();
    PyAutoUnlock2 unlocked;
    EXPECT_EQ(taken.get(), "null");
}

TEST_F(CallbackTaskWorker, GivesEachRecordToOneOfSeveralTakers) {
    constexpr int kRecords = 1000;
    std::atomic<int> count{0};
    std::vector<std::future<void>> takers;
    for (int taker = 0; taker < 4; ++taker) {
        takers.push_back(std::async(std::launch::async, [&] {
            while (Take() != "null")
                ++count;
        }));
    }
    PyAutoUnlock2 unlocked;
    for (int record = 0; record < kRecords; ++record)
        Add("record");
    EXPECT_TRUE(BecomesTrue([&] { return count == kRecords; }));
    worker_->Close();
    for (auto& taker : takers)
        taker.get();
    EXPECT_EQ(count, kRecords);
}

TEST_F(CallbackTaskWorker, IsNotDestroyedUnderAThreadThatTakes) {
    CallbackTaskWorkerThread* const raw = new CallbackTaskWorkerThread(vireon_.get());
    std::future<ZoSsdpDeviceInfo*> taken = std::async(std::launch::async, [raw] {
        PyAutoLock2 lock;
        return raw->getTask();
    });
    {
        PyAutoUnlock2 unlocked;
        std::this_thread::sleep_for(milliseconds(50));
    }
    delete raw;
    PyAutoUnlock2 unlocked;
    EXPECT_EQ(taken.get(), nullptr);
}

// A taker that finds nothing resets the event. When the worker is closed between another one's last
// look and its wait, that must not undo the signal of the end.
TEST_F(CallbackTaskWorker, EndsTheWaitOfATakerBehindTheBackOfAnother) {
    // Each taker takes its time before it looks into the queue, and before it waits. So the first
    // one waits from 600 ms on and has looked at its engine at 300; it is closed in between, and
    // then the second one, which has looked before, finds the queue empty at 450.
    constexpr milliseconds kPace(300);
    std::atomic<bool> has_left{false};
    const auto take = [this, kPace] {
        watched_calls::pace = kPace;
        EXPECT_EQ(worker_->getTask(), nullptr);
    };
    PyAutoUnlock2 unlocked;
    std::thread first([&] {
        take();
        has_left = true;
    });
    std::this_thread::sleep_for(milliseconds(150));
    std::thread second(take);
    std::this_thread::sleep_for(milliseconds(225));
    worker_->SignalEnd();
    second.join();
    EXPECT_TRUE(BecomesTrue([&] { return has_left.load(); }));
    worker_->addTask(nullptr);  // lets the first one go in any case
    first.join();
}

class WatchedDevice : public ZoSsdpDeviceInfo {
  public:
    explicit WatchedDevice(std::atomic<bool>& is_destroyed) : is_destroyed_(is_destroyed) {}
    ~WatchedDevice() override { is_destroyed_ = true; }

  private:
    std::atomic<bool>& is_destroyed_;
};

// The engine goes while the dispatch thread takes, and waits for nobody since another thread does.
TEST_F(CallbackTaskWorker, LeavesNothingBehindThatItsThreadTookBeforeTheEnd) {
    constexpr milliseconds kPace(200);
    std::atomic<bool> is_destroyed{false};
    worker_->addTask(new WatchedDevice(is_destroyed));
    PyAutoUnlock2 unlocked;
    std::thread dispatch([this, kPace] {
        // Takes the record at 200 ms, sees the end, and would put the record back at 400.
        watched_calls::pace = kPace;
        worker_->Run();
    });
    std::this_thread::sleep_for(kPace / 2);
    worker_->SignalEnd();
    std::this_thread::sleep_for(kPace);
    worker_->DestroyTasks();
    dispatch.join();
    EXPECT_TRUE(is_destroyed);
}

TEST_F(CallbackTaskWorker, PutsBackInFrontOfTheOthersWhatItTookBeforeTheEnd) {
    constexpr milliseconds kPace(200);
    Add("first");
    Add("second");
    std::thread dispatch([this, kPace] {
        // Takes the first record at 200 ms and sees the end.
        watched_calls::pace = kPace;
        worker_->Run();
    });
    std::this_thread::sleep_for(kPace / 2);  // with the lock held: nothing is delivered meanwhile
    worker_->SignalEnd();
    {
        PyAutoUnlock2 unlocked;
        dispatch.join();
    }
    worker_->SetEngine(vireon_.get());
    EXPECT_EQ(Take(), "first");
    EXPECT_EQ(Take(), "second");
}

TEST_F(CallbackTaskWorker, PutsBackWhatWaitedForTheInterpreterLockAtTheEnd) {
    vireon_->SetCallback(script::Get("collect"));
    Add("first");
    Add("second");
    worker_->Start();
    std::this_thread::sleep_for(milliseconds(50));  // with the lock held
    worker_->Close();
    EXPECT_EQ(script::Evaluate("names"), "[]");
    worker_->SetEngine(vireon_.get());
    EXPECT_EQ(Take(), "first");
    EXPECT_EQ(Take(), "second");
}

TEST_F(CallbackTaskWorker, EndsTheWaitWhenItsEngineIsTaken) {
    std::future<std::string> taken = std::async(std::launch::async, [this] { return Take(); });
    std::this_thread::sleep_for(milliseconds(20));
    worker_->SetEngine(nullptr);
    PyAutoUnlock2 unlocked;
    EXPECT_EQ(taken.get(), "null");
}

TEST_F(CallbackTaskWorker, CountsAsStoppedWhenItOutlivesItsEngine) {
    Add("first");
    EXPECT_FALSE(worker_->IsStopped());
    vireon_.reset();
    EXPECT_TRUE(worker_->IsStopped());
    EXPECT_EQ(worker_->GetEngine(), nullptr);
    EXPECT_EQ(Take(), "null");
}

TEST_F(CallbackTaskWorker, MayBeClosedTwiceAndWithoutAThread) {
    worker_->Close();
    worker_->Close();
    EXPECT_TRUE(worker_->IsStopped());
}

TEST_F(CallbackTaskWorker, TakesTheTasksOfAnotherOver) {
    CallbackTaskWorkerThread other(vireon_.get());
    other.addTask(MakeDevice("first").release());
    other.addTask(MakeDevice("second").release());
    worker_->TakeTasksFrom(other);
    Add("third");
    EXPECT_EQ(Take(), "first");
    EXPECT_EQ(Take(), "second");
    EXPECT_EQ(Take(), "third");
    other.SetEngine(nullptr);
    EXPECT_EQ(other.getTask(), nullptr);
}

TEST_F(CallbackTaskWorker, WakesWhoWaitsWhenItTakesTasksOver) {
    CallbackTaskWorkerThread other(vireon_.get());
    other.addTask(MakeDevice("first").release());
    std::future<std::string> taken = std::async(std::launch::async, [this] { return Take(); });
    std::this_thread::sleep_for(milliseconds(20));
    worker_->TakeTasksFrom(other);
    PyAutoUnlock2 unlocked;
    EXPECT_EQ(taken.get(), "first");
}

TEST_F(CallbackTaskWorker, DeliversOnlyWhileItHasTheTurn) {
    *turn_ = true;  // another one is inside the callable
    vireon_->SetCallback(script::Get("collect"));
    const auto second = std::make_shared<CallbackTaskWorkerThread>(vireon_.get(), 10, turn_);
    second->addTask(MakeDevice("first").release());
    second->Start();
    {
        PyAutoUnlock2 unlocked;
        std::this_thread::sleep_for(milliseconds(50));
    }
    EXPECT_EQ(script::Evaluate("names"), "[]");
    *turn_ = false;
    WaitUntil("names == ['first']");
    EXPECT_TRUE(*turn_);
    second->Close();
    EXPECT_FALSE(*turn_);
}

TEST_F(CallbackTaskWorker, EndsWhileItWaitsForTheTurn) {
    *turn_ = true;
    const auto second = std::make_shared<CallbackTaskWorkerThread>(vireon_.get(), 10, turn_);
    second->Start();
    second->Close();
    EXPECT_TRUE(*turn_);
}

TEST_F(CallbackTaskWorker, LosesOneRecordAtMostToAnAllocationThatFails) {
    vireon_->SetCallback(script::Get("collect"));
    int lost = 0;
    bool was_refused = true;
    for (long nth = 1; was_refused; ++nth) {
        SCOPED_TRACE(nth);
        script::Run("del names[:]");
        worker_->SetEngine(vireon_.get());
        Add("first");
        Add("second");
        // The worker waits only once its queue is empty.
        const int waits = watched_calls::event_waits;
        std::thread closer([this, waits] {
            BecomesTrue([waits] { return watched_calls::event_waits > waits; });
            worker_->SignalEnd();
        });
        {
            const FailingAllocation failing(nth);
            worker_->Run();
            was_refused = failing.HasHappened();
        }
        closer.join();
        const std::string names = script::Evaluate("names");
        if (names == "['second']") {
            ++lost;
        } else {
            EXPECT_EQ(names, was_refused ? "['first']" : "['first', 'second']");
        }
    }
    EXPECT_GE(lost, 1);
}

TEST_F(CallbackTaskWorker, DeliversRecordsInOrder) {
    vireon_->SetCallback(script::Get("collect"));
    Add("first");
    worker_->Start();
    Add("second");
    WaitUntil("len(names) == 2");
    Add("third");
    WaitUntil("len(names) == 3");
    EXPECT_EQ(script::Evaluate("names"), "['first', 'second', 'third']");
}

TEST_F(CallbackTaskWorker, HasOneThreadStateForWhatWaitsAndNoneBehind) {
    script::Run(
        "local = threading.local()\n"
        "def remember(event, device):\n"
        "    names.append(getattr(local, 'name', None))\n"
        "    local.name = device['friendlyName']\n");
    vireon_->SetCallback(script::Get("remember"));
    Add("first");
    Add("second");
    worker_->Start();
    WaitUntil("len(names) == 2");
    Add("third");
    WaitUntil("len(names) == 3");
    EXPECT_EQ(script::Evaluate("names"), "[None, 'first', None]");
    EXPECT_TRUE(BecomesTrue([] { return !PyThreadState_Next(PyThreadState_Get()); }, kPatience,
                            [] {
                                PyAutoUnlock2 unlocked;
                                std::this_thread::sleep_for(milliseconds(5));
                            }));
}

TEST_F(CallbackTaskWorker, DeliversWhatWasQueuedDuringACallback) {
    script::Run(
        "is_inside, may_leave = threading.Event(), threading.Event()\n"
        "def slow(event, device):\n"
        "    names.append(device['friendlyName'])\n"
        "    is_inside.set()\n"
        "    may_leave.wait(10)\n");
    vireon_->SetCallback(script::Get("slow"));
    worker_->Start();
    Add("first");
    WaitUntil("is_inside.is_set()");
    Add("second");
    script::Run("may_leave.set()");
    WaitUntil("names == ['first', 'second']");
}

TEST_F(CallbackTaskWorker, GoesOnAfterAnException) {
    script::Run(
        "import sys\n"
        "def fail(event, device):\n"
        "    names.append(device['friendlyName'])\n"
        "    raise SystemExit(3) if len(names) == 1 else ValueError\n");
    testing::internal::CaptureStderr();
    vireon_->SetCallback(script::Get("fail"));
    worker_->Start();
    Add("first");
    Add("second");
    Add("third");
    WaitUntil("len(names) == 3");
    worker_->Close();
    testing::internal::GetCapturedStderr();
}

TEST_F(CallbackTaskWorker, DestroysRecordsSilentlyWithoutACallable) {
    worker_->Start();
    Add("first");
    Add("second");
    vireon_->SetCallback(script::Get("collect"));
    vireon_->SetCallback(Py_None);
    Add("third");
    {
        PyAutoUnlock2 unlocked;
        std::this_thread::sleep_for(milliseconds(100));
    }
    EXPECT_EQ(script::Evaluate("names"), "[]");
}

TEST_F(CallbackTaskWorker, EndsAtOnceWhenItIsClosedWhileWaiting) {
    worker_->Start();
    {
        PyAutoUnlock2 unlocked;
        std::this_thread::sleep_for(milliseconds(20));
    }
    const auto start = std::chrono::steady_clock::now();
    worker_->Close();
    EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(1000));
}

TEST_F(CallbackTaskWorker, LeavesRecordsBehindWhenItIsClosed) {
    script::Run(
        "is_inside, may_leave = threading.Event(), threading.Event()\n"
        "def slow(event, device):\n"
        "    names.append(device['friendlyName'])\n"
        "    is_inside.set()\n"
        "    may_leave.wait(10)\n");
    vireon_->SetCallback(script::Get("slow"));
    worker_->Start();
    Add("first");
    WaitUntil("is_inside.is_set()");
    Add("second");
    worker_->SignalEnd();
    script::Run("may_leave.set()");
    worker_->Close();
    EXPECT_EQ(script::Evaluate("names"), "['first']");
    worker_->SetEngine(vireon_.get());
    EXPECT_EQ(Take(), "second");
}

}  // namespace
