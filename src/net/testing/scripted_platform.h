#ifndef VIREON_NET_TESTING_SCRIPTED_PLATFORM_H
#define VIREON_NET_TESTING_SCRIPTED_PLATFORM_H

#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "net/interface_platform.h"
#include "net/socket_platform.h"

// A platform that does what a test tells it, linked in place of the real one. What is not scripted
// succeeds: sockets open, sends take everything, receives find the end, waits find readiness.
// One exists at a time; it notes what it was asked.
class ScriptedPlatform {
  public:
    ScriptedPlatform();
    ScriptedPlatform(const ScriptedPlatform&) = delete;
    ScriptedPlatform& operator=(const ScriptedPlatform&) = delete;
    ~ScriptedPlatform();
    static ScriptedPlatform& Current();

    struct WaitStep {
        NPT_Result result = NPT_SUCCESS;
        socket_platform::Readiness readiness;
        std::function<void()> meanwhile;
    };
    struct WaitCall {
        socket_platform::WaitRequest request;
        NPT_Timeout timeout;
    };
    struct TransferStep {
        NPT_Result result = NPT_SUCCESS;
        NPT_UInt32 count = 0;
        std::function<void()> meanwhile;
    };
    struct OptionCall {
        socket_platform::Handle socket;
        socket_platform::Option option;
        std::vector<NPT_UInt8> value;
    };

    // Notes a call and gives the result that it shall have.
    NPT_Result Enter(const std::string& name);
    int CountOf(const std::string& name) const;
    const OptionCall* FindOption(socket_platform::Option option) const;

    // The call with this number, of all calls, fails; -1: none does.
    int failing_call = -1;
    // Every call of this name fails.
    std::string failing_name;
    NPT_Result failure = -22099;

    std::deque<WaitStep> wait_steps;
    std::deque<TransferStep> send_steps;
    std::deque<TransferStep> receive_steps;
    std::function<void()> when_shut_down = [] {};
    std::map<socket_platform::Option, int> option_values;
    std::map<socket_platform::Handle, NPT_SocketAddress> peer_addresses;
    NPT_SocketAddress source;
    NPT_UInt32 available = 0;
    NPT_List<socket_platform::ResolvedAddress> answer;
    NPT_List<interface_platform::Entry> entries;

    std::vector<std::string> calls;
    std::vector<WaitCall> waits;
    std::vector<OptionCall> options_set;
    std::vector<socket_platform::Handle> made_non_blocking;
    std::vector<socket_platform::Handle> closed;
    std::set<socket_platform::Handle> open;
    socket_platform::Handle next_handle = 0;
};

#endif
