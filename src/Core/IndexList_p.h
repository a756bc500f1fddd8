// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_INDEXLIST_P_H
#define ZRNCORE_INDEXLIST_P_H

#include <QtCore/QtGlobal>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

namespace Morvane {
namespace Zrn {

// A list of int references (the edges leaving a port, the children of a
// node) that keeps up to two entries inside itself and moves them to the
// heap only when a third arrives. Most ports feed one or two edges and most
// nodes have no children, so most lists allocate nothing, and the record
// that holds one stays small: 12 bytes, 4-aligned, against a std::vector's
// 24 and its separate block. Iterators are plain pointers; the operations
// are the part of std::vector's interface that the graph uses, with the
// same meaning. clear() keeps the capacity, as std::vector's does.
//
// Layout: m_words holds either the two entries or, copied in bytewise, the
// pointer to the first entry of a heap block; the top bit of m_size says
// which. A heap block starts with its capacity, one int before the entries.
class IndexList
{
public:
    IndexList() noexcept = default;
    IndexList(const IndexList& other) { append(other); }
    IndexList(IndexList&& other) noexcept { take(other); }
    IndexList& operator=(const IndexList& other)
    {
        if (this != &other) {
            clear();
            append(other);
        }
        return *this;
    }
    IndexList& operator=(IndexList&& other) noexcept
    {
        if (this != &other) {
            release();
            take(other);
        }
        return *this;
    }
    ~IndexList() { release(); }

    int* begin() { return data(); }
    int* end() { return data() + size(); }
    const int* begin() const { return data(); }
    const int* end() const { return data() + size(); }
    size_t size() const { return m_size & kCountMask; }
    bool empty() const { return size() == 0; }
    int& operator[](size_t i)
    {
        Q_ASSERT(i < size());
        return data()[i];
    }
    int operator[](size_t i) const
    {
        Q_ASSERT(i < size());
        return data()[i];
    }
    int front() const { return (*this)[0]; }
    int back() const { return (*this)[size() - 1]; }

    void push_back(int ref)
    {
        const size_t count = size();
        if (count == capacity())
            reserve(count * 2);
        data()[count] = ref;
        ++m_size; // the count is below the top bit, which stays as it is
    }
    void pop_back()
    {
        Q_ASSERT(size() > 0);
        --m_size;
    }
    void clear() { m_size &= kOnHeap; }
    // Removes the entry at `at` (a pointer into this list) and returns the
    // position of the entry that followed it.
    int* erase(int* at)
    {
        Q_ASSERT(at >= begin() && at < end());
        std::move(at + 1, end(), at);
        --m_size;
        return at;
    }
    // New entries, when the list grows, are 0.
    void resize(size_t count)
    {
        reserve(count);
        std::fill(data() + std::min(size(), count), data() + count, 0);
        m_size = (m_size & kOnHeap) | std::uint32_t(count);
    }
    void reserve(size_t capacity)
    {
        if (capacity <= this->capacity())
            return;
        Q_ASSERT(capacity < kCountMask);
        auto* block = static_cast<int*>(::operator new((capacity + 1) * sizeof(int)));
        block[0] = int(capacity);
        int* grown = block + 1;
        std::copy(begin(), end(), grown);
        const size_t count = size();
        release();
        std::memcpy(m_words, &grown, sizeof grown);
        m_size = kOnHeap | std::uint32_t(count);
    }

private:
    static constexpr size_t kInPlace = 2;
    static constexpr std::uint32_t kOnHeap = 0x80000000u;
    static constexpr std::uint32_t kCountMask = ~kOnHeap;

    bool onHeap() const { return (m_size & kOnHeap) != 0; }
    // The first entry of the heap block; only meaningful when onHeap().
    int* heap() const
    {
        int* entries;
        std::memcpy(&entries, m_words, sizeof entries);
        return entries;
    }
    int* data() { return onHeap() ? heap() : m_words; }
    const int* data() const { return onHeap() ? heap() : m_words; }
    size_t capacity() const { return onHeap() ? size_t(heap()[-1]) : kInPlace; }
    void append(const IndexList& other)
    {
        reserve(other.size());
        std::copy(other.begin(), other.end(), data());
        m_size = (m_size & kOnHeap) | std::uint32_t(other.size());
    }
    // Frees the heap block, if any; the list is then empty and in place.
    void release()
    {
        if (onHeap())
            ::operator delete(heap() - 1);
        m_size = 0;
    }
    // Moves the content of `other`, which must hold no heap block of this
    // list, into this one and leaves `other` empty and in place. Either form
    // of m_words is moved by copying its bytes.
    void take(IndexList& other) noexcept
    {
        std::copy(other.m_words, other.m_words + kInPlace, m_words);
        m_size = other.m_size;
        other.m_size = 0;
    }

    int m_words[kInPlace] = {};
    std::uint32_t m_size = 0; // count of entries; kOnHeap when on the heap
};

static_assert(sizeof(int*) <= 2 * sizeof(int), "a heap pointer fits in the two in-place entries");
static_assert(sizeof(IndexList) == 12 && alignof(IndexList) == 4, "the list takes three ints");

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_INDEXLIST_P_H
