#include "core/process.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

namespace {

std::atomic<ProcessId> current{static_cast<ProcessId>(getpid())};
const bool is_told_of_forks =
    pthread_atfork(nullptr, nullptr, [] { current = static_cast<ProcessId>(getpid()); }) == 0;

}  // namespace

ProcessId CurrentProcess() {
    return is_told_of_forks ? current.load(std::memory_order_relaxed)
                            : static_cast<ProcessId>(getpid());
}
