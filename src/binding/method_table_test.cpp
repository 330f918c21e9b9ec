#include "binding/method_table.h"

#include "binding/interpreter/testing/embedded_interpreter.h"

#include <type_traits>

#include "binding/module_types.h"
#include "binding/pointer_conversion.h"
#include "core/testing/failing_allocation.h"
#include "http/http_response.h"

namespace {

using namespace binding;

// Native objects that no script function makes, lent to scripts under these names.
class Natives {
  public:
    Natives() {
        response_.GetHeaders().SetHeader("ST", "x");
        response_.GetHeaders().SetHeader("USN", "uuid:id::x");
        response_.GetHeaders().SetHeader("EXT", "");
        response_.GetHeaders().SetHeader("Location", "http://10.0.0.1:8080/d.xml");
        answer_.GetHeaders().SetHeader("USN", "urn:schemas-upnp-org:device:ZOMediaServer:1");
        answer_.GetHeaders().SetHeader("Location", "http://10.0.0.1:8080/d.xml");
        answer_.GetHeaders().SetHeader("FriendlyName", "Den");
        Lend<type::HttpUrl>("url", &url_);
        Lend<type::String>("string", &string_);
        Lend<type::String>("empty", &empty_);
        Lend<type::UInt32>("number", &number_);
        Lend<type::Result>("result", &result_);
        Lend<type::TimeInterval>("interval", &interval_);
        Lend<type::TimeStamp>("stamp", &stamp_);
        Lend<type::HttpRequest>("request", &request_);
        Lend<type::HttpRequestContext>("context", &context_);
        Lend<type::HttpResponse>("response", &response_);
        Lend<type::HttpMessage>("message", &answer_);
        Lend<type::Element>("element", &element_);
        Lend<type::ArgumentList>("zeros", &list_);
    }

  private:
    template <typename Type>
    static void Lend(const char* name, typename Type::Native* native) {
        const auto object =
            ScriptObject::Steal(NewPointerObject(native, DescriptorOf<Type>(), kBorrowed));
        PyDict_SetItemString(script::GetGlobals(), name, object.Get());
    }

    NPT_HttpUrl url_{"http://10.0.0.1:8080/d.xml"};
    NPT_String string_{"a text of some length, so that it is not empty"};
    NPT_String empty_;
    NPT_UInt32 number_ = 1;
    NPT_Result result_ = 0;
    NPT_TimeInterval interval_{1.0};
    NPT_TimeStamp stamp_;
    NPT_HttpRequest request_{NPT_HttpUrl("10.0.0.1", 8080, "*"), "M-SEARCH", "HTTP/1.1"};
    NPT_HttpRequestContext context_;
    NPT_HttpResponse response_{200, "OK", "HTTP/1.1"};
    NPT_HttpResponse answer_{200, "OK", "HTTP/1.1"};
    NPT_XmlElementNode element_{"parent"};
    std::aligned_storage_t<sizeof(va_list), alignof(va_list)> zeros_ = {};
    va_list& list_ = reinterpret_cast<va_list&>(zeros_);
};

// (happened, result, exception's type) of a call whose nth allocation fails.
PyObject* CallRefused(PyObject*, PyObject* arguments) {
    long nth = 0;
    PyObject *function = nullptr, *its_arguments = nullptr;
    if (!PyArg_ParseTuple(arguments, "lOO", &nth, &function, &its_arguments)) return nullptr;
    const FailingAllocation failure(nth);
    PyObject* result = PyObject_CallObject(function, its_arguments);
    const bool happened = failure.HasHappened();
    PyObject *exception = nullptr, *value = nullptr, *traceback = nullptr;
    PyErr_Fetch(&exception, &value, &traceback);
    Py_XDECREF(value);
    Py_XDECREF(traceback);
    return Py_BuildValue("iNN", int{happened}, result ? result : NewNone(),
                         exception ? exception : NewNone());
}

PyMethodDef call_refused = {"call_refused", CallRefused, METH_VARARGS, nullptr};

// The functions that allocate, each with arguments that take it through its work, and the argument
// conversions that do.
constexpr char kScript[] = R"(
import sys
import _vireon as v

class Sink(object):
    def write(self, text):
        pass
stdout, sys.stdout = sys.stdout, Sink()  # for the leak lines of results that have no class

class Layer(object):
    pass
engine, device = v.new_Vireon(), v.new_ZoSsdpDeviceInfo()
worker, chain = v.new_CallbackTaskWorkerThread(None), v.new_CallbackTaskWorkerThread(None)
chain.append(device)
v.Vireon_SetCallback(engine, lambda *_: None)
calls = [
    (v.new_PyAutoUnlock2,),
    (v.new_PyAutoLock2,),
    (v.new_ZoSsdpDeviceInfo,),
    (v.new_ZoSsdpDeviceInfo, url, 'an id', interval, 'a usn', 'a name'),
    (v.new_ZoSsdpDeviceInfo, 'no url'),
    (v.ZoSsdpDeviceInfo_GetDescriptionUrl, device, '10.0.0.2'),
    (v.ZoSsdpDeviceInfo_GetDescriptionUrl, chain, '10.0.0.2'),
    (v.ZoSsdpDeviceInfo_GetURLBase, device),
    (v.ZoSsdpDeviceInfo_GetDescription, device, empty),
    (v.ZoSsdpDeviceInfo_GetDescription, device, element),
    (v.ZoSsdpDeviceInfo_GetUUID, device),
    (v.ZoSsdpDeviceInfo_GetBootId, device),
    (v.ZoSsdpDeviceInfo_SetBootId, device, number),
    (v.ZoSsdpDeviceInfo_GenerateNextBootId, device),
    (v.ZoSsdpDeviceInfo_GetConfigId, device),
    (v.ZoSsdpDeviceInfo_SetLeaseTime, device, interval, stamp),
    (v.ZoSsdpDeviceInfo_m_Version_set, device, string),
    (v.ZoSsdpDeviceInfo_m_Version_get, device),
    (v.new_Vireon,),
    (v.Vireon_ProcessSsdpSearchResponse, engine, result, request, context, response),
    (v.Vireon_ProcessSsdpMessage, engine, message, context, string),
    (v.Vireon_InspectDevice, engine, message, url, 'an id', string, interval),
    (v.Vireon_CallbacktoClient, engine, device),
    (v.Vireon__Callback, engine, 'sisi', zeros),
    (v.Vireon_CallBack, engine, 'sisi'),
    (v.Vireon_swigregister, Layer),
    (v.new_SsdpSearchWorkerThread, engine, None, None, interval),
    (v.new_CallbackTaskWorkerThread, engine),
    (v.CallbackTaskWorkerThread_m_pVireon_set, worker, engine),
    (v.CallbackTaskWorkerThread_m_pVireon_get, worker),
]

def call(nth, function, arguments):
    happened, result, exception = call_refused(nth, function, arguments)
    if function.__name__.startswith('new_'):
        getattr(v, 'delete_' + function.__name__[4:])(result)
    return happened, exception

count, wrong = 0, []
for each in calls:
    function, arguments = each[0], each[1:]
    usual = call(sys.maxint, function, arguments)[1]
    nth, happened = 0, True
    while happened:
        nth += 1
        happened, exception = call(nth, function, arguments)
        if exception is MemoryError:
            count += 1
        elif exception is not usual:
            wrong.append((function.__name__, nth, exception))
sys.stdout = stdout
v.delete_CallbackTaskWorkerThread(worker)
v.delete_CallbackTaskWorkerThread(chain)
v.delete_ZoSsdpDeviceInfo(device)
v.delete_Vireon(engine)
)";

TEST(MethodTable, TurnsEveryRefusedAllocationIntoAMemoryErrorOrAResult) {
    const auto module = ScriptObject::Steal(PyImport_ImportModule("_vireon"));
    const auto function = ScriptObject::Steal(PyCFunction_New(&call_refused, nullptr));
    PyDict_SetItemString(script::GetGlobals(), "call_refused", function.Get());
    const Natives natives;
    script::Run(kScript);
    EXPECT_EQ(script::Evaluate("wrong"), "[]");
    EXPECT_EQ(script::Evaluate("count > 100"), "True");
}

}  // namespace
