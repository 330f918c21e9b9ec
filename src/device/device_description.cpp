// The UPnP device description of a record, which its two GetDescription operations give.
#include "device/zo_ssdp_device_info.h"

#include <memory>
#include <new>

#include "core/streams.h"
#include "core/string_output_stream.h"
#include "xml/xml_writer.h"

namespace {

constexpr const char* kDeviceNamespace = "urn:schemas-upnp-org:device-1-0";
// Declared because control points look for it; no element of ours uses it.
constexpr const char* kDlnaNamespace = "urn:schemas-dlna-org:device-1-0";
constexpr const char* kSpecVersionMajor = "1";
constexpr const char* kSpecVersionMinor = "1";
constexpr NPT_UInt32 kSpacesPerLevel = 2;
// Bytes, so that most documents are written without memory being taken in between, where its lack
// would not be reported.
constexpr NPT_UInt32 kUsualDocumentLength = 1024;

// Null when there is no memory for it; the append that follows reports that.
std::unique_ptr<NPT_XmlElementNode> MakeElement(const char* tag) {
    try {
        return std::make_unique<NPT_XmlElementNode>(nullptr, tag);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

NPT_Result Append(NPT_XmlElementNode& parent, std::unique_ptr<NPT_XmlElementNode> child) {
    const NPT_Result result = parent.AddChild(child.get());
    if (NPT_Succeeded(result)) child.release();
    return result;
}

// An element with exactly one text node, also for an empty text.
NPT_Result AppendLeaf(NPT_XmlElementNode& parent, const char* tag, const NPT_String& text) {
    auto leaf = MakeElement(tag);
    if (leaf) {
        const NPT_Result result = leaf->AddText(text.GetChars());
        if (NPT_Failed(result)) return result;
    }
    return Append(parent, std::move(leaf));
}

NPT_Result AppendSpecVersion(NPT_XmlElementNode& root) {
    auto spec_version = MakeElement("specVersion");
    if (!spec_version) return NPT_FAILURE;
    NPT_XmlElementNode& listed = *spec_version;
    NPT_Result result = Append(root, std::move(spec_version));
    if (NPT_Succeeded(result)) result = AppendLeaf(listed, "major", kSpecVersionMajor);
    if (NPT_Succeeded(result)) result = AppendLeaf(listed, "minor", kSpecVersionMinor);
    return result;
}

NPT_Result DescribeRoot(const ZoSsdpDeviceInfo& record, NPT_XmlElementNode& root) {
    NPT_Result result = root.SetNamespaceUri("", kDeviceNamespace);
    if (NPT_Succeeded(result)) result = root.SetNamespaceUri("dlna", kDlnaNamespace);
    if (NPT_Succeeded(result)) {
        const NPT_String config_id = NPT_String::FromInteger(record.GetConfigId());
        result = root.SetAttribute("", "configId", config_id.GetChars());
    }
    if (NPT_Succeeded(result)) result = AppendSpecVersion(root);
    if (NPT_Succeeded(result)) result = record.GetDescription(&root, nullptr);
    return result;
}

enum class Presence { kAlways, kUnlessEmpty };

// In document order, which control points of this maker rely on.
NPT_Result AppendLeaves(const ZoSsdpDeviceInfo& record, NPT_XmlElementNode& device) {
    const NPT_String udn = "uuid:" + record.GetUUID();
    const struct {
        const char* tag;
        const NPT_String& text;
        Presence presence;
    } leaves[] = {
        {"deviceType", record.GetType(), Presence::kAlways},
        {"friendlyName", record.GetFriendlyName(), Presence::kAlways},
        {"manufacturer", record.m_Manufacturer, Presence::kAlways},
        {"manufacturerURL", record.m_ManufacturerURL, Presence::kAlways},
        {"modelDescription", record.m_ModelDescription, Presence::kAlways},
        {"modelName", record.m_ModelName, Presence::kAlways},
        {"modelNumber", record.m_ModelNumber, Presence::kUnlessEmpty},
        {"serialNumber", record.m_SerialNumber, Presence::kUnlessEmpty},
        {"modelURL", record.m_ModelURL, Presence::kAlways},
        {"UDN", udn, Presence::kAlways},
        {"version", record.m_Version, Presence::kAlways},
        {"presentationURL", record.m_PresentationURL, Presence::kUnlessEmpty},
    };
    for (const auto& leaf : leaves) {
        if (leaf.presence == Presence::kUnlessEmpty && leaf.text.IsEmpty()) continue;
        const NPT_Result result = AppendLeaf(device, leaf.tag, leaf.text);
        if (NPT_Failed(result)) return result;
    }
    return NPT_SUCCESS;
}

}  // namespace

NPT_Result ZoSsdpDeviceInfo::GetDescription(NPT_XmlElementNode* parent,
                                            NPT_XmlElementNode** device) const try {
    if (device) *device = nullptr;
    if (!parent) return NPT_ERROR_INVALID_ARGUMENT;
    auto element = MakeElement("device");
    NPT_XmlElementNode* const listed = element.get();
    const NPT_Result result = Append(*parent, std::move(element));
    if (NPT_Failed(result)) return result;
    if (device) *device = listed;
    return AppendLeaves(*this, *listed);
} catch (const std::bad_alloc&) {
    return NPT_ERROR_NO_MEMORY;
}

NPT_Result ZoSsdpDeviceInfo::GetDescription(NPT_String& desc) const try {
    NPT_XmlElementNode root(nullptr, "root");
    const NPT_Result result = DescribeRoot(*this, root);
    if (NPT_Failed(result)) return result;
    desc.Reserve(desc.GetLength() + kUsualDocumentLength);
    NPT_StringOutputStream stream(desc);
    return NPT_XmlWriter(kSpacesPerLevel).Serialize(root, stream, true);
} catch (const std::bad_alloc&) {
    return NPT_ERROR_NO_MEMORY;
}
