#include "core/string_block.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "core/testing/failing_allocation.h"

namespace {

std::string Text(const NPT_String& string) {
    return std::string(string.GetChars(), string.GetLength());
}

TEST(StringBlock, KeepsTexts) {
    StringBlock block;
    EXPECT_EQ(Text(block.Add("name")), "name");
    EXPECT_EQ(Text(block.Add({"a\0b", 3})), std::string("a\0b", 3));
    const NPT_String& empty = block.Add("");
    EXPECT_TRUE(empty.IsEmpty());
    EXPECT_STREQ(empty.GetChars(), "");
}

TEST(StringBlock, StringsAreLaidOutLikeOthers) {
    StringBlock block;
    const NPT_String& text = block.Add("text");
    const char* chars = nullptr;
    std::memcpy(&chars, &text, sizeof(chars));
    EXPECT_EQ(chars, text.GetChars());
    NPT_UInt32 header[2];
    std::memcpy(header, chars - sizeof(header), sizeof(header));
    EXPECT_EQ(header[0], 4U);
    EXPECT_EQ(header[1], 4U);
    EXPECT_EQ(chars[4], '\0');
}

TEST(StringBlock, CopiesOutliveIt) {
    NPT_String copy;
    {
        StringBlock block;
        copy = block.Add("text");
    }
    EXPECT_EQ(Text(copy), "text");
}

TEST(StringBlock, StringsStayWhereTheyAre) {
    StringBlock block;
    std::vector<const NPT_String*> strings;
    for (std::size_t length = 0; length < 300; ++length)
        strings.push_back(&block.Add(std::string(length, 'x')));
    strings.push_back(&block.Add(std::string(1 << 20, 'y')));
    strings.push_back(&block.Add(strings[7]->GetChars()));
    for (std::size_t length = 0; length < 300; ++length)
        EXPECT_EQ(Text(*strings[length]), std::string(length, 'x'));
    EXPECT_EQ(Text(*strings[300]), std::string(1 << 20, 'y'));
    EXPECT_EQ(Text(*strings[301]), "xxxxxxx");
}

TEST(StringBlock, TakesMemoryOnceForWhatAnAnswerHolds) {
    StringBlock block;
    block.Add("first");
    const FailingAllocation next(1);
    for (int count = 0; count < 40; ++count)
        block.Add("seventeen letters");
    EXPECT_FALSE(next.HasHappened());
}

TEST(StringBlock, WithoutMemoryKeepsWhatItHas) {
    StringBlock block;
    const NPT_String& text = block.Add("text");
    const std::string large(5000, 'x');
    {
        const FailingAllocation refused(1);
        EXPECT_THROW(block.Add(large), std::bad_alloc);
    }
    EXPECT_EQ(Text(text), "text");
    EXPECT_EQ(Text(block.Add("more")), "more");
}

}  // namespace
