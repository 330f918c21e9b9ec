#include "net/win32/winsock.h"

#include <gtest/gtest.h>
#include <winsock2.h>

#include <thread>
#include <vector>

namespace {

TEST(WinsockTest, RunsAfterTheFirstCallFromWhateverThread) {
    std::vector<std::thread> threads;
    for (int count = 0; count < 4; ++count)
        threads.emplace_back([] { EXPECT_TRUE(StartWinsock()); });
    for (std::thread& thread : threads)
        thread.join();
    const SOCKET socket = ::socket(AF_INET, SOCK_DGRAM, 0);
    EXPECT_NE(socket, INVALID_SOCKET);
    ::closesocket(socket);
}

}  // namespace
