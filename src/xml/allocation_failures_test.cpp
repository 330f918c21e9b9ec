// Every operation of this folder that allocates, with each of its allocations refused in turn: it
// throws std::bad_alloc, and the tree is what it was.
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>

#include "core/string_output_stream.h"
#include "core/testing/failing_allocation.h"
#include "xml/xml_element_node.h"
#include "xml/xml_text_node.h"
#include "xml/xml_writer.h"

namespace {

constexpr char kLong[] = "a value that needs more room than the old one";

// <root p:a="1" xmlns:p="u"><e><inner/></e>text</root>, and <other><e/></other> beside it.
struct Trees {
    Trees() {
        root.SetAttribute("p", "a", "1");
        root.SetNamespaceUri("p", "u");
        child = new NPT_XmlElementNode("e");
        root.AddChild(child);
        child->AddChild(new NPT_XmlElementNode("inner"));
        root.AddText("text");
        moved = new NPT_XmlElementNode("e");
        other.AddChild(moved);
        moved->AddText("t");
    }
    std::string Print() {
        NPT_StringOutputStream stream;
        NPT_XmlWriter().Serialize(root, stream);
        NPT_XmlWriter().Serialize(other, stream);
        return stream.GetString().GetChars();
    }

    NPT_XmlElementNode root{"root"};
    NPT_XmlElementNode other{"other"};
    NPT_XmlElementNode* child = nullptr;
    NPT_XmlElementNode* moved = nullptr;
    std::unique_ptr<NPT_XmlNode> fresh = std::make_unique<NPT_XmlTextNode>("fresh");
};

struct TreeWork {
    const char* name;
    void (*run)(Trees& trees);
};

void PrintTo(const TreeWork& work, std::ostream* out) {
    *out << work.name;
}

class TreeWithoutMemory : public testing::TestWithParam<TreeWork> {};

TEST_P(TreeWithoutMemory, IsWhatItWas) {
    const std::string before = Trees().Print();
    const long refusals = RefuseEachAllocation(
        [] { return std::make_unique<Trees>(); }, [](auto& trees) { GetParam().run(*trees); },
        [&before](const auto& trees, bool refused) {
            EXPECT_EQ(trees->Print() == before, refused);
            if (refused) {
                EXPECT_EQ(trees->child->GetNamespaceParent(), &trees->root);
                EXPECT_EQ(trees->moved->GetNamespaceParent(), nullptr);
                EXPECT_EQ(trees->moved->GetParent(), &trees->other);
            }
        });
    EXPECT_GE(refusals, 1);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, TreeWithoutMemory,
    testing::Values(
        TreeWork{"AddChild",
                 [](Trees& trees) {
                     if (NPT_Succeeded(trees.root.AddChild(trees.fresh.get())))
                         trees.fresh.release();
                 }},
        TreeWork{"MoveChild", [](Trees& trees) { trees.child->AddChild(trees.moved); }},
        TreeWork{"AddText", [](Trees& trees) { trees.child->AddText("more"); }},
        TreeWork{"NewAttribute", [](Trees& trees) { trees.root.SetAttribute("p", "b", "2"); }},
        TreeWork{"OldAttribute", [](Trees& trees) { trees.root.SetAttribute("p", "a", kLong); }},
        TreeWork{"NewNamespace", [](Trees& trees) { trees.root.SetNamespaceUri("q", kLong); }},
        TreeWork{"OldNamespace", [](Trees& trees) { trees.root.SetNamespaceUri("p", kLong); }},
        TreeWork{"FirstNamespace", [](Trees& trees) { trees.other.SetNamespaceUri("p", kLong); }}),
    [](const testing::TestParamInfo<TreeWork>& work) { return std::string(work.param.name); });

// What a construction that throws has made by then, it frees; the sanitized build sees that.
TEST(NodesWithoutMemory, LeaveNothing) {
    const auto refuse = [](void (*make)()) {
        return RefuseEachAllocation([] { return 0; }, [make](int) { make(); }, [](int, bool) {});
    };
    EXPECT_GE(refuse([] { const NPT_XmlElementNode element("prefix:tag"); }), 3);
    EXPECT_GE(refuse([] { const NPT_XmlElementNode element("prefix", "tag"); }), 2);
    EXPECT_EQ(refuse([] { const NPT_XmlTextNode text("text"); }), 1);
    EXPECT_EQ(refuse([] { const NPT_XmlAttribute attribute("prefix", "name", "value"); }), 3);
}

TEST(WriterWithoutMemory, LeavesTheTreeAsItIs) {
    const std::string whole = Trees().Print();
    const long refusals = RefuseEachAllocation(
        [] { return std::make_unique<Trees>(); },
        [](auto& trees) {
            NPT_StringOutputStream stream;
            NPT_XmlWriter(2).Serialize(trees->root, stream, true);
        },
        [&whole](const auto& trees, bool) { EXPECT_EQ(trees->Print(), whole); });
    EXPECT_GE(refusals, 4);
}

}  // namespace
