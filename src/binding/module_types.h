#ifndef VIREON_BINDING_MODULE_TYPES_H
#define VIREON_BINDING_MODULE_TYPES_H

#include <cstdarg>
#include <cstddef>
#include <string_view>

#include "binding/interpreter/interpreter_lock.h"
#include "binding/module_family.h"
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

// Where the pointer type to what text names stands in the table; one that is not there does not
// compile.
constexpr std::size_t TypeIndex(std::string_view text) {
    const std::size_t star = text.size() + (text.back() == '*' ? 0 : 1);
    for (std::size_t index = 0;; ++index) {
        const std::string_view human = kTypeNames[index].human_name;
        const std::string_view pointer = human.substr(0, human.find('|'));
        if (pointer.size() == star + 1 && pointer.back() == '*' &&
            pointer.substr(0, text.size()) == text)
            return index;
    }
}

// This module's record: one for the life of the process.
ModuleRecord& OwnModule();

// The types that signatures are made of: the native type, the text that messages show for it and
// its place in the module's array of descriptors. They are types of their own because several
// native ones (NPT_Result, zorvane::Int32) are the same integer and differ for scripts.
namespace type {

#define VIREON_TYPE(name, native)                                 \
    struct name {                                                 \
        using Native = native;                                    \
        static constexpr const char* kText = #native;             \
        static constexpr std::size_t kIndex = TypeIndex(#native); \
    }

// A blank stands before a star, as in the table.
// clang-format off
VIREON_TYPE(DispatchWorker, CallbackTaskWorkerThread);
VIREON_TYPE(HttpMessage, NPT_HttpMessage);
VIREON_TYPE(HttpRequest, NPT_HttpRequest);
VIREON_TYPE(HttpRequestContext, NPT_HttpRequestContext);
VIREON_TYPE(HttpResponse, NPT_HttpResponse);
VIREON_TYPE(HttpUrl, NPT_HttpUrl);
VIREON_TYPE(Result, NPT_Result);
VIREON_TYPE(String, NPT_String);
VIREON_TYPE(TimeInterval, NPT_TimeInterval);
VIREON_TYPE(TimeStamp, NPT_TimeStamp);
VIREON_TYPE(UInt32, NPT_UInt32);
VIREON_TYPE(UdpSocket, NPT_UdpSocket);
VIREON_TYPE(Element, NPT_XmlElementNode);
VIREON_TYPE(ElementPointer, NPT_XmlElementNode *);
VIREON_TYPE(LockGuard, PyAutoLock2);
VIREON_TYPE(UnlockGuard, PyAutoUnlock2);
VIREON_TYPE(SearchWorker, SsdpSearchWorkerThread);
VIREON_TYPE(Engine, Vireon);
VIREON_TYPE(DeviceInfo, ZoSsdpDeviceInfo);
VIREON_TYPE(ArgumentList, va_list);
VIREON_TYPE(Int32, zorvane::Int32);
// clang-format on

#undef VIREON_TYPE

}  // namespace type

// The descriptor in use for the type: this module's own or the one that a sibling brought first.
template <typename Type>
TypeDescriptor* DescriptorOf() {
    return OwnModule().types[Type::kIndex];
}

}  // namespace binding

#endif
