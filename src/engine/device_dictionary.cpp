#include <Python.h>

#include "engine/device_dictionary.h"

namespace {

bool SetText(PyObject* dictionary, const char* key, const NPT_String& value)
    REQUIRES(interpreter_lock) {
    PyObject* const name = PyUnicode_FromString(key);
    PyObject* const text = name ? PyString_FromString(value.GetChars()) : nullptr;
    return PyDict_SetItem2(dictionary, name, text) == 0;
}

}  // namespace

ScriptObject BuildDeviceDictionary(ZoSsdpDeviceInfo& device) {
    const NPT_String location = device.GetDescriptionUrl(nullptr);
    // The keys and their mixed case are what scripts know.
    const struct {
        const char* key;
        const NPT_String& value;
    } entries[] = {
        {"location", location},
        {"usn", device.GetType()},
        {"friendlyName", device.GetFriendlyName()},
        {"HttpPort", device.m_HttpPort},
        {"HttpsPort", device.m_HttpsPort},
        {"manufacturer", device.m_Manufacturer},
        {"manufacturerURL", device.m_ManufacturerURL},
        {"modelDescription", device.m_ModelDescription},
        {"modelName", device.m_ModelName},
        {"modelURL", device.m_ModelURL},
        {"modelNumber", device.m_ModelNumber},
        {"serialNumber", device.m_SerialNumber},
        {"WebsocketPort", device.m_WebsocketPort},
        {"DBStatus", device.m_DBStatus},
        {"version", device.m_Version},
    };
    ScriptObject dictionary = ScriptObject::Steal(PyDict_New());
    if (!dictionary) return dictionary;
    for (const auto& entry : entries) {
        if (!SetText(dictionary.Get(), entry.key, entry.value)) return ScriptObject();
    }
    return dictionary;
}
