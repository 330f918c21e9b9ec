#include "net/testing/scripted_platform.h"

#include <algorithm>
#include <cstring>

namespace {

ScriptedPlatform* g_current = nullptr;

socket_platform::Handle OpenHandle() {
    ScriptedPlatform& platform = ScriptedPlatform::Current();
    const socket_platform::Handle handle = platform.next_handle++;
    platform.open.insert(handle);
    return handle;
}

NPT_Result Transfer(const char* name, std::deque<ScriptedPlatform::TransferStep>& steps,
                    NPT_UInt32 unscripted_count, NPT_UInt32& transferred) {
    transferred = 0;
    const NPT_Result result = ScriptedPlatform::Current().Enter(name);
    if (NPT_Failed(result)) return result;
    ScriptedPlatform::TransferStep step;
    step.count = unscripted_count;
    if (!steps.empty()) {
        step = steps.front();
        steps.pop_front();
    }
    if (step.meanwhile) step.meanwhile();
    if (NPT_Succeeded(step.result)) transferred = step.count;
    return step.result;
}

}  // namespace

ScriptedPlatform::ScriptedPlatform() {
    g_current = this;
}

ScriptedPlatform::~ScriptedPlatform() {
    g_current = nullptr;
}

ScriptedPlatform& ScriptedPlatform::Current() {
    return *g_current;
}

NPT_Result ScriptedPlatform::Enter(const std::string& name) {
    const int number = static_cast<int>(calls.size());
    calls.push_back(name);
    return number == failing_call || name == failing_name ? failure : NPT_SUCCESS;
}

int ScriptedPlatform::CountOf(const std::string& name) const {
    return static_cast<int>(std::count(calls.begin(), calls.end(), name));
}

const ScriptedPlatform::OptionCall* ScriptedPlatform::FindOption(
    socket_platform::Option option) const {
    const auto found =
        std::find_if(options_set.begin(), options_set.end(),
                     [option](const OptionCall& call) { return call.option == option; });
    return found == options_set.end() ? nullptr : &*found;
}

namespace socket_platform {

NPT_Result MapError(int platform_error) {
    return NPT_ERROR_SYSTEM_BASE - platform_error;
}

NPT_Result Open(Transport, Handle& socket) {
    const NPT_Result result = ScriptedPlatform::Current().Enter("Open");
    socket = NPT_Failed(result) ? kInvalidHandle : OpenHandle();
    return result;
}

void Close(Handle socket) {
    ScriptedPlatform::Current().closed.push_back(socket);
    ScriptedPlatform::Current().open.erase(socket);
}

NPT_Result SetNonBlocking(Handle socket) {
    ScriptedPlatform::Current().made_non_blocking.push_back(socket);
    return ScriptedPlatform::Current().Enter("SetNonBlocking");
}

NPT_Result IgnoreDeliveryReports(Handle) {
    return ScriptedPlatform::Current().Enter("IgnoreDeliveryReports");
}

NPT_Result AvoidGateways(Handle) {
    return ScriptedPlatform::Current().Enter("AvoidGateways");
}

NPT_Result Bind(Handle, const NPT_SocketAddress&) {
    return ScriptedPlatform::Current().Enter("Bind");
}

NPT_Result Connect(Handle, const NPT_SocketAddress&) {
    return ScriptedPlatform::Current().Enter("Connect");
}

NPT_Result Listen(Handle, int) {
    return ScriptedPlatform::Current().Enter("Listen");
}

NPT_Result Accept(Handle, Handle& connection) {
    const NPT_Result result = ScriptedPlatform::Current().Enter("Accept");
    connection = NPT_Failed(result) ? kInvalidHandle : OpenHandle();
    return result;
}

NPT_Result Shutdown(Handle) {
    ScriptedPlatform::Current().when_shut_down();
    return ScriptedPlatform::Current().Enter("Shutdown");
}

NPT_Result GetLocalAddress(Handle, NPT_SocketAddress& address) {
    address = NPT_SocketAddress();
    const NPT_Result result = ScriptedPlatform::Current().Enter("GetLocalAddress");
    if (NPT_Succeeded(result)) address = NPT_SocketAddress(NPT_IpAddress(127, 0, 0, 1), 4000);
    return result;
}

NPT_Result GetPeerAddress(Handle socket, NPT_SocketAddress& address) {
    address = NPT_SocketAddress();
    const ScriptedPlatform& platform = ScriptedPlatform::Current();
    const NPT_Result result = ScriptedPlatform::Current().Enter("GetPeerAddress");
    if (NPT_Failed(result)) return result;
    const auto scripted = platform.peer_addresses.find(socket);
    address = scripted == platform.peer_addresses.end()
                  ? NPT_SocketAddress(NPT_IpAddress(127, 0, 0, 1), 4000)
                  : scripted->second;
    return NPT_SUCCESS;
}

NPT_Result Send(Handle, const void*, NPT_UInt32 size, NPT_UInt32& sent) {
    return Transfer("Send", ScriptedPlatform::Current().send_steps, size, sent);
}

NPT_Result SendTo(Handle, const void*, NPT_UInt32 size, const NPT_SocketAddress&,
                  NPT_UInt32& sent) {
    return Transfer("SendTo", ScriptedPlatform::Current().send_steps, size, sent);
}

NPT_Result Receive(Handle, void*, NPT_UInt32, NPT_UInt32& received) {
    return Transfer("Receive", ScriptedPlatform::Current().receive_steps, 0, received);
}

NPT_Result ReceiveDatagram(Handle, void* buffer, NPT_UInt32 size, NPT_SocketAddress* source,
                           NPT_UInt32& received) {
    std::memset(buffer, 'x', size);
    const NPT_Result result =
        Transfer("ReceiveDatagram", ScriptedPlatform::Current().receive_steps, 0, received);
    if (source)
        *source = NPT_Succeeded(result) ? ScriptedPlatform::Current().source : NPT_SocketAddress();
    return result;
}

bool IsAboutOneDatagram(NPT_Result result) {
    return result == NPT_ERROR_CONNECTION_RESET;
}

NPT_Result GetAvailable(Handle, NPT_UInt32& available) {
    const NPT_Result result = ScriptedPlatform::Current().Enter("GetAvailable");
    available = NPT_Failed(result) ? 0 : ScriptedPlatform::Current().available;
    return result;
}

NPT_Result Wait(const WaitRequest& request, NPT_Timeout timeout, Readiness& readiness) {
    readiness = Readiness();
    ScriptedPlatform& platform = ScriptedPlatform::Current();
    platform.waits.push_back({request, timeout});
    const NPT_Result result = platform.Enter("Wait");
    if (NPT_Failed(result)) return result;
    ScriptedPlatform::WaitStep step;
    step.readiness.readable = request.for_read;
    step.readiness.writable = request.for_write;
    if (!platform.wait_steps.empty()) {
        step = platform.wait_steps.front();
        platform.wait_steps.pop_front();
    }
    if (step.meanwhile) step.meanwhile();
    readiness = step.readiness;
    return step.result;
}

NPT_Result SetOption(Handle socket, Option option, const void* value, NPT_UInt32 size) {
    const NPT_Result result = ScriptedPlatform::Current().Enter("SetOption");
    if (NPT_Failed(result)) return result;
    const NPT_UInt8* bytes = static_cast<const NPT_UInt8*>(value);
    ScriptedPlatform::Current().options_set.push_back({socket, option, {bytes, bytes + size}});
    return NPT_SUCCESS;
}

NPT_Result GetOption(Handle, Option option, void* value, NPT_UInt32& size) {
    size = 0;
    const NPT_Result result = ScriptedPlatform::Current().Enter("GetOption");
    if (NPT_Failed(result)) return result;
    const int number = ScriptedPlatform::Current().option_values[option];
    std::memcpy(value, &number, sizeof number);
    size = sizeof number;
    return NPT_SUCCESS;
}

NPT_Result SetSendTimeout(Handle, NPT_Timeout) {
    return ScriptedPlatform::Current().Enter("SetSendTimeout");
}

NPT_Result LookUpName(const char*, NPT_List<ResolvedAddress>& answer) {
    const NPT_Result result = ScriptedPlatform::Current().Enter("LookUpName");
    if (NPT_Succeeded(result)) answer = ScriptedPlatform::Current().answer;
    return result;
}

}  // namespace socket_platform

namespace interface_platform {

NPT_Result Query(NPT_List<Entry>& entries) {
    entries.Clear();
    const NPT_Result result = ScriptedPlatform::Current().Enter("Query");
    if (NPT_Succeeded(result)) entries = ScriptedPlatform::Current().entries;
    return result;
}

}  // namespace interface_platform
