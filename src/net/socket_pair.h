#ifndef VIREON_NET_SOCKET_PAIR_H
#define VIREON_NET_SOCKET_PAIR_H

#include "core/result.h"
#include "net/unique_socket.h"

// Two stream sockets of this process, connected to each other over the loopback interface, both
// blocking. After a failure both ends are empty and nothing stays open.
NPT_Result ConnectSocketPair(UniqueSocket& write_end, UniqueSocket& read_end);

#endif
