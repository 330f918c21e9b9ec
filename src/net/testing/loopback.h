#ifndef VIREON_NET_TESTING_LOOPBACK_H
#define VIREON_NET_TESTING_LOOPBACK_H

#include <chrono>
#include <string>

#include "core/data_buffer.h"
#include "net/socket_interface.h"

// Helpers for tests whose sockets talk to each other over 127.0.0.1.

inline NPT_IpAddress Loopback() {
    return NPT_IpAddress(127, 0, 0, 1);
}

// Binds to a free port and tells the address.
inline NPT_SocketAddress BindToLoopback(NPT_SocketInterface& socket) {
    NPT_SocketInfo info;
    socket.Bind(NPT_SocketAddress(Loopback(), 0), false);
    socket.GetInfo(info);
    return info.local_address;
}

inline NPT_Result SendText(NPT_UdpSocketInterface& socket, const std::string& text,
                           const NPT_SocketAddress* address = nullptr) {
    NPT_DataBuffer packet;
    packet.SetData(reinterpret_cast<const NPT_UInt8*>(text.data()),
                   static_cast<NPT_UInt32>(text.size()));
    return socket.Send(packet, address);
}

inline std::string TextOf(const NPT_DataBuffer& packet) {
    return std::string(reinterpret_cast<const char*>(packet.GetData()), packet.GetDataSize());
}

// The one clock of these tests, in whole milliseconds.
class Stopwatch {
  public:
    long long Milliseconds() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start_).count();
    }

  private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point start_ = Clock::now();
};

#endif
