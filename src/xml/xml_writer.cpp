#include "xml/xml_writer.h"

#include <vector>

#include "xml/xml_element_node.h"
#include "xml/xml_serializer.h"
#include "xml/xml_text_node.h"

namespace {

// One pass over a tree, in document order.
class TreeWalk {
  public:
    explicit TreeWalk(NPT_XmlSerializer& serializer) : serializer_(serializer) {}

    void Write(const NPT_XmlNode& node) {
        Enter(node);
        while (!open_elements_.empty()) {
            OpenElement& innermost = open_elements_.back();
            if (innermost.next_child) {
                const NPT_XmlNode* const child = *innermost.next_child;
                ++innermost.next_child;
                Enter(*child);
            } else {
                serializer_.EndElement(innermost.element->GetPrefix().GetChars(),
                                       innermost.element->GetTag().GetChars());
                open_elements_.pop_back();
            }
        }
    }

  private:
    struct OpenElement {
        const NPT_XmlElementNode* element;
        NPT_List<NPT_XmlNode*>::ConstIterator next_child;
    };

    void Enter(const NPT_XmlNode& node) {
        if (const NPT_XmlTextNode* text = node.AsTextNode()) {
            serializer_.Text(text->GetText().GetChars());
        } else if (const NPT_XmlElementNode* element = node.AsElementNode()) {
            WriteStartTag(*element);
            open_elements_.push_back({element, element->GetChildren().begin()});
        }
    }

    void WriteStartTag(const NPT_XmlElementNode& element) {
        serializer_.StartElement(element.GetPrefix().GetChars(), element.GetTag().GetChars());
        for (const NPT_XmlAttribute& attribute : element.GetAttributes()) {
            serializer_.Attribute(attribute.GetPrefix().GetChars(), attribute.GetName().GetChars(),
                                  attribute.GetValue().GetChars());
        }
        if (!element.GetNamespaceMap()) return;
        for (const NPT_XmlNamespaceMap::Entry& entry : element.GetNamespaceMap()->GetEntries()) {
            if (entry.prefix.IsEmpty())
                serializer_.Attribute(nullptr, "xmlns", entry.uri.GetChars());
            else
                serializer_.Attribute("xmlns", entry.prefix.GetChars(), entry.uri.GetChars());
        }
    }

    NPT_XmlSerializer& serializer_;
    std::vector<OpenElement> open_elements_;
};

}  // namespace

NPT_Result NPT_XmlWriter::Serialize(NPT_XmlNode& node, NPT_OutputStream& stream,
                                    bool add_xml_decl) const {
    constexpr bool kShrinkEmptyElements = true;
    NPT_XmlSerializer serializer(stream, indentation_, kShrinkEmptyElements, add_xml_decl);
    serializer.WriteLate();
    serializer.StartDocument();
    TreeWalk(serializer).Write(node);
    return NPT_SUCCESS;
}
