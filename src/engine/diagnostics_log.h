#ifndef VIREON_ENGINE_DIAGNOSTICS_LOG_H
#define VIREON_ENGINE_DIAGNOSTICS_LOG_H

#include <atomic>
#include <cstdarg>
#include <cstddef>

#include "core/types.h"

// What the log needs of the platform: the two switches and a place for lines.
class DiagnosticsPlatform {
  public:
    enum class Switch { kLog, kTrace };

    virtual ~DiagnosticsPlatform() = default;
    // The switch's 32 bits; false when it is absent or cannot be read.
    virtual bool ReadSwitch(Switch which, NPT_UInt32& value) = 0;
    // Formats into a zero-filled buffer of size characters, its last one stays 0; what does not fit
    // is cut.
    virtual void FormatWide(wchar_t* buffer, std::size_t size, const wchar_t* format,
                            va_list arguments) = 0;
    virtual void WriteWide(const wchar_t* line) = 0;
    virtual void WriteNarrow(const char* line) = 0;

    // Windows: registry and debugger channel. POSIX: environment and standard error.
    static DiagnosticsPlatform& Get();
};

// Lines for whoever debugs a host application; silent unless switched on. Each line holds at most
// 1022 characters and a line break. Each switch is read once, when it is first needed. Any thread.
class DiagnosticsLog {
  public:
    explicit DiagnosticsLog(DiagnosticsPlatform& platform) : platform_(platform) {}
    DiagnosticsLog(const DiagnosticsLog&) = delete;
    DiagnosticsLog& operator=(const DiagnosticsLog&) = delete;

    // Written when level is at most the "log" switch, both signed.
    void Wide(NPT_Int32 level, const wchar_t* format, ...);
    // Written when the "trace" switch is not 0 or the "log" switch is at least 3.
    void Narrow(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // The process's log; never destroyed, since threads may outlive the exit handlers.
    static DiagnosticsLog& Get();

  private:
    // A 32-bit switch, or nothing read yet.
    using CachedSwitch = std::atomic<NPT_Int64>;
    static constexpr NPT_Int64 kUnread = NPT_Int64{1} << 32;

    NPT_Int32 GetSwitch(CachedSwitch& cache, DiagnosticsPlatform::Switch which);

    DiagnosticsPlatform& platform_;
    CachedSwitch log_level_{kUnread};
    CachedSwitch trace_{kUnread};
};

#endif
