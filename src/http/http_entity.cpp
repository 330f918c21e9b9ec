#include "http/http_entity.h"

#include "http/http_protocol.h"

NPT_Result NPT_HttpEntity::SetFromHeaders(const NPT_HttpHeaders& headers) {
    if (const NPT_String* length = headers.GetHeaderValue(http_protocol::kContentLength)) {
        content_length_is_known_ = true;
        length->ToInteger(content_length_, true);
    }
    if (const NPT_String* type = headers.GetHeaderValue(http_protocol::kContentType)) {
        content_type_ = *type;
    }
    if (const NPT_String* encoding = headers.GetHeaderValue(http_protocol::kContentEncoding)) {
        content_encoding_ = *encoding;
    }
    if (const NPT_String* encoding = headers.GetHeaderValue(http_protocol::kTransferEncoding)) {
        transfer_encoding_ = *encoding;
    }
    return NPT_SUCCESS;
}

NPT_Result NPT_HttpEntity::GetInputStream(NPT_InputStreamReference& stream) const {
    stream = stream_;
    return stream.IsNull() ? NPT_FAILURE : NPT_SUCCESS;
}

void NPT_HttpEntity::SetContentLength(NPT_UInt64 length) {
    content_length_ = length;
    content_length_is_known_ = true;
}
