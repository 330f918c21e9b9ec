// A sender among datagrams, pauses and errors. An input is one byte that chooses the interval, then
// events of one byte and what belongs to them: how the byte is read stands with Decode.
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "answer_model.h"
#include "engine/search_plan.h"
#include "engine/ssdp_search_worker_thread.h"
#include "engine/vireon.h"
#include "fuzz_input.h"
#include "simulated_network.h"

namespace {

using simulated_network::Event;
using simulated_network::Milliseconds;
using std::chrono::nanoseconds;

const NPT_SocketAddress kDestination(NPT_IpAddress(10, 0, 0, 255), 31288);

// What the request has to be, byte for byte.
const char kSearch[] =
    "M-SEARCH * HTTP/1.1\r\n"
    "MX: 5\r\n"
    "ST: ssdp:all\r\n"
    "MAN: \"ssdp:discover\"\r\n"
    "User-Agent: UPnP/1.0\r\n"
    "Host: 239.255.255.250:31288\r\n"
    "Connection: close\r\n"
    "\r\n";

// How long a sender rests behind what is no answer, and so at least where it cannot wait for one.
const Milliseconds kLongestPause(150);

// More would only take longer.
constexpr std::size_t kMostEvents = 24;

// What was found, and whether the engine was told to deliver all of it.
std::vector<FoundDevice> g_found;
bool g_is_handed_on = true;

FoundDevice Describe(const ZoSsdpDeviceInfo& device, bool has_uuid) {
    FoundDevice found;
    found.uuid = has_uuid ? device.GetUUID().GetChars() : "";
    found.type = device.GetType().GetChars();
    found.friendly_name = device.GetFriendlyName().GetChars();
    found.location = device.GetDescriptionUrl(nullptr).GetChars();
    found.lease_seconds = device.GetLeaseTime().ToSeconds();
    for (const NPT_String* const property :
         {&device.m_Manufacturer, &device.m_ManufacturerURL, &device.m_ModelDescription,
          &device.m_ModelName, &device.m_ModelNumber, &device.m_ModelURL, &device.m_SerialNumber,
          &device.m_PresentationURL, &device.m_HttpPort, &device.m_HttpsPort,
          &device.m_WebsocketPort, &device.m_DBStatus, &device.m_Version})
        found.properties.emplace_back(property->GetChars());
    return found;
}

// What an input says.
class Scenario {
  public:
    explicit Scenario(FuzzInput& input) : interval_(IntervalOf(input.TakeByte())) {
        while (!input.IsEmpty() && events_.size() < kMostEvents)
            Decode(input);
    }

    NPT_TimeInterval GetInterval() const { return NPT_TimeInterval(interval_); }
    // How long a cycle has to be.
    nanoseconds GetCycle() const {
        return nanoseconds(static_cast<long long>((interval_ > 0 ? interval_ : 30) * 1e9));
    }
    std::deque<Event> TakeEvents() { return std::move(events_); }
    const std::vector<FoundDevice>& GetExpected() const { return expected_; }
    bool TakeFailingSend() { return failing_sends_ > 0 && failing_sends_-- > 0; }

    std::function<void()> wake;
    std::function<void()> close;

  private:
    static double IntervalOf(NPT_UInt8 choice) {
        constexpr double kSeconds[] = {3, 30, 0, 0.5, 0.0005, 0.15};
        return kSeconds[choice % 6];
    }

    // The low half of the byte is the kind, the high half a number for it.
    void Decode(FuzzInput& input) {
        const NPT_UInt8 byte = input.TakeByte();
        const std::size_t number = byte >> 4;
        Event event;
        switch (byte & 15) {
            case 0:
            case 1:
            case 2:
            case 3:  // any datagram: its length less 256 times the number, its text
                AddDatagram(input.TakeText(number * 256 + input.TakeByte()));
                return;
            case 4:
            case 5:
            case 6:  // a good answer, changed so many times
                AddDatagram(ChangedAnswer(input, number));
                return;
            case 7:  // a pause of so many 64ths of a cycle
                event.pause = kLongestPause;
                if (event.pause < GetCycle())
                    event.pause = std::chrono::duration_cast<Milliseconds>(GetCycle());
                event.pause = event.pause * input.TakeByte() / 64;
                break;
            case 8:
                event.kind = Event::Kind::kReceiveFailure;
                event.failure = FailureOf(number);
                break;
            case 9:
                event.kind = Event::Kind::kWaitFailure;
                event.failure = FailureOf(number);
                break;
            case 10:
                event.kind = Event::Kind::kPendingError;
                event.error_number = number % 3 == 0   ? simulated_network::kLossNumber
                                     : number % 3 == 1 ? 0
                                                       : static_cast<int>(number);
                break;
            case 11:
                event.kind = Event::Kind::kNothingReady;
                break;
            case 12: {  // another source
                const NPT_UInt8 first = input.TakeByte();
                const NPT_UInt8 second = input.TakeByte();
                source_ = NPT_IpAddress(first, second, input.TakeByte(), input.TakeByte());
                return;
            }
            case 13:
                failing_sends_ += number;
                return;
            case 14:  // the last datagram once more, so many times
                for (std::size_t count = 0; count <= number; ++count)
                    AddDatagram(last_);
                return;
            default:  // the end of the search
                event.kind = Event::Kind::kCall;
                event.call = [this, number] { number % 2 == 0 ? wake() : close(); };
                is_stopped_ = true;
        }
        events_.push_back(std::move(event));
    }

    static NPT_Result FailureOf(std::size_t number) {
        constexpr NPT_Result kFailures[] = {
            simulated_network::kReportOfALoss,
            simulated_network::kTooLong,
            NPT_ERROR_INTERRUPTED,
            NPT_ERROR_TIMEOUT,
            NPT_ERROR_NETWORK_DOWN,
            NPT_ERROR_WOULD_BLOCK,
            NPT_ERROR_NO_MEMORY,
            NPT_ERROR_SYSTEM_BASE - 9,
        };
        return kFailures[number % 8];
    }

    void AddDatagram(const std::string& text) {
        Event event;
        event.kind = Event::Kind::kDatagram;
        event.text = text;
        event.source = NPT_SocketAddress(source_, 31288);
        events_.push_back(event);
        last_ = text;
        if (is_stopped_) return;
        const NPT_UInt8* const bytes = source_.AsBytes();
        std::string responder = std::to_string(bytes[0]);
        for (int part = 1; part < 4; ++part)
            responder += "." + std::to_string(bytes[part]);
        if (const auto device = DeviceOf(text, responder)) expected_.push_back(*device);
    }

    static std::string ChangedAnswer(FuzzInput& input, std::size_t changes) {
        std::vector<std::string> lines = {
            "HTTP/1.1 200 OK",
            "CACHE-CONTROL: max-age=60",
            "EXT:",
            "LOCATION: http://192.168.1.20:8080/d.xml",
            "ST: urn:schemas-upnp-org:device:ZOMediaServer:1",
            "USN: uuid:abc::urn:schemas-upnp-org:device:ZOMediaServer:1",
            "FriendlyName: Den",
            "Manufacturer: maker",
            "HttpPort: 8080",
            "",
        };
        std::string line_end = "\r\n";
        std::size_t length = std::string::npos;
        for (; changes > 0; --changes) {
            const NPT_UInt8 what = input.TakeByte();
            const std::size_t at = (what >> 3) % lines.size();
            std::string& line = lines[at];
            switch (what & 7) {
                case 0:
                    line.clear();
                    break;
                case 1:  // another value
                    line = line.substr(0, line.find(':') + 1) + input.TakeText(input.TakeByte());
                    break;
                case 2:
                    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at),
                                 input.TakeText(input.TakeByte()));
                    break;
                case 3:
                    lines.push_back(std::string(line));
                    break;
                case 4:
                    length = std::size_t{input.TakeByte()} * 8;
                    break;
                case 5:
                    line_end = "\n";
                    break;
                case 6:
                    line = input.TakeText(input.TakeByte());
                    break;
                default:
                    line.append(std::size_t{input.TakeByte()} * 8, 'x');
            }
        }
        std::string text;
        for (const std::string& line : lines)
            text += line + line_end;
        return text.substr(0, length);
    }

    const double interval_;
    std::deque<Event> events_;
    std::vector<FoundDevice> expected_;
    NPT_IpAddress source_{192, 168, 1, 20};
    std::string last_;
    std::size_t failing_sends_ = 0;
    bool is_stopped_ = false;
};

// Watches what goes out and when.
class Requests {
  public:
    explicit Requests(Scenario& scenario) : scenario_(scenario) {}

    NPT_Result Send(const std::string& text, const NPT_SocketAddress& destination) {
        Require(text == kSearch, "a request is as it has to be");
        Require(destination == kDestination, "a request goes where it has to");
        const auto now = simulated_network::Current().now;
        if (count_ % 2 == 1) {
            Require(now == last_, "a request goes out twice at once");
        } else if (count_ > 0) {
            const nanoseconds since = now - last_;
            // A wait is counted in whole milliseconds.
            Require(since >= scenario_.GetCycle(), "a cycle is as long as the interval");
            Require(since <= scenario_.GetCycle() + kLongestPause + std::chrono::milliseconds(1),
                    "a cycle is over when the interval is");
        }
        last_ = now;
        ++count_;
        return scenario_.TakeFailingSend() ? NPT_ERROR_NETWORK_UNREACHABLE : NPT_SUCCESS;
    }
    int GetCount() const { return count_; }

  private:
    Scenario& scenario_;
    int count_ = 0;
    std::chrono::steady_clock::time_point last_;
};

// One for all inputs. Its dispatch thread has ended, and what it would deliver is taken before.
Vireon& Engine() {
    static Vireon vireon;
    static const bool is_started = [] {
        vireon.isClosed = true;
        vireon.SearchInterfaces(NPT_List<NPT_NetworkInterface*>());
        return true;
    }();
    Require(is_started, "there is an engine");
    return vireon;
}

}  // namespace

// In the place of the queue's, which the linker knows by these names.
extern "C" void __wrap__ZN24CallbackTaskWorkerThread9QueueTaskEP16ZoSsdpDeviceInfo(
    CallbackTaskWorkerThread*, ZoSsdpDeviceInfo* device) {
    const std::unique_ptr<ZoSsdpDeviceInfo> own(device);
    const std::string type = device->GetType().GetChars();
    const bool has_uuid = type.find("::") > 5;
    g_found.push_back(Describe(*device, has_uuid));
    g_is_handed_on = false;
}
extern "C" void __wrap__ZN24CallbackTaskWorkerThread10WakeTakersEv(CallbackTaskWorkerThread*) {
    g_is_handed_on = true;
}

extern "C" int LLVMFuzzerTestOneInput(const NPT_UInt8* data, std::size_t size) {
    Vireon& vireon = Engine();
    vireon.isClosed = false;
    g_found.clear();
    g_is_handed_on = true;
    simulated_network::Begin();

    FuzzInput input(data, size);
    Scenario scenario(input);
    Requests requests(scenario);
    auto& network = simulated_network::Current();
    {
        const auto waker = std::make_shared<SocketWaker>();
        SsdpSearchWorkerThread worker(
            &vireon, std::make_unique<NPT_UdpSocket>(),
            MakeSearchRequest({SenderPlan::Kind::kBroadcast, kDestination.GetIpAddress()}),
            scenario.GetInterval(), waker);
        scenario.wake = [&waker] { waker->Wake(); };
        scenario.close = [&vireon] { vireon.isClosed = true; };
        network.events = scenario.TakeEvents();
        network.at_end = scenario.wake;
        network.send = [&requests](const std::string& text, const NPT_SocketAddress& destination) {
            return requests.Send(text, destination);
        };
        network.before_time_passes = [] {
            Require(g_is_handed_on, "what was found is handed on before the sender waits");
        };
        worker.Run();
    }
    simulated_network::CheckThatAllIsClosed();
    Require(g_is_handed_on, "what was found is handed on before the sender ends");
    Require(requests.GetCount() >= 2 && requests.GetCount() % 2 == 0, "requests go out in pairs");
    Require(g_found == scenario.GetExpected(), "the servers that answered are found, in order");
    return 0;
}
