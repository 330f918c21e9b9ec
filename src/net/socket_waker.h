#ifndef VIREON_NET_SOCKET_WAKER_H
#define VIREON_NET_SOCKET_WAKER_H

#include <atomic>

#include "core/timeout.h"
#include "net/unique_socket.h"

// Ends the waits of any number of sockets at once, and for good: a pair of connected sockets whose
// read end every wait watches too. Nobody drains it, so one byte wakes them all. Without resources
// for the pair, or without a loopback interface, the waits look at it every 20 ms instead; so they
// do once something else has made the pair readable: an end that somebody cut off, or a byte that
// is not ours, as of a host that writes to a descriptor which it closed before.
//
// Shared by whoever wakes and the sockets that are woken. Any thread may call any operation.
class SocketWaker {
  public:
    // Milliseconds between two looks at a waker without a pair: soon enough for whoever waits for
    // the woken, seldom enough to cost next to nothing.
    static constexpr NPT_Timeout kLookInterval = 20;

    SocketWaker();
    SocketWaker(const SocketWaker&) = delete;
    SocketWaker& operator=(const SocketWaker&) = delete;

    // Takes up to 20 ms where the loopback interface has gone since the pair was made.
    void Wake();
    bool IsAwake() const { return is_awake_.load(); }
    // Waits for at most timeout milliseconds; whether it is awake then.
    bool WaitFor(NPT_Timeout timeout) const;

    bool HasPair() const { return read_end_.IsValid() && !is_given_up_.load(); }
    // Readable once it is awake; invalid without a pair.
    socket_platform::Handle GetHandle() const {
        return HasPair() ? read_end_.Get() : socket_platform::kInvalidHandle;
    }
    // Due when the handle is readable and this is not awake: there is no pair from then on, since
    // every wait for it would end at once.
    void GiveUpPair() const { is_given_up_.store(true); }
    // The longest time, in milliseconds, that a wait may last before it looks whether it is over.
    NPT_Timeout GetLongestWait() const { return HasPair() ? NPT_TIMEOUT_INFINITE : kLookInterval; }

  private:
    UniqueSocket read_end_;
    UniqueSocket write_end_;
    std::atomic<bool> is_awake_{false};
    mutable std::atomic<bool> is_given_up_{false};
};

#endif
