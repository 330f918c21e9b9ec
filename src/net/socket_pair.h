#ifndef VIREON_NET_SOCKET_PAIR_H
#define VIREON_NET_SOCKET_PAIR_H

#include "core/result.h"
#include "net/unique_socket.h"

// Two stream sockets of this process, connected to each other over the loopback interface. The read
// end blocks, the write end does not. A connection that another process of this host made first is
// dropped, and the pair is made anew, up to three times. After a failure both ends are empty and
// nothing stays open. Takes up to 1.2 s, where others do all they can to keep the two apart, and
// 0.6 s where the loopback interface is down.
NPT_Result ConnectSocketPair(UniqueSocket& write_end, UniqueSocket& read_end);

#endif
