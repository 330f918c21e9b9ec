#include "net/socket_pair.h"

#include <gtest/gtest.h>

namespace {

TEST(SocketPairTest, WhatOneEndWritesTheOtherReads) {
    UniqueSocket write_end;
    UniqueSocket read_end;
    ASSERT_EQ(ConnectSocketPair(write_end, read_end), NPT_SUCCESS);
    const char sent_byte = 'v';
    char received_byte = 0;
    NPT_UInt32 count = 0;
    EXPECT_EQ(socket_platform::Send(write_end.Get(), &sent_byte, 1, count), NPT_SUCCESS);
    EXPECT_EQ(socket_platform::Receive(read_end.Get(), &received_byte, 1, count), NPT_SUCCESS);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(received_byte, sent_byte);
}

TEST(SocketPairTest, ConnectsOverLoopbackOnly) {
    UniqueSocket write_end;
    UniqueSocket read_end;
    ASSERT_EQ(ConnectSocketPair(write_end, read_end), NPT_SUCCESS);
    NPT_SocketAddress local;
    NPT_SocketAddress remote;
    EXPECT_EQ(socket_platform::GetLocalAddress(write_end.Get(), local), NPT_SUCCESS);
    EXPECT_EQ(socket_platform::GetPeerAddress(read_end.Get(), remote), NPT_SUCCESS);
    EXPECT_EQ(local.GetIpAddress(), NPT_IpAddress(127, 0, 0, 1));
    EXPECT_EQ(local, remote);
}

}  // namespace
