// compact(): drops removed nodes and edges and renumbers the rest with the
// hierarchy kept right, beside purge(), which keeps its own renumbering.

#include "TestSupport.h"

#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphvizDump.h>

#include <gtest/gtest.h>

#include <QtCore/QString>
#include <QtCore/QVector>

#include <ostream>

using Morvane::Zrn::Graph;

namespace {

// root(0)
//  +- a(1) out "o"               e0: a.o -> b.i    e1: a.o -> c.i
//  +- b(2) in "i"                e2: c.i => d.i (down)
//  +- c(3) in "i"; out "o"       e3: d.o => c.o (up)
//      +- d(4) in "i"; out "o"
struct Tree
{
    Graph g;
    int a = g.addNode(QStringLiteral("a"), 0, 1, Graph::kRootNodeRef);
    int b = g.addNode(QStringLiteral("b"), 1, 0, Graph::kRootNodeRef);
    int c = g.addNode(QStringLiteral("c"), 1, 1, Graph::kRootNodeRef);
    int d = g.addNode(QStringLiteral("d"), 1, 1, c);
    Tree()
    {
        EXPECT_EQ(g.addEdge(a, 0, b, 0), 0);
        EXPECT_EQ(g.addEdge(a, 0, c, 0), 1);
        EXPECT_EQ(g.addDownEdge(0, d, 0), 2);
        EXPECT_EQ(g.addUpEdge(0, d, 0), 3);
    }
};

TEST(GraphCompact, DropsARemovedNodeAndRenumbersChildrenParentsAndEdges)
{
    Tree t;
    t.g.removeNode(t.b); // takes e0 with it
    QVector<int> nodeMap;
    QVector<int> edgeMap;
    t.g.compact(&nodeMap, &edgeMap);

    EXPECT_EQ(nodeMap, (QVector<int>{0, 1, -1, 2, 3}));
    EXPECT_EQ(edgeMap, (QVector<int>{-1, 0, 1, 2}));
    ASSERT_EQ(t.g.numNodesGlobal(), 4);
    ASSERT_EQ(t.g.numEdgesGlobal(), 3);
    EXPECT_EQ(t.g.nodeName(1), QStringLiteral("a"));
    EXPECT_EQ(t.g.nodeName(2), QStringLiteral("c"));
    EXPECT_EQ(t.g.nodeName(3), QStringLiteral("d"));
    EXPECT_EQ(t.g.numNodes(0), 2);
    EXPECT_EQ(t.g.getNode(0, 0), 1);
    EXPECT_EQ(t.g.getNode(1, 0), 2);
    EXPECT_EQ(t.g.numNodes(2), 1);
    EXPECT_EQ(t.g.getNode(0, 2), 3);
    EXPECT_EQ(t.g.parentNode(1), 0);
    EXPECT_EQ(t.g.parentNode(2), 0);
    EXPECT_EQ(t.g.parentNode(3), 2);
    EXPECT_EQ(t.g.parentNode(0), -1);
    EXPECT_EQ(t.g.indexOfNode(3), 0);
    EXPECT_TRUE(t.g.contains(2, 3));

    // e1, now 0: a.o -> c.i
    EXPECT_TRUE(t.g.isRegularEdge(0));
    EXPECT_EQ(t.g.edgeSourceNode(0), 1);
    EXPECT_EQ(t.g.edgeDestNode(0), 2);
    EXPECT_EQ(t.g.numOutputDestinations(1, 0), 1);
    EXPECT_EQ(t.g.outputDestination(1, 0, 0), 0);
    EXPECT_EQ(t.g.inputSource(2, 0), 0);
    // e2, now 1: c.i => d.i
    EXPECT_TRUE(t.g.isDownEdge(1));
    EXPECT_EQ(t.g.edgeSourceNode(1), 2);
    EXPECT_EQ(t.g.edgeDestNode(1), 3);
    EXPECT_EQ(t.g.inputDestination(2, 0, 0), 1);
    EXPECT_EQ(t.g.inputSource(3, 0), 1);
    // e3, now 2: d.o => c.o
    EXPECT_TRUE(t.g.isUpEdge(2));
    EXPECT_EQ(t.g.outputSource(2, 0), 2);
    EXPECT_EQ(t.g.outputDestination(3, 0, 0), 2);

    // The walks follow the renumbered hierarchy.
    int node = 3;
    int index = 0;
    EXPECT_TRUE(t.g.walkToSourceNode(node, index));
    EXPECT_EQ(node, 1);
    EXPECT_EQ(index, 0);
    node = 2;
    index = 0;
    EXPECT_TRUE(t.g.walkDown(node, index));
    EXPECT_EQ(node, 3);
}

TEST(GraphCompact, KeepsTheParentsThatPurgeLeavesStale)
{
    // The same edit, purged: purge() leaves d's parent field at c's old slot
    // and rewrites c's children list by position. compact() does neither.
    Tree purged;
    purged.g.removeNode(purged.b);
    purged.g.purge();
    EXPECT_EQ(purged.g.parentNode(3), 3);
    EXPECT_EQ(purged.g.getNode(0, 2), 0);

    Tree compacted;
    compacted.g.removeNode(compacted.b);
    compacted.g.compact();
    EXPECT_EQ(compacted.g.parentNode(3), 2);
    EXPECT_EQ(compacted.g.getNode(0, 2), 3);
}

TEST(GraphCompact, NodeLeftListedByRemoveChildNodeLeavesItsParentsList)
{
    Tree t;
    t.g.removeChildNode(t.c); // c and d go, c stays listed under the root
    ASSERT_EQ(t.g.numNodes(0), 3);
    QVector<int> nodeMap;
    t.g.compact(&nodeMap, nullptr);
    EXPECT_EQ(nodeMap, (QVector<int>{0, 1, 2, -1, -1}));
    EXPECT_EQ(t.g.numNodesGlobal(), 3);
    EXPECT_EQ(t.g.numNodes(0), 2);
    EXPECT_EQ(t.g.getNode(0, 0), 1);
    EXPECT_EQ(t.g.getNode(1, 0), 2);
    // Only e0 (a.o -> b.i) survives.
    ASSERT_EQ(t.g.numEdgesGlobal(), 1);
    EXPECT_EQ(t.g.numOutputDestinations(1, 0), 1);
    EXPECT_EQ(t.g.outputDestination(1, 0, 0), 0);
    EXPECT_EQ(t.g.inputSource(2, 0), 0);
}

TEST(GraphCompact, GraphWithNothingRemovedKeepsEveryReferenceAndList)
{
    Tree t;
    const QString before = Morvane::Zrn::graphvizText(&t.g);
    QVector<int> nodeMap;
    QVector<int> edgeMap;
    t.g.compact(&nodeMap, &edgeMap);
    EXPECT_EQ(nodeMap, (QVector<int>{0, 1, 2, 3, 4}));
    EXPECT_EQ(edgeMap, (QVector<int>{0, 1, 2, 3}));
    EXPECT_EQ(t.g.numNodes(0), 3);
    EXPECT_EQ(t.g.getNode(2, 0), 3);
    EXPECT_EQ(t.g.getNode(0, 3), 4); // purge() would write 0 here
    EXPECT_EQ(t.g.parentNode(4), 3);
    EXPECT_EQ(t.g.outputDestination(1, 0, 1), 1);
    EXPECT_EQ(Morvane::Zrn::graphvizText(&t.g), before);
}

TEST(GraphCompact, RemovedEdgeLeavesAndLaterEdgesMoveDown)
{
    Tree t;
    t.g.removeEdge(1); // a.o -> c.i
    t.g.compact();
    ASSERT_EQ(t.g.numEdgesGlobal(), 3);
    EXPECT_EQ(t.g.numOutputDestinations(1, 0), 1);
    EXPECT_EQ(t.g.outputDestination(1, 0, 0), 0);
    EXPECT_EQ(t.g.inputSource(3, 0), -1);
    EXPECT_EQ(t.g.inputDestination(3, 0, 0), 1);
    EXPECT_EQ(t.g.inputSource(4, 0), 1);
    EXPECT_EQ(t.g.outputSource(3, 0), 2);
    // A new edge takes the next reference after the compacted ones.
    EXPECT_EQ(t.g.addEdge(1, 0, 3, 0), 3);
}

TEST(GraphCompact, AdvancesTheRevision)
{
    Tree t;
    const quint64 before = t.g.revision();
    t.g.compact();
    EXPECT_GT(t.g.revision(), before);
}

TEST(GraphCompact, RemovingTheRootLeavesAnEmptyGraph)
{
    Tree t;
    t.g.removeNode(Graph::kRootNodeRef);
    QVector<int> nodeMap;
    QVector<int> edgeMap;
    t.g.compact(&nodeMap, &edgeMap);
    EXPECT_EQ(nodeMap, (QVector<int>{-1, -1, -1, -1, -1}));
    EXPECT_EQ(edgeMap, (QVector<int>{-1, -1, -1, -1}));
    EXPECT_EQ(t.g.numNodesGlobal(), 0);
    EXPECT_EQ(t.g.numEdgesGlobal(), 0);
    EXPECT_FALSE(t.g.isValidNode(Graph::kRootNodeRef));
}

} // namespace
