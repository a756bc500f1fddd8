// A large chunked array carves its chunks out of blocks: the chunks before
// the threshold are heap blocks of their own, those after it share aligned
// blocks, and each block goes when no element uses it any more. Most tests
// use blocks of 64 bytes holding four chunks of four ints, after 128 bytes
// (eight chunks) of lone chunks, so that a few dozen elements cross every
// border; one uses the graph's real sizes, where a block is a huge page.
//
// This binary counts the aligned allocations of operator new, through which
// the small blocks come, by replacing the aligned forms of operator new and
// delete. Under valgrind, whose memcheck puts its own operator new in place
// of this binary's, nothing is counted: the tests then check where the
// elements lie and what they hold, and memcheck that every block is freed.

#include "../src/Core/ChunkedArray_p.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <new>
#include <sstream>
#include <string>
#include <vector>

using Morvane::Zrn::ChunkedArray;
using Morvane::Zrn::kHugePageBytes;

namespace {

int g_alignedLive = 0;
int g_alignedMade = 0;

} // namespace

void* operator new(std::size_t size, std::align_val_t alignment)
{
    const std::size_t align = static_cast<std::size_t>(alignment);
    const std::size_t rounded = (size + align - 1) / align * align;
    void* p = std::aligned_alloc(align, rounded == 0 ? align : rounded);
    if (!p)
        throw std::bad_alloc();
    ++g_alignedLive;
    ++g_alignedMade;
    return p;
}

void operator delete(void* p, std::align_val_t) noexcept
{
    if (!p)
        return;
    --g_alignedLive;
    std::free(p);
}

void operator delete(void* p, std::size_t, std::align_val_t alignment) noexcept
{
    operator delete(p, alignment);
}

namespace {

// Whether the replacements above are the operator new in use.
bool countingAllocations()
{
    static const bool counting = [] {
        const int made = g_alignedMade;
        void* probe = ::operator new(64, std::align_val_t(64));
        ::operator delete(probe, std::align_val_t(64));
        const bool counted = g_alignedMade == made + 1;
        g_alignedMade = made;
        return counted;
    }();
    return counting;
}

// `value` equals `n` where the allocations are counted.
#define EXPECT_COUNTED(value, n)     \
    do {                             \
        if (countingAllocations()) { \
            EXPECT_EQ((value), (n)); \
        }                            \
    } while (false)
// The aligned blocks alive now, and made since the test began, are `n`.
#define EXPECT_LIVE_BLOCKS(n) EXPECT_COUNTED(g_alignedLive, n)
#define EXPECT_MADE_BLOCKS(n) EXPECT_COUNTED(g_alignedMade, n)

using Blocked = ChunkedArray<int, 2, 64, 128>;

static_assert(Blocked::kChunkSize == 4, "four ints per chunk");
static_assert(Blocked::kChunksPerBlock == 4, "a 64-byte block holds four 16-byte chunks");
static_assert(Blocked::kFirstBlockChunk == 8, "128 bytes of lone chunks first");

// Chunks of 32 bytes: a 64-byte block would hold only two, so none is made.
using NoBlocks = ChunkedArray<std::array<char, 32>, 0, 64, 64>;
static_assert(NoBlocks::kChunksPerBlock == 0, "fewer than four chunks fit a block");
static_assert(NoBlocks::kFirstBlockChunk == SIZE_MAX, "no chunk comes from a block");

// Chunks of 32 bytes; the threshold of 100 bytes is not a whole number of
// chunks and rounds up to four.
using RoundedUp = ChunkedArray<std::array<char, 32>, 0, 128, 100>;
static_assert(RoundedUp::kChunksPerBlock == 4, "a 128-byte block holds four 32-byte chunks");
static_assert(RoundedUp::kFirstBlockChunk == 4, "100 bytes of chunks round up to four chunks");

// Records of the graph's node record size with Qt 6, 144 bytes, in chunks
// of 256, with the default thresholds (the graph's node records take
// blocks from 2 MiB on; this array from 4 MiB on).
using NodeSized = ChunkedArray<std::array<char, 144>, 8>;
static_assert(NodeSized::kChunksPerBlock == 56, "56 chunks of 36,864 bytes fill most of 2 MiB");
static_assert(NodeSized::kFirstBlockChunk == 114, "4 MiB of lone chunks, rounded up to 114");

std::uintptr_t addressOf(const void* p)
{
    return reinterpret_cast<std::uintptr_t>(p);
}

Blocked blockedOf(int count)
{
    Blocked array;
    for (int v = 0; v < count; ++v)
        array.push_back(v);
    return array;
}

std::vector<int> valuesOf(const Blocked& array)
{
    return std::vector<int>(array.begin(), array.end());
}

std::vector<int> range(int first, int last)
{
    std::vector<int> values;
    for (int v = first; v < last; ++v)
        values.push_back(v);
    return values;
}

class ChunkedArrayBlocks : public ::testing::Test
{
protected:
    void SetUp() override
    {
        g_alignedMade = 0;
        ASSERT_EQ(g_alignedLive, 0);
    }
    void TearDown() override { EXPECT_EQ(g_alignedLive, 0) << "aligned blocks leaked"; }
};

} // namespace

// Elements 0 to 31 fill the eight lone chunks; element 32 opens the first
// block, whose four chunks hold elements 32 to 47 side by side; element 48
// opens the second.
TEST_F(ChunkedArrayBlocks, ChunksAfterTheThresholdShareAlignedBlocks)
{
    Blocked array;
    for (int v = 0; v < 32; ++v)
        array.push_back(v);
    EXPECT_EQ(array.numChunks(), 8u);
    EXPECT_MADE_BLOCKS(0);

    array.push_back(32);
    EXPECT_MADE_BLOCKS(1);
    EXPECT_LIVE_BLOCKS(1);
    EXPECT_EQ(addressOf(&array[32]) % 64, 0u);
    for (int v = 33; v < 48; ++v)
        array.push_back(v);
    EXPECT_MADE_BLOCKS(1);
    EXPECT_EQ(array.numChunks(), 12u);
    for (size_t i = 32; i < 48; ++i)
        EXPECT_EQ(&array[i], &array[32] + (i - 32)) << "element " << i;

    array.push_back(48);
    EXPECT_MADE_BLOCKS(2);
    EXPECT_LIVE_BLOCKS(2);
    EXPECT_EQ(addressOf(&array[48]) % 64, 0u);
    EXPECT_EQ(array.numChunks(), 13u);
    EXPECT_EQ(valuesOf(array), range(0, 49));
    for (size_t i = 0; i < array.size(); ++i)
        EXPECT_EQ(array[i], int(i));
}

// Growing through blocks moves nothing: every element keeps its address.
TEST_F(ChunkedArrayBlocks, ElementsStayWhereTheyAreThroughBlocks)
{
    Blocked array;
    std::vector<const int*> addresses;
    for (int v = 0; v < 200; ++v) {
        array.push_back(v);
        addresses.push_back(&array.back());
    }
    for (size_t i = 0; i < 200; ++i)
        ASSERT_EQ(&array[i], addresses[i]) << "element " << i;
    // 32 elements in lone chunks, 168 in blocks of 16: 11 blocks, the last
    // holding 8.
    EXPECT_LIVE_BLOCKS(11);
    EXPECT_EQ(array.numChunks(), 50u);
}

// Shrinking frees a block once its first chunk is no longer needed, and the
// lone chunks below the threshold one by one.
TEST_F(ChunkedArrayBlocks, ShrinkingFreesBlocksNoLongerUsed)
{
    Blocked array = blockedOf(64); // lone chunks, then blocks 32-47, 48-63
    EXPECT_LIVE_BLOCKS(2);
    array.resize(49);
    EXPECT_LIVE_BLOCKS(2);
    EXPECT_EQ(array.numChunks(), 13u);
    array.resize(48);
    EXPECT_LIVE_BLOCKS(1);
    EXPECT_EQ(array.numChunks(), 12u);
    array.pop_back();
    EXPECT_LIVE_BLOCKS(1);
    array.resize(33);
    EXPECT_LIVE_BLOCKS(1);
    array.resize(32);
    EXPECT_LIVE_BLOCKS(0);
    EXPECT_EQ(array.numChunks(), 8u);
    EXPECT_EQ(valuesOf(array), range(0, 32));

    // Growing again opens a new block where the first one was.
    array.push_back(32);
    EXPECT_LIVE_BLOCKS(1);
    EXPECT_MADE_BLOCKS(3);
    EXPECT_EQ(addressOf(&array[32]) % 64, 0u);
    array.clear();
    EXPECT_LIVE_BLOCKS(0);
    EXPECT_EQ(array.numChunks(), 0u);
}

// eraseIf() across lone chunks and blocks keeps the survivors' order and
// frees what the smaller size no longer needs.
TEST_F(ChunkedArrayBlocks, EraseIfAcrossBlocks)
{
    Blocked array = blockedOf(80); // blocks 32-47, 48-63, 64-79
    EXPECT_LIVE_BLOCKS(3);
    array.eraseIf([](int v) { return v % 3 == 0; }); // 53 survive
    std::vector<int> expected;
    for (int v = 0; v < 80; ++v) {
        if (v % 3 != 0)
            expected.push_back(v);
    }
    EXPECT_EQ(valuesOf(array), expected);
    EXPECT_EQ(array.size(), 53u);
    EXPECT_EQ(array.numChunks(), 14u);
    EXPECT_LIVE_BLOCKS(2);
    array.eraseIf([](int v) { return v >= 40; });
    EXPECT_EQ(array.size(), 26u);
    EXPECT_LIVE_BLOCKS(0);
    EXPECT_EQ(array.numChunks(), 7u);
}

// Copies make blocks of their own; moves and swaps hand them over.
TEST_F(ChunkedArrayBlocks, CopiesMovesAndSwapsOfBlockedArrays)
{
    Blocked a = blockedOf(40);
    EXPECT_LIVE_BLOCKS(1);
    Blocked b(a);
    EXPECT_LIVE_BLOCKS(2);
    b[35] = -35;
    EXPECT_EQ(a[35], 35);
    EXPECT_EQ(valuesOf(b).size(), 40u);

    Blocked c(std::move(a));
    EXPECT_LIVE_BLOCKS(2);
    EXPECT_TRUE(a.empty()); // NOLINT(bugprone-use-after-move): moved-from is empty
    EXPECT_EQ(valuesOf(c), range(0, 40));

    Blocked d = blockedOf(10);
    d.swap(c);
    EXPECT_EQ(d.size(), 40u);
    EXPECT_EQ(c.size(), 10u);
    EXPECT_LIVE_BLOCKS(2);
    d = b;
    EXPECT_EQ(d[35], -35);
    EXPECT_LIVE_BLOCKS(2);
}

// When fewer than four chunks fit in a block, every chunk stays a heap
// block of its own however large the array grows.
TEST_F(ChunkedArrayBlocks, ChunksTooLargeForABlockStayAlone)
{
    NoBlocks array;
    for (int v = 0; v < 100; ++v) {
        std::array<char, 32> item{};
        item[0] = char(v);
        array.push_back(item);
    }
    EXPECT_MADE_BLOCKS(0);
    EXPECT_EQ(array.numChunks(), 100u);
    EXPECT_EQ(array[99][0], char(99));
}

TEST_F(ChunkedArrayBlocks, ThresholdRoundsUpToAWholeChunk)
{
    RoundedUp array;
    array.resize(4);
    EXPECT_MADE_BLOCKS(0);
    array.resize(5);
    EXPECT_MADE_BLOCKS(1);
    EXPECT_EQ(addressOf(&array[4]) % 128, 0u);
    array.resize(8);
    EXPECT_MADE_BLOCKS(1);
    array.resize(9);
    EXPECT_MADE_BLOCKS(2);
}

#if ZRNCORE_MAPS_HUGE_PAGE_BLOCKS
namespace {

// The VmFlags line of the mapping of /proc/self/smaps that holds `address`,
// empty when none does.
std::string mappingFlags(std::uintptr_t address)
{
    std::ifstream smaps("/proc/self/smaps");
    std::string line;
    bool inside = false;
    while (std::getline(smaps, line)) {
        std::uintptr_t from = 0;
        std::uintptr_t to = 0;
        char dash = 0;
        std::istringstream fields(line);
        if (fields >> std::hex >> from >> dash >> to && dash == '-' && line.find(':') > line.find(' ')) {
            inside = from <= address && address < to;
            continue;
        }
        if (inside && line.rfind("VmFlags:", 0) == 0)
            return line;
    }
    return std::string();
}

} // namespace
#endif

// At the graph's sizes a block is a huge page: 2 MiB aligned to 2 MiB,
// counted while it lives, and on Linux a mapping of its own marked for huge
// pages (under AddressSanitizer, and elsewhere, a block of aligned operator
// new).
TEST_F(ChunkedArrayBlocks, NodeSizedArraysUseHugePageBlocks)
{
    const long long before = Morvane::Zrn::Internal::hugePageBlockBytes();
    {
        NodeSized array;
        const size_t lone = NodeSized::kFirstBlockChunk * NodeSized::kChunkSize; // 29,184
        array.resize(lone);
        EXPECT_EQ(Morvane::Zrn::Internal::hugePageBlockBytes(), before);
        array.resize(lone + 1);
        array[lone][0] = 'x';
        array[lone][143] = 'y';
        const std::uintptr_t block = addressOf(&array[lone]);
        EXPECT_EQ(block % kHugePageBytes, 0u);
#if ZRNCORE_MAPS_HUGE_PAGE_BLOCKS
        EXPECT_EQ(Morvane::Zrn::Internal::hugePageBlockBytes(), before + (2 << 20));
        EXPECT_LIVE_BLOCKS(0);
        std::ifstream thp("/sys/kernel/mm/transparent_hugepage/enabled");
        if (thp) {
            const std::string flags = mappingFlags(block);
            EXPECT_NE(flags.find(" hg"), std::string::npos) << flags;
        }
#else
        EXPECT_EQ(Morvane::Zrn::Internal::hugePageBlockBytes(), 0);
        EXPECT_LIVE_BLOCKS(1);
#endif
        // The 56 chunks of the block lie side by side: the last element of
        // the block's last chunk is 56 * 256 - 1 elements after the first.
        array.resize(lone + 56 * 256);
        EXPECT_EQ(&array[lone + 56 * 256 - 1], &array[lone] + (56 * 256 - 1));
#if ZRNCORE_MAPS_HUGE_PAGE_BLOCKS
        EXPECT_EQ(Morvane::Zrn::Internal::hugePageBlockBytes(), before + (2 << 20));
#endif
        array.resize(lone + 56 * 256 + 1);
        EXPECT_EQ(addressOf(&array[lone + 56 * 256]) % kHugePageBytes, 0u);
#if ZRNCORE_MAPS_HUGE_PAGE_BLOCKS
        EXPECT_EQ(Morvane::Zrn::Internal::hugePageBlockBytes(), before + (4 << 20));
#else
        EXPECT_LIVE_BLOCKS(2);
#endif
        EXPECT_EQ(array[lone][0], 'x');
        EXPECT_EQ(array[lone][143], 'y');
        EXPECT_EQ(array.numChunks(), NodeSized::kFirstBlockChunk + 57);
    }
    EXPECT_EQ(Morvane::Zrn::Internal::hugePageBlockBytes(), before);
}
