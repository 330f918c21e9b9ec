#include "net/bsd_socket_fd.h"

#include <algorithm>

#include "core/deadline.h"
#include "net/blocked_thread_table.h"
#include "net/socket_interface.h"

NPT_BsdSocketFd::NPT_BsdSocketFd(socket_platform::Handle handle, NPT_UInt32 flags)
    : socket_(handle), may_block_(NPT_Failed(socket_platform::SetNonBlocking(handle))) {
    if ((flags & NPT_SOCKET_FLAG_CANCELLABLE) == 0) return;
    auto waker = std::make_shared<SocketWaker>();
    if (waker->HasPair()) waker_ = std::move(waker);
}

void NPT_BsdSocketFd::Cancel(bool shutdown) {
    cancelled_.store(true);
    if (shutdown) socket_platform::Shutdown(socket_.Get());
    if (waker_) waker_->Wake();
}

NPT_Result NPT_BsdSocketFd::WaitBefore(SocketCondition condition, NPT_Timeout timeout) {
    if (IsCancelled()) return NPT_ERROR_CANCELLED;
    return timeout != 0 || may_block_ ? WaitFor(condition, timeout) : NPT_SUCCESS;
}

NPT_Result NPT_BsdSocketFd::WaitFor(SocketCondition condition, NPT_Timeout timeout,
                                    PendingErrors pending_errors) {
    if (IsCancelled()) return NPT_ERROR_CANCELLED;
    const BlockedThreadEntry blocked(*this);

    socket_platform::WaitRequest request;
    request.socket = socket_.Get();
    request.for_read = condition != SocketCondition::kWritable;
    request.for_write = condition != SocketCondition::kReadable;
    if (timeout != 0 && waker_) request.waker = waker_->GetHandle();
    socket_platform::Readiness readiness;
    const NPT_Result result = WaitUntilDeadline(request, timeout, readiness);

    if (IsCancelled()) return NPT_ERROR_CANCELLED;
    if (readiness.awake) waker_->GiveUpPair();
    if (result == NPT_ERROR_TIMEOUT && timeout == 0) return NPT_ERROR_WOULD_BLOCK;
    if (NPT_Failed(result)) return result;
    if (readiness.readable || readiness.writable)
        return pending_errors == PendingErrors::kReported ? TakePendingError() : NPT_SUCCESS;
    if (!readiness.exceptional) return NPT_ERROR_NO_PROGRESS;
    const NPT_Result error = TakePendingError();
    return NPT_Failed(error) ? error : NPT_FAILURE;
}

// Asks the platform until something is ready, the socket is cancelled or the whole time has passed:
// a signal, or a platform that comes back early, costs none of it and adds none to it.
NPT_Result NPT_BsdSocketFd::WaitUntilDeadline(const socket_platform::WaitRequest& request,
                                              NPT_Timeout timeout,
                                              socket_platform::Readiness& readiness) const {
    const bool is_limited = timeout != 0 && timeout != NPT_TIMEOUT_INFINITE;
    const NPT_Timeout longest = waker_ ? waker_->GetLongestWait() : NPT_TIMEOUT_INFINITE;
    const Deadline deadline = Deadline::AfterMillis(is_limited ? timeout : 0);
    NPT_Timeout remaining = timeout;
    for (;;) {
        const NPT_Timeout step = std::min(remaining, longest);
        const NPT_Result result = socket_platform::Wait(request, step, readiness);
        const bool is_cut_short = result == NPT_ERROR_TIMEOUT && step < remaining;
        const bool goes_on = result == NPT_ERROR_INTERRUPTED || is_cut_short ||
                             (is_limited && result == NPT_ERROR_TIMEOUT);
        if (!goes_on || IsCancelled()) return result;
        if (!is_limited) continue;
        remaining = std::min(deadline.GetMillisLeft(), timeout);
        if (remaining == 0) return NPT_ERROR_TIMEOUT;
    }
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
