#ifndef VIREON_ENGINE_WORKER_THREAD_H
#define VIREON_ENGINE_WORKER_THREAD_H

#include <atomic>
#include <memory>

#include "core/critical_section.h"
#include "core/system_thread.h"
#include "core/types.h"

// The base of both workers: owns one system thread and runs the subclass's Run on it, inside COM
// initialisation where there is COM.
//
// A worker that a shared pointer owns is also held by its own running thread, so dropping the last
// other reference never frees what that thread uses; any other worker is destroyed by its owner,
// which waits for the thread. Every subclass's destructor begins with JoinThread, so that the
// thread has ended before the members go. Any thread may call Start and JoinThread.
class ZOWorkerThreadEX : public std::enable_shared_from_this<ZOWorkerThreadEX> {
  public:
    // The work. Its result becomes the thread's exit code.
    virtual zorvane::Int32 Run() = 0;
    virtual ~ZOWorkerThreadEX();
    ZOWorkerThreadEX(const ZOWorkerThreadEX&) = delete;
    ZOWorkerThreadEX& operator=(const ZOWorkerThreadEX&) = delete;

    // 1 when this call created the thread, 0 when there was one already or none could be had.
    NPT_Int32 Start();
    // Whether its thread has done its work: it uses nothing of the worker any more.
    bool HasEnded() const { return has_ended_; }
    // The body of the worker's thread: the result of Run, or the invalid-pointer status 0x80004003
    // for null. An exception that escapes from Run ends it with the general failure 0x80004005.
    static NPT_UInt32 RunInsideApartment(ZOWorkerThreadEX* worker);

  protected:
    ZOWorkerThreadEX() = default;
    // Takes the thread away, so that it is waited for once, and waits without a time limit, with
    // the interpreter lock released. Returns at once when there is none, when somebody else took
    // it, on the thread itself and in a forked child, which has no such thread.
    void JoinThread();

  private:
    static NPT_UInt32 ThreadEntry(void* start);

    CriticalSection start_lock_;  // one Start at a time
    std::atomic<SystemThread*> thread_{nullptr};
    std::atomic<bool> has_ended_{false};
};

#endif
