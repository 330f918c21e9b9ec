#include "engine/callback_task_worker_thread.h"

#include <exception>
#include <limits>
#include <utility>

#include "core/system.h"
#include "engine/diagnostics_log.h"

namespace {

constexpr NPT_Int32 kLossLogLevel = 3;

// Between two looks at something that is seldom waited for and never for long: whether a thread in
// getTask has left a worker that is being destroyed, and whether the old dispatch thread has left.
constexpr double kLookIntervalSeconds = 0.001;

void SleepUntilNextLook() {
    NPT_System::Sleep(NPT_TimeInterval(kLookIntervalSeconds));
}

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
    : CallbackTaskWorkerThread(vireon, std::numeric_limits<std::size_t>::max(),
                               std::make_shared<DeliveryTurn>(false)) {}

CallbackTaskWorkerThread::CallbackTaskWorkerThread(Vireon* vireon, std::size_t limit,
                                                   std::shared_ptr<DeliveryTurn> turn)
    : m_pVireon(vireon),
      m_tasks(std::make_shared<TaskQueue>()),
      has_engine_(vireon != nullptr),
      limit_(limit),
      turn_(std::move(turn)) {}

CallbackTaskWorkerThread::~CallbackTaskWorkerThread() {
    // In a forked child those threads are not there.
    if (process_ != CurrentProcess()) return;
    Close();
    PyAutoUnlock2 unlocked;
    while (takers_ > 0)
        SleepUntilNextLook();
}

void CallbackTaskWorkerThread::addTask(ZoSsdpDeviceInfo* device) {
    QueueTask(device);
    WakeTakers();
}

void CallbackTaskWorkerThread::WakeTakers() {
    if (is_awaited_.exchange(false)) m_taskEvent.Set();
}

void CallbackTaskWorkerThread::QueueTask(ZoSsdpDeviceInfo* device) {
    {
        const CriticalSectionLock guard(m_taskLock);
        if (m_tasks->size() < limit_) return m_tasks->push_back(device);
    }
    if (dropped_count_++ == 0) {
        DiagnosticsLog::Get().Wide(
            kLossLogLevel, L"[vireon] %d devices wait for the callable: the next are dropped",
            static_cast<int>(limit_));
    }
    delete device;  // last: until here it is the caller's, should memory run out
}

ZoSsdpDeviceInfo* CallbackTaskWorkerThread::getTask() {
    // Counted first: whoever destroys the worker holds the interpreter lock until here, and then
    // waits for the count with the lock released.
    CountInScope counted(takers_);
    PyAutoUnlock2 unlocked;
    while (!IsStopped()) {
        ZoSsdpDeviceInfo* device = nullptr;
        if (PopTask(device)) return device;
        if (IsStopped()) break;
        m_taskEvent.Wait();
    }
    return nullptr;
}

void CallbackTaskWorkerThread::SetEngine(Vireon* vireon) {
    const CriticalSectionLock guard(m_taskLock);
    m_pVireon.store(vireon);
    has_engine_ = vireon != nullptr;
    m_taskEvent.Set();
}

void CallbackTaskWorkerThread::Close() {
    SignalEnd();
    JoinThread();
}

void CallbackTaskWorkerThread::TakeTasksFrom(CallbackTaskWorkerThread& other) {
    const CriticalSectionLock others(other.m_taskLock);
    const CriticalSectionLock guard(m_taskLock);
    m_tasks.swap(other.m_tasks);
    m_taskEvent.Set();
}

void CallbackTaskWorkerThread::DestroyTasks() {
    {
        const CriticalSectionLock guard(m_taskLock);
        is_discarded_ = true;
    }
    ZoSsdpDeviceInfo* device = nullptr;
    while (PopTask(device))
        delete device;
}

bool CallbackTaskWorkerThread::PopTask(ZoSsdpDeviceInfo*& device) {
    const CriticalSectionLock guard(m_taskLock);
    device = nullptr;
    if (m_tasks->empty()) {
        if (has_engine_) m_taskEvent.Reset();
        is_awaited_ = true;
        return false;
    }
    device = m_tasks->front();
    m_tasks->pop_front();
    return true;
}

bool CallbackTaskWorkerThread::HasTasks() {
    const CriticalSectionLock guard(m_taskLock);
    return !m_tasks->empty();
}

void CallbackTaskWorkerThread::ReturnTask(std::unique_ptr<ZoSsdpDeviceInfo> device) {
    const CriticalSectionLock guard(m_taskLock);
    if (is_discarded_) return;
    m_tasks->push_front(device.get());
    device.release();  // the queue's again
}

zorvane::Int32 CallbackTaskWorkerThread::Run() {
    if (!WaitForTurn()) return 0;
    DeliverUntilStopped();
    *turn_ = false;
    return 0;
}

bool CallbackTaskWorkerThread::WaitForTurn() const {
    while (!IsStopped()) {
        if (!turn_->exchange(true)) return true;
        SleepUntilNextLook();
    }
    return false;
}

void CallbackTaskWorkerThread::DeliverUntilStopped() {
    // A script that forks in its callable and returns from it brings this thread, and no other,
    // into the child. What waits is the parent's to deliver, and what the child has of it may be
    // locked.
    VisitorState state;
    while (GoesOn()) {
        std::unique_ptr<ZoSsdpDeviceInfo> device(GetNextTask(state));
        if (!device) continue;
        try {
            // Stopped between taking and delivering: left over like the ones behind it.
            if (!Deliver(*device, state)) return ReturnTask(std::move(device));
        } catch (const std::exception&) {
            // Out of memory, which costs this record.
        }
    }
}

ZoSsdpDeviceInfo* CallbackTaskWorkerThread::GetNextTask(VisitorState& state) {
    ZoSsdpDeviceInfo* device = nullptr;
    if (PopTask(device)) return device;
    state.Drop();
    return getTask();
}

bool CallbackTaskWorkerThread::Deliver(ZoSsdpDeviceInfo& device, VisitorState& state) {
    InterpreterVisit visit(
        [this]() REQUIRES(interpreter_lock) { return m_pVireon.GetInterpreter(); }, &state);
    if (IsStopped()) return false;
    if (!visit) return true;
    m_pVireon.Deliver(device);
    if (GoesOn() && HasTasks()) visit.KeepState();
    return true;
}
