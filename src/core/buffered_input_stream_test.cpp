#include "core/buffered_input_stream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "core/memory_stream.h"
#include "core/testing/failing_allocation.h"
#include "core/testing/print_string.h"
#include "core/testing/scripted_input_stream.h"
#include "core/testing/splits.h"

namespace {

using Script = std::vector<ScriptedRead>;

// A buffered stream over a script.
class Buffered {
  public:
    explicit Buffered(Script script, NPT_UInt32 buffer_size = 4096,
                      NPT_Result end_result = NPT_ERROR_EOS)
        : source_(new ScriptedInputStream(std::move(script), end_result)),
          stream_(NPT_InputStreamReference(source_), buffer_size) {}

    NPT_BufferedInputStream* operator->() { return &stream_; }
    ScriptedInputStream& GetSource() { return *source_; }

    // A line read into a buffer of that size, with the result in front when it is a failure.
    std::string Line(NPT_UInt32 size = 100, bool break_on_cr = false) {
        std::vector<char> buffer(size, '#');
        NPT_UInt32 chars = 77;
        const NPT_Result result = stream_.ReadLine(buffer.data(), size, &chars, break_on_cr);
        EXPECT_LT(chars, size);
        EXPECT_EQ(std::strlen(buffer.data()), chars);
        const std::string text(buffer.data());
        return NPT_Succeeded(result) ? text : std::to_string(result) + text;
    }
    // The same for a read of up to count bytes.
    std::string Bytes(NPT_UInt32 count) {
        std::string buffer(count, '#');
        NPT_UInt32 read = 77;
        const NPT_Result result = stream_.Read(&buffer[0], count, &read);
        EXPECT_LE(read, count);
        buffer.resize(read);
        return NPT_Succeeded(result) ? buffer : std::to_string(result) + buffer;
    }
    NPT_UInt64 Position() {
        NPT_UInt64 position = 0;
        EXPECT_EQ(stream_.Tell(position), NPT_SUCCESS);
        return position;
    }

  private:
    ScriptedInputStream* source_;
    NPT_BufferedInputStream stream_;
};

constexpr char kEnd[] = "-20302";
constexpr char kTooLong[] = "-20019";
constexpr char kNoProgress[] = "-20008";
constexpr char kTimeout[] = "-20014";

TEST(ReadLine, EndsAtLfAndDropsCr) {
    Buffered stream({"A\r\nB\n"});
    EXPECT_EQ(stream.Line(), "A");
    EXPECT_EQ(stream.Line(), "B");
    EXPECT_EQ(stream.Line(), kEnd);
    Buffered inside({"A\rB\n"});
    EXPECT_EQ(inside.Line(), "AB");
}

TEST(ReadLine, BreaksOnCrWhenAskedTo) {
    Buffered stream({"A\r\nB\n"});
    EXPECT_EQ(stream.Line(100, true), "A");
    EXPECT_EQ(stream.Line(100, true), "B");
    EXPECT_EQ(stream.Line(100, true), kEnd);
    Buffered only_cr({"A\rB\r\rC"});
    EXPECT_EQ(only_cr.Line(100, true), "A");
    EXPECT_EQ(only_cr.Line(100, true), "B");
    EXPECT_EQ(only_cr.Line(100, true), "");
    EXPECT_EQ(only_cr.Line(100, true), "C");
}

TEST(ReadLine, SkipsOneLfBehindACrAndNoMore) {
    Buffered stream({"A\r\n\nB\n"});
    EXPECT_EQ(stream.Line(100, true), "A");
    EXPECT_EQ(stream.Line(100, true), "");
    EXPECT_EQ(stream.Line(100, true), "B");
}

TEST(ReadLine, TakesOneCharacterLessThanTheBuffer) {
    Buffered fits({"1234567\n"});
    EXPECT_EQ(fits.Line(8), "1234567");
    Buffered too_long({"12345678\n"});
    EXPECT_EQ(too_long.Line(8), std::string(kTooLong) + "1234567");
    Buffered with_cr({"1234567\r\n"});
    EXPECT_EQ(with_cr.Line(8), "1234567");
    Buffered no_room({"\nx\n"});
    EXPECT_EQ(no_room.Line(1), "");
    EXPECT_EQ(no_room.Line(1), kTooLong);
}

TEST(ReadLine, GoesOnBehindTheCharacterThatDidNotFit) {
    for (const NPT_UInt32 buffer_size : {0u, 1u, 4096u}) {
        SCOPED_TRACE(buffer_size);
        Buffered stream({"1234567\n"}, buffer_size);
        EXPECT_EQ(stream.Line(4), std::string(kTooLong) + "123");
        EXPECT_EQ(stream.Line(4), "567");
        EXPECT_EQ(stream.Line(4), kEnd);
    }
}

TEST(ReadLine, DeliversALastLineWithoutItsEnd) {
    for (const NPT_UInt32 buffer_size : {0u, 1u, 4096u}) {
        SCOPED_TRACE(buffer_size);
        Buffered stream({"A\nB"}, buffer_size);
        EXPECT_EQ(stream.Line(), "A");
        EXPECT_EQ(stream.Line(), "B");
        const int reads = stream.GetSource().GetReadCount();
        EXPECT_EQ(stream.Line(), kEnd);
        EXPECT_EQ(stream.Bytes(1), kEnd);
        EXPECT_EQ(stream.GetSource().GetReadCount(), reads);
    }
}

TEST(ReadLine, RefusesToReadIntoNothing) {
    Buffered stream({"A\n"});
    NPT_UInt32 chars = 77;
    char byte = '#';
    EXPECT_EQ(stream->ReadLine(nullptr, 10, &chars), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(chars, 0u);
    EXPECT_EQ(stream->ReadLine(&byte, 0, &chars), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(byte, '#');
    EXPECT_EQ(stream.Line(), "A");
}

TEST(ReadLine, ReportsAnErrorOfTheSourceWithWhatItHad) {
    for (const NPT_UInt32 buffer_size : {0u, 4096u}) {
        SCOPED_TRACE(buffer_size);
        Buffered stream({"AB", NPT_ERROR_TIMEOUT, "CD\n"}, buffer_size);
        EXPECT_EQ(stream.Line(), std::string(kTimeout) + "AB");
        EXPECT_EQ(stream.Line(), "CD");
        EXPECT_EQ(stream.Position(), 4u);
    }
}

TEST(ReadLine, ARefillOfNothingIsNoProgress) {
    for (const NPT_UInt32 buffer_size : {0u, 4096u}) {
        SCOPED_TRACE(buffer_size);
        Buffered stream({"AB", "", "CD\n"}, buffer_size);
        EXPECT_EQ(stream.Line(), std::string(kNoProgress) + "AB");
        EXPECT_EQ(stream.Line(), "CD");
    }
}

TEST(ReadLine, WithoutASourceFails) {
    NPT_BufferedInputStream stream{NPT_InputStreamReference()};
    char buffer[8];
    NPT_UInt64 size = 77;
    EXPECT_EQ(stream.ReadLine(buffer, 8), NPT_ERROR_INVALID_STATE);
    EXPECT_EQ(stream.Read(buffer, 8), NPT_ERROR_INVALID_STATE);
    EXPECT_EQ(stream.GetSize(size), NPT_ERROR_INVALID_STATE);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(stream.GetAvailable(size), NPT_ERROR_INVALID_STATE);
    EXPECT_EQ(size, 0u);
}

TEST(ReadLine, WithoutMemoryFails) {
    Buffered stream({"A\n"});
    char buffer[8];
    {
        const FailingAllocation failing;
        EXPECT_EQ(stream->ReadLine(buffer, 8), NPT_ERROR_NO_MEMORY);
    }
    EXPECT_EQ(stream.Line(), "A");
}

TEST(ReadLine, TakesNoMoreBytesThanAreLeft) {
    for (const NPT_UInt32 buffer_size : {0u, 1u, 3u, 4096u}) {
        SCOPED_TRACE(buffer_size);
        NPT_BufferedInputStream stream(
            NPT_InputStreamReference(new ScriptedInputStream({"A\r\r\r\nB\r\n\r\r\r\r"})),
            buffer_size);
        char line[8];
        NPT_UInt64 left = 10;
        EXPECT_EQ(stream.ReadLine(line, 8, nullptr, false, &left), NPT_SUCCESS);
        EXPECT_STREQ(line, "A");
        EXPECT_EQ(left, 5u);
        EXPECT_EQ(stream.ReadLine(line, 8, nullptr, false, &left), NPT_SUCCESS);
        EXPECT_STREQ(line, "B");
        EXPECT_EQ(stream.ReadLine(line, 8, nullptr, false, &left), NPT_ERROR_LINE_TOO_LONG);
        EXPECT_EQ(left, 0u);
        left = 3;
        EXPECT_EQ(stream.ReadLine(line, 8, nullptr, false, &left), NPT_ERROR_EOS);
    }
}

TEST(ReadLine, IntoAStringTakesItsMaximum) {
    Buffered stream({"12345\n123456\nrest\n"});
    NPT_String line("old");
    EXPECT_EQ(stream->ReadLine(line, 5), NPT_SUCCESS);
    EXPECT_EQ(line, "12345");
    EXPECT_EQ(stream->ReadLine(line, 5), NPT_ERROR_LINE_TOO_LONG);
    EXPECT_EQ(line, "12345");
    EXPECT_EQ(stream->ReadLine(line, 5), NPT_SUCCESS);
    EXPECT_EQ(line, "");
    EXPECT_EQ(stream->ReadLine(line, 5), NPT_SUCCESS);
    EXPECT_EQ(line, "rest");
    EXPECT_EQ(stream->ReadLine(line, 5), NPT_ERROR_EOS);
    EXPECT_EQ(line, "");
    EXPECT_EQ(stream->ReadLine(line, 0), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(stream->ReadLine(line, 0xFFFFFFFF), NPT_ERROR_NO_MEMORY);
}

TEST(ReadLine, KeepsBytesThatAreNoText) {
    Buffered stream({std::string("a\0b\xFF\n", 5)});
    char buffer[8];
    NPT_UInt32 chars = 0;
    EXPECT_EQ(stream->ReadLine(buffer, 8, &chars), NPT_SUCCESS);
    EXPECT_EQ(std::string(buffer, chars), std::string("a\0b\xFF", 4));
}

// The line reader told byte by byte: what every way of buffering has to agree with.
class LineModel {
  public:
    LineModel(std::string text, NPT_UInt32 size, bool break_on_cr, bool joins_cr_lf)
        : text_(std::move(text)),
          size_(size),
          break_on_cr_(break_on_cr),
          joins_cr_lf_(joins_cr_lf) {}

    std::string Line() {
        std::string line;
        for (bool ended = false; !ended;) {
            if (next_ == text_.size()) return line.empty() ? kEnd : line;
            const char byte = text_[next_++];
            const bool is_second_half = std::exchange(behind_cr_, false) && byte == '\n';
            if (byte == '\n') {
                ended = !is_second_half;
            } else if (byte == '\r') {
                ended = break_on_cr_;
                behind_cr_ = break_on_cr_ && joins_cr_lf_;
            } else if (line.size() == size_ - 1) {
                return kTooLong + line;
            } else {
                line += byte;
            }
        }
        return line;
    }

  private:
    std::string text_;
    std::size_t next_ = 0;
    NPT_UInt32 size_;
    bool break_on_cr_;
    bool joins_cr_lf_;
    bool behind_cr_ = false;
};

// Every text of up to max_length bytes out of a letter, CR and LF.
std::vector<std::string> EveryText(std::size_t max_length) {
    std::vector<std::string> texts{""};
    for (std::size_t index = 0; texts[index].size() < max_length; ++index) {
        for (const char byte : {'x', '\r', '\n'})
            texts.push_back(texts[index] + byte);
    }
    return texts;
}

void CheckAgainstModel(const std::string& text, NPT_UInt32 buffer_size, NPT_UInt32 size,
                       bool break_on_cr) {
    for (const auto& pieces : EverySplit(text)) {
        Buffered stream(pieces, buffer_size);
        LineModel model(text, size, break_on_cr, buffer_size > 0);
        std::string expected;
        do {
            expected = model.Line();
            ASSERT_EQ(stream.Line(size, break_on_cr), expected)
                << testing::PrintToString(pieces) << ", buffer " << buffer_size << ", size " << size
                << (break_on_cr ? ", break on CR" : "");
        } while (expected != kEnd);
    }
}

TEST(ReadLine, DoesNotNoticeHowItsBytesArrive) {
    for (const std::string& text : EveryText(6)) {
        for (const NPT_UInt32 buffer_size : {0u, 1u, 3u, 4096u}) {
            for (const NPT_UInt32 size : {2u, 3u, 100u}) {
                CheckAgainstModel(text, buffer_size, size, false);
                CheckAgainstModel(text, buffer_size, size, true);
                if (HasFatalFailure()) return;
            }
        }
    }
}

TEST(BufferedRead, DeliversEveryByteHoweverItIsCut) {
    const std::string text = "a\r\nb\nc\r\r\n";
    for (const auto& pieces : EverySplit(text)) {
        for (const NPT_UInt32 buffer_size : {0u, 1u, 3u, 4096u}) {
            for (const NPT_UInt32 count : {1u, 2u, 100u}) {
                SCOPED_TRACE(testing::PrintToString(pieces));
                Buffered stream(pieces, buffer_size);
                std::string all;
                for (std::string part = stream.Bytes(count); part != kEnd;
                     part = stream.Bytes(count))
                    all += part;
                EXPECT_EQ(all, text);
                EXPECT_EQ(stream.Position(), text.size());
            }
        }
    }
}

TEST(BufferedRead, DeliversOnlyWhatIsBuffered) {
    Buffered stream({"abcdef", "ghi"}, 4);
    EXPECT_EQ(stream.Bytes(2), "ab");
    EXPECT_EQ(stream.Bytes(10), "cd");
    EXPECT_EQ(stream.Bytes(10), "ef");
    EXPECT_EQ(stream.Bytes(0), "");
    EXPECT_EQ(stream.GetSource().GetReadCount(), 2);
}

TEST(BufferedRead, WithoutABufferReadsTheSource) {
    Buffered stream({"abcdef"}, 0);
    EXPECT_EQ(stream.Bytes(4), "abcd");
    EXPECT_EQ(stream.Bytes(4), "ef");
    EXPECT_EQ(stream.Bytes(4), kEnd);
}

TEST(BufferedRead, SkipsTheSecondHalfOfALineEnd) {
    for (const NPT_UInt32 buffer_size : {0u, 1u, 4096u}) {
        SCOPED_TRACE(buffer_size);
        Buffered pair({"A\r", "\nB"}, buffer_size);
        EXPECT_EQ(pair.Line(100, true), "A");
        EXPECT_EQ(pair.Bytes(1), "B");
        Buffered single({"A\r", "BCD"}, buffer_size);
        EXPECT_EQ(single.Line(100, true), "A");
        std::string rest = single.Bytes(1);
        EXPECT_EQ(rest, "B");
        while (rest.size() < 3)
            rest += single.Bytes(3);
        EXPECT_EQ(rest, "BCD");
    }
}

TEST(BufferedRead, DeliversTheByteBehindALineEndInSpiteOfAFailure) {
    Buffered at_end({"A\r", "B"}, 0);
    EXPECT_EQ(at_end.Line(100, true), "A");
    EXPECT_EQ(at_end.Bytes(10), "B");
    EXPECT_EQ(at_end.Bytes(10), kEnd);
    Buffered interrupted({"A\r", "B", NPT_ERROR_TIMEOUT, "C"}, 1);
    EXPECT_EQ(interrupted.Line(100, true), "A");
    EXPECT_EQ(interrupted.Bytes(10), "B");
    EXPECT_EQ(interrupted.Bytes(10), "C");
}

TEST(BufferedRead, OfNothingSucceedsWithNothing) {
    Buffered stream({"", "a"});
    EXPECT_EQ(stream.Bytes(3), "");
    EXPECT_EQ(stream.Bytes(3), "a");
    char buffer[2];
    Buffered stuck({""});
    EXPECT_EQ(stuck->ReadFully(buffer, 2), NPT_ERROR_NO_PROGRESS);
}

TEST(BufferedRead, MixesWithLines) {
    Buffered stream({"head\r\n\r\nbody"}, 3);
    EXPECT_EQ(stream.Line(), "head");
    EXPECT_EQ(stream.Line(), "");
    char body[5] = {};
    EXPECT_EQ(stream->ReadFully(body, 4), NPT_SUCCESS);
    EXPECT_STREQ(body, "body");
}

// What is left to read after a change of the buffer's size, whatever way it is read.
TEST(SetBufferSize, KeepsTheUnreadBytes) {
    for (const NPT_UInt32 size : {0u, 1u, 2u, 3u, 8u, 100u}) {
        for (const bool force : {false, true}) {
            SCOPED_TRACE(testing::Message() << size << (force ? " forced" : ""));
            Buffered stream({"abcd\nefghij\n"}, 8);
            EXPECT_EQ(stream.Bytes(1), "a");
            EXPECT_EQ(stream->SetBufferSize(size, force), NPT_SUCCESS);
            EXPECT_EQ(stream.Line(), "bcd");
            EXPECT_EQ(stream.Line(), "efghij");
            EXPECT_EQ(stream.Line(), kEnd);
        }
    }
}

TEST(SetBufferSize, RulesTheNextFill) {
    Buffered stream({"abcdefgh"}, 8);
    EXPECT_EQ(stream->SetBufferSize(2), NPT_SUCCESS);
    EXPECT_EQ(stream.Bytes(8), "ab");
    EXPECT_EQ(stream->SetBufferSize(4), NPT_SUCCESS);
    EXPECT_EQ(stream.Bytes(8), "cdef");
    EXPECT_EQ(stream->SetBufferSize(1), NPT_SUCCESS);
    EXPECT_EQ(stream.Bytes(8), "g");
}

TEST(SetBufferSize, ABufferLargeEnoughIsKept) {
    Buffered stream({"abcdefgh"}, 8);
    EXPECT_EQ(stream.Bytes(1), "a");
    const FailingAllocation failing;
    EXPECT_EQ(stream->SetBufferSize(2), NPT_SUCCESS);
    EXPECT_EQ(stream->SetBufferSize(8), NPT_SUCCESS);
    EXPECT_EQ(stream->SetBufferSize(9), NPT_ERROR_NO_MEMORY);
    EXPECT_EQ(stream->SetBufferSize(4, true), NPT_ERROR_NO_MEMORY);
    EXPECT_EQ(stream.Bytes(10), "bcdefgh");
}

TEST(SetBufferSize, UnbufferedAndBackAgain) {
    Buffered stream({"abcdefgh"}, 4);
    EXPECT_EQ(stream.Bytes(1), "a");
    EXPECT_EQ(stream->SetBufferSize(0), NPT_SUCCESS);
    EXPECT_EQ(stream.Bytes(10), "bcd");
    EXPECT_EQ(stream.Bytes(1), "e");
    EXPECT_EQ(stream->SetBufferSize(2), NPT_SUCCESS);
    EXPECT_EQ(stream.Bytes(10), "fg");
    EXPECT_EQ(stream.Bytes(10), "h");
    EXPECT_EQ(stream.Bytes(10), kEnd);
}

TEST(BufferedInputStream, AllocatesOnTheFirstFill) {
    const FailingAllocation failing;
    NPT_InputStreamReference source;
    NPT_BufferedInputStream stream(source, 0xFFFFFFFF);
    EXPECT_EQ(stream.SetBufferSize(100), NPT_SUCCESS);
    char byte;
    EXPECT_EQ(stream.Read(&byte, 1), NPT_ERROR_NO_MEMORY);
}

TEST(BufferedInputStream, AvailableAddsBufferAndSource) {
    auto* memory = new NPT_MemoryStream;
    memory->WriteString("abcdefgh");
    NPT_BufferedInputStream stream(NPT_InputStreamReference(memory), 4);
    NPT_UInt64 count = 0;
    char byte = 0;
    EXPECT_EQ(stream.Read(&byte, 1), NPT_SUCCESS);
    EXPECT_EQ(stream.GetAvailable(count), NPT_SUCCESS);
    EXPECT_EQ(count, 7u);
    EXPECT_EQ(stream.GetSize(count), NPT_SUCCESS);
    EXPECT_EQ(count, 8u);
    EXPECT_EQ(stream.Seek(0), NPT_ERROR_NOT_SUPPORTED);
}

TEST(BufferedInputStream, AvailableIsTheBufferedCountWhenTheSourceCannotTell) {
    Buffered stream({"abc"});
    NPT_UInt64 count = 77;
    EXPECT_EQ(stream->GetAvailable(count), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(count, 0u);
    stream.Bytes(1);
    EXPECT_EQ(stream->GetAvailable(count), NPT_SUCCESS);
    EXPECT_EQ(count, 2u);
}

TEST(BufferedInputStream, HoldsItsSource) {
    NPT_InputStreamReference source(new ScriptedInputStream(Script{"A\n"}));
    NPT_BufferedInputStream stream(source);
    source.Release();
    NPT_String line;
    EXPECT_EQ(stream.ReadLine(line, 10), NPT_SUCCESS);
    EXPECT_EQ(line, "A");
}

TEST(BufferedRead, TheEndBehindAByteIsFinal) {
    NPT_BufferedInputStream stream(
        NPT_InputStreamReference(new ScriptedInputStream({"A\r", "x", NPT_ERROR_EOS, "more"})));
    char buffer[8];
    NPT_UInt32 read = 0;
    EXPECT_EQ(stream.ReadLine(buffer, 8, nullptr, true), NPT_SUCCESS);
    EXPECT_EQ(stream.Read(buffer, 8, &read), NPT_SUCCESS);
    EXPECT_EQ(std::string(buffer, read), "x");
    EXPECT_EQ(stream.Read(buffer, 8, &read), NPT_ERROR_EOS);
}

// Counts bytes although it fails.
class MiscountingStream : public ScriptedInputStream {
  public:
    MiscountingStream() : ScriptedInputStream(std::vector<ScriptedRead>{}) {}
    NPT_Result Read(void*, NPT_UInt32 count, NPT_UInt32* read = nullptr) override {
        if (read) *read = count;
        return NPT_ERROR_TIMEOUT;
    }
};

TEST(BufferedRead, AFailureBringsNoBytesWhateverTheSourceCounts) {
    NPT_BufferedInputStream stream(NPT_InputStreamReference(new MiscountingStream));
    char buffer[8];
    for (int round = 0; round < 2; ++round) {
        NPT_UInt32 read = 7;
        EXPECT_EQ(stream.Read(buffer, 8, &read), NPT_ERROR_TIMEOUT);
        EXPECT_EQ(read, 0u);
    }
}

}  // namespace
