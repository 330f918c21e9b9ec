#include "net/bsd_socket_stream.h"

namespace {

// How often a write starts over when the platform announced room that was not there.
constexpr int kMaxWriteRetries = 100;

NPT_Result SetNoDelay(socket_platform::Handle handle, int value) {
    const NPT_Result result =
        socket_platform::SetOption(handle, socket_platform::Option::kNoDelay, &value, sizeof value);
    return NPT_Failed(result) ? NPT_ERROR_SETSOCKOPT_FAILED : NPT_SUCCESS;
}

}  // namespace

NPT_Result NPT_BsdSocketInputStream::Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read) {
    if (read) *read = 0;
    const NPT_Result ready =
        descriptor_->WaitBefore(SocketCondition::kReadable, descriptor_->GetReadTimeout());
    if (NPT_Failed(ready)) return ready;
    NPT_UInt32 received = 0;
    const NPT_Result result =
        socket_platform::Receive(descriptor_->GetHandle(), buffer, count, received);
    if (received > 0) {
        descriptor_->CountTransfer(received);
        if (read) *read = received;
        return NPT_SUCCESS;
    }
    if (descriptor_->IsCancelled()) return NPT_ERROR_CANCELLED;
    return NPT_Failed(result) ? result : NPT_ERROR_EOS;
}

NPT_Result NPT_BsdSocketInputStream::Tell(NPT_UInt64& offset) {
    offset = 0;
    return NPT_SUCCESS;
}

NPT_Result NPT_BsdSocketInputStream::GetAvailable(NPT_UInt64& available) {
    available = 0;
    NPT_UInt32 ready = 0;
    if (NPT_Failed(socket_platform::GetAvailable(descriptor_->GetHandle(), ready)))
        return NPT_ERROR_IOCTL_FAILED;
    available = ready;
    if (ready == 0 && descriptor_->WaitFor(SocketCondition::kReadable, 0) != NPT_ERROR_WOULD_BLOCK)
        available = 1;
    return NPT_SUCCESS;
}

NPT_Result NPT_BsdSocketOutputStream::Write(const void* buffer, NPT_UInt32 count,
                                            NPT_UInt32* written) {
    if (written) *written = 0;
    if (!buffer) {
        descriptor_->Cancel(true);
        return NPT_SUCCESS;
    }
    const NPT_Timeout timeout = descriptor_->GetWriteTimeout();
    for (int retries = 0;; ++retries) {
        const NPT_Result ready = descriptor_->WaitBefore(SocketCondition::kWritable, timeout);
        if (NPT_Failed(ready)) return ready;
        NPT_UInt32 sent = 0;
        const NPT_Result result =
            socket_platform::Send(descriptor_->GetHandle(), buffer, count, sent);
        if (sent > 0) {
            descriptor_->CountTransfer(sent);
            if (written) *written = sent;
            return NPT_SUCCESS;
        }
        if (descriptor_->IsCancelled()) return NPT_ERROR_CANCELLED;
        if (NPT_Succeeded(result)) return NPT_ERROR_CONNECTION_RESET;
        if (result != NPT_ERROR_WOULD_BLOCK || timeout == 0) return result;
        if (retries == kMaxWriteRetries) return NPT_ERROR_WRITE_FAILED;
    }
}

NPT_Result NPT_BsdSocketOutputStream::Tell(NPT_UInt64& offset) {
    offset = 0;
    return NPT_SUCCESS;
}

NPT_Result NPT_BsdSocketOutputStream::Flush() {
    const socket_platform::Handle handle = descriptor_->GetHandle();
    int no_delay = 0;
    NPT_UInt32 size = sizeof no_delay;
    if (NPT_Failed(
            socket_platform::GetOption(handle, socket_platform::Option::kNoDelay, &no_delay, size)))
        return NPT_ERROR_GETSOCKOPT_FAILED;
    if (no_delay != 0) return NPT_SUCCESS;
    const NPT_Result result = SetNoDelay(handle, 1);
    if (NPT_Failed(result)) return result;
    NPT_UInt32 sent = 0;
    socket_platform::Send(handle, "", 0, sent);
    return SetNoDelay(handle, 0);
}
