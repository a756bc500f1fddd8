// Misuse that must never crash: references outside the graph's storage get
// neutral answers in a release build, and the walks stop at a port that an
// edge still names after the port was erased.
//
// The neutral answers are only reachable where Q_ASSERT is compiled out; a
// debug build stops at the assertion instead (see the death tests of
// tst_Graph.cpp), so those tests are skipped there.

#include "TestSupport.h"

#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphvizDump.h>
#include <ZrnCore/Walkers.h>

#include <gtest/gtest.h>

#include <QtCore/QList>
#include <QtCore/QString>

#include <climits>
#include <functional>
#include <ostream>
#include <string>

using Morvane::Zrn::Graph;

namespace {

// root
//  +- a (inputs "i0", "i1"; output "o"; input group "g"; output group "h")
//  |   +- c (input "ci"; output "co")   a.i0 => c.ci (down), c.co => a.o (up)
//  +- b (input "x"; output "y")
struct Misuse
{
    Graph g;
    int a = g.addNode(QStringLiteral("a"), 0, 0, Graph::kRootNodeRef);
    int b = g.addNode(QStringLiteral("b"), 0, 0, Graph::kRootNodeRef);
    int c = g.addNode(QStringLiteral("c"), 0, 0, a);
    Misuse()
    {
        g.addInputGroup(a, QStringLiteral("g"));
        g.addOutputGroup(a, QStringLiteral("h"));
        g.addInput(a, QStringLiteral("i0"), 0);
        g.addInput(a, QStringLiteral("i1"), -1);
        g.addOutput(a, QStringLiteral("o"), 0);
        g.addInput(b, QStringLiteral("x"), -1);
        g.addOutput(b, QStringLiteral("y"), -1);
        g.addInput(c, QStringLiteral("ci"), -1);
        g.addOutput(c, QStringLiteral("co"), -1);
        g.addDownEdge(0, c, 0);
        g.addUpEdge(0, c, 0);
    }
};

// One misuse: a call with a reference outside the storage and the answer it
// must give, as text so that every kind of result compares the same way.
struct Row
{
    const char* name;
    std::function<QString(Graph&, const Misuse&)> call;
    const char* expected;
};

void PrintTo(const Row& row, std::ostream* os)
{
    *os << row.name;
}

QString num(int value)
{
    return QString::number(value);
}

QString flag(bool value)
{
    return value ? QStringLiteral("true") : QStringLiteral("false");
}

QString quoted(const QString& text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

class GraphMisuse : public ::testing::TestWithParam<Row>
{
};

TEST_P(GraphMisuse, ReferenceOutsideTheStorageGetsTheNeutralAnswerAndChangesNothing)
{
#ifndef QT_NO_DEBUG
    GTEST_SKIP() << "debug build: the precondition's Q_ASSERT stops the call first";
#else
    Misuse m;
    const QString before = Morvane::Zrn::graphvizText(&m.g);
    const quint64 revision = m.g.revision();
    const int nodes = m.g.numNodesGlobal();
    const int edges = m.g.numEdgesGlobal();
    EXPECT_EQ(GetParam().call(m.g, m), QString::fromUtf8(GetParam().expected));
    EXPECT_EQ(m.g.revision(), revision);
    EXPECT_EQ(m.g.numNodesGlobal(), nodes);
    EXPECT_EQ(m.g.numEdgesGlobal(), edges);
    EXPECT_EQ(Morvane::Zrn::graphvizText(&m.g), before);
    // What the misuse might have touched is still as it was.
    EXPECT_EQ(m.g.nodeName(m.a), QStringLiteral("a"));
    EXPECT_EQ(m.g.numInputs(m.a), 2);
    EXPECT_EQ(m.g.numOutputs(m.a), 1);
    EXPECT_EQ(m.g.numInputGroups(m.a), 1);
    EXPECT_EQ(m.g.numOutputGroups(m.a), 1);
    EXPECT_EQ(m.g.inputName(m.a, 1), QStringLiteral("i1"));
    EXPECT_EQ(m.g.inputGroupName(m.a, 0), QStringLiteral("g"));
    EXPECT_EQ(m.g.numNodes(Graph::kRootNodeRef), 2);
    EXPECT_EQ(m.g.numNodes(m.a), 1);
    EXPECT_EQ(m.g.inputSource(m.c, 0), 0);
    EXPECT_EQ(m.g.outputSource(m.a, 0), 1);
#endif
}

const Row kRows[] = {
    // nodes
    {"numNodesBeyond", [](Graph& g, const Misuse&) { return num(g.numNodes(99)); }, "0"},
    {"numNodesNegative", [](Graph& g, const Misuse&) { return num(g.numNodes(-1)); }, "0"},
    {"getNodeOfParentBeyond", [](Graph& g, const Misuse&) { return num(g.getNode(0, 99)); }, "-1"},
    {"getNodeAtPositionBeyond", [](Graph& g, const Misuse& m) { return num(g.getNode(1, m.a)); }, "-1"},
    {"getNodeAtNegativePosition", [](Graph& g, const Misuse&) { return num(g.getNode(-1, 0)); }, "-1"},
    {"findNodeUnderParentBeyond", [](Graph& g, const Misuse&) { return num(g.findNode(QStringLiteral("a"), 99)); },
     "-1"},
    {"indexOfNodeBeyond", [](Graph& g, const Misuse&) { return num(g.indexOfNode(99)); }, "-1"},
    {"indexOfNodeNegative", [](Graph& g, const Misuse&) { return num(g.indexOfNode(-5)); }, "-1"},
    {"parentNodeBeyond", [](Graph& g, const Misuse&) { return num(g.parentNode(99)); }, "-1"},
    {"parentNodeNegative", [](Graph& g, const Misuse&) { return num(g.parentNode(INT_MIN)); }, "-1"},
    {"containsNodeBeyond", [](Graph& g, const Misuse&) { return flag(g.contains(0, 99)); }, "false"},
    {"nodeNameBeyond", [](Graph& g, const Misuse&) { return quoted(g.nodeName(99)); }, "\"\""},
    {"nodeValueBeyond", [](Graph& g, const Misuse&) { return num(g.nodeValue(-1)); }, "-1"},
    {"setNodeNameBeyond",
     [](Graph& g, const Misuse&) {
         g.setNodeName(99, QStringLiteral("z"));
         return quoted(g.nodeName(99));
     },
     "\"\""},
    {"setNodeValueBeyond",
     [](Graph& g, const Misuse&) {
         g.setNodeValue(-1, 5);
         return num(g.nodeValue(-1));
     },
     "-1"},
    {"addNodeUnderParentBeyond", [](Graph& g, const Misuse&) { return num(g.addNode(QStringLiteral("z"), 1, 1, 99)); },
     "-1"},
    // ports and groups
    {"addInputOnNodeBeyond", [](Graph& g, const Misuse&) { return num(g.addInput(99, QStringLiteral("z"), -1)); },
     "-1"},
    {"addOutputOnNodeBeyond", [](Graph& g, const Misuse&) { return num(g.addOutput(-1, QStringLiteral("z"), -1)); },
     "-1"},
    {"addInputGroupOnNodeBeyond", [](Graph& g, const Misuse&) { return num(g.addInputGroup(99, QStringLiteral("z"))); },
     "-1"},
    {"addOutputGroupOnNodeBeyond",
     [](Graph& g, const Misuse&) { return num(g.addOutputGroup(99, QStringLiteral("z"))); }, "-1"},
    {"numInputsBeyond", [](Graph& g, const Misuse&) { return num(g.numInputs(99)); }, "0"},
    {"numOutputsBeyond", [](Graph& g, const Misuse&) { return num(g.numOutputs(-1)); }, "0"},
    {"numInputGroupsBeyond", [](Graph& g, const Misuse&) { return num(g.numInputGroups(99)); }, "0"},
    {"numOutputGroupsBeyond", [](Graph& g, const Misuse&) { return num(g.numOutputGroups(99)); }, "0"},
    {"findInputBeyond", [](Graph& g, const Misuse&) { return num(g.findInput(99, QStringLiteral("x"))); }, "-1"},
    {"findOutputBeyond", [](Graph& g, const Misuse&) { return num(g.findOutput(99, QStringLiteral("y"))); }, "-1"},
    {"findInputGroupBeyond", [](Graph& g, const Misuse&) { return num(g.findInputGroup(99, QStringLiteral("g"))); },
     "-1"},
    {"findOutputGroupBeyond", [](Graph& g, const Misuse&) { return num(g.findOutputGroup(-1, QStringLiteral("h"))); },
     "-1"},
    {"inputNameBeyond", [](Graph& g, const Misuse& m) { return quoted(g.inputName(m.a, 2)); }, "\"\""},
    {"outputNameBeyond", [](Graph& g, const Misuse& m) { return quoted(g.outputName(m.a, -1)); }, "\"\""},
    {"inputNameOnNodeBeyond", [](Graph& g, const Misuse&) { return quoted(g.inputName(99, 0)); }, "\"\""},
    {"setInputNameBeyond",
     [](Graph& g, const Misuse& m) {
         g.setInputName(m.a, 2, QStringLiteral("z"));
         return num(g.numInputs(m.a));
     },
     "2"},
    {"setOutputNameOnNodeBeyond",
     [](Graph& g, const Misuse&) {
         g.setOutputName(99, 0, QStringLiteral("z"));
         return quoted(g.outputName(99, 0));
     },
     "\"\""},
    {"inputGroupBeyond", [](Graph& g, const Misuse& m) { return num(g.inputGroup(m.a, 7)); }, "-1"},
    {"outputGroupBeyond", [](Graph& g, const Misuse&) { return num(g.outputGroup(99, 0)); }, "-1"},
    {"inputGroupNameBeyond", [](Graph& g, const Misuse& m) { return quoted(g.inputGroupName(m.a, 1)); }, "\"\""},
    {"outputGroupNameBeyond", [](Graph& g, const Misuse& m) { return quoted(g.outputGroupName(m.b, 0)); }, "\"\""},
    {"setInputGroupNameBeyond",
     [](Graph& g, const Misuse& m) {
         g.setInputGroupName(m.a, 1, QStringLiteral("z"));
         return num(g.numInputGroups(m.a));
     },
     "1"},
    {"setOutputGroupNameOnNodeBeyond",
     [](Graph& g, const Misuse&) {
         g.setOutputGroupName(-1, 0, QStringLiteral("z"));
         return quoted(g.outputGroupName(-1, 0));
     },
     "\"\""},
    // edges
    {"edgeSourceNodeBeyond", [](Graph& g, const Misuse&) { return num(g.edgeSourceNode(2)); }, "-1"},
    {"edgeSourceIndexNegative", [](Graph& g, const Misuse&) { return num(g.edgeSourceIndex(-1)); }, "-1"},
    {"edgeDestNodeBeyond", [](Graph& g, const Misuse&) { return num(g.edgeDestNode(INT_MAX)); }, "-1"},
    {"edgeDestIndexBeyond", [](Graph& g, const Misuse&) { return num(g.edgeDestIndex(9)); }, "-1"},
    {"inputSourceBeyond", [](Graph& g, const Misuse& m) { return num(g.inputSource(m.c, 1)); }, "-1"},
    {"outputSourceOnNodeBeyond", [](Graph& g, const Misuse&) { return num(g.outputSource(99, 0)); }, "-1"},
    {"numInputDestinationsBeyond", [](Graph& g, const Misuse& m) { return num(g.numInputDestinations(m.a, 2)); }, "0"},
    {"numOutputDestinationsBeyond", [](Graph& g, const Misuse&) { return num(g.numOutputDestinations(99, 0)); }, "0"},
    {"inputDestinationAtPositionBeyond", [](Graph& g, const Misuse& m) { return num(g.inputDestination(m.a, 0, 1)); },
     "-1"},
    {"outputDestinationOnPortBeyond", [](Graph& g, const Misuse& m) { return num(g.outputDestination(m.a, 1, 0)); },
     "-1"},
    {"disconnectInputBeyond",
     [](Graph& g, const Misuse& m) {
         g.disconnectInput(m.a, 2);
         g.disconnectInput(99, 0);
         return num(g.numInputDestinations(m.a, 0));
     },
     "1"},
    {"disconnectInputGroupOnNodeBeyond",
     [](Graph& g, const Misuse&) {
         g.disconnectInputGroup(99, 0);
         return num(g.numEdgesGlobal());
     },
     "2"},
    {"precedesFromNodeBeyond", [](Graph& g, const Misuse& m) { return flag(g.precedes(m.a, 99, true)); }, "false"},
    {"precedesNodeBeyondItself", [](Graph& g, const Misuse&) { return flag(g.precedes(99, 99, false)); }, "true"},
    // walk primitives: no move on a port outside the storage
    {"walkAcrossBeyond",
     [](Graph& g, const Misuse& m) {
         int node = m.b;
         int index = 3;
         const bool moved = g.walkAcross(node, index);
         return flag(moved) + QLatin1Char(' ') + num(node) + QLatin1Char(' ') + num(index);
     },
     "false 2 3"},
    {"walkUpOnNodeBeyond",
     [](Graph& g, const Misuse&) {
         int node = 99;
         int index = 0;
         const bool moved = g.walkUp(node, index);
         return flag(moved) + QLatin1Char(' ') + num(node) + QLatin1Char(' ') + num(index);
     },
     "false 99 0"},
    {"walkDownBeyond",
     [](Graph& g, const Misuse& m) {
         int node = m.a;
         int index = -1;
         const bool moved = g.walkDown(node, index);
         return flag(moved) + QLatin1Char(' ') + num(node) + QLatin1Char(' ') + num(index);
     },
     "false 1 -1"},
    {"walkToSourceNodeBeyond",
     [](Graph& g, const Misuse&) {
         int node = -1;
         int index = -1;
         const bool moved = g.walkToSourceNode(node, index);
         return flag(moved) + QLatin1Char(' ') + num(node) + QLatin1Char(' ') + num(index);
     },
     "false -1 -1"},
    // walkers
    {"breadthFirstWalkerFromNodeBeyond",
     [](Graph& g, const Misuse&) {
         Morvane::Zrn::BreadthFirstInputWalker w(g, 99, true);
         return flag(w.valid()) + QLatin1Char(' ') + num(w.node());
     },
     "false -1"},
    {"bottomUpWalkerPoppedPastItsEnd",
     [](Graph& g, const Misuse& m) {
         Morvane::Zrn::BottomUpInputWalker w(g, m.b, true);
         w.pop();
         w.pop();
         w.next();
         w.moveNext();
         return flag(w.valid()) + QLatin1Char(' ') + num(w.node());
     },
     "false -1"},
    {"subgraphWalkerPoppedPastItsEnd",
     [](Graph& g, const Misuse& m) {
         Morvane::Zrn::BottomUpSubgraphWalker w(g, m.c);
         w.pop();
         w.pop();
         w.next();
         return flag(w.valid()) + QLatin1Char(' ') + num(w.node());
     },
     "false -1"},
    // the dump
    {"graphvizTextOfNull", [](Graph&, const Misuse&) { return quoted(Morvane::Zrn::graphvizText(nullptr)); }, "\"\""},
};

INSTANTIATE_TEST_SUITE_P(Accessors, GraphMisuse, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<Row>& info) { return std::string(info.param.name); });

TEST(GraphMisuseDump, NullGraphWritesNothingInReleaseBuilds)
{
#ifndef QT_NO_DEBUG
    GTEST_SKIP() << "debug build: the precondition's Q_ASSERT stops the call first";
#else
    ZrnTest::MessageCapture capture;
    Morvane::Zrn::dumpAsGraphviz(nullptr);
    EXPECT_TRUE(capture.debug.isEmpty());
    EXPECT_TRUE(capture.critical.isEmpty());
    EXPECT_TRUE(capture.other.isEmpty());
#endif
}

// ---------------------------------------------------------------- erased ports
//
// removeInput() and removeOutput() leave the edges at the erased port and at
// later ports as they were, with their old port indices. A walk led by such
// an edge to a port that is no longer there finds it unfed and stops: in
// every build, since the walk's own arguments are valid.

TEST(GraphErasedPorts, WalkUpStopsAtAParentInputErasedUnderItsDownEdge)
{
    Misuse m;
    m.g.removeInput(m.a, 1);
    m.g.removeInput(m.a, 0); // a.i0 feeds c.ci; the down edge stays live
    ASSERT_TRUE(m.g.isDownEdge(0));
    ASSERT_EQ(m.g.numInputs(m.a), 0);
    int node = m.c;
    int index = 0;
    EXPECT_TRUE(m.g.walkUp(node, index));
    EXPECT_EQ(node, m.a);
    EXPECT_EQ(index, 0);
    node = m.c;
    index = 0;
    EXPECT_FALSE(m.g.walkToSourceNode(node, index));
    EXPECT_EQ(node, m.a);
    EXPECT_EQ(index, 0);
}

TEST(GraphErasedPorts, WalkDownStopsAtAChildOutputErasedUnderItsUpEdge)
{
    Misuse m;
    // b.x is fed by a.o, whose producer is c.co through the up edge.
    ASSERT_EQ(m.g.addEdge(m.a, 0, m.b, 0), 2);
    int node = m.b;
    int index = 0;
    ASSERT_TRUE(m.g.walkToSourceNode(node, index));
    ASSERT_EQ(node, m.c);
    m.g.removeOutput(m.c, 0);
    ASSERT_TRUE(m.g.isUpEdge(1));
    node = m.a;
    index = 0;
    EXPECT_TRUE(m.g.walkDown(node, index));
    EXPECT_EQ(node, m.c);
    EXPECT_EQ(index, 0);
    node = m.b;
    index = 0;
    EXPECT_TRUE(m.g.walkToSourceNode(node, index));
    EXPECT_EQ(node, m.c);
    EXPECT_EQ(index, 0);
}

TEST(GraphErasedPorts, CycleTestAndWalkersPassOverAnErasedParentInput)
{
    Misuse m;
    // a's inputs are erased while i0 still feeds c; c's input then leads
    // through the down edge to a port that is gone.
    m.g.removeInput(m.a, 1);
    m.g.removeInput(m.a, 0);
    EXPECT_FALSE(m.g.precedes(m.b, m.c, true));
    EXPECT_TRUE(m.g.precedes(m.c, m.c, true));

    QList<int> order;
    for (Morvane::Zrn::BottomUpInputWalker w(m.g, m.c, true); w.valid(); w.next())
        order << w.node();
    EXPECT_EQ(order, QList<int>{m.c});
    order.clear();
    for (Morvane::Zrn::BreadthFirstInputWalker w(m.g, m.c, true); w.valid(); w.next())
        order << w.node();
    EXPECT_EQ(order, QList<int>{m.c});
}

} // namespace
