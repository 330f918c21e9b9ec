#include "net/socket.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::_;
using testing::Return;
using testing::SetArgReferee;

class MockSocket : public NPT_SocketInterface {
  public:
    ~MockSocket() override { Destroyed(); }
    MOCK_METHOD(void, Destroyed, ());
    MOCK_METHOD(NPT_Result, Bind, (const NPT_SocketAddress&, bool), (override));
    MOCK_METHOD(NPT_Result, Connect, (const NPT_SocketAddress&, NPT_Timeout), (override));
    MOCK_METHOD(NPT_Result, WaitForConnection, (NPT_Timeout), (override));
    MOCK_METHOD(NPT_Result, GetInputStream, (NPT_InputStreamReference&), (override));
    MOCK_METHOD(NPT_Result, GetOutputStream, (NPT_OutputStreamReference&), (override));
    MOCK_METHOD(NPT_Result, GetInfo, (NPT_SocketInfo&), (override));
    MOCK_METHOD(NPT_Result, SetReadTimeout, (NPT_Timeout), (override));
    MOCK_METHOD(NPT_Result, SetWriteTimeout, (NPT_Timeout), (override));
    MOCK_METHOD(NPT_Result, Cancel, (bool), (override));
};

TEST(SocketTest, ForwardsEveryOperationToItsDelegate) {
    auto delegate = std::make_unique<testing::StrictMock<MockSocket>>();
    const NPT_SocketAddress address(NPT_IpAddress(127, 0, 0, 1), 31288);
    NPT_SocketInfo delegate_info;
    delegate_info.local_address = address;
    EXPECT_CALL(*delegate, Bind(address, true)).WillOnce(Return(-1));
    EXPECT_CALL(*delegate, Connect(address, 20)).WillOnce(Return(-2));
    EXPECT_CALL(*delegate, WaitForConnection(30)).WillOnce(Return(-3));
    EXPECT_CALL(*delegate, GetInputStream(_)).WillOnce(Return(-4));
    EXPECT_CALL(*delegate, GetOutputStream(_)).WillOnce(Return(-5));
    EXPECT_CALL(*delegate, GetInfo(_))
        .WillOnce(testing::DoAll(SetArgReferee<0>(delegate_info), Return(-6)));
    EXPECT_CALL(*delegate, SetReadTimeout(70)).WillOnce(Return(-7));
    EXPECT_CALL(*delegate, SetWriteTimeout(80)).WillOnce(Return(-8));
    EXPECT_CALL(*delegate, Cancel(true)).WillOnce(Return(-9));
    EXPECT_CALL(*delegate, Destroyed());

    NPT_Socket socket(std::move(delegate));
    NPT_InputStreamReference input;
    NPT_OutputStreamReference output;
    NPT_SocketInfo info;
    EXPECT_EQ(socket.Bind(address, true), -1);
    EXPECT_EQ(socket.Connect(address, 20), -2);
    EXPECT_EQ(socket.WaitForConnection(30), -3);
    EXPECT_EQ(socket.GetInputStream(input), -4);
    EXPECT_EQ(socket.GetOutputStream(output), -5);
    EXPECT_EQ(socket.GetInfo(info), -6);
    EXPECT_EQ(info.local_address, address);
    EXPECT_EQ(socket.SetReadTimeout(70), -7);
    EXPECT_EQ(socket.SetWriteTimeout(80), -8);
    EXPECT_EQ(socket.Cancel(true), -9);
}

}  // namespace
