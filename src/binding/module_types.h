#ifndef VIREON_BINDING_MODULE_TYPES_H
#define VIREON_BINDING_MODULE_TYPES_H

#include <cstdarg>
#include <cstddef>
#include <string_view>

#include "binding/interpreter/interpreter_lock.h"
#include "binding/module_record.h"
#include "engine/vireon.h"

namespace binding {

// The native pointer types that this module knows.

struct TypeNames {
    const char* name;
    const char* human_name;
};

// Sorted by mangled name in byte order, as searches in the array expect.
inline constexpr TypeNames kTypeNames[] = {
    {"_p_CallbackTaskWorkerThread", "CallbackTaskWorkerThread *"},
    {"_p_NPT_HttpMessage", "NPT_HttpMessage *"},
    {"_p_NPT_HttpRequest", "NPT_HttpRequest *"},
    {"_p_NPT_HttpRequestContext", "NPT_HttpRequestContext *"},
    {"_p_NPT_HttpResponse", "NPT_HttpResponse *"},
    {"_p_NPT_HttpUrl", "NPT_HttpUrl *"},
    {"_p_NPT_Result", "NPT_Result *"},
    {"_p_NPT_String", "NPT_String *"},
    {"_p_NPT_TimeInterval", "NPT_TimeInterval *"},
    {"_p_NPT_TimeStamp", "NPT_TimeStamp *"},
    {"_p_NPT_UInt32", "NPT_UInt32 *"},
    {"_p_NPT_UdpSocket", "NPT_UdpSocket *"},
    {"_p_NPT_XmlElementNode", "NPT_XmlElementNode *"},
    {"_p_PyAutoLock2", "PyAutoLock2 *"},
    {"_p_PyAutoUnlock2", "PyAutoUnlock2 *"},
    {"_p_SsdpSearchWorkerThread", "SsdpSearchWorkerThread *"},
    {"_p_Vireon", "Vireon *"},
    {"_p_ZoSsdpDeviceInfo", "ZoSsdpDeviceInfo *"},
    {"_p_char", "char *|TCHAR *"},
    {"_p_double", "double *|DOUBLE *"},
    {"_p_float", "float *|FLOAT *"},
    {"_p_int", "int *|INT_PTR *"},
    {"_p_long", "long *|LRESULT *"},
    {"_p_long_long", "long long *|int64 *"},
    {"_p_p_NPT_XmlElementNode", "NPT_XmlElementNode **"},
    {"_p_std__queueTZoSsdpDeviceInfo_p_t", "std::queue<ZoSsdpDeviceInfo * > *|CallbackTaskQueue *"},
    {"_p_std__shared_ptrTSsdpSearchWorkerThread_t",
     "std::shared_ptr<SsdpSearchWorkerThread > *|sp_ssdpSearchWorkerThread *"},
    {"_p_std__tr1__shared_ptrTCallbackTaskQueue_t",
     "std::tr1::shared_ptr<CallbackTaskQueue > *|shared_CallbackTaskQueue *"},
    {"_p_std__tr1__shared_ptrTCallbackTaskWorkerThread_t",
     "std::tr1::shared_ptr<CallbackTaskWorkerThread > *|shared_callbackTaskWorkerThread *"},
    {"_p_unsigned_char", "unsigned char *|uint8 *"},
    {"_p_unsigned_int", "unsigned int *|WPARAM *"},
    {"_p_unsigned_long", "unsigned long *|ULONG_PTR *"},
    {"_p_unsigned_long_long", "unsigned long long *|ULONGLONG *"},
    {"_p_unsigned_short", "unsigned short *|WORD *"},
    {"_p_va_list", "va_list *"},
    {"_p_wchar_t", "wchar_t *|WCHAR *"},
    {"_p_zorvane__Int32", "zorvane::Int32 *"},
};
constexpr std::size_t kTypeCount = std::size(kTypeNames);
static_assert(kTypeCount == 37);

// A mangled name that is not in the table does not compile.
constexpr std::size_t TypeIndex(std::string_view name) {
    std::size_t index = 0;
    while (kTypeNames[index].name != name)
        ++index;
    return index;
}

// This module's record: one for the life of the process.
ModuleRecord& OwnModule();

// The types that signatures are made of: the native type, the text that messages show for it and
// its place in the module's array of descriptors. They are types of their own because several
// native ones (NPT_Result, zorvane::Int32) are the same integer and differ for scripts.
namespace type {

struct Worker {
    using Native = CallbackTaskWorkerThread;
    static constexpr const char* kText = "CallbackTaskWorkerThread";
    static constexpr std::size_t kIndex = TypeIndex("_p_CallbackTaskWorkerThread");
};

struct HttpMessage {
    using Native = NPT_HttpMessage;
    static constexpr const char* kText = "NPT_HttpMessage";
    static constexpr std::size_t kIndex = TypeIndex("_p_NPT_HttpMessage");
};

struct HttpRequest {
    using Native = NPT_HttpRequest;
    static constexpr const char* kText = "NPT_HttpRequest";
    static constexpr std::size_t kIndex = TypeIndex("_p_NPT_HttpRequest");
};

struct HttpRequestContext {
    using Native = NPT_HttpRequestContext;
    static constexpr const char* kText = "NPT_HttpRequestContext";
    static constexpr std::size_t kIndex = TypeIndex("_p_NPT_HttpRequestContext");
};

struct HttpResponse {
    using Native = NPT_HttpResponse;
    static constexpr const char* kText = "NPT_HttpResponse";
    static constexpr std::size_t kIndex = TypeIndex("_p_NPT_HttpResponse");
};

struct HttpUrl {
    using Native = NPT_HttpUrl;
    static constexpr const char* kText = "NPT_HttpUrl";
    static constexpr std::size_t kIndex = TypeIndex("_p_NPT_HttpUrl");
};

struct Result {
    using Native = NPT_Result;
    static constexpr const char* kText = "NPT_Result";
    static constexpr std::size_t kIndex = TypeIndex("_p_NPT_Result");
};

struct String {
    using Native = NPT_String;
    static constexpr const char* kText = "NPT_String";
    static constexpr std::size_t kIndex = TypeIndex("_p_NPT_String");
};

struct TimeInterval {
    using Native = NPT_TimeInterval;
    static constexpr const char* kText = "NPT_TimeInterval";
    static constexpr std::size_t kIndex = TypeIndex("_p_NPT_TimeInterval");
};

struct TimeStamp {
    using Native = NPT_TimeStamp;
    static constexpr const char* kText = "NPT_TimeStamp";
    static constexpr std::size_t kIndex = TypeIndex("_p_NPT_TimeStamp");
};

struct UInt32 {
    using Native = NPT_UInt32;
    static constexpr const char* kText = "NPT_UInt32";
    static constexpr std::size_t kIndex = TypeIndex("_p_NPT_UInt32");
};

struct UdpSocket {
    using Native = NPT_UdpSocket;
    static constexpr const char* kText = "NPT_UdpSocket";
    static constexpr std::size_t kIndex = TypeIndex("_p_NPT_UdpSocket");
};

struct Element {
    using Native = NPT_XmlElementNode;
    static constexpr const char* kText = "NPT_XmlElementNode";
    static constexpr std::size_t kIndex = TypeIndex("_p_NPT_XmlElementNode");
};

struct ElementPointer {
    using Native = NPT_XmlElementNode*;
    static constexpr const char* kText = "NPT_XmlElementNode *";
    static constexpr std::size_t kIndex = TypeIndex("_p_p_NPT_XmlElementNode");
};

struct LockGuard {
    using Native = PyAutoLock2;
    static constexpr const char* kText = "PyAutoLock2";
    static constexpr std::size_t kIndex = TypeIndex("_p_PyAutoLock2");
};

struct UnlockGuard {
    using Native = PyAutoUnlock2;
    static constexpr const char* kText = "PyAutoUnlock2";
    static constexpr std::size_t kIndex = TypeIndex("_p_PyAutoUnlock2");
};

struct SearchWorker {
    using Native = SsdpSearchWorkerThread;
    static constexpr const char* kText = "SsdpSearchWorkerThread";
    static constexpr std::size_t kIndex = TypeIndex("_p_SsdpSearchWorkerThread");
};

struct Engine {
    using Native = Vireon;
    static constexpr const char* kText = "Vireon";
    static constexpr std::size_t kIndex = TypeIndex("_p_Vireon");
};

struct DeviceInfo {
    using Native = ZoSsdpDeviceInfo;
    static constexpr const char* kText = "ZoSsdpDeviceInfo";
    static constexpr std::size_t kIndex = TypeIndex("_p_ZoSsdpDeviceInfo");
};

struct Char {
    using Native = char;
    static constexpr const char* kText = "char";
    static constexpr std::size_t kIndex = TypeIndex("_p_char");
};

struct ArgumentList {
    using Native = va_list;
    static constexpr const char* kText = "va_list";
    static constexpr std::size_t kIndex = TypeIndex("_p_va_list");
};

struct Int32 {
    using Native = zorvane::Int32;
    static constexpr const char* kText = "zorvane::Int32";
    static constexpr std::size_t kIndex = TypeIndex("_p_zorvane__Int32");
};

}  // namespace type

// The descriptor in use for the type: this module's own or the one that a sibling brought first.
template <typename Type>
TypeDescriptor* DescriptorOf() {
    return OwnModule().types[Type::kIndex];
}

}  // namespace binding

#endif
