#ifndef VIREON_XML_XML_NAMESPACE_MAP_H
#define VIREON_XML_XML_NAMESPACE_MAP_H

#include "core/list.h"
#include "core/result.h"
#include "core/string.h"

// The namespaces that one element declares, in the order in which their prefixes were first set.
// The empty prefix stands for the default namespace.
class NPT_XmlNamespaceMap {
  public:
    struct Entry {
        NPT_String prefix;
        NPT_String uri;
    };

    // Replaces the URI of a known prefix (compared with regard to case), else appends an entry.
    // Null texts read as empty. Always NPT_SUCCESS.
    NPT_Result SetNamespaceUri(const char* prefix, const char* uri);

    const NPT_List<Entry>& GetEntries() const { return entries_; }

  private:
    NPT_List<Entry> entries_;
};

#endif
