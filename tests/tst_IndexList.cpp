// The list that holds a port's destinations and a node's children: the same
// answers as a std::vector<int>, whether its entries sit in place or on the
// heap.

#include "../src/Core/IndexList_p.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

using Morvane::Zrn::IndexList;

namespace {

std::vector<int> entries(const IndexList& list)
{
    return std::vector<int>(list.begin(), list.end());
}

IndexList listOf(const std::vector<int>& values)
{
    IndexList list;
    for (int v : values)
        list.push_back(v);
    return list;
}

} // namespace

TEST(IndexList, StartsEmpty)
{
    const IndexList list;
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.size(), 0u);
    EXPECT_EQ(list.begin(), list.end());
}

// Sizes 1 and 2 stay in place, 3 and more move to the heap: every size
// reads back in order.
TEST(IndexList, AppendsInOrderAcrossTheMoveToTheHeap)
{
    IndexList list;
    std::vector<int> expected;
    for (int v = 10; v < 19; ++v) {
        list.push_back(v);
        expected.push_back(v);
        EXPECT_EQ(entries(list), expected) << "after " << v;
        EXPECT_EQ(list.front(), 10);
        EXPECT_EQ(list.back(), v);
        EXPECT_EQ(list[list.size() - 1], v);
    }
    EXPECT_EQ(list.size(), 9u);
}

TEST(IndexList, EraseKeepsTheOrderOfTheRest)
{
    for (const std::vector<int>& values : {std::vector<int>{7, 8}, std::vector<int>{1, 2, 3, 4, 5}}) {
        IndexList list = listOf(values);
        int* next = list.erase(std::find(list.begin(), list.end(), values[1]));
        EXPECT_EQ(next - list.begin(), 1);
        std::vector<int> expected = values;
        expected.erase(expected.begin() + 1);
        EXPECT_EQ(entries(list), expected);
        list.erase(list.begin());
        expected.erase(expected.begin());
        EXPECT_EQ(entries(list), expected);
    }
}

TEST(IndexList, PopBackAndClear)
{
    IndexList list = listOf({4, 5, 6});
    list.pop_back();
    EXPECT_EQ(entries(list), (std::vector<int>{4, 5}));
    list.clear();
    EXPECT_TRUE(list.empty());
    list.push_back(9);
    EXPECT_EQ(entries(list), (std::vector<int>{9}));
}

TEST(IndexList, ResizeShrinksOrFillsWithZeros)
{
    IndexList list = listOf({1, 2, 3, 4});
    list.resize(2);
    EXPECT_EQ(entries(list), (std::vector<int>{1, 2}));
    list.resize(5);
    EXPECT_EQ(entries(list), (std::vector<int>{1, 2, 0, 0, 0}));
    IndexList small = listOf({3});
    small.resize(0);
    EXPECT_TRUE(small.empty());
}

TEST(IndexList, EntriesAreWritableInPlace)
{
    IndexList list = listOf({1, 2, 3});
    for (int& v : list)
        v *= 10;
    list[0] = 5;
    EXPECT_EQ(entries(list), (std::vector<int>{5, 20, 30}));
}

// Copies are independent; a moved-from list is empty and usable.
TEST(IndexList, CopiesAndMovesInPlaceAndOnTheHeap)
{
    for (const std::vector<int>& values : {std::vector<int>{1, 2}, std::vector<int>{1, 2, 3, 4}}) {
        IndexList original = listOf(values);
        IndexList copy(original);
        copy.push_back(99);
        EXPECT_EQ(entries(original), values);
        std::vector<int> longer = values;
        longer.push_back(99);
        EXPECT_EQ(entries(copy), longer);

        IndexList assigned = listOf({7, 7, 7, 7, 7, 7});
        assigned = original;
        EXPECT_EQ(entries(assigned), values);

        IndexList moved(std::move(original));
        EXPECT_EQ(entries(moved), values);
        EXPECT_TRUE(original.empty()); // NOLINT(bugprone-use-after-move): a moved-from list is empty
        original.push_back(5);
        EXPECT_EQ(entries(original), (std::vector<int>{5}));

        IndexList target = listOf({8});
        target = std::move(moved);
        EXPECT_EQ(entries(target), values);
        EXPECT_TRUE(moved.empty()); // NOLINT(bugprone-use-after-move)
    }
}

TEST(IndexList, RecordWithTwoInPlaceEntriesTakesSixteenBytes)
{
    EXPECT_EQ(sizeof(IndexList), 16u);
}
