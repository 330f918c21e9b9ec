#ifndef VIREON_XML_XML_SERIALIZER_H
#define VIREON_XML_XML_SERIALIZER_H

#include <cstddef>
#include <string_view>

#include "core/result.h"
#include "core/streams.h"
#include "core/string.h"

// Writes XML 1.0 to a stream, one operation per construct, in document order.
//
// Borrows the stream, which must outlive it; used by one thread at a time. Text is taken as UTF-8
// and passes byte for byte but for the escaped characters. Null texts, prefixes and names read as
// empty. Write results of the stream are not looked at: a failing stream leaves a truncated
// document behind a 0 result.
class NPT_XmlSerializer {
  public:
    // indentation: spaces per level; 0 writes no line breaks at all behind the declaration.
    // shrink_empty_elements: an element without content is written as "<x/>".
    explicit NPT_XmlSerializer(NPT_OutputStream& output, NPT_UInt32 indentation = 0,
                               bool shrink_empty_elements = true, bool add_xml_declaration = false);
    virtual ~NPT_XmlSerializer() { WriteOut(); }

    // From now on what is written may reach the stream as late as at the serializer's end, in fewer
    // and larger pieces.
    void WriteLate() { writes_late_ = true; }
    virtual NPT_Result StartDocument();
    // NPT_ERROR_INVALID_STATE while an element is open.
    virtual NPT_Result EndDocument();
    virtual NPT_Result StartElement(const char* prefix, const char* name);
    // NPT_ERROR_INVALID_STATE, with nothing written, when no element is open.
    virtual NPT_Result EndElement(const char* prefix, const char* name);
    // Directly behind StartElement or another attribute.
    virtual NPT_Result Attribute(const char* prefix, const char* name, const char* value);
    virtual NPT_Result Text(const char* text);
    // The data is written as it is and must not hold "]]>".
    virtual NPT_Result CdataSection(const char* data);
    // The comment is written as it is and must not hold "--".
    virtual NPT_Result Comment(const char* comment);

    NPT_XmlSerializer(const NPT_XmlSerializer&) = delete;
    NPT_XmlSerializer& operator=(const NPT_XmlSerializer&) = delete;

  private:
    void ClosePendingStartTag();
    void PutIndentation(bool element_starts);
    void PutQualifiedName(const char* prefix, const char* name);
    void PutEscaped(const char* text, const char* escaped);
    void Put(std::string_view text);
    // Ends an operation. Always NPT_SUCCESS.
    NPT_Result Complete();
    // Hands what was put to the stream.
    void WriteOut();

    NPT_OutputStream& output_;
    bool element_pending_ = false;  // a start tag still lacks its ">"
    NPT_UInt32 depth_ = 0;          // open elements
    NPT_UInt32 indentation_;
    NPT_String indentation_prefix_;  // spaces, as many as any line needed so far
    bool element_has_text_ = false;
    bool shrink_empty_elements_;
    bool add_xml_declaration_;
    bool writes_late_ = false;
    // What waits to be written in one piece.
    char put_[1024];
    std::size_t put_size_ = 0;
};

#endif
