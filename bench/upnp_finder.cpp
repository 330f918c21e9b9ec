// A finder by Debian's libupnp, with the commands of finder.py that a comparison takes.
//
// usage: bench_libupnp INTERFACE
#include <upnp.h>
#include <upnptools.h>

#include <cstdio>
#include <iostream>
#include <string>

#include "peer_finder.h"

namespace {

constexpr int kLongestWait = 80;  // seconds, the most that the library takes

// Called on threads of the library's.
int OnEvent(Upnp_EventType type, const void* event, void*) {
    if (type != UPNP_DISCOVERY_SEARCH_RESULT) return 0;
    const auto* const found = static_cast<const UpnpDiscovery*>(event);
    const std::string usn = std::string(UpnpDiscovery_get_DeviceID_cstr(found));
    peer_finder::OnServer(usn.c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    UpnpClient_Handle client = 0;
    int result = UpnpInit2(argv[1], 0);
    if (result == UPNP_E_SUCCESS) result = UpnpRegisterClient(OnEvent, nullptr, &client);
    if (result != UPNP_E_SUCCESS) {
        std::fprintf(stderr, "no client: %s\n", UpnpGetErrorMessage(result));
        return 1;
    }
    peer_finder::search = [client] {
        UpnpSearchAsync(client, kLongestWait, "urn:schemas-upnp-org:device:ZOMediaServer:1",
                        nullptr);
    };
    for (std::string line; std::getline(std::cin, line);)
        peer_finder::Answer(line);
    return 0;
}
