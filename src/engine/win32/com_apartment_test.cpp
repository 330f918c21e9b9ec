#include "engine/com_apartment.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <thread>

namespace {

// How often the program has found COM's library and not freed it since.
std::atomic<int> references{0};

BOOL WINAPI NotingGetModuleHandleEx(DWORD flags, LPCWSTR name, HMODULE* library) {
    static const auto real =
        reinterpret_cast<decltype(&GetModuleHandleExW)>(reinterpret_cast<void*>(
            GetProcAddress(GetModuleHandleA("kernel32.dll"), "GetModuleHandleExW")));
    const BOOL result = real(flags, name, library);
    if (result && flags == 0) ++references;
    return result;
}

BOOL WINAPI NotingFreeLibrary(HMODULE library) {
    static const auto real = reinterpret_cast<decltype(&FreeLibrary)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32.dll"), "FreeLibrary")));
    --references;
    return real(library);
}

}  // namespace

// What the program itself defines, the linker does not take from the system's import library.
extern "C" const decltype(&GetModuleHandleExW) __imp_GetModuleHandleExW = NotingGetModuleHandleEx;
extern "C" const decltype(&FreeLibrary) __imp_FreeLibrary = NotingFreeLibrary;

namespace {

// Asks the library itself, once it is in the process, what the thread's apartment is.
HRESULT Initialize(DWORD model) {
    const HMODULE library = LoadLibraryW(L"ole32.dll");
    const auto initialize = reinterpret_cast<HRESULT(WINAPI*)(void*, DWORD)>(
        reinterpret_cast<void*>(GetProcAddress(library, "CoInitializeEx")));
    const auto uninitialize = reinterpret_cast<void(WINAPI*)()>(
        reinterpret_cast<void*>(GetProcAddress(library, "CoUninitialize")));
    const HRESULT status = initialize(nullptr, model);
    if (SUCCEEDED(status)) uninitialize();
    return status;
}

constexpr DWORD kMultithreaded = 0;
constexpr DWORD kApartmentThreaded = 2;

TEST(WindowsComApartment, IsTheMultithreadedOneForItsScope) {
    HRESULT same_inside = E_FAIL;
    HRESULT other_inside = E_FAIL;
    HRESULT other_behind = E_FAIL;
    std::thread([&] {
        ASSERT_NE(LoadLibraryW(L"ole32.dll"), nullptr);
        {
            const ComApartment apartment;
            same_inside = Initialize(kMultithreaded);
            other_inside = Initialize(kApartmentThreaded);
        }
        other_behind = Initialize(kApartmentThreaded);
    }).join();
    EXPECT_EQ(same_inside, S_FALSE);
    EXPECT_EQ(other_inside, RPC_E_CHANGED_MODE);
    EXPECT_EQ(other_behind, S_OK);
}

// A host may free it at any time.
TEST(WindowsComApartment, KeepsTheLibraryForItsScope) {
    int inside = 0;
    int behind = 0;
    std::thread([&] {
        ASSERT_NE(LoadLibraryW(L"ole32.dll"), nullptr);
        const int before = references;
        {
            const ComApartment apartment;
            inside = references - before;
        }
        behind = references - before;
    }).join();
    EXPECT_EQ(inside, 1);
    EXPECT_EQ(behind, 0);
}

}  // namespace
