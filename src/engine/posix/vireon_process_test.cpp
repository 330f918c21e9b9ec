#include "engine/testing/embedded_interpreter.h"

#include <stdlib.h>
#include <sys/resource.h>

#include "engine/vireon.h"

namespace {

// Each in a process of its own, whose switches nobody has read yet and whose limits may be spent.

TEST(VireonProcessDeathTest, LogsItsLifeAtLevelFive) {
    EXPECT_EXIT(
        {
            setenv("VIREON_LOG", "5", 1);
            { const Vireon vireon; }
            exit(0);
        },
        testing::ExitedWithCode(0),
        "^\\[vireon\\] Vireon::Vireon Construct object in thread: [0-9]+\n"
        "\\[vireon\\] Vireon::~Vireon\n$");
}

TEST(VireonProcessDeathTest, IsSilentAtLevelFour) {
    EXPECT_EXIT(
        {
            setenv("VIREON_LOG", "4", 1);
            setenv("VIREON_TRACE", "1", 1);
            { const Vireon vireon; }
            exit(0);
        },
        testing::ExitedWithCode(0), "^$");
}

void SearchWithoutDescriptors() {
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit none{0, usual.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    NPT_NetworkInterface loopback(
        "if00", NPT_MacAddress(),
        NPT_NETWORK_INTERFACE_FLAG_BROADCAST | NPT_NETWORK_INTERFACE_FLAG_MULTICAST);
    const NPT_IpAddress address(127, 0, 0, 1);
    loopback.AddAddress(NPT_NetworkInterfaceAddress(address, address, NPT_IpAddress(),
                                                    NPT_IpAddress(255, 0, 0, 0)));
    NPT_List<NPT_NetworkInterface*> interfaces;
    interfaces.Add(&loopback);
    Vireon vireon;
    const zorvane::Int32 result = vireon.SearchInterfaces(interfaces);
    vireon.Stop();
    setrlimit(RLIMIT_NOFILE, &usual);  // a sanitizer may want to look at the process
    exit(result == 0 ? 0 : 2);
}

TEST(VireonProcessDeathTest, ReportsZeroWhenAMulticastSenderFindsNoPort) {
    EXPECT_EXIT(SearchWithoutDescriptors(), testing::ExitedWithCode(0), "");
}

}  // namespace
