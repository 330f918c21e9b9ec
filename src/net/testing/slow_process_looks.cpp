#include "net/testing/slow_process_looks.h"

#include <thread>

#include "core/process.h"

namespace slow_process_looks {

thread_local std::chrono::milliseconds pace{0};

}  // namespace slow_process_looks

// In the place of CurrentProcess, which the linker knows by this name.
extern "C" ProcessId __real__Z14CurrentProcessv();
extern "C" ProcessId __wrap__Z14CurrentProcessv() {
    if (slow_process_looks::pace.count() > 0) std::this_thread::sleep_for(slow_process_looks::pace);
    return __real__Z14CurrentProcessv();
}
