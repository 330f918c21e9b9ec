#include <gtest/gtest.h>

#include <string>

#include "core/string_output_stream.h"
#include "core/testing/failing_allocation.h"
#include "device/zo_ssdp_device_info.h"
#include "xml/xml_writer.h"

namespace {

constexpr const char* kUuid = "0a1b2c3d-0000-1111-2222-333344445555";
constexpr const char* kDeviceType = "urn:schemas-upnp-org:device:ZOMediaServer:1";

ZoSsdpDeviceInfo Record(const char* friendly_name = "Den") {
    return ZoSsdpDeviceInfo(NPT_HttpUrl("http://10.0.0.1:8080/description.xml"), kUuid,
                            NPT_TimeInterval::FromSeconds(60), kDeviceType, friendly_name);
}

std::string ConfigId(const ZoSsdpDeviceInfo& record) {
    return std::to_string(record.GetConfigId());
}

std::string Document(const ZoSsdpDeviceInfo& record) {
    NPT_String text;
    EXPECT_EQ(record.GetDescription(text), NPT_SUCCESS);
    return std::string(text.GetChars(), text.GetLength());
}

std::string ElementText(NPT_XmlElementNode& element) {
    NPT_StringOutputStream stream;
    EXPECT_EQ(NPT_XmlWriter().Serialize(element, stream), NPT_SUCCESS);
    return stream.GetString().GetChars();
}

// What a document looks like around the device's leaves.
std::string Framed(const std::string& config_id, const std::string& leaves) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
           "<root configId=\"" +
           config_id +
           "\" xmlns=\"urn:schemas-upnp-org:device-1-0\""
           " xmlns:dlna=\"urn:schemas-dlna-org:device-1-0\">\r\n"
           "  <specVersion>\r\n"
           "    <major>1</major>\r\n"
           "    <minor>1</minor>\r\n"
           "  </specVersion>\r\n"
           "  <device>\r\n" +
           leaves +
           "  </device>\r\n"
           "</root>";
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Announces itself with an element of its own instead of the record's, or refuses to.
class DerivedRecord : public ZoSsdpDeviceInfo {
  public:
    using ZoSsdpDeviceInfo::GetDescription;
    NPT_Result GetDescription(NPT_XmlElementNode* parent,
                              NPT_XmlElementNode** device) const override {
        was_asked_for_device = device != nullptr;
        if (NPT_Failed(result)) return result;
        return parent->AddText("derived");
    }
    NPT_Result result = NPT_SUCCESS;
    mutable bool was_asked_for_device = true;
};

}  // namespace

TEST(DeviceDescription, IsTheDocumentedTextByteForByte) {
    const ZoSsdpDeviceInfo record = Record();
    EXPECT_EQ(Document(record),
              Framed(ConfigId(record),
                     "    <deviceType>urn:schemas-upnp-org:device:ZOMediaServer:1</deviceType>\r\n"
                     "    <friendlyName>Den</friendlyName>\r\n"
                     "    <manufacturer>Zorvane Corporation</manufacturer>\r\n"
                     "    <manufacturerURL>http://www.zorvane.com</manufacturerURL>\r\n"
                     "    <modelDescription></modelDescription>\r\n"
                     "    <modelName></modelName>\r\n"
                     "    <modelURL></modelURL>\r\n"
                     "    <UDN>uuid:0a1b2c3d-0000-1111-2222-333344445555</UDN>\r\n"
                     "    <version></version>\r\n"));
}

TEST(DeviceDescription, HoldsEveryFieldInItsPlace) {
    ZoSsdpDeviceInfo record = Record();
    record.m_Manufacturer = "1";
    record.m_ManufacturerURL = "2";
    record.m_ModelDescription = "3";
    record.m_ModelName = "4";
    record.m_ModelNumber = "5";
    record.m_SerialNumber = "6";
    record.m_ModelURL = "7";
    record.m_Version = "8";
    record.m_PresentationURL = "9";
    record.m_HttpPort = record.m_HttpsPort = record.m_WebsocketPort = record.m_DBStatus = "unseen";
    EXPECT_EQ(Document(record),
              Framed(ConfigId(record),
                     "    <deviceType>urn:schemas-upnp-org:device:ZOMediaServer:1</deviceType>\r\n"
                     "    <friendlyName>Den</friendlyName>\r\n"
                     "    <manufacturer>1</manufacturer>\r\n"
                     "    <manufacturerURL>2</manufacturerURL>\r\n"
                     "    <modelDescription>3</modelDescription>\r\n"
                     "    <modelName>4</modelName>\r\n"
                     "    <modelNumber>5</modelNumber>\r\n"
                     "    <serialNumber>6</serialNumber>\r\n"
                     "    <modelURL>7</modelURL>\r\n"
                     "    <UDN>uuid:0a1b2c3d-0000-1111-2222-333344445555</UDN>\r\n"
                     "    <version>8</version>\r\n"
                     "    <presentationURL>9</presentationURL>\r\n"));
}

TEST(DeviceDescription, EmptyFieldsLeaveOnlyTheObligatoryElements) {
    ZoSsdpDeviceInfo record(NPT_HttpUrl(), kUuid);
    record.m_Manufacturer = "";
    record.m_ManufacturerURL = nullptr;
    EXPECT_EQ(Document(record),
              Framed(ConfigId(record),
                     "    <deviceType></deviceType>\r\n"
                     "    <friendlyName></friendlyName>\r\n"
                     "    <manufacturer></manufacturer>\r\n"
                     "    <manufacturerURL></manufacturerURL>\r\n"
                     "    <modelDescription></modelDescription>\r\n"
                     "    <modelName></modelName>\r\n"
                     "    <modelURL></modelURL>\r\n"
                     "    <UDN>uuid:0a1b2c3d-0000-1111-2222-333344445555</UDN>\r\n"
                     "    <version></version>\r\n"));
}

TEST(DeviceDescription, EscapesMarkup) {
    const struct {
        const char* name;
        const char* written;
    } cases[] = {
        {"A&B <x>", "A&amp;B &lt;x&gt;"},
        {"]]></friendlyName>", "]]&gt;&lt;/friendlyName&gt;"},
        {"a\rb\nc\td\"e'f", "a&#xD;b\nc\td\"e'f"},
        {"\x01\x1F\x7F", "\x01\x1F\x7F"},
        {"Z\xC3\xBCrich \xF0\x9F\x93\xBA", "Z\xC3\xBCrich \xF0\x9F\x93\xBA"},
        {"\xFF\xFE", "\xFF\xFE"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.written);
        EXPECT_TRUE(
            Contains(Document(Record(c.name)),
                     "    <friendlyName>" + std::string(c.written) + "</friendlyName>\r\n"));
    }
}

TEST(DeviceDescription, ABlankModelNumberIsWritten) {
    ZoSsdpDeviceInfo record = Record();
    record.m_ModelNumber = " ";
    EXPECT_TRUE(Contains(Document(record), "    <modelNumber> </modelNumber>\r\n"));
}

TEST(DeviceDescription, ChangesWithTheConfigIdOnly) {
    ZoSsdpDeviceInfo record = Record();
    const std::string before = Document(record);
    EXPECT_EQ(Document(record), before);
    const std::string id_before = "configId=\"" + ConfigId(record) + "\"";
    record.UpdateConfigId();
    const std::string after = Document(record);
    EXPECT_NE(after, before);
    std::string renamed = before;
    renamed.replace(renamed.find(id_before), id_before.size(),
                    "configId=\"" + ConfigId(record) + "\"");
    EXPECT_EQ(after, renamed);
}

TEST(DeviceDescription, IsAppendedToTheText) {
    const ZoSsdpDeviceInfo record = Record();
    NPT_String text("before ");
    EXPECT_EQ(record.GetDescription(text), NPT_SUCCESS);
    EXPECT_EQ(text.GetChars(), "before " + Document(record));
}

TEST(DeviceDescription, ElementFormAppendsToTheParent) {
    NPT_XmlElementNode parent("parent");
    parent.AddText("t");
    NPT_XmlElementNode* device = nullptr;
    EXPECT_EQ(Record().GetDescription(&parent, &device), NPT_SUCCESS);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->GetParent(), &parent);
    EXPECT_EQ(*parent.GetChildren().GetLastItem(), device);
    EXPECT_STREQ(device->GetTag().GetChars(), "device");
    EXPECT_EQ(device->GetChildren().GetItemCount(), 9u);
}

TEST(DeviceDescription, ElementFormWorksWithoutAnOutPointer) {
    NPT_XmlElementNode with("parent");
    NPT_XmlElementNode without("parent");
    NPT_XmlElementNode* device = nullptr;
    const ZoSsdpDeviceInfo record = Record();
    EXPECT_EQ(record.GetDescription(&with, &device), NPT_SUCCESS);
    EXPECT_EQ(record.GetDescription(&without, nullptr), NPT_SUCCESS);
    EXPECT_EQ(ElementText(without), ElementText(with));
    EXPECT_TRUE(Contains(ElementText(without), "<parent><device><deviceType>"));
}

TEST(DeviceDescription, ElementFormRefusesANullParent) {
    NPT_XmlElementNode stale("stale");
    NPT_XmlElementNode* device = &stale;
    EXPECT_EQ(Record().GetDescription(nullptr, &device), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(device, nullptr);
    EXPECT_EQ(Record().GetDescription(nullptr, nullptr), NPT_ERROR_INVALID_ARGUMENT);
}

TEST(DeviceDescription, DocumentUsesADerivedRecordsElement) {
    const DerivedRecord record;
    const std::string document = Document(record);
    EXPECT_TRUE(Contains(document, "</specVersion>derived"));
    EXPECT_FALSE(Contains(document, "<device>"));
    EXPECT_FALSE(record.was_asked_for_device);
}

TEST(DeviceDescription, DocumentReportsADerivedRecordsFailure) {
    DerivedRecord record;
    record.result = -12345;
    NPT_String text;
    EXPECT_EQ(record.GetDescription(text), -12345);
    EXPECT_TRUE(text.IsEmpty());
}

// Every allocation fails once: none escapes as an exception, and nothing leaks (which the sanitized
// build watches). Where only the text could not grow, a gap in it is no failure.
TEST(DeviceDescription, DocumentSurvivesEveryFailingAllocation) {
    const ZoSsdpDeviceInfo record = Record();
    const std::string whole = Document(record);
    long failures = 0;
    for (long failing = 1;; ++failing) {
        SCOPED_TRACE(failing);
        NPT_String text;
        NPT_Result result;
        bool has_failed;
        {
            const FailingAllocation failure(failing);
            result = record.GetDescription(text);
            has_failed = failure.HasHappened();
        }
        if (text.GetLength() == whole.size()) {
            EXPECT_EQ(text.GetChars(), whole);
            EXPECT_EQ(result, NPT_SUCCESS);
        } else {
            EXPECT_TRUE(has_failed);
            EXPECT_LT(text.GetLength(), whole.size());
        }
        if (text.IsEmpty()) {
            EXPECT_TRUE(result == NPT_FAILURE || result == NPT_ERROR_INVALID_ARGUMENT ||
                        result == NPT_ERROR_NO_MEMORY)
                << result;
        }
        if (!has_failed) break;
        ++failures;
    }
    EXPECT_GT(failures, 50);
}

TEST(DeviceDescription, DocumentReportsThatThereIsNoMemory) {
    const ZoSsdpDeviceInfo record = Record();
    NPT_String text;
    const FailingAllocation failing(1);
    EXPECT_EQ(record.GetDescription(text), NPT_ERROR_NO_MEMORY);
}

TEST(DeviceDescription, ElementFormSurvivesEveryFailingAllocation) {
    const ZoSsdpDeviceInfo record = Record();
    for (long failing = 1;; ++failing) {
        NPT_XmlElementNode parent("parent");
        NPT_XmlElementNode* device = nullptr;
        NPT_Result result;
        bool has_failed;
        {
            const FailingAllocation failure(failing);
            result = record.GetDescription(&parent, &device);
            has_failed = failure.HasHappened();
        }
        const auto& children = parent.GetChildren();
        EXPECT_EQ(device, children.IsEmpty() ? nullptr : *children.begin()) << failing;
        if (!has_failed) {
            EXPECT_EQ(result, NPT_SUCCESS);
            break;
        }
        EXPECT_TRUE(result == NPT_ERROR_INVALID_ARGUMENT || result == NPT_ERROR_NO_MEMORY)
            << "allocation " << failing << " gave " << result;
    }
}
