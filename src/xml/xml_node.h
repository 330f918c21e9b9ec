#ifndef VIREON_XML_XML_NODE_H
#define VIREON_XML_XML_NODE_H

#include "core/list.h"
#include "core/types.h"

class NPT_XmlElementNode;
class NPT_XmlTextNode;

// What all nodes of an XML tree share. Trees are built by code and written out; nothing parses one.
//
// A node belongs to whoever made it until an element lists it as a child; then the element deletes
// it. Deleting a listed node all the same takes it out of its element first. A tree is used by one
// thread at a time.
class NPT_XmlNode {
  public:
    enum Type : NPT_UInt32 { ELEMENT = 1, TEXT = 2 };

    virtual ~NPT_XmlNode();  // the element's work, see there
    // Null unless the node is of that kind.
    virtual NPT_XmlElementNode* AsElementNode() { return nullptr; }
    virtual const NPT_XmlElementNode* AsElementNode() const { return nullptr; }
    virtual NPT_XmlTextNode* AsTextNode() { return nullptr; }
    virtual const NPT_XmlTextNode* AsTextNode() const { return nullptr; }
    // Called by NPT_XmlElementNode::AddChild, which is what moves the ownership. The parent is not
    // owned and must outlive the node or be replaced.
    virtual void SetParent(NPT_XmlNode* parent) { parent_ = parent; }

    NPT_XmlNode(const NPT_XmlNode&) = delete;
    NPT_XmlNode& operator=(const NPT_XmlNode&) = delete;

    Type GetType() const { return type_; }
    // Null for a root.
    NPT_XmlNode* GetParent() const { return parent_; }

  protected:
    explicit NPT_XmlNode(Type type) : type_(type) {}

  private:
    friend class NPT_XmlElementNode;

    const Type type_;
    // How often owner_ lists this node.
    NPT_UInt32 listings_ = 0;
    // Where it does so last, while it does.
    NPT_List<NPT_XmlNode*>::Iterator last_listing_;
    NPT_XmlNode* parent_ = nullptr;
    // The element whose children hold this node, whatever SetParent was told; null for nobody's.
    NPT_XmlElementNode* owner_ = nullptr;
};

#endif
