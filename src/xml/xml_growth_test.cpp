// What building, changing and freeing a tree costs grows with its size, not with its square.
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <ostream>
#include <string>
#include <vector>

#include "xml/xml_element_node.h"

namespace {

constexpr int kSmall = 2500;
constexpr int kLarge = 8 * kSmall;

using Elements = std::vector<NPT_XmlElementNode*>;

NPT_XmlElementNode* AddElement(NPT_XmlElementNode& parent) {
    auto* child = new NPT_XmlElementNode("e");
    EXPECT_EQ(parent.AddChild(child), NPT_SUCCESS);
    return child;
}

Elements AddChildren(NPT_XmlElementNode& parent, int count) {
    Elements children;
    for (int number = 0; number < count; ++number)
        children.push_back(AddElement(parent));
    return children;
}

Elements AddChain(NPT_XmlElementNode& parent, int count) {
    Elements links{&parent};
    for (int number = 0; number < count; ++number)
        links.push_back(AddElement(*links.back()));
    return links;
}

void DeleteChildrenFromTheEnd(int count) {
    NPT_XmlElementNode root("root");
    const Elements children = AddChildren(root, count);
    for (auto child = children.rbegin(); child != children.rend(); ++child)
        delete *child;
    EXPECT_TRUE(root.GetChildren().IsEmpty());
}

void MoveChildrenFromTheEnd(int count) {
    NPT_XmlElementNode former("former");
    NPT_XmlElementNode latter("latter");
    const Elements children = AddChildren(former, count);
    for (auto child = children.rbegin(); child != children.rend(); ++child)
        latter.AddChild(*child);
    EXPECT_EQ(latter.GetChildren().GetItemCount(), children.size());
}

void GrowAChainByElementsWithChildren(int count) {
    NPT_XmlElementNode root("root");
    NPT_XmlElementNode* innermost = &root;
    for (int number = 0; number < count; ++number) {
        auto* link = new NPT_XmlElementNode("link");
        AddElement(*link);
        ASSERT_EQ(innermost->AddChild(link), NPT_SUCCESS);
        innermost = link;
    }
}

void GrowAChainAtItsRoot(int count) {
    auto* outermost = new NPT_XmlElementNode("e");
    for (int number = 0; number < count; ++number) {
        auto* link = new NPT_XmlElementNode("e");
        ASSERT_EQ(link->AddChild(outermost), NPT_SUCCESS);
        outermost = link;
    }
    delete outermost;
}

void DeclareANamespaceAtEachLevel(int count) {
    NPT_XmlElementNode root("root");
    for (NPT_XmlElementNode* link : AddChain(root, count))
        link->SetNamespaceUri("", "u");
}

void MoveADeepTreeBetweenNamespaces(int count) {
    NPT_XmlElementNode first("first");
    NPT_XmlElementNode second("second");
    first.SetNamespaceUri("", "u");
    second.SetNamespaceUri("", "v");
    NPT_XmlElementNode* const moved = AddElement(first);
    AddChain(*moved, count);
    for (int number = 0; number < count; ++number)
        (number % 2 ? first : second).AddChild(moved);
}

void MoveAWideTree(int count) {
    NPT_XmlElementNode first("first");
    NPT_XmlElementNode second("second");
    NPT_XmlElementNode* const moved = AddElement(first);
    for (int number = 0; number < count; ++number)
        moved->AddText("t");
    for (int number = 0; number < count; ++number)
        (number % 2 ? first : second).AddChild(moved);
}

struct Work {
    const char* name;
    void (*run)(int count);
};

void PrintTo(const Work& work, std::ostream* out) {
    *out << work.name;
}

class XmlGrowth : public testing::TestWithParam<Work> {};

double SecondsFor(const Work& work, int count) {
    const std::clock_t begin = std::clock();
    work.run(count);
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

// Eight times the nodes cost some eight times the time, the square would be sixty-four times. The
// tenth of a second is for a clock that ticks coarsely; the square takes longer at this size. The
// clock of Windows runs on while others have the processor, which can only add, so the fastest of
// some rounds counts.
TEST_P(XmlGrowth, IsNoSquare) {
    constexpr int kRounds = 5;
    double small = 1e9;
    double large = 1e9;
    for (int round = 0; round < kRounds && (round < 3 || large >= 32 * small + 0.1); ++round) {
        small = std::min(small, SecondsFor(GetParam(), kSmall));
        large = std::min(large, SecondsFor(GetParam(), kLarge));
    }
    EXPECT_LT(large, 32 * small + 0.1) << small << " s for " << kSmall;
}

INSTANTIATE_TEST_SUITE_P(
    Trees, XmlGrowth,
    testing::Values(Work{"DeleteChildrenFromTheEnd", DeleteChildrenFromTheEnd},
                    Work{"MoveChildrenFromTheEnd", MoveChildrenFromTheEnd},
                    Work{"GrowAChainByElementsWithChildren", GrowAChainByElementsWithChildren},
                    Work{"GrowAChainAtItsRoot", GrowAChainAtItsRoot},
                    Work{"DeclareANamespaceAtEachLevel", DeclareANamespaceAtEachLevel},
                    Work{"MoveADeepTreeBetweenNamespaces", MoveADeepTreeBetweenNamespaces},
                    Work{"MoveAWideTree", MoveAWideTree}),
    [](const testing::TestParamInfo<Work>& work) { return std::string(work.param.name); });

}  // namespace
