#ifndef VIREON_XML_XML_ATTRIBUTE_H
#define VIREON_XML_XML_ATTRIBUTE_H

#include "core/string.h"

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

#endif
