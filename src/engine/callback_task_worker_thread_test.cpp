#include "engine/testing/embedded_interpreter.h"

#include "engine/callback_task_worker_thread.h"

#include <chrono>
#include <future>
#include <string>
#include <thread>

#include "binding/interpreter_lock.h"
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
    std::string Take() {
        const std::unique_ptr<ZoSsdpDeviceInfo> device(worker_->getTask());
        return device ? device->GetFriendlyName().GetChars() : "null";
    }
    // Lets scripts run until the expression is true, for at most ten seconds.
    static void WaitUntil(const std::string& expression) {
        for (int round = 0; round < 2000 && script::Evaluate(expression) != "True"; ++round) {
            PyAutoUnlock2 unlocked;
            std::this_thread::sleep_for(milliseconds(5));
        }
        EXPECT_EQ(script::Evaluate(expression), "True") << expression;
    }

    std::unique_ptr<Vireon> vireon_ = std::make_unique<Vireon>();
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

TEST_F(CallbackTaskWorker, IgnoresANullRecord) {
    worker_->addTask(nullptr);
    Add("first");
    EXPECT_EQ(Take(), "first");
}

TEST_F(CallbackTaskWorker, GivesNothingOnceStopped) {
    Add("first");
    vireon_->isClosed = true;
    EXPECT_EQ(Take(), "null");
    vireon_->isClosed = false;
    worker_->m_pVireon.store(nullptr);
    EXPECT_EQ(Take(), "null");
    worker_->m_pVireon.store(vireon_.get());
    EXPECT_EQ(Take(), "first");
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
    std::vector<std::future<int>> takers;
    for (int taker = 0; taker < 4; ++taker) {
        takers.push_back(std::async(std::launch::async, [this] {
            int count = 0;
            while (Take() != "null")
                ++count;
            return count;
        }));
    }
    PyAutoUnlock2 unlocked;
    for (int record = 0; record < kRecords; ++record)
        Add("record");
    std::this_thread::sleep_for(milliseconds(200));
    worker_->Close();
    int count = 0;
    for (auto& taker : takers)
        count += taker.get();
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

TEST_F(CallbackTaskWorker, CountsAsStoppedWhenItOutlivesItsEngine) {
    Add("first");
    EXPECT_FALSE(worker_->IsStopped());
    vireon_.reset();
    EXPECT_TRUE(worker_->IsStopped());
    EXPECT_EQ(worker_->m_pVireon.load(), nullptr);
    EXPECT_EQ(Take(), "null");
}

TEST_F(CallbackTaskWorker, MayBeClosedTwiceAndWithoutAThread) {
    worker_->Close();
    worker_->Close();
    EXPECT_TRUE(worker_->IsStopped());
}

TEST_F(CallbackTaskWorker, MovesTheTasksOfAnotherBehindItsOwn) {
    CallbackTaskWorkerThread other(vireon_.get());
    other.addTask(MakeDevice("second").release());
    other.addTask(MakeDevice("third").release());
    Add("first");
    worker_->TakeTasksFrom(other);
    worker_->TakeTasksFrom(other);
    EXPECT_EQ(Take(), "first");
    EXPECT_EQ(Take(), "second");
    EXPECT_EQ(Take(), "third");
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
    worker_->m_pVireon.store(vireon_.get());
    EXPECT_EQ(Take(), "second");
}

}  // namespace
