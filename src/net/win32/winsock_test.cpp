#include "net/win32/winsock.h"

#include <gtest/gtest.h>
#include <winsock2.h>

#include <windows.h>

#include <thread>
#include <utility>
#include <vector>

namespace {

bool was_refused = false;

int WSAAPI RefusingOnce(WORD version, WSADATA* details) {
    if (!std::exchange(was_refused, true)) return WSASYSNOTREADY;
    static const auto real = reinterpret_cast<decltype(&WSAStartup)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ws2_32.dll"), "WSAStartup")));
    return real(version, details);
}

}  // namespace

// What the program itself defines, the linker does not take from the system's import library.
extern "C" const decltype(&WSAStartup) __imp_WSAStartup = RefusingOnce;

namespace {

// Before any test has asked for a socket.
const bool started_at_first = StartWinsock();

TEST(WinsockTest, IsTriedAgainAfterAStartThatFailed) {
    EXPECT_FALSE(started_at_first);
    EXPECT_TRUE(StartWinsock());
}

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
