// The product's binding from the inside, for tests: native objects that no script function makes,
// and the parts of the runtime that the module's own tables have no use for (packed values,
// constants, documentation, implicit conversion).
#include <Python.h>

#include <memory>
#include <unordered_set>

#include "binding/constants.h"
#include "binding/conversion_error.h"
#include "binding/module_types.h"
#include "binding/packed_value.h"
#include "binding/pointer_conversion.h"
#include "http/http_response.h"
#include "net/udp_socket.h"

namespace {

using binding::DescriptorOf;

// Most natives are never deleted; known here they are no leak.
std::unordered_set<void*>& Natives() {
    static auto& natives = *new std::unordered_set<void*>;
    return natives;
}

// A borrowed pointer: tests delete the native object themselves, hand it over or leave it.
template <typename Type>
PyObject* Wrap(typename Type::Native* native) {
    Natives().insert(native);
    return binding::NewPointerObject(native, DescriptorOf<Type>(), binding::kBorrowed);
}

template <typename Type>
typename Type::Native* Unwrap(PyObject* object) {
    binding::ConvertedPointer converted;
    if (binding::ConvertPointer(object, DescriptorOf<Type>(), 0, converted) < 0) {
        PyErr_SetString(PyExc_TypeError, Type::kText);
        return nullptr;
    }
    return static_cast<typename Type::Native*>(converted.address);
}

template <typename Type>
PyObject* Delete(PyObject*, PyObject* object) {
    typename Type::Native* native = Unwrap<Type>(object);
    Natives().erase(native);
    delete native;
    return native ? binding::NewNone() : nullptr;
}

PyObject* NewString(PyObject*, PyObject* arguments) {
    const char* text = nullptr;
    if (!PyArg_ParseTuple(arguments, "s", &text)) return nullptr;
    return Wrap<binding::type::String>(new NPT_String(text));
}

PyObject* ReadString(PyObject*, PyObject* object) {
    const NPT_String* text = Unwrap<binding::type::String>(object);
    return text ? PyString_FromString(text->GetChars()) : nullptr;
}

PyObject* NewUrl(PyObject*, PyObject* arguments) {
    const char* text = nullptr;
    if (!PyArg_ParseTuple(arguments, "s", &text)) return nullptr;
    return Wrap<binding::type::HttpUrl>(new NPT_HttpUrl(text));
}

PyObject* ReadUrl(PyObject*, PyObject* object) {
    const NPT_HttpUrl* url = Unwrap<binding::type::HttpUrl>(object);
    return url ? PyString_FromString(url->ToString().GetChars()) : nullptr;
}

PyObject* NewRequest(PyObject*, PyObject*) {
    return Wrap<binding::type::HttpRequest>(
        new NPT_HttpRequest(NPT_HttpUrl("239.255.255.250", 31288, "*"), "M-SEARCH", "HTTP/1.1"));
}

PyObject* NewContext(PyObject*, PyObject*) {
    return Wrap<binding::type::HttpRequestContext>(new NPT_HttpRequestContext());
}

PyObject* NewResponse(PyObject*, PyObject* arguments) {
    int code = 0;
    PyObject* headers = nullptr;
    if (!PyArg_ParseTuple(arguments, "iO!", &code, &PyDict_Type, &headers)) return nullptr;
    auto response = std::make_unique<NPT_HttpResponse>(code, "OK", "HTTP/1.1");
    PyObject *name = nullptr, *value = nullptr;
    for (Py_ssize_t position = 0; PyDict_Next(headers, &position, &name, &value);)
        response->GetHeaders().SetHeader(PyString_AsString(name), PyString_AsString(value));
    return Wrap<binding::type::HttpResponse>(response.release());
}

PyObject* MessageOf(PyObject*, PyObject* object) {
    return Wrap<binding::type::HttpMessage>(Unwrap<binding::type::HttpResponse>(object));
}

PyObject* NewSocket(PyObject*, PyObject*) {
    return Wrap<binding::type::UdpSocket>(new NPT_UdpSocket());
}

PyObject* NewElement(PyObject*, PyObject*) {
    return Wrap<binding::type::Element>(new NPT_XmlElementNode("parent"));
}

PyObject* CountChildren(PyObject*, PyObject* object) {
    NPT_XmlElementNode* element = Unwrap<binding::type::Element>(object);
    return element ? PyInt_FromSize_t(element->GetChildren().GetItemCount()) : nullptr;
}

// A wrapped pointer of any type of the module, by its mangled name.
PyObject* WrapAddress(PyObject*, PyObject* arguments) {
    unsigned long long address = 0;
    const char* name = nullptr;
    int own = 0;
    if (!PyArg_ParseTuple(arguments, "Kz|i", &address, &name, &own)) return nullptr;
    binding::TypeDescriptor* type =
        name ? binding::QueryType(binding::OwnModule(), name, name) : nullptr;
    return binding::NewPointerObject(reinterpret_cast<void*>(static_cast<std::uintptr_t>(address)),
                                     type, own ? binding::kOwned : binding::kBorrowed);
}

// (mangled name or None, human name) of the type that a query finds.
PyObject* Query(PyObject*, PyObject* arguments) {
    const char *name = nullptr, *human_name = nullptr;
    if (!PyArg_ParseTuple(arguments, "ss", &name, &human_name)) return nullptr;
    const binding::TypeDescriptor* type =
        binding::QueryType(binding::OwnModule(), name, human_name);
    return type ? PyString_FromString(type->name) : binding::NewNone();
}

// (code, address) of a conversion with the given flags.
PyObject* Convert(PyObject*, PyObject* arguments) {
    PyObject* object = nullptr;
    const char* name = nullptr;
    int flags = 0;
    if (!PyArg_ParseTuple(arguments, "Ozi", &object, &name, &flags)) return nullptr;
    binding::ConvertedPointer converted;
    binding::TypeDescriptor* type =
        name ? binding::QueryType(binding::OwnModule(), name, name) : nullptr;
    const int code = binding::ConvertPointer(object, type, flags, converted);
    return Py_BuildValue("iN", code, PyLong_FromVoidPtr(converted.address));
}

// (result, what is pending then) of a call that is made while an exception is pending, as a host
// may make it that has not looked yet.
PyObject* CallWithPending(PyObject*, PyObject* arguments) {
    PyObject *exception = nullptr, *function = nullptr, *its_arguments = nullptr;
    if (!PyArg_ParseTuple(arguments, "OOO!", &exception, &function, &PyTuple_Type, &its_arguments))
        return nullptr;
    PyErr_SetNone(exception);
    PyObject* result = PyObject_CallObject(function, its_arguments);
    PyObject *pending = nullptr, *value = nullptr, *traceback = nullptr;
    PyErr_Fetch(&pending, &value, &traceback);
    Py_XDECREF(value);
    Py_XDECREF(traceback);
    return Py_BuildValue("NN", result ? result : binding::NewNone(),
                         pending ? pending : binding::NewNone());
}

PyObject* ExceptionFor(PyObject*, PyObject* arguments) {
    int code = 0;
    if (!PyArg_ParseTuple(arguments, "i", &code)) return nullptr;
    PyObject* exception = binding::ExceptionFor(code);
    Py_INCREF(exception);
    return exception;
}

PyObject* Packed(PyObject*, PyObject* arguments) {
    const char* bytes = nullptr;
    int size = 0;
    if (!PyArg_ParseTuple(arguments, "s#", &bytes, &size)) return nullptr;
    return binding::NewPackedValue(bytes, static_cast<std::size_t>(size),
                                   DescriptorOf<binding::type::Result>());
}

binding::TypeDescriptor** ResultType() {
    return &binding::OwnModule().types[binding::type::Result::kIndex];
}

int number = 7;
char bytes[] = "\x01\xab";

const binding::Constant* Constants() {
    static const binding::Constant constants[] = {
        {binding::kPointerConstant, "NUMBER", 0, 0, &number, ResultType()},
        {binding::kPointerConstant, "NOWHERE", 0, 0, nullptr, ResultType()},
        {1, "IGNORED", 3, 0, nullptr, nullptr},
        {binding::kPackedConstant, "BYTES", 2, 0, bytes, ResultType()},
        {binding::kPackedConstant, "NO_BYTES", 0, 0, nullptr, ResultType()},
        {0, nullptr, 0, 0, nullptr, nullptr}};
    return constants;
}

PyObject* InstalledConstants(PyObject*, PyObject*) {
    PyObject* dictionary = PyDict_New();
    if (dictionary) binding::InstallConstants(dictionary, Constants());
    return dictionary;
}

PyObject* NumberAddress(PyObject*, PyObject*) {
    return PyLong_FromVoidPtr(&number);
}

// What becomes of a function's documentation.
PyObject* Documentation(PyObject*, PyObject* arguments) {
    const char* text = nullptr;
    if (!PyArg_ParseTuple(arguments, "z", &text)) return nullptr;
    PyMethodDef methods[] = {{"f", nullptr, METH_VARARGS, text}, {nullptr, nullptr, 0, nullptr}};
    binding::CompleteDocumentation(methods, Constants());
    const char* completed = methods[0].ml_doc;
    PyObject* result = Py_BuildValue("z", completed);
    // A method table would keep the new text for good.
    if (completed != text) PyMem_Free(const_cast<char*>(completed));
    return result;
}

PyMethodDef methods[] = {{"string", NewString, METH_VARARGS, nullptr},
                         {"delete_string", Delete<binding::type::String>, METH_O, nullptr},
                         {"read_string", ReadString, METH_O, nullptr},
                         {"url", NewUrl, METH_VARARGS, nullptr},
                         {"read_url", ReadUrl, METH_O, nullptr},
                         {"request", NewRequest, METH_NOARGS, nullptr},
                         {"context", NewContext, METH_NOARGS, nullptr},
                         {"response", NewResponse, METH_VARARGS, nullptr},
                         {"message", MessageOf, METH_O, nullptr},
                         {"socket", NewSocket, METH_NOARGS, nullptr},
                         {"element", NewElement, METH_NOARGS, nullptr},
                         {"delete_element", Delete<binding::type::Element>, METH_O, nullptr},
                         {"count_children", CountChildren, METH_O, nullptr},
                         {"wrap", WrapAddress, METH_VARARGS, nullptr},
                         {"query", Query, METH_VARARGS, nullptr},
                         {"convert", Convert, METH_VARARGS, nullptr},
                         {"call_with_pending", CallWithPending, METH_VARARGS, nullptr},
                         {"exception_for", ExceptionFor, METH_VARARGS, nullptr},
                         {"packed", Packed, METH_VARARGS, nullptr},
                         {"constants", InstalledConstants, METH_NOARGS, nullptr},
                         {"number_address", NumberAddress, METH_NOARGS, nullptr},
                         {"documentation", Documentation, METH_VARARGS, nullptr},
                         {nullptr, nullptr, 0, nullptr}};

}  // namespace

PyMODINIT_FUNC initvireon_probe() {
    if (!Py_InitModule("vireon_probe", methods)) return;
    binding::JoinFamily(binding::OwnModule());
}
