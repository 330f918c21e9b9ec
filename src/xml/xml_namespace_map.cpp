#include "xml/xml_namespace_map.h"

NPT_Result NPT_XmlNamespaceMap::SetNamespaceUri(const char* prefix, const char* uri) {
    const NPT_String wanted(prefix);
    for (Entry& entry : entries_) {
        if (entry.prefix == wanted) {
            entry.uri = uri;
            return NPT_SUCCESS;
        }
    }
    entries_.Add(Entry{wanted, uri});
    return NPT_SUCCESS;
}
