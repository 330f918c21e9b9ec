#include "binding/interpreter/testing/embedded_interpreter.h"

#include "engine/device_dictionary.h"

#include <string>

namespace {

std::string Print(const ScriptObject& object) {
    const ScriptObject text = ScriptObject::Steal(PyObject_Repr(object.Get()));
    return PyString_AsString(text.Get());
}

class DeviceDictionary : public testing::Test {
  protected:
    ZoSsdpDeviceInfo device_{NPT_HttpUrl("http://10.0.0.1:8080/d.xml?a=b"), "abc",
                             NPT_TimeInterval(60.0), "the usn", "Den"};
};

TEST_F(DeviceDictionary, HasFifteenEntries) {
    device_.m_HttpPort = "8080";
    device_.m_HttpsPort = "8443";
    device_.m_Manufacturer = "a maker";
    device_.m_ManufacturerURL = "http://maker/";
    device_.m_ModelDescription = "a model";
    device_.m_ModelName = "name";
    device_.m_ModelURL = "http://model/";
    device_.m_ModelNumber = "7";
    device_.m_SerialNumber = "0815";
    device_.m_WebsocketPort = "8081";
    device_.m_DBStatus = "ready";
    device_.m_Version = "1.2";
    device_.m_PresentationURL = "not passed";
    script::ExpectLocked();
    const ScriptObject dictionary = BuildDeviceDictionary(device_);
    ASSERT_TRUE(dictionary);
    const ScriptObject expected = ScriptObject::Steal(Py_BuildValue(
        "{ssssssssssssssssssssssssssssss}", "location", "http://10.0.0.1:8080/d.xml?a=b", "usn",
        "the usn", "friendlyName", "Den", "HttpPort", "8080", "HttpsPort", "8443", "manufacturer",
        "a maker", "manufacturerURL", "http://maker/", "modelDescription", "a model", "modelName",
        "name", "modelURL", "http://model/", "modelNumber", "7", "serialNumber", "0815",
        "WebsocketPort", "8081", "DBStatus", "ready", "version", "1.2"));
    EXPECT_EQ(PyObject_RichCompareBool(dictionary.Get(), expected.Get(), Py_EQ), 1)
        << Print(dictionary);
}

TEST_F(DeviceDictionary, HasUnicodeKeysAndByteStringValuesOfItsOwn) {
    script::ExpectLocked();
    const ScriptObject dictionary = BuildDeviceDictionary(device_);
    ASSERT_TRUE(dictionary);
    EXPECT_EQ(PyDict_Size(dictionary.Get()), 15);
    PyObject* key = nullptr;
    PyObject* value = nullptr;
    Py_ssize_t position = 0;
    while (PyDict_Next(dictionary.Get(), &position, &key, &value)) {
        EXPECT_TRUE(PyUnicode_CheckExact(key));
        EXPECT_TRUE(PyString_CheckExact(value));
        EXPECT_EQ(Py_REFCNT(key), 1);
        if (PyString_Size(value) > 1) {
            EXPECT_EQ(Py_REFCNT(value), 1);
        }
    }
    EXPECT_EQ(Py_REFCNT(dictionary.Get()), 1);
}

TEST_F(DeviceDictionary, PassesBytesOnAsTheyAre) {
    device_.m_ModelName = "\xC3\xA9\xFF<&>\x01";
    script::ExpectLocked();
    const ScriptObject dictionary = BuildDeviceDictionary(device_);
    ASSERT_TRUE(dictionary);
    EXPECT_STREQ(PyString_AsString(PyDict_GetItemString(dictionary.Get(), "modelName")),
                 "\xC3\xA9\xFF<&>\x01");
}

}  // namespace
