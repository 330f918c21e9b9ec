#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <cwchar>
#include <string>
#include <vector>

#include "engine/diagnostics_log.h"

namespace {

// Characters that are put together for a line, which keeps the first of them only.
constexpr std::size_t kLargestWideText = 1 << 20;

// Decimal or 0x-hexadecimal, 32 bits, nothing else around it.
bool ParseSwitch(const char* text, NPT_UInt32& value) {
    const bool is_hexadecimal = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char* const digits = is_hexadecimal ? text + 2 : text;
    const char* const allowed = is_hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
    if (!*digits || digits[strspn(digits, allowed)]) return false;
    errno = 0;
    const unsigned long long number = strtoull(digits, nullptr, is_hexadecimal ? 16 : 10);
    if (errno || number > UINT32_MAX) return false;
    value = static_cast<NPT_UInt32>(number);
    return true;
}

void AppendUtf8(std::string& text, NPT_UInt32 character) {
    const auto append = [&text](NPT_UInt32 byte) { text += static_cast<char>(byte); };
    const auto append_rest = [&append, character](unsigned shift) {
        append(0x80 | (character >> shift & 0x3F));
    };
    if (character < 0x80) {
        append(character);
    } else if (character < 0x800) {
        append(0xC0 | character >> 6);
        append_rest(0);
    } else if (character < 0x10000) {
        append(0xE0 | character >> 12);
        append_rest(6);
        append_rest(0);
    } else {
        append(0xF0 | (character >> 18 & 0x07));
        append_rest(12);
        append_rest(6);
        append_rest(0);
    }
}

// Milliseconds that a reader who is behind holds a line up, with whoever writes it and his locks.
constexpr int kLongestWait = 10;

bool HasRoomForMore() {
    pollfd entry = {STDERR_FILENO, POLLOUT, 0};
    return poll(&entry, 1, kLongestWait) != 0;
}

// In one piece where the system lets us, so that lines of several threads do not mix. What finds no
// room is left out.
void WriteToStandardError(const char* text, size_t length) {
    while (length > 0 && HasRoomForMore()) {
        const ssize_t written = write(STDERR_FILENO, text, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text += written;
        length -= static_cast<size_t>(written);
    }
}

// Switches: VIREON_LOG and VIREON_TRACE. Lines: standard error, wide ones as UTF-8.
class EnvironmentPlatform : public DiagnosticsPlatform {
  public:
    bool ReadSwitch(Switch which, NPT_UInt32& value) override {
        const char* const text = getenv(which == Switch::kLog ? "VIREON_LOG" : "VIREON_TRACE");
        return text && ParseSwitch(text, value);
    }

    // vswprintf leaves the buffer undefined when the text does not fit: a larger one is tried, and
    // a text beyond the largest is left out.
    void FormatWide(wchar_t* buffer, std::size_t size, const wchar_t* format,
                    va_list arguments) override {
        for (std::size_t room = size; room <= kLargestWideText; room *= 4) {
            std::vector<wchar_t> text(room);
            va_list copy;
            va_copy(copy, arguments);
            const int length = std::vswprintf(text.data(), room, format, copy);
            va_end(copy);
            if (length < 0) continue;
            std::wcsncpy(buffer, text.data(), size - 1);
            return;
        }
    }

    void WriteWide(const wchar_t* line) override {
        std::string text;
        for (; *line; ++line)
            AppendUtf8(text, static_cast<NPT_UInt32>(*line));
        WriteToStandardError(text.data(), text.size());
    }

    void WriteNarrow(const char* line) override { WriteToStandardError(line, strlen(line)); }
};

}  // namespace

DiagnosticsPlatform& DiagnosticsPlatform::Get() {
    static EnvironmentPlatform* const platform = new EnvironmentPlatform;
    return *platform;
}
