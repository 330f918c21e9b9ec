// The buffered stream against a model that takes one byte after the other. An input is one byte for
// the buffer's size and steps of one byte and what belongs to them: what the source delivers, and
// how it is read (Scenario).
#include <algorithm>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/buffered_input_stream.h"
#include "core/data_buffer.h"
#include "fuzz_input.h"

namespace {

// More would only take longer.
constexpr std::size_t kMostSteps = 64;

// What one read of the source gives at most: bytes, none, or a failure.
struct Delivery {
    std::string bytes;
    NPT_Result result = NPT_SUCCESS;
};

struct Outcome {
    NPT_Result result = NPT_SUCCESS;
    std::string data;
};

bool operator==(const Outcome& one, const Outcome& other) {
    return one.result == other.result && one.data == other.data;
}

// Delivers what it was told, piece by piece, and notes how much was asked for each time.
class Source {
  public:
    Source(std::deque<Delivery> deliveries, bool knows_size)
        : deliveries_(std::move(deliveries)), knows_size_(knows_size) {
        for (const Delivery& delivery : deliveries_)
            size_ += delivery.bytes.size();
    }

    Outcome Read(std::size_t count) {
        asked_.push_back(count);
        if (deliveries_.empty()) return {NPT_ERROR_EOS, ""};
        Delivery& next = deliveries_.front();
        const Outcome outcome{next.result, next.bytes.substr(0, count)};
        next.bytes.erase(0, count);
        if (next.bytes.empty()) deliveries_.pop_front();
        return outcome;
    }
    Outcome GetAvailable() const {
        if (!knows_size_) return {NPT_ERROR_NOT_SUPPORTED, ""};
        return {NPT_SUCCESS,
                std::to_string(deliveries_.empty() ? 0 : deliveries_.front().bytes.size())};
    }
    Outcome GetSize() const {
        if (!knows_size_) return {NPT_ERROR_NOT_SUPPORTED, ""};
        return {NPT_SUCCESS, std::to_string(size_)};
    }
    const std::vector<std::size_t>& GetAsked() const { return asked_; }

  private:
    std::deque<Delivery> deliveries_;
    const bool knows_size_;
    std::size_t size_ = 0;
    std::vector<std::size_t> asked_;
};

// The same as the stream that is tried.
class SourceStream : public NPT_InputStream {
  public:
    explicit SourceStream(Source& source) : source_(source) {}

    NPT_Result Read(void* buffer, NPT_UInt32 count, NPT_UInt32* read = nullptr) override {
        const Outcome outcome = source_.Read(count);
        std::memcpy(buffer, outcome.data.data(), outcome.data.size());
        // What a failed read says of its bytes counts for nothing.
        const auto size = static_cast<NPT_UInt32>(outcome.data.size());
        if (read) *read = NPT_Failed(outcome.result) ? 77 : size;
        return outcome.result;
    }
    NPT_Result GetSize(NPT_UInt64& size) override { return Take(source_.GetSize(), size); }
    NPT_Result GetAvailable(NPT_UInt64& available) override {
        return Take(source_.GetAvailable(), available);
    }

  private:
    static NPT_Result Take(const Outcome& outcome, NPT_UInt64& number) {
        number = NPT_Succeeded(outcome.result) ? std::stoull(outcome.data) : 0;
        return outcome.result;
    }

    Source& source_;
};

// How a buffered stream has to behave, byte by byte.
class Model {
  public:
    Model(Source& source, std::size_t size) : source_(source), size_(size) {}

    void SetBufferSize(std::size_t size) { size_ = size; }
    std::size_t GetPosition() const { return position_; }

    Outcome Read(std::size_t count) {
        if (count == 0) return {};
        std::string data;
        NPT_Result result = NPT_SUCCESS;
        if (std::exchange(skips_line_feed_, false)) {
            const Outcome first = ReadPiece(1);
            result = first.result;
            if (first.data != "\n") data = first.data;
        }
        if (NPT_Succeeded(result) && data.size() < count) {
            const Outcome rest = ReadPiece(count - data.size());
            result = rest.result;
            data += rest.data;
        }
        position_ += data.size();
        if (data.empty()) return {result, ""};
        if (result == NPT_ERROR_EOS) has_ended_ = true;
        return {NPT_SUCCESS, data};
    }

    // Room for that many characters and the NUL behind them.
    Outcome ReadLine(std::size_t room, bool breaks_on_cr, std::size_t* left) {
        std::string line;
        NPT_Result result = NPT_SUCCESS;
        bool is_first = std::exchange(skips_line_feed_, false);
        for (;;) {
            if (left && *left == 0) {
                result = NPT_ERROR_LINE_TOO_LONG;
                break;
            }
            const bool is_unbuffered = buffered_.empty() && size_ == 0 && !has_ended_;
            const Outcome byte = is_unbuffered ? source_.Read(1) : TakeByte();
            result = byte.result;
            if (NPT_Succeeded(result) && byte.data.empty()) result = NPT_ERROR_NO_PROGRESS;
            if (NPT_Failed(result)) break;
            if (left) --*left;
            const char character = byte.data[0];
            const bool is_second_half = is_first && !is_unbuffered && character == '\n';
            is_first = false;
            if (is_second_half) continue;
            if (character == '\n') break;
            if (character == '\r' && breaks_on_cr) {
                skips_line_feed_ = true;
                break;
            }
            if (character == '\r') continue;
            if (line.size() == room) {
                result = NPT_ERROR_LINE_TOO_LONG;
                break;
            }
            line += character;
        }
        position_ += line.size();
        if (result == NPT_ERROR_EOS && !line.empty()) {
            has_ended_ = true;
            result = NPT_SUCCESS;
        }
        return {result, line};
    }

    Outcome ReadFully(std::size_t count) {
        std::string data;
        while (data.size() < count) {
            const Outcome piece = Read(count - data.size());
            if (NPT_Failed(piece.result)) return {piece.result, data};
            if (piece.data.empty()) return {NPT_ERROR_NO_PROGRESS, data};
            data += piece.data;
        }
        return {NPT_SUCCESS, data};
    }

    // Gives at most that many bytes, 0: all there are.
    Outcome Load(std::size_t most) {
        const Outcome size = source_.GetSize();
        bool is_limited = most != 0;
        std::size_t target = most;
        if (NPT_Succeeded(size.result)) {
            target = is_limited ? std::min(most, NumberOf(size)) : NumberOf(size);
            is_limited = true;
        }
        std::string data;
        for (;;) {
            const Outcome available = GetAvailable();
            std::size_t chunk = NPT_Succeeded(available.result) ? NumberOf(available) : 0;
            if (chunk == 0) chunk = 4096;
            if (is_limited) chunk = std::min(chunk, target - data.size());
            if (chunk == 0) return {NPT_SUCCESS, data};
            const Outcome piece = Read(chunk);
            if (piece.result == NPT_ERROR_EOS) return {NPT_SUCCESS, data};
            if (NPT_Failed(piece.result)) return {piece.result, data};
            if (piece.data.empty()) return {NPT_ERROR_NO_PROGRESS, data};
            data += piece.data;
        }
    }

    Outcome GetAvailable() const {
        const Outcome behind = source_.GetAvailable();
        const std::size_t more = NPT_Succeeded(behind.result) ? NumberOf(behind) : 0;
        return {buffered_.empty() ? behind.result : NPT_SUCCESS,
                std::to_string(buffered_.size() + more)};
    }

  private:
    static std::size_t NumberOf(const Outcome& outcome) { return std::stoull(outcome.data); }

    // What is buffered, or what one read of the source brings.
    Outcome ReadPiece(std::size_t count) {
        if (buffered_.empty()) {
            if (size_ == 0 && !has_ended_) {
                const Outcome direct = source_.Read(count);
                return NPT_Failed(direct.result) ? Outcome{direct.result, ""} : direct;
            }
            const NPT_Result result = Fill();
            if (NPT_Failed(result)) return {result, ""};
        }
        const std::string piece = buffered_.substr(0, count);
        buffered_.erase(0, count);
        return {NPT_SUCCESS, piece};
    }

    Outcome TakeByte() { return ReadPiece(1); }

    NPT_Result Fill() {
        if (has_ended_) return NPT_ERROR_EOS;
        const Outcome filled = source_.Read(size_);
        if (NPT_Succeeded(filled.result)) buffered_ = filled.data;
        return filled.result;
    }

    Source& source_;
    std::size_t size_;
    std::string buffered_;
    std::size_t position_ = 0;
    bool skips_line_feed_ = false;
    bool has_ended_ = false;
};

// One way to read. Sizes of one byte stand for themselves, or for more.
struct Step {
    NPT_UInt8 kind;
    std::size_t size;
};

// The low half of a step's byte is the kind, the high half a number for it.
class Scenario {
  public:
    explicit Scenario(FuzzInput& input) {
        const NPT_UInt8 head = input.TakeByte();
        buffer_size = SizeOf(head & 0x7F);
        knows_size = (head & 0x80) != 0;
        while (!input.IsEmpty() && steps.size() + deliveries.size() < kMostSteps) {
            const NPT_UInt8 byte = input.TakeByte();
            const std::size_t number = byte >> 4;
            const NPT_UInt8 kind = byte & 15;
            if (kind == 0) {  // a failure of the source, with bytes that count for nothing
                deliveries.push_back({input.TakeText(number % 4), FailureOf(number / 4)});
            } else if (kind <= 2) {  // bytes
                deliveries.push_back({input.TakeText(number * 8 + 1), NPT_SUCCESS});
            } else if (kind == 3) {  // a longer text, the same over and over
                const std::string piece = input.TakeText(number + 1);
                Delivery delivery;
                for (int times = input.TakeByte(); times > 0; --times)
                    delivery.bytes += piece;
                deliveries.push_back(delivery);
            } else {
                steps.push_back({kind, SizeOf(input.TakeByte())});
            }
        }
    }

    std::size_t buffer_size;
    bool knows_size;
    std::deque<Delivery> deliveries;
    std::vector<Step> steps;

  private:
    static std::size_t SizeOf(std::size_t byte) { return byte < 100 ? byte : (byte - 99) * 60; }
    static NPT_Result FailureOf(std::size_t number) {
        constexpr NPT_Result kFailures[] = {NPT_ERROR_TIMEOUT, NPT_ERROR_EOS, NPT_FAILURE,
                                            NPT_ERROR_CANCELLED};
        return kFailures[number % 4];
    }
};

Outcome ReadLineOf(NPT_BufferedInputStream& stream, std::size_t room, bool breaks_on_cr,
                   std::size_t* left) {
    // Of exactly that size, so that a byte behind it is noticed.
    const auto size = static_cast<NPT_UInt32>(room + 1);
    const std::unique_ptr<char[]> buffer(new char[size]);
    NPT_UInt32 chars = 77;
    NPT_UInt64 bytes_left = left ? *left : 0;
    const NPT_Result result =
        stream.ReadLine(buffer.get(), size, &chars, breaks_on_cr, left ? &bytes_left : nullptr);
    if (left) *left = static_cast<std::size_t>(bytes_left);
    Require(chars <= room && buffer[chars] == '\0', "a line ends in a NUL");
    return {result, std::string(buffer.get(), chars)};
}

Outcome ReadStringOf(NPT_BufferedInputStream& stream, std::size_t room, bool breaks_on_cr) {
    NPT_String line("what was there before");
    const NPT_Result result = stream.ReadLine(line, static_cast<NPT_UInt32>(room), breaks_on_cr);
    return {result, std::string(line.GetChars(), line.GetLength())};
}

Outcome ReadOf(NPT_BufferedInputStream& stream, std::size_t count) {
    const std::unique_ptr<char[]> buffer(new char[count]);
    NPT_UInt32 read = 77;
    const NPT_Result result = stream.Read(buffer.get(), static_cast<NPT_UInt32>(count), &read);
    Require(read <= count, "a read delivers no more than was asked for");
    return {result, std::string(buffer.get(), read)};
}

// How much was read of what could not be read fully, nobody tells.
Outcome ReadFullyOf(NPT_BufferedInputStream& stream, std::size_t count) {
    std::string buffer(count, '\0');
    const NPT_Result result = stream.ReadFully(&buffer[0], static_cast<NPT_UInt32>(count));
    return {result, NPT_Succeeded(result) ? buffer : ""};
}

Outcome LoadOf(NPT_BufferedInputStream& stream, std::size_t most) {
    NPT_DataBuffer buffer;
    const NPT_Result result = stream.Load(buffer, most);
    return {result,
            std::string(reinterpret_cast<const char*>(buffer.GetData()), buffer.GetDataSize())};
}

Outcome AvailableOf(NPT_BufferedInputStream& stream) {
    NPT_UInt64 available = 77;
    const NPT_Result result = stream.GetAvailable(available);
    return {result, std::to_string(available)};
}

void Try(const Step& step, Model& model, NPT_BufferedInputStream& stream) {
    const bool is_odd = step.kind % 2 == 1;
    const bool breaks_on_cr = is_odd;
    switch (step.kind) {
        case 4:
        case 5:
            Require(model.ReadLine(step.size, breaks_on_cr, nullptr) ==
                        ReadLineOf(stream, step.size, breaks_on_cr, nullptr),
                    "a line is as it has to be");
            break;
        case 6:
        case 7: {  // at most half as many bytes as characters
            std::size_t left = step.size / 2;
            std::size_t left_of_model = left;
            const Outcome expected = model.ReadLine(step.size, breaks_on_cr, &left_of_model);
            Require(expected == ReadLineOf(stream, step.size, breaks_on_cr, &left),
                    "a line of limited bytes is as it has to be");
            Require(left == left_of_model, "the bytes of a line are counted");
            break;
        }
        case 8:
        case 9: {
            const Outcome expected = step.size == 0
                                         ? Outcome{NPT_ERROR_INVALID_ARGUMENT, ""}
                                         : model.ReadLine(step.size, breaks_on_cr, nullptr);
            Require(expected == ReadStringOf(stream, step.size, breaks_on_cr),
                    "a line in a string is as it has to be");
            break;
        }
        case 10:
        case 11:
            Require(model.Read(step.size) == ReadOf(stream, step.size),
                    "a read is as it has to be");
            break;
        case 12: {
            Outcome expected = model.ReadFully(step.size);
            if (NPT_Failed(expected.result)) expected.data.clear();
            Require(expected == ReadFullyOf(stream, step.size), "a full read is as it has to be");
            break;
        }
        case 13:
            Require(model.Load(step.size) == LoadOf(stream, step.size),
                    "a load is as it has to be");
            break;
        default:  // with force, and without
            model.SetBufferSize(step.size);
            Require(NPT_Succeeded(stream.SetBufferSize(static_cast<NPT_UInt32>(step.size), is_odd)),
                    "a buffer may have any size");
    }
    NPT_UInt64 position = 0;
    stream.Tell(position);
    Require(position == model.GetPosition(), "the position counts what was delivered");
    Require(model.GetAvailable() == AvailableOf(stream), "what is available is told");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const NPT_UInt8* data, std::size_t size) {
    FuzzInput input(data, size);
    const Scenario scenario(input);
    Source source(scenario.deliveries, scenario.knows_size);
    Source source_of_model(scenario.deliveries, scenario.knows_size);
    NPT_BufferedInputStream stream(NPT_InputStreamReference(new SourceStream(source)),
                                   static_cast<NPT_UInt32>(scenario.buffer_size));
    Model model(source_of_model, scenario.buffer_size);
    for (const Step& step : scenario.steps)
        Try(step, model, stream);
    Require(source.GetAsked() == source_of_model.GetAsked(), "the source is read as little");
    return 0;
}
