#ifndef VIREON_XML_XML_ELEMENT_NODE_H
#define VIREON_XML_XML_ELEMENT_NODE_H

#include <memory>

#include "core/list.h"
#include "core/result.h"
#include "core/string.h"
#include "xml/xml_node.h"

// One attribute of an element, its value unescaped. Prefix and name, compared with regard to case,
// identify it within its element.
class NPT_XmlAttribute {
  public:
    // Null texts read as empty.
    NPT_XmlAttribute(const char* prefix, const char* name, const char* value)
        : prefix_(prefix), name_(name), value_(value) {}

    const NPT_String& GetPrefix() const { return prefix_; }
    const NPT_String& GetName() const { return name_; }
    const NPT_String& GetValue() const { return value_; }
    void SetValue(const char* value) { value_ = value; }

  private:
    NPT_String prefix_;
    NPT_String name_;
    NPT_String value_;
};

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

// An element: a qualified name, attributes, namespace declarations and children.
//
// Owns all of them and deletes each child exactly once, so deleting a root frees the whole tree.
// No operation recurses: trees may be as deep as memory allows. What is not said to walk costs the
// same in every tree. Null texts read as empty unless a failure is stated. Throws std::bad_alloc; a
// call that fails in either way changes nothing.
class NPT_XmlElementNode : public NPT_XmlNode {
  public:
    // The first ':' separates the prefix from the tag; without one the prefix is empty.
    explicit NPT_XmlElementNode(const char* qualified_name);
    NPT_XmlElementNode(const char* prefix, const char* tag);
    ~NPT_XmlElementNode() override;

    NPT_XmlElementNode* AsElementNode() override { return this; }
    const NPT_XmlElementNode* AsElementNode() const override { return this; }

    // Appends child and takes ownership of it, from its element if it has one already. A child
    // added again to the same element is listed, and written, once more.
    // NPT_ERROR_INVALID_ARGUMENT: child is null, this element or an ancestor. To know that it walks
    // up to the root or through what child holds, whichever is shorter; letting go of a child that
    // another element lists repeatedly walks through that element's children.
    NPT_Result AddChild(NPT_XmlNode* child);
    // Appends a text node of its own for each call.
    NPT_Result AddText(const char* text);
    // Replaces the value of the attribute with this prefix and name, else appends one. Walks
    // through the attributes. NPT_ERROR_INVALID_ARGUMENT for a null name or value.
    NPT_Result SetAttribute(const char* prefix, const char* name, const char* value);
    // Declares a namespace on this element; the empty prefix is the default namespace. Walks
    // through the namespaces declared here.
    NPT_Result SetNamespaceUri(const char* prefix, const char* uri);

    const NPT_String& GetPrefix() const { return prefix_; }
    const NPT_String& GetTag() const { return tag_; }
    const NPT_List<NPT_XmlNode*>& GetChildren() const { return children_; }
    const NPT_List<NPT_XmlAttribute>& GetAttributes() const { return attributes_; }
    // Null until the first namespace is declared here.
    const NPT_XmlNamespaceMap* GetNamespaceMap() const { return namespace_map_.get(); }
    // The nearest ancestor that declares namespaces, or null. Walks up to it.
    NPT_XmlElementNode* GetNamespaceParent() const;

  private:
    friend class NPT_XmlNode;

    bool IsThisOrAncestor(const NPT_XmlNode& node) const;
    void Unlist(NPT_XmlNode& child);

    NPT_String prefix_;
    NPT_String tag_;
    NPT_List<NPT_XmlNode*> children_;
    NPT_List<NPT_XmlAttribute> attributes_;
    std::unique_ptr<NPT_XmlNamespaceMap> namespace_map_;
};

#endif
