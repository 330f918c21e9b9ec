#include "http/http_message.h"

NPT_Result NPT_HttpMessage::ParseHeaders(NPT_BufferedInputStream& stream) {
    return headers_.Parse(stream);
}

NPT_Result NPT_HttpMessage::SetEntity(NPT_HttpEntity* entity) {
    if (entity != entity_.get()) entity_.reset(entity);
    return NPT_SUCCESS;
}
