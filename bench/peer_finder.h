#ifndef VIREON_BENCH_PEER_FINDER_H
#define VIREON_BENCH_PEER_FINDER_H

#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <mutex>
#include <string>
#include <vector>

// What the finders by other libraries have in common: the commands of finder.py.
namespace peer_finder {

inline std::mutex lock;
inline unsigned calls = 0;
inline bool notes_arrivals = false;
inline std::vector<double> latencies;  // seconds
inline std::function<void()> search;   // begins a search

// What is measured to: a server has been found. Any thread. The USN begins
// "uuid:SSSSSSSS-0000-4000-TTTT-TTTTTTTTTTTT", the T being the microseconds of the clock when it
// was sent; it may lack the "uuid:".
inline void OnServer(const std::string& usn) {
    using std::chrono::duration_cast;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const std::lock_guard<std::mutex> guard(lock);
    ++calls;
    if (!notes_arrivals) return;
    const std::size_t uuid = usn.find("-0000-4000-") + 11;
    const std::string digits = usn.substr(uuid, 4) + usn.substr(uuid + 5, 12);
    const double sent = static_cast<double>(std::strtoull(digits.c_str(), nullptr, 16));
    latencies.push_back(
        (static_cast<double>(duration_cast<std::chrono::microseconds>(now).count()) - sent) / 1e6);
}

inline void TellLatencies() {
    const char* separator = "";
    std::cout << '[';
    for (const double latency : latencies) {
        std::cout << separator << latency;
        separator = ", ";
    }
    std::cout << ']' << std::endl;
    latencies.clear();
    notes_arrivals = !notes_arrivals;
}

inline void Answer(const std::string& command) {
    if (command.rfind("search", 0) == 0) {
        search();
        std::cout << "null" << std::endl;
        return;
    }
    const std::lock_guard<std::mutex> guard(lock);
    if (command == "calls") {
        std::cout << calls << std::endl;
        calls = 0;
    } else if (command == "latencies") {
        TellLatencies();
    } else {
        std::cout << "null" << std::endl;
    }
}

}  // namespace peer_finder

#endif
