#ifndef VIREON_CORE_TESTING_SPLITS_H
#define VIREON_CORE_TESTING_SPLITS_H

#include <cstddef>
#include <string>
#include <vector>

#include "core/testing/scripted_input_stream.h"

// The ways to deliver a text that a parser must not notice, as scripts for ScriptedInputStream:
// whole, in two pieces for every point to cut at, and byte by byte.
inline std::vector<std::vector<ScriptedRead>> EverySplit(const std::string& text) {
    using Script = std::vector<ScriptedRead>;
    if (text.empty()) return {Script()};
    std::vector<Script> splits{Script{text}};
    for (std::size_t cut = 1; cut < text.size(); ++cut)
        splits.push_back(Script{text.substr(0, cut), text.substr(cut)});
    Script bytes;
    for (const char byte : text)
        bytes.emplace_back(std::string(1, byte));
    splits.push_back(bytes);
    return splits;
}

#endif
