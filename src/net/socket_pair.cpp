#include "net/socket_pair.h"

namespace {

NPT_Result OpenStream(UniqueSocket& socket) {
    socket_platform::Handle handle = socket_platform::kInvalidHandle;
    const NPT_Result result = socket_platform::Open(socket_platform::Transport::kStream, handle);
    socket = UniqueSocket(handle);
    return result;
}

NPT_Result ListenOnLoopback(UniqueSocket& listener, NPT_SocketAddress& address) {
    NPT_Result result = OpenStream(listener);
    if (NPT_Failed(result)) return result;
    const int reuse = 1;
    result = socket_platform::SetOption(listener.Get(), socket_platform::Option::kReuseAddress,
                                        &reuse, sizeof reuse);
    if (NPT_Failed(result)) return result;
    result = socket_platform::Bind(listener.Get(), NPT_IpAddress(127, 0, 0, 1));
    if (NPT_Failed(result)) return result;
    result = socket_platform::Listen(listener.Get(), 1);
    if (NPT_Failed(result)) return result;
    return socket_platform::GetLocalAddress(listener.Get(), address);
}

// Another process of this host may have connected in between: only the own end is accepted.
NPT_Result AcceptFrom(const UniqueSocket& listener, const UniqueSocket& expected,
                      UniqueSocket& connection) {
    NPT_SocketAddress expected_address;
    NPT_Result result = socket_platform::GetLocalAddress(expected.Get(), expected_address);
    NPT_SocketAddress peer;
    while (NPT_Succeeded(result) && peer != expected_address) {
        socket_platform::Handle handle = socket_platform::kInvalidHandle;
        result = socket_platform::Accept(listener.Get(), handle);
        connection = UniqueSocket(handle);
        if (NPT_Succeeded(result)) result = socket_platform::GetPeerAddress(handle, peer);
    }
    return result;
}

}  // namespace

NPT_Result ConnectSocketPair(UniqueSocket& write_end, UniqueSocket& read_end) {
    write_end = UniqueSocket();
    read_end = UniqueSocket();
    UniqueSocket listener;
    NPT_SocketAddress address;
    NPT_Result result = ListenOnLoopback(listener, address);
    if (NPT_Failed(result)) return result;
    UniqueSocket connecting;
    result = OpenStream(connecting);
    if (NPT_Failed(result)) return result;
    result = socket_platform::Connect(connecting.Get(), address);
    if (NPT_Failed(result)) return result;
    UniqueSocket accepted;
    result = AcceptFrom(listener, connecting, accepted);
    if (NPT_Failed(result)) return result;
    write_end = std::move(connecting);
    read_end = std::move(accepted);
    return NPT_SUCCESS;
}
