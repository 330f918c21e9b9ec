#include "core/string_output_stream.h"

#include <gtest/gtest.h>

#include "core/testing/print_string.h"

namespace {

TEST(StringOutputStream, AppendsToTheCallersString) {
    NPT_String target("start ");
    NPT_StringOutputStream stream(target);
    NPT_UInt32 written = 0;
    EXPECT_EQ(stream.Write("abcdef", 3, &written), NPT_SUCCESS);
    EXPECT_EQ(written, 3u);
    EXPECT_EQ(stream.WriteLine("!"), NPT_SUCCESS);
    EXPECT_EQ(target, "start abc!\r\n");
    EXPECT_EQ(&stream.GetString(), &target);
}

TEST(StringOutputStream, OwnsAStringWhenNoneIsGiven) {
    NPT_StringOutputStream stream;
    EXPECT_EQ(stream.GetString().GetCapacity(), 4096u);
    stream.WriteString("abc");
    EXPECT_EQ(stream.GetString(), "abc");
}

TEST(StringOutputStream, TellIsTheLengthAndSeekIsRefused) {
    NPT_String target("abc");
    NPT_StringOutputStream stream(target);
    NPT_UInt64 offset = 0;
    EXPECT_EQ(stream.Tell(offset), NPT_SUCCESS);
    EXPECT_EQ(offset, 3u);
    EXPECT_EQ(stream.Seek(0), NPT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(stream.Flush(), NPT_SUCCESS);
}

TEST(StringOutputStream, AWriteThatTheStringCannotTakeFails) {
    NPT_String target("abc");
    NPT_StringOutputStream stream(target);
    NPT_UInt32 written = 77;
    EXPECT_EQ(stream.Write("x", 0xFFFFFFFF, &written), NPT_ERROR_NO_MEMORY);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(target, "abc");
}

}  // namespace
