#ifndef VIREON_CORE_TESTING_LIMITED_OUTPUT_STREAM_H
#define VIREON_CORE_TESTING_LIMITED_OUTPUT_STREAM_H

#include <algorithm>
#include <limits>
#include <string>

#include "core/streams.h"

// An output stream for tests that takes at most per_write bytes at once and limit bytes in all;
// from then on every write gives the end result (NPT_SUCCESS: a write without progress). Keeps what
// it took and counts its writes.
class LimitedOutputStream : public NPT_OutputStream {
  public:
    static constexpr NPT_UInt32 kNoLimit = std::numeric_limits<NPT_UInt32>::max();

    explicit LimitedOutputStream(NPT_UInt32 limit = kNoLimit,
                                 NPT_Result end_result = NPT_ERROR_WRITE_FAILED,
                                 NPT_UInt32 per_write = kNoLimit)
        : limit_(limit), end_result_(end_result), per_write_(per_write) {}

    const std::string& GetTaken() const { return taken_; }
    int GetWriteCount() const { return write_count_; }

    NPT_Result Write(const void* buffer, NPT_UInt32 count, NPT_UInt32* written) override {
        ++write_count_;
        if (written) *written = 0;
        const auto left = limit_ - static_cast<NPT_UInt32>(taken_.size());
        if (left == 0) return end_result_;
        const NPT_UInt32 now = std::min({count, per_write_, left});
        taken_.append(static_cast<const char*>(buffer), now);
        if (written) *written = now;
        return NPT_SUCCESS;
    }
    NPT_Result Tell(NPT_UInt64& offset) override {
        offset = taken_.size();
        return NPT_SUCCESS;
    }

  private:
    const NPT_UInt32 limit_;
    const NPT_Result end_result_;
    const NPT_UInt32 per_write_;
    std::string taken_;
    int write_count_ = 0;
};

#endif
