#include "net/socket_pair.h"

namespace {

// Each on another port, which whoever watched the one before has to find first.
constexpr int kAttempts = 3;
// Milliseconds; the loopback interface takes microseconds.
constexpr NPT_Timeout kConnectLimit = 200;

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

// Whether each of the two is what the other one is connected to. Nothing else tells the own
// connection from that of another process of this host, which may have come first and may have gone
// again.
bool AreConnectedToEachOther(const UniqueSocket& one, const UniqueSocket& other) {
    NPT_SocketAddress local;
    NPT_SocketAddress peer;
    NPT_SocketAddress local_of_other;
    NPT_SocketAddress peer_of_other;
    return NPT_Succeeded(socket_platform::GetLocalAddress(one.Get(), local)) &&
           NPT_Succeeded(socket_platform::GetPeerAddress(one.Get(), peer)) &&
           NPT_Succeeded(socket_platform::GetLocalAddress(other.Get(), local_of_other)) &&
           NPT_Succeeded(socket_platform::GetPeerAddress(other.Get(), peer_of_other)) &&
           local == peer_of_other && peer == local_of_other;
}

NPT_Result WaitWithinLimit(socket_platform::WaitRequest request) {
    socket_platform::Readiness readiness;
    return socket_platform::Wait(request, kConnectLimit, readiness);
}

// Without blocking: where others fill the listener's queue nobody answers.
NPT_Result ConnectWithinLimit(const UniqueSocket& connecting, const NPT_SocketAddress& address) {
    NPT_Result result = socket_platform::SetNonBlocking(connecting.Get());
    if (NPT_Failed(result)) return result;
    result = socket_platform::Connect(connecting.Get(), address);
    if (result != NPT_ERROR_WOULD_BLOCK) return result;
    socket_platform::WaitRequest request;
    request.socket = connecting.Get();
    request.for_write = true;
    return WaitWithinLimit(request);
}

// Nobody comes where the connection failed, or where another listens on the port as well.
NPT_Result AcceptWithinLimit(const UniqueSocket& listener, UniqueSocket& accepted) {
    socket_platform::WaitRequest request;
    request.socket = listener.Get();
    request.for_read = true;
    NPT_Result result = WaitWithinLimit(request);
    if (NPT_Failed(result)) return result;
    socket_platform::Handle handle = socket_platform::kInvalidHandle;
    result = socket_platform::Accept(listener.Get(), handle);
    accepted = UniqueSocket(handle);
    return result;
}

NPT_Result TryToConnect(UniqueSocket& write_end, UniqueSocket& read_end) {
    UniqueSocket listener;
    NPT_SocketAddress address;
    NPT_Result result = ListenOnLoopback(listener, address);
    if (NPT_Failed(result)) return result;
    UniqueSocket connecting;
    result = OpenStream(connecting);
    if (NPT_Failed(result)) return result;
    result = ConnectWithinLimit(connecting, address);
    if (NPT_Failed(result)) return result;
    UniqueSocket accepted;
    result = AcceptWithinLimit(listener, accepted);
    if (NPT_Failed(result)) return result;
    if (!AreConnectedToEachOther(connecting, accepted)) return NPT_ERROR_CONNECTION_ABORTED;
    write_end = std::move(connecting);
    read_end = std::move(accepted);
    return NPT_SUCCESS;
}

}  // namespace

NPT_Result ConnectSocketPair(UniqueSocket& write_end, UniqueSocket& read_end) {
    write_end = UniqueSocket();
    read_end = UniqueSocket();
    NPT_Result result = NPT_FAILURE;
    for (int attempt = 0; attempt < kAttempts && NPT_Failed(result); ++attempt)
        result = TryToConnect(write_end, read_end);
    return result;
}
