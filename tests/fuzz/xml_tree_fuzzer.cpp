// XML trees, written and read back by libxml2. An input is one byte for the indentation and steps
// of one byte and what belongs to it, which build trees (Run).
#include <libxml/parser.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/string_output_stream.h"
#include "fuzz_input.h"
#include "xml/xml_element_node.h"
#include "xml/xml_text_node.h"
#include "xml/xml_writer.h"

namespace {

constexpr int kMostSteps = 48;
// A child may be listed repeatedly, and so written very often.
constexpr std::size_t kMostWritten = 300;

// A text that XML can hold, from any bytes: what is no ASCII stands for characters up to U+00FF.
std::string AsXmlText(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        if (code >= 0x80) {
            text += static_cast<char>(0xC0 | code >> 6);
            text += static_cast<char>(0x80 | (code & 0x3F));
        } else if (code >= 0x20 || code == '\t' || code == '\n' || code == '\r') {
            text += byte;
        }
    }
    return text;
}

// What a reader comes across, in order. Texts that follow each other are one.
class Events {
  public:
    void Add(const std::string& event) {
        events_.push_back(event);
        is_in_text_ = false;
    }
    void AddText(const std::string& text) {
        if (text.empty()) return;
        if (!is_in_text_) events_.emplace_back("text ");
        events_.back() += text;
        is_in_text_ = true;
    }
    bool operator==(const Events& other) const { return events_ == other.events_; }

  private:
    std::vector<std::string> events_;
    bool is_in_text_ = false;
};

std::string StartOf(const std::string& name,
                    const std::vector<std::pair<std::string, std::string>>& attributes) {
    std::string event = "start " + name;
    for (const auto& attribute : attributes)
        event += "\n" + attribute.first + "=\"" + attribute.second + "\"";
    return event;
}

// What libxml2 reads, with names as they were written.
class Reader {
  public:
    // False when the text is no document.
    bool Read(const std::string& document) {
        xmlSAXHandler handler{};
        handler.initialized = 1;  // prefixes are left alone
        handler.startElement = [](void* self, const xmlChar* name, const xmlChar** attributes) {
            static_cast<Reader*>(self)->Start(name, attributes);
        };
        handler.endElement = [](void* self, const xmlChar* name) {
            static_cast<Reader*>(self)->events_.Add("end " + TextOf(name));
        };
        handler.characters = [](void* self, const xmlChar* text, int length) {
            static_cast<Reader*>(self)->events_.AddText(
                TextOf(text).substr(0, static_cast<std::size_t>(length)));
        };
        const std::unique_ptr<xmlParserCtxt, void (*)(xmlParserCtxtPtr)> parser(
            xmlCreatePushParserCtxt(&handler, this, nullptr, 0, nullptr), xmlFreeParserCtxt);
        Require(parser != nullptr, "there is a parser");
        // Without it references in attributes stay half as they are.
        xmlCtxtUseOptions(parser.get(), XML_PARSE_NOENT);
        xmlParseChunk(parser.get(), document.data(), static_cast<int>(document.size()), 1);
        return parser->wellFormed == 1;
    }
    const Events& GetEvents() const { return events_; }

  private:
    static std::string TextOf(const xmlChar* text) { return reinterpret_cast<const char*>(text); }
    void Start(const xmlChar* name, const xmlChar** attributes) {
        std::vector<std::pair<std::string, std::string>> read;
        for (; attributes && attributes[0]; attributes += 2)
            read.emplace_back(TextOf(attributes[0]), TextOf(attributes[1]));
        events_.Add(StartOf(TextOf(name), read));
    }

    Events events_;
};

std::string Qualified(const std::string& prefix, const std::string& name) {
    return prefix.empty() ? name : prefix + ":" + name;
}

// A node beside what it has to be.
struct Node {
    NPT_XmlNode* node = nullptr;
    bool is_element = false;
    std::string name;  // qualified
    std::string text;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<std::pair<std::string, std::string>> namespaces;
    std::vector<Node*> children;
    Node* owner = nullptr;

    NPT_XmlElementNode& Element() const { return *node->AsElementNode(); }
    bool IsOrIsBelow(const Node& other) const {
        for (const Node* each = this; each; each = each->owner) {
            if (each == &other) return true;
        }
        return false;
    }
    const Node& GetRoot() const { return owner ? owner->GetRoot() : *this; }
    // How many nodes are written for it.
    std::size_t CountWritten() const {
        std::size_t count = 1;
        for (const Node* const child : children)
            count += child->CountWritten();
        return count;
    }
};

void Set(std::vector<std::pair<std::string, std::string>>& list, const std::string& name,
         const std::string& value) {
    const auto known = std::find_if(list.begin(), list.end(),
                                    [&name](const auto& entry) { return entry.first == name; });
    if (known != list.end())
        known->second = value;
    else
        list.emplace_back(name, value);
}

// What has to be read of a tree that was written with that indentation.
class Expectation {
  public:
    explicit Expectation(std::size_t indentation) : indentation_(indentation) {}

    const Events& Of(const Node& node) {
        Write(node);
        return events_;
    }

  private:
    void Write(const Node& node) {
        if (!node.is_element) {
            has_text_ = true;
            events_.AddText(node.text);
            return;
        }
        if (depth_ > 0) BreakLine();
        ++depth_;
        has_text_ = false;
        auto attributes = node.attributes;
        for (const auto& entry : node.namespaces)
            attributes.emplace_back(entry.first.empty() ? "xmlns" : "xmlns:" + entry.first,
                                    entry.second);
        events_.Add(StartOf(node.name, attributes));
        for (const Node* const child : node.children)
            Write(*child);
        --depth_;
        if (!node.children.empty()) {
            if (!has_text_) BreakLine();
            has_text_ = false;
        }
        events_.Add("end " + node.name);
    }
    void BreakLine() {
        if (indentation_ > 0) events_.AddText("\n" + std::string(indentation_ * depth_, ' '));
    }

    const std::size_t indentation_;
    Events events_;
    std::size_t depth_ = 0;
    bool has_text_ = false;
};

class Run {
  public:
    explicit Run(FuzzInput& input) : input_(input) {}
    ~Run() {
        while (!nodes_.empty())
            Delete(const_cast<Node&>(nodes_.front()->GetRoot()));
    }

    // The low three bits of a byte are the kind, the others a number for it.
    void Step() {
        const NPT_UInt8 byte = input_.TakeByte();
        const std::size_t number = byte >> 3;
        switch (byte & 7) {
            case 0:
                AddElement(PrefixOf(number), NameOf(number / 3), number >= 16);
                break;
            case 1: {
                Node& node = *nodes_.emplace_back(std::make_unique<Node>());
                node.text = TakeText();
                node.node = new NPT_XmlTextNode(node.text.c_str());
                break;
            }
            case 2:
            case 3:
                Adopt(PickElement(number), PickAny(input_.TakeByte()));
                break;
            case 4:
                if (Node* const element = PickElement(number)) {
                    Node& text = *nodes_.emplace_back(std::make_unique<Node>());
                    text.text = TakeText();
                    Require(NPT_Succeeded(element->Element().AddText(text.text.c_str())),
                            "an element takes a text");
                    text.node = *element->Element().GetChildren().GetLastItem();
                    text.owner = element;
                    element->children.push_back(&text);
                }
                break;
            case 5:
                if (Node* const element = PickElement(number)) {
                    const NPT_UInt8 which = input_.TakeByte();
                    const std::string value = TakeText();
                    element->Element().SetAttribute(PrefixOf(which), NameOf(which / 3),
                                                    value.c_str());
                    Set(element->attributes, Qualified(PrefixOf(which), NameOf(which / 3)), value);
                }
                break;
            case 6:
                if (Node* const element = PickElement(number)) {
                    const char* const prefix = PrefixOf(input_.TakeByte());
                    const std::string uri = TakeText();
                    element->Element().SetNamespaceUri(prefix, uri.c_str());
                    Set(element->namespaces, prefix, uri);
                }
                break;
            default:
                if (Node* const node = PickAny(number)) Delete(*node);
        }
    }

    void CheckAll(std::size_t indentation, bool has_declaration) const {
        for (const auto& node : nodes_) {
            Require(node->node->GetParent() == (node->owner ? node->owner->node : nullptr),
                    "a node knows its parent");
            if (node->is_element) CheckNamespaceParent(*node);
            if (node->is_element && !node->owner) CheckRoot(*node, indentation, has_declaration);
        }
    }

  private:
    static const char* PrefixOf(std::size_t number) {
        constexpr const char* kPrefixes[] = {"", "p", "\xC3\xBC"};
        return kPrefixes[number % 3];
    }
    static const char* NameOf(std::size_t number) {
        constexpr const char* kNames[] = {"a", "b", "A", "longer-name.2", "\xC3\xA4"};
        return kNames[number % 5];
    }
    std::string TakeText() { return AsXmlText(input_.TakeText(input_.TakeByte())); }

    Node* PickAny(std::size_t number) const {
        return nodes_.empty() ? nullptr : nodes_[number % nodes_.size()].get();
    }
    Node* PickElement(std::size_t number) const {
        Node* const node = PickAny(number);
        return node && node->is_element ? node : nullptr;
    }

    void AddElement(const std::string& prefix, const std::string& tag, bool in_one_text) {
        Node& node = *nodes_.emplace_back(std::make_unique<Node>());
        node.is_element = true;
        node.name = Qualified(prefix, tag);
        // Only the first colon counts, which may have nothing in front.
        node.node = in_one_text ? new NPT_XmlElementNode((prefix + ":" + tag).c_str())
                                : new NPT_XmlElementNode(prefix.c_str(), tag.c_str());
    }

    void Adopt(Node* parent, Node* child) {
        if (!parent || !child) return;
        if (parent->IsOrIsBelow(*child)) {
            Require(parent->Element().AddChild(child->node) == NPT_ERROR_INVALID_ARGUMENT,
                    "no element is its own descendant");
            return;
        }
        if (parent->GetRoot().CountWritten() * 2 + child->CountWritten() > kMostWritten) return;
        Require(NPT_Succeeded(parent->Element().AddChild(child->node)), "a child is adopted");
        if (child->owner != parent) Unlist(*child);
        child->owner = parent;
        parent->children.push_back(child);
    }

    static void Unlist(Node& child) {
        if (!child.owner) return;
        auto& children = child.owner->children;
        children.erase(std::remove(children.begin(), children.end(), &child), children.end());
        child.owner = nullptr;
    }

    // With all that it owns.
    void Delete(Node& node) {
        delete node.node;
        Unlist(node);
        // Gone behind the last look at any of them.
        const auto gone =
            std::stable_partition(nodes_.begin(), nodes_.end(),
                                  [&node](const auto& each) { return !each->IsOrIsBelow(node); });
        nodes_.erase(gone, nodes_.end());
    }

    static void CheckNamespaceParent(const Node& node) {
        const Node* ancestor = node.owner;
        while (ancestor && ancestor->namespaces.empty())
            ancestor = ancestor->owner;
        Require(node.Element().GetNamespaceParent() == (ancestor ? ancestor->node : nullptr),
                "the nearest ancestor with namespaces is known");
    }

    static void CheckRoot(const Node& root, std::size_t indentation, bool has_declaration) {
        NPT_StringOutputStream stream;
        NPT_XmlWriter(static_cast<NPT_UInt32>(indentation))
            .Serialize(*root.node, stream, has_declaration);
        const std::string document(stream.GetString().GetChars(), stream.GetString().GetLength());
        const bool is_declared = document.compare(0, 6, "<?xml ") == 0;
        Require(is_declared == has_declaration, "a declaration is written where it is wanted");
        Reader reader;
        Require(reader.Read(document), "a tree is written as a document");
        Expectation expectation(indentation);
        Require(reader.GetEvents() == expectation.Of(root), "a written tree is read back");
    }

    FuzzInput& input_;
    std::vector<std::unique_ptr<Node>> nodes_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const NPT_UInt8* data, std::size_t size) {
    FuzzInput input(data, size);
    const NPT_UInt8 head = input.TakeByte();
    Run run(input);
    for (int count = 0; count < kMostSteps && !input.IsEmpty(); ++count)
        run.Step();
    run.CheckAll(head % 9, (head & 128) != 0);
    return 0;
}
