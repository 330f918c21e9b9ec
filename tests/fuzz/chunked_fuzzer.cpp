// The chunked coding. An input is one byte of how many bytes each read of the network delivers
// (0: all), one of how many the reader asks for, and the text: decoded as it is, and encoded to be
// decoded again.
#include <string>

#include "core/string_output_stream.h"
#include "fuzz_input.h"
#include "http/chunked_streams.h"

namespace {

ReadOutcome Decode(const std::string& text, std::size_t piece, NPT_UInt32 count) {
    const NPT_Reference<NPT_BufferedInputStream> source(new NPT_BufferedInputStream(
        NPT_InputStreamReference(new PieceStream(text, piece, NPT_ERROR_EOS))));
    NPT_HttpChunkedInputStream stream(source);
    return ReadToEnd(stream, count);
}

std::string Encode(const std::string& data, std::size_t chunk) {
    NPT_StringOutputStream target;
    {
        NPT_HttpChunkedOutputStream stream(target);
        for (std::size_t at = 0; at < data.size(); at += chunk) {
            const auto count = static_cast<NPT_UInt32>(std::min(chunk, data.size() - at));
            NPT_UInt32 written = 0;
            Require(
                NPT_Succeeded(stream.Write(data.data() + at, count, &written)) && written == count,
                "a string takes every chunk");
        }
    }
    return std::string(target.GetString().GetChars(), target.GetString().GetLength());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const NPT_UInt8* data, std::size_t size) {
    FuzzInput input(data, size);
    const NPT_UInt8 piece = input.TakeByte();
    const auto count = static_cast<NPT_UInt32>(input.TakeByte()) + 1;
    const std::size_t delivered = piece == 0 ? PieceStream::kWhole : piece;
    const std::string text = input.TakeRest();

    const ReadOutcome whole = Decode(text, PieceStream::kWhole, 4096);
    const ReadOutcome pieces = Decode(text, delivered, count);
    Require(NPT_Failed(whole.end) && whole.end == pieces.end, "pieces end the same way");
    Require(OneBeginsTheOther(whole.data, pieces.data), "pieces give the same data");
    Require(whole.data.size() <= text.size(), "chunks hold no more than they came in");

    const ReadOutcome again = Decode(Encode(text, count), delivered, count);
    Require(again.end == NPT_ERROR_EOS && again.data == text, "an encoded text is decoded");
    return 0;
}
