#include "device/zo_output_stream.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

namespace {

using zorvane::ZoOutputStream;

constexpr NPT_UInt32 kBufferSize = 4096;
constexpr NPT_Timeout kPatience = 5000;  // ms for a loopback datagram that was sent already

const NPT_SocketAddress kDestination(NPT_IpAddress(239, 255, 255, 250), 31288);

struct Datagram {
    std::string bytes;
    bool has_address;
    NPT_SocketAddress address;
};

// Keeps what is sent instead of sending it.
class RecordingSocket : public NPT_UdpSocket {
  public:
    std::vector<Datagram> sent;
    NPT_Result result = NPT_SUCCESS;
    bool throws = false;

    NPT_Result Send(const NPT_DataBuffer& packet, const NPT_SocketAddress* address) override {
        sent.push_back(
            {std::string(reinterpret_cast<const char*>(packet.GetData()), packet.GetDataSize()),
             address != nullptr, address ? *address : NPT_SocketAddress()});
        if (throws) throw std::bad_alloc();
        return result;
    }
};

void Write(NPT_OutputStream& stream, const std::string& text) {
    NPT_UInt32 written = 12345;
    EXPECT_EQ(stream.Write(text.data(), static_cast<NPT_UInt32>(text.size()), &written),
              NPT_SUCCESS);
    EXPECT_EQ(written, text.size());
}

}  // namespace

TEST(ZoOutputStream, SendsOneDatagramPerFlush) {
    RecordingSocket socket;
    ZoOutputStream stream(&socket, kBufferSize);
    Write(stream, "abc");
    Write(stream, "defg");
    EXPECT_TRUE(socket.sent.empty());
    EXPECT_EQ(stream.Flush(), NPT_SUCCESS);
    Write(stream, "next");
    EXPECT_EQ(stream.Flush(), NPT_SUCCESS);
    ASSERT_EQ(socket.sent.size(), 2u);
    EXPECT_EQ(socket.sent[0].bytes, "abcdefg");
    EXPECT_EQ(socket.sent[1].bytes, "next");
}

TEST(ZoOutputStream, GrowsBeyondItsBuffer) {
    for (NPT_UInt32 buffer_size : {0u, 1u, 5u, 300u}) {
        SCOPED_TRACE(buffer_size);
        RecordingSocket socket;
        ZoOutputStream stream(&socket, buffer_size);
        std::string whole;
        for (char character = 'a'; character <= 'z'; ++character) {
            const std::string piece(11, character);
            Write(stream, piece);
            whole += piece;
        }
        stream.Flush();
        ASSERT_EQ(socket.sent.size(), 1u);
        EXPECT_EQ(socket.sent[0].bytes, whole);
    }
}

TEST(ZoOutputStream, SendsToACopyOfItsDestination) {
    RecordingSocket socket;
    auto destination = std::make_unique<NPT_SocketAddress>(kDestination);
    ZoOutputStream stream(&socket, kBufferSize, destination.get());
    *destination = NPT_SocketAddress();
    destination.reset();
    Write(stream, "x");
    stream.Flush();
    ASSERT_EQ(socket.sent.size(), 1u);
    EXPECT_TRUE(socket.sent[0].has_address);
    EXPECT_EQ(socket.sent[0].address, kDestination);
}

TEST(ZoOutputStream, WithoutDestinationTheConnectedPeerIsMeant) {
    RecordingSocket socket;
    ZoOutputStream stream(&socket, kBufferSize);
    Write(stream, "x");
    stream.Flush();
    ASSERT_EQ(socket.sent.size(), 1u);
    EXPECT_FALSE(socket.sent[0].has_address);
}

TEST(ZoOutputStream, NeverSendsAnEmptyDatagram) {
    RecordingSocket socket;
    ZoOutputStream stream(&socket, kBufferSize);
    EXPECT_EQ(stream.Flush(), NPT_SUCCESS);
    Write(stream, "");
    EXPECT_EQ(stream.Write(nullptr, 0), NPT_SUCCESS);
    EXPECT_EQ(stream.Flush(), NPT_SUCCESS);
    EXPECT_TRUE(socket.sent.empty());
    Write(stream, "x");
    stream.Flush();
    stream.Flush();
    EXPECT_EQ(socket.sent.size(), 1u);
}

TEST(ZoOutputStream, ALostDatagramIsNoError) {
    RecordingSocket socket;
    ZoOutputStream stream(&socket, kBufferSize);
    socket.result = NPT_ERROR_NETWORK_UNREACHABLE;
    Write(stream, "lost");
    EXPECT_EQ(stream.Flush(), NPT_SUCCESS);
    socket.throws = true;
    Write(stream, "lost too");
    EXPECT_EQ(stream.Flush(), NPT_SUCCESS);
    socket.throws = false;
    socket.result = NPT_SUCCESS;
    Write(stream, "good");
    EXPECT_EQ(stream.Flush(), NPT_SUCCESS);
    ASSERT_EQ(socket.sent.size(), 3u);
    EXPECT_EQ(socket.sent[2].bytes, "good");
}

TEST(ZoOutputStream, WhatWasNotFlushedIsNotSent) {
    RecordingSocket socket;
    {
        ZoOutputStream stream(&socket, kBufferSize);
        Write(stream, "x");
    }
    EXPECT_TRUE(socket.sent.empty());
}

TEST(ZoOutputStream, RefusesMoreThanItCanCount) {
    RecordingSocket socket;
    ZoOutputStream stream(&socket, kBufferSize);
    Write(stream, "kept");
    NPT_UInt32 written = 7;
    EXPECT_EQ(stream.Write("", 0xFFFFFFFF, &written), NPT_ERROR_NO_MEMORY);
    EXPECT_EQ(written, 0u);
    stream.Flush();
    ASSERT_EQ(socket.sent.size(), 1u);
    EXPECT_EQ(socket.sent[0].bytes, "kept");
}

TEST(ZoOutputStream, HasNoPosition) {
    RecordingSocket socket;
    ZoOutputStream stream(&socket, kBufferSize);
    NPT_UInt64 offset = 7;
    EXPECT_EQ(stream.Seek(0), NPT_FAILURE);
    EXPECT_EQ(stream.Tell(offset), NPT_FAILURE);
    EXPECT_EQ(offset, 0u);
}

TEST(ZoOutputStream, WritesTextThroughTheSharedOperations) {
    RecordingSocket socket;
    ZoOutputStream stream(&socket, kBufferSize);
    EXPECT_EQ(stream.WriteLine("M-SEARCH"), NPT_SUCCESS);
    EXPECT_EQ(stream.WriteString("x"), NPT_SUCCESS);
    stream.Flush();
    ASSERT_EQ(socket.sent.size(), 1u);
    EXPECT_EQ(socket.sent[0].bytes, "M-SEARCH\r\nx");
}

TEST(ZoOutputStream, SendsRealDatagrams) {
    NPT_UdpSocket receiver;
    NPT_UdpSocket sender;
    ASSERT_EQ(receiver.Bind(NPT_SocketAddress(NPT_IpAddress(127, 0, 0, 1), 0), false), NPT_SUCCESS);
    receiver.SetReadTimeout(kPatience);
    NPT_SocketInfo info;
    receiver.GetInfo(info);

    ZoOutputStream stream(&sender, kBufferSize, &info.local_address);
    for (const char* text : {"abcdefg", "next"}) {
        Write(stream, text);
        EXPECT_EQ(stream.Flush(), NPT_SUCCESS);
        NPT_DataBuffer packet(kBufferSize);
        ASSERT_EQ(receiver.Receive(packet), NPT_SUCCESS);
        EXPECT_EQ(
            std::string(reinterpret_cast<const char*>(packet.GetData()), packet.GetDataSize()),
            text);
    }
}
