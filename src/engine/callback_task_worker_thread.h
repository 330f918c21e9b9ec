#ifndef VIREON_ENGINE_CALLBACK_TASK_WORKER_THREAD_H
#define VIREON_ENGINE_CALLBACK_TASK_WORKER_THREAD_H

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>

#include "binding/interpreter/interpreter_lock.h"
#include "core/critical_section.h"
#include "core/event.h"
#include "core/process.h"
#include "core/thread_annotations.h"
#include "core/types.h"
#include "device/zo_ssdp_device_info.h"
#include "engine/lock_order.h"
#include "engine/vireon_link.h"
#include "engine/worker_thread.h"

// The queue of found devices and the thread that hands them to the script, one at a time, in the
// order in which they were queued. Search threads only ever queue; this thread alone calls scripts.
//
// Any thread may call any operation. A record belongs to the queue from addTask to getTask, then to
// whoever took it; the dispatch thread destroys what it delivered. What is left over when the
// worker ends stays until DestroyTasks, or belongs to the script that queued it. Memory that runs
// out during a delivery costs that record.
class CallbackTaskWorkerThread : public ZOWorkerThreadEX {
  public:
    using TaskQueue = std::deque<ZoSsdpDeviceInfo*>;
    // Held by the one dispatch thread of an engine that may deliver. A search that a script starts
    // from its callable makes a new dispatch thread while the old one is still inside that call.
    using DeliveryTurn = std::atomic<bool>;

    // A worker of a script's own: without a limit, without others.
    explicit CallbackTaskWorkerThread(Vireon* vireon);
    // The worker of a search: its queue holds at most limit records, and its thread delivers only
    // while it has the turn, which is not null.
    CallbackTaskWorkerThread(Vireon* vireon, std::size_t limit, std::shared_ptr<DeliveryTurn> turn);
    ~CallbackTaskWorkerThread() override;

    // Takes ownership of the record, except when it throws because memory runs out. Null is queued
    // as well; getTask gives it on, the dispatch thread passes over it. A record beyond the limit
    // is destroyed and counted; the first one of a worker is said in the diagnostics, at level 3.
    void addTask(ZoSsdpDeviceInfo* device);
    // addTask in two steps, of which the second one is due once for any number of records.
    void QueueTask(ZoSsdpDeviceInfo* device);
    void WakeTakers();
    // The oldest record, which then belongs to the caller; null also when null was queued. Waits
    // without a time limit while there is none, with the interpreter lock released; null when it
    // finds IsStopped. The engine's own end does not end the wait, Close and SetEngine do.
    ZoSsdpDeviceInfo* getTask() EXCLUDES(m_taskLock);
    bool IsStopped() const { return m_pVireon.IsStopped(); }
    // Lets the thread end and waits for it without a time limit, with the interpreter lock
    // released; on the thread itself it does not wait.
    void Close() EXCLUDES(m_taskLock);
    // As Close, without the wait.
    void SignalEnd() { SetEngine(nullptr); }
    // The engine whose callable is called; none or a closed one stops the worker.
    void SetEngine(Vireon* vireon);
    // Valid for as long as the caller knows by other means that the engine is not destroyed.
    Vireon* GetEngine() const { return m_pVireon.load(); }
    // Takes over what is left in the other worker's queue; this one's must still be empty. Takes no
    // memory, so that it cannot fail half-way. Two workers must not take from each other at once.
    void TakeTasksFrom(CallbackTaskWorkerThread& other);
    // Destroys what is left in the queue, and what the dispatch thread has taken but not delivered.
    void DestroyTasks() EXCLUDES(m_taskLock);
    // Records that found the queue full.
    NPT_UInt64 GetDroppedCount() const { return dropped_count_; }

    zorvane::Int32 Run() override;

  private:
    // False when there is none.
    bool PopTask(ZoSsdpDeviceInfo*& device);
    // Puts a record that was taken back where it was, unless all that was there is destroyed.
    void ReturnTask(std::unique_ptr<ZoSsdpDeviceInfo> device);
    // False when the worker was stopped meanwhile.
    bool WaitForTurn() const EXCLUDES(m_taskLock);
    bool HasTasks() EXCLUDES(m_taskLock);
    void DeliverUntilStopped() EXCLUDES(m_taskLock);
    // What getTask gives. The dispatch thread has no state in the interpreter while it waits.
    ZoSsdpDeviceInfo* GetNextTask(VisitorState& state) EXCLUDES(m_taskLock);
    // False when the worker was stopped before the call, for example while it waited for the
    // interpreter lock: then the record is still to be delivered.
    bool Deliver(ZoSsdpDeviceInfo& device, VisitorState& state) EXCLUDES(m_taskLock);
    // A search goes on, in the process where it began.
    bool GoesOn() const { return process_ == CurrentProcess() && !IsStopped(); }

    VireonLink m_pVireon;
    std::shared_ptr<TaskQueue> m_tasks GUARDED_BY(m_taskLock);
    // What a taker waits for who found nothing to take. He resets it under the lock, unless the
    // worker has no engine, so that he misses no end.
    Event m_taskEvent;
    // Whether there may be such takers, so that the event has to be set.
    std::atomic<bool> is_awaited_{false};
    CriticalSection m_taskLock ACQUIRED_AFTER(lock_order::queue) ACQUIRED_BEFORE(lock_order::link);
    bool has_engine_ GUARDED_BY(m_taskLock);
    bool is_discarded_ GUARDED_BY(m_taskLock) = false;  // DestroyTasks was called
    const std::size_t limit_;
    const std::shared_ptr<DeliveryTurn> turn_;
    std::atomic<NPT_UInt64> dropped_count_{0};
    const ProcessId process_ = CurrentProcess();
    std::atomic<int> takers_{0};  // threads of that process inside getTask
};

#endif
