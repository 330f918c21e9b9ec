#ifndef VIREON_NET_WIN32_WINSOCK_H
#define VIREON_NET_WIN32_WINSOCK_H

// Starts the platform's socket library for the process, once, on the first call; every call tells
// whether it runs. Not to be called from DllMain, where loading further libraries deadlocks. It is
// never stopped: sockets may live until the process ends.
bool StartWinsock();

#endif
