// Every operation of this folder that allocates and that no other test walks through, with each of
// its allocations refused in turn: it throws std::bad_alloc or gives a failure, and leaves what its
// header says.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "core/testing/failing_allocation.h"
#include "device/device_identifiers.h"
#include "device/zo_input_stream.h"
#include "device/zo_output_stream.h"
#include "device/zo_ssdp_device_info.h"
#include "device/zo_vireonity.h"
#include "net/owned_interfaces.h"
#include "net/testing/loopback.h"
#include "net/udp_socket.h"

namespace {

using zorvane::ZoInputStream;
using zorvane::ZoOutputStream;
using zorvane::ZoVireonity;

template <typename Operation>
long Refuse(Operation operation) {
    return RefuseEachAllocation([] { return 0; }, [&operation](int) { operation(); },
                                [](int, bool) {});
}

// What a construction that throws has made by then, it frees; the sanitized build sees that.
TEST(RecordWithoutMemory, LeavesNothing) {
    EXPECT_GE(Refuse([] {
                  const ZoSsdpDeviceInfo record(NPT_HttpUrl("http://h/d/x.xml"), "", {}, "t", "f");
                  const ZoSsdpDeviceInfo copy(record);
                  record.GetDescriptionUrl("bound");
                  record.GetURLBase();
              }),
              20);
    EXPECT_EQ(Refuse([] { MakeUuid([] { return NPT_UInt32{7}; }); }), 1);
}

TEST(RecordWithoutMemory, KeepsItsUrlBase) {
    const long refusals = RefuseEachAllocation(
        [] { return std::make_unique<ZoSsdpDeviceInfo>(NPT_HttpUrl("http://old:1/a/x.xml")); },
        [](auto& record) {
            NPT_HttpUrl url("https://new:2/b/x.xml");
            record->SetURLBase(url);
        },
        [](const auto& record, bool refused) {
            EXPECT_EQ(record->GetURLBase().ToString(),
                      refused ? "http://old:1/a/" : "https://new:2/b/");
        });
    EXPECT_GE(refusals, 3);
}

TEST(DatagramsWithoutMemory, AreReadOnceThereIsSome) {
    NPT_UdpSocket receiver;
    NPT_UdpSocket sender;
    const NPT_SocketAddress address = BindToLoopback(receiver);
    receiver.SetReadTimeout(10000);
    struct Reading {
        std::unique_ptr<ZoInputStream> stream;
        char text[8] = {};
        NPT_UInt32 count = 0;
        NPT_Result result = NPT_FAILURE;

        void Run() { result = stream->Read(text, sizeof(text), &count); }
    };
    const long refusals = RefuseEachAllocation(
        [&] {
            SendText(sender, "text", &address);
            return Reading();
        },
        [&receiver](Reading& reading) {
            reading.stream = std::make_unique<ZoInputStream>(&receiver, 100);
            reading.Run();
        },
        [&receiver](Reading& reading, bool refused) {
            EXPECT_EQ(reading.count, NPT_Failed(reading.result) ? 0u : 4u);
            EXPECT_TRUE(refused || NPT_Succeeded(reading.result));
            if (!reading.stream) reading.stream = std::make_unique<ZoInputStream>(&receiver, 100);
            if (NPT_Failed(reading.result)) reading.Run();
            EXPECT_EQ(reading.result, NPT_SUCCESS);
            EXPECT_EQ(std::string(reading.text, reading.count), "text");
        });
    EXPECT_GE(refusals, 2);
}

TEST(DatagramsWithoutMemory, AreSentWholeOrNot) {
    NPT_UdpSocket receiver;
    NPT_UdpSocket sender;
    const NPT_SocketAddress address = BindToLoopback(receiver);
    receiver.SetReadTimeout(0);
    struct Writing {
        std::unique_ptr<ZoOutputStream> stream;
        NPT_Result result = NPT_SUCCESS;
    };
    const long refusals = RefuseEachAllocation(
        [&] { return Writing{std::make_unique<ZoOutputStream>(&sender, 2, &address)}; },
        [](Writing& writing) { writing.result = writing.stream->Write("text", 4); },
        [&receiver](Writing& writing, bool refused) {
            EXPECT_EQ(writing.result, refused ? NPT_ERROR_NO_MEMORY : NPT_SUCCESS);
            EXPECT_EQ(writing.stream->Flush(), NPT_SUCCESS);
            NPT_DataBuffer packet(100);
            EXPECT_EQ(NPT_Succeeded(receiver.Receive(packet)), !refused);
        });
    EXPECT_EQ(refusals, 1);
}

TEST(ChoiceWithoutMemory, LosesNoInterface) {
    const auto enumerate = [](NPT_List<NPT_NetworkInterface*>& list) {
        for (const NPT_UInt32 address : {0x7F000001u, 0x7F000002u}) {
            auto made = std::make_unique<NPT_NetworkInterface>(
                "lo", NPT_MacAddress(),
                NPT_NETWORK_INTERFACE_FLAG_LOOPBACK | NPT_NETWORK_INTERFACE_FLAG_MULTICAST);
            made->AddAddress(NPT_NetworkInterfaceAddress(NPT_IpAddress(address), {}, {}, {}));
            list.Add(made.get());
            made.release();
        }
        return NPT_SUCCESS;
    };
    EXPECT_GE(Refuse([&enumerate] {
                  OwnedInterfaces interfaces;
                  ZoVireonity::GetNetworkInterfaces(interfaces.AsList(), enumerate);
              }),
              18);
}

}  // namespace
