// A network for one sender, with a time of its own that passes only while somebody waits: linked in
// the place of the platform and of the steady clock.
#ifndef VIREON_SIMULATED_NETWORK_H
#define VIREON_SIMULATED_NETWORK_H

#include <chrono>
#include <deque>
#include <functional>
#include <string>

#include "core/result.h"
#include "net/socket_address.h"

namespace simulated_network {

using Milliseconds = std::chrono::milliseconds;

// What happens to the sender next, when it has come to that.
struct Event {
    enum class Kind {
        kDatagram,  // text from source
        kReceiveFailure,
        kWaitFailure,
        kPendingError,  // the wait finds an error, which the socket holds ready
        kNothingReady,  // the wait ends without a reason
        kPause,         // nothing happens for a while
        kCall,          // of what
    };
    Kind kind = Kind::kPause;
    std::string text;
    NPT_SocketAddress source;
    NPT_Result failure = NPT_FAILURE;
    int error_number = 0;
    Milliseconds pause{0};
    std::function<void()> call;
};

// Gone with the datagram: it was too long, or the report of one that was lost.
constexpr NPT_Result kTooLong = NPT_ERROR_SYSTEM_BASE - 90;
constexpr NPT_Result kReportOfALoss = NPT_ERROR_CONNECTION_RESET;
// The platform's numbers for kReportOfALoss and for any other error.
constexpr int kLossNumber = 104;

struct State {
    std::deque<Event> events;
    // Behind the last event; called over and over.
    std::function<void()> at_end;
    // A datagram goes out; a failure is what sending it gives.
    std::function<NPT_Result(const std::string& text, const NPT_SocketAddress& destination)> send;
    // Before time passes.
    std::function<void()> before_time_passes;

    std::chrono::steady_clock::time_point now{};
    // Receives and waits in a row that gave no datagram, without time passing.
    int fruitless_calls = 0;
    int receives = 0;
};

// There is one at a time.
State& Current();
void Begin();
void CheckThatAllIsClosed();

}  // namespace simulated_network

#endif
