#ifndef VIREON_ENGINE_SSDP_SEARCH_WORKER_THREAD_H
#define VIREON_ENGINE_SSDP_SEARCH_WORKER_THREAD_H

#include <memory>

#include "core/time.h"
#include "engine/deadline.h"
#include "engine/vireon_link.h"
#include "engine/worker_thread.h"
#include "http/http_request.h"
#include "net/udp_socket.h"

// Drives one sender: sends its search twice, hands the answers to the engine until the interval has
// passed, and starts over until the engine is closed.
//
// Owns the socket and the request; both may be null, then the thread ends at once. The interval is
// kept as given, but exactly 0 becomes 30 s; what is negative or below one millisecond does not
// wait for answers. Any thread may call IsStopped and Close.
class SsdpSearchWorkerThread : public ZOWorkerThreadEX {
  public:
    SsdpSearchWorkerThread(Vireon* vireon, NPT_UdpSocket* socket, NPT_HttpRequest* request,
                           NPT_TimeInterval interval);
    ~SsdpSearchWorkerThread() override;

    bool IsStopped() const { return m_pVireon.IsStopped(); }
    // Waits for the thread without a time limit, with the interpreter lock released. Does not make
    // it end: it does so within one interval once the engine is closed.
    void Close();

    zorvane::Int32 Run() override;

  private:
    // False when the request's host has no address.
    bool SendSearch();
    void ListenUntil(const Deadline& resend);
    // False once the thread has to end.
    bool HandleAnswer(const Deadline& resend);

    VireonLink m_pVireon;
    std::unique_ptr<NPT_HttpRequest> m_request;
    const NPT_TimeInterval m_interval;
    std::unique_ptr<NPT_UdpSocket> m_socket;
};

#endif
