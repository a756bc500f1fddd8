// addEdges() must leave a graph exactly as the same addEdge() calls one by
// one leave it, and return what each of them returns, in order: the reading
// ahead it does for speed must never show.

#include "GraphCompare.h"
#include "GraphSnapshot.h"

#include <ZrnCore/Graph.h>

#include <gtest/gtest.h>

#include <QtCore/QVector>

#include <random>

namespace {

using Morvane::Zrn::Graph;
using Edges = QVector<Graph::EdgeEnds>;

// addEdge() of every entry of `edges`, one call each.
QVector<int> addOneByOne(Graph& g, const Edges& edges)
{
    QVector<int> made;
    for (const Graph::EdgeEnds& e : edges)
        made.append(g.addEdge(e.srcNode, e.srcOutput, e.dstNode, e.dstInput));
    return made;
}

// Root with four children a, b, c, d (two inputs, one output each), and a
// child of d, which is no sibling of the others.
void addFiveNodes(Graph& g)
{
    for (int k = 0; k < 4; ++k)
        g.addNode(QStringLiteral("n%1").arg(k), 2, 1, Graph::kRootNodeRef);
    g.addNode(QStringLiteral("inner"), 2, 1, 4);
}

TEST(GraphAddEdges, EachEdgeGetsWhatAddEdgeGivesInOrder)
{
    Graph g;
    addFiveNodes(g);
    const Edges edges{
        {1, 0, 2, 0},       // made: 0
        {2, 0, 3, 0},       // made: 1
        {3, 0, 1, 0},       // closes 1 -> 2 -> 3 -> 1: refused
        {1, 0, 2, 0},       // input already fed: refused
        {-1, 0, 2, 1},      // no such node: refused
        {1, 0, 1 << 30, 0}, // no such node: refused
        {1, 5, 2, 1},       // no such output: refused
        {1, 0, 5, 0},       // not siblings: refused
        {2, 0, 2, 1},       // a node feeding itself: refused
        {1, 0, 3, 1},       // made: 2
        {4, 0, 1, 1},       // made: 3
        {3, 0, 4, 0},       // closes 4 -> 1 -> 2 -> 3 -> 4: refused
    };
    const QVector<int> expected{0, 1, -1, -1, -1, -1, -1, -1, -1, 2, 3, -1};
    EXPECT_EQ(g.addEdges(edges), expected);
    EXPECT_EQ(g.numEdgesGlobal(), 4);

    Graph twin;
    addFiveNodes(twin);
    EXPECT_EQ(addOneByOne(twin, edges), expected);
    EXPECT_EQ(ZrnTest::snapshot(g), ZrnTest::snapshot(twin));
    EXPECT_EQ(g.revision(), twin.revision());
    ZrnTest::expectSameAnswers(g, twin);
}

TEST(GraphAddEdges, EmptyListChangesNothing)
{
    Graph g;
    addFiveNodes(g);
    const quint64 before = g.revision();
    const std::vector<int> shape = ZrnTest::snapshot(g);
    EXPECT_TRUE(g.addEdges(Edges()).isEmpty());
    EXPECT_EQ(g.revision(), before);
    EXPECT_EQ(ZrnTest::snapshot(g), shape);
}

TEST(GraphAddEdges, ListOfOnlyRefusedEdgesChangesNothing)
{
    Graph g;
    addFiveNodes(g);
    const quint64 before = g.revision();
    const Edges edges{{-7, 0, 1, 0}, {1, 0, -1, 0}, {1, 0, 5, 0}, {1, -1, 2, 0}, {1, 0, 2, 2}};
    EXPECT_EQ(g.addEdges(edges), QVector<int>(5, Graph::kInvalidEdgeRef));
    EXPECT_EQ(g.revision(), before);
    EXPECT_EQ(g.numEdgesGlobal(), 0);
}

// Random hierarchies with down and up edges already in place, and random
// lists of edges, many refused (wrong references, non-siblings, fed inputs,
// loops), of lengths below and well above the distance read ahead.
TEST(GraphAddEdges, RandomListsAgreeWithSingleCalls)
{
    int madeEdges = 0;
    int refusedEdges = 0;
    for (unsigned seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 rng(seed);
        const auto below = [&rng](int n) { return int(rng() % unsigned(n)); };
        const auto build = [&](Graph& g, std::mt19937 shape) {
            const auto pick = [&shape](int n) { return int(shape() % unsigned(n)); };
            const int nodes = 4 + pick(20);
            for (int k = 0; k < nodes; ++k) {
                const int parent = k < 3 || pick(3) ? Graph::kRootNodeRef : 1 + pick(k);
                g.addNode(QStringLiteral("n"), 1 + pick(3), 1 + pick(2), parent);
            }
            for (int k = 0; k < nodes; ++k) {
                g.addDownEdge(0, 1 + pick(nodes), 0);
                g.addUpEdge(0, 1 + pick(nodes), 0);
            }
        };
        Graph g;
        Graph twin;
        ZrnTest::buildTwins(g, twin, seed, build);
        const int nodes = g.numNodesGlobal();
        Edges edges;
        const int count = below(4) == 0 ? below(8) : 8 + below(120);
        for (int k = 0; k < count; ++k) {
            const int src = below(10) == 0 ? below(nodes + 4) - 2 : below(nodes);
            const int dst = below(10) == 0 ? below(nodes + 4) - 2 : below(nodes);
            edges.append({src, below(3), dst, below(4)});
        }
        const QVector<int> made = g.addEdges(edges);
        for (int id : made)
            ++(id == Graph::kInvalidEdgeRef ? refusedEdges : madeEdges);
        EXPECT_EQ(made, addOneByOne(twin, edges));
        EXPECT_EQ(g.revision(), twin.revision());
        ZrnTest::expectSameAnswers(g, twin);
    }
    // Both outcomes came up often, so both were compared.
    EXPECT_GT(madeEdges, 200);
    EXPECT_GT(refusedEdges, 200);
}

} // namespace
