#include "engine/ssdp_search_worker_thread.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "device/zo_output_stream.h"
#include "engine/answer_stream.h"
#include "engine/protocol.h"
#include "http/http_client.h"
#include "http/http_request_context.h"
#include "http/http_response.h"
#include "net/socket_platform.h"

SsdpSearchWorkerThread::SsdpSearchWorkerThread(Vireon* vireon, NPT_UdpSocket* socket,
                                               NPT_HttpRequest* request, NPT_TimeInterval interval)
    : SsdpSearchWorkerThread(vireon, std::unique_ptr<NPT_UdpSocket>(socket),
                             std::unique_ptr<NPT_HttpRequest>(request), interval,
                             std::make_shared<SocketWaker>()) {}

SsdpSearchWorkerThread::SsdpSearchWorkerThread(Vireon* vireon,
                                               std::unique_ptr<NPT_UdpSocket> socket,
                                               std::unique_ptr<NPT_HttpRequest> request,
                                               NPT_TimeInterval interval,
                                               std::shared_ptr<SocketWaker> waker)
    : m_pVireon(vireon),
      m_request(std::move(request)),
      m_interval(NPT_TimeInterval() < interval
                     ? interval
                     : NPT_TimeInterval::FromSeconds(protocol::kFallbackIntervalSeconds)),
      m_socket(std::move(socket)),
      waker_(std::move(waker)) {
    if (!m_socket) return;
    m_socket->SetWaker(waker_);
    m_socket->AskForReceiveBuffer(protocol::kReceiveBufferSize);
    m_socket->SetReadTimeout(TimeoutFromInterval(m_interval));
    m_socket->SetWriteTimeout(protocol::kSendTimeout);
}

SsdpSearchWorkerThread::~SsdpSearchWorkerThread() {
    JoinThread();
}

void SsdpSearchWorkerThread::Close() {
    JoinThread();
}

zorvane::Int32 SsdpSearchWorkerThread::Run() {
    if (m_socket && m_request) SearchUntilStopped();
    m_socket.reset();  // not kept for as long as somebody keeps the worker
    return kSearched;
}

void SsdpSearchWorkerThread::SearchUntilStopped() {
    do {
        if (!SendSearch()) return;
        ListenUntil(Deadline::After(m_interval));
        HandOn();
    } while (!MustEnd());
}

bool SsdpSearchWorkerThread::SendSearch() try {
    const NPT_HttpUrl& url = m_request->GetUrl();
    NPT_IpAddress address;
    if (NPT_Failed(address.ResolveName(url.GetHost().GetChars(), protocol::kResolveTimeout)))
        return false;
    const NPT_SocketAddress destination(address, url.GetPort());
    zorvane::ZoOutputStream stream(m_socket.get(), protocol::kSearchBufferSize, &destination);
    for (int count = 0; count < protocol::kSearchesPerCycle; ++count)
        NPT_HttpClient::WriteRequest(stream, *m_request, false);
    return true;
} catch (const std::exception&) {
    return true;  // out of memory: the next cycle may have some
}

void SsdpSearchWorkerThread::ListenUntil(const Deadline& resend) {
    const NPT_Timeout longest_wait = TimeoutFromInterval(m_interval);
    while (!MustEnd()) {
        const bool catches_up = catches_up_until_ && !catches_up_until_->HasPassed();
        // Answers seldom come alone: behind one it is first looked whether there is another.
        const bool waits = !catches_up && taken_in_ == 0;
        const NPT_Timeout limit = waits ? std::min(resend.GetMillisLeft(), longest_wait) : 0;
        const Deadline waited = Deadline::AfterMillis(limit);
        const Reception reception = Receive(limit);
        if (reception == Reception::kAnswer) ++taken_in_;
        if (reception != Reception::kAnswer || taken_in_ == protocol::kAnswersAtOneGo) HandOn();
        if (reception == Reception::kFailure) {
            Pause();
        } else if (reception == Reception::kNothing) {
            // Nothing before the time is over, for whatever reason, would spin the processor too.
            if (waits && (limit == 0 || !waited.HasPassed())) Pause();
            catches_up_until_.reset();
        } else if (reception == Reception::kBadDatagram && !catches_up) {
            Pause();
            catches_up_until_ = Deadline::AfterMillis(protocol::kPauseAfterError);
        }
        if (resend.HasPassed()) return;
    }
}

SsdpSearchWorkerThread::Reception SsdpSearchWorkerThread::Receive(NPT_Timeout limit) try {
    m_socket->SetReadTimeout(limit);
    NPT_UInt8 buffer[protocol::kAnswerBufferSize];
    zorvane::ZoInputStream datagrams(m_socket.get(), buffer, sizeof(buffer));
    const NPT_Result received = datagrams.Read(nullptr, 0);
    if (received == NPT_ERROR_TIMEOUT || received == NPT_ERROR_WOULD_BLOCK)
        return Reception::kNothing;
    if (NPT_Failed(received))
        return socket_platform::IsAboutOneDatagram(received) ? Reception::kBadDatagram
                                                             : Reception::kFailure;
    return TakeIn(datagrams);
} catch (const std::exception&) {
    return Reception::kFailure;  // out of memory, which costs this answer
}

SsdpSearchWorkerThread::Reception SsdpSearchWorkerThread::TakeIn(
    zorvane::ZoInputStream& datagrams) {
    AnswerStream stream(datagrams);
    NPT_HttpResponse* parsed = nullptr;
    const NPT_Result result = NPT_HttpClient::ReadHead(stream, parsed);
    const std::unique_ptr<NPT_HttpResponse> response(parsed);
    if (NPT_Failed(result)) return Reception::kBadDatagram;
    if (MustEnd()) return Reception::kAnswer;
    NPT_HttpRequestContext context;
    context.SetLocalAddress(datagrams.GetInfo().local_address);
    context.SetRemoteAddress(datagrams.GetInfo().remote_address);
    m_pVireon.TakeIn(*response, context);
    return Reception::kAnswer;
}

void SsdpSearchWorkerThread::HandOn() {
    if (std::exchange(taken_in_, 0) > 0) m_pVireon.HandOn();
}

void SsdpSearchWorkerThread::Pause() const {
    waker_->WaitFor(protocol::kPauseAfterError);
}
