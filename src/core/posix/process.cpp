#include "core/process.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

namespace {

// How many forks lie between here and the process that loaded this. The system's numbers come
// again: in another namespace, or when the process that had one is gone.
std::atomic<ProcessId> current{1};
const bool is_told_of_forks = pthread_atfork(nullptr, nullptr, [] { ++current; }) == 0;

}  // namespace

ProcessId CurrentProcess() {
    return is_told_of_forks ? current.load(std::memory_order_relaxed)
                            : static_cast<ProcessId>(getpid());
}
