#include <Python.h>

#include "engine/device_dictionary.h"

#include <string_view>

#include "binding/interpreter/unicode_text.h"

namespace {

// A wide key is what the interpreter keeps as it is, without decoding it for each device.
bool SetText(PyObject* dictionary, std::wstring_view key, const NPT_String& value)
    REQUIRES(interpreter_lock) {
    PyObject* const name = NewUnicodeText(key);
    PyObject* const text = name ? PyString_FromString(value.GetChars()) : nullptr;
    return PyDict_SetItem2(dictionary, name, text) == 0;
}

}  // namespace

ScriptObject BuildDeviceDictionary(ZoSsdpDeviceInfo& device) {
    using namespace std::string_view_literals;
    const NPT_String location = device.GetDescriptionUrl(nullptr);
    // The keys and their mixed case are what scripts know.
    const struct {
        std::wstring_view key;
        const NPT_String& value;
    } entries[] = {
        {L"location"sv, location},
        {L"usn"sv, device.GetType()},
        {L"friendlyName"sv, device.GetFriendlyName()},
        {L"HttpPort"sv, device.m_HttpPort},
        {L"HttpsPort"sv, device.m_HttpsPort},
        {L"manufacturer"sv, device.m_Manufacturer},
        {L"manufacturerURL"sv, device.m_ManufacturerURL},
        {L"modelDescription"sv, device.m_ModelDescription},
        {L"modelName"sv, device.m_ModelName},
        {L"modelURL"sv, device.m_ModelURL},
        {L"modelNumber"sv, device.m_ModelNumber},
        {L"serialNumber"sv, device.m_SerialNumber},
        {L"WebsocketPort"sv, device.m_WebsocketPort},
        {L"DBStatus"sv, device.m_DBStatus},
        {L"version"sv, device.m_Version},
    };
    ScriptObject dictionary = ScriptObject::Steal(PyDict_New());
    if (!dictionary) return dictionary;
    for (const auto& entry : entries) {
        if (!SetText(dictionary.Get(), entry.key, entry.value)) return ScriptObject();
    }
    return dictionary;
}
