#ifndef VIREON_CORE_TESTING_SPLITS_H
#define VIREON_CORE_TESTING_SPLITS_H

#include <cstddef>
#include <string>
#include <vector>

// The ways to deliver a text that a parser must not notice: whole, in two pieces for every point to
// cut at, and byte by byte. Each way is a script for ScriptedInputStream.
inline std::vector<std::vector<std::string>> EverySplit(const std::string& text) {
    std::vector<std::vector<std::string>> splits{{text}};
    for (std::size_t cut = 1; cut < text.size(); ++cut)
        splits.push_back({text.substr(0, cut), text.substr(cut)});
    std::vector<std::string> bytes;
    for (const char byte : text)
        bytes.emplace_back(1, byte);
    splits.push_back(bytes);
    return splits;
}

#endif
