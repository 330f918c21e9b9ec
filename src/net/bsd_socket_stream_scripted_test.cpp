#include "net/bsd_socket_stream.h"

#include <gtest/gtest.h>

#include "net/testing/scripted_platform.h"

namespace {

using socket_platform::Option;

// A stream of each direction over one scripted descriptor.
struct Connection {
    Connection() : descriptor(new NPT_BsdSocketFd(900, 0)), input(descriptor), output(descriptor) {}

    NPT_BsdSocketFdReference descriptor;
    NPT_BsdSocketInputStream input;
    NPT_BsdSocketOutputStream output;
    char bytes[10] = {};
    NPT_UInt32 count = 99;
};

TEST(InputStreamScriptedTest, FailuresAndTheEndLeaveTheCountAtZero) {
    ScriptedPlatform platform;
    Connection connection;
    EXPECT_EQ(connection.input.Read(connection.bytes, 10, &connection.count), NPT_ERROR_EOS);
    EXPECT_EQ(connection.count, 0u);
    for (const char* failing : {"Wait", "Receive"}) {
        SCOPED_TRACE(failing);
        connection.count = 99;
        platform.failing_name = failing;
        EXPECT_EQ(connection.input.Read(connection.bytes, 10, &connection.count), platform.failure);
        EXPECT_EQ(connection.count, 0u);
    }
}

TEST(InputStreamScriptedTest, BytesThatCameWithACancelAreDelivered) {
    ScriptedPlatform platform;
    Connection connection;
    platform.receive_steps = {{NPT_SUCCESS, 7, [&] { connection.descriptor->Cancel(false); }}};
    EXPECT_EQ(connection.input.Read(connection.bytes, 10, &connection.count), NPT_SUCCESS);
    EXPECT_EQ(connection.count, 7u);
    EXPECT_EQ(connection.descriptor->GetTransferCount(), 7u);
}

TEST(InputStreamScriptedTest, CancelComesBeforeTheEndAndBeforeErrors) {
    for (const NPT_Result result : {NPT_SUCCESS, NPT_ERROR_CONNECTION_RESET}) {
        SCOPED_TRACE(result);
        ScriptedPlatform platform;
        Connection connection;
        platform.receive_steps = {{result, 0, [&] { connection.descriptor->Cancel(false); }}};
        EXPECT_EQ(connection.input.Read(connection.bytes, 10, &connection.count),
                  NPT_ERROR_CANCELLED);
        EXPECT_EQ(connection.count, 0u);
    }
}

TEST(InputStreamScriptedTest, TimeOutZeroReadsWithoutWaiting) {
    ScriptedPlatform platform;
    Connection connection;
    connection.descriptor->SetReadTimeout(0);
    platform.receive_steps = {{NPT_ERROR_WOULD_BLOCK, 0, {}}};
    EXPECT_EQ(connection.input.Read(connection.bytes, 10), NPT_ERROR_WOULD_BLOCK);
    EXPECT_EQ(platform.CountOf("Wait"), 0);
}

TEST(InputStreamScriptedTest, AvailableIsAtLeastOneUnlessAReadWouldBlock) {
    ScriptedPlatform platform;
    Connection connection;
    NPT_UInt64 available = 99;
    platform.available = 42;
    EXPECT_EQ(connection.input.GetAvailable(available), NPT_SUCCESS);
    EXPECT_EQ(available, 42u);
    platform.available = 0;
    platform.wait_steps = {{NPT_ERROR_TIMEOUT, {}, {}}, {NPT_ERROR_CONNECTION_RESET, {}, {}}};
    EXPECT_EQ(connection.input.GetAvailable(available), NPT_SUCCESS);
    EXPECT_EQ(available, 0u);
    EXPECT_EQ(connection.input.GetAvailable(available), NPT_SUCCESS);
    EXPECT_EQ(available, 1u);
    for (const ScriptedPlatform::WaitCall& wait : platform.waits)
        EXPECT_EQ(wait.timeout, 0u);
}

TEST(InputStreamScriptedTest, AvailableThatThePlatformDoesNotTellIsAnIoctlFailure) {
    ScriptedPlatform platform;
    Connection connection;
    NPT_UInt64 available = 99;
    platform.available = 42;
    platform.failing_name = "GetAvailable";
    EXPECT_EQ(connection.input.GetAvailable(available), NPT_ERROR_IOCTL_FAILED);
    EXPECT_EQ(available, 0u);
}

TEST(OutputStreamScriptedTest, APartialSendIsReportedAsItIs) {
    ScriptedPlatform platform;
    Connection connection;
    platform.send_steps = {{NPT_SUCCESS, 3, {}}};
    EXPECT_EQ(connection.output.Write("0123456789", 10, &connection.count), NPT_SUCCESS);
    EXPECT_EQ(connection.count, 3u);
    EXPECT_EQ(connection.descriptor->GetTransferCount(), 3u);
}

TEST(OutputStreamScriptedTest, FailuresLeaveTheCountAtZero) {
    for (const char* failing : {"Wait", "Send"}) {
        SCOPED_TRACE(failing);
        ScriptedPlatform platform;
        Connection connection;
        platform.failing_name = failing;
        EXPECT_EQ(connection.output.Write("x", 1, &connection.count), platform.failure);
        EXPECT_EQ(connection.count, 0u);
    }
}

TEST(OutputStreamScriptedTest, SendingNothingIsAReset) {
    ScriptedPlatform platform;
    Connection connection;
    platform.send_steps = {{NPT_SUCCESS, 0, {}}};
    EXPECT_EQ(connection.output.Write("x", 1, &connection.count), NPT_ERROR_CONNECTION_RESET);
}

TEST(OutputStreamScriptedTest, CancelComesBeforeEveryOtherFailure) {
    for (const NPT_Result result : {NPT_SUCCESS, NPT_ERROR_WOULD_BLOCK, NPT_ERROR_NETWORK_DOWN}) {
        SCOPED_TRACE(result);
        ScriptedPlatform platform;
        Connection connection;
        platform.send_steps = {{result, 0, [&] { connection.descriptor->Cancel(false); }}};
        EXPECT_EQ(connection.output.Write("x", 1), NPT_ERROR_CANCELLED);
    }
}

TEST(OutputStreamScriptedTest, AWouldBlockIsRetriedAHundredTimes) {
    ScriptedPlatform platform;
    Connection connection;
    platform.send_steps.assign(100, {NPT_ERROR_WOULD_BLOCK, 0, {}});
    EXPECT_EQ(connection.output.Write("x", 1, &connection.count), NPT_SUCCESS);
    EXPECT_EQ(connection.count, 1u);
    EXPECT_EQ(platform.CountOf("Wait"), 101);

    platform.send_steps.assign(101, {NPT_ERROR_WOULD_BLOCK, 0, {}});
    EXPECT_EQ(connection.output.Write("x", 1, &connection.count), NPT_ERROR_WRITE_FAILED);
    EXPECT_EQ(connection.count, 0u);
}

TEST(OutputStreamScriptedTest, TimeOutZeroReportsAWouldBlockAtOnce) {
    ScriptedPlatform platform;
    Connection connection;
    connection.descriptor->SetWriteTimeout(0);
    platform.send_steps = {{NPT_ERROR_WOULD_BLOCK, 0, {}}};
    EXPECT_EQ(connection.output.Write("x", 1), NPT_ERROR_WOULD_BLOCK);
    EXPECT_EQ(platform.CountOf("Wait"), 0);
    EXPECT_EQ(platform.CountOf("Send"), 1);
}

TEST(OutputStreamScriptedTest, ANullBufferCancelsAndShutsDown) {
    ScriptedPlatform platform;
    Connection connection;
    EXPECT_EQ(connection.output.Write(nullptr, 5, &connection.count), NPT_SUCCESS);
    EXPECT_EQ(connection.count, 0u);
    EXPECT_TRUE(connection.descriptor->IsCancelled());
    EXPECT_EQ(platform.CountOf("Shutdown"), 1);
    EXPECT_EQ(platform.CountOf("Send"), 0);
}

TEST(OutputStreamScriptedTest, FlushTurnsNoDelayOnAndOffAroundAnEmptySend) {
    ScriptedPlatform platform;
    Connection connection;
    platform.calls.clear();
    EXPECT_EQ(connection.output.Flush(), NPT_SUCCESS);
    EXPECT_EQ(platform.calls,
              (std::vector<std::string>{"GetOption", "SetOption", "Send", "SetOption"}));
    ASSERT_EQ(platform.options_set.size(), 2u);
    EXPECT_EQ(platform.options_set[0].value[0], 1);
    EXPECT_EQ(platform.options_set[1].value[0], 0);
}

TEST(OutputStreamScriptedTest, FlushHasNothingToDoWithoutADelay) {
    ScriptedPlatform platform;
    Connection connection;
    platform.option_values[Option::kNoDelay] = 1;
    EXPECT_EQ(connection.output.Flush(), NPT_SUCCESS);
    EXPECT_EQ(platform.CountOf("SetOption"), 0);
}

TEST(OutputStreamScriptedTest, FlushNamesTheStepThatFailed) {
    const NPT_Result expected[] = {NPT_ERROR_GETSOCKOPT_FAILED, NPT_ERROR_SETSOCKOPT_FAILED,
                                   NPT_SUCCESS, NPT_ERROR_SETSOCKOPT_FAILED};
    for (int failing = 0; failing < 4; ++failing) {
        SCOPED_TRACE(failing);
        ScriptedPlatform platform;
        Connection connection;
        platform.calls.clear();
        platform.failing_call = failing;
        EXPECT_EQ(connection.output.Flush(), expected[failing]);
    }
}

}  // namespace
