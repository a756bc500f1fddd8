// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_PORTS_P_H
#define ZRNCORE_PORTS_P_H

#include "IndexList_p.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace Morvane {
namespace Zrn {

// One input or output of a node. Its name is a number in the graph's
// PortNames, so that a name used by thousands of ports is held once.
struct Port
{
    int source = -1;        // edge feeding this port, -1 if none
    int group = -1;         // group of the same side, -1 if none
    int name = 0;           // PortNames number; 0 is the null string
    IndexList destinations; // edges leaving this port, oldest first
};

// The two sides of a node: its inputs with its input groups, and its
// outputs with its output groups. The operations on the two sides are one
// implementation each, parameterised by the side.
enum class Side : std::uint8_t {
    Input,
    Output,
};

// The names of a graph's ports, each distinct one held once, by number, with
// the count of ports that use it; a number is free again, and reused, once
// no port uses it. Number 0 is the null string and is never counted. Two
// numbers stand for equal names exactly when they are equal or both name an
// empty string (the null string and "" compare equal, as QStrings do).
class PortNames
{
public:
    static constexpr int kNull = 0;

    // The number of `name`, counting one more port that uses it.
    int acquire(const QString& name)
    {
        if (name.isNull())
            return kNull;
        const auto it = m_numbers.constFind(name);
        if (it != m_numbers.constEnd()) {
            ++m_entries[size_t(it.value())].uses;
            return it.value();
        }
        int number;
        if (!m_free.empty()) {
            number = m_free.back();
            m_free.pop_back();
            m_entries[size_t(number)] = Entry{name, 1};
        } else {
            if (m_entries.empty())
                m_entries.push_back(Entry{QString(), 0}); // number 0
            number = int(m_entries.size());
            m_entries.push_back(Entry{name, 1});
        }
        m_numbers.insert(name, number);
        return number;
    }
    // One port less uses name `number`; the last one frees the number.
    void release(int number)
    {
        if (number == kNull)
            return;
        Entry& entry = m_entries[size_t(number)];
        Q_ASSERT(entry.uses > 0);
        if (--entry.uses == 0) {
            m_numbers.remove(entry.text);
            entry.text = QString();
            m_free.push_back(number);
        }
    }
    // The name that `number` stands for.
    const QString& text(int number) const
    {
        static const QString null;
        return number == kNull ? null : m_entries[size_t(number)].text;
    }
    // The number of `name` when a port uses it, -1 when none does. An empty
    // name has no single number (see above): kEmpty.
    static constexpr int kEmpty = -2;
    int lookup(const QString& name) const
    {
        if (name.isEmpty())
            return kEmpty;
        return m_numbers.value(name, -1);
    }
    // Whether the port name `number` equals the name that lookup() gave
    // `looked` for (which must not be -1).
    bool matches(int number, int looked) const { return looked == kEmpty ? text(number).isEmpty() : number == looked; }
    // Whether two port names are equal.
    bool same(int a, int b) const { return a == b || (text(a).isEmpty() && text(b).isEmpty()); }

private:
    struct Entry
    {
        QString text;
        int uses;
    };
    std::vector<Entry> m_entries; // by number; empty until the first name
    std::vector<int> m_free;      // numbers no port uses
    QHash<QString, int> m_numbers;
};

// A view of the ports of one side of a node, with the part of a vector's
// interface the graph reads. Valid until the node's ports change.
template <typename P>
class PortSpan
{
public:
    PortSpan(P* data, int size)
        : m_data(data)
        , m_size(size)
    {
    }
    P* begin() const { return m_data; }
    P* end() const { return m_data + m_size; }
    size_t size() const { return size_t(m_size); }
    bool empty() const { return m_size == 0; }
    P& operator[](size_t i) const
    {
        Q_ASSERT(i < size());
        return m_data[i];
    }

private:
    P* m_data;
    int m_size;
};

// The ports of one node, its inputs followed by its outputs. Up to three
// ports (a node with two inputs and one output, the commonest shape) are
// kept inside the list itself, so that such a node allocates nothing for
// them and reading one of them costs no access beyond the node's record;
// a node with more ports keeps all of them, in the same order, in one block
// of the heap. Erasing ports never brings them back inside.
//
// Layout: m_bytes holds either the ports in place or, copied in bytewise,
// the pointer to the heap block; a capacity above kInPlace says which.
class PortList
{
public:
    // The room in place stays uninitialised: ports are made in it as they
    // are appended. Not defaulted: a const list would then need an
    // initialiser.
    PortList() noexcept { } // NOLINT(modernize-use-equals-default): see above
    PortList(const PortList&) = delete;
    PortList& operator=(const PortList&) = delete;
    PortList(PortList&& other) noexcept { take(other); }
    PortList& operator=(PortList&& other) noexcept
    {
        if (this != &other) {
            release();
            take(other);
        }
        return *this;
    }
    ~PortList() { release(); }

    int count(Side side) const { return side == Side::Input ? m_numInputs : m_numOutputs; }
    PortSpan<Port> ports(Side side) { return PortSpan<Port>(data() + first(side), count(side)); }
    PortSpan<const Port> ports(Side side) const { return PortSpan<const Port>(data() + first(side), count(side)); }
    // Every port, inputs first.
    PortSpan<Port> all() { return PortSpan<Port>(data(), total()); }
    PortSpan<const Port> all() const { return PortSpan<const Port>(data(), total()); }

    // Appends `count` default ports to `side`; a count of 0 or less appends
    // none.
    // More ports than an int counts cannot be allocated: such a request
    // throws std::bad_alloc, as a failed allocation of that many does.
    void append(Side side, int count)
    {
        if (count <= 0)
            return;
        if (count > kMaxPorts - total())
            throw std::bad_alloc();
        reserve(total() + count);
        Port* ports = data();
        const int end = total();
        for (int k = 0; k < count; ++k)
            new (ports + end + k) Port();
        if (side == Side::Input) {
            // The new ports go before the outputs, which move on together.
            std::rotate(ports + m_numInputs, ports + end, ports + end + count);
            m_numInputs += count;
        } else {
            m_numOutputs += count;
        }
    }
    // Appends one default port to `side` and returns it.
    Port& append(Side side)
    {
        if (total() == m_capacity) {
            if (total() == kMaxPorts)
                throw std::bad_alloc();
            reserve(m_capacity > kMaxPorts / 2 ? kMaxPorts : m_capacity * 2);
        }
        const int at = side == Side::Input ? m_numInputs : total();
        insertAt(at, side);
        return data()[at];
    }
    // Erases port `index` of `side`, which must exist.
    void erase(Side side, int index)
    {
        Q_ASSERT(index >= 0 && index < count(side));
        Port* ports = data();
        Port* at = ports + first(side) + index;
        std::move(at + 1, ports + total(), at);
        ports[total() - 1].~Port();
        --(side == Side::Input ? m_numInputs : m_numOutputs);
    }

private:
    static constexpr int kMaxPorts = std::numeric_limits<int>::max();
    static constexpr int kInPlace = 3;

    int first(Side side) const { return side == Side::Input ? 0 : m_numInputs; }
    int total() const { return m_numInputs + m_numOutputs; }
    bool onHeap() const { return m_capacity > kInPlace; }
    // What the room in place holds while the ports are on the heap.
    struct HeapBlock
    {
        Port* ports;
    };
    // The first port of the heap block; only meaningful when onHeap().
    Port* heap() const
    {
        HeapBlock block;
        std::memcpy(&block, m_bytes, sizeof block);
        return block.ports;
    }
    Port* inPlace() { return std::launder(reinterpret_cast<Port*>(m_bytes)); }
    const Port* inPlace() const { return std::launder(reinterpret_cast<const Port*>(m_bytes)); }
    Port* data() { return onHeap() ? heap() : inPlace(); }
    const Port* data() const { return onHeap() ? heap() : inPlace(); }
    // Makes a default port at position `at` (at most total()), moving the
    // ports from there one place on; the capacity must allow one more.
    void insertAt(int at, Side side)
    {
        Q_ASSERT(total() < m_capacity && at <= total());
        Port* ports = data();
        Port* end = ports + total();
        if (at == total()) {
            new (end) Port();
        } else {
            new (end) Port(std::move(end[-1]));
            std::move_backward(ports + at, end - 1, end);
            ports[at] = Port();
        }
        ++(side == Side::Input ? m_numInputs : m_numOutputs);
    }
    // Moves the ports to a heap block of `capacity` ports, when that is more
    // than the list holds now.
    void reserve(int capacity)
    {
        if (capacity <= m_capacity)
            return;
        Port* grown = static_cast<Port*>(::operator new(sizeof(Port) * size_t(capacity)));
        Port* ports = data();
        const int count = total();
        for (int k = 0; k < count; ++k) {
            new (grown + k) Port(std::move(ports[k]));
            ports[k].~Port();
        }
        if (onHeap())
            ::operator delete(ports);
        const HeapBlock block{grown};
        std::memcpy(m_bytes, &block, sizeof block);
        m_capacity = capacity;
    }
    // Destroys every port and frees the heap block, if any; the list is then
    // empty and in place.
    void release()
    {
        Port* ports = data();
        const int count = total();
        for (int k = 0; k < count; ++k)
            ports[k].~Port();
        if (onHeap())
            ::operator delete(ports);
        m_numInputs = m_numOutputs = 0;
        m_capacity = kInPlace;
    }
    // Moves the content of `other` into this list, which must be empty and
    // in place, and leaves `other` empty and in place. A heap block changes
    // hands; ports in place are moved one by one, as each may own a heap
    // block of destinations.
    void take(PortList& other) noexcept
    {
        Q_ASSERT(total() == 0 && !onHeap());
        if (other.onHeap()) {
            std::memcpy(m_bytes, other.m_bytes, sizeof(HeapBlock));
        } else {
            Port* from = other.inPlace();
            Port* to = inPlace();
            const int count = other.total();
            for (int k = 0; k < count; ++k) {
                new (to + k) Port(std::move(from[k]));
                from[k].~Port();
            }
        }
        m_numInputs = std::exchange(other.m_numInputs, 0);
        m_numOutputs = std::exchange(other.m_numOutputs, 0);
        m_capacity = std::exchange(other.m_capacity, kInPlace);
    }

    int m_numInputs = 0;
    int m_numOutputs = 0;
    int m_capacity = kInPlace;
    alignas(Port) unsigned char m_bytes[kInPlace * sizeof(Port)];

    static_assert(sizeof(HeapBlock) <= sizeof(m_bytes), "a heap pointer fits in the room in place");
};

static_assert(std::is_nothrow_move_constructible<Port>::value, "ports in place move without throwing");
static_assert(sizeof(PortList) == 3 * sizeof(int) + 3 * sizeof(Port) && alignof(PortList) == 4,
              "the list takes its three counts and the room of three ports");

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_PORTS_P_H
