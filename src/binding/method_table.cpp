#include "binding/method_table.h"

#include <array>
#include <cstdarg>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <tuple>
#include <utility>

#include "binding/interpreter/interpreter_lock.h"
#include "binding/module_types.h"
#include "binding/script_function.h"

namespace binding {

namespace {

// Native operations that are no single call

// Null without memory for the object itself; what its constructor lacks memory for, it throws.
template <typename Native>
constexpr auto Create = [](auto&&... arguments) {
    return new (std::nothrow) Native(std::forward<decltype(arguments)>(arguments)...);
};

template <typename Native>
constexpr auto Destroy = [](Native* native) { delete native; };

// A guard that let go of the interpreter lock could not return to a script. This one is made while
// the lock is released already, so it finds nothing to release and holds nothing.
PyAutoUnlock2* NewHarmlessUnlockGuard() {
    const PyAutoUnlock2 released;
    return new (std::nothrow) PyAutoUnlock2;
}

// The three shapes of GetDescription, told apart for the compiler.
NPT_Result DescribeAsText(ZoSsdpDeviceInfo* device, NPT_String& text) {
    return device->GetDescription(text);
}
NPT_Result DescribeBelow(ZoSsdpDeviceInfo* device, NPT_XmlElementNode* parent,
                         NPT_XmlElementNode** element) {
    return device->GetDescription(parent, element);
}
NPT_Result DescribeBelowUnseen(ZoSsdpDeviceInfo* device, NPT_XmlElementNode* parent) {
    return device->GetDescription(parent, nullptr);
}

NPT_String StoredDescriptionUrl(ZoSsdpDeviceInfo* device) {
    return device->GetDescriptionUrl(nullptr);
}

NPT_Result RenewLease(ZoSsdpDeviceInfo* device, NPT_TimeInterval lease_time) {
    return device->SetLeaseTime(lease_time);
}

// A list of zeros is the one of a caller that has no arguments.
bool IsEmptyList(const void* list) {
    constexpr std::size_t kSize = sizeof(va_list);
    static const char zeros[kSize] = {};
    return std::memcmp(list, zeros, kSize) == 0;
}

PyObject* CallBackWithList(Vireon* engine, const char* format, va_list& arguments)
    REQUIRES(interpreter_lock) {
    if (IsEmptyList(&arguments)) return engine->CallbackWithoutArguments(format);
    va_list copy;
    va_copy(copy, arguments);
    PyObject* result = engine->_Callback(format, copy);
    va_end(copy);
    return result;
}

void CallBackWithFormat(Vireon* engine, const char* format) REQUIRES(interpreter_lock) {
    ScriptObject::Steal(engine->CallbackWithoutArguments(format));
}

void SetClosed(Vireon* engine, bool closed) {
    engine->isClosed = closed;
}
bool IsClosed(Vireon* engine) {
    return engine->isClosed;
}

void SetWorkerEngine(CallbackTaskWorkerThread* worker, Vireon* engine) {
    worker->SetEngine(engine);
}
Vireon* GetWorkerEngine(CallbackTaskWorkerThread* worker) {
    return worker->GetEngine();
}

// Fields of the device record

constexpr auto SetField(const char* name, NPT_String ZoSsdpDeviceInfo::*field) {
    return Function<Nothing(Self<type::DeviceInfo>, Value<type::String>)>(
        name, [field](ZoSsdpDeviceInfo* device, const NPT_String& text) { device->*field = text; });
}

constexpr auto GetField(const char* name, NPT_String ZoSsdpDeviceInfo::*field) {
    return Function<Owned<type::String>(Self<type::DeviceInfo>)>(name, field);
}

// clang-format off
constexpr auto kFunctions = std::make_tuple(
    Function<Boolean()>("IsCurrentThreadHoldPythonGIL2", IsCurrentThreadHoldPythonGIL2),
    Function<New<type::UnlockGuard>()>("new_PyAutoUnlock2", NewHarmlessUnlockGuard),
    Function<Nothing(Disowned<type::UnlockGuard>)>("delete_PyAutoUnlock2", Destroy<PyAutoUnlock2>),
    Registration<type::UnlockGuard>("PyAutoUnlock2_swigregister"),
    Function<New<type::LockGuard>()>("new_PyAutoLock2", Create<PyAutoLock2>),
    Function<Nothing(Disowned<type::LockGuard>)>("delete_PyAutoLock2", Destroy<PyAutoLock2>),
    Registration<type::LockGuard>("PyAutoLock2_swigregister"),
    Function<Status(Object, Object, Object)>("PyDict_SetItem2", PyDict_SetItem2),

    Overloaded("new_ZoSsdpDeviceInfo",
        Overload<New<type::DeviceInfo>(Value<type::HttpUrl>, Text, Value<type::TimeInterval>, Text, Text)>(
            "ZoSsdpDeviceInfo(NPT_HttpUrl,char const *,NPT_TimeInterval,char const *,char const *)", Create<ZoSsdpDeviceInfo>),
        Overload<New<type::DeviceInfo>(Value<type::HttpUrl>, Text, Value<type::TimeInterval>, Text)>(
            "ZoSsdpDeviceInfo(NPT_HttpUrl,char const *,NPT_TimeInterval,char const *)", Create<ZoSsdpDeviceInfo>),
        Overload<New<type::DeviceInfo>(Value<type::HttpUrl>, Text, Value<type::TimeInterval>)>(
            "ZoSsdpDeviceInfo(NPT_HttpUrl,char const *,NPT_TimeInterval)", Create<ZoSsdpDeviceInfo>),
        Overload<New<type::DeviceInfo>(Value<type::HttpUrl>, Text)>(
            "ZoSsdpDeviceInfo(NPT_HttpUrl,char const *)", Create<ZoSsdpDeviceInfo>),
        Overload<New<type::DeviceInfo>(Value<type::HttpUrl>)>(
            "ZoSsdpDeviceInfo(NPT_HttpUrl)", Create<ZoSsdpDeviceInfo>),
        Overload<New<type::DeviceInfo>()>(
            "ZoSsdpDeviceInfo()", Create<ZoSsdpDeviceInfo>)),
    Function<Nothing(Disowned<type::DeviceInfo>)>("delete_ZoSsdpDeviceInfo", Destroy<ZoSsdpDeviceInfo>),
    Overloaded("ZoSsdpDeviceInfo_GetDescriptionUrl",
        Overload<Owned<type::String>(Self<type::DeviceInfo>, Text)>(
            "GetDescriptionUrl(char const *)", &ZoSsdpDeviceInfo::GetDescriptionUrl),
        Overload<Owned<type::String>(Self<type::DeviceInfo>)>(
            "GetDescriptionUrl()", StoredDescriptionUrl)),
    Function<Owned<type::HttpUrl>(Self<type::DeviceInfo>)>("ZoSsdpDeviceInfo_GetURLBase", &ZoSsdpDeviceInfo::GetURLBase),
    Overloaded("ZoSsdpDeviceInfo_GetDescription",
        Overload<Owned<type::Result>(Self<type::DeviceInfo>, Reference<type::String>)>(
            "GetDescription(NPT_String &)", DescribeAsText),
        Overload<Owned<type::Result>(Self<type::DeviceInfo>, Pointer<type::Element>, Pointer<type::ElementPointer>)>(
            "GetDescription(NPT_XmlElementNode *,NPT_XmlElementNode **)", DescribeBelow),
        Overload<Owned<type::Result>(Self<type::DeviceInfo>, Pointer<type::Element>)>(
            "GetDescription(NPT_XmlElementNode *)", DescribeBelowUnseen)),
    Function<Borrowed<type::TimeInterval>(ConstSelf<type::DeviceInfo>)>("ZoSsdpDeviceInfo_GetLeaseTime", &ZoSsdpDeviceInfo::GetLeaseTime),
    Function<Borrowed<type::String>(ConstSelf<type::DeviceInfo>)>("ZoSsdpDeviceInfo_GetUUID", &ZoSsdpDeviceInfo::GetUUID),
    Function<Borrowed<type::String>(ConstSelf<type::DeviceInfo>)>("ZoSsdpDeviceInfo_GetFriendlyName", &ZoSsdpDeviceInfo::GetFriendlyName),
    Function<Borrowed<type::String>(ConstSelf<type::DeviceInfo>)>("ZoSsdpDeviceInfo_GetType", &ZoSsdpDeviceInfo::GetType),
    Function<Borrowed<type::String>(ConstSelf<type::DeviceInfo>)>("ZoSsdpDeviceInfo_GetModelDescription", &ZoSsdpDeviceInfo::GetModelDescription),
    Function<Owned<type::UInt32>(Self<type::DeviceInfo>)>("ZoSsdpDeviceInfo_GetBootId", &ZoSsdpDeviceInfo::GetBootId),
    Function<Nothing(Self<type::DeviceInfo>, Value<type::UInt32>)>("ZoSsdpDeviceInfo_SetBootId", &ZoSsdpDeviceInfo::SetBootId),
    Function<Nothing(Self<type::DeviceInfo>, Value<type::UInt32>)>("ZoSsdpDeviceInfo_SetNextBootId", &ZoSsdpDeviceInfo::SetNextBootId),
    Function<Owned<type::UInt32>(Self<type::DeviceInfo>)>("ZoSsdpDeviceInfo_GenerateNextBootId", &ZoSsdpDeviceInfo::GenerateNextBootId),
    Function<Owned<type::UInt32>(Self<type::DeviceInfo>)>("ZoSsdpDeviceInfo_GetConfigId", &ZoSsdpDeviceInfo::GetConfigId),
    Overloaded("ZoSsdpDeviceInfo_SetLeaseTime",
        Overload<Owned<type::Result>(Self<type::DeviceInfo>, Value<type::TimeInterval>, Value<type::TimeStamp>)>(
            "SetLeaseTime(NPT_TimeInterval,NPT_TimeStamp)", &ZoSsdpDeviceInfo::SetLeaseTime),
        Overload<Owned<type::Result>(Self<type::DeviceInfo>, Value<type::TimeInterval>)>(
            "SetLeaseTime(NPT_TimeInterval)", RenewLease)),
    SetField("ZoSsdpDeviceInfo_m_Manufacturer_set", &ZoSsdpDeviceInfo::m_Manufacturer),
    GetField("ZoSsdpDeviceInfo_m_Manufacturer_get", &ZoSsdpDeviceInfo::m_Manufacturer),
    SetField("ZoSsdpDeviceInfo_m_ManufacturerURL_set", &ZoSsdpDeviceInfo::m_ManufacturerURL),
    GetField("ZoSsdpDeviceInfo_m_ManufacturerURL_get", &ZoSsdpDeviceInfo::m_ManufacturerURL),
    SetField("ZoSsdpDeviceInfo_m_ModelDescription_set", &ZoSsdpDeviceInfo::m_ModelDescription),
    GetField("ZoSsdpDeviceInfo_m_ModelDescription_get", &ZoSsdpDeviceInfo::m_ModelDescription),
    SetField("ZoSsdpDeviceInfo_m_ModelName_set", &ZoSsdpDeviceInfo::m_ModelName),
    GetField("ZoSsdpDeviceInfo_m_ModelName_get", &ZoSsdpDeviceInfo::m_ModelName),
    SetField("ZoSsdpDeviceInfo_m_ModelNumber_set", &ZoSsdpDeviceInfo::m_ModelNumber),
    GetField("ZoSsdpDeviceInfo_m_ModelNumber_get", &ZoSsdpDeviceInfo::m_ModelNumber),
    SetField("ZoSsdpDeviceInfo_m_ModelURL_set", &ZoSsdpDeviceInfo::m_ModelURL),
    GetField("ZoSsdpDeviceInfo_m_ModelURL_get", &ZoSsdpDeviceInfo::m_ModelURL),
    SetField("ZoSsdpDeviceInfo_m_SerialNumber_set", &ZoSsdpDeviceInfo::m_SerialNumber),
    GetField("ZoSsdpDeviceInfo_m_SerialNumber_get", &ZoSsdpDeviceInfo::m_SerialNumber),
    SetField("ZoSsdpDeviceInfo_m_PresentationURL_set", &ZoSsdpDeviceInfo::m_PresentationURL),
    GetField("ZoSsdpDeviceInfo_m_PresentationURL_get", &ZoSsdpDeviceInfo::m_PresentationURL),
    SetField("ZoSsdpDeviceInfo_m_HttpPort_set", &ZoSsdpDeviceInfo::m_HttpPort),
    GetField("ZoSsdpDeviceInfo_m_HttpPort_get", &ZoSsdpDeviceInfo::m_HttpPort),
    SetField("ZoSsdpDeviceInfo_m_HttpsPort_set", &ZoSsdpDeviceInfo::m_HttpsPort),
    GetField("ZoSsdpDeviceInfo_m_HttpsPort_get", &ZoSsdpDeviceInfo::m_HttpsPort),
    SetField("ZoSsdpDeviceInfo_m_WebsocketPort_set", &ZoSsdpDeviceInfo::m_WebsocketPort),
    GetField("ZoSsdpDeviceInfo_m_WebsocketPort_get", &ZoSsdpDeviceInfo::m_WebsocketPort),
    SetField("ZoSsdpDeviceInfo_m_DBStatus_set", &ZoSsdpDeviceInfo::m_DBStatus),
    GetField("ZoSsdpDeviceInfo_m_DBStatus_get", &ZoSsdpDeviceInfo::m_DBStatus),
    SetField("ZoSsdpDeviceInfo_m_Version_set", &ZoSsdpDeviceInfo::m_Version),
    GetField("ZoSsdpDeviceInfo_m_Version_get", &ZoSsdpDeviceInfo::m_Version),
    Registration<type::DeviceInfo>("ZoSsdpDeviceInfo_swigregister"),

    Function<New<type::Engine>()>("new_Vireon", Create<Vireon>),
    Function<Nothing(Disowned<type::Engine>)>("delete_Vireon", Destroy<Vireon>),
    Function<Owned<type::Int32>(Self<type::Engine>)>("Vireon_SearchDevices", &Vireon::SearchDevices),
    Function<Nothing(Self<type::Engine>)>("Vireon_Stop", &Vireon::Stop),
    Function<Nothing(Self<type::Engine>, Float)>("Vireon_SetInterVal", &Vireon::SetInterVal),
    Function<Nothing(Self<type::Engine>, Object)>("Vireon_SetCallback", &Vireon::SetCallback),
    Function<Owned<type::Result>(Self<type::Engine>, Value<type::Result>, ConstReference<type::HttpRequest>, ConstReference<type::HttpRequestContext>, Pointer<type::HttpResponse>)>(
        "Vireon_ProcessSsdpSearchResponse", &Vireon::ProcessSsdpSearchResponse),
    Function<Owned<type::Result>(Self<type::Engine>, ConstReference<type::HttpMessage>, ConstReference<type::HttpRequestContext>, Reference<type::String>)>(
        "Vireon_ProcessSsdpMessage", &Vireon::ProcessSsdpMessage),
    Function<Owned<type::Result>(Self<type::Engine>, ConstReference<type::HttpMessage>, ConstReference<type::HttpUrl>, Text, ConstPointer<type::String>, Value<type::TimeInterval>)>(
        "Vireon_InspectDevice", &Vireon::InspectDevice),
    Function<Nothing(Self<type::Engine>, Pointer<type::DeviceInfo>)>("Vireon_CallbacktoClient", &Vireon::CallbacktoClient),
    Function<Unchanged(Self<type::Engine>, Text, Value<type::ArgumentList>)>("Vireon__Callback", CallBackWithList),
    Variadic<Nothing(Self<type::Engine>, Text)>("Vireon_CallBack", CallBackWithFormat),
    Function<Nothing(Self<type::Engine>, Bool)>("Vireon_isClosed_set", SetClosed),
    Function<Boolean(Self<type::Engine>)>("Vireon_isClosed_get", IsClosed),
    Registration<type::Engine>("Vireon_swigregister"),

    Function<New<type::SearchWorker>(Pointer<type::Engine>, Pointer<type::UdpSocket>, Pointer<type::HttpRequest>, Value<type::TimeInterval>)>(
        "new_SsdpSearchWorkerThread", Create<SsdpSearchWorkerThread>),
    Function<Nothing(Disowned<type::SearchWorker>)>("delete_SsdpSearchWorkerThread", Destroy<SsdpSearchWorkerThread>),
    Function<Boolean(Self<type::SearchWorker>)>("SsdpSearchWorkerThread_IsStopped", &SsdpSearchWorkerThread::IsStopped),
    Function<Nothing(Self<type::SearchWorker>)>("SsdpSearchWorkerThread_Close", &SsdpSearchWorkerThread::Close),
    Registration<type::SearchWorker>("SsdpSearchWorkerThread_swigregister"),

    Function<New<type::DispatchWorker>(Pointer<type::Engine>)>("new_CallbackTaskWorkerThread", Create<CallbackTaskWorkerThread>),
    Function<Nothing(Disowned<type::DispatchWorker>)>("delete_CallbackTaskWorkerThread", Destroy<CallbackTaskWorkerThread>),
    Function<Boolean(Self<type::DispatchWorker>)>("CallbackTaskWorkerThread_IsStopped", &CallbackTaskWorkerThread::IsStopped),
    Function<Nothing(Self<type::DispatchWorker>, Pointer<type::DeviceInfo>)>("CallbackTaskWorkerThread_addTask", &CallbackTaskWorkerThread::addTask),
    Function<Borrowed<type::DeviceInfo>(Self<type::DispatchWorker>)>("CallbackTaskWorkerThread_getTask", &CallbackTaskWorkerThread::getTask),
    Function<Nothing(Self<type::DispatchWorker>)>("CallbackTaskWorkerThread_Close", &CallbackTaskWorkerThread::Close),
    Function<Nothing(Self<type::DispatchWorker>, Pointer<type::Engine>)>("CallbackTaskWorkerThread_m_pVireon_set", SetWorkerEngine),
    Function<Borrowed<type::Engine>(Self<type::DispatchWorker>)>("CallbackTaskWorkerThread_m_pVireon_get", GetWorkerEngine),
    Registration<type::DispatchWorker>("CallbackTaskWorkerThread_swigregister"));
// clang-format on

constexpr std::size_t kFunctionCount = std::tuple_size_v<decltype(kFunctions)>;
static_assert(kFunctionCount == 80);

// What the interpreter calls for one row. No C++ exception reaches it.
template <std::size_t row>
PyObject* Entry(PyObject*, PyObject* arguments) REQUIRES(interpreter_lock) {
    const EntryFromInterpreter entry;
    try {
        return std::get<row>(kFunctions).Call(arguments);
    } catch (const std::bad_alloc&) {
        return PyErr_NoMemory();
    } catch (const std::exception& error) {
        PyErr_SetString(PyExc_RuntimeError, error.what());
    } catch (...) {
        PyErr_SetString(PyExc_RuntimeError, "unknown exception");
    }
    return nullptr;
}

template <std::size_t... row>
std::array<PyMethodDef, kFunctionCount + 1> MakeTable(std::index_sequence<row...>) {
    return {{{std::get<row>(kFunctions).name, Entry<row>, METH_VARARGS, nullptr}...,
             {nullptr, nullptr, 0, nullptr}}};
}

}  // namespace

PyMethodDef* MethodTable() {
    static auto table = MakeTable(std::make_index_sequence<kFunctionCount>());
    return table.data();
}

}  // namespace binding
