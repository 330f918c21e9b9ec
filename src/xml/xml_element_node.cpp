#include "xml/xml_element_node.h"

#include <utility>
#include <vector>

#include "xml/xml_text_node.h"

NPT_XmlNode::~NPT_XmlNode() {
    if (owner_) owner_->Unlist(*this);
}

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

NPT_Result NPT_XmlElementNode::AddChild(NPT_XmlNode* child) {
    if (!child || IsThisOrAncestor(*child)) return NPT_ERROR_INVALID_ARGUMENT;
    // The last step that can fail comes first, so that the child always has exactly one owner.
    children_.Add(child);
    if (child->owner_ && child->owner_ != this) child->owner_->Unlist(*child);
    child->owner_ = this;
    child->last_listing_ = children_.GetLastItem();
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
    if (namespace_map_) return namespace_map_->SetNamespaceUri(prefix, uri);
    // Kept only with its entry: an element with a map is its descendants' namespace parent.
    auto first = std::make_unique<NPT_XmlNamespaceMap>();
    const NPT_Result result = first->SetNamespaceUri(prefix, uri);
    namespace_map_ = std::move(first);
    return result;
}

NPT_XmlElementNode* NPT_XmlElementNode::GetNamespaceParent() const {
    for (NPT_XmlNode* node = GetParent(); node; node = node->GetParent()) {
        NPT_XmlElementNode* const ancestor = node->AsElementNode();
        if (!ancestor || ancestor->namespace_map_) return ancestor;
    }
    return nullptr;
}

// Looks for the node up from here and for this element down from the node, in equal steps, and is
// done when either way is: a tree then grows at its end, its root or anywhere between without being
// walked through for each part that is added.
bool NPT_XmlElementNode::IsThisOrAncestor(const NPT_XmlNode& node) const {
    if (&node == this) return true;
    const NPT_XmlElementNode* const element = node.AsElementNode();
    if (!element || element->children_.IsEmpty()) return false;
    std::vector<NPT_List<NPT_XmlNode*>::ConstIterator> open{element->children_.begin()};
    for (const NPT_XmlElementNode* ancestor = owner_; ancestor; ancestor = ancestor->owner_) {
        if (ancestor == element) return true;
        while (!open.empty() && !open.back())
            open.pop_back();
        if (open.empty()) return false;
        const NPT_XmlNode* const below = *open.back();
        ++open.back();
        if (below == this) return true;
        if (const NPT_XmlElementNode* const inner = below->AsElementNode())
            open.push_back(inner->children_.begin());
    }
    return false;
}

// Takes a child out, however often it is listed, without deleting it.
void NPT_XmlElementNode::Unlist(NPT_XmlNode& child) {
    children_.Erase(child.last_listing_);
    while (--child.listings_ > 0)
        children_.Remove(&child);
    child.owner_ = nullptr;
}
