#ifndef VIREON_NET_TESTING_SLOW_PROCESS_LOOKS_H
#define VIREON_NET_TESTING_SLOW_PROCESS_LOOKS_H

#include <chrono>

// The program's looks at which process it is, which a test may slow down.
namespace slow_process_looks {

// How long this thread takes before each CurrentProcess.
extern thread_local std::chrono::milliseconds pace;

}  // namespace slow_process_looks

#endif
