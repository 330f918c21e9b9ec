#include "xml/xml_serializer.h"

namespace {

constexpr const char* kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
constexpr const char* kLineEnd = "\r\n";
// The indentation's spaces are added a block at a time, so that a slowly deepening document seldom
// needs more.
constexpr const char* kSpaceBlock = "                ";
constexpr NPT_UInt32 kSpaceBlockSize = 16;

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
    if (add_xml_declaration_) output_.WriteLine(kDeclaration);
    return NPT_SUCCESS;
}

NPT_Result NPT_XmlSerializer::EndDocument() {
    return depth_ > 0 ? NPT_ERROR_INVALID_STATE : NPT_SUCCESS;
}

NPT_Result NPT_XmlSerializer::StartElement(const char* prefix, const char* name) {
    ClosePendingStartTag();
    if (indentation_ != 0) WriteIndentation(true);
    ++depth_;
    element_pending_ = true;
    element_has_text_ = false;
    output_.WriteString("<");
    WriteQualifiedName(prefix, name);
    return NPT_SUCCESS;
}

NPT_Result NPT_XmlSerializer::EndElement(const char* prefix, const char* name) {
    if (depth_ == 0) return NPT_ERROR_INVALID_STATE;
    --depth_;
    if (element_pending_ && shrink_empty_elements_) {
        element_pending_ = false;
        output_.WriteString("/>");
        return NPT_SUCCESS;
    }
    ClosePendingStartTag();
    if (indentation_ != 0 && !element_has_text_) WriteIndentation(false);
    element_has_text_ = false;
    output_.WriteString("</");
    WriteQualifiedName(prefix, name);
    output_.WriteString(">");
    return NPT_SUCCESS;
}

NPT_Result NPT_XmlSerializer::Attribute(const char* prefix, const char* name, const char* value) {
    output_.WriteString(" ");
    WriteQualifiedName(prefix, name);
    output_.WriteString("=\"");
    WriteEscaped(value, EscapeMode::kAttribute);
    output_.WriteString("\"");
    return NPT_SUCCESS;
}

NPT_Result NPT_XmlSerializer::Text(const char* text) {
    ClosePendingStartTag();
    element_has_text_ = true;
    WriteEscaped(text, EscapeMode::kText);
    return NPT_SUCCESS;
}

NPT_Result NPT_XmlSerializer::CdataSection(const char* data) {
    ClosePendingStartTag();
    element_has_text_ = true;
    output_.WriteString("<![CDATA[");
    output_.WriteString(data);
    output_.WriteString("]]>");
    return NPT_SUCCESS;
}

NPT_Result NPT_XmlSerializer::Comment(const char* comment) {
    ClosePendingStartTag();
    output_.WriteString("<!--");
    output_.WriteString(comment);
    output_.WriteString("-->");
    return NPT_SUCCESS;
}

// Attribute values need no ">" escaped, but their line ends and tabs would be read back as spaces.
const char* NPT_XmlSerializer::EscapeSequence(char character, EscapeMode mode) {
    const bool in_attribute = mode == EscapeMode::kAttribute;
    switch (character) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return in_attribute ? nullptr : "&gt;";
        case '"':
            return in_attribute ? "&quot;" : nullptr;
        case '\t':
            return in_attribute ? "&#x9;" : nullptr;
        case '\n':
            return in_attribute ? "&#xA;" : nullptr;
        case '\r':
            return "&#xD;";
        default:
            return nullptr;
    }
}

void NPT_XmlSerializer::ClosePendingStartTag() {
    if (!element_pending_) return;
    element_pending_ = false;
    output_.WriteString(">");
}

void NPT_XmlSerializer::WriteIndentation(bool element_starts) {
    const bool is_first_start_tag = depth_ == 0 && element_starts;
    if (!is_first_start_tag) output_.WriteString(kLineEnd);
    const NPT_UInt64 width = NPT_UInt64{indentation_} * depth_;
    while (indentation_prefix_.GetLength() < width)
        indentation_prefix_.Append(kSpaceBlock, kSpaceBlockSize);
    if (width > 0)
        output_.WriteFully(indentation_prefix_.GetChars(), static_cast<NPT_UInt32>(width));
}

void NPT_XmlSerializer::WriteQualifiedName(const char* prefix, const char* name) {
    if (!IsEmpty(prefix)) {
        output_.WriteString(prefix);
        output_.WriteString(":");
    }
    output_.WriteString(name);
}

void NPT_XmlSerializer::WriteEscaped(const char* text, EscapeMode mode) {
    if (!text) return;
    const char* run = text;
    for (const char* cursor = text;; ++cursor) {
        const char* const sequence = EscapeSequence(*cursor, mode);
        if (!sequence && *cursor != '\0') continue;
        if (cursor > run) output_.WriteFully(run, static_cast<NPT_UInt32>(cursor - run));
        if (*cursor == '\0') return;
        output_.WriteString(sequence);
        run = cursor + 1;
    }
}
