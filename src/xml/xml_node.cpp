#include "xml/xml_node.h"

#include "xml/xml_element_node.h"

NPT_XmlNode::~NPT_XmlNode() {
    if (owner_) owner_->Unlist(*this);
}
