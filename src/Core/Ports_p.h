// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_PORTS_P_H
#define ZRNCORE_PORTS_P_H

#include "IndexList_p.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
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

// The ports of one node, its inputs followed by its outputs, in one block
// of the heap (none while the node has no port). A node with two inputs and
// one output thus takes one allocation of three ports.
class PortList
{
public:
    PortList() noexcept = default;
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
    PortSpan<Port> ports(Side side) { return PortSpan<Port>(m_ports + first(side), count(side)); }
    PortSpan<const Port> ports(Side side) const { return PortSpan<const Port>(m_ports + first(side), count(side)); }
    // Every port, inputs first.
    PortSpan<Port> all() { return PortSpan<Port>(m_ports, total()); }
    PortSpan<const Port> all() const { return PortSpan<const Port>(m_ports, total()); }

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
        const int end = total();
        for (int k = 0; k < count; ++k)
            new (m_ports + end + k) Port();
        if (side == Side::Input) {
            // The new ports go before the outputs, which move on together.
            std::rotate(m_ports + m_numInputs, m_ports + end, m_ports + end + count);
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
            reserve(m_capacity > kMaxPorts / 2 ? kMaxPorts : std::max(2, m_capacity * 2));
        }
        const int at = side == Side::Input ? m_numInputs : total();
        insertAt(at, side);
        return m_ports[at];
    }
    // Erases port `index` of `side`, which must exist.
    void erase(Side side, int index)
    {
        Q_ASSERT(index >= 0 && index < count(side));
        Port* at = m_ports + first(side) + index;
        std::move(at + 1, m_ports + total(), at);
        m_ports[total() - 1].~Port();
        --(side == Side::Input ? m_numInputs : m_numOutputs);
    }

private:
    static constexpr int kMaxPorts = std::numeric_limits<int>::max();

    int first(Side side) const { return side == Side::Input ? 0 : m_numInputs; }
    int total() const { return m_numInputs + m_numOutputs; }
    // Makes a default port at position `at` (at most total()), moving the
    // ports from there one place on; the capacity must allow one more.
    void insertAt(int at, Side side)
    {
        Q_ASSERT(total() < m_capacity && at <= total());
        Port* end = m_ports + total();
        if (at == total()) {
            new (end) Port();
        } else {
            new (end) Port(std::move(end[-1]));
            std::move_backward(m_ports + at, end - 1, end);
            m_ports[at] = Port();
        }
        ++(side == Side::Input ? m_numInputs : m_numOutputs);
    }
    void reserve(int capacity)
    {
        if (capacity <= m_capacity)
            return;
        Port* grown = static_cast<Port*>(::operator new(sizeof(Port) * size_t(capacity)));
        const int count = total();
        for (int k = 0; k < count; ++k) {
            new (grown + k) Port(std::move(m_ports[k]));
            m_ports[k].~Port();
        }
        ::operator delete(m_ports);
        m_ports = grown;
        m_capacity = capacity;
    }
    void release()
    {
        const int count = total();
        for (int k = 0; k < count; ++k)
            m_ports[k].~Port();
        ::operator delete(m_ports);
        m_ports = nullptr;
        m_numInputs = m_numOutputs = m_capacity = 0;
    }
    void take(PortList& other)
    {
        m_ports = std::exchange(other.m_ports, nullptr);
        m_numInputs = std::exchange(other.m_numInputs, 0);
        m_numOutputs = std::exchange(other.m_numOutputs, 0);
        m_capacity = std::exchange(other.m_capacity, 0);
    }

    Port* m_ports = nullptr;
    int m_numInputs = 0;
    int m_numOutputs = 0;
    int m_capacity = 0;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_PORTS_P_H
