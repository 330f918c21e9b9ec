#include "xml/xml_element_node.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "core/testing/failing_allocation.h"
#include "xml/xml_text_node.h"

namespace {

constexpr int kDeep = 200000;

std::unique_ptr<NPT_XmlElementNode> Element(const char* name) {
    return std::make_unique<NPT_XmlElementNode>(name);
}

// Adds a new element and returns it; parent owns it.
NPT_XmlElementNode* AddElement(NPT_XmlElementNode& parent, const char* name) {
    auto child = Element(name);
    EXPECT_EQ(parent.AddChild(child.get()), NPT_SUCCESS);
    return child.release();
}

std::vector<const NPT_XmlNode*> ChildrenOf(const NPT_XmlElementNode& element) {
    std::vector<const NPT_XmlNode*> children;
    for (const NPT_XmlNode* child : element.GetChildren())
        children.push_back(child);
    return children;
}

// "prefix:name=value" per attribute, in order.
std::vector<std::string> AttributesOf(const NPT_XmlElementNode& element) {
    std::vector<std::string> attributes;
    for (const NPT_XmlAttribute& attribute : element.GetAttributes()) {
        attributes.push_back(std::string(attribute.GetPrefix().GetChars()) + ":" +
                             attribute.GetName().GetChars() + "=" +
                             attribute.GetValue().GetChars());
    }
    return attributes;
}

// "prefix=uri" per declared namespace, in order.
std::vector<std::string> NamespacesOf(const NPT_XmlElementNode& element) {
    std::vector<std::string> namespaces;
    if (!element.GetNamespaceMap()) return namespaces;
    for (const NPT_XmlNamespaceMap::Entry& entry : element.GetNamespaceMap()->GetEntries())
        namespaces.push_back(std::string(entry.prefix.GetChars()) + "=" + entry.uri.GetChars());
    return namespaces;
}

using Texts = std::vector<std::string>;
using Nodes = std::vector<const NPT_XmlNode*>;

// Counts how often its instances are destroyed.
class CountedElement : public NPT_XmlElementNode {
  public:
    explicit CountedElement(int& destroyed)
        : NPT_XmlElementNode("counted"), destroyed_(destroyed) {}
    ~CountedElement() override { ++destroyed_; }

  private:
    int& destroyed_;
};

class CountedText : public NPT_XmlTextNode {
  public:
    explicit CountedText(int& destroyed) : NPT_XmlTextNode("counted"), destroyed_(destroyed) {}
    ~CountedText() override { ++destroyed_; }

  private:
    int& destroyed_;
};

}  // namespace

TEST(XmlNode, KnowsWhatItIs) {
    NPT_XmlElementNode element("e");
    NPT_XmlTextNode text("t");
    const NPT_XmlNode& constant_element = element;
    const NPT_XmlNode& constant_text = text;
    EXPECT_EQ(element.GetType(), 1u);
    EXPECT_EQ(text.GetType(), 2u);
    EXPECT_EQ(static_cast<NPT_XmlNode&>(element).AsElementNode(), &element);
    EXPECT_EQ(constant_element.AsElementNode(), &element);
    EXPECT_EQ(static_cast<NPT_XmlNode&>(element).AsTextNode(), nullptr);
    EXPECT_EQ(constant_element.AsTextNode(), nullptr);
    EXPECT_EQ(static_cast<NPT_XmlNode&>(text).AsTextNode(), &text);
    EXPECT_EQ(constant_text.AsTextNode(), &text);
    EXPECT_EQ(static_cast<NPT_XmlNode&>(text).AsElementNode(), nullptr);
    EXPECT_EQ(constant_text.AsElementNode(), nullptr);
}

TEST(XmlNode, StartsWithoutParent) {
    NPT_XmlElementNode element("e");
    EXPECT_EQ(element.GetParent(), nullptr);
    EXPECT_EQ(element.GetNamespaceParent(), nullptr);
    EXPECT_EQ(element.GetNamespaceMap(), nullptr);
}

TEST(XmlElementNode, SplitsAQualifiedNameAtTheFirstColon) {
    const struct {
        const char* name;
        const char* prefix;
        const char* tag;
    } cases[] = {
        {"ns:tag", "ns", "tag"}, {":x", "", "x"}, {"a:b:c", "a", "b:c"}, {"plain", "", "plain"},
        {"x:", "x", ""},         {":", "", ""},   {"", "", ""},          {nullptr, "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name ? c.name : "null");
        NPT_XmlElementNode element(c.name);
        EXPECT_STREQ(element.GetPrefix().GetChars(), c.prefix);
        EXPECT_STREQ(element.GetTag().GetChars(), c.tag);
    }
}

TEST(XmlElementNode, TakesPrefixAndTagUnsplit) {
    NPT_XmlElementNode element("p:q", "a:b");
    EXPECT_STREQ(element.GetPrefix().GetChars(), "p:q");
    EXPECT_STREQ(element.GetTag().GetChars(), "a:b");
    NPT_XmlElementNode nameless(nullptr, nullptr);
    EXPECT_TRUE(nameless.GetPrefix().IsEmpty());
    EXPECT_TRUE(nameless.GetTag().IsEmpty());
}

TEST(XmlElementNode, KeepsChildrenInOrderOfAddition) {
    NPT_XmlElementNode root("root");
    const NPT_XmlNode* first = AddElement(root, "a");
    EXPECT_EQ(root.AddText("text"), NPT_SUCCESS);
    const NPT_XmlNode* last = AddElement(root, "b");
    const Nodes children = ChildrenOf(root);
    ASSERT_EQ(children.size(), 3u);
    EXPECT_EQ(children[0], first);
    EXPECT_STREQ(children[1]->AsTextNode()->GetText().GetChars(), "text");
    EXPECT_EQ(children[2], last);
    for (const NPT_XmlNode* child : children)
        EXPECT_EQ(child->GetParent(), &root);
}

TEST(XmlElementNode, NeverMergesTexts) {
    NPT_XmlElementNode root("root");
    EXPECT_EQ(root.AddText("a"), NPT_SUCCESS);
    EXPECT_EQ(root.AddText("b"), NPT_SUCCESS);
    EXPECT_EQ(root.AddText(nullptr), NPT_SUCCESS);
    const Nodes children = ChildrenOf(root);
    ASSERT_EQ(children.size(), 3u);
    EXPECT_STREQ(children[0]->AsTextNode()->GetText().GetChars(), "a");
    EXPECT_STREQ(children[1]->AsTextNode()->GetText().GetChars(), "b");
    EXPECT_STREQ(children[2]->AsTextNode()->GetText().GetChars(), "");
    EXPECT_EQ(children[2]->AsTextNode()->GetTokenType(), 0u);
}

TEST(XmlElementNode, RefusesANullChild) {
    NPT_XmlElementNode root("root");
    EXPECT_EQ(root.AddChild(nullptr), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_TRUE(root.GetChildren().IsEmpty());
}

TEST(XmlElementNode, RefusesItselfAndItsAncestors) {
    NPT_XmlElementNode root("root");
    NPT_XmlElementNode* middle = AddElement(root, "middle");
    NPT_XmlElementNode* leaf = AddElement(*middle, "leaf");
    EXPECT_EQ(leaf->AddChild(leaf), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(leaf->AddChild(middle), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(leaf->AddChild(&root), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_TRUE(leaf->GetChildren().IsEmpty());
    EXPECT_EQ(ChildrenOf(root), Nodes{middle});
    EXPECT_EQ(ChildrenOf(*middle), Nodes{leaf});
    EXPECT_EQ(root.GetParent(), nullptr);
    EXPECT_EQ(middle->GetParent(), &root);
}

TEST(XmlElementNode, TakesAChildFromItsFormerElement) {
    NPT_XmlElementNode former("former");
    NPT_XmlElementNode* stays = AddElement(former, "stays");
    NPT_XmlElementNode* moves = AddElement(former, "moves");
    {
        NPT_XmlElementNode latter("latter");
        EXPECT_EQ(latter.AddChild(moves), NPT_SUCCESS);
        EXPECT_EQ(moves->GetParent(), &latter);
        EXPECT_EQ(ChildrenOf(latter), Nodes{moves});
        EXPECT_EQ(ChildrenOf(former), Nodes{stays});
        EXPECT_EQ(former.AddChild(moves), NPT_SUCCESS);
    }
    EXPECT_EQ(ChildrenOf(former), (Nodes{stays, moves}));
}

TEST(XmlElementNode, MovesASiblingBelowItsSibling) {
    NPT_XmlElementNode root("root");
    NPT_XmlElementNode* a = AddElement(root, "a");
    NPT_XmlElementNode* b = AddElement(root, "b");
    AddElement(*b, "inner");
    EXPECT_EQ(a->AddChild(b), NPT_SUCCESS);
    EXPECT_EQ(ChildrenOf(root), Nodes{a});
    EXPECT_EQ(ChildrenOf(*a), Nodes{b});
}

TEST(XmlElementNode, ListsAChildAsOftenAsItWasAdded) {
    NPT_XmlElementNode root("root");
    NPT_XmlElementNode* child = AddElement(root, "child");
    EXPECT_EQ(root.AddChild(child), NPT_SUCCESS);
    EXPECT_EQ(ChildrenOf(root), (Nodes{child, child}));
    NPT_XmlElementNode other("other");
    EXPECT_EQ(other.AddChild(child), NPT_SUCCESS);
    EXPECT_TRUE(root.GetChildren().IsEmpty());
    EXPECT_EQ(ChildrenOf(other), Nodes{child});
}

TEST(XmlElementNode, DeletesEachNodeOfItsTreeOnce) {
    int destroyed = 0;
    {
        NPT_XmlElementNode root("root");
        auto* repeated = new CountedElement(destroyed);
        root.AddChild(repeated);
        root.AddChild(new CountedText(destroyed));
        root.AddChild(repeated);
        auto* inner = new CountedElement(destroyed);
        repeated->AddChild(inner);
        repeated->AddChild(inner);
        inner->AddChild(new CountedText(destroyed));
        root.SetAttribute(nullptr, "a", "v");
        root.SetNamespaceUri("p", "u");
        inner->SetNamespaceUri("p", "u");
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 4);
}

TEST(XmlElementNode, MovedNodesDieWithTheirLastElementOnly) {
    int destroyed = 0;
    auto former = Element("former");
    auto* child = new CountedElement(destroyed);
    former->AddChild(child);
    {
        NPT_XmlElementNode latter("latter");
        latter.AddChild(child);
        former.reset();
        EXPECT_EQ(destroyed, 0);
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(XmlElementNode, ForgetsAChildThatIsDeletedBehindItsBack) {
    int destroyed = 0;
    {
        NPT_XmlElementNode root("root");
        auto* child = new CountedElement(destroyed);
        root.AddChild(child);
        root.AddChild(child);
        delete child;
        EXPECT_TRUE(root.GetChildren().IsEmpty());
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(XmlElementNode, AFailedAdditionLeavesTheChildWhereItWas) {
    NPT_XmlElementNode former("former");
    NPT_XmlElementNode* child = AddElement(former, "child");
    NPT_XmlElementNode latter("latter");
    {
        const FailingAllocation failure(1);
        EXPECT_THROW(latter.AddChild(child), std::bad_alloc);
    }
    EXPECT_TRUE(latter.GetChildren().IsEmpty());
    EXPECT_EQ(ChildrenOf(former), Nodes{child});
    EXPECT_EQ(child->GetParent(), &former);
}

TEST(XmlElementNode, OwnershipIgnoresWhatSetParentWasTold) {
    int destroyed = 0;
    {
        NPT_XmlElementNode root("root");
        auto* child = new CountedElement(destroyed);
        root.AddChild(child);
        NPT_XmlElementNode stranger("stranger");
        child->SetParent(&stranger);
        NPT_XmlElementNode other("other");
        EXPECT_EQ(other.AddChild(child), NPT_SUCCESS);
        EXPECT_TRUE(root.GetChildren().IsEmpty());
    }
    EXPECT_EQ(destroyed, 1);
}

TEST(XmlElementNode, KeepsARepeatedAttributeAtItsFirstPlace) {
    NPT_XmlElementNode element("e");
    EXPECT_EQ(element.SetAttribute("", "a", "1"), NPT_SUCCESS);
    EXPECT_EQ(element.SetAttribute(nullptr, "b", "2"), NPT_SUCCESS);
    EXPECT_EQ(element.SetAttribute(nullptr, "a", "3"), NPT_SUCCESS);
    EXPECT_EQ(AttributesOf(element), (Texts{":a=3", ":b=2"}));
}

TEST(XmlElementNode, TellsAttributesApartByPrefixAndCase) {
    NPT_XmlElementNode element("e");
    element.SetAttribute(nullptr, "a", "1");
    element.SetAttribute("p", "a", "2");
    element.SetAttribute("P", "a", "3");
    element.SetAttribute(nullptr, "A", "4");
    EXPECT_EQ(AttributesOf(element), (Texts{":a=1", "p:a=2", "P:a=3", ":A=4"}));
}

TEST(XmlElementNode, RefusesAnAttributeWithoutNameOrValue) {
    NPT_XmlElementNode element("e");
    element.SetAttribute(nullptr, "a", "1");
    EXPECT_EQ(element.SetAttribute("p", nullptr, "v"), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(element.SetAttribute("p", "n", nullptr), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(element.SetAttribute(nullptr, "a", nullptr), NPT_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(AttributesOf(element), Texts{":a=1"});
}

TEST(XmlElementNode, AttributeValuesMayComeFromTheAttributeItself) {
    NPT_XmlElementNode element("e");
    element.SetAttribute(nullptr, "a", "value");
    const NPT_XmlAttribute& attribute = *element.GetAttributes().begin();
    EXPECT_EQ(element.SetAttribute(nullptr, "a", attribute.GetValue().GetChars() + 2), NPT_SUCCESS);
    EXPECT_EQ(AttributesOf(element), Texts{":a=lue"});
}

TEST(XmlElementNode, KeepsOneNamespacePerPrefix) {
    NPT_XmlElementNode element("e");
    EXPECT_EQ(element.SetNamespaceUri("", "first"), NPT_SUCCESS);
    EXPECT_EQ(element.SetNamespaceUri("p", "second"), NPT_SUCCESS);
    EXPECT_EQ(element.SetNamespaceUri("P", "third"), NPT_SUCCESS);
    EXPECT_EQ(element.SetNamespaceUri(nullptr, "last"), NPT_SUCCESS);
    EXPECT_EQ(NamespacesOf(element), (Texts{"=last", "p=second", "P=third"}));
    EXPECT_EQ(element.SetNamespaceUri("p", nullptr), NPT_SUCCESS);
    EXPECT_EQ(NamespacesOf(element), (Texts{"=last", "p=", "P=third"}));
}

TEST(XmlElementNode, BecomesNamespaceParentOfTheChildrenItAlreadyHas) {
    NPT_XmlElementNode root("root");
    NPT_XmlElementNode* child = AddElement(root, "child");
    root.AddText("text");
    NPT_XmlElementNode* grandchild = AddElement(*child, "grandchild");
    EXPECT_EQ(child->GetNamespaceParent(), nullptr);
    root.SetNamespaceUri("", "u");
    EXPECT_EQ(child->GetNamespaceParent(), &root);
    EXPECT_EQ(grandchild->GetNamespaceParent(), &root);
    EXPECT_EQ(root.GetNamespaceParent(), nullptr);
}

TEST(XmlElementNode, FindsItsNamespaceParentWhenAdded) {
    NPT_XmlElementNode root("root");
    root.SetNamespaceUri("", "u");
    NPT_XmlElementNode* child = AddElement(root, "child");
    NPT_XmlElementNode* grandchild = AddElement(*child, "grandchild");
    EXPECT_EQ(child->GetNamespaceParent(), &root);
    EXPECT_EQ(grandchild->GetNamespaceParent(), &root);
}

TEST(XmlElementNode, DeclaringANamespaceInBetweenShieldsTheSubtree) {
    NPT_XmlElementNode root("root");
    NPT_XmlElementNode* middle = AddElement(root, "middle");
    NPT_XmlElementNode* leaf = AddElement(*middle, "leaf");
    root.SetNamespaceUri("", "u");
    middle->SetNamespaceUri("", "v");
    EXPECT_EQ(middle->GetNamespaceParent(), &root);
    EXPECT_EQ(leaf->GetNamespaceParent(), middle);
    NPT_XmlElementNode other("other");
    other.AddChild(middle);
    EXPECT_EQ(middle->GetNamespaceParent(), nullptr);
    EXPECT_EQ(leaf->GetNamespaceParent(), middle);
}

TEST(XmlElementNode, MovingASubtreeChangesItsNamespaceParents) {
    NPT_XmlElementNode former("former");
    former.SetNamespaceUri("", "u");
    NPT_XmlElementNode* middle = AddElement(former, "middle");
    NPT_XmlElementNode* leaf = AddElement(*middle, "leaf");
    NPT_XmlElementNode latter("latter");
    latter.SetNamespaceUri("", "v");
    latter.AddChild(middle);
    EXPECT_EQ(middle->GetNamespaceParent(), &latter);
    EXPECT_EQ(leaf->GetNamespaceParent(), &latter);
}

TEST(XmlElementNode, LosesItsNamespaceParentWithItsParent) {
    NPT_XmlElementNode root("root");
    root.SetNamespaceUri("", "u");
    NPT_XmlElementNode child("child");
    child.SetParent(&root);
    EXPECT_EQ(child.GetNamespaceParent(), &root);
    NPT_XmlTextNode text("text");
    child.SetParent(&text);
    EXPECT_EQ(child.GetParent(), &text);
    EXPECT_EQ(child.GetNamespaceParent(), nullptr);
    child.SetParent(&root);
    child.SetParent(nullptr);
    EXPECT_EQ(child.GetNamespaceParent(), nullptr);
}

TEST(XmlElementNode, AFailedDeclarationChangesNothing) {
    for (const bool has_namespaces : {false, true}) {
        SCOPED_TRACE(has_namespaces);
        NPT_XmlElementNode root("root");
        NPT_XmlElementNode* child = AddElement(root, "child");
        NPT_XmlElementNode* grandchild = AddElement(*child, "grandchild");
        if (has_namespaces) child->SetNamespaceUri("p", "old");
        const Texts before = NamespacesOf(*child);
        long nth = 1;
        for (;; ++nth) {
            const FailingAllocation failing(nth);
            try {
                child->SetNamespaceUri("p", "a longer one");
                break;
            } catch (const std::bad_alloc&) {
            }
            ASSERT_EQ(NamespacesOf(*child), before);
            ASSERT_EQ(grandchild->GetNamespaceParent(), has_namespaces ? child : nullptr);
        }
        EXPECT_GT(nth, 1);
        EXPECT_EQ(NamespacesOf(*child), Texts{"p=a longer one"});
        EXPECT_EQ(grandchild->GetNamespaceParent(), child);
    }
}

TEST(XmlElementNode, FreesADeepTreeThatGrewAtItsEnd) {
    int destroyed = 0;
    {
        NPT_XmlElementNode root("root");
        NPT_XmlElementNode* innermost = &root;
        for (int level = 0; level < kDeep; ++level) {
            auto* next = new CountedElement(destroyed);
            next->AddText("t");
            ASSERT_EQ(innermost->AddChild(next), NPT_SUCCESS);
            innermost = next;
        }
        root.SetNamespaceUri("", "u");
        EXPECT_EQ(innermost->GetNamespaceParent(), &root);
        EXPECT_EQ(innermost->AddChild(&root), NPT_ERROR_INVALID_ARGUMENT);
    }
    EXPECT_EQ(destroyed, kDeep);
}

TEST(XmlElementNode, FreesADeepTreeThatGrewAtItsRoot) {
    int destroyed = 0;
    NPT_XmlElementNode* outermost = new CountedElement(destroyed);
    NPT_XmlElementNode* const innermost = outermost;
    for (int level = 1; level < kDeep; ++level) {
        auto* next = new CountedElement(destroyed);
        next->SetNamespaceUri("", "u");
        ASSERT_EQ(next->AddChild(outermost), NPT_SUCCESS);
        outermost = next;
    }
    EXPECT_EQ(innermost->GetNamespaceParent(), innermost->GetParent());
    delete outermost;
    EXPECT_EQ(destroyed, kDeep);
}
