#include "binding/interpreter/testing/embedded_interpreter.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "binding/interpreter/interpreter_lock.h"
#include "engine/callback_task_worker_thread.h"
#include "engine/ssdp_search_worker_thread.h"
#include "engine/testing/scripted_udp_socket.h"
#include "engine/testing/search_answers.h"
#include "engine/vireon.h"
#include "schedule.h"

namespace {

// As many as take a few seconds; with VIREON_LIVES=long as many as take minutes.
constexpr unsigned kSchedules = 1000;
constexpr unsigned kSchedulesOfALongRun = 50000;

// A socket whose sender hands the turn on where it would wait for a datagram.
class TurningSocket : public ScriptedUdpSocket {
  public:
    NPT_Result Receive(NPT_DataBuffer& packet, NPT_SocketAddress* address) override {
        schedule::LetTimePass("a receive");
        return ScriptedUdpSocket::Receive(packet, address);
    }
};

class Schedules : public testing::Test {
  protected:
    using Threads = std::vector<std::function<void()>>;

    Schedules() {
        OpenInterpreterToThreads();
        script::Run(
            "names = []\ndef collect(event, device): names.append(device['friendlyName'])\n");
    }

    // Each schedule on things of its own. VIREON_SEED runs that one alone.
    template <typename Make>
    void Explore(const Make& make) {
        const char* const given = std::getenv("VIREON_SEED");
        const char* const length = std::getenv("VIREON_LIVES");
        const bool is_long = length && std::string(length) == "long";
        const unsigned first =
            given ? static_cast<unsigned>(std::stoul(given)) : std::random_device()();
        const unsigned count = given ? 1 : is_long ? kSchedulesOfALongRun : kSchedules;
        std::printf("VIREON_SEED=%u and the %u behind it\n", first, count - 1);
        std::fflush(stdout);
        const unsigned long steps = schedule::CountOfSteps();
        for (unsigned number = 0; number < count; ++number)
            make(first + number);
        std::printf("%u schedules, %lu steps\n", count, schedule::CountOfSteps() - steps);
    }

    static void Run(unsigned seed, const Threads& threads) {
        PyAutoUnlock2 unlocked;
        schedule::Run(seed, threads);
    }

    static std::unique_ptr<ZoSsdpDeviceInfo> MakeDevice() {
        return std::make_unique<ZoSsdpDeviceInfo>(NPT_HttpUrl("http://10.0.0.1:80/"), "abc",
                                                  NPT_TimeInterval(60.0), "usn", "name");
    }
    static void Take(CallbackTaskWorkerThread& worker) {
        const PyAutoLock2 lock;
        const std::unique_ptr<ZoSsdpDeviceInfo> device(worker.getTask());
    }
};

TEST_F(Schedules, AWorkerThatIsClosedLetsAllItsTakersGo) {
    Vireon vireon;
    Explore([&vireon](unsigned seed) {
        CallbackTaskWorkerThread worker(&vireon);
        Run(seed, {[&] { Take(worker); }, [&] { Take(worker); }, [&] { worker.Close(); }});
    });
}

TEST_F(Schedules, AWorkerIsNotDestroyedUnderItsTakers) {
    Vireon vireon;
    Explore([&vireon](unsigned seed) {
        auto* worker = new CallbackTaskWorkerThread(&vireon);
        const auto take = [&worker] {
            const PyAutoLock2 lock;
            if (!worker) return;
            EXPECT_EQ(worker->getTask(), nullptr);
        };
        Run(seed, {take, take, [&worker] {
                       const PyAutoLock2 lock;
                       delete std::exchange(worker, nullptr);
                   }});
    });
}

TEST_F(Schedules, ARecordWakesATakerWhoeverTakesTheEngineMeanwhile) {
    Vireon vireon;
    Explore([&vireon](unsigned seed) {
        CallbackTaskWorkerThread worker(&vireon);
        Run(seed, {[&] { Take(worker); }, [&] { Take(worker); },
                   [&] {
                       worker.addTask(MakeDevice().release());
                       worker.addTask(MakeDevice().release());
                   },
                   [&] {
                       worker.SetEngine(nullptr);
                       worker.SetEngine(&vireon);
                   }});
        worker.DestroyTasks();
    });
}

TEST_F(Schedules, AnEngineMayBeDestroyedWhileItSearchesAndStops) {
    const NPT_List<NPT_NetworkInterface*> none;
    Explore([&none](unsigned seed) {
        auto* vireon = new Vireon;
        vireon->SetCallback(script::Get("collect"));
        vireon->SearchInterfaces(none);
        vireon->Stop();
        const auto search = [&vireon, &none] {
            const PyAutoLock2 lock;
            if (vireon) vireon->SearchInterfaces(none);
        };
        Run(seed, {search, search,
                   [&vireon] {
                       const PyAutoLock2 lock;
                       if (vireon) vireon->Stop();
                   },
                   [&vireon] {
                       const PyAutoLock2 lock;
                       Vireon* const destroyed = std::exchange(vireon, nullptr);
                       destroyed->Stop();
                       delete destroyed;
                   }});
    });
}

TEST_F(Schedules, BothWorkersEndWithTheirEngineWhateverArrives) {
    const NPT_List<NPT_NetworkInterface*> none;
    Explore([&none](unsigned seed) {
        auto* vireon = new Vireon;
        vireon->SetCallback(script::Get("collect"));
        auto* const socket = new TurningSocket;
        for (int count = 0; count < 3; ++count)
            socket->LineUp(search_answers::Print(search_answers::Complete()));
        const auto sender = std::make_shared<SsdpSearchWorkerThread>(
            vireon, std::unique_ptr<NPT_UdpSocket>(socket),
            std::make_unique<NPT_HttpRequest>(NPT_HttpUrl("127.0.0.1", 31288, "*"), "M-SEARCH",
                                              "HTTP/1.1"),
            NPT_TimeInterval(0.0001), std::make_shared<SocketWaker>());
        Run(seed, {[&vireon, &none] {
                       const PyAutoLock2 lock;
                       if (vireon) vireon->SearchInterfaces(none);
                   },
                   [&sender] { sender->Run(); },
                   [&vireon] {
                       const PyAutoLock2 lock;
                       Vireon* const destroyed = std::exchange(vireon, nullptr);
                       destroyed->Stop();
                       delete destroyed;
                   }});
    });
}

}  // namespace
