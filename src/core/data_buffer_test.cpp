#include "core/data_buffer.h"

#include <gtest/gtest.h>

#include <string>

#include "core/testing/failing_allocation.h"

namespace {

const NPT_UInt8* Bytes(const char* text) {
    return reinterpret_cast<const NPT_UInt8*>(text);
}

std::string Content(const NPT_DataBuffer& buffer) {
    if (!buffer.GetData()) return std::string();
    return std::string(reinterpret_cast<const char*>(buffer.GetData()), buffer.GetDataSize());
}

TEST(DataBuffer, StartsWithoutData) {
    const NPT_DataBuffer none;
    EXPECT_EQ(none.GetData(), nullptr);
    EXPECT_EQ(none.GetBufferSize(), 0u);
    const NPT_DataBuffer sized(10);
    EXPECT_NE(sized.GetData(), nullptr);
    EXPECT_EQ(sized.GetBufferSize(), 10u);
    EXPECT_EQ(sized.GetDataSize(), 0u);
    EXPECT_EQ(NPT_DataBuffer(0).GetData(), nullptr);
}

TEST(DataBuffer, SetDataGrowsToExactlyItsSize) {
    NPT_DataBuffer buffer(2);
    EXPECT_EQ(buffer.SetData(Bytes("abcdef"), 6), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetBufferSize(), 6u);
    EXPECT_EQ(buffer.SetData(Bytes("xyz"), 3), NPT_SUCCESS);
    EXPECT_EQ(Content(buffer), "xyz");
    EXPECT_EQ(buffer.GetBufferSize(), 6u);
}

TEST(DataBuffer, SetDataOfNullOnlySetsTheSize) {
    NPT_DataBuffer buffer;
    buffer.SetData(Bytes("abc"), 3);
    EXPECT_EQ(buffer.SetData(nullptr, 5), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetDataSize(), 5u);
    EXPECT_EQ(Content(buffer).substr(0, 3), "abc");
}

TEST(DataBuffer, SetDataTakesPartsOfItself) {
    NPT_DataBuffer buffer;
    buffer.SetData(Bytes("abcdef"), 6);
    EXPECT_EQ(buffer.SetData(buffer.GetData() + 2, 4), NPT_SUCCESS);
    EXPECT_EQ(Content(buffer), "cdef");
}

TEST(DataBuffer, SetDataSizeKeepsTheData) {
    NPT_DataBuffer buffer;
    buffer.SetData(Bytes("abc"), 3);
    EXPECT_EQ(buffer.SetDataSize(10), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetBufferSize(), 10u);
    EXPECT_EQ(Content(buffer).substr(0, 3), "abc");
    EXPECT_EQ(buffer.SetDataSize(2), NPT_SUCCESS);
    EXPECT_EQ(Content(buffer), "ab");
}

TEST(DataBuffer, SetBufferSizeNeverCutsData) {
    NPT_DataBuffer buffer;
    buffer.SetData(Bytes("abc"), 3);
    EXPECT_EQ(buffer.SetBufferSize(2), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(buffer.SetBufferSize(3), NPT_SUCCESS);
    EXPECT_EQ(buffer.SetBufferSize(20), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetBufferSize(), 20u);
    EXPECT_EQ(Content(buffer), "abc");
    buffer.SetDataSize(0);
    EXPECT_EQ(buffer.SetBufferSize(0), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetData(), nullptr);
}

TEST(DataBuffer, ReserveAtLeastDoubles) {
    NPT_DataBuffer buffer(10);
    EXPECT_EQ(buffer.Reserve(10), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetBufferSize(), 10u);
    EXPECT_EQ(buffer.Reserve(11), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetBufferSize(), 20u);
    EXPECT_EQ(buffer.Reserve(100), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetBufferSize(), 100u);
}

TEST(DataBuffer, ClearFreesEverything) {
    NPT_DataBuffer buffer;
    buffer.SetData(Bytes("abc"), 3);
    EXPECT_EQ(buffer.Clear(), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetData(), nullptr);
    EXPECT_EQ(buffer.GetBufferSize(), 0u);
    EXPECT_EQ(buffer.GetDataSize(), 0u);
    EXPECT_EQ(buffer.SetData(Bytes("d"), 1), NPT_SUCCESS);
    EXPECT_EQ(Content(buffer), "d");
}

TEST(DataBuffer, BorrowedBytesAreUsedAndNeverResized) {
    NPT_UInt8 bytes[4] = {};
    NPT_DataBuffer buffer(10);
    EXPECT_EQ(buffer.SetBuffer(bytes, 4), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetBufferSize(), 4u);
    EXPECT_EQ(buffer.GetDataSize(), 0u);
    EXPECT_EQ(buffer.SetData(Bytes("abcd"), 4), NPT_SUCCESS);
    EXPECT_EQ(bytes[3], 'd');
    EXPECT_EQ(buffer.SetData(Bytes("abcde"), 5), NPT_ERROR_INVALID_STATE);
    EXPECT_EQ(buffer.SetDataSize(5), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(buffer.SetBufferSize(2), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(buffer.Reserve(5), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(buffer.Reserve(4), NPT_SUCCESS);
    EXPECT_EQ(Content(buffer), "abcd");
}

TEST(DataBuffer, BorrowingNullNeedsSizeZero) {
    NPT_DataBuffer buffer;
    buffer.SetData(Bytes("abc"), 3);
    EXPECT_EQ(buffer.SetBuffer(nullptr, 4), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(Content(buffer), "abc");
    EXPECT_EQ(buffer.SetBuffer(nullptr, 0), NPT_SUCCESS);
    EXPECT_EQ(buffer.GetDataSize(), 0u);
}

TEST(DataBuffer, AFailedAllocationChangesNothing) {
    NPT_DataBuffer buffer;
    buffer.SetData(Bytes("abc"), 3);
    {
        const FailingAllocation failing;
        EXPECT_EQ(buffer.SetBufferSize(10), NPT_ERROR_NO_MEMORY);
        EXPECT_EQ(buffer.Reserve(10), NPT_ERROR_NO_MEMORY);
        EXPECT_EQ(buffer.SetDataSize(10), NPT_ERROR_NO_MEMORY);
        EXPECT_EQ(buffer.SetData(Bytes("0123456789"), 10), NPT_ERROR_NO_MEMORY);
        EXPECT_EQ(NPT_DataBuffer(10).GetBufferSize(), 0u);
    }
    EXPECT_EQ(Content(buffer), "abc");
    EXPECT_EQ(buffer.GetBufferSize(), 3u);
}

}  // namespace
