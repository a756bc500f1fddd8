// The breadth-first input walker, the bottom-up input walker and the
// bottom-up subgraph walker.

#include "TestSupport.h"

#include <ZrnCore/Graph.h>
#include <ZrnCore/Walkers.h>

#include <gtest/gtest.h>

#include <QtCore/QString>

#include <vector>

using Morvane::Zrn::BottomUpInputWalker;
using Morvane::Zrn::BottomUpSubgraphWalker;
using Morvane::Zrn::BreadthFirstInputWalker;
using Morvane::Zrn::Graph;

namespace {

// Node names; `s` names fixture members here.
constexpr auto name = &ZrnTest::s;

// Everything a walker yields with the plain loop.
template <typename Walker>
std::vector<int> walkAll(Walker&& w)
{
    std::vector<int> order;
    for (; w.valid(); w.next())
        order.push_back(w.node());
    return order;
}

std::vector<int> breadthFirst(const Graph& g, int node, bool followSources)
{
    return walkAll(BreadthFirstInputWalker(g, node, followSources));
}

std::vector<int> bottomUp(const Graph& g, int node, bool followSources)
{
    return walkAll(BottomUpInputWalker(g, node, followSources));
}

std::vector<int> subgraph(const Graph& g, int node)
{
    return walkAll(BottomUpSubgraphWalker(g, node));
}

using Order = std::vector<int>;

// A <- B (input 0), A <- C (input 1), B <- D, C <- D.
struct Diamond
{
    Graph g;
    int a, b, c, d;

    Diamond()
    {
        a = g.addNode(name("A"), 2, 0, 0);
        b = g.addNode(name("B"), 1, 1, 0);
        c = g.addNode(name("C"), 1, 1, 0);
        d = g.addNode(name("D"), 0, 1, 0);
        EXPECT_EQ(g.addEdge(b, 0, a, 0), 0);
        EXPECT_EQ(g.addEdge(c, 0, a, 1), 1);
        EXPECT_EQ(g.addEdge(d, 0, b, 0), 2);
        EXPECT_EQ(g.addEdge(d, 0, c, 0), 3);
    }
};

// Both inputs of dst come from src, one from each of its outputs.
struct SharedSource
{
    Graph g;
    int src = g.addNode(name("src"), 0, 2, 0);
    int dst = g.addNode(name("dst"), 2, 0, 0);
    SharedSource()
    {
        EXPECT_EQ(g.addEdge(src, 0, dst, 0), 0);
        EXPECT_EQ(g.addEdge(src, 1, dst, 1), 1);
    }
};

// Top level: P (1), S (2), C (3), T (4). Inside P: P1 (5), whose output
// leaves P through an up edge. Inside C: K (6), whose two inputs come down
// from C's two inputs.
//
//   P1 -up-> P.out0 ---> C.in0 -down-> K.in0
//   T.out0 -> S.in0, S.out0 -> C.in1 -down-> K.in1
struct Nested
{
    Graph g;
    int p, s, c, t, p1, k;

    Nested()
    {
        p = g.addNode(name("P"), 0, 1, 0);
        s = g.addNode(name("S"), 1, 1, 0);
        c = g.addNode(name("C"), 2, 0, 0);
        t = g.addNode(name("T"), 0, 1, 0);
        p1 = g.addNode(name("P1"), 0, 1, p);
        k = g.addNode(name("K"), 2, 0, c);
        EXPECT_NE(g.addUpEdge(0, p1, 0), -1);
        EXPECT_NE(g.addEdge(t, 0, s, 0), -1);
        EXPECT_NE(g.addEdge(p, 0, c, 0), -1);
        EXPECT_NE(g.addEdge(s, 0, c, 1), -1);
        EXPECT_NE(g.addDownEdge(0, k, 0), -1);
        EXPECT_NE(g.addDownEdge(1, k, 1), -1);
    }
};

// ---------------------------------------------------------------- breadth first

TEST(BreadthFirstInputWalker, NodeWithoutInputsIsYieldedAlone)
{
    Diamond f;
    EXPECT_EQ(breadthFirst(f.g, f.d, false), (Order{f.d}));
    EXPECT_EQ(breadthFirst(f.g, f.d, true), (Order{f.d}));
}

TEST(BreadthFirstInputWalker, DiamondComesLevelByLevel)
{
    Diamond f;
    EXPECT_EQ(breadthFirst(f.g, f.a, false), (Order{f.a, f.b, f.c, f.d}));
    EXPECT_EQ(breadthFirst(f.g, f.a, true), (Order{f.a, f.b, f.c, f.d}));
    EXPECT_EQ(breadthFirst(f.g, f.b, false), (Order{f.b, f.d}));
}

TEST(BreadthFirstInputWalker, TwoInputsFedByTheSameNodeYieldItOnce)
{
    SharedSource f;
    EXPECT_EQ(breadthFirst(f.g, f.dst, false), (Order{f.dst, f.src}));
    EXPECT_EQ(breadthFirst(f.g, f.dst, true), (Order{f.dst, f.src}));
}

TEST(BreadthFirstInputWalker, FollowingSourcesReachesProducersInsideCompositeNodes)
{
    Nested f;
    EXPECT_EQ(breadthFirst(f.g, f.k, false), (Order{f.k}));
    EXPECT_EQ(breadthFirst(f.g, f.k, true), (Order{f.k, f.p1, f.s, f.t}));
    EXPECT_EQ(breadthFirst(f.g, f.c, false), (Order{f.c, f.p, f.s, f.t}));
    EXPECT_EQ(breadthFirst(f.g, f.c, true), (Order{f.c, f.p1, f.s, f.t}));
}

TEST(BreadthFirstInputWalker, InvalidNodeRefGivesAnEmptyWalk)
{
    Diamond f;
    BreadthFirstInputWalker w(f.g, Graph::kInvalidNodeRef, true);
    EXPECT_FALSE(w.valid());
    EXPECT_EQ(w.node(), Graph::kInvalidNodeRef);
    w.next(); // does nothing
    EXPECT_FALSE(w.valid());
}

TEST(BreadthFirstInputWalker, ReferenceOutsideTheNodeTableGivesAnEmptyWalk)
{
    Diamond f;
    EXPECT_TRUE(breadthFirst(f.g, f.g.numNodesGlobal(), false).empty());
    EXPECT_TRUE(breadthFirst(f.g, -5, true).empty());
}

TEST(BreadthFirstInputWalker, RemovedStartNodeIsYieldedAlone)
{
    Diamond f;
    f.g.removeNode(f.b);
    EXPECT_EQ(breadthFirst(f.g, f.b, true), (Order{f.b}));
    // The rest of the diamond lost the edges at B's ports.
    EXPECT_EQ(breadthFirst(f.g, f.a, false), (Order{f.a, f.c, f.d}));
}

TEST(BreadthFirstInputWalker, NodeIsCurrentUntilNextIsCalled)
{
    Diamond f;
    BreadthFirstInputWalker w(f.g, f.a, false);
    ASSERT_TRUE(w.valid());
    EXPECT_EQ(w.node(), f.a);
    EXPECT_EQ(w.node(), f.a);
    w.next();
    EXPECT_EQ(w.node(), f.b);
}

// ---------------------------------------------------------------- bottom up, inputs

TEST(BottomUpInputWalker, NodeWithoutInputsIsYieldedAlone)
{
    Diamond f;
    EXPECT_EQ(bottomUp(f.g, f.d, false), (Order{f.d}));
    EXPECT_EQ(bottomUp(f.g, f.d, true), (Order{f.d}));
}

TEST(BottomUpInputWalker, DiamondComesUpstreamFirst)
{
    Diamond f;
    EXPECT_EQ(bottomUp(f.g, f.a, false), (Order{f.d, f.b, f.c, f.a}));
    EXPECT_EQ(bottomUp(f.g, f.a, true), (Order{f.d, f.b, f.c, f.a}));
    EXPECT_EQ(bottomUp(f.g, f.c, true), (Order{f.d, f.c}));
}

TEST(BottomUpInputWalker, TwoInputsFedByTheSameNodeYieldItOnce)
{
    SharedSource f;
    EXPECT_EQ(bottomUp(f.g, f.dst, false), (Order{f.src, f.dst}));
    EXPECT_EQ(bottomUp(f.g, f.dst, true), (Order{f.src, f.dst}));
}

TEST(BottomUpInputWalker, FollowingSourcesReachesProducersInsideCompositeNodes)
{
    Nested f;
    EXPECT_EQ(bottomUp(f.g, f.k, false), (Order{f.k}));
    EXPECT_EQ(bottomUp(f.g, f.k, true), (Order{f.p1, f.t, f.s, f.k}));
    EXPECT_EQ(bottomUp(f.g, f.c, false), (Order{f.p, f.t, f.s, f.c}));
    EXPECT_EQ(bottomUp(f.g, f.c, true), (Order{f.p1, f.t, f.s, f.c}));
}

TEST(BottomUpInputWalker, SourcesWithReferencesBeyondTheRootsChildCountAreVisitedOnce)
{
    // The root has two children, A (1) and G (2); the producer G2 (4) and its
    // own source G1 (3) sit inside G. G2 feeds both of A's inputs.
    Graph g;
    const int a = g.addNode(name("A"), 2, 0, 0);
    const int gr = g.addNode(name("G"), 0, 2, 0);
    const int g1 = g.addNode(name("G1"), 0, 1, gr);
    const int g2 = g.addNode(name("G2"), 1, 2, gr);
    ASSERT_NE(g.addEdge(g1, 0, g2, 0), -1);
    ASSERT_NE(g.addUpEdge(0, g2, 0), -1);
    ASSERT_NE(g.addUpEdge(1, g2, 1), -1);
    ASSERT_NE(g.addEdge(gr, 0, a, 0), -1);
    ASSERT_NE(g.addEdge(gr, 1, a, 1), -1);
    ASSERT_EQ(g.numNodes(Graph::kRootNodeRef), 2);

    EXPECT_EQ(bottomUp(g, a, true), (Order{g1, g2, a}));
    EXPECT_EQ(bottomUp(g, a, false), (Order{gr, a}));
    EXPECT_EQ(breadthFirst(g, a, true), (Order{a, g2, g1}));
    EXPECT_EQ(breadthFirst(g, a, false), (Order{a, gr}));
}

TEST(BottomUpInputWalker, StartNodeIsNotMarkedVisitedSoALoopThroughTheHierarchyYieldsItTwice)
{
    // X's output is produced by its child Y, whose input comes down from X's
    // input; X feeds S and S feeds X. The cycle test accepts the last edge
    // because it never compares X itself.
    Graph g;
    const int x = g.addNode(name("X"), 1, 1, 0);
    const int s = g.addNode(name("S"), 1, 1, 0);
    const int y = g.addNode(name("Y"), 1, 1, x);
    ASSERT_NE(g.addUpEdge(0, y, 0), -1);
    ASSERT_NE(g.addDownEdge(0, y, 0), -1);
    ASSERT_NE(g.addEdge(x, 0, s, 0), -1);
    ASSERT_NE(g.addEdge(s, 0, x, 0), -1);

    EXPECT_EQ(bottomUp(g, s, true), (Order{s, y, s}));
    EXPECT_EQ(breadthFirst(g, s, true), (Order{s, y}));
}

TEST(BottomUpInputWalker, UntracedInputDoesNotDisturbTheNextOne)
{
    // K's first input comes down from C's first input, which nothing feeds:
    // the step climbs and fails. The second input starts afresh from K.
    Graph g;
    const int src = g.addNode(name("src"), 0, 1, 0);
    const int c = g.addNode(name("C"), 2, 0, 0);
    const int k = g.addNode(name("K"), 2, 0, c);
    ASSERT_NE(g.addDownEdge(0, k, 0), -1);
    ASSERT_NE(g.addDownEdge(1, k, 1), -1);
    ASSERT_NE(g.addEdge(src, 0, c, 1), -1);

    EXPECT_EQ(bottomUp(g, k, true), (Order{src, k}));
    EXPECT_EQ(breadthFirst(g, k, true), (Order{k, src}));
    EXPECT_EQ(bottomUp(g, k, false), (Order{k}));
}

TEST(BottomUpInputWalker, InvalidNodeRefGivesAnEmptyWalk)
{
    Diamond f;
    BottomUpInputWalker w(f.g, Graph::kInvalidNodeRef, false);
    EXPECT_FALSE(w.valid());
    EXPECT_EQ(w.node(), Graph::kInvalidNodeRef);
    w.next();
    w.moveNext();
    w.pop(); // all three do nothing on an empty walker
    EXPECT_FALSE(w.valid());
    EXPECT_TRUE(bottomUp(f.g, f.g.numNodesGlobal(), true).empty());
}

TEST(BottomUpInputWalker, MoveNextAndPopDoTheTwoHalvesOfNext)
{
    Diamond f;
    BottomUpInputWalker w(f.g, f.a, false);
    // Stack after construction: A (tried input 0), B (done), D (done).
    ASSERT_TRUE(w.valid());
    EXPECT_EQ(w.node(), f.d);

    w.moveNext(); // D has tried all its inputs: nothing happens
    EXPECT_EQ(w.node(), f.d);

    w.pop();
    EXPECT_EQ(w.node(), f.b);
    w.moveNext(); // B is done too
    EXPECT_EQ(w.node(), f.b);

    w.pop();
    EXPECT_EQ(w.node(), f.a); // A still has input 1 to try
    w.moveNext();
    EXPECT_EQ(w.node(), f.c); // C's only source, D, was visited already

    w.next();
    EXPECT_EQ(w.node(), f.a);
    w.next();
    EXPECT_FALSE(w.valid());
    EXPECT_EQ(w.node(), Graph::kInvalidNodeRef);
}

TEST(BottomUpInputWalker, NextOnAnUnfinishedTopDescendsWithoutPopping)
{
    Diamond f;
    BottomUpInputWalker w(f.g, f.a, true);
    w.pop(); // D
    w.pop(); // B
    ASSERT_EQ(w.node(), f.a);

    w.next(); // A has not tried input 1: next() only descends
    EXPECT_EQ(w.node(), f.c);
    w.next();
    EXPECT_EQ(w.node(), f.a);
    w.next();
    EXPECT_FALSE(w.valid());
}

TEST(BottomUpInputWalker, PoppingEveryFrameEndsTheWalk)
{
    Diamond f;
    BottomUpInputWalker w(f.g, f.a, false);
    w.pop();
    w.pop();
    w.pop();
    EXPECT_FALSE(w.valid());
    w.pop(); // empty: ignored
    w.next();
    EXPECT_FALSE(w.valid());
}

TEST(BottomUpInputWalker, ChainOfAHundredThousandNodesComesInChainOrder)
{
    constexpr int kLength = 100000;
    Graph g;
    std::vector<int> chain;
    for (int i = 0; i < kLength; ++i)
        chain.push_back(g.addNode(name("n"), 1, 1, 0));
    // From the far end, so that each cycle test finds nothing upstream.
    for (int i = kLength - 2; i >= 0; --i)
        ASSERT_NE(g.addEdge(chain[size_t(i)], 0, chain[size_t(i) + 1], 0), -1);

    EXPECT_EQ(bottomUp(g, chain.back(), false), chain);
    const std::vector<int> reversed(chain.rbegin(), chain.rend());
    EXPECT_EQ(breadthFirst(g, chain.back(), true), reversed);
}

// ---------------------------------------------------------------- bottom up, subtree

// Root with children X (with child Y) and Z.
struct Tree
{
    Graph g;
    int x, y, z;

    Tree()
    {
        x = g.addNode(name("X"), 0, 0, 0);
        z = g.addNode(name("Z"), 0, 0, 0);
        y = g.addNode(name("Y"), 0, 0, x);
    }
};

TEST(BottomUpSubgraphWalker, LeafIsYieldedAlone)
{
    Tree f;
    EXPECT_EQ(subgraph(f.g, f.y), (Order{f.y}));
    EXPECT_EQ(subgraph(f.g, f.z), (Order{f.z}));
}

TEST(BottomUpSubgraphWalker, ChildrenComeBeforeTheirParentDeepestFirst)
{
    Tree f;
    EXPECT_EQ(subgraph(f.g, 0), (Order{f.y, f.x, f.z, 0}));
    EXPECT_EQ(subgraph(f.g, f.x), (Order{f.y, f.x}));
}

TEST(BottomUpSubgraphWalker, InvalidNodeGivesAnEmptyWalk)
{
    Tree f;
    EXPECT_TRUE(subgraph(f.g, -1).empty());
    EXPECT_TRUE(subgraph(f.g, f.g.numNodesGlobal()).empty());
    f.g.removeNode(f.z);
    EXPECT_TRUE(subgraph(f.g, f.z).empty());
    EXPECT_EQ(subgraph(f.g, 0), (Order{f.y, f.x, 0}));
}

TEST(BottomUpSubgraphWalker, ChildRemovedButStillListedComesAsALeaf)
{
    Tree f;
    f.g.removeChildNode(f.x);
    EXPECT_EQ(subgraph(f.g, 0), (Order{f.x, f.z, 0}));
}

TEST(BottomUpSubgraphWalker, MoveNextAndPopDoTheTwoHalvesOfNext)
{
    Tree f;
    BottomUpSubgraphWalker w(f.g, 0);
    ASSERT_EQ(w.node(), f.y);
    w.moveNext(); // Y has no children
    EXPECT_EQ(w.node(), f.y);
    w.pop();
    EXPECT_EQ(w.node(), f.x);
    w.moveNext(); // X's only child was visited
    EXPECT_EQ(w.node(), f.x);
    w.pop();
    EXPECT_EQ(w.node(), 0); // the root still has Z to visit
    w.moveNext();
    EXPECT_EQ(w.node(), f.z);
    w.next();
    EXPECT_EQ(w.node(), 0);
    w.next();
    EXPECT_FALSE(w.valid());
    EXPECT_EQ(w.node(), Graph::kInvalidNodeRef);
    w.pop();
    w.moveNext();
    w.next();
    EXPECT_FALSE(w.valid());
}

TEST(BottomUpSubgraphWalker, EndsOnTheRootThatListsItselfAfterPurge)
{
    Graph g;
    g.addNode(name("a"), 0, 0, 0);
    g.addNode(name("b"), 0, 0, 0);
    g.purge(); // the root's children list is now 0, 1
    EXPECT_EQ(subgraph(g, 0), (Order{1, 0}));
}

TEST(BottomUpSubgraphWalker, HierarchyOfAHundredThousandLevelsComesDeepestFirst)
{
    constexpr int kDepth = 100000;
    Graph g;
    std::vector<int> chain{0};
    for (int level = 0; level < kDepth; ++level)
        chain.push_back(g.addNode(name("n"), 0, 0, chain.back()));
    const std::vector<int> reversed(chain.rbegin(), chain.rend());
    EXPECT_EQ(subgraph(g, 0), reversed);
}

} // namespace
