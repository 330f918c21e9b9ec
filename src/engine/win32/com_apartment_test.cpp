#include "engine/com_apartment.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <thread>

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

}  // namespace
