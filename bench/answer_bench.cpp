// What an answer costs from its datagram to the script's callable, beside what cannot be saved:
// receiving the datagram, building the same dictionary from texts that lie ready, and the call.
#include <Python.h>
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <ostream>
#include <string>

#include "binding/interpreter/interpreter_lock.h"
#include "device/zo_input_stream.h"
#include "engine/protocol.h"
#include "engine/search_answer.h"
#include "engine/search_plan.h"
#include "engine/vireon.h"
#include "http/http_client.h"
#include "net/udp_socket.h"

namespace {

// As many as a socket's default receive buffer surely holds. Sending them is not measured.
constexpr int kBatch = 64;

const char* const kAnswer =
    "HTTP/1.1 200 OK\r\n"
    "CACHE-CONTROL: max-age=1800\r\n"
    "EXT: \r\n"
    "LOCATION: http://192.168.1.20:8080/description.xml\r\n"
    "SERVER: Linux/6.1 UPnP/1.0 Media/2.0\r\n"
    "ST: urn:schemas-upnp-org:device:ZOMediaServer:1\r\n"
    "USN: uuid:0f6a9b1e-4c2d-4a77-9f0e-1b2c3d4e5f60::"
    "urn:schemas-upnp-org:device:ZOMediaServer:1\r\n"
    "FriendlyName: The attic's media server\r\n"
    "Manufacturer: A maker of servers\r\n"
    "ManufacturerURL: http://maker.example/\r\n"
    "ModelDescription: Serves films and music\r\n"
    "ModelName: Attic\r\n"
    "ModelURL: http://maker.example/attic\r\n"
    "ModelNumber: 12.3\r\n"
    "SerialNumber: 0123456789\r\n"
    "PresentationURL: http://192.168.1.20:8080/\r\n"
    "HttpPort: 8080\r\n"
    "HttpsPort: 8443\r\n"
    "WebsocketPort: 8081\r\n"
    "DBStatus: ready\r\n"
    "Version: 1.2.3\r\n"
    "\r\n";

void Check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "bench: %s\n", what);
    std::exit(1);
}

sockaddr_in Loopback(NPT_UInt16 port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// Sends answers to a port on this machine.
class Server {
  public:
    explicit Server(NPT_UInt16 port) : socket_(socket(AF_INET, SOCK_DGRAM, 0)) {
        const sockaddr_in address = Loopback(port);
        Check(connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
              "cannot connect to loopback");
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server() { close(socket_); }

    void Send(int count) {
        const std::string answer = kAnswer;
        for (int i = 0; i < count; ++i)
            Check(send(socket_, answer.data(), answer.size(), 0) > 0, "cannot send");
    }

  private:
    const int socket_;
};

// The callable that scripts hand in, and how often it was called.
class Script {
  public:
    Script() {
        PyRun_SimpleString(
            "calls = 0\n"
            "def callable(event, server):\n"
            "    global calls\n"
            "    calls += 1\n");
    }
    // The benchmarks' thread holds the lock from when the interpreter starts.
    PyObject* GetCallable() const ASSERT_CAPABILITY(interpreter_lock) {
        return PyDict_GetItemString(GetGlobals(), "callable");
    }
    long GetCalls() const { return PyInt_AsLong(PyDict_GetItemString(GetGlobals(), "calls")); }

  private:
    static PyObject* GetGlobals() { return PyModule_GetDict(PyImport_AddModule("__main__")); }
};

// A socket of ours on loopback.
class Client {
  public:
    Client() {
        Check(NPT_Succeeded(socket_.Bind(NPT_SocketAddress(NPT_IpAddress(127, 0, 0, 1), 0), false)),
              "cannot bind to loopback");
        socket_.SetReadTimeout(1000);
    }
    NPT_UInt16 GetPort() {
        NPT_SocketInfo info;
        socket_.GetInfo(info);
        return info.local_address.GetPort();
    }
    // The next answer, as a search thread reads it.
    std::unique_ptr<NPT_HttpResponse> Read(NPT_HttpRequestContext& context) {
        auto* const datagrams = new zorvane::ZoInputStream(&socket_, protocol::kAnswerBufferSize);
        const NPT_InputStreamReference stream(datagrams);
        NPT_HttpResponse* response = nullptr;
        NPT_HttpClient::ReadResponse(stream, false, false, response);
        Check(response != nullptr, "an answer is missing");
        context.SetLocalAddress(datagrams->GetInfo().local_address);
        context.SetRemoteAddress(datagrams->GetInfo().remote_address);
        return std::unique_ptr<NPT_HttpResponse>(response);
    }

  private:
    NPT_UdpSocket socket_;
};

struct Entry {
    const char* key;
    const char* value;
};

constexpr Entry kEntries[] = {
    {"location", "http://192.168.1.20:8080/description.xml"},
    {"usn",
     "uuid:0f6a9b1e-4c2d-4a77-9f0e-1b2c3d4e5f60::urn:schemas-upnp-org:device:ZOMediaServer:1"},
    {"friendlyName", "The attic's media server"},
    {"HttpPort", "8080"},
    {"HttpsPort", "8443"},
    {"manufacturer", "A maker of servers"},
    {"manufacturerURL", "http://maker.example/"},
    {"modelDescription", "Serves films and music"},
    {"modelName", "Attic"},
    {"modelURL", "http://maker.example/attic"},
    {"modelNumber", "12.3"},
    {"serialNumber", "0123456789"},
    {"WebsocketPort", "8081"},
    {"DBStatus", "ready"},
    {"version", "1.2.3"},
};

void CallWithReadyTexts(PyObject* callable) {
    PyObject* const dictionary = PyDict_New();
    for (const Entry& entry : kEntries) {
        PyObject* const key = PyUnicode_FromString(entry.key);
        PyObject* const value = PyString_FromString(entry.value);
        PyDict_SetItem(dictionary, key, value);
        Py_DECREF(key);
        Py_DECREF(value);
    }
    PyObject* const result =
        PyObject_CallFunction(callable, const_cast<char*>("sO"), "Update Service", dictionary);
    Py_DECREF(dictionary);
    Check(result != nullptr, "the callable failed");
    Py_DECREF(result);
}

// The bare cost.
void ReceiveAndCall(benchmark::State& state) {
    const Script script;
    const int receiver = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address = Loopback(0);
    socklen_t length = sizeof address;
    Check(bind(receiver, reinterpret_cast<const sockaddr*>(&address), length) == 0 &&
              getsockname(receiver, reinterpret_cast<sockaddr*>(&address), &length) == 0,
          "cannot bind to loopback");
    Server server(ntohs(address.sin_port));
    while (state.KeepRunningBatch(kBatch)) {
        state.PauseTiming();
        server.Send(kBatch);
        state.ResumeTiming();
        for (int i = 0; i < kBatch; ++i) {
            char buffer[protocol::kAnswerBufferSize];
            length = sizeof address;
            Check(recvfrom(receiver, buffer, sizeof buffer, 0,
                           reinterpret_cast<sockaddr*>(&address), &length) > 0,
                  "an answer is missing");
            CallWithReadyTexts(script.GetCallable());
        }
    }
    close(receiver);
    Check(script.GetCalls() >= state.iterations(), "a call is missing");
}
BENCHMARK(ReceiveAndCall);

// The straight way: everything but the hand-over between the threads.
void AnswerToCallable(benchmark::State& state) {
    const Script script;
    Vireon vireon;
    vireon.SetCallback(script.GetCallable());
    Client client;
    Server server(client.GetPort());
    while (state.KeepRunningBatch(kBatch)) {
        state.PauseTiming();
        server.Send(kBatch);
        state.ResumeTiming();
        for (int i = 0; i < kBatch; ++i) {
            NPT_HttpRequestContext context;
            const std::unique_ptr<NPT_HttpResponse> answer = client.Read(context);
            NPT_String uuid;
            Check(ReadUuid(*answer, uuid) == NPT_SUCCESS, "no uuid");
            const NPT_HttpHeaders& headers = answer->GetHeaders();
            const NPT_String& usn = *headers.GetHeaderValue("USN");
            Check(IsMediaServer(usn), "not a media server");
            const NPT_HttpUrl location = ReadLocation(*headers.GetHeaderValue("Location"),
                                                      context.GetRemoteAddress().GetIpAddress());
            const std::unique_ptr<ZoSsdpDeviceInfo> device =
                MakeDeviceRecord(*answer, location, uuid.GetChars(), usn, ReadLeaseTime(*answer));
            vireon.CallbacktoClient(device.get());
        }
    }
    Check(script.GetCalls() >= state.iterations(), "a call is missing");
}
BENCHMARK(AnswerToCallable);

// The engine's own way, with its queue and its dispatch thread; time is that of all threads.
void AnswerThroughTheEngine(benchmark::State& state) {
    const Script script;
    Vireon vireon;
    vireon.SetCallback(script.GetCallable());
    vireon.SearchInterfaces(NPT_List<NPT_NetworkInterface*>());
    const std::unique_ptr<NPT_HttpRequest> request =
        MakeSearchRequest({SenderPlan::Kind::kMulticast, NPT_IpAddress()});
    Client client;
    Server server(client.GetPort());
    long expected = script.GetCalls();
    while (state.KeepRunningBatch(kBatch)) {
        state.PauseTiming();
        server.Send(kBatch);
        state.ResumeTiming();
        {
            PyAutoUnlock2 unlocked;
            for (int i = 0; i < kBatch; ++i) {
                NPT_HttpRequestContext context;
                const std::unique_ptr<NPT_HttpResponse> answer = client.Read(context);
                vireon.ProcessSsdpSearchResponse(NPT_SUCCESS, *request, context, answer.get());
            }
        }
        expected += kBatch;
        while (script.GetCalls() < expected) {
            PyAutoUnlock2 unlocked;
            usleep(50);
        }
    }
    vireon.Stop();
}
BENCHMARK(AnswerThroughTheEngine)->MeasureProcessCPUTime();

// Prints what the product adds to the bare cost.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    RatioReporter() : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            times_[run.run_name.function_name] = run.GetAdjustedCPUTime();
        ConsoleReporter::ReportRuns(runs);
    }
    void Finalize() override {
        const double bare = times_["ReceiveAndCall"];
        if (bare <= 0) return;
        for (const char* name : {"AnswerToCallable", "AnswerThroughTheEngine"}) {
            if (times_.count(name) == 0) continue;
            GetOutputStream() << name << " takes " << times_[name] / bare
                              << " times the bare cost\n";
        }
    }

  private:
    std::map<std::string, double> times_;
};

}  // namespace

int main(int argc, char** argv) {
    Py_InitializeEx(0);
    PyEval_InitThreads();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    Py_Finalize();
    return 0;
}
