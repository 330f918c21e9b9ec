#include "device/zo_input_stream.h"

#include <gtest/gtest.h>

#include <deque>
#include <new>
#include <string>

namespace {

using zorvane::ZoInputStream;

constexpr NPT_UInt32 kBufferSize = 2000;
constexpr NPT_Timeout kPatience = 5000;  // ms for a loopback datagram that was sent already

const NPT_SocketAddress kSource(NPT_IpAddress(10, 0, 0, 7), 31288);
const NPT_SocketAddress kOtherSource(NPT_IpAddress(10, 0, 0, 8), 31289);
const NPT_SocketAddress kLocal(NPT_IpAddress(10, 0, 0, 1), 5000);
const NPT_SocketAddress kPeer(NPT_IpAddress(10, 0, 0, 9), 9);

// One call of Receive: a datagram with its source, a failure, or an exception.
struct Reception {
    std::string datagram;
    NPT_SocketAddress source = kSource;
    NPT_Result result = NPT_SUCCESS;
    bool throws = false;
};

// Receives what the test lines up; a time-out when nothing is left.
class ScriptedSocket : public NPT_UdpSocket {
  public:
    void LineUp(const Reception& reception) { receptions_.push_back(reception); }
    int Receives() const { return receives_; }
    void ThrowFromGetInfo(bool throws) { get_info_throws_ = throws; }

    NPT_Result Receive(NPT_DataBuffer& packet, NPT_SocketAddress* address) override {
        ++receives_;
        if (receptions_.empty()) return NPT_ERROR_TIMEOUT;
        const Reception reception = receptions_.front();
        receptions_.pop_front();
        packet.SetData(reinterpret_cast<const NPT_UInt8*>(reception.datagram.data()),
                       static_cast<NPT_UInt32>(reception.datagram.size()));
        if (address) *address = reception.source;
        if (reception.throws) throw std::bad_alloc();
        return reception.result;
    }
    NPT_Result GetInfo(NPT_SocketInfo& info) override {
        if (get_info_throws_) throw std::bad_alloc();
        info.local_address = kLocal;
        info.remote_address = kPeer;
        return NPT_SUCCESS;
    }

  private:
    std::deque<Reception> receptions_;
    int receives_ = 0;
    bool get_info_throws_ = false;
};

// Result and bytes of one read.
struct Piece {
    NPT_Result result;
    std::string bytes;
};

Piece ReadPiece(NPT_InputStream& stream, NPT_UInt32 count) {
    std::string bytes(count, '?');
    NPT_UInt32 read = 12345;
    const NPT_Result result = stream.Read(&bytes[0], count, &read);
    EXPECT_LE(read, count);
    bytes.resize(read);
    return {result, bytes};
}

void ExpectPiece(NPT_InputStream& stream, NPT_UInt32 count, const std::string& bytes) {
    const Piece piece = ReadPiece(stream, count);
    EXPECT_EQ(piece.result, NPT_SUCCESS);
    EXPECT_EQ(piece.bytes, bytes);
}

void ExpectFailure(NPT_InputStream& stream, NPT_UInt32 count, NPT_Result result) {
    const Piece piece = ReadPiece(stream, count);
    EXPECT_EQ(piece.result, result);
    EXPECT_EQ(piece.bytes, "");
}

}  // namespace

TEST(ZoInputStream, NeverReadsAcrossDatagrams) {
    ScriptedSocket socket;
    socket.LineUp({"0123456789abcdefghijklmno"});
    socket.LineUp({"next"});
    ZoInputStream stream(&socket, kBufferSize);
    ExpectPiece(stream, 10, "0123456789");
    ExpectPiece(stream, 10, "abcdefghij");
    ExpectPiece(stream, 10, "klmno");
    EXPECT_EQ(socket.Receives(), 1);
    ExpectPiece(stream, 10, "next");
    ExpectFailure(stream, 10, NPT_ERROR_TIMEOUT);
}

TEST(ZoInputStream, DeliversTheSameBytesWhateverTheReadSize) {
    const std::string datagram = "HTTP/1.1 200 OK\r\nEXT:\r\n\r\n";
    for (NPT_UInt32 count = 1; count <= datagram.size() + 1; ++count) {
        SCOPED_TRACE(count);
        ScriptedSocket socket;
        socket.LineUp({datagram});
        ZoInputStream stream(&socket, kBufferSize);
        std::string whole;
        for (;;) {
            const Piece piece = ReadPiece(stream, count);
            if (piece.result != NPT_SUCCESS) break;
            whole += piece.bytes;
        }
        EXPECT_EQ(whole, datagram);
        EXPECT_EQ(socket.Receives(), 2);
    }
}

TEST(ZoInputStream, ReadingNothingStillReceives) {
    ScriptedSocket socket;
    socket.LineUp({"datagram"});
    ZoInputStream stream(&socket, kBufferSize);
    ExpectPiece(stream, 0, "");
    EXPECT_EQ(socket.Receives(), 1);
    ExpectPiece(stream, 0, "");
    EXPECT_EQ(socket.Receives(), 1);
    ExpectPiece(stream, 100, "datagram");
    EXPECT_EQ(socket.Receives(), 1);
    ExpectFailure(stream, 0, NPT_ERROR_TIMEOUT);
}

TEST(ZoInputStream, NeedsNoCount) {
    ScriptedSocket socket;
    socket.LineUp({"ab"});
    ZoInputStream stream(&socket, kBufferSize);
    char bytes[2] = {};
    EXPECT_EQ(stream.Read(bytes, 2), NPT_SUCCESS);
    EXPECT_EQ(std::string(bytes, 2), "ab");
    EXPECT_EQ(stream.Read(bytes, 2), NPT_ERROR_TIMEOUT);
}

TEST(ZoInputStream, AnEmptyDatagramIsASuccessWithoutBytes) {
    ScriptedSocket socket;
    socket.LineUp({""});
    socket.LineUp({"x"});
    ZoInputStream stream(&socket, kBufferSize);
    ExpectPiece(stream, 10, "");
    ExpectPiece(stream, 10, "x");
}

TEST(ZoInputStream, ReturnsReceiveFailuresUnchanged) {
    for (NPT_Result failure : {NPT_ERROR_TIMEOUT, NPT_ERROR_CANCELLED, NPT_ERROR_CONNECTION_RESET,
                               NPT_ERROR_SYSTEM_BASE - 90, NPT_FAILURE}) {
        SCOPED_TRACE(failure);
        ScriptedSocket socket;
        socket.LineUp({"left behind", kSource, failure});
        socket.LineUp({"good"});
        ZoInputStream stream(&socket, kBufferSize);
        ExpectFailure(stream, 10, failure);
        ExpectPiece(stream, 10, "good");
    }
}

TEST(ZoInputStream, AnExceptionEndsTheReadWithAnEmptyBuffer) {
    ScriptedSocket socket;
    socket.LineUp({"left behind", kOtherSource, NPT_SUCCESS, true});
    socket.LineUp({"good"});
    ZoInputStream stream(&socket, kBufferSize);
    ExpectFailure(stream, 10, NPT_FAILURE);
    EXPECT_EQ(stream.GetInfo().remote_address, NPT_SocketAddress());
    ExpectPiece(stream, 10, "good");
    EXPECT_EQ(socket.Receives(), 2);
}

TEST(ZoInputStream, AnExceptionFromTheSocketInformationCountsToo) {
    ScriptedSocket socket;
    socket.LineUp({"lost"});
    socket.LineUp({"good"});
    ZoInputStream stream(&socket, kBufferSize);
    socket.ThrowFromGetInfo(true);
    ExpectFailure(stream, 10, NPT_FAILURE);
    socket.ThrowFromGetInfo(false);
    ExpectPiece(stream, 10, "good");
}

TEST(ZoInputStream, KnowsTheSourceOfTheLastDatagram) {
    ScriptedSocket socket;
    socket.LineUp({"first"});
    socket.LineUp({"second", kOtherSource});
    ZoInputStream stream(&socket, kBufferSize);
    EXPECT_EQ(stream.GetInfo().remote_address, NPT_SocketAddress());
    ExpectPiece(stream, 10, "first");
    EXPECT_EQ(stream.GetInfo().remote_address, kSource);
    EXPECT_EQ(stream.GetInfo().local_address, kLocal);
    ExpectPiece(stream, 10, "second");
    EXPECT_EQ(stream.GetInfo().remote_address, kOtherSource);
    ExpectFailure(stream, 10, NPT_ERROR_TIMEOUT);
    EXPECT_EQ(stream.GetInfo().remote_address, kOtherSource);
}

TEST(ZoInputStream, HasNoPositionAndNoSize) {
    ScriptedSocket socket;
    socket.LineUp({"datagram"});
    ZoInputStream stream(&socket, kBufferSize);
    NPT_UInt64 value = 7;
    EXPECT_EQ(stream.Seek(0), NPT_FAILURE);
    EXPECT_EQ(stream.Skip(1), NPT_FAILURE);
    EXPECT_EQ(stream.Tell(value), NPT_FAILURE);
    EXPECT_EQ(value, 0u);
    value = 7;
    EXPECT_EQ(stream.GetSize(value), NPT_FAILURE);
    EXPECT_EQ(value, 0u);
    value = 7;
    EXPECT_EQ(stream.GetAvailable(value), NPT_FAILURE);
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(socket.Receives(), 0);
}

TEST(ZoInputStream, WithoutABufferEveryReadFails) {
    NPT_UdpSocket socket;
    ZoInputStream stream(&socket, 0);
    ExpectFailure(stream, 10, NPT_ERROR_INVALID_ARGUMENT);
}

TEST(ZoInputStream, ReceivesIntoTheCallersBuffer) {
    ScriptedSocket socket;
    socket.LineUp({"first"});
    socket.LineUp({"second"});
    NPT_UInt8 buffer[6] = {};
    ZoInputStream stream(&socket, buffer, sizeof(buffer));
    ExpectPiece(stream, 10, "first");
    ExpectPiece(stream, 3, "sec");
    EXPECT_EQ(std::string(buffer, buffer + sizeof(buffer)), "second");
    ExpectPiece(stream, 10, "ond");
}

TEST(ZoInputStream, ReadsRealDatagrams) {
    NPT_UdpSocket receiver;
    NPT_UdpSocket sender;
    const NPT_SocketAddress any_port(NPT_IpAddress(127, 0, 0, 1), 0);
    ASSERT_EQ(receiver.Bind(any_port, false), NPT_SUCCESS);
    ASSERT_EQ(sender.Bind(any_port, false), NPT_SUCCESS);
    receiver.SetReadTimeout(kPatience);
    NPT_SocketInfo receiver_info;
    NPT_SocketInfo sender_info;
    receiver.GetInfo(receiver_info);
    sender.GetInfo(sender_info);

    NPT_DataBuffer packet;
    packet.SetData(reinterpret_cast<const NPT_UInt8*>("hello"), 5);
    ASSERT_EQ(sender.Send(packet, &receiver_info.local_address), NPT_SUCCESS);

    ZoInputStream stream(&receiver, kBufferSize);
    ExpectPiece(stream, 3, "hel");
    ExpectPiece(stream, 3, "lo");
    EXPECT_EQ(stream.GetInfo().local_address, receiver_info.local_address);
    EXPECT_EQ(stream.GetInfo().remote_address, sender_info.local_address);
    receiver.SetReadTimeout(1);
    ExpectFailure(stream, 3, NPT_ERROR_TIMEOUT);
}

TEST(ZoInputStream, DropsARealDatagramThatIsTooLong) {
    NPT_UdpSocket receiver;
    NPT_UdpSocket sender;
    ASSERT_EQ(receiver.Bind(NPT_SocketAddress(NPT_IpAddress(127, 0, 0, 1), 0), false), NPT_SUCCESS);
    receiver.SetReadTimeout(kPatience);
    NPT_SocketInfo info;
    receiver.GetInfo(info);
    for (NPT_UInt32 size : {kBufferSize + 1, kBufferSize}) {
        const std::string bytes(size, 'x');
        NPT_DataBuffer packet;
        packet.SetData(reinterpret_cast<const NPT_UInt8*>(bytes.data()), size);
        ASSERT_EQ(sender.Send(packet, &info.local_address), NPT_SUCCESS);
    }
    ZoInputStream stream(&receiver, kBufferSize);
    const Piece dropped = ReadPiece(stream, kBufferSize);
    EXPECT_LT(dropped.result, NPT_ERROR_SYSTEM_BASE);
    EXPECT_EQ(dropped.bytes, "");
    ExpectPiece(stream, kBufferSize, std::string(kBufferSize, 'x'));
}
