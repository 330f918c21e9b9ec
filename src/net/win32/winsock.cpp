#include "net/win32/winsock.h"

#include <winsock2.h>

#include <atomic>

bool StartWinsock() {
    static std::atomic<bool> is_started{false};
    if (is_started) return true;
    WSADATA details;
    if (WSAStartup(MAKEWORD(2, 2), &details) != 0) return false;
    is_started = true;
    return true;
}
