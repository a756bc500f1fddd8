// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_INDEXLIST_P_H
#define ZRNCORE_INDEXLIST_P_H

#include <QtCore/QtGlobal>

#include <algorithm>
#include <cstddef>

namespace Morvane {
namespace Zrn {

// A list of int references (the edges leaving a port, the children of a
// node) that keeps up to two entries inside itself and moves them to the
// heap only when a third arrives. Most ports feed one or two edges and most
// nodes have no children, so most lists allocate nothing, and the record
// that holds one stays small: 16 bytes against a std::vector's 24 and its
// separate block. Iterators are plain pointers; the operations are the part
// of std::vector's interface that the graph uses, with the same meaning.
// clear() keeps the capacity, as std::vector's does.
class IndexList
{
public:
    IndexList() noexcept = default;
    IndexList(const IndexList& other) { append(other); }
    IndexList(IndexList&& other) noexcept { take(other); }
    IndexList& operator=(const IndexList& other)
    {
        if (this != &other) {
            m_size = 0;
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
    int* end() { return data() + m_size; }
    const int* begin() const { return data(); }
    const int* end() const { return data() + m_size; }
    size_t size() const { return size_t(m_size); }
    bool empty() const { return m_size == 0; }
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
        if (m_size == m_capacity)
            reserve(size_t(m_capacity) * 2);
        data()[m_size++] = ref;
    }
    void pop_back()
    {
        Q_ASSERT(m_size > 0);
        --m_size;
    }
    void clear() { m_size = 0; }
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
        m_size = int(count);
    }
    void reserve(size_t capacity)
    {
        if (capacity <= size_t(m_capacity))
            return;
        int* grown = new int[capacity];
        std::copy(begin(), end(), grown);
        const int count = m_size;
        release();
        m_heap = grown;
        m_capacity = int(capacity);
        m_size = count;
    }

private:
    static constexpr int kInPlace = 2;

    bool onHeap() const { return m_capacity > kInPlace; }
    int* data() { return onHeap() ? m_heap : m_inPlace; }
    const int* data() const { return onHeap() ? m_heap : m_inPlace; }
    void append(const IndexList& other)
    {
        reserve(other.size());
        std::copy(other.begin(), other.end(), data());
        m_size = other.m_size;
    }
    // Frees the heap block, if any; the list is then empty and in place.
    void release()
    {
        if (onHeap())
            delete[] m_heap;
        m_capacity = kInPlace;
        m_size = 0;
    }
    // Moves the content of `other`, which must hold no heap block of this
    // list, into this one and leaves `other` empty and in place.
    void take(IndexList& other) noexcept
    {
        if (other.onHeap()) {
            m_heap = other.m_heap;
        } else {
            std::copy(other.m_inPlace, other.m_inPlace + kInPlace, m_inPlace);
        }
        m_size = other.m_size;
        m_capacity = other.m_capacity;
        other.m_capacity = kInPlace;
        other.m_size = 0;
    }

    union
    {
        int m_inPlace[kInPlace] = {};
        int* m_heap;
    };
    int m_size = 0;
    int m_capacity = kInPlace;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_INDEXLIST_P_H
