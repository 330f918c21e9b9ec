#include "net/socket_waker.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "core/deadline.h"
#include "net/socket_pair.h"

SocketWaker::SocketWaker() {
    // Its write end does not block: nobody drains the pair, and it may be woken often. Without a
    // pair the waits look at the waker now and then.
    ConnectSocketPair(write_end_, read_end_);
}

void SocketWaker::Wake() {
    is_awake_.store(true);
    if (!HasPair()) return;
    const NPT_UInt8 byte = 0;
    NPT_UInt32 sent = 0;
    socket_platform::Send(write_end_.Get(), &byte, sizeof byte, sent);
    // Where the loopback interface has gone meanwhile, which it can on POSIX systems, the byte does
    // not arrive. The connection's end shows there without it.
    socket_platform::WaitRequest request;
    request.socket = read_end_.Get();
    request.for_read = true;
    socket_platform::Readiness readiness;
    if (NPT_Failed(socket_platform::Wait(request, kLookInterval, readiness)))
        socket_platform::Shutdown(read_end_.Get());
}

bool SocketWaker::WaitFor(NPT_Timeout timeout) const {
    const Deadline deadline = Deadline::AfterMillis(timeout);
    while (!IsAwake()) {
        const NPT_Timeout step = std::min({deadline.GetMillisLeft(), timeout, GetLongestWait()});
        if (step == 0) return false;
        socket_platform::WaitRequest request;
        request.socket = GetHandle();
        request.for_read = true;
        socket_platform::Readiness readiness;
        const NPT_Result result = socket_platform::Wait(request, step, readiness);
        if (result == NPT_ERROR_TIMEOUT || IsAwake()) continue;
        // Without a pair that can be waited on the time must pass all the same.
        if (readiness.readable) GiveUpPair();
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min(step, kLookInterval)));
    }
    return true;
}
