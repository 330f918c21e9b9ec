#include "net/win32/winsock.h"

#include <winsock2.h>

bool StartWinsock() {
    static const bool started = [] {
        WSADATA details;
        return WSAStartup(MAKEWORD(2, 2), &details) == 0;
    }();
    return started;
}
