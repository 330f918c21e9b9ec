#include "net/bsd_socket_stream.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "net/bsd_socket.h"
#include "net/socket_pair.h"
#include "net/testing/loopback.h"

namespace {

// A connection of this process with itself.
class SocketStreamTest : public testing::Test {
  protected:
    void SetUp() override {
        UniqueSocket near_end;
        UniqueSocket far_end;
        ASSERT_EQ(ConnectSocketPair(near_end, far_end), NPT_SUCCESS);
        socket = std::make_unique<NPT_BsdSocket>(near_end.Release(), NPT_SOCKET_FLAG_CANCELLABLE);
        peer = std::make_unique<NPT_BsdSocket>(far_end.Release(), 0);
        ASSERT_EQ(socket->GetInputStream(input), NPT_SUCCESS);
        ASSERT_EQ(socket->GetOutputStream(output), NPT_SUCCESS);
        ASSERT_EQ(peer->GetInputStream(peer_input), NPT_SUCCESS);
        ASSERT_EQ(peer->GetOutputStream(peer_output), NPT_SUCCESS);
    }

    void EndPeer() {
        peer_input.Release();
        peer_output.Release();
        peer.reset();
    }

    std::unique_ptr<NPT_BsdSocket> socket;
    std::unique_ptr<NPT_BsdSocket> peer;
    NPT_InputStreamReference input;
    NPT_OutputStreamReference output;
    NPT_InputStreamReference peer_input;
    NPT_OutputStreamReference peer_output;
    char bytes[100] = {};
    NPT_UInt32 count = 99;
};

TEST_F(SocketStreamTest, BytesArriveInBothDirections) {
    EXPECT_EQ(output->WriteFully("to peer", 7), NPT_SUCCESS);
    EXPECT_EQ(peer_input->ReadFully(bytes, 7), NPT_SUCCESS);
    EXPECT_EQ(std::string(bytes, 7), "to peer");
    EXPECT_EQ(peer_output->WriteFully("back", 4), NPT_SUCCESS);
    EXPECT_EQ(input->ReadFully(bytes, 4), NPT_SUCCESS);
    EXPECT_EQ(std::string(bytes, 4), "back");
}

TEST_F(SocketStreamTest, AReadDeliversWhatIsThere) {
    peer_output->WriteFully("abc", 3);
    EXPECT_EQ(input->Read(bytes, sizeof bytes, &count), NPT_SUCCESS);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(std::string(bytes, 3), "abc");
}

TEST_F(SocketStreamTest, TheStreamsKeepTheConnectionWhenTheSocketGoes) {
    socket.reset();
    EXPECT_EQ(output->WriteFully("x", 1), NPT_SUCCESS);
    EXPECT_EQ(peer_input->ReadFully(bytes, 1), NPT_SUCCESS);
    output.Release();
    input.Release();
    EXPECT_EQ(peer_input->Read(bytes, 1, &count), NPT_ERROR_EOS);
    EXPECT_EQ(count, 0u);
}

TEST_F(SocketStreamTest, TheEndOfThePeerEndsTheStreamBehindItsLastBytes) {
    peer_output->WriteFully("last", 4);
    EndPeer();
    EXPECT_EQ(input->ReadFully(bytes, 4), NPT_SUCCESS);
    EXPECT_EQ(input->Read(bytes, 1, &count), NPT_ERROR_EOS);
    EXPECT_EQ(count, 0u);
}

TEST_F(SocketStreamTest, AvailableCountsBytesAndShowsTheEnd) {
    NPT_UInt64 available = 99;
    EXPECT_EQ(input->GetAvailable(available), NPT_SUCCESS);
    EXPECT_EQ(available, 0u);
    peer_output->WriteFully("12345", 5);
    EXPECT_EQ(input->ReadFully(bytes, 1), NPT_SUCCESS);
    EXPECT_EQ(input->GetAvailable(available), NPT_SUCCESS);
    EXPECT_EQ(available, 4u);
    EXPECT_EQ(input->ReadFully(bytes, 4), NPT_SUCCESS);
    EndPeer();
    EXPECT_EQ(input->Read(bytes, 1), NPT_ERROR_EOS);
    EXPECT_EQ(input->GetAvailable(available), NPT_SUCCESS);
    EXPECT_EQ(available, 1u);
}

TEST_F(SocketStreamTest, PositionsHaveNoMeaning) {
    NPT_UInt64 offset = 99;
    peer_output->WriteFully("abc", 3);
    input->ReadFully(bytes, 3);
    EXPECT_EQ(input->Tell(offset), NPT_SUCCESS);
    EXPECT_EQ(offset, 0u);
    EXPECT_EQ(input->Seek(0), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(input->GetSize(offset), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(output->Seek(0), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(output->Tell(offset), NPT_SUCCESS);
    EXPECT_EQ(offset, 0u);
}

TEST_F(SocketStreamTest, ReadTimesOut) {
    socket->SetReadTimeout(100);
    const Stopwatch stopwatch;
    EXPECT_EQ(input->Read(bytes, 1, &count), NPT_ERROR_TIMEOUT);
    EXPECT_EQ(count, 0u);
    EXPECT_GE(stopwatch.Milliseconds(), 100);
    socket->SetReadTimeout(0);
    EXPECT_EQ(input->Read(bytes, 1, &count), NPT_ERROR_WOULD_BLOCK);
}

TEST_F(SocketStreamTest, WriteTimesOutWhenThePeerDoesNotRead) {
    const std::vector<char> block(1 << 20);
    const NPT_UInt32 size = static_cast<NPT_UInt32>(block.size());
    for (const NPT_Timeout timeout : {NPT_Timeout{100}, NPT_Timeout{0}}) {
        SCOPED_TRACE(timeout);
        socket->SetWriteTimeout(timeout);
        NPT_Result result = NPT_SUCCESS;
        for (int blocks = 0; blocks < 1000 && NPT_Succeeded(result); ++blocks)
            result = output->Write(block.data(), size, &count);
        EXPECT_EQ(result, timeout == 0 ? NPT_ERROR_WOULD_BLOCK : NPT_ERROR_TIMEOUT);
        EXPECT_EQ(count, 0u);
    }
}

TEST_F(SocketStreamTest, LargeTransfersArriveWhole) {
    std::string sent(3000000, '\0');
    for (std::size_t index = 0; index < sent.size(); ++index)
        sent[index] = static_cast<char>(index * 7 + index / 251);
    std::thread writer(
        [&] { output->WriteFully(sent.data(), static_cast<NPT_UInt32>(sent.size())); });
    std::string received(sent.size(), '\0');
    EXPECT_EQ(peer_input->ReadFully(&received[0], static_cast<NPT_UInt32>(received.size())),
              NPT_SUCCESS);
    writer.join();
    EXPECT_TRUE(received == sent);
}

TEST_F(SocketStreamTest, CancelEndsAReadInProgressAndAllLaterTransfers) {
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        socket->Cancel(false);
    });
    EXPECT_EQ(input->Read(bytes, 1, &count), NPT_ERROR_CANCELLED);
    canceller.join();
    EXPECT_EQ(input->Read(bytes, 1, &count), NPT_ERROR_CANCELLED);
    EXPECT_EQ(output->Write("x", 1, &count), NPT_ERROR_CANCELLED);
}

TEST_F(SocketStreamTest, WritingNoBufferEndsTheConnection) {
    EXPECT_EQ(output->Write(nullptr, 0, &count), NPT_SUCCESS);
    EXPECT_EQ(peer_input->Read(bytes, 1, &count), NPT_ERROR_EOS);
    EXPECT_EQ(input->Read(bytes, 1, &count), NPT_ERROR_CANCELLED);
}

TEST_F(SocketStreamTest, FlushLeavesTheConnectionAsItWas) {
    EXPECT_EQ(output->Flush(), NPT_SUCCESS);
    EXPECT_EQ(output->WriteFully("x", 1), NPT_SUCCESS);
    EXPECT_EQ(output->Flush(), NPT_SUCCESS);
    EXPECT_EQ(peer_input->ReadFully(bytes, 1), NPT_SUCCESS);
}

}  // namespace
