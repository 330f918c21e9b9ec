#include "simulated_network.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <utility>

#include "fuzz_input.h"
#include "net/interface_platform.h"
#include "net/socket_platform.h"

namespace simulated_network {
namespace {

struct Socket {
    bool is_stream = false;
    NPT_SocketAddress local;
    NPT_SocketAddress peer;
    socket_platform::Handle peer_handle = socket_platform::kInvalidHandle;
    bool has_bytes = false;  // of a connection
};

State g_state;
std::map<socket_platform::Handle, Socket> g_sockets;
socket_platform::Handle g_next_handle = 0;
// The one that has connected last.
socket_platform::Handle g_connecting = socket_platform::kInvalidHandle;
int g_pending_error = 0;

// A few are needed to find out that there is nothing.
void CountFruitlessCall() {
    ++g_state.fruitless_calls;
    Require(g_state.fruitless_calls <= 3, "without datagrams time passes");
}

Socket* Find(socket_platform::Handle handle) {
    const auto found = g_sockets.find(handle);
    return found == g_sockets.end() ? nullptr : &found->second;
}

NPT_SocketAddress LoopbackAddress(socket_platform::Handle handle) {
    return NPT_SocketAddress(NPT_IpAddress(127, 0, 0, 1),
                             static_cast<NPT_UInt16>(1000 + handle % 60000));
}

void Pass(Milliseconds time) {
    if (time.count() == 0) return;
    if (g_state.before_time_passes) g_state.before_time_passes();
    g_state.now += time;
    g_state.fruitless_calls = 0;
}

bool IsWoken(const socket_platform::WaitRequest& request) {
    const Socket* const waker = Find(request.waker);
    return waker && waker->has_bytes;
}

// Goes on to the next event that a receiver notices, for at most that time; who only waits for the
// waker notices none. Null when the time was over before, or a call in between woke the waiter.
Event* NextEvent(Milliseconds limit, const socket_platform::WaitRequest& request,
                 bool is_receiver) {
    for (;;) {
        if (g_state.events.empty()) {
            g_state.at_end();
            if (!IsWoken(request)) Pass(limit);
            return nullptr;
        }
        Event& event = g_state.events.front();
        if (event.kind == Event::Kind::kCall) {
            const std::function<void()> call = std::move(event.call);
            g_state.events.pop_front();
            call();
            if (IsWoken(request)) return nullptr;
        } else if (event.kind == Event::Kind::kPause && event.pause.count() == 0) {
            g_state.events.pop_front();
        } else if (event.kind == Event::Kind::kPause && limit.count() > 0) {
            const Milliseconds passing = std::min(limit, event.pause);
            event.pause -= passing;
            limit -= passing;
            Pass(passing);
        } else if (event.kind == Event::Kind::kPause || !is_receiver) {
            Pass(limit);
            return nullptr;
        } else {
            return &event;
        }
    }
}

Event Take() {
    Event event = std::move(g_state.events.front());
    g_state.events.pop_front();
    return event;
}

socket_platform::Handle Add(const Socket& socket) {
    g_sockets[g_next_handle] = socket;
    return g_next_handle++;
}

NPT_Result WaitForWaker(const socket_platform::WaitRequest& request, Milliseconds limit,
                        socket_platform::Readiness& readiness) {
    socket_platform::WaitRequest woken;
    woken.waker = request.socket;
    if (!IsWoken(woken)) NextEvent(limit, woken, false);
    readiness.readable = IsWoken(woken);
    return readiness.readable ? NPT_SUCCESS : NPT_ERROR_TIMEOUT;
}

NPT_Result WaitForDatagram(const socket_platform::WaitRequest& request, Milliseconds limit,
                           socket_platform::Readiness& readiness) {
    const Event* const next = NextEvent(limit, request, true);
    if (!next) return IsWoken(request) ? NPT_SUCCESS : NPT_ERROR_TIMEOUT;
    if (next->kind == Event::Kind::kDatagram || next->kind == Event::Kind::kReceiveFailure) {
        readiness.readable = true;
        return NPT_SUCCESS;
    }
    const Event event = Take();
    if (event.kind == Event::Kind::kWaitFailure) {
        const bool is_waited_on =
            event.failure == NPT_ERROR_INTERRUPTED || event.failure == NPT_ERROR_TIMEOUT;
        if (!is_waited_on) CountFruitlessCall();
        return event.failure;
    }
    CountFruitlessCall();
    g_pending_error = event.error_number;
    readiness.exceptional = event.kind == Event::Kind::kPendingError;
    return NPT_SUCCESS;
}

}  // namespace

State& Current() {
    return g_state;
}

void Begin() {
    g_state = State();
    // Far from the clock's first instant.
    g_state.now += std::chrono::hours(1);
    g_pending_error = 0;
}

void CheckThatAllIsClosed() {
    Require(g_sockets.empty(), "all sockets are closed");
    g_next_handle = 0;
}

}  // namespace simulated_network

// In the place of the clock's, which the linker knows by this name.
std::chrono::steady_clock::time_point SimulatedNow() __asm__(
    "__wrap__ZNSt6chrono3_V212steady_clock3nowEv");
std::chrono::steady_clock::time_point SimulatedNow() {
    return simulated_network::Current().now;
}

namespace socket_platform {

using namespace simulated_network;

NPT_Result MapError(int platform_error) {
    return platform_error == kLossNumber ? kReportOfALoss : NPT_ERROR_SYSTEM_BASE - platform_error;
}

NPT_Result Open(Transport transport, Handle& socket) {
    Socket made;
    made.is_stream = transport == Transport::kStream;
    socket = Add(made);
    return NPT_SUCCESS;
}

void Close(Handle socket) {
    Require(g_sockets.erase(socket) == 1, "a socket is closed once");
}

NPT_Result SetNonBlocking(Handle) {
    return NPT_SUCCESS;
}

NPT_Result IgnoreDeliveryReports(Handle) {
    return NPT_SUCCESS;
}

NPT_Result AvoidGateways(Handle) {
    return NPT_SUCCESS;
}

NPT_Result Bind(Handle socket, const NPT_SocketAddress&) {
    Find(socket)->local = LoopbackAddress(socket);
    return NPT_SUCCESS;
}

NPT_Result Connect(Handle socket, const NPT_SocketAddress& address) {
    Find(socket)->local = LoopbackAddress(socket);
    Find(socket)->peer = address;
    g_connecting = socket;
    return NPT_SUCCESS;
}

NPT_Result Listen(Handle, int) {
    return NPT_SUCCESS;
}

NPT_Result Accept(Handle listener, Handle& connection) {
    Socket made;
    made.is_stream = true;
    made.local = Find(listener)->local;
    made.peer = Find(g_connecting)->local;
    made.peer_handle = g_connecting;
    connection = Add(made);
    Find(g_connecting)->peer_handle = connection;
    return NPT_SUCCESS;
}

NPT_Result Shutdown(Handle) {
    return NPT_SUCCESS;
}

NPT_Result GetLocalAddress(Handle socket, NPT_SocketAddress& address) {
    address = Find(socket)->local;
    return NPT_SUCCESS;
}

NPT_Result GetPeerAddress(Handle socket, NPT_SocketAddress& address) {
    address = Find(socket)->peer;
    return NPT_SUCCESS;
}

NPT_Result Send(Handle socket, const void*, NPT_UInt32 size, NPT_UInt32& sent) {
    Find(Find(socket)->peer_handle)->has_bytes = true;
    sent = size;
    return NPT_SUCCESS;
}

NPT_Result SendTo(Handle, const void* data, NPT_UInt32 size, const NPT_SocketAddress& address,
                  NPT_UInt32& sent) {
    const NPT_Result result =
        Current().send(std::string(static_cast<const char*>(data), size), address);
    sent = NPT_Succeeded(result) ? size : 0;
    return result;
}

NPT_Result Receive(Handle, void*, NPT_UInt32, NPT_UInt32& received) {
    received = 0;
    return NPT_ERROR_NOT_CONNECTED;
}

NPT_Result ReceiveDatagram(Handle, void* buffer, NPT_UInt32 size, NPT_SocketAddress* source,
                           NPT_UInt32& received) {
    received = 0;
    if (source) *source = NPT_SocketAddress();
    ++g_state.receives;
    if (!NextEvent(Milliseconds(0), WaitRequest(), true)) {
        CountFruitlessCall();
        return NPT_ERROR_WOULD_BLOCK;
    }
    const Event event = Take();
    if (event.kind == Event::Kind::kDatagram) {
        g_state.fruitless_calls = 0;
        if (event.text.size() > size) return kTooLong;
        std::memcpy(buffer, event.text.data(), event.text.size());
        received = static_cast<NPT_UInt32>(event.text.size());
        if (source) *source = event.source;
        return NPT_SUCCESS;
    }
    if (event.kind == Event::Kind::kNothingReady) {
        CountFruitlessCall();
        return NPT_ERROR_WOULD_BLOCK;
    }
    const NPT_Result failure =
        event.kind == Event::Kind::kPendingError ? MapError(event.error_number) : event.failure;
    if (!IsAboutOneDatagram(failure)) CountFruitlessCall();
    return failure;
}

bool IsAboutOneDatagram(NPT_Result result) {
    return result == kReportOfALoss || result == kTooLong;
}

NPT_Result GetAvailable(Handle, NPT_UInt32& available) {
    available = 0;
    return NPT_SUCCESS;
}

NPT_Result Wait(const WaitRequest& request, NPT_Timeout timeout, Readiness& readiness) {
    readiness = Readiness();
    const Socket* const socket = Find(request.socket);
    Require(socket != nullptr, "an open socket is waited for");
    Require(timeout != NPT_TIMEOUT_INFINITE, "every wait ends");
    if (request.for_write) {
        readiness.writable = true;
        return NPT_SUCCESS;
    }
    if (!socket->is_stream) return WaitForDatagram(request, Milliseconds(timeout), readiness);
    const bool is_listener = socket->peer_handle == kInvalidHandle;
    readiness.readable = is_listener;
    return is_listener ? NPT_SUCCESS : WaitForWaker(request, Milliseconds(timeout), readiness);
}

NPT_Result SetOption(Handle, Option, const void*, NPT_UInt32) {
    return NPT_SUCCESS;
}

NPT_Result GetOption(Handle, Option option, void* value, NPT_UInt32& size) {
    int number = 0;
    if (option == Option::kPendingError) std::swap(number, g_pending_error);
    std::memcpy(value, &number, sizeof number);
    size = sizeof number;
    return NPT_SUCCESS;
}

NPT_Result SetSendTimeout(Handle, NPT_Timeout) {
    return NPT_SUCCESS;
}

NPT_Result LookUpName(const char*, NPT_List<ResolvedAddress>&) {
    return NPT_ERROR_HOST_UNKNOWN;
}

}  // namespace socket_platform

namespace interface_platform {

NPT_Result Query(NPT_List<Entry>& entries) {
    entries.Clear();
    return NPT_SUCCESS;
}

}  // namespace interface_platform
