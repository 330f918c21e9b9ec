#include "core/string.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "core/testing/failing_allocation.h"
#include "core/testing/print_string.h"

namespace {

std::vector<std::string> Texts(const NPT_List<NPT_String>& pieces) {
    std::vector<std::string> texts;
    for (const NPT_String& piece : pieces)
        texts.emplace_back(piece.GetChars(), piece.GetLength());
    return texts;
}

std::string Text(const NPT_String& string) {
    return std::string(string.GetChars(), string.GetLength());
}

NPT_String Repeat(std::size_t count) {
    return NPT_String(std::string(count, 'x').c_str());
}

using Pieces = std::vector<std::string>;

TEST(String, IsOnePointerBehindItsLengthAndCapacity) {
    static_assert(sizeof(NPT_String) == sizeof(void*));
    NPT_String text("abc");
    text.Reserve(9);
    const char* chars = nullptr;
    std::memcpy(&chars, static_cast<const void*>(&text), sizeof(chars));
    NPT_UInt32 header[2];
    std::memcpy(header, chars - sizeof(header), sizeof(header));
    EXPECT_STREQ(chars, "abc");
    EXPECT_EQ(header[0], 3u);
    EXPECT_EQ(header[1], 9u);
}

TEST(String, EmptyIsANullPointerThatReadsAsNoCharacters) {
    const char* const nothing = nullptr;
    for (NPT_String empty :
         {NPT_String(), NPT_String(""), NPT_String(nothing), NPT_String("abc", 0),
          NPT_String(nothing, 5), NPT_String(NPT_String())}) {
        EXPECT_EQ(empty.UseChars(), nullptr);
        EXPECT_STREQ(empty.GetChars(), "");
        EXPECT_EQ(empty.GetLength(), 0u);
        EXPECT_EQ(empty.GetCapacity(), 0u);
        EXPECT_TRUE(empty.IsEmpty());
    }
}

TEST(String, CopiesAreSizedExactly) {
    NPT_String original("abc");
    original.Reserve(100);
    const NPT_String copy(original);
    EXPECT_EQ(Text(copy), "abc");
    EXPECT_EQ(copy.GetCapacity(), 3u);
    EXPECT_EQ(NPT_String("four").GetCapacity(), 4u);
}

TEST(String, ConstructionFromARangeEndsAtANulThatIsNotItsLastCharacter) {
    EXPECT_EQ(Text(NPT_String("abcdef", 3)), "abc");
    EXPECT_EQ(Text(NPT_String("ab\0de", 5)), "ab");
    EXPECT_EQ(NPT_String("\0bcd", 4).UseChars(), nullptr);
    EXPECT_EQ(Text(NPT_String("abc\0", 4)), std::string("abc\0", 4));
    EXPECT_EQ(Text(NPT_String("\0", 1)), std::string(1, '\0'));
}

TEST(String, AssigningARangeFollowsTheRuleOfConstruction) {
    NPT_String text("something longer");
    text.Assign("ab\0de", 5);
    EXPECT_EQ(Text(text), "ab");
    text.Assign("abc\0", 4);
    EXPECT_EQ(Text(text), std::string("abc\0", 4));
    text.Assign(nullptr, 4);
    EXPECT_EQ(text.UseChars(), nullptr);
}

TEST(String, AssigningNothingFreesTheBlock) {
    const char* const nothing = nullptr;
    NPT_String text("abc");
    text = "";
    EXPECT_EQ(text.UseChars(), nullptr);
    text = "abc";
    text = nothing;
    EXPECT_EQ(text.UseChars(), nullptr);
}

TEST(String, AssignmentFromItselfKeepsTheContent) {
    NPT_String text("abcdef");
    const NPT_String& same = text;
    text = same;
    EXPECT_EQ(text, "abcdef");
    text = text.GetChars() + 2;
    EXPECT_EQ(text, "cdef");
    text.Assign(text.GetChars() + 1, 2);
    EXPECT_EQ(text, "de");
}

TEST(String, AssignmentOfItsWholeBlockKeepsTheTerminatorAsACharacter) {
    NPT_String text("abc");
    text.Assign(text.GetChars(), 4);
    EXPECT_EQ(Text(text), std::string("abc\0", 4));
}

TEST(String, MovingTakesTheBlock) {
    NPT_String from("abc");
    const char* const block = from.GetChars();
    NPT_String to(std::move(from));
    EXPECT_EQ(to.GetChars(), block);
    NPT_String assigned("old");
    assigned = std::move(to);
    EXPECT_EQ(assigned.GetChars(), block);
}

TEST(String, FromIntegerWritesDecimal) {
    EXPECT_EQ(NPT_String::FromInteger(0), "0");
    EXPECT_EQ(NPT_String::FromInteger(-42), "-42");
    EXPECT_EQ(NPT_String::FromInteger(INT64_MAX), "9223372036854775807");
    EXPECT_EQ(NPT_String::FromInteger(INT64_MIN), "-9223372036854775808");
}

TEST(String, ReserveAtLeastDoublesAndKeepsTheContent) {
    NPT_String text;
    text.Reserve(0);
    EXPECT_EQ(text.UseChars(), nullptr);
    text.Reserve(10);
    EXPECT_EQ(text.GetCapacity(), 10u);
    EXPECT_STREQ(text.UseChars(), "");
    text = "abc";
    text.Reserve(4);
    EXPECT_EQ(text.GetCapacity(), 10u);
    text.Reserve(11);
    EXPECT_EQ(text.GetCapacity(), 20u);
    text.Reserve(100);
    EXPECT_EQ(text.GetCapacity(), 100u);
    EXPECT_EQ(text, "abc");
}

TEST(String, SizesThatPassTheLimitAreRefused) {
    NPT_String text("abc");
    EXPECT_THROW(text.Reserve(0x80000000u), std::bad_alloc);
    EXPECT_THROW(text.SetLength(0xFFFFFFFFu), std::bad_alloc);
    // Added up in 32 bits this would be a length of 2.
    EXPECT_THROW(text.Append("x", 0xFFFFFFFFu), std::bad_alloc);
    EXPECT_EQ(text, "abc");
}

TEST(String, AsksForMemoryUpToTheLimitAlone) {
    for (const NPT_UInt32 length : {0x7FFFFFFFu, 0x80000000u}) {
        NPT_String text;
        const FailingAllocation failing(1);
        EXPECT_THROW(text.Reserve(length), std::bad_alloc);
        EXPECT_EQ(failing.HasHappened(), length == 0x7FFFFFFF) << length;
    }
}

TEST(String, SetLengthCutsPadsAndFrees) {
    NPT_String text("abcdef");
    text.SetLength(3);
    EXPECT_EQ(Text(text), "abc");
    text.SetLength(6, true);
    EXPECT_EQ(Text(text), "abc   ");
    text.SetLength(2, true);
    EXPECT_EQ(Text(text), "ab");
    text.SetLength(0);
    EXPECT_EQ(text.UseChars(), nullptr);
    text.SetLength(3, true);
    EXPECT_EQ(Text(text), "   ");
}

TEST(String, AppendAddsCharactersAndGrowsByDoubling) {
    NPT_String text("abc");
    text.Append("defgh", 2);
    EXPECT_EQ(text, "abcde");
    EXPECT_EQ(text.GetCapacity(), 6u);
    text.Append(nullptr, 3);
    text.Append("xyz", 0);
    text.Append(nullptr);
    EXPECT_EQ(text, "abcde");
    text += '!';
    text += "?";
    text += NPT_String("..");
    EXPECT_EQ(text, "abcde!?..");
}

TEST(String, AppendTakesPartsOfItself) {
    NPT_String text("abc");
    text += text;
    EXPECT_EQ(text, "abcabc");
    text.Append(text.GetChars() + 1);
    EXPECT_EQ(text, "abcabcbcabc");
    text.Reserve(100);
    text.Append(text.GetChars() + 6, 5);
    EXPECT_EQ(text, "abcabcbcabcbcabc");
}

TEST(String, ConcatenationIsSizedExactly) {
    const char* const nothing = nullptr;
    const NPT_String world("world");
    const NPT_String greeting = "hello " + world;
    EXPECT_EQ(greeting, "hello world");
    EXPECT_EQ(greeting.GetCapacity(), 11u);
    EXPECT_EQ(world + "!", "world!");
    EXPECT_EQ(world + NPT_String(), "world");
    EXPECT_EQ(nothing + world + nothing, "world");
    EXPECT_EQ((NPT_String() + NPT_String()).UseChars(), nullptr);
}

TEST(String, CompareFoldsLettersOnly) {
    EXPECT_EQ(NPT_String("Host").Compare("HOST", true), 0);
    EXPECT_NE(NPT_String("Host").Compare("HOST"), 0);
    EXPECT_NE(NPT_String("a[").Compare("A{", true), 0);
    EXPECT_NE(NPT_String("\xE4").Compare("\xC4", true), 0);
}

TEST(String, CompareGivesTheDifferenceOfSignedCharacters) {
    EXPECT_EQ(NPT_String("abc").Compare("abd"), -1);
    EXPECT_EQ(NPT_String("abc").Compare("ab"), 'c');
    EXPECT_EQ(NPT_String("ab").Compare("abc"), -'c');
    EXPECT_EQ(NPT_String("\xFF").Compare("a"), -1 - 'a');
    EXPECT_EQ(NPT_String("b").Compare("A", true), 1);
    EXPECT_EQ(NPT_String().Compare(nullptr), 0);
    EXPECT_EQ(NPT_String("abc").Compare(NPT_String("ABC"), true), 0);
}

TEST(String, EqualityIsExact) {
    EXPECT_TRUE(NPT_String("abc") == NPT_String("abc"));
    EXPECT_TRUE(NPT_String("abc") != NPT_String("ABC"));
    EXPECT_TRUE(NPT_String("abc") != "ab");
    EXPECT_TRUE(NPT_String() == "");
}

TEST(String, CompareFindsTheFirstDifferenceAnywhere) {
    const std::string text(40, 'm');
    for (std::size_t at = 0; at < text.size(); ++at) {
        std::string other = text;
        other[at] = 'p';
        if (at + 1 < text.size()) other[at + 1] = 'a';
        EXPECT_EQ(NPT_String(text.c_str()).Compare(other.c_str()), 'm' - 'p') << at;
        EXPECT_EQ(NPT_String(text.c_str()).Compare(other.substr(0, at).c_str()), 'm') << at;
    }
}

TEST(String, ComparingEndsAtANul) {
    NPT_String left("same");
    NPT_String right("same");
    left.Append("\0x", 2);
    right.Append("\0y", 2);
    EXPECT_EQ(left.Compare(right), 0);
    EXPECT_EQ(left.Compare(right, true), 0);
    EXPECT_TRUE(left == right);
}

TEST(String, FindCharacterFromAStart) {
    const NPT_String text("abcabc");
    EXPECT_EQ(text.Find('b'), 1);
    EXPECT_EQ(text.Find('b', 2), 4);
    EXPECT_EQ(text.Find('b', 4), 4);
    EXPECT_EQ(text.Find('b', 5), -1);
    EXPECT_EQ(text.Find('b', 6), -1);
    EXPECT_EQ(text.Find('b', 0xFFFFFFFF), -1);
    EXPECT_EQ(text.Find('B'), -1);
    EXPECT_EQ(text.Find('B', 0, true), 1);
    EXPECT_EQ(NPT_String().Find('b'), -1);
}

TEST(String, FindTextFromAStart) {
    const NPT_String text("max-age=10, Max-Age=20");
    EXPECT_EQ(text.Find("max-age="), 0);
    EXPECT_EQ(text.Find("max-age=", 1), -1);
    EXPECT_EQ(text.Find("max-age=", 1, true), 12);
    EXPECT_EQ(text.Find("20"), 20);
    EXPECT_EQ(text.Find("200"), -1);
    EXPECT_EQ(text.Find("", 5), 5);
    EXPECT_EQ(text.Find("", 22), -1);
    EXPECT_EQ(text.Find(nullptr), -1);
    EXPECT_EQ(text.Find("m", 0xFFFFFFFF), -1);
    EXPECT_EQ(NPT_String().Find(""), -1);
    EXPECT_EQ(NPT_String("ab").Find("abc"), -1);
    EXPECT_EQ(NPT_String("aab").Find("ab"), 1);
}

TEST(String, ReverseFindCountsItsStartFromTheEnd) {
    const NPT_String text("abcabc");
    EXPECT_EQ(text.ReverseFind('c'), 5);
    EXPECT_EQ(text.ReverseFind('c', 1), 2);
    EXPECT_EQ(text.ReverseFind('a', 5), 0);
    EXPECT_EQ(text.ReverseFind('a', 6), -1);
    EXPECT_EQ(text.ReverseFind('A', 0, true), 3);
    EXPECT_EQ(text.ReverseFind('x'), -1);
    EXPECT_EQ(NPT_String().ReverseFind('x'), -1);
}

TEST(String, StartsWithAndEndsWith) {
    const NPT_String text("http://host");
    EXPECT_TRUE(text.StartsWith("http:"));
    EXPECT_FALSE(text.StartsWith("HTTP:"));
    EXPECT_TRUE(text.StartsWith("HTTP:", true));
    EXPECT_TRUE(text.StartsWith(""));
    EXPECT_FALSE(text.StartsWith("http://host/"));
    EXPECT_FALSE(text.StartsWith(nullptr));
    EXPECT_TRUE(text.EndsWith("host"));
    EXPECT_TRUE(text.EndsWith("HOST", true));
    EXPECT_FALSE(text.EndsWith("HOST"));
    EXPECT_TRUE(text.EndsWith(""));
    EXPECT_FALSE(text.EndsWith("xhttp://host"));
    EXPECT_FALSE(text.EndsWith(nullptr));
    EXPECT_TRUE(NPT_String().EndsWith(""));
}

// What would be read behind it, the checked build sees.
TEST(String, StartsWithNothingLongerThanItself) {
    const std::string longer(1000, 'a');
    EXPECT_FALSE(NPT_String("aaa").StartsWith(longer.c_str()));
    EXPECT_FALSE(NPT_String().StartsWith(longer.c_str()));
}

TEST(String, SubStringIsCutToTheEnd) {
    const NPT_String text("abc");
    EXPECT_EQ(text.SubString(5, 10), "");
    EXPECT_EQ(text.SubString(3), "");
    EXPECT_EQ(text.SubString(1, 10), "bc");
    EXPECT_EQ(text.SubString(1, 10).GetLength(), 2u);
    EXPECT_EQ(text.SubString(1, 1), "b");
    EXPECT_EQ(text.SubString(1, 0), "");
    EXPECT_EQ(text.SubString(0), "abc");
    EXPECT_EQ(text.SubString(1, 0xFFFFFFFF), "bc");
}

TEST(String, LowercaseChangesAsciiLettersOnly) {
    const NPT_String text("AZ[@\xC4z9");
    EXPECT_EQ(text.ToLowercase(), "az[@\xC4z9");
    EXPECT_EQ(text, "AZ[@\xC4z9");
    NPT_String empty;
    empty.MakeLowercase();
    EXPECT_TRUE(empty.IsEmpty());
}

TEST(String, TrimRemovesBlanksAndLineBreaks) {
    NPT_String text("\r\n value \t");
    text.Trim();
    EXPECT_EQ(text, "value");
    NPT_String left(" \ta b ");
    left.TrimLeft();
    EXPECT_EQ(left, "a b ");
    left.TrimRight();
    EXPECT_EQ(left, "a b");
    NPT_String blanks("   ");
    blanks.Trim();
    EXPECT_TRUE(blanks.IsEmpty());
    NPT_String other("\v\fx\v");
    other.Trim();
    EXPECT_EQ(other, "\v\fx\v");
}

TEST(String, TrimStopsAtANulThatIsACharacter) {
    NPT_String text("ab\0", 3);
    text.Trim();
    EXPECT_EQ(text.GetLength(), 3u);
}

TEST(String, SplitKeepsEmptyPieces) {
    EXPECT_EQ(Texts(NPT_String("a,,b").Split(",")), (Pieces{"a", "", "b"}));
    EXPECT_EQ(Texts(NPT_String("abc").Split(",")), (Pieces{"abc"}));
    EXPECT_EQ(Texts(NPT_String(",a,").Split(",")), (Pieces{"", "a", ""}));
    EXPECT_EQ(Texts(NPT_String("").Split(",")), (Pieces{""}));
    EXPECT_EQ(Texts(NPT_String("a::::b").Split("::")), (Pieces{"a", "", "b"}));
    EXPECT_EQ(Texts(NPT_String(":::").Split("::")), (Pieces{"", ":"}));
    EXPECT_EQ(Texts(NPT_String("abc").Split("")), (Pieces{"abc"}));
    EXPECT_EQ(Texts(NPT_String("abc").Split(nullptr)), (Pieces{"abc"}));
}

TEST(String, SplitByNothingKeepsANulThatIsACharacter) {
    NPT_String text;
    text.Append("a\0b", 3);
    const NPT_List<NPT_String> pieces = text.Split("");
    ASSERT_EQ(pieces.GetItemCount(), 1u);
    EXPECT_EQ(pieces.begin()->GetLength(), 3u);
}

TEST(String, FormatGrowsByDoubling) {
    EXPECT_EQ(NPT_String::Format("%s:%d", "host", 31288), "host:31288");
    EXPECT_EQ(NPT_String::Format("%s", Repeat(256).GetChars()).GetCapacity(), 256u);
    const NPT_String grown = NPT_String::Format("%s", Repeat(300).GetChars());
    EXPECT_EQ(grown, Repeat(300));
    EXPECT_EQ(grown.GetCapacity(), 512u);
}

TEST(String, FormatReadsItsArgumentsAnewInEveryTry) {
    const NPT_String text =
        NPT_String::Format("%s %d %s %d", Repeat(2000).GetChars(), 1, Repeat(2000).GetChars(), 2);
    EXPECT_EQ(text, Repeat(2000) + " 1 " + Repeat(2000) + " 2");
}

TEST(String, FormatGivesUpAboveItsLimit) {
    EXPECT_EQ(NPT_String::Format("%s", Repeat(524288).GetChars()).GetLength(), 524288u);
    EXPECT_EQ(NPT_String::Format("%s", Repeat(524289).GetChars()).UseChars(), nullptr);
}

TEST(String, FormatOfNothingIsEmpty) {
    EXPECT_EQ(NPT_String::Format("%s", "").UseChars(), nullptr);
}

TEST(String, ToIntegerFollowsTheParsingRules) {
    NPT_UInt32 value = 7;
    EXPECT_EQ(NPT_String(" 42xyz").ToInteger(value, true), NPT_SUCCESS);
    EXPECT_EQ(value, 42u);
    EXPECT_EQ(NPT_String(" 42xyz").ToInteger(value), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(value, 0u);
    NPT_UInt64 large = 7;
    EXPECT_EQ(NPT_String("18446744073709551615").ToInteger(large), NPT_SUCCESS);
    EXPECT_EQ(large, UINT64_MAX);
    EXPECT_EQ(NPT_String().ToInteger(large), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(large, 0u);
}

}  // namespace
