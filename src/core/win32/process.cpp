#include "core/process.h"

#include <windows.h>

ProcessId CurrentProcess() {
    return GetCurrentProcessId();
}
