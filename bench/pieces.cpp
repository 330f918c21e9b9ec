// The pieces that an answer or a call is made of, each beside a well-known one that does the same.
//
// A benchmark's name is "piece|who": the module's own is "module". The module itself, for the call,
// must be on the interpreter's path.
#include <Python.h>
#include <benchmark/benchmark.h>
#include <http_parser.h>
#include <uriparser/Uri.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/memory_stream.h"
#include "core/string.h"
#include "device/zo_ssdp_device_info.h"
#include "http/http_client.h"
#include "http/http_url.h"

namespace {

constexpr char kAnswer[] =
    "HTTP/1.1 200 OK\r\n"
    "CACHE-CONTROL: max-age=1800\r\n"
    "EXT: \r\n"
    "LOCATION: http://10.77.1.2:8080/description.xml\r\n"
    "SERVER: Linux/6.1 UPnP/1.0 Media/2.0\r\n"
    "ST: urn:schemas-upnp-org:device:ZOMediaServer:1\r\n"
    "USN: uuid:0f6a9b1e-4c2d-4a77-9f0e-1b2c3d4e5f60::"
    "urn:schemas-upnp-org:device:ZOMediaServer:1\r\n"
    "BOOTID.UPNP.ORG: 1\r\n"
    "FriendlyName: The attic's media server\r\n"
    "Manufacturer: A maker of servers\r\n"
    "ManufacturerURL: http://maker.example/\r\n"
    "ModelDescription: Serves films and music\r\n"
    "ModelName: Attic\r\n"
    "ModelURL: http://maker.example/attic\r\n"
    "ModelNumber: 12.3\r\n"
    "SerialNumber: 0123456789\r\n"
    "PresentationURL: http://10.77.1.2:8080/\r\n"
    "HttpPort: 8080\r\n"
    "HttpsPort: 8443\r\n"
    "WebsocketPort: 8081\r\n"
    "DBStatus: ready\r\n"
    "Version: 1.2.3\r\n"
    "\r\n";
constexpr std::size_t kHeaderCount = 21;
constexpr const char* kUrl = "http://192.168.1.20:8080/description.xml";
constexpr const char* kUsn =
    "uuid:0f6a9b1e-4c2d-4a77-9f0e-1b2c3d4e5f60::urn:schemas-upnp-org:device:ZOMediaServer:1";
constexpr const char* kOtherUsn =
    "uuid:0f6a9b1e-4c2d-4a77-9f0e-1b2c3d4e5f60::urn:schemas-upnp-org:device:ZOMediaServer:2";
constexpr const char* kDeviceType = "urn:schemas-upnp-org:device:ZOMediaServer:1";

void Check(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "vireon_bench: %s\n", what);
    std::exit(1);
}

// Head of an answer: a list of names and values from a text.

void ReadHead(benchmark::State& state) {
    auto* const memory = new NPT_MemoryStream();
    const NPT_InputStreamReference stream(memory);
    memory->WriteFully(kAnswer, sizeof kAnswer - 1);
    for (auto _ : state) {
        stream->Seek(0);
        NPT_HttpResponse* response = nullptr;
        NPT_HttpClient::ReadResponse(stream, false, false, response);
        const std::unique_ptr<NPT_HttpResponse> owned(response);
        Check(response && response->GetHeaders().GetHeaderValue("Version"), "no head");
    }
}
BENCHMARK(ReadHead)->Name("head of an answer|module");

// Views of the text, or strings of their own.
template <typename Text>
struct ParsedHead {
    std::vector<std::pair<Text, Text>> headers;
};

template <typename Text>
int OnName(http_parser* parser, const char* at, std::size_t length) {
    static_cast<ParsedHead<Text>*>(parser->data)->headers.emplace_back(Text(at, length), Text());
    return 0;
}

template <typename Text>
int OnValue(http_parser* parser, const char* at, std::size_t length) {
    static_cast<ParsedHead<Text>*>(parser->data)->headers.back().second = Text(at, length);
    return 0;
}

int SkipBody(http_parser*) {
    return 1;
}

template <typename Text>
void ReadHeadByHttpParser(benchmark::State& state) {
    http_parser_settings settings;
    http_parser_settings_init(&settings);
    settings.on_header_field = OnName<Text>;
    settings.on_header_value = OnValue<Text>;
    settings.on_headers_complete = SkipBody;
    for (auto _ : state) {
        http_parser parser;
        http_parser_init(&parser, HTTP_RESPONSE);
        ParsedHead<Text> head;
        parser.data = &head;
        http_parser_execute(&parser, &settings, kAnswer, sizeof kAnswer - 1);
        Check(head.headers.size() == kHeaderCount, "no head by http-parser");
    }
}
BENCHMARK(ReadHeadByHttpParser<std::string_view>)->Name("head of an answer|http-parser");
BENCHMARK(ReadHeadByHttpParser<std::string>)->Name("head of an answer|http-parser, owned texts");

// A URL.

void ParseUrl(benchmark::State& state) {
    for (auto _ : state) {
        const NPT_HttpUrl url(kUrl);
        Check(url.IsValid(), "no URL");
    }
}
BENCHMARK(ParseUrl)->Name("a URL|module");

void ParseUrlByUriparser(benchmark::State& state) {
    for (auto _ : state) {
        UriUriA url;
        const char* error = nullptr;
        Check(uriParseSingleUriA(&url, kUrl, &error) == URI_SUCCESS, "no URL by liburiparser");
        uriFreeUriMembersA(&url);
    }
}
BENCHMARK(ParseUrlByUriparser)->Name("a URL|liburiparser");

// The description document of a record: a tree, written as text.

void Describe(benchmark::State& state) {
    ZoSsdpDeviceInfo record(NPT_HttpUrl("http://10.77.1.2:8080/description.xml"),
                            "0f6a9b1e-4c2d-4a77-9f0e-1b2c3d4e5f60",
                            NPT_TimeInterval::FromSeconds(kDefaultLeaseSeconds), kUsn,
                            "The attic's media server");
    record.m_ModelDescription = "Serves films and music";
    record.m_ModelName = "Attic";
    record.m_ModelNumber = "12.3";
    record.m_SerialNumber = "0123456789";
    record.m_ModelURL = "http://maker.example/attic";
    record.m_PresentationURL = "http://10.77.1.2:8080/";
    for (auto _ : state) {
        NPT_String document;
        record.GetDescription(document);
        Check(document.GetLength() > 500, "no document");
    }
}
BENCHMARK(Describe)->Name("description document|module");

struct StringWriter : pugi::xml_writer {
    void write(const void* data, std::size_t size) override {
        text.append(static_cast<const char*>(data), size);
    }
    std::string text;
};

void AddLeaf(pugi::xml_node parent, const char* tag, const char* text) {
    parent.append_child(tag).append_child(pugi::node_pcdata).set_value(text);
}

void DescribeByPugixml(benchmark::State& state) {
    for (auto _ : state) {
        pugi::xml_document document;
        pugi::xml_node root = document.append_child("root");
        root.append_attribute("configId") = "0";
        root.append_attribute("xmlns") = "urn:schemas-upnp-org:device-1-0";
        root.append_attribute("xmlns:dlna") = "urn:schemas-dlna-org:device-1-0";
        pugi::xml_node version = root.append_child("specVersion");
        AddLeaf(version, "major", "1");
        AddLeaf(version, "minor", "1");
        pugi::xml_node device = root.append_child("device");
        AddLeaf(device, "deviceType", kUsn);
        AddLeaf(device, "friendlyName", "The attic's media server");
        AddLeaf(device, "manufacturer", kDefaultManufacturer);
        AddLeaf(device, "manufacturerURL", kDefaultManufacturerUrl);
        AddLeaf(device, "modelDescription", "Serves films and music");
        AddLeaf(device, "modelName", "Attic");
        AddLeaf(device, "modelNumber", "12.3");
        AddLeaf(device, "serialNumber", "0123456789");
        AddLeaf(device, "modelURL", "http://maker.example/attic");
        AddLeaf(device, "UDN", "uuid:0f6a9b1e-4c2d-4a77-9f0e-1b2c3d4e5f60");
        AddLeaf(device, "version", "");
        AddLeaf(device, "presentationURL", "http://10.77.1.2:8080/");
        StringWriter writer;
        document.save(writer, "  ");
        Check(writer.text.size() > 500, "no document by pugixml");
    }
}
BENCHMARK(DescribeByPugixml)->Name("description document|pugixml");

// Strings: of the length and the likeness that answers of one server have.

template <typename Operation>
void Repeat(benchmark::State& state, const Operation& operation) {
    for (auto _ : state) {
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(operation());
    }
}

void IsEqual(benchmark::State& state) {
    const NPT_String left = kUsn, right = kUsn;
    Repeat(state, [&] { return left == right; });
}
BENCHMARK(IsEqual)->Name("equality of strings|module");

void IsEqualByStd(benchmark::State& state) {
    const std::string left = kUsn, right = kUsn;
    Repeat(state, [&] { return left == right; });
}
BENCHMARK(IsEqualByStd)->Name("equality of strings|std::string");

void Find(benchmark::State& state) {
    const NPT_String text = kUsn;
    Repeat(state, [&] { return text.Find(kDeviceType); });
}
BENCHMARK(Find)->Name("search in a string|module");

void FindByStd(benchmark::State& state) {
    const std::string text = kUsn;
    Repeat(state, [&] { return text.find(kDeviceType); });
}
BENCHMARK(FindByStd)->Name("search in a string|std::string");

void Compare(benchmark::State& state) {
    const NPT_String left = kUsn, right = kOtherUsn;
    Repeat(state, [&] { return left.Compare(right); });
}
BENCHMARK(Compare)->Name("comparison of strings|module");

void CompareByStd(benchmark::State& state) {
    const std::string left = kUsn, right = kOtherUsn;
    Repeat(state, [&] { return left.compare(right); });
}
BENCHMARK(CompareByStd)->Name("comparison of strings|std::string");

// A call of a wrapped function, as a script makes it.

void CallRepeatedly(benchmark::State& state, PyObject* function, PyObject* argument) {
    Check(function && argument, "nothing to call");
    PyObject* const arguments = PyTuple_Pack(1, argument);
    for (auto _ : state) {
        PyObject* const result = PyObject_Call(function, arguments, nullptr);
        Check(result != nullptr, "a call failed");
        Py_DECREF(result);
    }
    Py_DECREF(arguments);
}

PyObject* MakeEngine(PyObject* module) {
    return PyObject_CallMethod(module, const_cast<char*>("new_Vireon"), nullptr);
}

void CallWrapped(benchmark::State& state) {
    PyObject* const module = PyImport_ImportModule("_vireon");
    Check(module != nullptr, "the module is not on the path");
    PyObject* const function = PyObject_GetAttrString(module, "Vireon_isClosed_get");
    CallRepeatedly(state, function, MakeEngine(module));
}
BENCHMARK(CallWrapped)->Name("a wrapped call|module");

struct Bare {
    bool is_closed;
};

PyObject* GetBare(PyObject*, PyObject* arguments) {
    PyObject* capsule = nullptr;
    if (!PyArg_ParseTuple(arguments, "O:is_closed", &capsule)) return nullptr;
    const auto* const bare = static_cast<const Bare*>(PyCapsule_GetPointer(capsule, "bare"));
    return bare ? PyBool_FromLong(bare->is_closed) : nullptr;
}

void CallBare(benchmark::State& state) {
    static Bare bare{false};
    static PyMethodDef method = {"is_closed", GetBare, METH_VARARGS, nullptr};
    CallRepeatedly(state, PyCFunction_New(&method, nullptr), PyCapsule_New(&bare, "bare", nullptr));
}
BENCHMARK(CallBare)->Name("a wrapped call|bare C function");

}  // namespace

int main(int argc, char** argv) {
    Py_InitializeEx(0);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
