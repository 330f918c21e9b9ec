#include "core/list.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

NPT_List<int> ListOf(std::initializer_list<int> values) {
    NPT_List<int> list;
    for (const int value : values)
        list.Add(value);
    return list;
}

std::vector<int> ValuesOf(const NPT_List<int>& list) {
    return std::vector<int>(list.begin(), list.end());
}

using Values = std::vector<int>;

TEST(List, KeepsTheOrderOfInsertion) {
    const NPT_List<int> list = ListOf({3, 1, 2});
    EXPECT_EQ(ValuesOf(list), (Values{3, 1, 2}));
    EXPECT_EQ(list.GetItemCount(), 3u);
    EXPECT_FALSE(list.IsEmpty());
    EXPECT_EQ(*list.GetLastItem(), 2);
}

TEST(List, EmptyHasNoItems) {
    NPT_List<int> list;
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_TRUE(list.begin() == list.end());
    EXPECT_FALSE(list.begin());
    EXPECT_FALSE(list.GetLastItem());
}

TEST(List, EraseClosesTheGapAtEveryPlace) {
    for (const int erased : {0, 1, 2}) {
        SCOPED_TRACE(erased);
        NPT_List<int> list = ListOf({0, 1, 2});
        auto position = list.begin();
        for (int steps = 0; steps < erased; ++steps)
            ++position;
        const auto following = list.Erase(position);
        if (erased == 2) {
            EXPECT_FALSE(following);
        } else {
            EXPECT_EQ(*following, erased + 1);
        }
        list.Add(9);
        Values expected{0, 1, 2, 9};
        expected.erase(expected.begin() + erased);
        EXPECT_EQ(ValuesOf(list), expected);
        EXPECT_EQ(list.GetItemCount(), 3u);
    }
}

TEST(List, EraseOfTheOnlyItemLeavesAUsableList) {
    NPT_List<int> list = ListOf({1});
    list.Erase(list.begin());
    EXPECT_TRUE(list.IsEmpty());
    list.Add(2);
    EXPECT_EQ(ValuesOf(list), (Values{2}));
}

TEST(List, RemoveTakesTheFirstEqualItem) {
    NPT_List<int> list = ListOf({1, 2, 1});
    EXPECT_EQ(list.Remove(1), NPT_SUCCESS);
    EXPECT_EQ(ValuesOf(list), (Values{2, 1}));
    EXPECT_EQ(list.Remove(7), NPT_ERROR_NOT_FOUND);
}

TEST(List, PopHeadMovesTheFirstItemOut) {
    NPT_List<int> list = ListOf({1, 2});
    int value = 0;
    EXPECT_EQ(list.PopHead(value), NPT_SUCCESS);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(list.PopHead(value), NPT_SUCCESS);
    EXPECT_EQ(list.PopHead(value), NPT_ERROR_NOT_FOUND);
    EXPECT_EQ(value, 2);
}

TEST(List, CopiesAreIndependent) {
    NPT_List<int> list = ListOf({1, 2});
    NPT_List<int> copy(list);
    copy.Add(3);
    EXPECT_EQ(ValuesOf(list), (Values{1, 2}));
    list = copy;
    EXPECT_EQ(ValuesOf(list), (Values{1, 2, 3}));
}

TEST(List, SelfAssignmentKeepsTheItems) {
    NPT_List<int> list = ListOf({1, 2});
    const NPT_List<int>& same = list;
    list = same;
    EXPECT_EQ(ValuesOf(list), (Values{1, 2}));
}

TEST(List, TakesItemsThatOnlyMove) {
    NPT_List<std::unique_ptr<int>> list;
    list.Add(std::make_unique<int>(5));
    NPT_List<std::unique_ptr<int>> moved(std::move(list));
    std::unique_ptr<int> item;
    EXPECT_EQ(moved.PopHead(item), NPT_SUCCESS);
    EXPECT_EQ(*item, 5);
}

// Counts its living copies and refuses to be copied once too often.
struct Fragile {
    explicit Fragile(int* living_count) : living(living_count) { ++*living; }
    Fragile(const Fragile& other) : living(other.living) {
        if (*living == 5) throw std::runtime_error("no more copies");
        ++*living;
    }
    Fragile& operator=(const Fragile&) = delete;
    ~Fragile() { --*living; }
    int* living;
};

TEST(List, AFailedCopyLeavesNothingBehind) {
    int living = 0;
    {
        NPT_List<Fragile> list;
        const Fragile item(&living);
        list.Add(item);
        list.Add(item);
        list.Add(item);
        EXPECT_THROW(NPT_List<Fragile>{list}, std::runtime_error);
        EXPECT_EQ(living, 4);
    }
    EXPECT_EQ(living, 0);
}

}  // namespace
