#include "xml/xml_serializer.h"

#include <cstring>

namespace {

constexpr const char* kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
constexpr const char* kLineEnd = "\r\n";
// The indentation's spaces are added a block at a time, so that a slowly deepening document seldom
// needs more.
constexpr const char* kSpaceBlock = "                ";
constexpr NPT_UInt32 kSpaceBlockSize = 16;

// Attribute values need no ">" escaped, but their line ends and tabs would be read back as spaces.
constexpr const char* kEscapedInText = "&<>\r";
constexpr const char* kEscapedInAttributes = "&<\"\t\n\r";

const char* EscapeSequence(char character) {
    switch (character) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\t':
            return "&#x9;";
        case '\n':
            return "&#xA;";
        default:
            return "&#xD;";
    }
}

std::string_view OrEmpty(const char* text) {
    return text ? text : "";
}

bool IsEmpty(const char* text) {
    return !text || *text == '\0';
}

}  // namespace

NPT_XmlSerializer::NPT_XmlSerializer(NPT_OutputStream& output, NPT_UInt32 indentation,
                                     bool shrink_empty_elements, bool add_xml_declaration)
    : output_(output),
      indentation_(indentation),
      shrink_empty_elements_(shrink_empty_elements),
      add_xml_declaration_(add_xml_declaration) {}

NPT_Result NPT_XmlSerializer::StartDocument() {
    if (!add_xml_declaration_) return NPT_SUCCESS;
    Put(kDeclaration);
    Put(kLineEnd);
    return Complete();
}

NPT_Result NPT_XmlSerializer::EndDocument() {
    return depth_ > 0 ? NPT_ERROR_INVALID_STATE : NPT_SUCCESS;
}

NPT_Result NPT_XmlSerializer::StartElement(const char* prefix, const char* name) {
    ClosePendingStartTag();
    if (indentation_ != 0) PutIndentation(true);
    ++depth_;
    element_pending_ = true;
    element_has_text_ = false;
    Put("<");
    PutQualifiedName(prefix, name);
    return Complete();
}

NPT_Result NPT_XmlSerializer::EndElement(const char* prefix, const char* name) {
    if (depth_ == 0) return NPT_ERROR_INVALID_STATE;
    --depth_;
    if (element_pending_ && shrink_empty_elements_) {
        element_pending_ = false;
        Put("/>");
        return Complete();
    }
    ClosePendingStartTag();
    if (indentation_ != 0 && !element_has_text_) PutIndentation(false);
    element_has_text_ = false;
    Put("</");
    PutQualifiedName(prefix, name);
    Put(">");
    return Complete();
}

NPT_Result NPT_XmlSerializer::Attribute(const char* prefix, const char* name, const char* value) {
    Put(" ");
    PutQualifiedName(prefix, name);
    Put("=\"");
    PutEscaped(value, kEscapedInAttributes);
    Put("\"");
    return Complete();
}

NPT_Result NPT_XmlSerializer::Text(const char* text) {
    ClosePendingStartTag();
    element_has_text_ = true;
    PutEscaped(text, kEscapedInText);
    return Complete();
}

NPT_Result NPT_XmlSerializer::CdataSection(const char* data) {
    ClosePendingStartTag();
    element_has_text_ = true;
    Put("<![CDATA[");
    Put(OrEmpty(data));
    Put("]]>");
    return Complete();
}

NPT_Result NPT_XmlSerializer::Comment(const char* comment) {
    ClosePendingStartTag();
    Put("<!--");
    Put(OrEmpty(comment));
    Put("-->");
    return Complete();
}

void NPT_XmlSerializer::ClosePendingStartTag() {
    if (!element_pending_) return;
    element_pending_ = false;
    Put(">");
}

void NPT_XmlSerializer::PutIndentation(bool element_starts) {
    const bool is_first_start_tag = depth_ == 0 && element_starts;
    if (!is_first_start_tag) Put(kLineEnd);
    const NPT_UInt64 width = NPT_UInt64{indentation_} * depth_;
    while (indentation_prefix_.GetLength() < width)
        indentation_prefix_.Append(kSpaceBlock, kSpaceBlockSize);
    Put({indentation_prefix_.GetChars(), static_cast<std::size_t>(width)});
}

void NPT_XmlSerializer::PutQualifiedName(const char* prefix, const char* name) {
    if (!IsEmpty(prefix)) {
        Put(prefix);
        Put(":");
    }
    Put(OrEmpty(name));
}

void NPT_XmlSerializer::PutEscaped(const char* text, const char* escaped) {
    if (!text) return;
    for (;;) {
        const std::size_t run = std::strcspn(text, escaped);
        Put({text, run});
        if (text[run] == '\0') return;
        Put(EscapeSequence(text[run]));
        text += run + 1;
    }
}

void NPT_XmlSerializer::Put(std::string_view text) {
    if (text.size() > sizeof(put_) - put_size_) WriteOut();
    if (text.size() > sizeof(put_)) {
        output_.WriteFully(text.data(), static_cast<NPT_UInt32>(text.size()));
        return;
    }
    std::memcpy(put_ + put_size_, text.data(), text.size());
    put_size_ += text.size();
}

NPT_Result NPT_XmlSerializer::Complete() {
    if (!writes_late_) WriteOut();
    return NPT_SUCCESS;
}

void NPT_XmlSerializer::WriteOut() {
    if (put_size_ > 0) output_.WriteFully(put_, static_cast<NPT_UInt32>(put_size_));
    put_size_ = 0;
}
