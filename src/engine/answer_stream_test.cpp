#include "engine/answer_stream.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// A source that delivers one text per read and then fails with a code.
class Datagrams : public NPT_InputStream {
  public:
    explicit Datagrams(std::vector<std::string> texts, NPT_Result then = NPT_ERROR_EOS)
        : texts_(std::move(texts)), then_(then) {}

    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read) override {
        if (next_ == texts_.size()) return then_;
        const std::string& text = texts_[next_++];
        *read = static_cast<NPT_UInt32>(text.copy(static_cast<char*>(buffer), count));
        return NPT_SUCCESS;
    }
    NPT_Result Seek(NPT_UInt64) override { return NPT_FAILURE; }
    NPT_Result Tell(NPT_UInt64&) override { return NPT_FAILURE; }
    NPT_Result GetSize(NPT_UInt64&) override { return NPT_FAILURE; }
    NPT_Result GetAvailable(NPT_UInt64&) override { return NPT_FAILURE; }

  private:
    const std::vector<std::string> texts_;
    const NPT_Result then_;
    std::size_t next_ = 0;
};

class AnswerStreamTest : public testing::Test {
  protected:
    AnswerStream Listen(NPT_InputStream& source, const Deadline& resend) {
        return AnswerStream(
            source, resend, [this] { return is_stopped_; },
            [this](NPT_Timeout limit) { limits_.push_back(limit); });
    }
    // The text of one read, or the code of its failure.
    static std::string ReadText(NPT_InputStream& stream) {
        char buffer[64];
        NPT_UInt32 read = 77;
        const NPT_Result result = stream.Read(buffer, sizeof(buffer), &read);
        if (NPT_Succeeded(result)) return std::string(buffer, read);
        EXPECT_EQ(read, 0u);
        return std::to_string(result);
    }

    bool is_stopped_ = false;
    std::vector<NPT_Timeout> limits_;
    const Deadline far_ = Deadline::After(NPT_TimeInterval(1000.0));
    const Deadline passed_ = Deadline::After(NPT_TimeInterval(-1.0));
};

const std::string kTimeout = std::to_string(NPT_ERROR_TIMEOUT);

TEST_F(AnswerStreamTest, DeliversWhatTheSourceDelivers) {
    Datagrams source({"one", "two"}, NPT_ERROR_CONNECTION_RESET);
    AnswerStream stream = Listen(source, far_);
    EXPECT_EQ(ReadText(stream), "one");
    EXPECT_EQ(ReadText(stream), "two");
    EXPECT_EQ(ReadText(stream), std::to_string(NPT_ERROR_CONNECTION_RESET));
}

TEST_F(AnswerStreamTest, ReceivesOnceEvenWhenTheSearchIsDue) {
    Datagrams source({"one", "two"});
    AnswerStream stream = Listen(source, passed_);
    EXPECT_EQ(ReadText(stream), "one");
    EXPECT_EQ(ReadText(stream), kTimeout);
    EXPECT_EQ(ReadText(stream), kTimeout);
}

TEST_F(AnswerStreamTest, EndsTheAnswerOnceStopped) {
    Datagrams source({"one", "two", "three"});
    AnswerStream stream = Listen(source, far_);
    EXPECT_EQ(ReadText(stream), "one");
    EXPECT_EQ(ReadText(stream), "two");
    is_stopped_ = true;
    EXPECT_EQ(ReadText(stream), kTimeout);
}

TEST_F(AnswerStreamTest, LimitsEachWaitToWhatIsLeft) {
    Datagrams source({"one", "two"});
    const Deadline resend = Deadline::After(NPT_TimeInterval(100.0));
    AnswerStream stream = Listen(source, resend);
    ReadText(stream);
    ReadText(stream);
    ASSERT_EQ(limits_.size(), 2u);
    EXPECT_LE(limits_[0], 100000u);
    EXPECT_GT(limits_[0], 90000u);
    EXPECT_LE(limits_[1], limits_[0]);
}

TEST_F(AnswerStreamTest, LimitsTheWaitToNothingWhenTheSearchIsDue) {
    Datagrams source({"one"});
    AnswerStream stream = Listen(source, passed_);
    ReadText(stream);
    EXPECT_EQ(limits_, std::vector<NPT_Timeout>{0});
}

TEST_F(AnswerStreamTest, HasNoPositionsAndNoSize) {
    Datagrams source({"one"});
    AnswerStream stream = Listen(source, far_);
    NPT_UInt64 value = 7;
    EXPECT_EQ(stream.Seek(0), NPT_FAILURE);
    EXPECT_EQ(stream.Skip(1), NPT_FAILURE);
    EXPECT_EQ(stream.Tell(value), NPT_FAILURE);
    EXPECT_EQ(stream.GetSize(value), NPT_FAILURE);
    EXPECT_EQ(stream.GetAvailable(value), NPT_FAILURE);
    EXPECT_EQ(value, 0u);
}

}  // namespace
