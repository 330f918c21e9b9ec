#include "engine/com_apartment.h"

#include <windows.h>

#include "engine/diagnostics_log.h"

namespace {

// COINIT_MULTITHREADED is 0. A media host has no use for the hidden windows of OLE 1.
constexpr DWORD kDisableOle1Dde = 4;

// The host decides whether COM is in the process at all: the library is looked up, never loaded.
// It stays there until it is freed as often as it was found.
HMODULE FindComLibrary() {
    HMODULE library = nullptr;
    GetModuleHandleExW(0, L"ole32.dll", &library);
    return library;
}

template <typename Function>
Function FindEntry(HMODULE library, const char* name) {
    if (!library) return nullptr;
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

}  // namespace

bool ComApartment::Enter() {
    const HMODULE library = FindComLibrary();
    if (!library) DiagnosticsLog::Get().Narrow("couldn't locate ole32.dll");
    const auto initialize =
        FindEntry<HRESULT(WINAPI*)(void* reserved, DWORD)>(library, "CoInitializeEx");
    const HRESULT status = initialize ? initialize(nullptr, kDisableOle1Dde) : E_FAIL;
    if (SUCCEEDED(status)) return true;
    DiagnosticsLog::Get().Narrow("CoInitializeEx failed.");
    if (library) FreeLibrary(library);
    return false;
}

void ComApartment::Leave() {
    // There for as long as the thread is inside.
    const HMODULE library = GetModuleHandleW(L"ole32.dll");
    const auto uninitialize = FindEntry<void(WINAPI*)()>(library, "CoUninitialize");
    if (uninitialize) uninitialize();
    FreeLibrary(library);
}
