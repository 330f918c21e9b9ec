#include "engine/diagnostics_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdarg>
#include <string>

namespace {

class EnvironmentSwitch : public testing::Test {
  protected:
    ~EnvironmentSwitch() override {
        unsetenv("VIREON_LOG");
        unsetenv("VIREON_TRACE");
    }
    static bool Read(DiagnosticsPlatform::Switch which, NPT_UInt32& value) {
        return DiagnosticsPlatform::Get().ReadSwitch(which, value);
    }
};

TEST_F(EnvironmentSwitch, IsADecimalOrHexadecimalNumberOf32Bits) {
    const struct {
        const char* text;
        NPT_UInt32 value;
    } cases[] = {{"0", 0},
                 {"5", 5},
                 {"010", 10},
                 {"4294967295", 0xFFFFFFFF},
                 {"0x5", 5},
                 {"0Xff", 255},
                 {"0xFFFFFFFF", 0xFFFFFFFF}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.text);
        setenv("VIREON_LOG", test.text, 1);
        NPT_UInt32 value = 77;
        EXPECT_TRUE(Read(DiagnosticsPlatform::Switch::kLog, value));
        EXPECT_EQ(value, test.value);
    }
}

TEST_F(EnvironmentSwitch, IsOffWhenItIsNoNumber) {
    for (const char* text : {"", " 5", "5 ", "-1", "+5", "0x", "x5", "5x", "0x1g", "4294967296",
                             "0x100000000", "99999999999999999999999999", "yes"}) {
        SCOPED_TRACE(text);
        setenv("VIREON_LOG", text, 1);
        NPT_UInt32 value = 77;
        EXPECT_FALSE(Read(DiagnosticsPlatform::Switch::kLog, value));
        EXPECT_EQ(value, 77u);
    }
}

TEST_F(EnvironmentSwitch, IsOneOfTwo) {
    setenv("VIREON_TRACE", "1", 1);
    NPT_UInt32 value = 77;
    EXPECT_FALSE(Read(DiagnosticsPlatform::Switch::kLog, value));
    EXPECT_TRUE(Read(DiagnosticsPlatform::Switch::kTrace, value));
    EXPECT_EQ(value, 1u);
}

TEST(DiagnosticsOutput, IsStandardErrorWithWideTextAsUtf8) {
    testing::internal::CaptureStderr();
    DiagnosticsPlatform::Get().WriteWide(L"a\u00e9\u20ac\U0001F600\n");
    DiagnosticsPlatform::Get().WriteNarrow("narrow\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\nnarrow\n");
}

TEST(DiagnosticsOutput, TakesNoMoreBytesForACharacterThanItNeeds) {
    testing::internal::CaptureStderr();
    const wchar_t edges[] = {0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0};
    DiagnosticsPlatform::Get().WriteWide(edges);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80");
}

// The standard error as a pipe for a scope, which nobody reads.
class FullStandardError {
  public:
    FullStandardError() : before_(dup(STDERR_FILENO)) {
        if (pipe2(ends_, O_NONBLOCK) != 0) return;
        while (write(ends_[1], "x", 1) == 1) {
        }
        fcntl(ends_[1], F_SETFL, 0);
        dup2(ends_[1], STDERR_FILENO);
    }
    FullStandardError(const FullStandardError&) = delete;
    FullStandardError& operator=(const FullStandardError&) = delete;
    ~FullStandardError() {
        dup2(before_, STDERR_FILENO);
        for (const int descriptor : {before_, ends_[0], ends_[1]})
            close(descriptor);
    }

  private:
    const int before_;
    int ends_[2] = {-1, -1};
};

TEST(DiagnosticsOutput, LeavesOutWhatAReaderWhoIsBehindHasNoRoomFor) {
    using Clock = std::chrono::steady_clock;
    alarm(60);
    FullStandardError standard_error;
    const Clock::time_point start = Clock::now();
    DiagnosticsPlatform::Get().WriteWide(L"wide\n");
    DiagnosticsPlatform::Get().WriteNarrow("narrow\n");
    const Clock::duration taken = Clock::now() - start;
    alarm(0);
    EXPECT_LT(taken, std::chrono::seconds(10));
    EXPECT_GE(taken, std::chrono::milliseconds(20));
}

std::wstring FormatWide(const wchar_t* format, ...) {
    wchar_t buffer[1024] = {};
    va_list arguments;
    va_start(arguments, format);
    DiagnosticsPlatform::Get().FormatWide(buffer, 1024, format, arguments);
    va_end(arguments);
    return buffer;
}

TEST(DiagnosticsOutput, LeavesOutAWideTextThatIsTooLong) {
    EXPECT_EQ(FormatWide(L"%0*d", (1 << 20) - 1, 0), std::wstring(1023, L'0'));
    EXPECT_EQ(FormatWide(L"%0*d", 1 << 20, 0), L"");
}

}  // namespace
