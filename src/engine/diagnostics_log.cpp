#include "engine/diagnostics_log.h"

#include <cstdio>
#include <cstring>
#include <cwchar>

namespace {

// Characters of a line, its line break and terminator included; the message gets one less and its
// own terminator.
constexpr std::size_t kLineSize = 1024;
constexpr std::size_t kMessageSize = kLineSize - 1;

// Narrow lines have no level of their own.
constexpr NPT_Int32 kLevelOfNarrowLines = 3;

}  // namespace

DiagnosticsLog& DiagnosticsLog::Get() {
    static DiagnosticsLog* const log = new DiagnosticsLog(DiagnosticsPlatform::Get());
    return *log;
}

void DiagnosticsLog::Wide(NPT_Int32 level, const wchar_t* format, ...) {
    if (level > GetSwitch(log_level_, DiagnosticsPlatform::Switch::kLog)) return;
    wchar_t line[kLineSize] = {};
    va_list arguments;
    va_start(arguments, format);
    platform_.FormatWide(line, kMessageSize, format, arguments);
    va_end(arguments);
    std::wcscat(line, L"\n");
    platform_.WriteWide(line);
}

void DiagnosticsLog::Narrow(const char* format, ...) {
    if (GetSwitch(trace_, DiagnosticsPlatform::Switch::kTrace) == 0 &&
        GetSwitch(log_level_, DiagnosticsPlatform::Switch::kLog) < kLevelOfNarrowLines)
        return;
    char line[kLineSize] = {};
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, kMessageSize, format, arguments);
    va_end(arguments);
    std::strcat(line, "\n");
    platform_.WriteNarrow(line);
}

// Two threads may both read a switch the first time; they read the same value.
NPT_Int32 DiagnosticsLog::GetSwitch(CachedSwitch& cache, DiagnosticsPlatform::Switch which) {
    NPT_Int64 cached = cache;
    if (cached == kUnread) {
        NPT_UInt32 value = 0;
        if (!platform_.ReadSwitch(which, value)) value = 0;
        cached = value;
        cache = cached;
    }
    return static_cast<NPT_Int32>(static_cast<NPT_UInt32>(cached));
}
