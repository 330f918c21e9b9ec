// What the fuzz targets share: taking an input apart, feeding it to a stream, and giving up.
#ifndef VIREON_FUZZ_INPUT_H
#define VIREON_FUZZ_INPUT_H

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "core/streams.h"

extern "C" int LLVMFuzzerTestOneInput(const NPT_UInt8* data, std::size_t size);

// A property that no input may break; a broken one ends the program, as any other fault does.
inline void Require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "broken property: %s\n", property);
    std::abort();
}

// The first bytes of an input steer the run, the rest is the text to parse.
class FuzzInput {
  public:
    FuzzInput(const NPT_UInt8* data, std::size_t size) : data_(data), size_(size) {}

    // 0 once the input is used up.
    NPT_UInt8 TakeByte() {
        if (size_ == 0) return 0;
        --size_;
        return *data_++;
    }
    bool IsEmpty() const { return size_ == 0; }
    // Fewer where the input ends before.
    std::string TakeText(std::size_t length) {
        const std::size_t taken = std::min(length, size_);
        std::string text(reinterpret_cast<const char*>(data_), taken);
        data_ += taken;
        size_ -= taken;
        return text;
    }
    std::string TakeRest() {
        std::string rest(reinterpret_cast<const char*>(data_), size_);
        size_ = 0;
        return rest;
    }

  private:
    const NPT_UInt8* data_;
    std::size_t size_;
};

// Delivers a text at most piece bytes at a time, then the end result.
class PieceStream : public NPT_InputStream {
  public:
    static constexpr std::size_t kWhole = 0xFFFFFFFF;

    PieceStream(std::string text, std::size_t piece, NPT_Result end)
        : text_(std::move(text)), piece_(piece), end_(end) {}

    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override {
        if (read) *read = 0;
        if (position_ == text_.size()) return end_;
        const std::size_t taken =
            std::min({static_cast<std::size_t>(count), piece_, text_.size() - position_});
        std::memcpy(buffer, text_.data() + position_, taken);
        position_ += taken;
        if (read) *read = static_cast<NPT_UInt32>(taken);
        return NPT_SUCCESS;
    }
    NPT_Result GetAvailable(NPT_UInt64& available) override {
        available = text_.size() - position_;
        return NPT_SUCCESS;
    }

  private:
    const std::string text_;
    const std::size_t piece_;
    const NPT_Result end_;
    std::size_t position_ = 0;
};

struct ReadOutcome {
    std::string data;
    NPT_Result end = NPT_SUCCESS;  // what the read behind the data gave
};

// Reads to the end, at most count bytes at a time.
inline ReadOutcome ReadToEnd(NPT_InputStream& stream, NPT_UInt32 count) {
    ReadOutcome outcome;
    std::string buffer(count, '\0');
    for (;;) {
        NPT_UInt32 read = 0;
        outcome.end = stream.Read(&buffer[0], count, &read);
        Require(read <= count, "a read delivers no more than was asked for");
        Require(NPT_Succeeded(outcome.end) || read == 0, "a failed read delivers nothing");
        // A source may succeed without data for ever; nobody has to wait for its end.
        if (NPT_Failed(outcome.end) || read == 0) return outcome;
        outcome.data.append(buffer, 0, read);
    }
}

// One is where the other one begins: what is lost with a broken chunk depends on how it was cut.
inline bool OneBeginsTheOther(const std::string& one, const std::string& other) {
    const std::size_t length = std::min(one.size(), other.size());
    return one.compare(0, length, other, 0, length) == 0;
}

#endif
