// removeNodes() must leave a graph exactly as the same removeNode() calls
// one by one leave it, revision included: erasing the nodes from their
// parents' lists in one pass per list must never show.

#include "GraphCompare.h"
#include "GraphSnapshot.h"

#include <ZrnCore/Graph.h>

#include <gtest/gtest.h>

#include <QtCore/QVector>

#include <random>

namespace {

using Morvane::Zrn::Graph;

void removeOneByOne(Graph& g, const QVector<int>& nodes)
{
    for (int node : nodes)
        g.removeNode(node);
}

// removeNodes(nodes) on `g`, the single calls on `twin`, which must have
// been made the same way: the two then answer everything alike.
void removeBothWays(Graph& g, Graph& twin, const QVector<int>& nodes)
{
    g.removeNodes(nodes);
    removeOneByOne(twin, nodes);
    EXPECT_EQ(g.revision(), twin.revision());
    ZrnTest::expectSameAnswers(g, twin);
}

std::vector<int> childrenOf(const Graph& g, int parent)
{
    std::vector<int> children;
    for (int k = 0; k < g.numNodes(parent); ++k)
        children.push_back(g.getNode(k, parent));
    return children;
}

// root(0) with children a(1) .. f(6); g(7) and h(8) under c(3).
// Edges: a -> b, b -> c, c => g (down), h => c (up), c -> d, e -> f.
struct Tree
{
    Graph g;
    Tree()
    {
        for (int k = 0; k < 6; ++k)
            g.addNode(QStringLiteral("n%1").arg(k), 1, 1, Graph::kRootNodeRef);
        g.addNode(QStringLiteral("g"), 1, 1, 3);
        g.addNode(QStringLiteral("h"), 1, 1, 3);
        EXPECT_EQ(g.addEdge(1, 0, 2, 0), 0);
        EXPECT_EQ(g.addEdge(2, 0, 3, 0), 1);
        EXPECT_EQ(g.addDownEdge(0, 7, 0), 2);
        EXPECT_EQ(g.addUpEdge(0, 8, 0), 3);
        EXPECT_EQ(g.addEdge(3, 0, 4, 0), 4);
        EXPECT_EQ(g.addEdge(5, 0, 6, 0), 5);
    }
};

TEST(GraphRemoveNodes, RemovesEachInTurnAndErasesThemFromTheirLists)
{
    Tree t;
    Tree twin;
    Graph& g = t.g;
    const quint64 before = g.revision();
    // 2 and 5 are siblings; 8 is a child of 3, removed with it; 42 and -1
    // name no node; 2 comes twice.
    removeBothWays(g, twin.g, {2, 8, 5, 42, 3, -1, 2});

    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{1, 4, 6}));
    for (int n : {2, 3, 5, 7, 8})
        EXPECT_FALSE(g.isValidNode(n)) << n;
    for (int n : {0, 1, 4, 6})
        EXPECT_TRUE(g.isValidNode(n)) << n;
    for (int e = 0; e < 6; ++e)
        EXPECT_FALSE(g.isValidEdge(e)) << e;
    EXPECT_GT(g.revision(), before);
    EXPECT_EQ(ZrnTest::snapshot(g), ZrnTest::snapshot(twin.g));
}

TEST(GraphRemoveNodes, EmptyListAndListOfNothingValidChangeNothing)
{
    Tree t;
    const std::vector<int> before = ZrnTest::snapshot(t.g);
    const quint64 revision = t.g.revision();
    t.g.removeNodes({});
    t.g.removeNodes({-5, 9, 100});
    EXPECT_EQ(ZrnTest::snapshot(t.g), before);
    EXPECT_EQ(t.g.revision(), revision);
    EXPECT_EQ(childrenOf(t.g, 0), (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

// A parent removed after its child, in one list: the child's entry goes
// with the parent's whole list, as it does one call at a time.
TEST(GraphRemoveNodes, ChildThenItsParent)
{
    Tree t;
    Tree twin;
    removeBothWays(t.g, twin.g, {7, 3});
    EXPECT_EQ(childrenOf(t.g, 0), (std::vector<int>{1, 2, 4, 5, 6}));
}

// A node that removeChildNode() left listed is no valid node: a list naming
// it passes it over, and it stays listed while a sibling goes.
TEST(GraphRemoveNodes, NodeLeftListedByRemoveChildNodeStaysListed)
{
    Tree t;
    Tree twin;
    for (Graph* g : {&t.g, &twin.g})
        g->removeChildNode(4);
    removeBothWays(t.g, twin.g, {5, 4});
    EXPECT_EQ(childrenOf(t.g, 0), (std::vector<int>{1, 2, 3, 4, 6}));
}

// After purge() the lists are rewritten by old position: the root's list
// names the root itself and holds -1 entries, and removing a node of the
// purged graph walks into the root. The list and the single calls agree.
TEST(GraphRemoveNodes, ListsRewrittenByPurge)
{
    Tree t;
    Tree twin;
    for (Graph* g : {&t.g, &twin.g}) {
        g->removeChildNode(4);
        g->removeNode(1);
        g->purge();
    }
    ASSERT_EQ(childrenOf(t.g, 0), (std::vector<int>{0, -1, 1, 2, -1}));
    removeBothWays(t.g, twin.g, {3, 2, 1});
    // Node 2 (c before the purge) lists the root as its child: removing it
    // removed the whole graph.
    EXPECT_FALSE(t.g.isValidNode(0));
}

// Random hierarchies with edges of every kind, some lists made odd by
// removeChildNode() and purge(), and random lists of nodes to remove
// (invalid references, repeats, ancestors and descendants, the root):
// removeNodes() and the single calls agree on everything, and the graphs
// go on to refuse and make the same edges.
TEST(GraphRemoveNodes, RandomListsAgreeWithSingleCalls)
{
    int removals = 0;
    for (unsigned seed = 1; seed <= 80; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 rng(seed);
        const auto below = [&rng](int n) { return int(rng() % unsigned(n)); };
        const auto build = [](Graph& g, std::mt19937 shape) {
            const auto pick = [&shape](int n) { return int(shape() % unsigned(n)); };
            const int nodes = 4 + pick(40);
            for (int k = 0; k < nodes; ++k) {
                const int parent = k < 3 || pick(3) ? Graph::kRootNodeRef : 1 + pick(k);
                g.addNode(QStringLiteral("n"), 1 + pick(3), 1 + pick(2), parent);
            }
            for (int k = 0; k < 3 * nodes; ++k) {
                switch (pick(3)) {
                case 0: g.addEdge(1 + pick(nodes), pick(2), 1 + pick(nodes), pick(3)); break;
                case 1: g.addDownEdge(pick(2), 1 + pick(nodes), pick(3)); break;
                default: g.addUpEdge(pick(2), 1 + pick(nodes), pick(2)); break;
                }
            }
            if (pick(3) == 0)
                g.removeChildNode(1 + pick(nodes));
            if (pick(4) == 0) {
                g.removeNode(1 + pick(nodes));
                g.purge();
            }
        };
        Graph g;
        Graph twin;
        ZrnTest::buildTwins(g, twin, seed, build);
        const int nodes = g.numNodesGlobal();
        QVector<int> doomed;
        const int count = below(5) == 0 ? below(3) : 1 + below(nodes);
        for (int k = 0; k < count; ++k)
            doomed.append(below(12) == 0 ? below(nodes + 4) - 2 : below(nodes));
        for (int n : doomed)
            removals += g.isValidNode(n) ? 1 : 0;
        removeBothWays(g, twin, doomed);
        for (int k = 0; k < 40; ++k) {
            const int src = below(nodes);
            const int dst = below(nodes);
            const int output = below(2);
            const int input = below(3);
            EXPECT_EQ(g.addEdge(src, output, dst, input), twin.addEdge(src, output, dst, input));
        }
        QVector<int> nodeMap;
        QVector<int> twinNodeMap;
        g.purge(&nodeMap, nullptr);
        twin.purge(&twinNodeMap, nullptr);
        EXPECT_EQ(nodeMap, twinNodeMap);
        ZrnTest::expectSameAnswers(g, twin);
    }
    // Some removals in a list were passed over as already removed; most
    // were made.
    EXPECT_GT(removals, 500);
}

// Every other child of a wide parent, in one call: the list keeps the
// others in order.
TEST(GraphRemoveNodes, EveryOtherChildOfAWideParent)
{
    constexpr int kChildren = 20000;
    Graph g;
    for (int k = 0; k < kChildren; ++k)
        g.addNode(QStringLiteral("n"), 1, 1, Graph::kRootNodeRef);
    for (int k = 1; k < kChildren; ++k)
        ASSERT_EQ(g.addEdge(k, 0, k + 1, 0), k - 1);
    QVector<int> doomed;
    for (int k = 1; k <= kChildren; k += 2)
        doomed.append(k);
    g.removeNodes(doomed);
    ASSERT_EQ(g.numNodes(0), kChildren / 2);
    int misplaced = 0;
    for (int k = 0; k < kChildren / 2; ++k)
        misplaced += g.getNode(k, 0) == 2 * (k + 1) ? 0 : 1;
    EXPECT_EQ(misplaced, 0);
    int live = 0;
    for (int e = 0; e < g.numEdgesGlobal(); ++e)
        live += g.isValidEdge(e) ? 1 : 0;
    EXPECT_EQ(live, 0); // every edge had an odd node at one end
}

} // namespace
