// Dotted quads. An input is the text, of which the first four bytes are an address as well.
#include <cstddef>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "net/ip_address.h"

namespace {

// The numbers of a text that is a dotted quad, else none.
std::vector<unsigned> QuadOf(std::string text) {
    std::vector<unsigned> numbers;
    text += '.';
    for (; !text.empty(); text.erase(0, text.find('.') + 1)) {
        std::string digits = text.substr(0, text.find('.'));
        if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos)
            return {};
        // However many zeros stand in front.
        digits.erase(0, digits.find_first_not_of('0'));
        if (digits.size() > 3) return {};
        numbers.push_back(digits.empty() ? 0 : static_cast<unsigned>(std::stoul(digits)));
        if (numbers.back() > 255) return {};
    }
    return numbers.size() == 4 ? numbers : std::vector<unsigned>();
}

NPT_UInt32 NumberOf(const std::vector<unsigned>& quad) {
    NPT_UInt32 number = 0;
    for (const unsigned part : quad)
        number = number * 256 + part;
    return number;
}

std::string Print(const std::vector<unsigned>& quad) {
    std::string text;
    for (const unsigned part : quad)
        text += (text.empty() ? "" : ".") + std::to_string(part);
    return text;
}

void CheckParse(const std::string& text) {
    const std::vector<unsigned> expected = QuadOf(text);
    NPT_IpAddress address(1, 2, 3, 4);
    const NPT_Result result = address.Parse(text.c_str());
    Require(NPT_Succeeded(result) == !expected.empty(), "a dotted quad is read, and nothing else");
    Require(address.AsLong() == NumberOf(expected), "an address is its text, or 0.0.0.0");
    if (expected.empty()) {
        Require(result == NPT_ERROR_INVALID_SYNTAX, "anything else is bad syntax");
        return;
    }
    Require(address.ToString() == Print(expected).c_str(), "an address is printed");
    NPT_IpAddress resolved;
    Require(NPT_Succeeded(resolved.ResolveName(text.c_str(), 0)) && resolved == address,
            "a dotted quad is its own address");
}

void CheckPrint(const std::string& bytes) {
    const std::vector<unsigned> quad{
        static_cast<unsigned char>(bytes[0]), static_cast<unsigned char>(bytes[1]),
        static_cast<unsigned char>(bytes[2]), static_cast<unsigned char>(bytes[3])};
    const NPT_IpAddress address(NumberOf(quad));
    Require(std::string(reinterpret_cast<const char*>(address.AsBytes()), 4) == bytes,
            "the bytes are in the network's order");
    const std::string text = address.ToString().GetChars();
    Require(text == Print(quad), "an address is printed");
    CheckParse(text);
    NPT_IpAddress again;
    again.Parse(text.c_str());
    Require(again == address, "a printed address is read back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const NPT_UInt8* data, std::size_t size) {
    const std::string bytes = FuzzInput(data, size).TakeRest();
    CheckParse(bytes.c_str());
    if (bytes.size() >= 4) CheckPrint(bytes.substr(0, 4));
    return 0;
}
