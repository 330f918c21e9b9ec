#include "engine/worker_thread.h"

#include <utility>

#include "binding/interpreter/interpreter_lock.h"
#include "engine/com_apartment.h"

namespace {

// Statuses of COM, which is where exit codes of worker threads come from.
constexpr NPT_UInt32 kInvalidPointer = 0x80004003;
constexpr NPT_UInt32 kGeneralFailure = 0x80004005;

struct ThreadStart {
    ZOWorkerThreadEX* worker;
    std::shared_ptr<ZOWorkerThreadEX> keeper;  // null when no shared pointer owns the worker
};

}  // namespace

ZOWorkerThreadEX::~ZOWorkerThreadEX() {
    JoinThread();
}

NPT_Int32 ZOWorkerThreadEX::Start() {
    const CriticalSectionLock guard(start_lock_);
    if (thread_) return 0;
    auto start = std::make_unique<ThreadStart>(ThreadStart{this, weak_from_this().lock()});
    std::unique_ptr<SystemThread> thread = SystemThread::Start(ThreadEntry, start.get());
    if (!thread) return 0;
    start.release();  // the thread's now
    thread_ = thread.release();
    return 1;
}

NPT_UInt32 ZOWorkerThreadEX::ThreadEntry(void* start) {
    const std::unique_ptr<ThreadStart> own(static_cast<ThreadStart*>(start));
    const NPT_UInt32 result = RunInsideApartment(own->worker);
    if (own->worker) own->worker->has_ended_ = true;
    return result;
}

NPT_UInt32 ZOWorkerThreadEX::RunInsideApartment(ZOWorkerThreadEX* worker) {
    ComApartment apartment;
    if (!worker) return kInvalidPointer;
    try {
        return static_cast<NPT_UInt32>(worker->Run());
    } catch (...) {
        // Out of memory, most likely. This worker ends, the host's process does not.
        return kGeneralFailure;
    }
}

void ZOWorkerThreadEX::JoinThread() {
    const std::unique_ptr<SystemThread> thread(thread_.exchange(nullptr));
    if (!thread) return;
    PyAutoUnlock2 unlocked;
    thread->Join();
}
