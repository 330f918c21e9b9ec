#include "core/memory_stream.h"

#include <gtest/gtest.h>

#include <string>

#include "core/testing/failing_allocation.h"

namespace {

std::string Content(const NPT_MemoryStream& stream) {
    return std::string(reinterpret_cast<const char*>(stream.GetData()), stream.GetDataSize());
}

NPT_InputStream& Input(NPT_MemoryStream& stream) {
    return stream;
}

NPT_OutputStream& Output(NPT_MemoryStream& stream) {
    return stream;
}

TEST(MemoryStream, ReadsWhatWasWritten) {
    NPT_MemoryStream stream;
    NPT_UInt32 count = 0;
    EXPECT_EQ(stream.Write("abcdef", 6, &count), NPT_SUCCESS);
    EXPECT_EQ(count, 6u);
    char bytes[5] = {};
    EXPECT_EQ(stream.Read(bytes, 4, &count), NPT_SUCCESS);
    EXPECT_EQ(count, 4u);
    EXPECT_STREQ(bytes, "abcd");
    EXPECT_EQ(stream.Read(bytes, 4, &count), NPT_SUCCESS);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(stream.Read(bytes, 4, &count), NPT_ERROR_EOS);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(stream.Read(nullptr, 0, &count), NPT_SUCCESS);
}

TEST(MemoryStream, ReadsOnAfterItsEndMovedOn) {
    NPT_MemoryStream stream(100);
    char byte = 0;
    EXPECT_EQ(stream.Read(&byte, 1), NPT_ERROR_EOS);
    stream.Write("x", 1);
    EXPECT_EQ(stream.Read(&byte, 1), NPT_SUCCESS);
    EXPECT_EQ(byte, 'x');
}

TEST(MemoryStream, OffsetsAreIndependent) {
    NPT_MemoryStream stream;
    stream.Write("abcdef", 6);
    EXPECT_EQ(Input(stream).Seek(2), NPT_SUCCESS);
    EXPECT_EQ(Output(stream).Seek(4), NPT_SUCCESS);
    stream.Write("XYZ", 3);
    EXPECT_EQ(Content(stream), "abcdXYZ");
    NPT_UInt64 offset = 0;
    EXPECT_EQ(Input(stream).Tell(offset), NPT_SUCCESS);
    EXPECT_EQ(offset, 2u);
    EXPECT_EQ(Output(stream).Tell(offset), NPT_SUCCESS);
    EXPECT_EQ(offset, 7u);
    NPT_UInt64 size = 0;
    EXPECT_EQ(stream.GetSize(size), NPT_SUCCESS);
    EXPECT_EQ(size, 7u);
    EXPECT_EQ(stream.GetAvailable(size), NPT_SUCCESS);
    EXPECT_EQ(size, 5u);
}

TEST(MemoryStream, WritingInsideTheDataKeepsItsSize) {
    NPT_MemoryStream stream;
    stream.Write("abcdef", 6);
    Output(stream).Seek(1);
    stream.Write("X", 1);
    EXPECT_EQ(Content(stream), "aXcdef");
}

TEST(MemoryStream, SeekEndsAtTheData) {
    NPT_MemoryStream stream(100);
    stream.Write("abc", 3);
    EXPECT_EQ(Input(stream).Seek(3), NPT_SUCCESS);
    EXPECT_EQ(Input(stream).Seek(4), NPT_ERROR_OUT_OF_RANGE);
    EXPECT_EQ(Output(stream).Seek(3), NPT_SUCCESS);
    EXPECT_EQ(Output(stream).Seek(4), NPT_ERROR_OUT_OF_RANGE);
    // Cut to 32 bits this would be offset 0.
    EXPECT_EQ(Input(stream).Seek(NPT_UInt64{1} << 32), NPT_ERROR_OUT_OF_RANGE);
    EXPECT_EQ(Output(stream).Seek(NPT_UInt64{1} << 32), NPT_ERROR_OUT_OF_RANGE);
}

TEST(MemoryStream, AWriteThatPassesTheLargestOffsetChangesNothing) {
    NPT_MemoryStream stream;
    stream.Write("abc", 3);
    NPT_UInt32 written = 77;
    // Added up in 32 bits this would end at offset 2.
    EXPECT_EQ(stream.Write("x", 0xFFFFFFFF, &written), NPT_ERROR_NO_MEMORY);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(Content(stream), "abc");
}

TEST(MemoryStream, AWriteWithoutMemoryChangesNothing) {
    NPT_MemoryStream stream;
    stream.Write("abc", 3);
    {
        const FailingAllocation failing;
        EXPECT_EQ(stream.Write("defg", 4), NPT_ERROR_NO_MEMORY);
    }
    stream.Write("d", 1);
    EXPECT_EQ(Content(stream), "abcd");
}

}  // namespace
