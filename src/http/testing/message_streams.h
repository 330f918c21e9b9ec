// Streams and helpers for the tests of this folder.
#ifndef VIREON_HTTP_TESTING_MESSAGE_STREAMS_H
#define VIREON_HTTP_TESTING_MESSAGE_STREAMS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "core/buffered_input_stream.h"
#include "core/streams.h"
#include "core/testing/scripted_input_stream.h"
#include "http/http_connection.h"

// Delivers one text over and over, up to a limit, without ever holding it all.
class RepeatingInputStream : public NPT_InputStream {
  public:
    RepeatingInputStream(std::string head, std::string text, NPT_UInt64 limit)
        : head_(std::move(head)), text_(std::move(text)), limit_(limit) {}

    NPT_UInt64 GetDelivered() const { return position_; }

    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override {
        if (read) *read = 0;
        auto* to = static_cast<char*>(buffer);
        NPT_UInt32 taken = 0;
        for (; taken < count && position_ < limit_; ++taken, ++position_)
            to[taken] = position_ < head_.size() ? head_[position_]
                                                 : text_[(position_ - head_.size()) % text_.size()];
        if (taken == 0) return NPT_ERROR_EOS;
        if (read) *read = taken;
        return NPT_SUCCESS;
    }

  private:
    std::string head_;
    std::string text_;
    NPT_UInt64 limit_;
    NPT_UInt64 position_ = 0;
};

// Remembers how many bytes the last read asked for.
class AskedInputStream : public ScriptedInputStream {
  public:
    using ScriptedInputStream::ScriptedInputStream;
    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override {
        asked = count;
        return ScriptedInputStream::Read(buffer, count, read);
    }

    NPT_UInt32 asked = 0;
};

// Remembers every write and flush; can refuse the call of a given index with an error, and can take
// only a few bytes per write.
class RecordingOutputStream : public NPT_OutputStream {
  public:
    static constexpr int kNever = -1;

    explicit RecordingOutputStream(int failing_write = kNever, NPT_UInt32 max_write = 0xFFFFFFFF)
        : failing_write_(failing_write), max_write_(max_write) {}

    NPT_Result Write(const void* buffer, NPT_UInt32 count, NPT_UInt32* written = nullptr) override {
        if (written) *written = 0;
        const int index = static_cast<int>(writes.size());
        const NPT_UInt32 taken = std::min(count, max_write_);
        writes.emplace_back(static_cast<const char*>(buffer), index == failing_write_ ? 0 : taken);
        if (index == failing_write_) return NPT_ERROR_WRITE_FAILED;
        unflushed += writes.back();
        if (written) *written = taken;
        return NPT_SUCCESS;
    }
    NPT_Result Flush() override {
        datagrams.push_back(std::exchange(unflushed, std::string()));
        return NPT_SUCCESS;
    }

    std::string GetAll() const {
        std::string all;
        for (const std::string& write : writes)
            all += write;
        return all;
    }

    std::vector<std::string> writes;
    std::vector<std::string> datagrams;  // one for each flush
    std::string unflushed;

  private:
    int failing_write_;
    NPT_UInt32 max_write_;
};

// What became of a LoggedConnection.
struct ConnectionLog {
    int reused = 0;
    int released = 0;
};

class LoggedConnection : public NPT_HttpConnection {
  public:
    explicit LoggedConnection(ConnectionLog& log) : log_(log) {}
    ~LoggedConnection() override { ++log_.released; }
    void Reuse() override { ++log_.reused; }

  private:
    ConnectionLog& log_;
};

inline NPT_InputStreamReference MakePieces(const std::vector<std::string>& pieces,
                                           NPT_Result end = NPT_ERROR_EOS) {
    return NPT_InputStreamReference(
        new ScriptedInputStream(std::vector<ScriptedRead>(pieces.begin(), pieces.end()), end));
}

// What ReadResponse puts between a socket and everybody else.
inline NPT_Reference<NPT_BufferedInputStream> MakeBuffered(const std::vector<std::string>& pieces,
                                                           NPT_UInt32 buffer_size = 4096,
                                                           NPT_Result end = NPT_ERROR_EOS) {
    return NPT_Reference<NPT_BufferedInputStream>(
        new NPT_BufferedInputStream(MakePieces(pieces, end), buffer_size));
}

// Calls check with text in one piece, in every way of two, every way of three, and byte by byte.
template <typename Check>
void ForEverySplit(const std::string& text, Check check) {
    check(std::vector<std::string>{text});
    for (std::size_t first = 1; first < text.size(); ++first) {
        SCOPED_TRACE("cut at " + std::to_string(first));
        check(std::vector<std::string>{text.substr(0, first), text.substr(first)});
        for (std::size_t second = first + 1; second < text.size(); ++second) {
            SCOPED_TRACE("and at " + std::to_string(second));
            check(std::vector<std::string>{
                text.substr(0, first), text.substr(first, second - first), text.substr(second)});
            if (testing::Test::HasFailure()) return;
        }
    }
    std::vector<std::string> bytes;
    for (char byte : text)
        bytes.emplace_back(1, byte);
    check(bytes);
}

// Reads until the stream refuses, at most piece bytes at a time; result is the refusal.
inline std::string ReadAll(NPT_InputStream& stream, NPT_UInt32 piece, NPT_Result& result) {
    std::string all;
    std::vector<char> buffer(piece);
    for (;;) {
        NPT_UInt32 count = 0;
        result = stream.Read(buffer.data(), piece, &count);
        if (NPT_Failed(result)) return all;
        if (count == 0) {
            ADD_FAILURE() << "a read succeeded without data";
            return all;
        }
        all.append(buffer.data(), count);
    }
}

#endif
