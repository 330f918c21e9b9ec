#include "engine/diagnostics_log.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace {

// The switches' part of the registry, in a key of the test's own: for this process it takes the
// place of the machine's, which stays as it is.
class RegistrySwitch : public testing::Test {
  protected:
    static constexpr const wchar_t* kStandIn = L"Software\\VireonRegistryTest";
    static constexpr const wchar_t* kKey = L"Software\\Zorvane\\Lumora20";

    void SetUp() override {
        RegDeleteTreeW(HKEY_CURRENT_USER, kStandIn);
        HKEY stand_in = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, kStandIn, 0, nullptr, 0, KEY_ALL_ACCESS,
                                  nullptr, &stand_in, nullptr),
                  ERROR_SUCCESS);
        ASSERT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, stand_in), ERROR_SUCCESS);
        RegCloseKey(stand_in);
    }
    void TearDown() override {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegDeleteTreeW(HKEY_CURRENT_USER, kStandIn);
    }
    static void Write(const wchar_t* name, DWORD type, const void* data, DWORD size) {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_WRITE, nullptr, &key,
                                  nullptr),
                  ERROR_SUCCESS);
        EXPECT_EQ(RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), size),
                  ERROR_SUCCESS);
        RegCloseKey(key);
    }
    static bool Read(DiagnosticsPlatform::Switch which, NPT_UInt32& value) {
        return DiagnosticsPlatform::Get().ReadSwitch(which, value);
    }
};

TEST_F(RegistrySwitch, IsAbsentWithoutItsKey) {
    NPT_UInt32 value = 77;
    EXPECT_FALSE(Read(DiagnosticsPlatform::Switch::kLog, value));
    EXPECT_FALSE(Read(DiagnosticsPlatform::Switch::kTrace, value));
    EXPECT_EQ(value, 77u);
}

TEST_F(RegistrySwitch, IsAValueOfFourBytes) {
    const DWORD level = 0xFFFFFFFF;
    Write(L"log", REG_DWORD, &level, sizeof(level));
    NPT_UInt32 value = 77;
    EXPECT_TRUE(Read(DiagnosticsPlatform::Switch::kLog, value));
    EXPECT_EQ(value, 0xFFFFFFFF);
    EXPECT_FALSE(Read(DiagnosticsPlatform::Switch::kTrace, value));
}

TEST_F(RegistrySwitch, MayHaveAnyType) {
    const BYTE trace[] = {1, 0, 0, 0};
    Write(L"trace", REG_BINARY, trace, sizeof(trace));
    NPT_UInt32 value = 77;
    EXPECT_TRUE(Read(DiagnosticsPlatform::Switch::kTrace, value));
    EXPECT_EQ(value, 1u);
}

TEST_F(RegistrySwitch, IsAbsentWhenItIsLongerThanFourBytes) {
    const wchar_t text[] = L"five";
    Write(L"log", REG_SZ, text, sizeof(text));
    NPT_UInt32 value = 77;
    EXPECT_FALSE(Read(DiagnosticsPlatform::Switch::kLog, value));
    EXPECT_EQ(value, 77u);
}

}  // namespace
