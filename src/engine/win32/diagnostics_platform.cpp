#include <windows.h>

#include <cwchar>

#include "engine/diagnostics_log.h"

namespace {

constexpr const wchar_t* kKey = L"Software\\Zorvane\\Lumora20";
constexpr REGSAM kAccess = KEY_READ;

// Switches: values of a registry key, whatever their type. Lines: the debugger's channel.
class RegistryPlatform : public DiagnosticsPlatform {
  public:
    bool ReadSwitch(Switch which, NPT_UInt32& value) override {
        HKEY key = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, kAccess, &key) != ERROR_SUCCESS)
            return false;
        NPT_UInt32 read = 0;
        DWORD size = sizeof(read);
        const LSTATUS status =
            RegQueryValueExW(key, which == Switch::kLog ? L"log" : L"trace", nullptr, nullptr,
                             reinterpret_cast<BYTE*>(&read), &size);
        RegCloseKey(key);
        if (status != ERROR_SUCCESS) return false;
        value = read;
        return true;
    }

    void FormatWide(wchar_t* buffer, std::size_t size, const wchar_t* format,
                    va_list arguments) override {
        // Leaves the last character alone, which is the terminator.
        _vsnwprintf(buffer, size - 1, format, arguments);
    }

    void WriteWide(const wchar_t* line) override { OutputDebugStringW(line); }

    void WriteNarrow(const char* line) override { OutputDebugStringA(line); }
};

}  // namespace

DiagnosticsPlatform& DiagnosticsPlatform::Get() {
    static RegistryPlatform* const platform = new RegistryPlatform;
    return *platform;
}
