#include "engine/answer_stream.h"

#include <gtest/gtest.h>

#include <string>

#include "engine/testing/scripted_udp_socket.h"

namespace {

class AnswerStreamTest : public testing::Test {
  protected:
    void Receive(const char* datagram) {
        socket_.LineUp(datagram);
        EXPECT_EQ(datagrams_.Read(nullptr, 0), NPT_SUCCESS);
    }
    // The text of one read, or the code of its failure.
    std::string Read(NPT_UInt32 count = 4096) {
        std::string text(count, '\0');
        NPT_UInt32 read = 99;
        const NPT_Result result = answer_.Read(text.data(), count, &read);
        if (NPT_Failed(result)) return std::to_string(result) + " with " + std::to_string(read);
        return text.substr(0, read);
    }

    ScriptedUdpSocket socket_;
    zorvane::ZoInputStream datagrams_{&socket_, 2000};
    AnswerStream answer_{datagrams_};
};

TEST_F(AnswerStreamTest, EndsBehindItsDatagram) {
    Receive("one");
    socket_.LineUp("two");
    EXPECT_EQ(Read(), "one");
    EXPECT_EQ(Read(), "-20302 with 0");
    EXPECT_EQ(Read(), "-20302 with 0");
    EXPECT_EQ(socket_.GetReceiveCount(), 1);
}

TEST_F(AnswerStreamTest, DeliversADatagramInPieces) {
    Receive("one");
    EXPECT_EQ(Read(2), "on");
    EXPECT_EQ(Read(2), "e");
    EXPECT_EQ(Read(2), "-20302 with 0");
}

TEST_F(AnswerStreamTest, ReceivesNothingItself) {
    socket_.LineUp("one");
    EXPECT_EQ(Read(), "-20302 with 0");
    EXPECT_EQ(socket_.GetReceiveCount(), 0);
}

TEST_F(AnswerStreamTest, HasNoPositions) {
    NPT_UInt64 value = 99;
    EXPECT_EQ(answer_.Seek(0), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(answer_.Skip(0), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(answer_.Tell(value), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(value, 0u);
    value = 99;
    EXPECT_EQ(answer_.GetSize(value), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(value, 0u);
    value = 99;
    EXPECT_EQ(answer_.GetAvailable(value), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(value, 0u);
}

}  // namespace
