// A finder by Debian's libgssdp, with the commands of finder.py that a comparison takes.
//
// usage: bench_gssdp INTERFACE
#include <libgssdp/gssdp.h>

#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>

#include "peer_finder.h"

namespace {

void OnServer(GSSDPResourceBrowser*, const char* usn, GList*, gpointer) {
    peer_finder::OnServer(usn);
}

// The main loop is the library's; commands come in between.
gboolean OnCommand(GIOChannel*, GIOCondition, gpointer data) {
    std::string line;
    if (!std::getline(std::cin, line)) {
        g_main_loop_quit(static_cast<GMainLoop*>(data));
        return G_SOURCE_REMOVE;
    }
    peer_finder::Answer(line);
    return G_SOURCE_CONTINUE;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    GError* error = nullptr;
    GSSDPClient* const client =
        gssdp_client_new_full(argv[1], nullptr, 0, GSSDP_UDA_VERSION_1_0, &error);
    if (client == nullptr) {
        std::fprintf(stderr, "no client: %s\n", error->message);
        return 1;
    }
    GSSDPResourceBrowser* const browser =
        gssdp_resource_browser_new(client, "urn:schemas-upnp-org:device:ZOMediaServer:1");
    g_signal_connect(browser, "resource-available", G_CALLBACK(OnServer), nullptr);
    peer_finder::search = [browser] { gssdp_resource_browser_set_active(browser, TRUE); };
    GIOChannel* const commands = g_io_channel_unix_new(0);
    g_io_add_watch(commands, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), OnCommand, loop);
    g_main_loop_run(loop);
    return 0;
}
