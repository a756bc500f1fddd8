// A node's first three ports live inside its PortList and a larger node's
// ports in one heap block: the ports, their order and their edges come
// through every passage between the two, through the moves of whole lists
// that the record arrays make, and through purge() and compact().

#include "TestSupport.h"

#include "../src/Core/ChunkedArray_p.h"
#include "../src/Core/Ports_p.h"

#include <ZrnCore/Graph.h>

#include <gtest/gtest.h>

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <new>
#include <string>
#include <utility>
#include <vector>

using Morvane::Zrn::ChunkedArray;
using Morvane::Zrn::Graph;
using Morvane::Zrn::Port;
using Morvane::Zrn::PortList;
using Morvane::Zrn::Side;

namespace {

// Whether the ports of `list` are kept inside the list object itself.
bool inPlace(const PortList& list)
{
    const auto ports = reinterpret_cast<std::uintptr_t>(list.all().begin());
    const auto self = reinterpret_cast<std::uintptr_t>(&list);
    return ports >= self && ports < self + sizeof list;
}

// Appends a port to `side` marked `mark`: group `mark`, source 100 + `mark`,
// feeding `edges`.
void appendPort(PortList& list, Side side, int mark, std::initializer_list<int> edges = {})
{
    Port& port = list.append(side);
    port.group = mark;
    port.source = 100 + mark;
    for (int e : edges)
        port.destinations.push_back(e);
}

// The ports of one side, each as "group/source:edge,edge,".
std::vector<std::string> describe(const PortList& list, Side side)
{
    std::vector<std::string> ports;
    for (const Port& port : list.ports(side)) {
        std::string text = std::to_string(port.group) + '/' + std::to_string(port.source) + ':';
        for (int e : port.destinations)
            text += std::to_string(e) + ',';
        ports.push_back(text);
    }
    return ports;
}

using Texts = std::vector<std::string>;

} // namespace

TEST(PortListInPlace, ThreePortsStayInsideAndAFourthInputTakesAllToTheHeap)
{
    PortList list;
    EXPECT_TRUE(inPlace(list));
    appendPort(list, Side::Input, 0, {1, 2, 3}); // destinations on the heap
    appendPort(list, Side::Output, 10, {4});
    appendPort(list, Side::Input, 1);
    EXPECT_TRUE(inPlace(list));
    EXPECT_EQ(describe(list, Side::Input), (Texts{"0/100:1,2,3,", "1/101:"}));
    EXPECT_EQ(describe(list, Side::Output), (Texts{"10/110:4,"}));

    appendPort(list, Side::Input, 2, {5, 6, 7, 8});
    EXPECT_FALSE(inPlace(list));
    EXPECT_EQ(list.count(Side::Input), 3);
    EXPECT_EQ(list.count(Side::Output), 1);
    EXPECT_EQ(describe(list, Side::Input), (Texts{"0/100:1,2,3,", "1/101:", "2/102:5,6,7,8,"}));
    EXPECT_EQ(describe(list, Side::Output), (Texts{"10/110:4,"}));
    EXPECT_EQ(list.all().size(), 4u);
    EXPECT_EQ(list.all()[3].group, 10); // inputs first, then outputs
}

TEST(PortListInPlace, AFourthOutputTakesAllToTheHeap)
{
    PortList list;
    appendPort(list, Side::Output, 10, {1});
    appendPort(list, Side::Input, 0, {2, 3});
    appendPort(list, Side::Output, 11, {4, 5, 6});
    EXPECT_TRUE(inPlace(list));
    appendPort(list, Side::Output, 12);
    EXPECT_FALSE(inPlace(list));
    EXPECT_EQ(describe(list, Side::Input), (Texts{"0/100:2,3,"}));
    EXPECT_EQ(describe(list, Side::Output), (Texts{"10/110:1,", "11/111:4,5,6,", "12/112:"}));
    // Further ports go on growing the block in the same order.
    appendPort(list, Side::Input, 1);
    appendPort(list, Side::Output, 13, {7});
    appendPort(list, Side::Input, 2);
    EXPECT_EQ(describe(list, Side::Input), (Texts{"0/100:2,3,", "1/101:", "2/102:"}));
    EXPECT_EQ(describe(list, Side::Output), (Texts{"10/110:1,", "11/111:4,5,6,", "12/112:", "13/113:7,"}));
}

TEST(PortListInPlace, CountsAppendedAtOnceStayInsideUpToThreePorts)
{
    PortList list;
    list.append(Side::Input, 2);
    list.append(Side::Output, 1);
    EXPECT_TRUE(inPlace(list));
    EXPECT_EQ(describe(list, Side::Input), (Texts{"-1/-1:", "-1/-1:"}));
    EXPECT_EQ(describe(list, Side::Output), (Texts{"-1/-1:"}));
    list.append(Side::Output, 0);
    EXPECT_TRUE(inPlace(list));
    list.append(Side::Output, 1);
    EXPECT_FALSE(inPlace(list));
    EXPECT_EQ(describe(list, Side::Output), (Texts{"-1/-1:", "-1/-1:"}));

    PortList three;
    three.append(Side::Input, 3);
    EXPECT_TRUE(inPlace(three));
    PortList four;
    four.append(Side::Output, 4);
    EXPECT_FALSE(inPlace(four));
    EXPECT_EQ(four.count(Side::Output), 4);
}

// Inputs appended by count to a list in place go before its outputs, which
// reach the heap block with their destinations.
TEST(PortListInPlace, InputsAppendedByCountAcrossTheCapacityGoBeforeTheOutputs)
{
    PortList list;
    appendPort(list, Side::Output, 10, {1, 2, 3});
    appendPort(list, Side::Input, 0, {4});
    list.append(Side::Input, 2);
    EXPECT_FALSE(inPlace(list));
    EXPECT_EQ(describe(list, Side::Input), (Texts{"0/100:4,", "-1/-1:", "-1/-1:"}));
    EXPECT_EQ(describe(list, Side::Output), (Texts{"10/110:1,2,3,"}));
}

// Erasure keeps a heap list on the heap, below the capacity in place too,
// and the list goes on growing from there.
TEST(PortListInPlace, ErasingBackBelowThreePortsKeepsThePortsAndTheirEdges)
{
    PortList list;
    appendPort(list, Side::Input, 0, {1});
    appendPort(list, Side::Input, 1, {2, 3, 4});
    appendPort(list, Side::Input, 2);
    appendPort(list, Side::Output, 10, {5, 6, 7});
    appendPort(list, Side::Output, 11, {8});
    const Port* block = list.all().begin();

    list.erase(Side::Input, 0);
    list.erase(Side::Output, 1);
    EXPECT_EQ(list.all().size(), 3u);
    EXPECT_EQ(list.all().begin(), block);
    EXPECT_EQ(describe(list, Side::Input), (Texts{"1/101:2,3,4,", "2/102:"}));
    EXPECT_EQ(describe(list, Side::Output), (Texts{"10/110:5,6,7,"}));
    list.erase(Side::Input, 1);
    EXPECT_EQ(describe(list, Side::Input), (Texts{"1/101:2,3,4,"}));
    EXPECT_EQ(describe(list, Side::Output), (Texts{"10/110:5,6,7,"}));

    appendPort(list, Side::Input, 3, {9});
    appendPort(list, Side::Output, 12);
    appendPort(list, Side::Input, 4);
    EXPECT_EQ(describe(list, Side::Input), (Texts{"1/101:2,3,4,", "3/103:9,", "4/104:"}));
    EXPECT_EQ(describe(list, Side::Output), (Texts{"10/110:5,6,7,", "12/112:"}));
    while (list.count(Side::Input) > 0)
        list.erase(Side::Input, 0);
    while (list.count(Side::Output) > 0)
        list.erase(Side::Output, list.count(Side::Output) - 1);
    EXPECT_TRUE(list.all().empty());
}

// Ports in place are moved one by one, each with its destinations, and the
// list moved from is empty and usable.
TEST(PortListInPlace, MovingAListInPlaceMovesEachPortWithItsEdges)
{
    PortList list;
    appendPort(list, Side::Input, 0, {1, 2, 3, 4, 5});
    appendPort(list, Side::Output, 10, {6});
    appendPort(list, Side::Output, 11, {7, 8, 9});
    PortList moved(std::move(list));
    EXPECT_TRUE(inPlace(moved));
    EXPECT_EQ(describe(moved, Side::Input), (Texts{"0/100:1,2,3,4,5,"}));
    EXPECT_EQ(describe(moved, Side::Output), (Texts{"10/110:6,", "11/111:7,8,9,"}));
    EXPECT_TRUE(list.all().empty()); // NOLINT(bugprone-use-after-move): moved-from state is specified
    EXPECT_TRUE(inPlace(list));
    appendPort(list, Side::Input, 1, {10});
    EXPECT_EQ(describe(list, Side::Input), (Texts{"1/101:10,"}));

    // Assigned over a list whose ports are on the heap: those go.
    PortList target;
    for (int k = 0; k < 5; ++k)
        appendPort(target, Side::Input, 20 + k, {k, k + 1, k + 2});
    EXPECT_FALSE(inPlace(target));
    target = std::move(moved);
    EXPECT_TRUE(inPlace(target));
    EXPECT_EQ(describe(target, Side::Input), (Texts{"0/100:1,2,3,4,5,"}));
    EXPECT_EQ(describe(target, Side::Output), (Texts{"10/110:6,", "11/111:7,8,9,"}));
    EXPECT_TRUE(moved.all().empty()); // NOLINT(bugprone-use-after-move)
}

// A heap block changes hands as it is: spans into it stay valid.
TEST(PortListInPlace, MovingAHeapListHandsOverItsBlock)
{
    PortList list;
    for (int k = 0; k < 4; ++k)
        appendPort(list, Side::Output, 10 + k, {k, k + 1, k + 2});
    const Port* block = list.all().begin();
    PortList moved(std::move(list));
    EXPECT_EQ(moved.all().begin(), block);
    EXPECT_TRUE(list.all().empty()); // NOLINT(bugprone-use-after-move): moved-from state is specified
    EXPECT_TRUE(inPlace(list));

    PortList target;
    appendPort(target, Side::Input, 0, {1, 2, 3});
    target = std::move(moved);
    EXPECT_EQ(target.all().begin(), block);
    EXPECT_EQ(describe(target, Side::Input), Texts{});
    EXPECT_EQ(describe(target, Side::Output),
              (Texts{"10/110:0,1,2,", "11/111:1,2,3,", "12/112:2,3,4,", "13/113:3,4,5,"}));
    EXPECT_TRUE(moved.all().empty()); // NOLINT(bugprone-use-after-move)
    EXPECT_TRUE(inPlace(moved));
}

// The refusal of more ports than an int counts comes before anything moves,
// whether the ports are in place, fill the room in place, or are on the heap.
// (Each list has a port: an empty one would try to allocate the INT_MAX.)
TEST(PortListInPlace, CountBeyondAnIntThrowsBeforeAnyChange)
{
    constexpr int kMax = std::numeric_limits<int>::max();
    for (int ports = 1; ports <= 5; ++ports) {
        SCOPED_TRACE(ports);
        PortList list;
        for (int k = 0; k < ports; ++k)
            appendPort(list, k % 2 == 0 ? Side::Input : Side::Output, k, {k, k + 1, k + 2});
        const Texts inputs = describe(list, Side::Input);
        const Texts outputs = describe(list, Side::Output);
        const Port* where = list.all().begin();
        const bool wasInPlace = inPlace(list);
        EXPECT_EQ(wasInPlace, ports <= 3);

        EXPECT_THROW(list.append(Side::Input, kMax), std::bad_alloc);
        EXPECT_THROW(list.append(Side::Output, kMax - ports + 1), std::bad_alloc);
        EXPECT_EQ(list.all().begin(), where);
        EXPECT_EQ(inPlace(list), wasInPlace);
        EXPECT_EQ(describe(list, Side::Input), inputs);
        EXPECT_EQ(describe(list, Side::Output), outputs);
        appendPort(list, Side::Output, 9);
        EXPECT_EQ(list.count(Side::Output), int(outputs.size()) + 1);
    }
}

// The record arrays move their records down by move construction when they
// drop some; lists in place and on the heap both come through.
TEST(PortListInPlace, ListsMovedDownInARecordArrayKeepTheirPorts)
{
    ChunkedArray<PortList, 2> lists;
    for (int n = 0; n < 10; ++n) {
        PortList& list = lists.emplace_back();
        for (int k = 0; k <= n % 6; ++k)
            appendPort(list, k == 0 ? Side::Output : Side::Input, 10 * n + k, {n, k, n + k});
    }
    int n = 0;
    lists.eraseIf([&n](const PortList&) { return n++ % 3 == 0; });
    ASSERT_EQ(lists.size(), 6u);
    const int kept[] = {1, 2, 4, 5, 7, 8};
    for (size_t at = 0; at < lists.size(); ++at) {
        const int was = kept[at];
        SCOPED_TRACE(was);
        const PortList& list = lists[at];
        EXPECT_EQ(inPlace(list), was % 6 < 3);
        Texts inputs;
        for (int k = 1; k <= was % 6; ++k) {
            const int mark = 10 * was + k;
            inputs.push_back(std::to_string(mark) + '/' + std::to_string(100 + mark) + ':' + std::to_string(was) + ','
                             + std::to_string(k) + ',' + std::to_string(was + k) + ',');
        }
        EXPECT_EQ(describe(list, Side::Input), inputs);
        const int mark = 10 * was;
        EXPECT_EQ(describe(list, Side::Output),
                  (Texts{std::to_string(mark) + '/' + std::to_string(100 + mark) + ':' + std::to_string(was) + ",0,"
                         + std::to_string(was) + ','}));
    }
}

namespace {

// Every live node as it reads through the interface, by names only, so that
// a renumbering graph reads the same: its name, then per input its name and
// the name and output of its source, then per output its name and the name
// and input of each destination.
QStringList byNames(const Graph& g)
{
    QStringList lines;
    for (int n = 0; n < g.numNodesGlobal(); ++n) {
        if (!g.isValidNode(n) || n == Graph::kRootNodeRef)
            continue;
        QString line = g.nodeName(n) + QLatin1String(" in");
        for (int i = 0; i < g.numInputs(n); ++i) {
            const int e = g.inputSource(n, i);
            line += QLatin1Char(' ') + g.inputName(n, i) + QLatin1Char('<');
            if (e != Graph::kInvalidEdgeRef)
                line += g.nodeName(g.edgeSourceNode(e)) + QLatin1Char('.') + QString::number(g.edgeSourceIndex(e));
        }
        line += QLatin1String(" out");
        for (int o = 0; o < g.numOutputs(n); ++o) {
            line += QLatin1Char(' ') + g.outputName(n, o) + QLatin1Char('>');
            for (int k = 0; k < g.numOutputDestinations(n, o); ++k) {
                const int e = g.outputDestination(n, o, k);
                line += g.nodeName(g.edgeDestNode(e)) + QLatin1Char('.') + QString::number(g.edgeDestIndex(e))
                    + QLatin1Char(',');
            }
        }
        lines << line;
    }
    return lines;
}

// 600 nodes, over three chunks of records: most with two inputs and one
// output, every seventh with two more inputs (its ports on the heap). Node
// k feeds input 0 of node k + 1; the hub, node 1, feeds input 1 of every
// third node, so its output's destination list is on the heap. Then every
// fifth node is removed.
void buildAndThin(Graph& g)
{
    std::vector<int> nodes;
    for (int k = 0; k < 600; ++k) {
        const int n = g.addNode(QStringLiteral("n%1").arg(k), 2, 1, Graph::kRootNodeRef);
        g.setInputName(n, 0, QStringLiteral("a"));
        g.setInputName(n, 1, QStringLiteral("b"));
        g.setOutputName(n, 0, QStringLiteral("o%1").arg(k));
        if (k % 7 == 0) {
            g.addInput(n, QStringLiteral("c"), -1);
            g.addInput(n, QStringLiteral("d"), -1);
        }
        nodes.push_back(n);
    }
    for (int k = 1; k < 600; ++k) {
        ASSERT_NE(g.addEdge(nodes[size_t(k - 1)], 0, nodes[size_t(k)], 0), Graph::kInvalidEdgeRef);
        if (k % 3 == 0 && k > 1) {
            ASSERT_NE(g.addEdge(nodes[1], 0, nodes[size_t(k)], 1), Graph::kInvalidEdgeRef);
        }
    }
    for (int k = 0; k < 600; k += 5)
        g.removeNode(nodes[size_t(k)]);
}

// The line of the hub after buildAndThin(): it feeds node 2 and every third
// node from node 3 on that was not removed.
QString hubLine()
{
    QString line = QStringLiteral("n1 in a< b< out o1>n2.0,");
    for (int k = 3; k < 600; k += 3) {
        if (k % 5 != 0)
            line += QStringLiteral("n%1.1,").arg(k);
    }
    return line;
}

} // namespace

TEST(GraphPortsInPlace, PurgeMovesNodesWithTheirPortsAndEdges)
{
    Graph g;
    buildAndThin(g);
    const QStringList before = byNames(g);
    ASSERT_EQ(before.size(), 480);
    EXPECT_EQ(before[0], hubLine());
    EXPECT_EQ(before[6], QStringLiteral("n8 in a<n7.0 b< out o8>n9.0,"));
    EXPECT_EQ(before[5], QStringLiteral("n7 in a<n6.0 b< c< d< out o7>n8.0,"));
    g.purge();
    EXPECT_EQ(g.numNodesGlobal(), 481);
    EXPECT_EQ(byNames(g), before);
}

TEST(GraphPortsInPlace, CompactMovesNodesWithTheirPortsAndEdges)
{
    Graph g;
    buildAndThin(g);
    const QStringList before = byNames(g);
    ASSERT_EQ(before.size(), 480);
    g.compact();
    EXPECT_EQ(g.numNodesGlobal(), 481);
    EXPECT_EQ(byNames(g), before);
    EXPECT_EQ(g.numInputs(6), 4);                  // n7
    EXPECT_EQ(g.numOutputDestinations(1, 0), 161); // n1
}
