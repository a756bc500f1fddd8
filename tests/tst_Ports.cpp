// The port records of a node and the graph's table of port names: the
// records keep their order and edges through every insertion and erasure,
// and each name number stands for its text for as long as a port uses it.

#include "../src/Core/Ports_p.h"

#include <gtest/gtest.h>

#include <QtCore/QString>

#include <limits>
#include <new>
#include <vector>

using Morvane::Zrn::Port;
using Morvane::Zrn::PortList;
using Morvane::Zrn::PortNames;
using Morvane::Zrn::Side;

namespace {

// The groups of the ports of one side, in order: each test marks its ports
// by group number to follow them through moves.
std::vector<int> groupsOf(const PortList& list, Side side)
{
    std::vector<int> groups;
    for (const Port& port : list.ports(side))
        groups.push_back(port.group);
    return groups;
}

// Appends a port to `side` marked with `group` and feeding edges `edges`.
void appendMarked(PortList& list, Side side, int group, const std::vector<int>& edges = {})
{
    Port& port = list.append(side);
    port.group = group;
    for (int e : edges)
        port.destinations.push_back(e);
}

} // namespace

TEST(PortList, StartsWithoutPorts)
{
    const PortList list;
    EXPECT_EQ(list.count(Side::Input), 0);
    EXPECT_EQ(list.count(Side::Output), 0);
    EXPECT_TRUE(list.all().empty());
}

TEST(PortList, AppendedPortsAreDefaultOnTheirSide)
{
    PortList list;
    list.append(Side::Input, 2);
    list.append(Side::Output, 1);
    list.append(Side::Output, 0);
    list.append(Side::Input, -3);
    ASSERT_EQ(list.count(Side::Input), 2);
    ASSERT_EQ(list.count(Side::Output), 1);
    for (const Port& port : list.all()) {
        EXPECT_EQ(port.source, -1);
        EXPECT_EQ(port.group, -1);
        EXPECT_EQ(port.name, PortNames::kNull);
        EXPECT_TRUE(port.destinations.empty());
    }
}

// An input added after the outputs goes before them; the outputs move one
// place on with their destinations, beyond the first block's capacity too.
TEST(PortList, InputAddedAfterOutputsKeepsEveryPortAndItsEdges)
{
    PortList list;
    appendMarked(list, Side::Output, 10, {1, 2, 3});
    appendMarked(list, Side::Output, 11, {4});
    appendMarked(list, Side::Input, 0);
    appendMarked(list, Side::Input, 1, {5, 6});
    appendMarked(list, Side::Output, 12);
    appendMarked(list, Side::Input, 2);

    EXPECT_EQ(groupsOf(list, Side::Input), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(groupsOf(list, Side::Output), (std::vector<int>{10, 11, 12}));
    const auto outputs = list.ports(Side::Output);
    EXPECT_EQ(std::vector<int>(outputs[0].destinations.begin(), outputs[0].destinations.end()),
              (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(std::vector<int>(outputs[1].destinations.begin(), outputs[1].destinations.end()), (std::vector<int>{4}));
    EXPECT_TRUE(outputs[2].destinations.empty());
    const auto inputs = list.ports(Side::Input);
    EXPECT_EQ(std::vector<int>(inputs[1].destinations.begin(), inputs[1].destinations.end()), (std::vector<int>{5, 6}));
    EXPECT_TRUE(inputs[2].destinations.empty());
}

// Default inputs appended all at once also go before the outputs.
TEST(PortList, InputsAppendedByCountGoBeforeTheOutputs)
{
    PortList list;
    appendMarked(list, Side::Input, 0);
    appendMarked(list, Side::Output, 10, {7, 8, 9});
    appendMarked(list, Side::Output, 11);
    list.append(Side::Input, 3);
    EXPECT_EQ(groupsOf(list, Side::Input), (std::vector<int>{0, -1, -1, -1}));
    EXPECT_EQ(groupsOf(list, Side::Output), (std::vector<int>{10, 11}));
    const auto outputs = list.ports(Side::Output);
    EXPECT_EQ(std::vector<int>(outputs[0].destinations.begin(), outputs[0].destinations.end()),
              (std::vector<int>{7, 8, 9}));
    list.append(Side::Output, 1);
    EXPECT_EQ(groupsOf(list, Side::Output), (std::vector<int>{10, 11, -1}));
}

TEST(PortList, ErasureClosesTheGapOnItsSideOnly)
{
    PortList list;
    for (int k = 0; k < 4; ++k)
        appendMarked(list, Side::Input, k);
    for (int k = 0; k < 3; ++k)
        appendMarked(list, Side::Output, 10 + k, {k});

    list.erase(Side::Input, 1);
    EXPECT_EQ(groupsOf(list, Side::Input), (std::vector<int>{0, 2, 3}));
    EXPECT_EQ(groupsOf(list, Side::Output), (std::vector<int>{10, 11, 12}));
    list.erase(Side::Output, 0);
    EXPECT_EQ(groupsOf(list, Side::Output), (std::vector<int>{11, 12}));
    EXPECT_EQ(list.ports(Side::Output)[0].destinations.front(), 1);
    list.erase(Side::Input, 2);
    list.erase(Side::Output, 1);
    EXPECT_EQ(groupsOf(list, Side::Input), (std::vector<int>{0, 2}));
    EXPECT_EQ(groupsOf(list, Side::Output), (std::vector<int>{11}));
    list.erase(Side::Input, 0);
    list.erase(Side::Input, 0);
    list.erase(Side::Output, 0);
    EXPECT_TRUE(list.all().empty());
    appendMarked(list, Side::Output, 7);
    EXPECT_EQ(groupsOf(list, Side::Output), (std::vector<int>{7}));
}

// A count that would take the node past the ports an int can count is
// refused before anything is allocated or written, and the list stays.
TEST(PortList, CountBeyondAnIntThrowsAndLeavesTheListAlone)
{
    PortList list;
    appendMarked(list, Side::Input, 4);
    EXPECT_THROW(list.append(Side::Output, std::numeric_limits<int>::max()), std::bad_alloc);
    EXPECT_EQ(groupsOf(list, Side::Input), std::vector<int>{4});
    EXPECT_EQ(list.count(Side::Output), 0);
    list.append(Side::Output, 2);
    EXPECT_EQ(list.count(Side::Output), 2);
}

TEST(PortList, MoveLeavesTheSourceEmpty)
{
    PortList list;
    appendMarked(list, Side::Input, 3, {8, 9, 10});
    appendMarked(list, Side::Output, 4);
    PortList moved(std::move(list));
    EXPECT_TRUE(list.all().empty()); // NOLINT(bugprone-use-after-move): moved-from state is specified
    EXPECT_EQ(groupsOf(moved, Side::Input), (std::vector<int>{3}));
    EXPECT_EQ(groupsOf(moved, Side::Output), (std::vector<int>{4}));

    PortList other;
    appendMarked(other, Side::Input, 5);
    other = std::move(moved);
    EXPECT_TRUE(moved.all().empty()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(groupsOf(other, Side::Input), (std::vector<int>{3}));
    EXPECT_EQ(other.ports(Side::Input)[0].destinations.size(), 3u);
}

TEST(PortNames, EqualTextsShareOneNumber)
{
    PortNames names;
    const int a = names.acquire(QStringLiteral("in"));
    const int b = names.acquire(QStringLiteral("out"));
    const int c = names.acquire(QString::fromLatin1("in"));
    EXPECT_NE(a, PortNames::kNull);
    EXPECT_NE(a, b);
    EXPECT_EQ(a, c);
    EXPECT_EQ(names.text(a), QStringLiteral("in"));
    EXPECT_EQ(names.text(b), QStringLiteral("out"));
    EXPECT_EQ(names.lookup(QStringLiteral("in")), a);
    EXPECT_EQ(names.lookup(QStringLiteral("missing")), -1);
}

// The null string takes no number of its own and is never counted; the
// empty string is a name like any other, but equal to the null one.
TEST(PortNames, NullAndEmptyStayApartYetCompareEqual)
{
    PortNames names;
    EXPECT_EQ(names.acquire(QString()), PortNames::kNull);
    EXPECT_TRUE(names.text(PortNames::kNull).isNull());
    const int empty = names.acquire(QLatin1String(""));
    EXPECT_NE(empty, PortNames::kNull);
    EXPECT_TRUE(names.text(empty).isEmpty());
    EXPECT_FALSE(names.text(empty).isNull());
    EXPECT_TRUE(names.same(empty, PortNames::kNull));
    EXPECT_TRUE(names.same(PortNames::kNull, PortNames::kNull));
    const int x = names.acquire(QStringLiteral("x"));
    EXPECT_FALSE(names.same(x, PortNames::kNull));
    EXPECT_FALSE(names.same(empty, x));
    EXPECT_EQ(names.lookup(QString()), PortNames::kEmpty);
    EXPECT_EQ(names.lookup(QLatin1String("")), PortNames::kEmpty);
    EXPECT_TRUE(names.matches(PortNames::kNull, PortNames::kEmpty));
    EXPECT_TRUE(names.matches(empty, PortNames::kEmpty));
    EXPECT_FALSE(names.matches(x, PortNames::kEmpty));
    EXPECT_TRUE(names.matches(x, x));
    EXPECT_FALSE(names.matches(empty, x));
    names.release(PortNames::kNull); // no count: nothing happens
    EXPECT_TRUE(names.text(PortNames::kNull).isNull());
}

// A number stays with its text until its last user lets it go; then the
// text is forgotten and the number is the next one handed out.
TEST(PortNames, LastReleaseFreesTheNumberForReuse)
{
    PortNames names;
    const int a = names.acquire(QStringLiteral("a"));
    EXPECT_EQ(names.acquire(QStringLiteral("a")), a);
    const int b = names.acquire(QStringLiteral("b"));
    names.release(a);
    EXPECT_EQ(names.text(a), QStringLiteral("a"));
    EXPECT_EQ(names.lookup(QStringLiteral("a")), a);
    names.release(a);
    EXPECT_EQ(names.lookup(QStringLiteral("a")), -1);
    const int c = names.acquire(QStringLiteral("c"));
    EXPECT_EQ(c, a);
    EXPECT_EQ(names.text(c), QStringLiteral("c"));
    EXPECT_EQ(names.text(b), QStringLiteral("b"));
    const int d = names.acquire(QStringLiteral("d"));
    EXPECT_NE(d, a);
    EXPECT_NE(d, b);
    EXPECT_EQ(names.lookup(QStringLiteral("d")), d);
}
