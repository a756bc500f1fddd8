// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_CHUNKEDARRAY_P_H
#define ZRNCORE_CHUNKEDARRAY_P_H

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QtGlobal>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace Morvane {
namespace Zrn {

// The size and alignment of a huge page on the systems that have them, and
// of the blocks in which a large ChunkedArray keeps its chunks.
constexpr size_t kHugePageBytes = size_t(2) << 20;

#if defined(__SANITIZE_ADDRESS__)
#define ZRNCORE_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZRNCORE_ADDRESS_SANITIZER 1
#endif
#endif

// Whether allocateHugePageBlock() maps its blocks from the system: on Linux,
// except under AddressSanitizer, which sees only what the heap hands out
// and must see the records to check them.
#if defined(__linux__) && !defined(ZRNCORE_ADDRESS_SANITIZER)
#define ZRNCORE_MAPS_HUGE_PAGE_BLOCKS 1
#else
#define ZRNCORE_MAPS_HUGE_PAGE_BLOCKS 0
#endif
constexpr bool kMapsHugePageBlocks = ZRNCORE_MAPS_HUGE_PAGE_BLOCKS != 0;

// A block of kHugePageBytes aligned to kHugePageBytes, for a large
// ChunkedArray's chunks. On Linux it is mapped from the system on its own
// and the system is asked to back it with one huge page (transparent huge
// pages, where the system lets a program ask), so that its memory comes in
// one page fault instead of 512: fresh memory costs a fault per page, and
// a large array would otherwise take hundreds of them per megabyte. It is
// a hint; where huge pages are not to be had the block is used as it is.
// Elsewhere (kMapsHugePageBlocks false) the block comes from aligned
// operator new. Throws std::bad_alloc when there is no memory.
// ChunkedArray.cpp.
ZRNCORE_TEST_EXPORT void* allocateHugePageBlock();
// Gives back a block of allocateHugePageBlock().
ZRNCORE_TEST_EXPORT void freeHugePageBlock(void* block) noexcept;

namespace Internal {
/// The bytes of the blocks of allocateHugePageBlock() held now in the
/// process that it mapped from the system, which allocators do not see
/// (none when kMapsHugePageBlocks is false: then they come from operator
/// new): for the benchmark that counts a graph's bytes.
ZRNCORE_TEST_EXPORT long long hugePageBlockBytes();
} // namespace Internal

// An array of T kept in chunks of 2^ChunkBits elements each, allocated as
// the array grows. Unlike a std::vector it never moves or copies an element
// to grow, so references and pointers to elements stay valid across
// push_back() and emplace_back(). T need not be default-constructible except
// for resize() and not copyable except for push_back(const T&) and copying
// the array.
//
// Up to LargeBytes of chunks, each chunk is a heap block of its own, and the
// only room held beyond the elements is the unused end of the last chunk.
// Beyond that, chunks are carved out of blocks of BlockBytes, aligned to
// BlockBytes, each holding as many whole chunks as fit (when at least four
// do; otherwise every chunk stays a block of its own). A block of the
// default size comes from allocateHugePageBlock(), a huge page where the
// system has them. The room held beyond the elements is then the rest of
// the last block, less than BlockBytes. Removing elements frees each
// block, or lone chunk, that no element uses any more.
//
// The operations are the part of std::vector's interface that the graph uses
// for its records, with the same meaning, and eraseIf(). Iterators are
// random access and, as a std::vector's, are invalidated by any change of
// the size; references are invalidated only by removing their element.
template <typename T, int ChunkBits = 10, size_t BlockBytes = kHugePageBytes, size_t LargeBytes = 2 * BlockBytes>
class ChunkedArray
{
    static_assert(ChunkBits >= 0 && ChunkBits < 31, "a chunk holds between 1 and 2^30 elements");
    static_assert(BlockBytes > 0 && (BlockBytes & (BlockBytes - 1)) == 0, "a block's size is a power of two");

public:
    static constexpr size_t kChunkSize = size_t(1) << ChunkBits;
    // How many chunks a block holds, 0 when chunks never share a block.
    static constexpr size_t kChunksPerBlock = sizeof(T) * kChunkSize <= BlockBytes / 4 && alignof(T) <= BlockBytes
        ? BlockBytes / (sizeof(T) * kChunkSize)
        : 0;
    // The number of the first chunk carved out of a block: the chunks before
    // it take LargeBytes, rounded up to a whole chunk.
    static constexpr size_t kFirstBlockChunk =
        kChunksPerBlock == 0 ? SIZE_MAX : (LargeBytes + sizeof(T) * kChunkSize - 1) / (sizeof(T) * kChunkSize);

    template <bool Const>
    class Iterator;
    using value_type = T;
    using size_type = size_t;
    using reference = T&;
    using const_reference = const T&;
    using iterator = Iterator<false>;
    using const_iterator = Iterator<true>;

    ChunkedArray() noexcept = default;
    ChunkedArray(const ChunkedArray& other)
    {
        m_chunks.reserve(other.m_chunks.size());
        for (const T& item : other)
            emplace_back(item);
    }
    // The elements stay where they are and now belong to this array; `other`
    // is left empty.
    ChunkedArray(ChunkedArray&& other) noexcept { swap(other); }
    ChunkedArray& operator=(const ChunkedArray& other)
    {
        if (this != &other) {
            ChunkedArray copy(other);
            swap(copy);
        }
        return *this;
    }
    ChunkedArray& operator=(ChunkedArray&& other) noexcept
    {
        if (this != &other) {
            clear();
            swap(other);
        }
        return *this;
    }
    ~ChunkedArray() { clear(); }

    void swap(ChunkedArray& other) noexcept
    {
        m_chunks.swap(other.m_chunks);
        std::swap(m_size, other.m_size);
    }
    friend void swap(ChunkedArray& a, ChunkedArray& b) noexcept { a.swap(b); }

    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    // The number of chunks in use: size() / kChunkSize, rounded up.
    size_t numChunks() const { return m_chunks.size(); }

    T& operator[](size_t i)
    {
        Q_ASSERT(i < m_size);
        return m_chunks[i >> ChunkBits][i & kMask];
    }
    const T& operator[](size_t i) const
    {
        Q_ASSERT(i < m_size);
        return m_chunks[i >> ChunkBits][i & kMask];
    }
    T& back()
    {
        Q_ASSERT(m_size > 0);
        return (*this)[m_size - 1];
    }
    const T& back() const
    {
        Q_ASSERT(m_size > 0);
        return (*this)[m_size - 1];
    }

    iterator begin() { return iterator(m_chunks.data(), 0); }
    iterator end() { return iterator(m_chunks.data(), m_size); }
    const_iterator begin() const { return const_iterator(m_chunks.data(), 0); }
    const_iterator end() const { return const_iterator(m_chunks.data(), m_size); }

    // `value` may be an element of this array: growing moves no element.
    void push_back(const T& value) { emplace_back(value); }
    void push_back(T&& value) { emplace_back(std::move(value)); }
    // Constructs the new last element in place from `args` and returns it.
    template <typename... Args>
    T& emplace_back(Args&&... args)
    {
        if (m_size == m_chunks.size() << ChunkBits)
            addChunk();
        T* slot = m_chunks[m_size >> ChunkBits] + (m_size & kMask);
        construct(slot, std::forward<Args>(args)...);
        ++m_size;
        return *slot;
    }
    // Destroys the last element; frees its chunk if it was the chunk's only
    // element.
    void pop_back()
    {
        Q_ASSERT(m_size > 0);
        truncate(m_size - 1);
    }
    // Destroys the elements from `count` on, or appends default-constructed
    // elements up to `count`.
    void resize(size_t count)
    {
        if (count < m_size)
            truncate(count);
        while (m_size < count)
            emplace_back();
    }
    // Destroys every element and frees every chunk.
    void clear() { truncate(0); }

    // Removes the elements for which `pred` (called once per element, in
    // order, with the element as a const reference) returns true. The others
    // keep their order; those after a removed one are moved down by move
    // construction. Frees the chunks no longer needed. `pred` must not throw.
    template <class Pred>
    void eraseIf(Pred pred)
    {
        // Between `kept` and `i` lie destroyed slots only.
        size_t kept = 0;
        for (size_t i = 0; i < m_size; ++i) {
            T* item = slot(i);
            if (pred(static_cast<const T&>(*item))) {
                std::destroy_at(item);
                continue;
            }
            if (kept != i) {
                construct(slot(kept), std::move(*item));
                std::destroy_at(item);
            }
            ++kept;
        }
        m_size = kept;
        freeUnusedChunks();
    }

    // A random-access iterator: the array's chunk table and an index into
    // the array. Iterator<false> converts to Iterator<true>.
    template <bool Const>
    class Iterator
    {
    public:
        using iterator_category = std::random_access_iterator_tag;
        using value_type = T;
        using difference_type = std::ptrdiff_t;
        using pointer = std::conditional_t<Const, const T*, T*>;
        using reference = std::conditional_t<Const, const T&, T&>;

        Iterator() noexcept = default;
        Iterator(T* const* chunks, size_t index) noexcept
            : m_chunks(chunks)
            , m_index(index)
        {
        }
        // Implicit, as std::vector's iterator converts to its const_iterator.
        template <bool WasConst, typename = std::enable_if_t<Const && !WasConst>>
        Iterator(const Iterator<WasConst>& other) noexcept
            : m_chunks(other.m_chunks)
            , m_index(other.m_index)
        {
        }

        reference operator*() const { return m_chunks[m_index >> ChunkBits][m_index & kMask]; }
        pointer operator->() const { return &**this; }
        reference operator[](difference_type n) const { return *(*this + n); }

        Iterator& operator++()
        {
            ++m_index;
            return *this;
        }
        Iterator operator++(int)
        {
            Iterator before = *this;
            ++m_index;
            return before;
        }
        Iterator& operator--()
        {
            --m_index;
            return *this;
        }
        Iterator operator--(int)
        {
            Iterator before = *this;
            --m_index;
            return before;
        }
        Iterator& operator+=(difference_type n)
        {
            m_index = size_t(difference_type(m_index) + n);
            return *this;
        }
        Iterator& operator-=(difference_type n) { return *this += -n; }
        friend Iterator operator+(Iterator it, difference_type n) { return it += n; }
        friend Iterator operator+(difference_type n, Iterator it) { return it += n; }
        friend Iterator operator-(Iterator it, difference_type n) { return it -= n; }
        friend difference_type operator-(const Iterator& a, const Iterator& b)
        {
            return difference_type(a.m_index) - difference_type(b.m_index);
        }
        friend bool operator==(const Iterator& a, const Iterator& b) { return a.m_index == b.m_index; }
        friend bool operator!=(const Iterator& a, const Iterator& b) { return a.m_index != b.m_index; }
        friend bool operator<(const Iterator& a, const Iterator& b) { return a.m_index < b.m_index; }
        friend bool operator>(const Iterator& a, const Iterator& b) { return a.m_index > b.m_index; }
        friend bool operator<=(const Iterator& a, const Iterator& b) { return a.m_index <= b.m_index; }
        friend bool operator>=(const Iterator& a, const Iterator& b) { return a.m_index >= b.m_index; }

    private:
        friend class Iterator<!Const>;

        T* const* m_chunks = nullptr;
        size_t m_index = 0;
    };

private:
    static constexpr size_t kMask = kChunkSize - 1;
    static constexpr bool kOverAligned = alignof(T) > __STDCPP_DEFAULT_NEW_ALIGNMENT__;

    // Appends the next chunk to the table: a heap block of its own, the
    // first chunk of a new block, or the chunk after the last one in the
    // last block.
    void addChunk()
    {
        const size_t c = m_chunks.size();
        if (c == m_chunks.capacity()) // so that nothing is lost if this throws
            m_chunks.reserve(c == 0 ? 4 : 2 * c);
        if (c < kFirstBlockChunk)
            m_chunks.push_back(allocateChunk());
        else if (opensBlock(c))
            m_chunks.push_back(allocateBlock());
        else
            m_chunks.push_back(m_chunks.back() + kChunkSize);
    }
    // Frees the last chunk of the table, with its block if it is the
    // block's first chunk.
    void removeChunk() noexcept
    {
        const size_t c = m_chunks.size() - 1;
        if (c < kFirstBlockChunk)
            freeChunk(m_chunks.back());
        else if (opensBlock(c))
            freeBlock(m_chunks.back());
        m_chunks.pop_back();
    }
    // Whether chunk number `c` is the first of its block.
    static bool opensBlock(size_t c)
    {
        if constexpr (kChunksPerBlock == 0)
            return false;
        else
            return c >= kFirstBlockChunk && (c - kFirstBlockChunk) % kChunksPerBlock == 0;
    }
    static T* allocateBlock()
    {
        if constexpr (BlockBytes == kHugePageBytes)
            return static_cast<T*>(allocateHugePageBlock());
        else
            return static_cast<T*>(::operator new(BlockBytes, std::align_val_t(BlockBytes)));
    }
    static void freeBlock(T* block) noexcept
    {
        if constexpr (BlockBytes == kHugePageBytes)
            freeHugePageBlock(block);
        else
            ::operator delete(block, std::align_val_t(BlockBytes));
    }
    static T* allocateChunk()
    {
        if constexpr (kOverAligned)
            return static_cast<T*>(::operator new(sizeof(T) * kChunkSize, std::align_val_t(alignof(T))));
        else
            return static_cast<T*>(::operator new(sizeof(T) * kChunkSize));
    }
    static void freeChunk(T* chunk) noexcept
    {
        if constexpr (kOverAligned)
            ::operator delete(chunk, std::align_val_t(alignof(T)));
        else
            ::operator delete(chunk);
    }
    // Constructs a T at `at`, raw storage in a chunk, from `args`.
    template <typename... Args>
    static void construct(T* at, Args&&... args)
    {
        std::allocator<T> allocator;
        std::allocator_traits<std::allocator<T>>::construct(allocator, at, std::forward<Args>(args)...);
    }
    T* slot(size_t i) { return m_chunks[i >> ChunkBits] + (i & kMask); }
    // Destroys the elements from `count` on, last first, and frees the
    // chunks no longer needed.
    void truncate(size_t count)
    {
        if constexpr (!std::is_trivially_destructible<T>::value) {
            for (size_t i = m_size; i > count; --i)
                std::destroy_at(slot(i - 1));
        }
        m_size = count;
        freeUnusedChunks();
    }
    void freeUnusedChunks()
    {
        const size_t needed = (m_size + kMask) >> ChunkBits;
        while (m_chunks.size() > needed)
            removeChunk();
    }

    std::vector<T*> m_chunks; // each holds kChunkSize elements' room, in order
    size_t m_size = 0;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_CHUNKEDARRAY_P_H
