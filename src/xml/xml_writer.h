#ifndef VIREON_XML_XML_WRITER_H
#define VIREON_XML_XML_WRITER_H

#include "core/result.h"
#include "core/streams.h"
#include "core/types.h"
#include "xml/xml_node.h"

// Writes a node tree as text: lines end in CR LF, each start tag stands on a line of its own, an
// element that holds only text on one line. Walks without recursion, so that depth costs heap and
// not stack.
class NPT_XmlWriter {
  public:
    // indentation: spaces per level; 0 writes everything on one line.
    explicit NPT_XmlWriter(NPT_UInt32 indentation = 0) : indentation_(indentation) {}

    // Within an element the attributes come before the namespace declarations. Always NPT_SUCCESS;
    // a stream that fails gets a truncated document. std::bad_alloc passes through.
    NPT_Result Serialize(NPT_XmlNode& node, NPT_OutputStream& stream,
                         bool add_xml_decl = false) const;

  private:
    NPT_UInt32 indentation_;
};

#endif
