#include "xml/xml_element_node.h"

#include <algorithm>
#include <vector>

#include "xml/xml_text_node.h"

NPT_XmlElementNode::NPT_XmlElementNode(const char* qualified_name) : NPT_XmlNode(ELEMENT) {
    const NPT_String name(qualified_name);
    const int colon = name.Find(':');
    if (colon < 0) {
        tag_ = name;
        return;
    }
    const NPT_UInt32 prefix_length = static_cast<NPT_UInt32>(colon);
    prefix_ = name.SubString(0, prefix_length);
    tag_ = name.SubString(prefix_length + 1);
}

NPT_XmlElementNode::NPT_XmlElementNode(const char* prefix, const char* tag)
    : NPT_XmlNode(ELEMENT), prefix_(prefix), tag_(tag) {}

// Walks down to childless elements and back up along the owners instead of letting every child's
// destructor delete its own children: that would need a stack as deep as the tree. Takes no memory.
NPT_XmlElementNode::~NPT_XmlElementNode() {
    NPT_XmlElementNode* element = this;
    for (;;) {
        NPT_XmlNode* child = nullptr;
        if (NPT_Failed(element->children_.PopHead(child))) {
            if (element == this) return;
            NPT_XmlElementNode* const finished = element;
            element = finished->owner_;
            finished->owner_ = nullptr;
            delete finished;
            continue;
        }
        if (--child->listings_ > 0) continue;
        if (NPT_XmlElementNode* child_element = child->AsElementNode()) {
            element = child_element;
        } else {
            child->owner_ = nullptr;
            delete child;
        }
    }
}

void NPT_XmlElementNode::SetParent(NPT_XmlNode* parent) {
    NPT_XmlNode::SetParent(parent);
    NPT_XmlElementNode* const parent_element = parent ? parent->AsElementNode() : nullptr;
    NPT_XmlElementNode* const inherited =
        parent_element ? parent_element->InheritedNamespaceParent() : nullptr;
    if (namespace_parent_ == inherited) return;
    namespace_parent_ = inherited;
    PropagateNamespaceParent();
}

NPT_Result NPT_XmlElementNode::AddChild(NPT_XmlNode* child) {
    if (!child || IsThisOrAncestor(*child)) return NPT_ERROR_INVALID_ARGUMENT;
    // The only step that can fail comes first, so that the child always has exactly one owner.
    children_.Add(child);
    if (child->owner_ && child->owner_ != this) child->owner_->Unlist(*child);
    child->owner_ = this;
    ++child->listings_;
    child->SetParent(this);
    return NPT_SUCCESS;
}

NPT_Result NPT_XmlElementNode::AddText(const char* text) {
    auto node = std::make_unique<NPT_XmlTextNode>(text);
    const NPT_Result result = AddChild(node.get());
    if (NPT_Succeeded(result)) node.release();
    return result;
}

NPT_Result NPT_XmlElementNode::SetAttribute(const char* prefix, const char* name,
                                            const char* value) {
    if (!name || !value) return NPT_ERROR_INVALID_ARGUMENT;
    const NPT_String wanted_prefix(prefix);
    for (NPT_XmlAttribute& attribute : attributes_) {
        if (attribute.GetPrefix() == wanted_prefix && attribute.GetName() == name) {
            attribute.SetValue(value);
            return NPT_SUCCESS;
        }
    }
    attributes_.Add(NPT_XmlAttribute(prefix, name, value));
    return NPT_SUCCESS;
}

NPT_Result NPT_XmlElementNode::SetNamespaceUri(const char* prefix, const char* uri) {
    if (!namespace_map_) {
        namespace_map_ = std::make_unique<NPT_XmlNamespaceMap>();
        PropagateNamespaceParent();
    }
    return namespace_map_->SetNamespaceUri(prefix, uri);
}

bool NPT_XmlElementNode::IsThisOrAncestor(const NPT_XmlNode& node) const {
    if (&node == this) return true;
    // What holds no element is nobody's ancestor. Without this look, a deep chain that grows at its
    // end would be climbed for every new link.
    const NPT_XmlElementNode* const element = node.AsElementNode();
    if (!element || !element->HoldsElement()) return false;
    for (const NPT_XmlElementNode* ancestor = owner_; ancestor; ancestor = ancestor->owner_) {
        if (ancestor == element) return true;
    }
    return false;
}

bool NPT_XmlElementNode::HoldsElement() const {
    return std::any_of(children_.begin(), children_.end(),
                       [](const NPT_XmlNode* child) { return child->AsElementNode() != nullptr; });
}

// Takes a child out, however often it is listed, without deleting it.
void NPT_XmlElementNode::Unlist(NPT_XmlNode& child) {
    while (child.listings_ > 0 && NPT_Succeeded(children_.Remove(&child)))
        --child.listings_;
    child.owner_ = nullptr;
}

// Hands the namespace parent down as far as it changes: where it does not, everything below is
// right already.
void NPT_XmlElementNode::PropagateNamespaceParent() {
    if (children_.IsEmpty()) return;
    std::vector<NPT_XmlElementNode*> changed{this};
    while (!changed.empty()) {
        NPT_XmlElementNode* const element = changed.back();
        changed.pop_back();
        NPT_XmlElementNode* const inherited = element->InheritedNamespaceParent();
        for (NPT_XmlNode* node : element->children_) {
            NPT_XmlElementNode* const child = node->AsElementNode();
            if (!child || child->namespace_parent_ == inherited) continue;
            child->namespace_parent_ = inherited;
            changed.push_back(child);
        }
    }
}
