#include "net/bsd_socket_fd.h"

#include <algorithm>
#include <chrono>

#include "net/blocked_thread_table.h"
#include "net/socket_interface.h"
#include "net/socket_pair.h"

namespace {

// Asks the platform until something is ready or the whole time has passed: a signal, or a platform
// that comes back early, costs none of it and adds none to it.
NPT_Result WaitUntilDeadline(const socket_platform::WaitRequest& request, NPT_Timeout timeout,
                             socket_platform::Readiness& readiness) {
    using Clock = std::chrono::steady_clock;
    if (timeout == 0 || timeout == NPT_TIMEOUT_INFINITE) {
        NPT_Result result;
        do {
            result = socket_platform::Wait(request, timeout, readiness);
        } while (result == NPT_ERROR_INTERRUPTED);
        return result;
    }
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeout);
    NPT_Timeout remaining = timeout;
    for (;;) {
        const NPT_Result result = socket_platform::Wait(request, remaining, readiness);
        if (result != NPT_ERROR_INTERRUPTED && result != NPT_ERROR_TIMEOUT) return result;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return NPT_ERROR_TIMEOUT;
        remaining = static_cast<NPT_Timeout>(std::min<NPT_Int64>(left.count(), timeout));
    }
}

}  // namespace

NPT_BsdSocketFd::NPT_BsdSocketFd(socket_platform::Handle handle, NPT_UInt32 flags)
    : socket_(handle) {
    socket_platform::SetNonBlocking(handle);
    if ((flags & NPT_SOCKET_FLAG_CANCELLABLE) == 0) return;
    if (NPT_Failed(ConnectSocketPair(wake_write_end_, wake_read_end_))) return;
    // Nobody drains the pair: however often the socket is cancelled, the canceller must not block.
    socket_platform::SetNonBlocking(wake_write_end_.Get());
}

void NPT_BsdSocketFd::Cancel(bool shutdown) {
    cancelled_.store(true);
    if (shutdown) socket_platform::Shutdown(socket_.Get());
    if (!IsCancellable()) return;
    const NPT_UInt8 wake = 0;
    NPT_UInt32 sent = 0;
    socket_platform::Send(wake_write_end_.Get(), &wake, sizeof wake, sent);
}

NPT_Result NPT_BsdSocketFd::WaitFor(SocketCondition condition, NPT_Timeout timeout,
                                    PendingErrors pending_errors) {
    if (IsCancelled()) return NPT_ERROR_CANCELLED;
    const BlockedThreadEntry blocked(*this);

    socket_platform::WaitRequest request;
    request.socket = socket_.Get();
    request.for_read = condition != SocketCondition::kWritable;
    request.for_write = condition != SocketCondition::kReadable;
    if (timeout != 0) request.waker = wake_read_end_.Get();
    socket_platform::Readiness readiness;
    const NPT_Result result = WaitUntilDeadline(request, timeout, readiness);

    if (IsCancelled()) return NPT_ERROR_CANCELLED;
    if (result == NPT_ERROR_TIMEOUT && timeout == 0) return NPT_ERROR_WOULD_BLOCK;
    if (NPT_Failed(result)) return result;
    if (readiness.readable || readiness.writable)
        return pending_errors == PendingErrors::kReported ? TakePendingError() : NPT_SUCCESS;
    if (!readiness.exceptional) return NPT_ERROR_NO_PROGRESS;
    const NPT_Result error = TakePendingError();
    return NPT_Failed(error) ? error : NPT_FAILURE;
}

// The error that the socket holds ready, which taking clears, or that of the question.
NPT_Result NPT_BsdSocketFd::TakePendingError() {
    int error = 0;
    NPT_UInt32 size = sizeof error;
    const NPT_Result result = socket_platform::GetOption(
        socket_.Get(), socket_platform::Option::kPendingError, &error, size);
    if (NPT_Failed(result)) return result;
    return error == 0 ? NPT_SUCCESS : socket_platform::MapError(error);
}
