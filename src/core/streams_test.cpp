#include "core/streams.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "core/memory_stream.h"
#include "core/testing/failing_allocation.h"
#include "core/testing/limited_output_stream.h"
#include "core/testing/scripted_input_stream.h"
#include "core/testing/splits.h"

namespace {

constexpr NPT_UInt64 kGibibyte = 0x40000000;

std::string Content(const NPT_DataBuffer& buffer) {
    if (!buffer.GetData()) return std::string();
    return std::string(reinterpret_cast<const char*>(buffer.GetData()), buffer.GetDataSize());
}

// A scripted stream that also claims a size and an available count.
class SizedInputStream : public ScriptedInputStream {
  public:
    using ScriptedInputStream::ScriptedInputStream;
    NPT_Result GetSize(NPT_UInt64& result) override {
        result = size;
        return has_size ? NPT_SUCCESS : NPT_ERROR_NOT_SUPPORTED;
    }
    NPT_Result GetAvailable(NPT_UInt64& result) override {
        result = available;
        return NPT_SUCCESS;
    }
    NPT_Result Tell(NPT_UInt64& offset) override {
        offset = position;
        return NPT_SUCCESS;
    }
    NPT_Result Seek(NPT_UInt64 offset) override {
        position = offset;
        return NPT_SUCCESS;
    }

    bool has_size = false;
    NPT_UInt64 size = 0;
    NPT_UInt64 available = 0;
    NPT_UInt64 position = 0;
};

TEST(InputStream, ReadFullyJoinsShortReads) {
    for (const auto& pieces : EverySplit("abcdefgh")) {
        SCOPED_TRACE(testing::PrintToString(pieces));
        ScriptedInputStream stream(pieces);
        char buffer[9] = {};
        EXPECT_EQ(stream.ReadFully(buffer, 8), NPT_SUCCESS);
        EXPECT_STREQ(buffer, "abcdefgh");
    }
}

TEST(InputStream, ReadFullyReportsWhatStopsIt) {
    char buffer[4];
    ScriptedInputStream short_of_one({"abc"});
    EXPECT_EQ(short_of_one.ReadFully(buffer, 4), NPT_ERROR_EOS);
    ScriptedInputStream stuck({"abc", ""});
    EXPECT_EQ(stuck.ReadFully(buffer, 4), NPT_ERROR_NO_PROGRESS);
    ScriptedInputStream failing({"abc", NPT_ERROR_TIMEOUT});
    EXPECT_EQ(failing.ReadFully(buffer, 4), NPT_ERROR_TIMEOUT);
    ScriptedInputStream unread({"abc"});
    EXPECT_EQ(unread.ReadFully(buffer, 0), NPT_SUCCESS);
    EXPECT_EQ(unread.GetReadCount(), 0);
}

TEST(InputStream, SkipSeeksBehindThePosition) {
    SizedInputStream stream(std::vector<ScriptedRead>{});
    stream.position = 5;
    EXPECT_EQ(stream.Skip(7), NPT_SUCCESS);
    EXPECT_EQ(stream.position, 12u);
    EXPECT_EQ(stream.Skip(std::numeric_limits<NPT_UInt64>::max()), NPT_ERROR_OUT_OF_RANGE);
    EXPECT_EQ(stream.position, 12u);
    ScriptedInputStream without_position({"abc"});
    EXPECT_EQ(without_position.Skip(1), NPT_ERROR_NOT_SUPPORTED);
}

TEST(Load, ReplacesTheBuffersData) {
    for (const auto& pieces : EverySplit("0123456789")) {
        SCOPED_TRACE(testing::PrintToString(pieces));
        ScriptedInputStream stream(pieces);
        NPT_DataBuffer buffer;
        buffer.SetData(reinterpret_cast<const NPT_UInt8*>("old"), 3);
        EXPECT_EQ(stream.Load(buffer), NPT_SUCCESS);
        EXPECT_EQ(Content(buffer), "0123456789");
    }
}

TEST(Load, StopsAtTheLimitOfTheCaller) {
    for (const bool has_size : {false, true}) {
        SCOPED_TRACE(has_size);
        SizedInputStream stream({"01234", "56789"});
        stream.has_size = has_size;
        stream.size = 10;
        NPT_DataBuffer buffer;
        EXPECT_EQ(stream.Load(buffer, 7), NPT_SUCCESS);
        EXPECT_EQ(Content(buffer), "0123456");
    }
}

TEST(Load, StopsAtTheSizeOfTheStream) {
    SizedInputStream stream({"01234", "56789"});
    stream.has_size = true;
    stream.size = 6;
    NPT_DataBuffer buffer;
    EXPECT_EQ(stream.Load(buffer), NPT_SUCCESS);
    EXPECT_EQ(Content(buffer), "012345");
    EXPECT_EQ(buffer.GetBufferSize(), 6u);
}

TEST(Load, OfAnEmptyStreamIsEmpty) {
    SizedInputStream sized({"unread"});
    sized.has_size = true;
    NPT_DataBuffer buffer;
    EXPECT_EQ(sized.Load(buffer), NPT_SUCCESS);
    EXPECT_EQ(sized.GetReadCount(), 0);
    ScriptedInputStream unsized(std::vector<ScriptedRead>{});
    EXPECT_EQ(unsized.Load(buffer), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetDataSize(), 0u);
}

TEST(Load, ReadsWhatIsAvailableAtOnce) {
    SizedInputStream stream({std::string(9000, 'x')});
    stream.available = 9000;
    NPT_DataBuffer buffer;
    EXPECT_EQ(stream.Load(buffer), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetDataSize(), 9000u);
    EXPECT_EQ(stream.GetReadCount(), 2);
}

TEST(Load, TakesNoRoomForWhatALimitOnlyAllows) {
    ScriptedInputStream stream({"01234"});
    NPT_DataBuffer buffer;
    EXPECT_EQ(stream.Load(buffer, kGibibyte), NPT_SUCCESS);
    EXPECT_EQ(Content(buffer), "01234");
    EXPECT_LE(buffer.GetBufferSize(), 16384u);
}

TEST(Load, RefusesMoreThanAGibibyteBeforeItReads) {
    NPT_DataBuffer buffer;
    SizedInputStream limited({"abc"});
    EXPECT_EQ(limited.Load(buffer, kGibibyte + 1), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(limited.Load(buffer, std::numeric_limits<NPT_UInt64>::max()),
              NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(limited.GetReadCount(), 0);
    SizedInputStream large({"abc"});
    large.has_size = true;
    large.size = kGibibyte + 1;
    EXPECT_EQ(large.Load(buffer), NPT_ERROR_OUT_OF_RANGE);
    EXPECT_EQ(large.GetReadCount(), 0);
}

TEST(Load, ClearsTheBufferWhenTheContentTurnsOutTooLarge) {
    NPT_DataBuffer buffer(10);
    SizedInputStream stream({"abc"});
    stream.available = kGibibyte + 1;
    EXPECT_EQ(stream.Load(buffer), NPT_ERROR_OUT_OF_RANGE);
    EXPECT_EQ(buffer.GetBufferSize(), 0u);
    stream.available = std::numeric_limits<NPT_UInt64>::max();
    EXPECT_EQ(stream.Load(buffer), NPT_ERROR_OUT_OF_RANGE);
}

TEST(Load, TakesAWholeGibibyteIfThereIsMemory) {
    SizedInputStream stream({"abc"});
    stream.available = kGibibyte;
    NPT_DataBuffer buffer;
    const FailingAllocation failing_allocation;
    EXPECT_EQ(stream.Load(buffer), NPT_ERROR_NO_MEMORY);
}

TEST(Load, ReportsWhatStopsIt) {
    NPT_DataBuffer buffer;
    ScriptedInputStream failing({"abc", NPT_ERROR_TIMEOUT});
    EXPECT_EQ(failing.Load(buffer), NPT_ERROR_TIMEOUT);
    ScriptedInputStream stuck({"abc", ""});
    EXPECT_EQ(stuck.Load(buffer), NPT_ERROR_NO_PROGRESS);
    ScriptedInputStream plenty({"abc"});
    NPT_DataBuffer without_room;
    const FailingAllocation failing_allocation;
    EXPECT_EQ(plenty.Load(without_room), NPT_ERROR_NO_MEMORY);
    EXPECT_EQ(plenty.Load(without_room, 10), NPT_ERROR_NO_MEMORY);
}

TEST(OutputStream, WriteFullyContinuesShortWrites) {
    LimitedOutputStream stream(LimitedOutputStream::kNoLimit, NPT_FAILURE, 3);
    EXPECT_EQ(stream.WriteFully("abcdefgh", 8), NPT_SUCCESS);
    EXPECT_EQ(stream.GetTaken(), "abcdefgh");
    EXPECT_EQ(stream.GetWriteCount(), 3);
}

TEST(OutputStream, WriteFullyReportsWhatStopsIt) {
    LimitedOutputStream failing(2, NPT_ERROR_TIMEOUT);
    EXPECT_EQ(failing.WriteFully("abc", 3), NPT_ERROR_TIMEOUT);
    LimitedOutputStream stuck(2, NPT_SUCCESS);
    EXPECT_EQ(stuck.WriteFully("abc", 3), NPT_ERROR_NO_PROGRESS);
}

TEST(OutputStream, WriteStringWritesNoTerminator) {
    LimitedOutputStream stream;
    EXPECT_EQ(stream.WriteString("abc"), NPT_SUCCESS);
    EXPECT_EQ(stream.WriteString(""), NPT_SUCCESS);
    EXPECT_EQ(stream.WriteString(nullptr), NPT_SUCCESS);
    EXPECT_EQ(stream.GetTaken(), "abc");
    EXPECT_EQ(stream.GetWriteCount(), 1);
}

TEST(OutputStream, WriteLineEndsInCrLf) {
    LimitedOutputStream stream;
    EXPECT_EQ(stream.WriteLine("M-SEARCH"), NPT_SUCCESS);
    EXPECT_EQ(stream.WriteLine(nullptr), NPT_SUCCESS);
    EXPECT_EQ(stream.GetTaken(), "M-SEARCH\r\n\r\n");
    LimitedOutputStream failing_text(3);
    EXPECT_EQ(failing_text.WriteLine("M-SEARCH"), NPT_ERROR_WRITE_FAILED);
    LimitedOutputStream failing_end(8);
    EXPECT_EQ(failing_end.WriteLine("M-SEARCH"), NPT_ERROR_WRITE_FAILED);
}

TEST(StreamToStreamCopy, CopiesUntilTheSourceEnds) {
    for (const auto& pieces : EverySplit("0123456789")) {
        SCOPED_TRACE(testing::PrintToString(pieces));
        ScriptedInputStream from(pieces);
        LimitedOutputStream to(LimitedOutputStream::kNoLimit, NPT_FAILURE, 4);
        NPT_UInt64 copied = 77;
        EXPECT_EQ(NPT_StreamToStreamCopy(from, to, 0, 0, &copied), NPT_SUCCESS);
        EXPECT_EQ(copied, 10u);
        EXPECT_EQ(to.GetTaken(), "0123456789");
    }
}

TEST(StreamToStreamCopy, CopiesMoreThanItsBuffer) {
    const std::string content(200000, 'x');
    ScriptedInputStream from({content});
    LimitedOutputStream to;
    EXPECT_EQ(NPT_StreamToStreamCopy(from, to), NPT_SUCCESS);
    EXPECT_EQ(to.GetTaken(), content);
    EXPECT_EQ(to.GetWriteCount(), 4);
}

TEST(StreamToStreamCopy, CopiesASizeFromAnOffset) {
    NPT_MemoryStream from;
    from.WriteString("0123456789");
    LimitedOutputStream to;
    NPT_UInt64 copied = 0;
    EXPECT_EQ(NPT_StreamToStreamCopy(from, to, 3, 4, &copied), NPT_SUCCESS);
    EXPECT_EQ(to.GetTaken(), "3456");
    EXPECT_EQ(copied, 4u);
    EXPECT_EQ(NPT_StreamToStreamCopy(from, to, 8, 100, &copied), NPT_SUCCESS);
    EXPECT_EQ(to.GetTaken(), "345689");
    EXPECT_EQ(copied, 2u);
    EXPECT_EQ(NPT_StreamToStreamCopy(from, to, 11, 1, &copied), NPT_ERROR_OUT_OF_RANGE);
    EXPECT_EQ(copied, 0u);
}

TEST(StreamToStreamCopy, CopiesNoMoreThanTheSizeBehindAShortRead) {
    ScriptedInputStream from({"abc", "defgh"});
    LimitedOutputStream to;
    EXPECT_EQ(NPT_StreamToStreamCopy(from, to, 0, 5), NPT_SUCCESS);
    EXPECT_EQ(to.GetTaken(), "abcde");
}

TEST(StreamToStreamCopy, CountsWhatWasWrittenBeforeAFailure) {
    NPT_UInt64 copied = 0;
    ScriptedInputStream failing_source({"abc", NPT_ERROR_TIMEOUT});
    LimitedOutputStream all;
    EXPECT_EQ(NPT_StreamToStreamCopy(failing_source, all, 0, 0, &copied), NPT_ERROR_TIMEOUT);
    EXPECT_EQ(copied, 3u);
    ScriptedInputStream from({"abcdef"});
    LimitedOutputStream failing_target(4);
    EXPECT_EQ(NPT_StreamToStreamCopy(from, failing_target, 0, 0, &copied), NPT_ERROR_WRITE_FAILED);
    EXPECT_EQ(copied, 4u);
}

TEST(StreamToStreamCopy, EndsWithoutProgress) {
    LimitedOutputStream to;
    ScriptedInputStream stuck_source({"abc", ""});
    EXPECT_EQ(NPT_StreamToStreamCopy(stuck_source, to), NPT_ERROR_NO_PROGRESS);
    ScriptedInputStream from({"abc"});
    LimitedOutputStream stuck_target(1, NPT_SUCCESS);
    EXPECT_EQ(NPT_StreamToStreamCopy(from, stuck_target), NPT_ERROR_NO_PROGRESS);
}

TEST(StreamToStreamCopy, NeedsItsBuffer) {
    ScriptedInputStream from({"abc"});
    LimitedOutputStream to;
    const FailingAllocation failing;
    EXPECT_EQ(NPT_StreamToStreamCopy(from, to), NPT_ERROR_NO_MEMORY);
    EXPECT_EQ(from.GetReadCount(), 0);
}

TEST(InputStream, HasNoPositionsAndNoSizeUnlessItSaysSo) {
    ScriptedInputStream stream({"abc"});
    NPT_UInt64 offset = 9, size = 9, available = 9;
    EXPECT_EQ(stream.Seek(0), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(stream.Tell(offset), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(stream.GetSize(size), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(stream.GetAvailable(available), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(offset + size + available, 0u);
}

}  // namespace
