// Strings against std::string. An input is a sequence of operations on four strings, each of one
// byte and what belongs to it (Run).
#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "core/string.h"
#include "core/string_block.h"
#include "fuzz_input.h"

namespace {

// More would only take longer.
constexpr int kMostOperations = 64;
// Characters; what would be longer is cut before, in both.
constexpr std::size_t kLongest = 2000;

constexpr std::size_t kNone = std::string::npos;

int IndexOf(std::size_t position) {
    return position == kNone ? -1 : static_cast<int>(position);
}

std::string Upper(std::string text) {
    for (char& character : text) {
        if (character >= 'a' && character <= 'z') character = static_cast<char>(character - 32);
    }
    return text;
}

std::string Lower(std::string text) {
    for (char& character : text) {
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 32);
    }
    return text;
}

std::string FoldedIf(bool ignores_case, const std::string& text) {
    return ignores_case ? Upper(text) : text;
}

// As a C text, which a NUL ends.
std::string UpToNul(const std::string& text) {
    return text.substr(0, text.find('\0'));
}

// What becomes of characters and a length: a NUL ends them, unless it is the very last.
std::string Range(const std::string& text) {
    const std::size_t nul = text.find('\0');
    return nul == kNone || nul + 1 == text.size() ? text : text.substr(0, nul);
}

// Signed, which makes characters from 0x80 on the smaller ones.
int Comparison(const std::string& one, const std::string& other) {
    for (std::size_t at = 0;; ++at) {
        const int left = at < one.size() ? static_cast<signed char>(one[at]) : 0;
        const int right = at < other.size() ? static_cast<signed char>(other[at]) : 0;
        if (left != right || at >= one.size()) return left - right;
    }
}

std::string Trimmed(const std::string& text, bool left, bool right) {
    constexpr char kBlanks[] = "\r\n\t ";
    const std::size_t begin = left ? text.find_first_not_of(kBlanks) : 0;
    if (begin == kNone || text.empty()) return "";
    const std::size_t last = right ? text.find_last_not_of(kBlanks) : text.size() - 1;
    return last == kNone ? "" : text.substr(begin, last + 1 - begin);
}

std::vector<std::string> Pieces(const std::string& text, const std::string& separator) {
    if (separator.empty()) return {text};
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    for (std::size_t at = text.find(separator); at != kNone; at = text.find(separator, begin)) {
        pieces.push_back(Range(text.substr(begin, at - begin)));
        begin = at + separator.size();
    }
    // Nothing is found behind a NUL-less end, so the rest is the last piece.
    pieces.push_back(Range(text.substr(begin)));
    return pieces;
}

std::string TextOf(const NPT_String& string) {
    return std::string(string.GetChars(), string.GetLength());
}

NPT_UInt32 Size(std::size_t size) {
    return static_cast<NPT_UInt32>(size);
}

// A string beside what it has to be.
struct Pair {
    NPT_String string;
    std::string expected;

    void Check() const {
        Require(TextOf(string) == expected, "a string is what it has to be");
        Require(string.GetChars()[string.GetLength()] == '\0', "a string ends in a NUL");
        Require(string.GetCapacity() >= string.GetLength(), "a string has room for its characters");
        Require(string.IsEmpty() == expected.empty(), "an empty string has no length");
    }
};

class Run {
  public:
    explicit Run(FuzzInput& input) : input_(input) {}

    // The low five bits of a byte are the operation, the next two the string, and the last one
    // whether case is ignored, or another choice.
    void Step() {
        const NPT_UInt8 byte = input_.TakeByte();
        Pair& pair = pairs_[byte >> 5 & 3];
        Apply(byte & 31, pair, (byte & 128) != 0);
        if (pair.expected.size() > kLongest) {
            pair.expected.resize(kLongest);
            pair.string.SetLength(Size(kLongest));
        }
        for (const Pair& each : pairs_)
            each.Check();
    }

  private:
    std::string TakeText() { return input_.TakeText(input_.TakeByte()); }
    Pair& TakePair() { return pairs_[input_.TakeByte() & 3]; }
    // Of a text of that length, or a little behind its end.
    std::size_t TakeIndex(std::size_t length) { return input_.TakeByte() % (length + 3); }

    void Apply(NPT_UInt8 operation, Pair& pair, bool choice) {
        NPT_String& string = pair.string;
        std::string& expected = pair.expected;
        switch (operation) {
            case 0: {
                const std::string text = TakeText();
                string = text.c_str();
                expected = UpToNul(text);
                break;
            }
            case 1: {
                const std::string text = TakeText();
                choice ? string.Assign(text.data(), Size(text.size()))
                       : void(string = NPT_String(text.data(), Size(text.size())));
                expected = Range(text);
                break;
            }
            case 2: {  // from a part of itself
                const std::size_t begin = std::min(TakeIndex(expected.size()), expected.size());
                if (choice) {
                    string.Assign(string.GetChars() + begin, Size(expected.size() - begin));
                    expected = Range(expected.substr(begin));
                } else {
                    string = string.GetChars() + begin;
                    expected = UpToNul(expected.substr(begin));
                }
                break;
            }
            case 3: {
                Pair& other = TakePair();
                if (choice) {
                    NPT_String moved(std::move(other.string));
                    string = std::move(moved);
                    std::string text = std::move(other.expected);
                    other.expected.clear();
                    // The other one may hold what it was assigned over, like any moved-from one.
                    other.string = NPT_String();
                    if (&other == &pair) string = NPT_String(), text.clear();
                    expected = text;
                } else {
                    string = other.string;
                    expected = std::string(other.expected);
                }
                break;
            }
            case 4: {
                const std::string text = TakeText();
                string.Append(text.data(), Size(text.size()));
                expected += text;
                break;
            }
            case 5: {
                const std::string text = TakeText();
                choice ? string.Append(text.c_str()) : void(string += text.c_str());
                expected += UpToNul(text);
                break;
            }
            case 6: {  // of its own
                const std::size_t begin = std::min(TakeIndex(expected.size()), expected.size());
                const std::size_t count =
                    std::min(TakeIndex(expected.size()), expected.size() - begin);
                string.Append(string.GetChars() + begin, Size(count));
                expected += expected.substr(begin, count);
                break;
            }
            case 7: {
                const Pair& other = TakePair();
                string += other.string;
                expected += std::string(other.expected);
                break;
            }
            case 8: {
                const auto character = static_cast<char>(input_.TakeByte());
                string += character;
                expected += character;
                break;
            }
            case 9: {
                const std::size_t capacity = string.GetCapacity();
                const std::size_t wanted = std::size_t{input_.TakeByte()} * (choice ? 8 : 1);
                string.Reserve(Size(wanted));
                Require(string.GetCapacity() ==
                            (wanted > capacity ? std::max(wanted, 2 * capacity) : capacity),
                        "a string makes room for what was asked, or for twice as much");
                break;
            }
            case 10: {  // padded, or filled by whoever asked for the room
                const std::size_t length = input_.TakeByte();
                const std::size_t before = expected.size();
                string.SetLength(Size(length), choice);
                expected.resize(length, choice ? ' ' : '#');
                for (std::size_t at = before; at < length; ++at)
                    string.UseChars()[at] = expected[at];
                break;
            }
            case 11: {
                const Pair& other = TakePair();
                const int result = string.Compare(other.string, choice);
                Require(result == string.Compare(other.string.GetChars(), choice),
                        "a string and its text compare alike");
                Require(result == Comparison(UpToNul(FoldedIf(choice, expected)),
                                             UpToNul(FoldedIf(choice, other.expected))),
                        "strings compare by their first difference");
                Require((string == other.string) == (UpToNul(expected) == UpToNul(other.expected)),
                        "equal strings are equal");
                break;
            }
            case 12: {
                const auto character = static_cast<char>(input_.TakeByte());
                const std::size_t start = TakeIndex(expected.size());
                const std::string wanted = FoldedIf(choice, std::string(1, character));
                const std::string text = FoldedIf(choice, expected);
                Require(string.Find(character, Size(start), choice) ==
                            IndexOf(text.find(wanted[0], start)),
                        "a character is found where it is");
                const std::size_t last = text.size() - 1 - start;
                Require(string.ReverseFind(character, Size(start), choice) ==
                            (start >= text.size() ? -1 : IndexOf(text.rfind(wanted[0], last))),
                        "a character is found from behind where it is");
                break;
            }
            case 13: {
                const std::string wanted = choice ? UpToNul(TakeText()) : TakePart(expected);
                const bool ignores_case = (input_.TakeByte() & 1) != 0;
                const std::size_t start = TakeIndex(expected.size());
                const std::size_t found =
                    FoldedIf(ignores_case, expected).find(FoldedIf(ignores_case, wanted), start);
                Require(string.Find(wanted.c_str(), Size(start), ignores_case) ==
                            (start >= expected.size() ? -1 : IndexOf(found)),
                        "a text is found where it is");
                break;
            }
            case 14: {
                const std::string text = choice ? UpToNul(TakeText()) : TakePart(expected);
                const bool ignores_case = (input_.TakeByte() & 1) != 0;
                const std::string whole = FoldedIf(ignores_case, expected);
                const std::string part = FoldedIf(ignores_case, text);
                Require(string.StartsWith(text.c_str(), ignores_case) ==
                            (whole.compare(0, part.size(), part) == 0),
                        "a beginning is one");
                const bool is_end =
                    whole.size() >= part.size() &&
                    whole.compare(whole.size() - part.size(), part.size(), part) == 0;
                Require(string.EndsWith(text.c_str(), ignores_case) == is_end, "an end is one");
                break;
            }
            case 15: {
                const std::size_t first = TakeIndex(expected.size());
                const std::size_t count = choice ? 0xFFFFFFFF : TakeIndex(expected.size());
                Pair& target = TakePair();
                NPT_String part = string.SubString(Size(first), Size(count));
                const std::string text =
                    first >= expected.size() ? "" : Range(expected.substr(first, count));
                target.string = std::move(part);
                target.expected = text;
                break;
            }
            case 16:
                if (choice) {
                    string.MakeLowercase();
                    expected = Lower(expected);
                } else {
                    Require(TextOf(string.ToLowercase()) == Lower(expected),
                            "a copy in lower case is one");
                }
                break;
            case 17:
                choice ? string.TrimLeft() : string.TrimRight();
                expected = Trimmed(expected, choice, !choice);
                break;
            case 18:
                string.Trim();
                expected = Trimmed(expected, true, true);
                break;
            case 19: {
                const std::string separator = choice ? UpToNul(TakeText()) : TakePart(expected);
                std::vector<std::string> pieces;
                for (const NPT_String& piece : string.Split(separator.c_str()))
                    pieces.push_back(TextOf(piece));
                Require(pieces == Pieces(expected, separator), "a string splits at separators");
                break;
            }
            case 20: {
                const std::string digits = input_.TakeText(8);
                NPT_Int64 number = 0;
                std::memcpy(&number, digits.data(), digits.size());
                string = NPT_String::FromInteger(number);
                expected = std::to_string(number);
                break;
            }
            case 21: {
                const std::size_t width = std::size_t{input_.TakeByte()} * (choice ? 7 : 1);
                const Pair& other = TakePair();
                const std::string text = UpToNul(other.expected);
                NPT_String formatted = NPT_String::Format("<%*s|%d>", static_cast<int>(width),
                                                          other.string.GetChars(), 42);
                string = std::move(formatted);
                const std::size_t blanks = width - std::min(width, text.size());
                expected = "<" + std::string(blanks, ' ') + text + "|42>";
                break;
            }
            case 22: {
                const Pair& other = TakePair();
                NPT_String joined =
                    choice ? string + other.string : string + other.string.GetChars();
                expected += choice ? std::string(other.expected) : UpToNul(other.expected);
                string = std::move(joined);
                break;
            }
            case 23: {
                const std::string text = TakeText();
                string = text.c_str() + string;
                expected = UpToNul(text) + expected;
                break;
            }
            case 24: {  // with strings that come and go together
                const NPT_String& kept = block_.Add(expected);
                const std::string& text = texts_.emplace_back(expected);
                kept_.push_back(&kept);
                for (std::size_t at = 0; at < kept_.size(); ++at)
                    Require(TextOf(*kept_[at]) == texts_[at], "what a block keeps stays");
                NPT_String copy(kept);
                string = std::move(copy);
                Require(text == expected, "a block takes a copy");
                break;
            }
            default: {
                NPT_UInt64 number = 0;
                const bool has_number = NPT_Succeeded(string.ToInteger(number, false));
                const std::string text = UpToNul(expected);
                const bool is_number =
                    !text.empty() && text.find_first_not_of("0123456789") == kNone;
                Require(is_number || !has_number, "only digits are a number");
                if (has_number) string = NPT_String(std::to_string(number).c_str());
                if (has_number) expected = std::to_string(number);
            }
        }
    }

    // As a C text.
    std::string TakePart(const std::string& text) {
        const std::size_t begin = std::min(TakeIndex(text.size()), text.size());
        return UpToNul(text.substr(begin, input_.TakeByte()));
    }

    FuzzInput& input_;
    std::array<Pair, 4> pairs_;
    StringBlock block_;
    std::vector<const NPT_String*> kept_;
    std::vector<std::string> texts_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const NPT_UInt8* data, std::size_t size) {
    FuzzInput input(data, size);
    Run run(input);
    for (int count = 0; count < kMostOperations && !input.IsEmpty(); ++count)
        run.Step();
    return 0;
}
