#ifndef VIREON_NET_WIN32_WINSOCK_H
#define VIREON_NET_WIN32_WINSOCK_H

// Starts the platform's socket library for the process, on the first call and, where the system had
// no room for it, on the next one; every call tells whether it runs. Not to be called from DllMain,
// where loading further libraries deadlocks. It is never stopped: sockets may live until the
// process ends.
bool StartWinsock();

#endif
