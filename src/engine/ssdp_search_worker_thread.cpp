#include "engine/ssdp_search_worker_thread.h"

#include <algorithm>

#include "core/system.h"
#include "device/zo_input_stream.h"
#include "device/zo_output_stream.h"
#include "engine/answer_stream.h"
#include "engine/protocol.h"
#include "engine/vireon.h"
#include "http/http_client.h"

SsdpSearchWorkerThread::SsdpSearchWorkerThread(Vireon* vireon, NPT_UdpSocket* socket,
                                               NPT_HttpRequest* request, NPT_TimeInterval interval)
    : m_pVireon(vireon),
      m_request(request),
      m_interval(interval == NPT_TimeInterval()
                     ? NPT_TimeInterval::FromSeconds(protocol::kFallbackIntervalSeconds)
                     : interval),
      m_socket(socket) {
    if (!m_socket) return;
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
    if (!m_socket || !m_request) return Vireon::kSearchStarted;
    do {
        if (!SendSearch()) break;
        ListenUntil(Deadline::After(m_interval));
    } while (!IsStopped());
    return Vireon::kSearchStarted;
}

bool SsdpSearchWorkerThread::SendSearch() {
    const NPT_HttpUrl& url = m_request->GetUrl();
    NPT_IpAddress address;
    if (NPT_Failed(address.ResolveName(url.GetHost().GetChars(), protocol::kResolveTimeout)))
        return false;
    const NPT_SocketAddress destination(address, url.GetPort());
    zorvane::ZoOutputStream stream(m_socket.get(), protocol::kSearchBufferSize, &destination);
    for (int count = 0; count < protocol::kSearchesPerCycle; ++count)
        NPT_HttpClient::WriteRequest(stream, *m_request, false);
    return true;
}

void SsdpSearchWorkerThread::ListenUntil(const Deadline& resend) {
    while (!IsStopped()) {
        if (!HandleAnswer(resend) || resend.HasPassed()) return;
    }
}

bool SsdpSearchWorkerThread::HandleAnswer(const Deadline& resend) {
    const NPT_Timeout longest_wait = TimeoutFromInterval(m_interval);
    zorvane::ZoInputStream datagrams(m_socket.get(), protocol::kAnswerBufferSize);
    const NPT_InputStreamReference stream(new AnswerStream(
        datagrams, resend, [this] { return IsStopped(); },
        [this, longest_wait](NPT_Timeout time_left) {
            m_socket->SetReadTimeout(std::min(time_left, longest_wait));
        }));
    NPT_HttpResponse* parsed = nullptr;
    const NPT_Result result = NPT_HttpClient::ReadResponse(stream, false, false, parsed);
    const std::unique_ptr<NPT_HttpResponse> response(parsed);
    if (result == NPT_ERROR_TIMEOUT) return true;
    if (NPT_Failed(result)) {
        if (IsStopped()) return false;
        NPT_System::Sleep(NPT_TimeInterval(protocol::kPauseAfterErrorSeconds));
        return true;
    }
    if (IsStopped()) return false;
    NPT_HttpRequestContext context;
    context.SetLocalAddress(datagrams.GetInfo().local_address);
    context.SetRemoteAddress(datagrams.GetInfo().remote_address);
    return m_pVireon.Use([&](Vireon& vireon) {
        vireon.ProcessSsdpSearchResponse(NPT_SUCCESS, *m_request, context, response.get());
    });
}
