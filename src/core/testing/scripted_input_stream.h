#ifndef VIREON_CORE_TESTING_SCRIPTED_INPUT_STREAM_H
#define VIREON_CORE_TESTING_SCRIPTED_INPUT_STREAM_H

#include <algorithm>
#include <cstring>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "core/streams.h"

// One answer to a read: bytes (none at all is a success without progress) or a failure.
struct ScriptedRead {
    ScriptedRead(const char* text) : bytes(text) {}
    ScriptedRead(std::string text) : bytes(std::move(text)) {}
    ScriptedRead(NPT_Result failure) : result(failure) {}

    std::string bytes;
    NPT_Result result = NPT_SUCCESS;
};

inline void PrintTo(const ScriptedRead& read, std::ostream* out) {
    if (NPT_Failed(read.result)) *out << "failure " << read.result;
    *out << '"' << read.bytes << '"';
}

// An input stream for tests that delivers what it was told, piece by piece: one read never joins
// two pieces, and a piece that is larger than the read is continued by the next. Behind the last
// piece every read gives the end result. Position, size and availability are not supported.
class ScriptedInputStream : public NPT_InputStream {
  public:
    explicit ScriptedInputStream(std::vector<ScriptedRead> script,
                                 NPT_Result end_result = NPT_ERROR_EOS)
        : script_(std::move(script)), end_result_(end_result) {}

    // The same for plain texts.
    template <typename Text>
    explicit ScriptedInputStream(const std::vector<Text>& pieces,
                                 NPT_Result end_result = NPT_ERROR_EOS)
        : script_(pieces.begin(), pieces.end()), end_result_(end_result) {}

    // How often it was read.
    int GetReadCount() const { return read_count_; }

    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override {
        ++read_count_;
        if (read) *read = 0;
        if (next_ == script_.size()) return end_result_;
        ScriptedRead& step = script_[next_];
        const std::size_t copied = std::min<std::size_t>(count, step.bytes.size());
        std::memcpy(buffer, step.bytes.data(), copied);
        step.bytes.erase(0, copied);
        if (step.bytes.empty()) ++next_;
        if (read) *read = static_cast<NPT_UInt32>(copied);
        return step.result;
    }

  private:
    std::vector<ScriptedRead> script_;
    std::size_t next_ = 0;
    NPT_Result end_result_;
    int read_count_ = 0;
};

#endif
