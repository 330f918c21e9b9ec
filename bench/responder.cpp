// The servers of a measured search: answers as many times as it is told, fast enough that what is
// measured is the searcher.
//
// usage: bench_responder ADDRESS...
//
// Listens for searches on our own port and on SSDP's, on the interfaces of these addresses, and
// prints one line for each: "search LISTENING_PORT SOURCE SOURCE_PORT DESTINATION". A line on
// standard input
//   send LISTENING_PORT ANSWERS PER_BATCH PAUSE_US SERVERS TARGET:PORT...
// sends that many answers from that port, in batches with a pause from one's start to the next's,
// of that many servers in turn, to the targets in turn; "sent ANSWERS MICROSECONDS" tells when all
// are out. The end of standard input ends the program.
//
// An answer has 771 bytes and 21 headers. Its USN holds the server's number and when it was sent.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char* kGroup = "239.255.255.250";
constexpr std::uint16_t kPorts[] = {31288, 1900};  // ours, and the one that other searchers know
constexpr std::size_t kAnswerSize = 771;
constexpr std::size_t kLargestBatch = 1000;  // the system takes 1024 at a time

// The uuid: eight digits for the server, sixteen (four and twelve) for the microseconds of the
// clock.
constexpr const char* kUuid = "SSSSSSSS-0000-4000-TTTT-TTTTTTTTTTTT";

void Check(bool condition, const char* what) {
    if (condition) return;
    std::perror(what);
    std::exit(1);
}

std::int64_t Now(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return time.tv_sec * 1000000 + time.tv_nsec / 1000;
}

void SleepUntil(std::int64_t microseconds) {
    const timespec time{microseconds / 1000000, microseconds % 1000000 * 1000};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr) == EINTR) {
    }
}

sockaddr_in Address(const std::string& host, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    Check(inet_pton(AF_INET, host.c_str(), &address.sin_addr) == 1, "not an address");
    return address;
}

std::string MakeAnswer() {
    const std::string head =
        "HTTP/1.1 200 OK\r\n"
        "CACHE-CONTROL: max-age=1800\r\n"
        "EXT: \r\n"
        "LOCATION: http://10.77.1.2:8080/description.xml\r\n"
        "SERVER: Linux/6.1 UPnP/1.0 Media/2.0\r\n"
        "ST: urn:schemas-upnp-org:device:ZOMediaServer:1\r\n"
        "USN: uuid:" +
        std::string(kUuid) +
        "::urn:schemas-upnp-org:device:ZOMediaServer:1\r\n"
        "BOOTID.UPNP.ORG: 1\r\n"
        "FriendlyName: The attic's media server\r\n"
        "Manufacturer: A maker of servers\r\n"
        "ManufacturerURL: http://maker.example/\r\n"
        "ModelName: Attic\r\n"
        "ModelURL: http://maker.example/attic\r\n"
        "ModelNumber: 12.3\r\n"
        "SerialNumber: 0123456789\r\n"
        "PresentationURL: http://10.77.1.2:8080/\r\n"
        "HttpPort: 8080\r\n"
        "HttpsPort: 8443\r\n"
        "WebsocketPort: 8081\r\n"
        "DBStatus: ready\r\n"
        "Version: 1.2.3\r\n"
        "ModelDescription: Serves films and music";
    const std::string end = "\r\n\r\n";
    return head + std::string(kAnswerSize - head.size() - end.size(), '.') + end;
}

// A batch's answers, each in a buffer of its own.
class Batch {
  public:
    Batch() : text_(MakeAnswer()), uuid_(text_.find(kUuid)) {
        Check(text_.size() == kAnswerSize && uuid_ != std::string::npos, "bad answer");
        buffers_.assign(kLargestBatch, text_);
    }
    // Makes the answers and sends them.
    void Send(int socket, std::size_t count, std::size_t first, std::size_t servers,
              const std::vector<sockaddr_in>& targets) {
        char digits[17];
        std::snprintf(digits, sizeof digits, "%016" PRIx64, Now(CLOCK_REALTIME));
        std::vector<mmsghdr> messages(count);
        std::vector<iovec> pieces(count);
        for (std::size_t i = 0; i < count; ++i) {
            char* const uuid = buffers_[i].data() + uuid_;
            char number[17];
            std::snprintf(number, sizeof number, "%016zx", (first + i) % servers);
            std::memcpy(uuid, number + 8, 8);
            std::memcpy(uuid + 19, digits, 4);
            std::memcpy(uuid + 24, digits + 4, 12);
            pieces[i] = {buffers_[i].data(), buffers_[i].size()};
            msghdr& header = messages[i].msg_hdr;
            header.msg_name = const_cast<sockaddr_in*>(&targets[(first + i) % targets.size()]);
            header.msg_namelen = sizeof(sockaddr_in);
            header.msg_iov = &pieces[i];
            header.msg_iovlen = 1;
        }
        for (std::size_t sent = 0; sent < count;) {
            const int done =
                sendmmsg(socket, &messages[sent], static_cast<unsigned>(count - sent), 0);
            Check(done > 0, "cannot send");
            sent += static_cast<std::size_t>(done);
        }
    }

  private:
    const std::string text_;
    const std::size_t uuid_;
    std::vector<std::string> buffers_;
};

int OpenSocket(std::uint16_t port, const std::vector<std::string>& interfaces) {
    const int opened = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(opened, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    setsockopt(opened, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
    const int room = 1 << 22;  // on loan to the interface until the searcher has taken it
    setsockopt(opened, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
    const sockaddr_in address = Address("0.0.0.0", port);
    Check(bind(opened, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "bind");
    for (const std::string& interface : interfaces) {
        const ip_mreq membership{Address(kGroup, 0).sin_addr, Address(interface, 0).sin_addr};
        Check(
            setsockopt(opened, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership) == 0,
            "cannot join the group");
    }
    return opened;
}

std::string Text(in_addr address) {
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &address, text, sizeof text);
}

void TellSearch(int socket, std::uint16_t port) {
    char payload[4096];
    alignas(cmsghdr) char control[256];
    sockaddr_in source{};
    iovec piece{payload, sizeof payload};
    msghdr message{};
    message.msg_name = &source;
    message.msg_namelen = sizeof source;
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t size = recvmsg(socket, &message, 0);
    if (size < 8 || std::memcmp(payload, "M-SEARCH", 8) != 0) return;
    in_pktinfo information{};
    std::memcpy(&information, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof information);
    std::cout << "search " << port << ' ' << Text(source.sin_addr) << ' ' << ntohs(source.sin_port)
              << ' ' << Text(information.ipi_addr) << std::endl;
}

void Answer(std::istringstream& command, const std::vector<std::pair<std::uint16_t, int>>& sockets,
            Batch& batch) {
    std::uint16_t port = 0;
    std::size_t answers = 0, per_batch = 0, servers = 0;
    std::int64_t pause = 0;
    command >> port >> answers >> per_batch >> pause >> servers;
    std::vector<sockaddr_in> targets;
    for (std::string target; command >> target;) {
        const std::size_t colon = target.find(':');
        targets.push_back(Address(target.substr(0, colon),
                                  static_cast<std::uint16_t>(std::stoi(target.substr(colon + 1)))));
    }
    const auto from = std::find_if(sockets.begin(), sockets.end(),
                                   [port](const auto& socket) { return socket.first == port; });
    Check(from != sockets.end() && per_batch > 0 && servers > 0 && !targets.empty(), "bad command");
    const std::int64_t start = Now(CLOCK_MONOTONIC);
    std::int64_t due = start;
    for (std::size_t sent = 0; sent < answers;) {
        const std::size_t count = std::min({answers - sent, per_batch, kLargestBatch});
        batch.Send(from->second, count, sent, servers, targets);
        sent += count;
        due += pause;
        if (pause > 0 && sent < answers) SleepUntil(due);
    }
    std::cout << "sent " << answers << ' ' << Now(CLOCK_MONOTONIC) - start << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> interfaces(argv + 1, argv + argc);
    Batch batch;
    std::vector<std::pair<std::uint16_t, int>> sockets;
    for (const std::uint16_t port : kPorts)
        sockets.emplace_back(port, OpenSocket(port, interfaces));
    std::cout << "ready" << std::endl;
    for (;;) {
        pollfd waits[] = {{STDIN_FILENO, POLLIN, 0},
                          {sockets[0].second, POLLIN, 0},
                          {sockets[1].second, POLLIN, 0}};
        if (poll(waits, 3, -1) < 0) continue;
        for (std::size_t i = 0; i < sockets.size(); ++i) {
            if (waits[i + 1].revents != 0) TellSearch(sockets[i].second, sockets[i].first);
        }
        if (waits[0].revents == 0) continue;
        // One command at a time: whoever gives it waits for what it says.
        std::string line;
        if (!std::getline(std::cin, line)) return 0;
        std::istringstream command(line);
        std::string verb;
        command >> verb;
        if (verb == "send") Answer(command, sockets, batch);
    }
}
