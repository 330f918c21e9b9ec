// The least that finding servers costs in this interpreter, to measure the module beside: one
// socket, one thread that receives, a bare scan of the text, the filter, a dictionary of 15
// entries, the call. Nothing of the module's is used, and nothing is checked that a kind network
// does not ask for.
//
//   bench_floor.start(request, host, port, receive_buffer, callable)
//       sends the request there and calls the callable for each answer, on a thread of its own,
//       until the process ends; receive_buffer is in bytes, 0 leaves the system's.
#include <Python.h>
#include <arpa/inet.h>
#include <sys/socket.h>

#include <cstring>
#include <string_view>
#include <thread>

namespace {

constexpr std::string_view kDeviceType = "urn:schemas-upnp-org:device:ZOMediaServer:1";

struct Field {
    std::string_view header;
    const char* key;
};

constexpr Field kFields[] = {
    {"LOCATION", "location"},
    {"USN", "usn"},
    {"FriendlyName", "friendlyName"},
    {"HttpPort", "HttpPort"},
    {"HttpsPort", "HttpsPort"},
    {"Manufacturer", "manufacturer"},
    {"ManufacturerURL", "manufacturerURL"},
    {"ModelDescription", "modelDescription"},
    {"ModelName", "modelName"},
    {"ModelURL", "modelURL"},
    {"ModelNumber", "modelNumber"},
    {"SerialNumber", "serialNumber"},
    {"WebsocketPort", "WebsocketPort"},
    {"DBStatus", "DBStatus"},
    {"Version", "version"},
};
constexpr std::size_t kFieldCount = sizeof kFields / sizeof kFields[0];

bool IsName(std::string_view name, std::string_view wanted) {
    return name.size() == wanted.size() &&
           strncasecmp(name.data(), wanted.data(), name.size()) == 0;
}

// Whether the text answers for a media server; its values in the order of the fields.
bool Scan(std::string_view text, std::string_view (&values)[kFieldCount]) {
    if (text.substr(0, 12) != "HTTP/1.1 200") return false;
    for (std::size_t at = text.find('\n') + 1; at != 0 && at < text.size();) {
        const std::size_t end = text.find('\n', at);
        if (end == std::string_view::npos) break;
        std::string_view line = text.substr(at, end - at);
        at = end + 1;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) continue;
        std::string_view value = line.substr(colon + 1);
        while (!value.empty() && value.front() == ' ')
            value.remove_prefix(1);
        for (std::size_t i = 0; i < kFieldCount; ++i) {
            if (IsName(line.substr(0, colon), kFields[i].header)) {
                values[i] = value;
                break;
            }
        }
    }
    return values[1].find(kDeviceType) != std::string_view::npos;
}

void Call(PyObject* callable, const std::string_view (&values)[kFieldCount]) {
    PyObject* const dictionary = PyDict_New();
    for (std::size_t i = 0; i < kFieldCount; ++i) {
        PyObject* const key = PyUnicode_FromString(kFields[i].key);
        PyObject* const value =
            PyString_FromStringAndSize(values[i].data(), static_cast<Py_ssize_t>(values[i].size()));
        PyDict_SetItem(dictionary, key, value);
        Py_DECREF(key);
        Py_DECREF(value);
    }
    PyObject* const result =
        PyObject_CallFunction(callable, const_cast<char*>("sO"), "Update Service", dictionary);
    Py_DECREF(dictionary);
    if (result == nullptr) PyErr_Print();
    Py_XDECREF(result);
}

void Run(int socket, PyObject* callable, PyInterpreterState* interpreter) {
    PyThreadState* const state = PyThreadState_New(interpreter);
    for (;;) {
        char buffer[2000];
        sockaddr_in source{};
        socklen_t length = sizeof source;
        const ssize_t size = recvfrom(socket, buffer, sizeof buffer, 0,
                                      reinterpret_cast<sockaddr*>(&source), &length);
        std::string_view values[kFieldCount];
        if (size <= 0 || !Scan({buffer, static_cast<std::size_t>(size)}, values)) continue;
        PyEval_RestoreThread(state);
        Call(callable, values);
        PyEval_SaveThread();
    }
}

PyObject* Start(PyObject*, PyObject* arguments) {
    const char *request = nullptr, *host = nullptr;
    int port = 0, receive_buffer = 0;
    PyObject* callable = nullptr;
    if (!PyArg_ParseTuple(arguments, "ssiiO", &request, &host, &port, &receive_buffer, &callable))
        return nullptr;
    const int opened = socket(AF_INET, SOCK_DGRAM, 0);
    if (receive_buffer > 0)
        setsockopt(opened, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
    sockaddr_in group{};
    group.sin_family = AF_INET;
    group.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, host, &group.sin_addr);
    if (sendto(opened, request, std::strlen(request), 0, reinterpret_cast<const sockaddr*>(&group),
               sizeof group) < 0)
        return PyErr_SetFromErrno(PyExc_IOError);
    PyEval_InitThreads();
    Py_INCREF(callable);
    std::thread(Run, opened, callable, PyThreadState_Get()->interp).detach();
    Py_RETURN_NONE;
}

PyMethodDef methods[] = {{"start", Start, METH_VARARGS, "Searches until the process ends."},
                         {nullptr, nullptr, 0, nullptr}};

}  // namespace

PyMODINIT_FUNC initbench_floor() {
    Py_InitModule("bench_floor", methods);
}
