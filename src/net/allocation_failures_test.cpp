// Every operation of this folder that allocates, with each of its allocations refused in turn: it
// throws std::bad_alloc, no socket stays open, and the object works afterwards.
#include <gtest/gtest.h>

#include <memory>

#include "core/testing/failing_allocation.h"
#include "net/blocked_thread_table.h"
#include "net/bsd_socket.h"
#include "net/name_resolver.h"
#include "net/owned_interfaces.h"
#include "net/testing/loopback.h"
#include "net/udp_multicast_socket.h"

namespace {

constexpr socket_platform::Handle kHandlesLookedAt = 4096;

int CountOpenSockets() {
    int count = 0;
    for (socket_platform::Handle handle = 0; handle < kHandlesLookedAt; ++handle) {
        int error = 0;
        NPT_UInt32 size = sizeof error;
        if (NPT_Succeeded(socket_platform::GetOption(handle, socket_platform::Option::kPendingError,
                                                     &error, size)))
            ++count;
    }
    return count;
}

template <typename Operation>
long Refuse(Operation operation) {
    return RefuseEachAllocation([] { return 0; }, [&operation](int) { operation(); },
                                [](int, bool) {});
}

TEST(SocketsWithoutMemory, AreClosed) {
    // The platform keeps some for itself from the first one on.
    { const NPT_UdpMulticastSocket first(NPT_SOCKET_FLAG_CANCELLABLE); }
    const int before = CountOpenSockets();
    {
        const NPT_UdpSocket open;
        EXPECT_EQ(CountOpenSockets(), before + 1);
    }
    EXPECT_GE(Refuse([] { const NPT_UdpSocket socket; }), 3);
    EXPECT_GE(Refuse([] { const NPT_UdpSocket socket(NPT_SOCKET_FLAG_CANCELLABLE); }), 4);
    EXPECT_GE(Refuse([] { const NPT_UdpMulticastSocket socket(NPT_SOCKET_FLAG_CANCELLABLE); }), 4);
    EXPECT_EQ(CountOpenSockets(), before);
}

TEST(SocketsWithoutMemory, GiveNoStream) {
    NPT_UdpSocket socket;
    NPT_InputStreamReference input;
    NPT_OutputStreamReference output;
    const auto input_is_there = [&input](int, bool refused) { EXPECT_EQ(input.IsNull(), refused); };
    const auto output_is_there = [&output](int, bool refused) {
        EXPECT_EQ(output.IsNull(), refused);
    };
    EXPECT_EQ(RefuseEachAllocation([] { return 0; }, [&](int) { socket.GetInputStream(input); },
                                   input_is_there),
              2);
    EXPECT_EQ(RefuseEachAllocation([] { return 0; }, [&](int) { socket.GetOutputStream(output); },
                                   output_is_there),
              2);
}

TEST(SocketsWithoutMemory, LoseNoDatagram) {
    NPT_UdpSocket receiver;
    NPT_UdpSocket sender;
    const NPT_SocketAddress address = BindToLoopback(receiver);
    receiver.SetReadTimeout(10000);
    NPT_DataBuffer packet(100);
    RefuseEachAllocation([&] { return SendText(sender, "text", &address); },
                         [&](NPT_Result) {
                             packet.SetDataSize(0);
                             receiver.Receive(packet);
                         },
                         [&](NPT_Result sent, bool) {
                             ASSERT_EQ(sent, NPT_SUCCESS);
                             if (packet.GetDataSize() == 0) receiver.Receive(packet);
                             EXPECT_EQ(TextOf(packet), "text");
                         });
}

TEST(BlockedThreadsWithoutMemory, AreThoseThatWereThere) {
    // The next entry makes the table grow.
    constexpr NPT_UInt32 kFull = 7;
    NPT_BsdSocketFd descriptor(socket_platform::kInvalidHandle, 0);
    const auto make = [&descriptor] {
        auto table = std::make_unique<BlockedThreadTable>();
        for (NPT_Thread::ThreadId thread = 1; thread <= kFull; ++thread)
            table->Put(thread, &descriptor);
        return table;
    };
    const long refusals = RefuseEachAllocation(
        make, [&descriptor](auto& table) { table->Put(kFull + 1, &descriptor); },
        [](const auto& table, bool refused) {
            for (NPT_Thread::ThreadId thread = 1; thread <= kFull; ++thread)
                EXPECT_EQ(table->Remove(thread), NPT_SUCCESS);
            EXPECT_EQ(table->Remove(kFull + 1), refused ? NPT_ERROR_NOT_FOUND : NPT_SUCCESS);
        });
    EXPECT_EQ(refusals, 1);
}

TEST(NamesWithoutMemory, HaveNoAddress) {
    NPT_IpAddress address(1, 2, 3, 4);
    const long refusals =
        RefuseEachAllocation([] { return 0; }, [&address](int) { address.ResolveName("127.1"); },
                             [&address](int, bool refused) {
                                 EXPECT_EQ(address, refused ? NPT_IpAddress() : Loopback());
                             });
    EXPECT_GE(refusals, 2);
    EXPECT_EQ(Refuse([] { NPT_IpAddress(1, 2, 3, 4).ToString(); }), 1);
}

TEST(InterfacesWithoutMemory, AreOwnedByTheList) {
    const long refusals = Refuse([] {
        OwnedInterfaces interfaces;
        NPT_NetworkInterface::GetNetworkInterfaces(interfaces.AsList());
    });
    EXPECT_GE(refusals, 4);
}

TEST(InterfacesWithoutMemory, KeepTheAddressesThatTheyHave) {
    const NPT_IpAddress zero;
    const NPT_NetworkInterfaceAddress entry(zero, zero, zero, zero);
    const long refusals = RefuseEachAllocation(
        [&entry] {
            auto made = std::make_unique<NPT_NetworkInterface>("if00", NPT_MacAddress(), 0);
            made->AddAddress(entry);
            return made;
        },
        [&entry](auto& made) { made->AddAddress(entry); },
        [](const auto& made, bool refused) {
            EXPECT_EQ(made->GetAddresses().GetItemCount(), refused ? 1u : 2u);
        });
    EXPECT_EQ(refusals, 1);
}

}  // namespace
