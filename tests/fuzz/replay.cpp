// Runs a fuzz target on files, or on every file of folders: what was found once is tried in every
// test run, also where there is no fuzzer.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_input.h"

namespace {

std::vector<std::filesystem::path> FilesOf(const std::filesystem::path& place) {
    if (!std::filesystem::is_directory(place)) return {place};
    std::vector<std::filesystem::path> files;
    // Whatever stands there: an input that cannot be read must not pass as one that was replayed.
    for (const auto& entry : std::filesystem::directory_iterator(place))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

bool Replay(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream.is_open() || !std::filesystem::is_regular_file(file)) {
        std::fprintf(stderr, "cannot read: %s\n", file.string().c_str());
        return false;
    }
    const std::string bytes{std::istreambuf_iterator<char>(stream),
                            std::istreambuf_iterator<char>()};
    // Told first: when the target aborts, this is the input that did it.
    std::printf("%s\n", file.filename().string().c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const NPT_UInt8*>(bytes.data()), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        for (const std::filesystem::path& file : FilesOf(argv[i])) {
            if (!Replay(file)) return 1;
            ++replayed;
        }
    }
    std::printf("replayed %d inputs\n", replayed);
    return replayed > 0 ? 0 : 1;
}
