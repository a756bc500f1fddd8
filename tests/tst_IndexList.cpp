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

// Whether the entries sit inside the list object itself.
bool inPlace(const IndexList& list)
{
    const char* at = reinterpret_cast<const char*>(list.begin());
    const char* self = reinterpret_cast<const char*>(&list);
    return at >= self && at < self + sizeof list;
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

TEST(IndexList, RecordWithTwoInPlaceEntriesTakesTwelveBytesFourAligned)
{
    EXPECT_EQ(sizeof(IndexList), 12u);
    EXPECT_EQ(alignof(IndexList), 4u);
}

// Up to two entries live inside the list itself; from the third on they live
// in a heap block that doubles when full, so the entries move only when the
// size passes 2, 4, 8, 16, ...
TEST(IndexList, MovesToTheHeapAtThreeAndGrowsByDoubling)
{
    IndexList list;
    std::vector<int> expected;
    std::vector<size_t> movedAt;
    for (int v = 0; v < 100; ++v) {
        const int* before = list.begin();
        list.push_back(v * 3);
        expected.push_back(v * 3);
        if (list.begin() != before)
            movedAt.push_back(list.size());
        EXPECT_EQ(inPlace(list), list.size() <= 2) << "size " << list.size();
    }
    EXPECT_EQ(movedAt, (std::vector<size_t>{3, 5, 9, 17, 33, 65}));
    EXPECT_EQ(entries(list), expected);
    EXPECT_EQ(list.front(), 0);
    EXPECT_EQ(list.back(), 297);
}

TEST(IndexList, ClearKeepsTheHeapBlockForRefilling)
{
    IndexList list = listOf({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}); // a block of 16
    const int* block = list.begin();
    list.clear();
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.begin(), block);
    EXPECT_EQ(list.end(), block);
    for (int v = 0; v < 16; ++v) {
        list.push_back(100 + v);
        EXPECT_EQ(list.begin(), block) << "after " << v;
    }
    EXPECT_EQ(list.size(), 16u);
    EXPECT_EQ(list[15], 115);
    list.push_back(116);
    EXPECT_NE(list.begin(), block);
    EXPECT_EQ(list.size(), 17u);
    EXPECT_EQ(list.front(), 100);
    EXPECT_EQ(list.back(), 116);
}

TEST(IndexList, ClearInPlaceStaysInPlace)
{
    IndexList list = listOf({1, 2});
    list.clear();
    EXPECT_TRUE(list.empty());
    EXPECT_TRUE(inPlace(list));
    list.push_back(3);
    list.push_back(4);
    EXPECT_TRUE(inPlace(list));
    EXPECT_EQ(entries(list), (std::vector<int>{3, 4}));
}

// A copy of a heap list has a block of its own, just large enough: its next
// entry moves it to a block twice as large.
TEST(IndexList, CopyOfAHeapListHasItsOwnBlock)
{
    const IndexList original = listOf({5, 6, 7, 8, 9});
    IndexList copy(original);
    EXPECT_NE(copy.begin(), original.begin());
    EXPECT_FALSE(inPlace(copy));
    EXPECT_EQ(entries(copy), (std::vector<int>{5, 6, 7, 8, 9}));
    copy[0] = 50;
    EXPECT_EQ(original[0], 5);
    EXPECT_EQ(copy[0], 50);
    const int* block = copy.begin();
    copy.push_back(10);
    EXPECT_NE(copy.begin(), block);
    EXPECT_EQ(entries(copy), (std::vector<int>{50, 6, 7, 8, 9, 10}));
    EXPECT_EQ(entries(original), (std::vector<int>{5, 6, 7, 8, 9}));
}

// A copy of a heap list that holds two entries or fewer fits in place.
TEST(IndexList, CopyOfAShortHeapListIsInPlace)
{
    IndexList original = listOf({1, 2, 3});
    original.pop_back();
    const IndexList copy(original);
    EXPECT_TRUE(inPlace(copy));
    EXPECT_FALSE(inPlace(original));
    EXPECT_EQ(entries(copy), (std::vector<int>{1, 2}));
}

// Assigning into a heap list reuses its block when the block is large enough.
TEST(IndexList, CopyAssignmentReusesALargeEnoughBlock)
{
    IndexList target = listOf({1, 2, 3, 4, 5, 6, 7, 8});
    const int* block = target.begin();
    const IndexList five = listOf({9, 8, 7, 6, 5});
    target = five;
    EXPECT_EQ(target.begin(), block);
    EXPECT_EQ(entries(target), (std::vector<int>{9, 8, 7, 6, 5}));
    const IndexList two = listOf({4, 2});
    target = two;
    EXPECT_EQ(target.begin(), block);
    EXPECT_EQ(entries(target), (std::vector<int>{4, 2}));
    const IndexList many = listOf({1, 2, 3, 4, 5, 6, 7, 8, 9});
    target = many;
    EXPECT_NE(target.begin(), block);
    EXPECT_EQ(entries(target), entries(many));

    IndexList small = listOf({1});
    small = many;
    EXPECT_FALSE(inPlace(small));
    EXPECT_EQ(entries(small), entries(many));
}

// Moving a heap list hands its block over; the source is empty, in place,
// and usable.
TEST(IndexList, MoveOfAHeapListTakesItsBlock)
{
    IndexList original = listOf({1, 2, 3, 4, 5});
    const int* block = original.begin();
    IndexList moved(std::move(original));
    EXPECT_EQ(moved.begin(), block);
    EXPECT_EQ(entries(moved), (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_TRUE(original.empty()); // NOLINT(bugprone-use-after-move): a moved-from list is empty
    EXPECT_TRUE(inPlace(original));

    IndexList target = listOf({7, 7, 7, 7, 7, 7, 7});
    target = std::move(moved);
    EXPECT_EQ(target.begin(), block);
    EXPECT_EQ(entries(target), (std::vector<int>{1, 2, 3, 4, 5}));
    EXPECT_TRUE(moved.empty()); // NOLINT(bugprone-use-after-move)
    EXPECT_TRUE(inPlace(moved));
    moved.push_back(4);
    moved.push_back(5);
    moved.push_back(6);
    EXPECT_EQ(entries(moved), (std::vector<int>{4, 5, 6}));
    EXPECT_EQ(entries(target), (std::vector<int>{1, 2, 3, 4, 5}));
}

TEST(IndexList, SelfAssignmentKeepsTheEntries)
{
    for (const std::vector<int>& values : {std::vector<int>{1, 2}, std::vector<int>{1, 2, 3, 4, 5}}) {
        IndexList list = listOf(values);
        const int* block = list.begin();
        IndexList& alias = list;
        list = alias;
        EXPECT_EQ(entries(list), values);
        EXPECT_EQ(list.begin(), block);
        list = std::move(alias);
        EXPECT_EQ(entries(list), values);
        EXPECT_EQ(list.begin(), block);
    }
}

// erase() at the front, in the middle and at the back, for a list in place
// and one on the heap, returns the position of the entry that followed.
TEST(IndexList, EraseAtEachPosition)
{
    for (const std::vector<int>& values : {std::vector<int>{7, 8}, std::vector<int>{1, 2, 3, 4, 5, 6}}) {
        for (size_t at = 0; at < values.size(); ++at) {
            IndexList list = listOf(values);
            const int* block = list.begin();
            int* next = list.erase(list.begin() + at);
            EXPECT_EQ(next, list.begin() + at);
            EXPECT_EQ(list.begin(), block);
            std::vector<int> expected = values;
            expected.erase(expected.begin() + long(at));
            EXPECT_EQ(entries(list), expected) << "at " << at;
            EXPECT_EQ(next == list.end(), at + 1 == values.size());
        }
    }
    IndexList one = listOf({3});
    const int* next = one.erase(one.begin());
    EXPECT_EQ(next, one.end());
    EXPECT_TRUE(one.empty());
}

TEST(IndexList, ResizeUpAndDownInPlaceAndOnTheHeap)
{
    IndexList list = listOf({9});
    list.resize(2);
    EXPECT_TRUE(inPlace(list));
    EXPECT_EQ(entries(list), (std::vector<int>{9, 0}));
    list[1] = 4;
    list.resize(1);
    list.resize(2);
    EXPECT_EQ(entries(list), (std::vector<int>{9, 0}));
    list.resize(5); // to the heap, exactly 5
    EXPECT_FALSE(inPlace(list));
    EXPECT_EQ(entries(list), (std::vector<int>{9, 0, 0, 0, 0}));
    for (int& v : list)
        v = 6;
    const int* block = list.begin();
    list.resize(1);
    EXPECT_EQ(list.begin(), block);
    EXPECT_EQ(entries(list), (std::vector<int>{6}));
    list.resize(5); // within the block: the old entries are overwritten
    EXPECT_EQ(list.begin(), block);
    EXPECT_EQ(entries(list), (std::vector<int>{6, 0, 0, 0, 0}));
    list.resize(6);
    EXPECT_NE(list.begin(), block);
    EXPECT_EQ(entries(list), (std::vector<int>{6, 0, 0, 0, 0, 0}));
    list.resize(0);
    EXPECT_TRUE(list.empty());
    EXPECT_FALSE(inPlace(list));
}

TEST(IndexList, ReserveMovesToTheHeapOnlyBeyondTheCapacity)
{
    IndexList list = listOf({1, 2});
    list.reserve(2);
    EXPECT_TRUE(inPlace(list));
    list.reserve(10);
    EXPECT_FALSE(inPlace(list));
    EXPECT_EQ(entries(list), (std::vector<int>{1, 2}));
    const int* block = list.begin();
    for (int v = 3; v <= 10; ++v)
        list.push_back(v);
    EXPECT_EQ(list.begin(), block);
    list.reserve(4);
    EXPECT_EQ(list.begin(), block);
    EXPECT_EQ(entries(list), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

TEST(IndexList, PopBackOnTheHeapToEmpty)
{
    IndexList list = listOf({1, 2, 3, 4});
    const int* block = list.begin();
    for (size_t n = 4; n > 0; --n) {
        EXPECT_EQ(list.back(), int(n));
        list.pop_back();
        EXPECT_EQ(list.size(), n - 1);
    }
    EXPECT_TRUE(list.empty());
    list.push_back(8);
    EXPECT_EQ(list.begin(), block);
    EXPECT_EQ(entries(list), (std::vector<int>{8}));
}

TEST(IndexList, ConstAccessOnTheHeap)
{
    const IndexList list = listOf({4, 5, 6});
    EXPECT_EQ(list[0], 4);
    EXPECT_EQ(list[2], 6);
    EXPECT_EQ(list.front(), 4);
    EXPECT_EQ(list.back(), 6);
    EXPECT_EQ(list.end() - list.begin(), 3);
    EXPECT_EQ(std::find(list.begin(), list.end(), 5) - list.begin(), 1);
}
