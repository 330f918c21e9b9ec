// Answers to a search on their way from the datagram to the queue of found devices. An input is the
// datagram.
#include <memory>
#include <string>

#include "engine/search_answer.h"
#include "engine/vireon.h"
#include "fuzz_input.h"
#include "http/http_client.h"

namespace {

const NPT_IpAddress kSender(192, 168, 1, 20);

std::unique_ptr<NPT_HttpResponse> Read(const std::string& text) {
    PieceStream stream(text, PieceStream::kWhole, NPT_ERROR_TIMEOUT);
    NPT_HttpResponse* response = nullptr;
    NPT_HttpClient::ReadHead(stream, response);
    return std::unique_ptr<NPT_HttpResponse>(response);
}

// What the script would get for an answer that was taken in.
void CheckRecord(const NPT_HttpResponse& answer) {
    const NPT_HttpHeaders& headers = answer.GetHeaders();
    const NPT_String& usn = *headers.GetHeaderValue("USN");
    NPT_String uuid;
    Require(NPT_Succeeded(ReadUuid(answer, uuid)), "a device that is taken in has a uuid");
    const NPT_HttpUrl location = ReadLocation(*headers.GetHeaderValue("Location"), kSender);
    Require(location.IsValid(), "a device that is taken in has a valid location");
    Require(location.GetHost() != "localhost" && location.GetHost() != "127.0.0.1",
            "a device is never reached at a loopback name");
    const auto device =
        MakeDeviceRecord(answer, location, uuid.GetChars(), usn, ReadLeaseTime(answer));
    Require(device != nullptr, "a device that is taken in has a record");
    Require(device->GetFriendlyName() == *headers.GetHeaderValue("FriendlyName"),
            "the friendly name is the header's");
    Require(device->GetType() == usn, "the type is the whole USN");
    Require(uuid.IsEmpty() || device->GetUUID() == uuid, "the uuid is the USN's");
    Require(device->GetLeaseTime().ToSeconds() >= 10, "a lease is at least ten seconds");
    Require(!device->GetDescriptionUrl(nullptr).IsEmpty(), "a device has a location text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const NPT_UInt8* data, std::size_t size) {
    const auto answer = Read(FuzzInput(data, size).TakeRest());

    // Closed, so that its dispatch thread ends and the record stays in the queue until the engine
    // destroys it. Without interfaces nothing is sent.
    Vireon vireon;
    vireon.isClosed = true;
    vireon.SearchInterfaces(NPT_List<NPT_NetworkInterface*>());
    const NPT_HttpRequest request(NPT_HttpUrl("239.255.255.250", 31288, "*"), "M-SEARCH",
                                  "HTTP/1.1");
    NPT_HttpRequestContext context;
    context.SetRemoteAddress(NPT_SocketAddress(kSender, 31288));
    const NPT_Result result =
        vireon.ProcessSsdpSearchResponse(NPT_SUCCESS, request, context, answer.get());
    Require(answer || result == NPT_ERROR_INVALID_ARGUMENT, "no answer is refused");
    if (!answer || NPT_Failed(result)) return 0;
    Require(answer->GetStatusCode() / 100 == 2, "only a success is taken in");
    if (IsMediaServer(*answer->GetHeaders().GetHeaderValue("USN"))) CheckRecord(*answer);
    return 0;
}
