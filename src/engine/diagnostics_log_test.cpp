#include "engine/diagnostics_log.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace {

class FakePlatform : public DiagnosticsPlatform {
  public:
    bool ReadSwitch(Switch which, NPT_UInt32& value) override {
        ++reads[which];
        const auto found = switches.find(which);
        if (found == switches.end()) return false;
        value = found->second;
        return true;
    }
    void FormatWide(wchar_t* buffer, std::size_t size, const wchar_t* format,
                    va_list arguments) override {
        Get().FormatWide(buffer, size, format, arguments);
    }
    void WriteWide(const wchar_t* line) override { wide.emplace_back(line); }
    void WriteNarrow(const char* line) override { narrow.emplace_back(line); }

    std::map<Switch, NPT_UInt32> switches;
    std::map<Switch, int> reads;
    std::vector<std::wstring> wide;
    std::vector<std::string> narrow;
};

class DiagnosticsLogTest : public testing::Test {
  protected:
    void Set(DiagnosticsPlatform::Switch which, NPT_UInt32 value) {
        platform_.switches[which] = value;
    }
    static constexpr auto kLog = DiagnosticsPlatform::Switch::kLog;
    static constexpr auto kTrace = DiagnosticsPlatform::Switch::kTrace;

    FakePlatform platform_;
    DiagnosticsLog log_{platform_};
};

TEST_F(DiagnosticsLogTest, IsSilentUnlessSwitchedOn) {
    log_.Wide(5, L"wide");
    log_.Wide(1, L"wide");
    log_.Narrow("narrow");
    EXPECT_TRUE(platform_.wide.empty());
    EXPECT_TRUE(platform_.narrow.empty());
}

TEST_F(DiagnosticsLogTest, WritesWideLinesUpToItsLevel) {
    const struct {
        NPT_UInt32 level;
        bool wide;
        bool narrow;
    } cases[] = {{0, false, false},
                 {2, false, false},
                 {3, false, true},
                 {4, false, true},
                 {5, true, true},
                 {0x7FFFFFFF, true, true},
                 // Signed, these are negative.
                 {0x80000000, false, false},
                 {0xFFFFFFFF, false, false}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.level);
        FakePlatform platform;
        platform.switches[kLog] = test.level;
        DiagnosticsLog log(platform);
        log.Wide(5, L"wide");
        log.Narrow("narrow");
        EXPECT_EQ(!platform.wide.empty(), test.wide);
        EXPECT_EQ(!platform.narrow.empty(), test.narrow);
    }
}

TEST_F(DiagnosticsLogTest, WritesOnlyNarrowLinesWhenTracing) {
    for (const NPT_UInt32 trace : {1u, 0x80000000u, 0xFFFFFFFFu}) {
        FakePlatform platform;
        platform.switches[kTrace] = trace;
        DiagnosticsLog log(platform);
        log.Wide(5, L"wide");
        log.Narrow("narrow");
        EXPECT_TRUE(platform.wide.empty());
        EXPECT_EQ(platform.narrow, std::vector<std::string>{"narrow\n"});
    }
}

TEST_F(DiagnosticsLogTest, ReadsEachSwitchOnceWhenItIsNeeded) {
    Set(kLog, 0xFFFFFFFF);
    log_.Wide(5, L"wide");
    log_.Wide(5, L"wide");
    EXPECT_EQ(platform_.reads[kLog], 1);
    EXPECT_EQ(platform_.reads[kTrace], 0);
    log_.Narrow("narrow");
    log_.Narrow("narrow");
    EXPECT_EQ(platform_.reads[kLog], 1);
    EXPECT_EQ(platform_.reads[kTrace], 1);
}

TEST_F(DiagnosticsLogTest, IgnoresLaterChangesOfTheSwitches) {
    log_.Wide(5, L"wide");
    Set(kLog, 5);
    log_.Wide(5, L"wide");
    EXPECT_TRUE(platform_.wide.empty());
}

TEST_F(DiagnosticsLogTest, FormatsArguments) {
    Set(kLog, 5);
    log_.Wide(5, L"thread %d of %d", -7, 12);
    log_.Narrow("thread %d of %s", 7, "twelve");
    EXPECT_EQ(platform_.wide, std::vector<std::wstring>{L"thread -7 of 12\n"});
    EXPECT_EQ(platform_.narrow, std::vector<std::string>{"thread 7 of twelve\n"});
}

TEST_F(DiagnosticsLogTest, CutsMessagesAt1022CharactersAndEndsTheLine) {
    Set(kLog, 5);
    for (const int length : {0, 1, 1021, 1022, 1023, 1024, 5000}) {
        SCOPED_TRACE(length);
        const auto kept = static_cast<std::size_t>(length < 1022 ? length : 1022);
        platform_.wide.clear();
        platform_.narrow.clear();
        log_.Wide(5, L"%0*d", length + 1, 0);
        log_.Wide(5, std::wstring(static_cast<std::size_t>(length), L'x').c_str());
        log_.Narrow("%s", std::string(static_cast<std::size_t>(length), 'x').c_str());
        EXPECT_EQ(platform_.wide[1], std::wstring(kept, L'x') + L"\n");
        EXPECT_EQ(platform_.narrow[0], std::string(kept, 'x') + "\n");
        EXPECT_EQ(platform_.wide[0].size(), std::min<std::size_t>(kept + 1, 1022) + 1);
    }
}

TEST_F(DiagnosticsLogTest, IsOneForTheProcess) {
    EXPECT_EQ(&DiagnosticsLog::Get(), &DiagnosticsLog::Get());
}

}  // namespace
