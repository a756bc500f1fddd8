// The chunked array that can hold the graph's records: the answers of a
// std::vector, elements that never move while it grows, and exactly as many
// chunks as its size needs. Most tests use chunks of 4 elements so that a
// few elements cross chunk borders.

#include "../src/Core/ChunkedArray_p.h"

#include <QtCore/QString>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <set>
#include <utility>
#include <vector>

using Morvane::Zrn::ChunkedArray;

namespace {

// Counts its constructions by kind and checks that every object is
// destroyed exactly once and only after being constructed: the set of live
// addresses must match the constructions and destructions.
struct Tracked
{
    static std::set<const Tracked*>& live()
    {
        static std::set<const Tracked*> addresses;
        return addresses;
    }
    static int& copies()
    {
        static int count = 0;
        return count;
    }
    static int& moves()
    {
        static int count = 0;
        return count;
    }
    static void resetCounts()
    {
        copies() = 0;
        moves() = 0;
    }

    Tracked() { born(); }
    explicit Tracked(int v)
        : value(v)
    {
        born();
    }
    Tracked(const Tracked& other)
        : value(other.value)
    {
        born();
        ++copies();
    }
    Tracked(Tracked&& other) noexcept
        : value(other.value)
    {
        other.value = -1;
        born();
        ++moves();
    }
    // The array never assigns its elements.
    Tracked& operator=(const Tracked&) = delete;
    Tracked& operator=(Tracked&&) = delete;
    ~Tracked() { EXPECT_EQ(live().erase(this), 1u) << "destroyed twice or never constructed: " << value; }

    void born() { EXPECT_TRUE(live().insert(this).second) << "constructed over a live object: " << value; }

    int value = 0;
};

// Not default-constructible and not copyable.
struct Owner
{
    explicit Owner(int v)
        : item(std::make_unique<int>(v))
    {
    }
    std::unique_ptr<int> item;
};

struct Named
{
    QString name;
    int value = 0;
};

struct alignas(64) Wide
{
    explicit Wide(int v)
        : value(v)
    {
    }
    int value;
};

using Small = ChunkedArray<int, 2>;
using TrackedArray = ChunkedArray<Tracked, 2>;

template <typename Array>
std::vector<int> valuesOf(const Array& array)
{
    std::vector<int> values;
    for (const auto& item : array)
        values.push_back(item.value);
    return values;
}

std::vector<int> entries(const Small& array)
{
    return std::vector<int>(array.begin(), array.end());
}

std::vector<int> indexed(const Small& array)
{
    std::vector<int> values;
    for (size_t i = 0; i < array.size(); ++i)
        values.push_back(array[i]);
    return values;
}

std::vector<int> range(int first, int last)
{
    std::vector<int> values;
    for (int v = first; v < last; ++v)
        values.push_back(v);
    return values;
}

Small smallOf(const std::vector<int>& values)
{
    Small array;
    for (int v : values)
        array.push_back(v);
    return array;
}

void fill(TrackedArray& array, int first, int last)
{
    for (int v = first; v < last; ++v)
        array.emplace_back(v);
}

// Every test starts and ends with no Tracked alive.
class ChunkedArrayTracked : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Tracked::live().empty());
        Tracked::resetCounts();
    }
    void TearDown() override { EXPECT_TRUE(Tracked::live().empty()) << Tracked::live().size() << " leaked"; }
};

} // namespace

TEST(ChunkedArray, StartsEmptyWithoutChunks)
{
    const Small array;
    EXPECT_TRUE(array.empty());
    EXPECT_EQ(array.size(), 0u);
    EXPECT_EQ(array.numChunks(), 0u);
    EXPECT_EQ(array.begin(), array.end());
    EXPECT_EQ(Small::kChunkSize, 4u);
    EXPECT_EQ((ChunkedArray<int>::kChunkSize), 1024u);
}

// Each size from 1 to 13 reads back in order by index and by iteration, with
// size / 4 chunks rounded up.
TEST(ChunkedArray, PushesAcrossChunksReadBackInOrder)
{
    Small array;
    std::vector<int> expected;
    const std::vector<size_t> chunks{1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4};
    for (int v = 0; v < 13; ++v) {
        array.push_back(100 + v);
        expected.push_back(100 + v);
        EXPECT_EQ(array.size(), expected.size());
        EXPECT_FALSE(array.empty());
        EXPECT_EQ(indexed(array), expected) << "after " << v;
        EXPECT_EQ(entries(array), expected) << "after " << v;
        EXPECT_EQ(array.back(), 100 + v);
        EXPECT_EQ(array.numChunks(), chunks[size_t(v)]) << "after " << v;
    }
}

TEST(ChunkedArray, DefaultChunksHoldAThousandAndTwentyFour)
{
    ChunkedArray<int> array;
    for (int v = 0; v < 3000; ++v)
        array.push_back(v);
    EXPECT_EQ(array.numChunks(), 3u);
    EXPECT_EQ(array[1023], 1023);
    EXPECT_EQ(array[1024], 1024);
    EXPECT_EQ(array[2999], 2999);
    EXPECT_EQ(&array[1023] + 1, &array[1022] + 2);
    array.resize(2048);
    EXPECT_EQ(array.numChunks(), 2u);
    array.push_back(7);
    EXPECT_EQ(array.numChunks(), 3u);
    EXPECT_EQ(array.back(), 7);
    array.resize(3072 + 1);
    EXPECT_EQ(array.numChunks(), 4u);
    EXPECT_EQ(array[2048], 7);
    EXPECT_EQ(array[2049], 0);
    EXPECT_EQ(array[3072], 0);
}

TEST(ChunkedArray, ElementsStayWhereTheyAreWhileTheArrayGrows)
{
    Small array;
    array.push_back(-1);
    const int* first = &array[0];
    std::vector<const int*> addresses{first};
    for (int v = 1; v < 1000; ++v) {
        array.push_back(v);
        addresses.push_back(&array.back());
    }
    EXPECT_EQ(&array[0], first);
    EXPECT_EQ(array[0], -1);
    for (size_t i = 0; i < 1000; ++i)
        ASSERT_EQ(&array[i], addresses[i]) << "element " << i;
    EXPECT_EQ(array.numChunks(), 250u);
}

TEST_F(ChunkedArrayTracked, GrowingNeitherCopiesNorMoves)
{
    TrackedArray array;
    fill(array, 0, 1000);
    EXPECT_EQ(Tracked::copies(), 0);
    EXPECT_EQ(Tracked::moves(), 0);
    EXPECT_EQ(Tracked::live().size(), 1000u);
    EXPECT_EQ(valuesOf(array), range(0, 1000));
}

TEST_F(ChunkedArrayTracked, PushBackCopiesOrMovesItsArgumentOnce)
{
    TrackedArray array;
    Tracked given(6);
    array.push_back(std::move(given));
    EXPECT_EQ(Tracked::copies(), 0);
    EXPECT_EQ(Tracked::moves(), 1);
    const Tracked kept(5);
    array.push_back(kept);
    EXPECT_EQ(Tracked::copies(), 1);
    EXPECT_EQ(Tracked::moves(), 1);
    EXPECT_EQ(given.value, -1); // NOLINT(bugprone-use-after-move): the move emptied it
    EXPECT_EQ(kept.value, 5);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{6, 5}));
}

TEST_F(ChunkedArrayTracked, EmplaceBackReturnsTheNewElement)
{
    TrackedArray array;
    for (int v = 0; v < 9; ++v) {
        Tracked& added = array.emplace_back(v * 10);
        EXPECT_EQ(&added, &array.back());
        EXPECT_EQ(added.value, v * 10);
    }
    Tracked& defaulted = array.emplace_back();
    EXPECT_EQ(defaulted.value, 0);
    EXPECT_EQ(array.size(), 10u);
    EXPECT_EQ(Tracked::copies(), 0);
    EXPECT_EQ(Tracked::moves(), 0);
}

// An element of the array itself can be appended, also when the append
// starts a new chunk.
TEST(ChunkedArray, PushBackOfItsOwnElement)
{
    Small array = smallOf({1, 2, 3});
    array.push_back(array[0]);
    array.push_back(array[3]);
    array.push_back(array.back());
    EXPECT_EQ(entries(array), (std::vector<int>{1, 2, 3, 1, 1, 1}));
}

TEST_F(ChunkedArrayTracked, EraseIfKeepsTheOrderOfTheSurvivorsAndMovesThem)
{
    TrackedArray array;
    fill(array, 0, 10);
    std::vector<int> asked;
    array.eraseIf([&asked](const Tracked& t) {
        asked.push_back(t.value);
        return t.value % 2 == 1;
    });
    EXPECT_EQ(asked, range(0, 10));
    EXPECT_EQ(valuesOf(array), (std::vector<int>{0, 2, 4, 6, 8}));
    EXPECT_EQ(array.size(), 5u);
    EXPECT_EQ(array.numChunks(), 2u);
    EXPECT_EQ(Tracked::moves(), 4); // 2, 4, 6 and 8 moved down; 0 stays
    EXPECT_EQ(Tracked::copies(), 0);
    EXPECT_EQ(Tracked::live().size(), 5u);
    EXPECT_EQ(array.back().value, 8);
}

TEST_F(ChunkedArrayTracked, EraseIfRemovingNothingMovesNothing)
{
    TrackedArray array;
    fill(array, 0, 7);
    const Tracked* last = &array.back();
    array.eraseIf([](const Tracked&) { return false; });
    EXPECT_EQ(valuesOf(array), range(0, 7));
    EXPECT_EQ(&array.back(), last);
    EXPECT_EQ(array.numChunks(), 2u);
    EXPECT_EQ(Tracked::moves(), 0);
}

TEST_F(ChunkedArrayTracked, EraseIfRemovingEverythingFreesEveryChunk)
{
    TrackedArray array;
    fill(array, 0, 11);
    array.eraseIf([](const Tracked&) { return true; });
    EXPECT_TRUE(array.empty());
    EXPECT_EQ(array.numChunks(), 0u);
    EXPECT_TRUE(Tracked::live().empty());
    EXPECT_EQ(Tracked::moves(), 0);
    array.eraseIf([](const Tracked&) { return true; });
    EXPECT_TRUE(array.empty());
    fill(array, 20, 22);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{20, 21}));
}

TEST_F(ChunkedArrayTracked, EraseIfRemovingAPrefixOrASuffix)
{
    TrackedArray array;
    fill(array, 0, 10);
    array.eraseIf([](const Tracked& t) { return t.value < 5; });
    EXPECT_EQ(valuesOf(array), (std::vector<int>{5, 6, 7, 8, 9}));
    EXPECT_EQ(Tracked::moves(), 5);
    EXPECT_EQ(array.numChunks(), 2u);
    array.eraseIf([](const Tracked& t) { return t.value > 5; });
    EXPECT_EQ(valuesOf(array), (std::vector<int>{5}));
    EXPECT_EQ(Tracked::moves(), 5);
    EXPECT_EQ(array.numChunks(), 1u);
    EXPECT_EQ(Tracked::live().size(), 1u);
}

TEST_F(ChunkedArrayTracked, ResizeGrowsWithDefaultsAndShrinksByDestroying)
{
    TrackedArray array;
    array.resize(10);
    EXPECT_EQ(valuesOf(array), std::vector<int>(10, 0));
    EXPECT_EQ(array.numChunks(), 3u);
    EXPECT_EQ(Tracked::live().size(), 10u);
    for (size_t i = 0; i < array.size(); ++i)
        array[i].value = int(i) + 1;
    array.resize(10);
    EXPECT_EQ(Tracked::live().size(), 10u);
    array.resize(3);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(array.numChunks(), 1u);
    EXPECT_EQ(Tracked::live().size(), 3u);
    array.resize(5);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{1, 2, 3, 0, 0}));
    array.resize(0);
    EXPECT_TRUE(array.empty());
    EXPECT_EQ(array.numChunks(), 0u);
    EXPECT_EQ(Tracked::copies(), 0);
    EXPECT_EQ(Tracked::moves(), 0);
}

// The chunk of the last element is freed when its last element goes.
TEST_F(ChunkedArrayTracked, PopBackToEmpty)
{
    TrackedArray array;
    fill(array, 0, 9);
    const std::vector<size_t> chunks{3, 2, 2, 2, 2, 1, 1, 1, 1};
    for (int v = 8; v >= 0; --v) {
        EXPECT_EQ(array.back().value, v);
        EXPECT_EQ(array.numChunks(), chunks[size_t(8 - v)]) << "size " << array.size();
        array.pop_back();
        EXPECT_EQ(array.size(), size_t(v));
        EXPECT_EQ(Tracked::live().size(), size_t(v));
    }
    EXPECT_TRUE(array.empty());
    EXPECT_EQ(array.numChunks(), 0u);
    fill(array, 3, 5);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{3, 4}));
}

TEST_F(ChunkedArrayTracked, ClearFreesEverythingAndTheArrayIsReusable)
{
    TrackedArray array;
    fill(array, 0, 9);
    array.clear();
    EXPECT_TRUE(array.empty());
    EXPECT_EQ(array.numChunks(), 0u);
    EXPECT_TRUE(Tracked::live().empty());
    fill(array, 7, 12);
    EXPECT_EQ(valuesOf(array), range(7, 12));
}

// Moving hands the elements over where they are: nothing is moved one by one.
TEST_F(ChunkedArrayTracked, MoveHandsTheElementsOver)
{
    TrackedArray array;
    fill(array, 0, 6);
    const Tracked* first = &array[0];
    TrackedArray moved(std::move(array));
    EXPECT_EQ(&moved[0], first);
    EXPECT_EQ(valuesOf(moved), range(0, 6));
    EXPECT_TRUE(array.empty()); // NOLINT(bugprone-use-after-move): a moved-from array is empty
    EXPECT_EQ(array.numChunks(), 0u);
    fill(array, 50, 52);
    EXPECT_EQ(valuesOf(array), (std::vector<int>{50, 51}));

    array = std::move(moved); // destroys 50 and 51
    EXPECT_EQ(&array[0], first);
    EXPECT_EQ(valuesOf(array), range(0, 6));
    EXPECT_TRUE(moved.empty()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(Tracked::live().size(), 6u);
    EXPECT_EQ(Tracked::moves(), 0);
    EXPECT_EQ(Tracked::copies(), 0);

    TrackedArray& alias = array;
    array = std::move(alias);
    EXPECT_EQ(valuesOf(array), range(0, 6));
}

TEST_F(ChunkedArrayTracked, SwapExchangesTheContents)
{
    TrackedArray a;
    TrackedArray b;
    fill(a, 0, 5);
    fill(b, 10, 12);
    const Tracked* firstOfA = &a[0];
    a.swap(b);
    EXPECT_EQ(valuesOf(a), (std::vector<int>{10, 11}));
    EXPECT_EQ(valuesOf(b), range(0, 5));
    EXPECT_EQ(&b[0], firstOfA);
    EXPECT_EQ(a.numChunks(), 1u);
    EXPECT_EQ(b.numChunks(), 2u);
    using std::swap;
    swap(a, b);
    EXPECT_EQ(valuesOf(a), range(0, 5));
    EXPECT_EQ(valuesOf(b), (std::vector<int>{10, 11}));
    EXPECT_EQ(Tracked::moves(), 0);
}

TEST_F(ChunkedArrayTracked, CopiesAreIndependent)
{
    TrackedArray original;
    fill(original, 0, 6);
    TrackedArray copy(original);
    EXPECT_EQ(Tracked::copies(), 6);
    EXPECT_EQ(valuesOf(copy), range(0, 6));
    EXPECT_EQ(copy.numChunks(), 2u);
    EXPECT_NE(&copy[0], &original[0]);
    copy[0].value = 99;
    copy.pop_back();
    EXPECT_EQ(valuesOf(original), range(0, 6));
    EXPECT_EQ(valuesOf(copy), (std::vector<int>{99, 1, 2, 3, 4}));

    TrackedArray assigned;
    fill(assigned, 40, 49);
    assigned = original;
    EXPECT_EQ(valuesOf(assigned), range(0, 6));
    EXPECT_EQ(assigned.numChunks(), 2u);
    const TrackedArray& alias = assigned;
    assigned = alias;
    EXPECT_EQ(valuesOf(assigned), range(0, 6));
    EXPECT_EQ(Tracked::copies(), 12);
    EXPECT_EQ(Tracked::live().size(), 17u); // 6 + 5 + 6
}

TEST(ChunkedArray, IterationVisitsInIndexOrderAndWrites)
{
    Small array = smallOf(range(0, 10));
    for (int& v : array)
        v *= 3;
    const std::vector<int> expected{0, 3, 6, 9, 12, 15, 18, 21, 24, 27};
    EXPECT_EQ(entries(array), expected);
    const Small& constant = array;
    std::vector<int> read;
    for (const int& v : constant)
        read.push_back(v);
    EXPECT_EQ(read, expected);
    EXPECT_EQ(std::distance(array.begin(), array.end()), 10);
    EXPECT_EQ(std::find(array.begin(), array.end(), 21) - array.begin(), 7);
    EXPECT_EQ(std::find_if(constant.begin(), constant.end(), [](int v) { return v > 12; }) - constant.begin(), 5);
    EXPECT_EQ(std::find(array.begin(), array.end(), 4), array.end());
}

TEST(ChunkedArray, IteratorsMoveAndCompareAsRandomAccess)
{
    Small array = smallOf(range(0, 10));
    Small::iterator it = array.begin();
    EXPECT_EQ(*it, 0);
    EXPECT_EQ(*(it + 5), 5);
    EXPECT_EQ(*(5 + it), 5);
    EXPECT_EQ(it[9], 9);
    EXPECT_EQ(*it++, 0);
    EXPECT_EQ(*it, 1);
    EXPECT_EQ(*++it, 2);
    it += 4;
    EXPECT_EQ(*it, 6);
    EXPECT_EQ(*it--, 6);
    EXPECT_EQ(*--it, 4);
    it -= 3;
    EXPECT_EQ(*it, 1);
    EXPECT_EQ(*(array.end() - 1), 9);
    EXPECT_EQ(array.end() - it, 9);
    EXPECT_TRUE(it < array.end());
    EXPECT_TRUE(array.end() > it);
    EXPECT_TRUE(it <= it);
    EXPECT_TRUE(it >= it);
    EXPECT_FALSE(it < it);
    EXPECT_FALSE(it > it);
    EXPECT_FALSE(it != it);
    *it = 11;
    EXPECT_EQ(array[1], 11);

    Small::const_iterator constant = it; // converts, as std::vector's does
    EXPECT_EQ(*constant, 11);
    EXPECT_TRUE(constant == it);
    EXPECT_TRUE(it == constant);
    EXPECT_EQ(constant - array.begin(), 1);
    EXPECT_EQ(Small::iterator(), Small::iterator());

    std::sort(array.begin(), array.end(), [](int a, int b) { return a > b; });
    EXPECT_EQ(entries(array), (std::vector<int>{11, 9, 8, 7, 6, 5, 4, 3, 2, 0}));
}

TEST(ChunkedArray, IteratorArrowReachesMembers)
{
    ChunkedArray<Named, 2> array;
    array.push_back(Named{QStringLiteral("a"), 1});
    array.push_back(Named{QStringLiteral("b"), 2});
    auto it = array.begin();
    it->value = 5;
    EXPECT_EQ(array[0].value, 5);
    const auto& constant = array;
    EXPECT_EQ((constant.begin() + 1)->name, QStringLiteral("b"));
}

// QString members keep sharing their text with the QStrings they were copied
// from, through growth and through the moves of eraseIf.
TEST(ChunkedArray, ElementsWithQStringMembers)
{
    const QString shared = QStringLiteral("a name used by many records");
    ChunkedArray<Named, 2> array;
    for (int v = 0; v < 10; ++v)
        array.push_back(Named{shared, v});
    array.emplace_back(Named{QStringLiteral("other"), 10});
    for (size_t i = 0; i < 10; ++i)
        EXPECT_EQ(array[i].name.constData(), shared.constData());
    array.eraseIf([](const Named& n) { return n.value % 3 == 0; });
    std::vector<int> values;
    for (const Named& n : array) {
        values.push_back(n.value);
        if (n.value < 10) {
            EXPECT_EQ(n.name.constData(), shared.constData());
        }
    }
    EXPECT_EQ(values, (std::vector<int>{1, 2, 4, 5, 7, 8, 10}));
    EXPECT_EQ(array.back().name, QStringLiteral("other"));
    ChunkedArray<Named, 2> copy(array);
    array.clear();
    EXPECT_EQ(copy[6].name, QStringLiteral("other"));
    EXPECT_EQ(copy[0].name, shared);
    EXPECT_EQ(shared, QStringLiteral("a name used by many records"));
}

// Move-only elements need neither copying nor default construction.
TEST(ChunkedArray, MoveOnlyElements)
{
    ChunkedArray<Owner, 2> array;
    array.emplace_back(0);
    for (int v = 1; v < 8; ++v)
        array.emplace_back(v);
    Owner extra(8);
    array.push_back(std::move(extra)); // starts the third chunk
    array.emplace_back(9);
    EXPECT_EQ(extra.item, nullptr); // NOLINT(bugprone-use-after-move): the move emptied it
    const int* pointee = array[9].item.get();
    EXPECT_EQ(array.numChunks(), 3u);
    array.eraseIf([](const Owner& o) { return *o.item < 4; });
    ASSERT_EQ(array.size(), 6u);
    EXPECT_EQ(array[5].item.get(), pointee);
    std::vector<int> values;
    for (const Owner& o : array)
        values.push_back(*o.item);
    EXPECT_EQ(values, range(4, 10));
    ChunkedArray<Owner, 2> moved(std::move(array));
    moved.pop_back();
    EXPECT_EQ(*moved.back().item, 8);
    EXPECT_EQ(moved.size(), 5u);
    EXPECT_EQ(moved.numChunks(), 2u);

    ChunkedArray<std::unique_ptr<int>, 2> pointers;
    pointers.resize(6);
    EXPECT_EQ(pointers[5], nullptr);
    pointers[2] = std::make_unique<int>(2);
    pointers.eraseIf([](const std::unique_ptr<int>& p) { return !p; });
    ASSERT_EQ(pointers.size(), 1u);
    EXPECT_EQ(*pointers[0], 2);
}

// Elements aligned beyond what operator new guarantees get chunks aligned
// for them.
TEST(ChunkedArray, OverAlignedElements)
{
    ChunkedArray<Wide, 2> array;
    for (int v = 0; v < 10; ++v)
        array.emplace_back(v);
    for (size_t i = 0; i < array.size(); ++i) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&array[i]) % 64, 0u) << "element " << i;
        EXPECT_EQ(array[i].value, int(i));
    }
    array.eraseIf([](const Wide& w) { return w.value < 5; });
    EXPECT_EQ(array.numChunks(), 2u);
    EXPECT_EQ(array[0].value, 5);
}

TEST(ChunkedArray, ChunksOfOneElement)
{
    ChunkedArray<int, 0> array;
    for (int v = 0; v < 5; ++v)
        array.push_back(v);
    EXPECT_EQ(array.numChunks(), 5u);
    EXPECT_EQ(std::vector<int>(array.begin(), array.end()), range(0, 5));
    array.eraseIf([](int v) { return v == 2; });
    EXPECT_EQ(std::vector<int>(array.begin(), array.end()), (std::vector<int>{0, 1, 3, 4}));
    EXPECT_EQ(array.numChunks(), 4u);
}

TEST(ChunkedArray, ConstAccess)
{
    const Small array = smallOf({4, 5, 6, 7, 8});
    EXPECT_EQ(array[0], 4);
    EXPECT_EQ(array[4], 8);
    EXPECT_EQ(array.back(), 8);
    EXPECT_EQ(array.size(), 5u);
    EXPECT_FALSE(array.empty());
    EXPECT_EQ(array.numChunks(), 2u);
}
