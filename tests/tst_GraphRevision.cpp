// The graph's revision: every mutating call that changes the graph advances
// it, refused or ignored calls and const queries leave it as it was.

#include <ZrnCore/Graph.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QtCore/QString>
#include <QtCore/QVector>

#include <functional>
#include <ostream>
#include <string>

using Morvane::Zrn::Graph;

namespace {

// The graph every row starts from:
//
//   root
//    +- a (in "x" group 0, in "y"; out "r" group 0, out "s")   a.r -> b.x
//    |   +- c (in "x", out "r")       a.x => c.x (down), c.r => a.s (up)
//    +- b (in "x", in "z"; out "r")
//
// Input groups "ig" on a, output groups "og" on a.
struct Fixture
{
    Graph g;
    int a = -1;
    int b = -1;
    int c = -1;
    int edgeAB = -1;
    int edgeDown = -1;
    int edgeUp = -1;

    Fixture()
    {
        a = g.addNode(QStringLiteral("a"), 0, 0, Graph::kRootNodeRef);
        b = g.addNode(QStringLiteral("b"), 0, 0, Graph::kRootNodeRef);
        c = g.addNode(QStringLiteral("c"), 0, 0, a);
        g.addInputGroup(a, QStringLiteral("ig"));
        g.addOutputGroup(a, QStringLiteral("og"));
        g.addInput(a, QStringLiteral("x"), 0);
        g.addInput(a, QStringLiteral("y"), -1);
        g.addOutput(a, QStringLiteral("r"), 0);
        g.addOutput(a, QStringLiteral("s"), -1);
        g.addInput(b, QStringLiteral("x"), -1);
        g.addInput(b, QStringLiteral("z"), -1);
        g.addOutput(b, QStringLiteral("r"), -1);
        g.addInput(c, QStringLiteral("x"), -1);
        g.addOutput(c, QStringLiteral("r"), -1);
        edgeAB = g.addEdge(a, 0, b, 0);
        edgeDown = g.addDownEdge(0, c, 0);
        edgeUp = g.addUpEdge(1, c, 0);
    }
};

struct Row
{
    const char* name;
    std::function<void(Fixture&)> call;
    bool advances;
};

void PrintTo(const Row& row, std::ostream* os)
{
    *os << row.name;
}

class GraphRevision : public ::testing::TestWithParam<Row>
{
};

TEST_P(GraphRevision, MutatorAdvancesTheRevisionExactlyWhenItChangesTheGraph)
{
    Fixture f;
    ASSERT_EQ(f.edgeAB, 0);
    ASSERT_EQ(f.edgeDown, 1);
    ASSERT_EQ(f.edgeUp, 2);
    const quint64 before = f.g.revision();
    GetParam().call(f);
    if (GetParam().advances)
        EXPECT_GT(f.g.revision(), before);
    else
        EXPECT_EQ(f.g.revision(), before);
}

const Row kRows[] = {
    {"addNode", [](Fixture& f) { f.g.addNode(QStringLiteral("n"), 1, 1, f.a); }, true},
    {"setNodeName", [](Fixture& f) { f.g.setNodeName(f.a, QStringLiteral("q")); }, true},
    {"setNodeNameToTheSameName", [](Fixture& f) { f.g.setNodeName(f.a, QStringLiteral("a")); }, true},
    {"setNodeValue", [](Fixture& f) { f.g.setNodeValue(f.a, 7); }, true},
    {"addInput", [](Fixture& f) { f.g.addInput(f.b, QStringLiteral("w"), -1); }, true},
    {"addOutput", [](Fixture& f) { f.g.addOutput(f.b, QStringLiteral("w"), -1); }, true},
    {"addInputGroup", [](Fixture& f) { f.g.addInputGroup(f.b, QStringLiteral("g")); }, true},
    {"addOutputGroup", [](Fixture& f) { f.g.addOutputGroup(f.b, QStringLiteral("g")); }, true},
    {"setInputName", [](Fixture& f) { f.g.setInputName(f.a, 1, QStringLiteral("n")); }, true},
    {"setOutputName", [](Fixture& f) { f.g.setOutputName(f.a, 1, QStringLiteral("n")); }, true},
    {"setInputGroupName", [](Fixture& f) { f.g.setInputGroupName(f.a, 0, QStringLiteral("n")); }, true},
    {"setOutputGroupName", [](Fixture& f) { f.g.setOutputGroupName(f.a, 0, QStringLiteral("n")); }, true},
    {"addEdge", [](Fixture& f) { f.g.addEdge(f.a, 0, f.b, 1); }, true},
    {"addEdgeRefusedIntoAnOccupiedInput", [](Fixture& f) { f.g.addEdge(f.a, 0, f.b, 0); }, false},
    {"addEdgeRefusedAsACycle", [](Fixture& f) { f.g.addEdge(f.b, 0, f.a, 1); }, false},
    {"addDownEdgeIntoAFreeInput",
     [](Fixture& f) {
         f.g.disconnectInput(f.c, 0);
         const quint64 before = f.g.revision();
         f.g.addDownEdge(1, f.c, 0);
         EXPECT_GT(f.g.revision(), before);
     },
     true},
    {"addDownEdgeRefused", [](Fixture& f) { f.g.addDownEdge(1, f.c, 0); }, false},
    {"addUpEdge",
     [](Fixture& f) {
         const int o = f.g.addOutput(f.a, QStringLiteral("t"), -1);
         const int k = f.g.addOutput(f.c, QStringLiteral("t"), -1);
         const quint64 before = f.g.revision();
         EXPECT_EQ(f.g.addUpEdge(o, f.c, k), 3);
         EXPECT_GT(f.g.revision(), before);
     },
     true},
    {"addUpEdgeRefused", [](Fixture& f) { f.g.addUpEdge(1, f.c, 0); }, false},
    {"removeEdge", [](Fixture& f) { f.g.removeEdge(f.edgeAB); }, true},
    {"removeEdgeOfARemovedEdge",
     [](Fixture& f) {
         f.g.removeEdge(f.edgeAB);
         const quint64 before = f.g.revision();
         f.g.removeEdge(f.edgeAB);
         EXPECT_EQ(f.g.revision(), before);
     },
     true},
    {"removeEdgeOutOfRange", [](Fixture& f) { f.g.removeEdge(99); }, false},
    {"disconnectInput", [](Fixture& f) { f.g.disconnectInput(f.b, 0); }, true},
    {"disconnectInputWithoutEdges", [](Fixture& f) { f.g.disconnectInput(f.b, 1); }, false},
    {"disconnectInputGroup", [](Fixture& f) { f.g.disconnectInputGroup(f.a, 0); }, true},
    {"addEdgeByName", [](Fixture& f) { f.g.addEdgeByName(f.a, QStringLiteral("r"), f.b, QStringLiteral("z")); }, true},
    {"addDownEdgeByName",
     [](Fixture& f) {
         f.g.disconnectInput(f.c, 0);
         const quint64 before = f.g.revision();
         f.g.addDownEdgeByName(QStringLiteral("y"), f.c, QStringLiteral("x"));
         EXPECT_GT(f.g.revision(), before);
     },
     true},
    {"addUpEdgeByName",
     [](Fixture& f) {
         f.g.removeEdge(f.edgeUp);
         const quint64 before = f.g.revision();
         f.g.addUpEdgeByName(QStringLiteral("s"), f.c, QStringLiteral("r"));
         EXPECT_GT(f.g.revision(), before);
     },
     true},
    {"addUpEdgeByNameRefused", [](Fixture& f) { f.g.addUpEdgeByName(QStringLiteral("s"), f.c, QStringLiteral("r")); },
     false},
    {"connectByName",
     [](Fixture& f) {
         const int d = f.g.addNode(QStringLiteral("d"), 0, 0, Graph::kRootNodeRef);
         f.g.addInput(d, QStringLiteral("r"), -1);
         const quint64 before = f.g.revision();
         f.g.connectByName(f.b, d);
         EXPECT_GT(f.g.revision(), before);
         EXPECT_EQ(f.g.inputSource(d, 0), 3);
     },
     true},
    {"connectByNameWithNothingToPair", [](Fixture& f) { f.g.connectByName(f.b, f.a); }, false},
    {"connectGroups",
     [](Fixture& f) {
         const int d = f.g.addNode(QStringLiteral("d"), 0, 0, Graph::kRootNodeRef);
         f.g.addInput(d, QStringLiteral("r"), -1);
         const quint64 before = f.g.revision();
         f.g.connectGroups(f.a, 0, d, -1);
         EXPECT_GT(f.g.revision(), before);
     },
     true},
    {"connectNamedGroups",
     [](Fixture& f) {
         const int d = f.g.addNode(QStringLiteral("d"), 0, 0, Graph::kRootNodeRef);
         f.g.addInput(d, QStringLiteral("r"), -1);
         const quint64 before = f.g.revision();
         f.g.connectNamedGroups(f.a, QStringLiteral("og"), d, QStringLiteral("none"));
         EXPECT_GT(f.g.revision(), before);
     },
     true},
    {"connectDownByName",
     [](Fixture& f) {
         f.g.disconnectInput(f.c, 0);
         const quint64 before = f.g.revision();
         f.g.connectDownByName(f.c);
         EXPECT_GT(f.g.revision(), before);
     },
     true},
    {"connectDownByNameWithNothingFree", [](Fixture& f) { f.g.connectDownByName(f.c); }, false},
    {"connectUpByName",
     [](Fixture& f) {
         f.g.removeEdge(f.edgeUp);
         f.g.setOutputName(f.a, 1, QStringLiteral("r2"));
         f.g.setOutputName(f.c, 0, QStringLiteral("r2"));
         const quint64 before = f.g.revision();
         f.g.connectUpByName(f.c);
         EXPECT_GT(f.g.revision(), before);
     },
     true},
    {"removeNode", [](Fixture& f) { f.g.removeNode(f.c); }, true},
    {"removeNodeOfARemovedNode",
     [](Fixture& f) {
         f.g.removeNode(f.c);
         const quint64 before = f.g.revision();
         f.g.removeNode(f.c);
         EXPECT_EQ(f.g.revision(), before);
     },
     true},
    {"removeChildNode", [](Fixture& f) { f.g.removeChildNode(f.b); }, true},
    {"removeChildNodeOutOfRange", [](Fixture& f) { f.g.removeChildNode(99); }, false},
    {"removeInput", [](Fixture& f) { f.g.removeInput(f.b, 1); }, true},
    {"removeInputOutOfRange", [](Fixture& f) { f.g.removeInput(f.b, 5); }, false},
    {"removeOutput", [](Fixture& f) { f.g.removeOutput(f.b, 0); }, true},
    {"removeInputGroup", [](Fixture& f) { f.g.removeInputGroup(f.a, 0); }, true},
    {"removeOutputGroup", [](Fixture& f) { f.g.removeOutputGroup(f.a, 0); }, true},
    {"removeOutputGroupOutOfRange", [](Fixture& f) { f.g.removeOutputGroup(f.a, 1); }, false},
    {"purge", [](Fixture& f) { f.g.purge(); }, true},
    {"compact", [](Fixture& f) { f.g.compact(); }, true},
    {"purgeWithMaps",
     [](Fixture& f) {
         QVector<int> nodes;
         QVector<int> edges;
         f.g.purge(&nodes, &edges);
     },
     true},
};

INSTANTIATE_TEST_SUITE_P(Mutators, GraphRevision, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<Row>& info) { return std::string(info.param.name); });

TEST(GraphRevisionStart, NewGraphStartsAtZeroAndEachNodeAddsOne)
{
    Graph g;
    EXPECT_EQ(g.revision(), quint64(0));
    g.addNode(QStringLiteral("a"), 2, 2, Graph::kRootNodeRef);
    EXPECT_EQ(g.revision(), quint64(1));
    g.addNode(QStringLiteral("b"), 0, 0, Graph::kRootNodeRef);
    EXPECT_EQ(g.revision(), quint64(2));
}

TEST(GraphRevisionStart, TwoGraphsCountIndependently)
{
    Graph g;
    Graph h;
    g.addNode(QStringLiteral("a"), 0, 0, Graph::kRootNodeRef);
    EXPECT_EQ(g.revision(), quint64(1));
    EXPECT_EQ(h.revision(), quint64(0));
}

TEST(GraphRevisionStart, ConstQueriesLeaveTheRevisionAsItWas)
{
    Fixture f;
    const Graph& g = f.g;
    const quint64 before = g.revision();
    ZrnTest::MessageCapture capture;
    g.numNodesGlobal();
    g.getNodeGlobal(3);
    g.numEdgesGlobal();
    g.getEdgeGlobal(3);
    g.numNodes(f.a);
    g.getNode(0, f.a);
    g.findNode(QStringLiteral("c"), f.a);
    g.indexOfNode(f.c);
    g.parentNode(f.c);
    g.contains(f.a, f.c);
    g.nodeName(f.a);
    g.nodeValue(f.a);
    g.isValidNode(f.a);
    g.numInputs(f.a);
    g.numOutputs(f.a);
    g.numInputGroups(f.a);
    g.numOutputGroups(f.a);
    g.findInput(f.a, QStringLiteral("x"));
    g.findOutput(f.a, QStringLiteral("r"));
    g.findInputGroup(f.a, QStringLiteral("ig"));
    g.findOutputGroup(f.a, QStringLiteral("og"));
    g.inputName(f.a, 0);
    g.outputName(f.a, 0);
    g.inputGroup(f.a, 0);
    g.outputGroup(f.a, 0);
    g.inputGroupName(f.a, 0);
    g.outputGroupName(f.a, 0);
    g.isValidInput(f.a, 0);
    g.isValidOutput(f.a, 0);
    g.isValidInputGroup(f.a, 0);
    g.isValidOutputGroup(f.a, 0);
    g.edgeSourceNode(0);
    g.edgeSourceIndex(0);
    g.edgeDestNode(0);
    g.edgeDestIndex(0);
    g.isValidEdge(0);
    g.isRegularEdge(0);
    g.isDownEdge(1);
    g.isUpEdge(2);
    g.inputSource(f.b, 0);
    g.outputSource(f.a, 1);
    g.numInputDestinations(f.a, 0);
    g.numOutputDestinations(f.a, 0);
    g.inputDestination(f.a, 0, 0);
    g.outputDestination(f.a, 0, 0);
    g.isValidInputDestination(f.a, 0, 0);
    g.isValidOutputDestination(f.a, 0, 0);
    EXPECT_TRUE(g.precedes(f.a, f.b, true));
    int node = f.b;
    int index = 0;
    EXPECT_TRUE(g.walkAcross(node, index));
    node = f.c;
    index = 0;
    EXPECT_TRUE(g.walkUp(node, index));
    node = f.a;
    index = 1;
    EXPECT_TRUE(g.walkDown(node, index));
    node = f.b;
    index = 0;
    EXPECT_TRUE(g.walkToSourceNode(node, index));
    EXPECT_EQ(g.revision(), before);
    EXPECT_TRUE(capture.critical.isEmpty());
}

} // namespace
