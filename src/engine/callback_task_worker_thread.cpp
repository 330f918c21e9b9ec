#include "engine/callback_task_worker_thread.h"

#include <memory>
#include <mutex>

#include "binding/interpreter_lock.h"
#include "core/system.h"
#include "engine/vireon.h"

namespace {

// Between two looks whether a thread in getTask has left a worker that is being destroyed.
constexpr double kLookIntervalSeconds = 0.001;

class CountInScope {
  public:
    explicit CountInScope(std::atomic<int>& count) : count_(count) { ++count_; }
    CountInScope(const CountInScope&) = delete;
    CountInScope& operator=(const CountInScope&) = delete;
    ~CountInScope() { --count_; }

  private:
    std::atomic<int>& count_;
};

}  // namespace

CallbackTaskWorkerThread::CallbackTaskWorkerThread(Vireon* vireon)
    : m_pVireon(vireon),
      m_tasks(std::make_shared<TaskQueue>()),
      m_taskEvent(Event::Mode::kManualReset) {}

CallbackTaskWorkerThread::~CallbackTaskWorkerThread() {
    Close();
    PyAutoUnlock2 unlocked;
    while (takers_ > 0)
        NPT_System::Sleep(NPT_TimeInterval(kLookIntervalSeconds));
}

void CallbackTaskWorkerThread::addTask(ZoSsdpDeviceInfo* device) {
    if (!device) return;
    std::unique_ptr<ZoSsdpDeviceInfo> owned(device);
    std::lock_guard<CriticalSection> guard(m_taskLock);
    m_tasks->push_back(device);
    owned.release();  // the queue's now
    m_taskEvent.Set();
}

ZoSsdpDeviceInfo* CallbackTaskWorkerThread::getTask() {
    // In this order: whoever destroys the worker waits for the count, and this thread touches
    // nothing of the worker while it takes the interpreter lock back.
    PyAutoUnlock2 unlocked;
    CountInScope counted(takers_);
    while (!IsStopped()) {
        if (ZoSsdpDeviceInfo* const device = PopTask()) return device;
        // PopTask reset the event. Whoever stopped the worker before that is seen here, whoever
        // does later sets the event again.
        if (IsStopped()) break;
        m_taskEvent.Wait();
    }
    return nullptr;
}

void CallbackTaskWorkerThread::SignalEnd() {
    m_pVireon.store(nullptr);
    m_taskEvent.Set();
}

void CallbackTaskWorkerThread::Close() {
    SignalEnd();
    JoinThread();
}

void CallbackTaskWorkerThread::TakeTasksFrom(CallbackTaskWorkerThread& other) {
    TaskQueue taken;
    {
        std::lock_guard<CriticalSection> guard(other.m_taskLock);
        taken.swap(*other.m_tasks);
    }
    if (taken.empty()) return;
    std::lock_guard<CriticalSection> guard(m_taskLock);
    m_tasks->insert(m_tasks->end(), taken.begin(), taken.end());
    m_taskEvent.Set();
}

void CallbackTaskWorkerThread::DestroyTasks() {
    while (const ZoSsdpDeviceInfo* const device = PopTask())
        delete device;
}

ZoSsdpDeviceInfo* CallbackTaskWorkerThread::PopTask() {
    std::lock_guard<CriticalSection> guard(m_taskLock);
    if (m_tasks->empty()) {
        m_taskEvent.Reset();
        return nullptr;
    }
    ZoSsdpDeviceInfo* const device = m_tasks->front();
    m_tasks->pop_front();
    return device;
}

zorvane::Int32 CallbackTaskWorkerThread::Run() {
    while (!IsStopped()) {
        std::unique_ptr<ZoSsdpDeviceInfo> device(getTask());
        if (!device) continue;
        if (IsStopped()) {
            // Stopped between taking and delivering: left over like the ones behind it.
            std::lock_guard<CriticalSection> guard(m_taskLock);
            m_tasks->push_front(device.release());
            break;
        }
        Deliver(*device);
    }
    return 0;
}

void CallbackTaskWorkerThread::Deliver(ZoSsdpDeviceInfo& device) {
    // The engine is destroyed with the interpreter lock held, so what is loaded under that lock is
    // there until the script runs.
    const InterpreterVisit visit;
    if (!visit) return;
    if (Vireon* const vireon = m_pVireon.load()) vireon->CallbacktoClient(&device);
}
