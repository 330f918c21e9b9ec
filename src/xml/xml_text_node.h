#ifndef VIREON_XML_XML_TEXT_NODE_H
#define VIREON_XML_XML_TEXT_NODE_H

#include "core/string.h"
#include "xml/xml_node.h"

// A piece of character data, unescaped: the serializer escapes it on the way out.
class NPT_XmlTextNode : public NPT_XmlNode {
  public:
    enum TokenType : NPT_UInt32 { CHARACTER_DATA = 0 };

    // A null text reads as empty.
    explicit NPT_XmlTextNode(const char* text, TokenType token_type = CHARACTER_DATA)
        : NPT_XmlNode(TEXT), token_type_(token_type), text_(text) {}

    NPT_XmlTextNode* AsTextNode() override { return this; }
    const NPT_XmlTextNode* AsTextNode() const override { return this; }

    TokenType GetTokenType() const { return token_type_; }
    const NPT_String& GetText() const { return text_; }

  private:
    TokenType token_type_;
    NPT_String text_;
};

#endif
