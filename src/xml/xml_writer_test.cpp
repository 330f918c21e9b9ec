#include "xml/xml_writer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "core/string_output_stream.h"
#include "xml/xml_element_node.h"
#include "xml/xml_text_node.h"

namespace {

std::string Written(NPT_XmlNode& node, NPT_UInt32 indentation = 0, bool declaration = false) {
    NPT_StringOutputStream stream;
    EXPECT_EQ(NPT_XmlWriter(indentation).Serialize(node, stream, declaration), NPT_SUCCESS);
    return std::string(stream.GetString().GetChars(), stream.GetString().GetLength());
}

NPT_XmlElementNode* AddElement(NPT_XmlElementNode& parent, const char* name) {
    auto child = std::make_unique<NPT_XmlElementNode>(name);
    EXPECT_EQ(parent.AddChild(child.get()), NPT_SUCCESS);
    return child.release();
}

// A root with a text leaf, an empty-text leaf, an empty element and a nested one.
std::unique_ptr<NPT_XmlElementNode> SampleTree() {
    auto root = std::make_unique<NPT_XmlElementNode>("root");
    AddElement(*root, "text")->AddText("a");
    AddElement(*root, "blank")->AddText("");
    AddElement(*root, "p:empty");
    AddElement(*AddElement(*root, "outer"), "inner")->AddText("b");
    return root;
}

// Neither an element nor a text.
class OtherNode : public NPT_XmlNode {
  public:
    OtherNode() : NPT_XmlNode(TEXT) {}
};

}  // namespace

TEST(XmlWriter, IndentsElementsAndKeepsTextLeavesOnOneLine) {
    EXPECT_EQ(Written(*SampleTree(), 2),
              "<root>\r\n"
              "  <text>a</text>\r\n"
              "  <blank></blank>\r\n"
              "  <p:empty/>\r\n"
              "  <outer>\r\n"
              "    <inner>b</inner>\r\n"
              "  </outer>\r\n"
              "</root>");
}

TEST(XmlWriter, WithoutIndentationOnlyTheDeclarationEndsALine) {
    EXPECT_EQ(
        Written(*SampleTree(), 0, true),
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
        "<root><text>a</text><blank></blank><p:empty/><outer><inner>b</inner></outer></root>");
}

TEST(XmlWriter, TellsAnEmptyTextFromNoChild) {
    NPT_XmlElementNode without("x");
    EXPECT_EQ(Written(without), "<x/>");
    NPT_XmlElementNode with("x");
    with.AddText("");
    EXPECT_EQ(Written(with), "<x></x>");
}

TEST(XmlWriter, AttributesPrecedeNamespaceDeclarations) {
    NPT_XmlElementNode root("p:root");
    root.SetNamespaceUri("p", "urn:p&q");
    root.SetNamespaceUri("", "urn:d");
    root.SetAttribute(nullptr, "a", "1");
    root.SetAttribute("p", "b", "2\"");
    EXPECT_EQ(Written(root),
              "<p:root a=\"1\" p:b=\"2&quot;\" xmlns:p=\"urn:p&amp;q\" xmlns=\"urn:d\"/>");
}

TEST(XmlWriter, WritesALoneText) {
    NPT_XmlTextNode text("a<b");
    EXPECT_EQ(Written(text, 2), "a&lt;b");
}

TEST(XmlWriter, SkipsNodesOfOtherKinds) {
    NPT_XmlElementNode root("root");
    root.AddChild(new OtherNode);
    EXPECT_EQ(Written(root), "<root/>");
}

TEST(XmlWriter, WritesAChildAsOftenAsItWasAdded) {
    NPT_XmlElementNode root("root");
    NPT_XmlElementNode* child = AddElement(root, "child");
    root.AddChild(child);
    EXPECT_EQ(Written(root), "<root><child/><child/></root>");
}

TEST(XmlWriter, DepthNineNeedsEighteenSpaces) {
    NPT_XmlElementNode root("x");
    NPT_XmlElementNode* innermost = &root;
    for (int depth = 1; depth <= 9; ++depth)
        innermost = AddElement(*innermost, "x");
    const std::string written = Written(root, 2);
    EXPECT_NE(
        written.find("\r\n" + std::string(18, ' ') + "<x/>\r\n" + std::string(16, ' ') + "</"),
        std::string::npos);
}

TEST(XmlWriter, WritesADeepTree) {
    constexpr int kDeep = 200000;
    NPT_XmlElementNode root("x");
    NPT_XmlElementNode* innermost = &root;
    for (int depth = 1; depth < kDeep; ++depth)
        innermost = AddElement(*innermost, "x");
    std::string expected;
    for (int depth = 1; depth < kDeep; ++depth)
        expected += "<x>";
    expected += "<x/>";
    for (int depth = 1; depth < kDeep; ++depth)
        expected += "</x>";
    EXPECT_EQ(Written(root), expected);
}

TEST(XmlWriter, WritesTheSameTwice) {
    auto tree = SampleTree();
    EXPECT_EQ(Written(*tree, 2), Written(*tree, 2));
}
