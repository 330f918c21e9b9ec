#ifndef VIREON_NET_BSD_SOCKET_FD_H
#define VIREON_NET_BSD_SOCKET_FD_H

#include <atomic>
#include <memory>
#include <utility>

#include "core/reference.h"
#include "core/result.h"
#include "core/timeout.h"
#include "core/types.h"
#include "net/socket_platform.h"
#include "net/socket_waker.h"
#include "net/unique_socket.h"

enum class SocketCondition { kReadable, kWritable, kReadableOrWritable };
// Whether an error that is pending on a ready socket makes the wait fail.
enum class PendingErrors { kIgnored, kReported };

// The descriptor that a socket and the streams obtained from it share; the last of them closes it.
// Owns the socket handle and, when cancellable, shares the waker that ends its waits.
// One thread transfers in each direction; Cancel may come from any thread at any time.
class NPT_BsdSocketFd {
  public:
    // Takes ownership of handle, which may be invalid, and makes it non-blocking. flags: 0 or
    // NPT_SOCKET_FLAG_CANCELLABLE; without resources for the pair it is not cancellable.
    NPT_BsdSocketFd(socket_platform::Handle handle, NPT_UInt32 flags);
    NPT_BsdSocketFd(const NPT_BsdSocketFd&) = delete;
    NPT_BsdSocketFd& operator=(const NPT_BsdSocketFd&) = delete;

    bool IsOpen() const { return socket_.IsValid(); }
    socket_platform::Handle GetHandle() const { return socket_.Get(); }
    bool IsCancellable() const { return waker_ != nullptr; }
    bool IsCancelled() const { return cancelled_.load() || (waker_ && waker_->IsAwake()); }
    // Makes it cancellable by this waker, which sockets that are cancelled together share. Before
    // the first wait.
    void SetWaker(std::shared_ptr<SocketWaker> waker) { waker_ = std::move(waker); }

    NPT_Timeout GetReadTimeout() const { return read_timeout_.load(); }
    void SetReadTimeout(NPT_Timeout timeout) { read_timeout_.store(timeout); }
    NPT_Timeout GetWriteTimeout() const { return write_timeout_.load(); }
    void SetWriteTimeout(NPT_Timeout timeout) { write_timeout_.store(timeout); }

    // Bytes moved in both directions together.
    NPT_UInt64 GetTransferCount() const { return transfer_count_.load(); }
    void CountTransfer(NPT_UInt32 bytes) { transfer_count_.fetch_add(bytes); }

    // For good: nothing clears it. Wakes the wait in progress, and with it whatever shares the
    // waker; with shutdown the connection ends in both directions too.
    void Cancel(bool shutdown);

    // Waits until the condition holds, for at most timeout milliseconds, measured on a clock that
    // nobody sets; signals do not shorten it. Anything the platform reports beside the condition
    // ends the wait as well.
    //   NPT_ERROR_CANCELLED    before or during the wait
    //   NPT_ERROR_TIMEOUT      the time passed
    //   NPT_ERROR_WOULD_BLOCK  the condition does not hold, with timeout 0
    //   NPT_ERROR_NO_PROGRESS  woken without a reason
    //   NPT_FAILURE            an exceptional condition without an error
    NPT_Result WaitFor(SocketCondition condition, NPT_Timeout timeout,
                       PendingErrors pending_errors = PendingErrors::kIgnored);

    // Waits as far as a call for which the condition is needed would not. With timeout 0 that is
    // only where the platform refused to make the socket non-blocking. Results as WaitFor's, of
    // which a cancelled socket has its own however long the time.
    NPT_Result WaitBefore(SocketCondition condition, NPT_Timeout timeout);

  private:
    NPT_Result WaitUntilDeadline(const socket_platform::WaitRequest& request, NPT_Timeout timeout,
                                 socket_platform::Readiness& readiness) const;
    NPT_Result TakePendingError();

    // In the reverse of this order they are closed: first the waker's pair, then the socket.
    UniqueSocket socket_;
    const bool may_block_;
    std::shared_ptr<SocketWaker> waker_;
    std::atomic<NPT_Timeout> read_timeout_{NPT_TIMEOUT_INFINITE};
    std::atomic<NPT_Timeout> write_timeout_{NPT_TIMEOUT_INFINITE};
    std::atomic<NPT_UInt64> transfer_count_{0};
    std::atomic<bool> cancelled_{false};
};

using NPT_BsdSocketFdReference = NPT_Reference<NPT_BsdSocketFd>;

#endif
