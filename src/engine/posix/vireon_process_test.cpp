#include "engine/testing/embedded_interpreter.h"

#include <errno.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cstddef>
#include <iterator>

#include "engine/vireon.h"

namespace {

// Each in a process of its own, whose switches nobody has read yet and which may be crippled.

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

// From now on every bind of this thread fails as if the port were taken.
bool TakeAllPorts() {
    sock_filter instructions[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_bind, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EADDRINUSE),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {std::size(instructions), instructions};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

void SearchWithoutPorts() {
    NPT_NetworkInterface loopback(
        "if00", NPT_MacAddress(),
        NPT_NETWORK_INTERFACE_FLAG_BROADCAST | NPT_NETWORK_INTERFACE_FLAG_MULTICAST);
    const NPT_IpAddress address(127, 0, 0, 1);
    loopback.AddAddress(NPT_NetworkInterfaceAddress(address, address, NPT_IpAddress(),
                                                    NPT_IpAddress(255, 0, 0, 0)));
    NPT_List<NPT_NetworkInterface*> interfaces;
    interfaces.Add(&loopback);
    Vireon vireon;
    vireon.SetInterVal(0.1f);
    if (vireon.SearchInterfaces(interfaces) != Vireon::kSearchStarted) exit(2);
    if (!TakeAllPorts()) exit(3);
    const zorvane::Int32 result = vireon.SearchInterfaces(interfaces);
    vireon.Stop();
    exit(result == 0 ? 0 : 4);
}

TEST(VireonProcessDeathTest, ReportsZeroWhenAMulticastSenderFindsNoPort) {
    EXPECT_EXIT(SearchWithoutPorts(), testing::ExitedWithCode(0), "");
}

}  // namespace
