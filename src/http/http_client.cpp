#include "http/http_client.h"

#include <memory>
#include <utility>

#include "core/memory_stream.h"
#include "http/chunked_streams.h"
#include "http/entity_body_stream.h"
#include "http/http_protocol.h"

namespace {

NPT_String MakeHostValue(const NPT_Url& url) {
    NPT_String host = url.GetHostText();
    if (url.GetPort() != url.GetDefaultPort()) {
        host += ':';
        host += NPT_String::FromInteger(url.GetPort());
    }
    return host;
}

void SetUnlessEmpty(NPT_HttpHeaders& headers, const char* name, const NPT_String& value) {
    if (!value.IsEmpty()) headers.SetHeader(name, value.GetChars());
}

void SetEntityHeaders(NPT_HttpHeaders& headers, const NPT_HttpEntity& entity) {
    if (entity.ContentLengthIsKnown()) {
        // As text by way of %llu: the signed form would misprint the upper half.
        const NPT_String length =
            NPT_String::Format("%llu", static_cast<unsigned long long>(entity.GetContentLength()));
        headers.SetHeader(http_protocol::kContentLength, length.GetChars());
    }
    SetUnlessEmpty(headers, http_protocol::kContentType, entity.GetContentType());
    SetUnlessEmpty(headers, http_protocol::kContentEncoding, entity.GetContentEncoding());
    SetUnlessEmpty(headers, http_protocol::kTransferEncoding, entity.GetTransferEncoding());
}

// Whoever writes a head looks at no result, so the buffer remembers the first failure: half a head
// must not be sent.
class HeadBuffer : public NPT_MemoryStream {
  public:
    NPT_Result Write(const void* buffer, NPT_UInt32 count, NPT_UInt32* written = nullptr) override {
        const NPT_Result result = NPT_MemoryStream::Write(buffer, count, written);
        if (NPT_Failed(result) && NPT_Succeeded(result_)) result_ = result;
        return result;
    }
    NPT_Result GetResult() const { return result_; }

  private:
    NPT_Result result_ = NPT_SUCCESS;
};

// In one piece, so that a datagram stream sees one write.
NPT_Result WriteHead(NPT_OutputStream& stream, const NPT_HttpRequest& request, bool use_proxy) {
    HeadBuffer head;
    request.Emit(head, use_proxy);
    if (NPT_Failed(head.GetResult())) return head.GetResult();
    return stream.WriteFully(head.GetData(), head.GetDataSize());
}

NPT_Result WriteBody(NPT_OutputStream& stream, NPT_InputStream& body, bool chunked) {
    if (!chunked) return NPT_StreamToStreamCopy(body, stream);
    NPT_HttpChunkedOutputStream chunks(stream);
    return NPT_StreamToStreamCopy(body, chunks);
}

NPT_Result ReadFinalResponse(NPT_BufferedInputStream& stream,
                             std::unique_ptr<NPT_HttpResponse>& response) {
    for (int count = 0; count < http_protocol::kMaxInterimResponses; ++count) {
        NPT_HttpResponse* parsed = nullptr;
        const NPT_Result result = NPT_HttpResponse::Parse(stream, parsed);
        response.reset(parsed);
        if (NPT_Failed(result)) return result;
        const bool interim = response->GetStatusCode() / 100 == 1;
        if (!interim) return NPT_SUCCESS;
    }
    response.reset();
    return NPT_ERROR_HTTP_TOO_MANY_INTERIM_RESPONSES;
}

// What the peer says about keeping the connection; its words are compared exactly.
bool PeerPersists(const NPT_HttpResponse& response) {
    const NPT_String* connection = response.GetHeaders().GetHeaderValue(http_protocol::kConnection);
    if (response.GetProtocol() == http_protocol::kVersion11) {
        return !(connection && *connection == http_protocol::kClose);
    }
    return connection && *connection == http_protocol::kKeepAlive;
}

std::unique_ptr<NPT_HttpEntity> MakeEntity(const NPT_Reference<NPT_BufferedInputStream>& stream,
                                           const NPT_HttpHeaders& headers,
                                           NPT_HttpConnectionReference connection,
                                           bool should_persist) {
    auto entity = std::make_unique<NPT_HttpEntity>();
    entity->SetFromHeaders(headers);
    const bool chunked = entity->GetTransferEncoding() == http_protocol::kChunked;
    // The stream undoes the coding, so the entity no longer has it.
    if (chunked) entity->SetTransferEncoding("");
    entity->SetInputStream(NPT_InputStreamReference(new NPT_HttpEntityBodyInputStream(
        stream, entity->GetContentLength(), entity->ContentLengthIsKnown(), chunked,
        std::move(connection), should_persist)));
    return entity;
}

}  // namespace

NPT_Result NPT_HttpClient::WriteRequest(NPT_OutputStream& stream, NPT_HttpRequest& request,
                                        bool should_persist, bool use_proxy) {
    NPT_HttpHeaders& headers = request.GetHeaders();
    if (!should_persist) {
        headers.SetHeader(http_protocol::kConnection, http_protocol::kClose, false);
    }
    headers.SetHeader(http_protocol::kHost, MakeHostValue(request.GetUrl()).GetChars(), false);

    const NPT_HttpEntity* entity = request.GetEntity();
    NPT_InputStreamReference body;
    const bool has_body = entity && NPT_Succeeded(entity->GetInputStream(body));
    if (has_body) SetEntityHeaders(headers, *entity);

    NPT_Result result = WriteHead(stream, request, use_proxy);
    if (NPT_Failed(result)) return result;
    if (has_body) {
        const bool chunked = entity->GetTransferEncoding() == http_protocol::kChunked;
        result = WriteBody(stream, *body, chunked);
    }
    stream.Flush();
    return result;
}

NPT_Result NPT_HttpClient::ReadHead(NPT_InputStream& stream, NPT_HttpResponse*& response) {
    response = nullptr;
    NPT_UInt8 buffer[http_protocol::kReadBufferSize];
    NPT_BufferedInputStream buffered(stream, buffer, sizeof(buffer));
    std::unique_ptr<NPT_HttpResponse> read;
    const NPT_Result result = ReadFinalResponse(buffered, read);
    response = read.release();
    return result;
}

NPT_Result NPT_HttpClient::ReadResponse(const NPT_InputStreamReference& stream, bool should_persist,
                                        bool expect_entity, NPT_HttpResponse*& response,
                                        NPT_HttpConnectionReference* connection) {
    response = nullptr;
    if (stream.IsNull()) return NPT_ERROR_INVALID_ARGUMENT;

    const NPT_Reference<NPT_BufferedInputStream> buffered(
        new NPT_BufferedInputStream(stream, http_protocol::kReadBufferSize));
    std::unique_ptr<NPT_HttpResponse> read;
    NPT_Result result = ReadFinalResponse(*buffered, read);
    if (NPT_Failed(result)) return result;
    // The rest of the stream is body: from now on nothing is read ahead.
    result = buffered->SetBufferSize(0);
    if (NPT_Failed(result)) return result;

    const bool persists = should_persist && PeerPersists(*read);
    if (expect_entity) {
        NPT_HttpConnectionReference taken;
        if (connection) taken = std::move(*connection);
        read->SetEntity(
            MakeEntity(buffered, read->GetHeaders(), std::move(taken), persists).release());
    } else if (persists && connection && *connection) {
        (*connection)->Reuse();
        connection->Release();
    }
    response = read.release();
    return NPT_SUCCESS;
}
