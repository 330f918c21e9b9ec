// Responses, as an answer to a search and with a body. An input is one byte of options, one byte of
// how many bytes each read of the network delivers (0: all), and the response.
#include <memory>
#include <string>

#include "core/string_output_stream.h"
#include "fuzz_input.h"
#include "http/http_client.h"

namespace {

struct Options {
    explicit Options(NPT_UInt8 bits)
        : expect_entity(bits & 1), should_persist(bits & 2), end(kEnds[bits >> 2 & 3]) {}

    static constexpr NPT_Result kEnds[] = {NPT_ERROR_EOS, NPT_ERROR_TIMEOUT, NPT_FAILURE,
                                           NPT_SUCCESS};

    bool expect_entity;
    bool should_persist;
    NPT_Result end;
};

struct Outcome {
    NPT_Result result = NPT_SUCCESS;
    std::string head;
    ReadOutcome body;
    // A length and chunks: the body ends with the read that reaches the length, so how much of it
    // is delivered depends on how it was cut.
    bool has_two_ends = false;
};

constexpr std::size_t kMaxLine = 8191;

std::string Emitted(const NPT_HttpResponse& response) {
    NPT_StringOutputStream stream;
    response.Emit(stream);
    return std::string(stream.GetString().GetChars(), stream.GetString().GetLength());
}

// Whether a printed head has the same meaning when it is read: its code has three digits, no line
// is too long, and no name looks like the continuation of the line above.
bool ComesBack(const NPT_HttpResponse& response) {
    if (response.GetStatusCode() < 200) return false;
    const std::size_t status_length =
        response.GetProtocol().GetLength() + response.GetReasonPhrase().GetLength() + 5;
    if (status_length > kMaxLine) return false;
    for (const NPT_HttpHeader& header : response.GetHeaders().GetHeaders()) {
        if (header.GetName().StartsWith(" ") || header.GetName().StartsWith("\t")) return false;
        if (header.GetName().GetLength() + header.GetValue().GetLength() + 2 > kMaxLine)
            return false;
    }
    return true;
}

void CheckHead(const NPT_HttpResponse& response) {
    Require(response.GetStatusCode() <= 999, "a status code has three digits");
    Require(response.GetStatusCode() / 100 != 1, "an interim response is not delivered");
    for (const NPT_HttpHeader& header : response.GetHeaders().GetHeaders()) {
        Require(!header.GetName().IsEmpty() && header.GetName().Find(':') < 0,
                "a header has a name");
        NPT_String trimmed = header.GetValue();
        trimmed.Trim();
        Require(trimmed == header.GetValue(), "values are trimmed");
        Require(std::strlen(header.GetValue().GetChars()) == header.GetValue().GetLength(),
                "values have no NUL");
    }
    // One look-up walks the whole list, so one is enough.
    if (!response.GetHeaders().GetHeaders().IsEmpty()) {
        const NPT_HttpHeader& last = *response.GetHeaders().GetHeaders().GetLastItem();
        const NPT_HttpHeader* found = response.GetHeaders().GetHeader(last.GetName().GetChars());
        Require(found && found->GetName().Compare(last.GetName(), true) == 0,
                "a header is found by its name");
    }
}

Outcome ReadOne(const std::string& text, std::size_t piece, const Options& options) {
    const NPT_InputStreamReference stream(new PieceStream(text, piece, options.end));
    Outcome outcome;
    NPT_HttpResponse* read = nullptr;
    outcome.result =
        NPT_HttpClient::ReadResponse(stream, options.should_persist, options.expect_entity, read);
    const std::unique_ptr<NPT_HttpResponse> response(read);
    Require(NPT_Succeeded(outcome.result) == (read != nullptr), "success is a response");
    if (!response) return outcome;

    CheckHead(*response);
    outcome.head = Emitted(*response);
    NPT_InputStreamReference body;
    const bool has_body =
        response->GetEntity() && NPT_Succeeded(response->GetEntity()->GetInputStream(body));
    Require(has_body == options.expect_entity, "a body comes when it is expected");
    if (!has_body) return outcome;
    outcome.body = ReadToEnd(*body, 512);
    const NPT_String* coding = response->GetHeaders().GetHeaderValue("Transfer-Encoding");
    outcome.has_two_ends =
        response->GetEntity()->ContentLengthIsKnown() && coding && *coding == "chunked";
    return outcome;
}

void CheckReadBack(const std::string& text, const Options& options) {
    const NPT_InputStreamReference stream(
        new PieceStream(text, PieceStream::kWhole, NPT_ERROR_EOS));
    NPT_HttpResponse* read = nullptr;
    NPT_HttpClient::ReadResponse(stream, options.should_persist, false, read);
    const std::unique_ptr<NPT_HttpResponse> response(read);
    if (!response || !ComesBack(*response)) return;

    const std::string head = Emitted(*response);
    const Outcome again = ReadOne(head, PieceStream::kWhole, Options(0));
    Require(again.head == head, "a printed head is read back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const NPT_UInt8* data, std::size_t size) {
    FuzzInput input(data, size);
    const Options options(input.TakeByte());
    const std::size_t piece = input.TakeByte();
    const std::string text = input.TakeRest();

    const Outcome whole = ReadOne(text, PieceStream::kWhole, options);
    if (piece != 0) {
        const Outcome pieces = ReadOne(text, piece, options);
        Require(whole.result == pieces.result, "pieces give the same result");
        Require(whole.head == pieces.head, "pieces give the same head");
        Require(whole.body.end == pieces.body.end || whole.has_two_ends,
                "pieces give the same end of the body");
        Require(OneBeginsTheOther(whole.body.data, pieces.body.data), "pieces give the same body");
    }
    CheckReadBack(text, options);
    return 0;
}
