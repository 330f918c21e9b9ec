#include "engine/worker_thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>

#include "core/event.h"
#include "core/system_thread.h"

namespace {

class Worker : public ZOWorkerThreadEX {
  public:
    explicit Worker(std::function<void()> work = [] {}) : work_(std::move(work)) {}
    ~Worker() override { JoinThread(); }

    zorvane::Int32 Run() override {
        ++runs;
        work_();
        return 42;
    }
    using ZOWorkerThreadEX::JoinThread;

    std::atomic<int> runs{0};

  private:
    const std::function<void()> work_;
};

TEST(WorkerThread, RunsOnAThreadOfItsOwn) {
    NPT_Thread::ThreadId thread = 0;
    Worker worker([&thread] { thread = NPT_Thread::GetCurrentThreadId(); });
    EXPECT_EQ(worker.Start(), 1);
    worker.JoinThread();
    EXPECT_NE(thread, 0u);
    EXPECT_NE(thread, NPT_Thread::GetCurrentThreadId());
}

TEST(WorkerThread, IsStartedOnceOnly) {
    Event done;
    Worker worker([&done] { done.Wait(); });
    EXPECT_EQ(worker.Start(), 1);
    EXPECT_EQ(worker.Start(), 0);
    done.Set();
    worker.JoinThread();
    EXPECT_EQ(worker.runs, 1);
}

TEST(WorkerThread, TellsThatItsThreadHasEnded) {
    Event done;
    Worker worker([&done] { done.Wait(); });
    EXPECT_FALSE(worker.HasEnded());
    worker.Start();
    EXPECT_FALSE(worker.HasEnded());
    done.Set();
    worker.JoinThread();
    EXPECT_TRUE(worker.HasEnded());
}

TEST(WorkerThread, IsStartedByOneOfManyThreads) {
    Event done;
    Worker worker([&done] { done.Wait(); });
    std::atomic<int> started{0};
    std::thread starters[4];
    for (std::thread& starter : starters)
        starter = std::thread([&] { started += worker.Start(); });
    for (std::thread& starter : starters)
        starter.join();
    EXPECT_EQ(started, 1);
    done.Set();
}

TEST(WorkerThread, IsDestroyedAtOnceWhenItWasNeverStarted) {
    Worker worker;
}

TEST(WorkerThread, IsWaitedForByItsDestructor) {
    std::atomic<bool> is_done{false};
    {
        Worker worker([&is_done] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            is_done = true;
        });
        worker.Start();
    }
    EXPECT_TRUE(is_done);
}

TEST(WorkerThread, IsWaitedForOnce) {
    Worker worker;
    worker.Start();
    worker.JoinThread();
    worker.JoinThread();
}

TEST(WorkerThread, IsWaitedForByOneOfTwoThreads) {
    Event done;
    Worker worker([&done] { done.Wait(); });
    worker.Start();
    std::thread waiter([&worker] { worker.JoinThread(); });
    // Whoever comes second returns at once; when that is the waiter, this one waits.
    std::thread releaser([&done] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        done.Set();
    });
    worker.JoinThread();
    waiter.join();
    releaser.join();
}

TEST(WorkerThread, DoesNotWaitForItself) {
    Event is_started;
    Event done;
    std::shared_ptr<Worker> worker;
    worker = std::make_shared<Worker>([&] {
        is_started.Wait();
        worker->JoinThread();
        done.Set();
    });
    worker->Start();
    is_started.Set();
    done.Wait();
    EXPECT_EQ(worker->runs, 1);
    const std::weak_ptr<Worker> watched = worker;
    worker.reset();
    while (!watched.expired())
        std::this_thread::yield();
}

TEST(WorkerThread, OutlivesItsLastOwnerUntilItsThreadEnds) {
    Event go;
    Event done;
    std::weak_ptr<Worker> watched;
    bool was_alive = false;
    auto worker = std::make_shared<Worker>([&] {
        go.Wait();
        was_alive = !watched.expired();
        done.Set();
    });
    watched = worker;
    worker->Start();
    worker.reset();
    go.Set();
    done.Wait();
    EXPECT_TRUE(was_alive);
    while (!watched.expired())
        std::this_thread::yield();
}

TEST(WorkerThread, ReportsTheResultOfItsWork) {
    Worker worker;
    EXPECT_EQ(ZOWorkerThreadEX::RunInsideApartment(&worker), 42u);
}

TEST(WorkerThread, ReportsAnInvalidPointerForNoWorker) {
    EXPECT_EQ(ZOWorkerThreadEX::RunInsideApartment(nullptr), 0x80004003u);
}

TEST(WorkerThread, LetsNoExceptionOut) {
    Worker worker([] { throw std::runtime_error("no memory, say"); });
    EXPECT_EQ(ZOWorkerThreadEX::RunInsideApartment(&worker), 0x80004005u);
    Worker other([] { throw 7; });
    EXPECT_EQ(ZOWorkerThreadEX::RunInsideApartment(&other), 0x80004005u);
}

}  // namespace
