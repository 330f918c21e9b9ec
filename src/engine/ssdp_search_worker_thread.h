#ifndef VIREON_ENGINE_SSDP_SEARCH_WORKER_THREAD_H
#define VIREON_ENGINE_SSDP_SEARCH_WORKER_THREAD_H

#include <memory>
#include <optional>

#include "core/deadline.h"
#include "core/time.h"
#include "device/zo_input_stream.h"
#include "engine/vireon_link.h"
#include "engine/worker_thread.h"
#include "http/http_request.h"
#include "net/socket_waker.h"
#include "net/udp_socket.h"

// Drives one sender: sends its search twice, hands the answers to the engine until the interval has
// passed, and starts over until the engine is closed or the waker wakes it.
//
// Owns the socket, which is closed when its thread ends, and the request; both may be null, then
// the thread ends at once. The interval is kept as given, but 0 and less become 30 s; what is below
// one millisecond does not wait for answers. Memory that runs out costs what was being done, a
// request or an answer, and a pause. Any thread may call IsStopped and Close.
class SsdpSearchWorkerThread : public ZOWorkerThreadEX {
  public:
    // What Run gives, however the search went.
    static constexpr zorvane::Int32 kSearched = 0x28800F00;

    // Takes ownership of socket and request.
    SsdpSearchWorkerThread(Vireon* vireon, NPT_UdpSocket* socket, NPT_HttpRequest* request,
                           NPT_TimeInterval interval);
    // waker is not null; it may serve other workers too.
    SsdpSearchWorkerThread(Vireon* vireon, std::unique_ptr<NPT_UdpSocket> socket,
                           std::unique_ptr<NPT_HttpRequest> request, NPT_TimeInterval interval,
                           std::shared_ptr<SocketWaker> waker);
    ~SsdpSearchWorkerThread() override;

    bool IsStopped() const { return m_pVireon.IsStopped(); }
    // Waits for the thread without a time limit, with the interpreter lock released. Does not make
    // it end: it does so at once when its waker is woken, and within one interval once the engine
    // is closed.
    void Close();

    zorvane::Int32 Run() override;

  private:
    enum class Reception {
        kAnswer,       // handed to the engine, which may want it or not
        kNothing,      // no datagram in time
        kBadDatagram,  // no answer, or one that is too long
        kFailure,      // of the socket, or of memory
    };

    bool MustEnd() const { return IsStopped() || waker_->IsAwake(); }
    void SearchUntilStopped();
    // False when the request's host has no address.
    bool SendSearch();
    void ListenUntil(const Deadline& resend);
    // Takes one datagram, waiting for at most limit milliseconds.
    Reception Receive(NPT_Timeout limit);
    // Hands the answer that the datagram at hand is to the engine.
    Reception TakeIn(zorvane::ZoInputStream& datagrams);
    // Has the engine deliver what was taken in.
    void HandOn();
    void Pause() const;

    VireonLink m_pVireon;
    std::unique_ptr<NPT_HttpRequest> m_request;
    const NPT_TimeInterval m_interval;
    std::unique_ptr<NPT_UdpSocket> m_socket;
    const std::shared_ptr<SocketWaker> waker_;
    int taken_in_ = 0;  // answers that are not handed on yet
    // Until when bad datagrams cost nothing, after one that did.
    std::optional<Deadline> catches_up_until_;
};

#endif
