#include "core/system_thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "core/event.h"

namespace {

// What a test's thread sees and does.
struct Scene {
    std::unique_ptr<SystemThread> thread;
    Event may_go;
    Event is_done;
    NPT_Thread::ThreadId id = 0;
    std::atomic<bool> has_ended{false};
};

Scene& SceneOf(void* argument) {
    return *static_cast<Scene*>(argument);
}

NPT_UInt32 NoteWhoRuns(void* argument) {
    Scene& scene = SceneOf(argument);
    scene.may_go.Wait();
    scene.id = NPT_Thread::GetCurrentThreadId();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    scene.has_ended = true;
    return 7;
}

NPT_UInt32 JoinItself(void* argument) {
    Scene& scene = SceneOf(argument);
    scene.may_go.Wait();
    scene.thread->Join();
    scene.is_done.Set();
    return 0;
}

NPT_UInt32 WaitAndTell(void* argument) {
    Scene& scene = SceneOf(argument);
    scene.may_go.Wait();
    scene.is_done.Set();
    return 0;
}

TEST(Thread, IdsTellLivingThreadsApart) {
    const NPT_Thread::ThreadId own = NPT_Thread::GetCurrentThreadId();
    NPT_Thread::ThreadId other = 0;
    std::thread([&other] { other = NPT_Thread::GetCurrentThreadId(); }).join();
    EXPECT_NE(own, 0u);
    EXPECT_NE(other, 0u);
    EXPECT_NE(own, other);
    EXPECT_EQ(NPT_Thread::GetCurrentThreadId(), own);
}

TEST(SystemThread, RunsItsEntryUntilJoined) {
    Scene scene;
    scene.thread = SystemThread::Start(NoteWhoRuns, &scene);
    ASSERT_TRUE(scene.thread);
    scene.may_go.Set();
    scene.thread->Join();
    EXPECT_TRUE(scene.has_ended);
    EXPECT_NE(scene.id, NPT_Thread::GetCurrentThreadId());
}

TEST(SystemThread, ASecondJoinReturnsAtOnce) {
    Scene scene;
    scene.thread = SystemThread::Start(WaitAndTell, &scene);
    ASSERT_TRUE(scene.thread);
    scene.may_go.Set();
    scene.thread->Join();
    scene.thread->Join();
}

// The events of the next two must outlive a thread that nobody joins; it may still be inside Set
// when the test goes on.
std::shared_ptr<Scene> KeptScene() {
    static std::vector<std::shared_ptr<Scene>>& kept = *new std::vector<std::shared_ptr<Scene>>();
    return kept.emplace_back(std::make_shared<Scene>());
}

TEST(SystemThread, JoiningItselfReturnsAtOnce) {
    const std::shared_ptr<Scene> scene = KeptScene();
    scene->thread = SystemThread::Start(JoinItself, scene.get());
    ASSERT_TRUE(scene->thread);
    scene->may_go.Set();
    scene->is_done.Wait();
}

TEST(SystemThread, AnUnjoinedThreadRunsOnWithoutItsObject) {
    const std::shared_ptr<Scene> scene = KeptScene();
    scene->thread = SystemThread::Start(WaitAndTell, scene.get());
    ASSERT_TRUE(scene->thread);
    scene->thread.reset();
    scene->may_go.Set();
    scene->is_done.Wait();
}

}  // namespace
