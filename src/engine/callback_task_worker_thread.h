#ifndef VIREON_ENGINE_CALLBACK_TASK_WORKER_THREAD_H
#define VIREON_ENGINE_CALLBACK_TASK_WORKER_THREAD_H

#include <atomic>
#include <deque>
#include <memory>

#include "core/critical_section.h"
#include "core/event.h"
#include "device/zo_ssdp_device_info.h"
#include "engine/vireon_link.h"
#include "engine/worker_thread.h"

// The queue of found devices and the thread that hands them to the script, one at a time, in the
// order in which they were queued. Search threads only ever queue; this thread alone calls scripts.
//
// Any thread may call any operation. The queue never destroys records: getTask passes them to its
// caller, the dispatch thread destroys what it delivered, and what is left over waits for the
// engine or belongs to the script that queued it.
class CallbackTaskWorkerThread : public ZOWorkerThreadEX {
  public:
    using TaskQueue = std::deque<ZoSsdpDeviceInfo*>;

    explicit CallbackTaskWorkerThread(Vireon* vireon);
    ~CallbackTaskWorkerThread() override;

    // Takes ownership of the record; null is ignored.
    void addTask(ZoSsdpDeviceInfo* device);
    // The oldest record, which then belongs to the caller. Waits without a time limit while there
    // is none, with the interpreter lock released; null once IsStopped.
    ZoSsdpDeviceInfo* getTask();
    bool IsStopped() const { return m_pVireon.IsStopped(); }
    // Lets the thread end and waits for it without a time limit, with the interpreter lock
    // released; on the thread itself it does not wait.
    void Close();
    // As Close, without the wait.
    void SignalEnd();
    // Moves what is left in the other worker's queue behind what is in this one.
    void TakeTasksFrom(CallbackTaskWorkerThread& other);
    // Destroys what is left in the queue.
    void DestroyTasks();

    zorvane::Int32 Run() override;

    // The engine whose callable is called; null or a closed engine stops the worker.
    VireonLink m_pVireon;

  private:
    // Null when there is none.
    ZoSsdpDeviceInfo* PopTask();
    void Deliver(ZoSsdpDeviceInfo& device);

    std::shared_ptr<TaskQueue> m_tasks;
    Event m_taskEvent;
    CriticalSection m_taskLock;
    std::atomic<int> takers_{0};  // threads inside getTask
};

#endif
