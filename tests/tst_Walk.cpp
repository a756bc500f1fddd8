// The walk primitives and precedes(), the upstream search built on them.

#include <ZrnCore/Graph.h>

#include <gtest/gtest.h>

#include <QtCore/QString>

#include <utility>

using Morvane::Zrn::Graph;

namespace {

using Port = std::pair<int, int>; // (node, index)

// ---------------------------------------------------------------- walkAcross, walkUp, walkDown

TEST(GraphWalks, RegularEdgeIsCrossedButNotClimbedOrDescended)
{
    //   A.out0 --> B.in0
    Graph g;
    const int a = g.addNode(QStringLiteral("A"), 0, 2, 0);
    const int b = g.addNode(QStringLiteral("B"), 2, 0, 0);
    ASSERT_NE(g.addEdge(a, 1, b, 0), -1);

    int node = b, index = 0;
    EXPECT_TRUE(g.walkAcross(node, index));
    EXPECT_EQ(Port(node, index), Port(a, 1));

    node = b, index = 0;
    EXPECT_FALSE(g.walkUp(node, index));
    EXPECT_EQ(Port(node, index), Port(b, 0));

    node = a, index = 1;
    EXPECT_FALSE(g.walkDown(node, index));
    EXPECT_EQ(Port(node, index), Port(a, 1));
}

TEST(GraphWalks, UnconnectedPortsGiveFalseAndStay)
{
    Graph g;
    const int n = g.addNode(QStringLiteral("n"), 1, 1, 0);
    int node = n, index = 0;
    EXPECT_FALSE(g.walkAcross(node, index));
    EXPECT_EQ(Port(node, index), Port(n, 0));
    EXPECT_FALSE(g.walkUp(node, index));
    EXPECT_EQ(Port(node, index), Port(n, 0));
    EXPECT_FALSE(g.walkToSourceNode(node, index));
    EXPECT_EQ(Port(node, index), Port(n, 0));
    EXPECT_FALSE(g.walkDown(node, index));
    EXPECT_EQ(Port(node, index), Port(n, 0));
}

TEST(GraphWalks, InputFedThroughTheParentIsClimbedButNotCrossed)
{
    //   P.in1 --down--> C.in0
    Graph g;
    const int p = g.addNode(QStringLiteral("P"), 2, 0, 0);
    const int c = g.addNode(QStringLiteral("C"), 1, 0, p);
    ASSERT_NE(g.addDownEdge(1, c, 0), -1);

    int node = c, index = 0;
    EXPECT_FALSE(g.walkAcross(node, index));
    EXPECT_EQ(Port(node, index), Port(c, 0));

    EXPECT_TRUE(g.walkUp(node, index));
    EXPECT_EQ(Port(node, index), Port(p, 1));
}

TEST(GraphWalks, WalkUpClimbsThreeNestedDownEdgesInOneCall)
{
    //   N0.in1 --down--> N1.in0 --down--> N2.in2 --down--> N3.in1
    Graph g;
    const int n0 = g.addNode(QStringLiteral("N0"), 2, 0, 0);
    const int n1 = g.addNode(QStringLiteral("N1"), 1, 0, n0);
    const int n2 = g.addNode(QStringLiteral("N2"), 3, 0, n1);
    const int n3 = g.addNode(QStringLiteral("N3"), 2, 0, n2);
    ASSERT_NE(g.addDownEdge(1, n1, 0), -1);
    ASSERT_NE(g.addDownEdge(0, n2, 2), -1);
    ASSERT_NE(g.addDownEdge(2, n3, 1), -1);

    int node = n3, index = 1;
    EXPECT_TRUE(g.walkUp(node, index));
    EXPECT_EQ(Port(node, index), Port(n0, 1));

    node = n2, index = 2; // from the middle it climbs what is left
    EXPECT_TRUE(g.walkUp(node, index));
    EXPECT_EQ(Port(node, index), Port(n0, 1));
}

TEST(GraphWalks, WalkUpStopsAtTheFirstInputNotFedByADownEdge)
{
    //   S.out0 --> N1.in0 --down--> N2.in0 --down--> N3.in0    (S, N1 siblings)
    Graph g;
    const int top = g.addNode(QStringLiteral("top"), 0, 0, 0);
    const int s = g.addNode(QStringLiteral("S"), 0, 1, top);
    const int n1 = g.addNode(QStringLiteral("N1"), 1, 0, top);
    const int n2 = g.addNode(QStringLiteral("N2"), 1, 0, n1);
    const int n3 = g.addNode(QStringLiteral("N3"), 1, 0, n2);
    ASSERT_NE(g.addEdge(s, 0, n1, 0), -1);
    ASSERT_NE(g.addDownEdge(0, n2, 0), -1);
    ASSERT_NE(g.addDownEdge(0, n3, 0), -1);

    int node = n3, index = 0;
    EXPECT_TRUE(g.walkUp(node, index));
    EXPECT_EQ(Port(node, index), Port(n1, 0));
    EXPECT_TRUE(g.walkAcross(node, index));
    EXPECT_EQ(Port(node, index), Port(s, 0));
}

TEST(GraphWalks, WalkDownEndsOnTheGrandchildOutput)
{
    //   G.out0 --up--> C.out1 --up--> P.out0
    Graph g;
    const int p = g.addNode(QStringLiteral("P"), 0, 1, 0);
    const int c = g.addNode(QStringLiteral("C"), 0, 2, p);
    const int gc = g.addNode(QStringLiteral("G"), 0, 1, c);
    ASSERT_NE(g.addUpEdge(0, c, 1), -1);
    ASSERT_NE(g.addUpEdge(1, gc, 0), -1);

    int node = p, index = 0;
    EXPECT_TRUE(g.walkDown(node, index));
    EXPECT_EQ(Port(node, index), Port(gc, 0));

    node = c, index = 0; // C's other output is not fed from inside
    EXPECT_FALSE(g.walkDown(node, index));
    EXPECT_EQ(Port(node, index), Port(c, 0));
}

TEST(GraphWalks, RemovedEdgesAreNotFollowed)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("P"), 1, 1, 0);
    const int c = g.addNode(QStringLiteral("C"), 1, 1, p);
    const int s = g.addNode(QStringLiteral("S"), 1, 0, 0);
    const int down = g.addDownEdge(0, c, 0);
    const int up = g.addUpEdge(0, c, 0);
    const int across = g.addEdge(p, 0, s, 0);
    g.removeEdge(down);
    g.removeEdge(up);
    g.removeEdge(across);

    int node = c, index = 0;
    EXPECT_FALSE(g.walkUp(node, index));
    EXPECT_EQ(Port(node, index), Port(c, 0));
    EXPECT_FALSE(g.walkToSourceNode(node, index));
    EXPECT_EQ(Port(node, index), Port(c, 0));
    node = s, index = 0;
    EXPECT_FALSE(g.walkAcross(node, index));
    EXPECT_EQ(Port(node, index), Port(s, 0));
    EXPECT_FALSE(g.walkToSourceNode(node, index));
    EXPECT_EQ(Port(node, index), Port(s, 0));
    node = p, index = 0;
    EXPECT_FALSE(g.walkDown(node, index));
    EXPECT_EQ(Port(node, index), Port(p, 0));
}

// ---------------------------------------------------------------- walkToSourceNode

TEST(GraphWalkToSource, PlainRegularEdgeEndsOnTheSiblingOutput)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("A"), 0, 3, 0);
    const int b = g.addNode(QStringLiteral("B"), 1, 0, 0);
    ASSERT_NE(g.addEdge(a, 2, b, 0), -1);
    int node = b, index = 0;
    EXPECT_TRUE(g.walkToSourceNode(node, index));
    EXPECT_EQ(Port(node, index), Port(a, 2));
}

TEST(GraphWalkToSource, ClimbsCrossesAndDescendsToTheInnermostOutput)
{
    //   root
    //   +-- S                         +-- P
    //   |   +-- T                     |   +-- C
    //   |   |   +-- U.out1 -up-> T.out0 -up-> S.out0 --> P.in1 -down-> C.in0
    Graph g;
    const int s = g.addNode(QStringLiteral("S"), 0, 1, 0);
    const int t = g.addNode(QStringLiteral("T"), 0, 1, s);
    const int u = g.addNode(QStringLiteral("U"), 0, 2, t);
    const int p = g.addNode(QStringLiteral("P"), 2, 0, 0);
    const int c = g.addNode(QStringLiteral("C"), 1, 0, p);
    ASSERT_NE(g.addUpEdge(0, u, 1), -1);
    ASSERT_NE(g.addUpEdge(0, t, 0), -1);
    ASSERT_NE(g.addEdge(s, 0, p, 1), -1);
    ASSERT_NE(g.addDownEdge(1, c, 0), -1);

    int node = c, index = 0;
    EXPECT_TRUE(g.walkToSourceNode(node, index));
    EXPECT_EQ(Port(node, index), Port(u, 1));

    node = p, index = 1; // from the sibling level it ends on the same output
    EXPECT_TRUE(g.walkToSourceNode(node, index));
    EXPECT_EQ(Port(node, index), Port(u, 1));
}

TEST(GraphWalkToSource, FalseLeavesTheArgumentsOnTheParentInput)
{
    //   P.in1 (unconnected) --down--> C.in0
    Graph g;
    const int p = g.addNode(QStringLiteral("P"), 2, 0, 0);
    const int c = g.addNode(QStringLiteral("C"), 1, 0, p);
    ASSERT_NE(g.addDownEdge(1, c, 0), -1);

    int node = c, index = 0;
    EXPECT_FALSE(g.walkToSourceNode(node, index));
    EXPECT_EQ(Port(node, index), Port(p, 1)); // what walkUp left, not (C, 0)
}

TEST(GraphWalkToSource, FalseAfterAClimbThroughSeveralLevels)
{
    Graph g;
    const int n0 = g.addNode(QStringLiteral("N0"), 1, 0, 0);
    const int n1 = g.addNode(QStringLiteral("N1"), 1, 0, n0);
    const int n2 = g.addNode(QStringLiteral("N2"), 1, 0, n1);
    ASSERT_EQ(g.addDownEdge(0, n1, 0), 0);
    ASSERT_EQ(g.addDownEdge(0, n2, 0), 1);
    int node = n2, index = 0;
    EXPECT_FALSE(g.walkToSourceNode(node, index));
    EXPECT_EQ(Port(node, index), Port(n0, 0));
}

TEST(GraphWalkToSource, WalksChangeNothingInTheGraph)
{
    Graph g;
    const int s = g.addNode(QStringLiteral("S"), 0, 1, 0);
    const int t = g.addNode(QStringLiteral("T"), 0, 1, s);
    const int p = g.addNode(QStringLiteral("P"), 1, 0, 0);
    const int c = g.addNode(QStringLiteral("C"), 1, 0, p);
    ASSERT_EQ(g.addUpEdge(0, t, 0), 0);
    ASSERT_EQ(g.addEdge(s, 0, p, 0), 1);
    ASSERT_EQ(g.addDownEdge(0, c, 0), 2);

    int node = c, index = 0;
    ASSERT_TRUE(g.walkToSourceNode(node, index));
    EXPECT_EQ(Port(node, index), Port(t, 0));
    node = c, index = 0;
    ASSERT_TRUE(g.walkUp(node, index));
    EXPECT_EQ(Port(node, index), Port(p, 0));
    ASSERT_TRUE(g.walkAcross(node, index));
    EXPECT_EQ(Port(node, index), Port(s, 0));
    ASSERT_TRUE(g.walkDown(node, index));
    EXPECT_EQ(Port(node, index), Port(t, 0));

    EXPECT_EQ(g.numNodesGlobal(), 5);
    EXPECT_EQ(g.numEdgesGlobal(), 3);
    for (int e : {0, 1, 2})
        EXPECT_TRUE(g.isValidEdge(e)) << e;
    EXPECT_EQ(g.inputSource(c, 0), 2);
    EXPECT_EQ(g.inputSource(p, 0), 1);
    EXPECT_EQ(g.numInputDestinations(p, 0), 1);
    EXPECT_EQ(g.inputDestination(p, 0, 0), 2);
    EXPECT_EQ(g.outputSource(s, 0), 0);
    EXPECT_EQ(g.numOutputDestinations(s, 0), 1);
    EXPECT_EQ(g.outputDestination(s, 0, 0), 1);
    EXPECT_EQ(g.numOutputDestinations(t, 0), 1);
    EXPECT_EQ(g.outputDestination(t, 0, 0), 0);
}

// ---------------------------------------------------------------- precedes

TEST(GraphPrecedes, ANodePrecedesItself)
{
    Graph g;
    const int x = g.addNode(QStringLiteral("x"), 1, 1, 0);
    EXPECT_TRUE(g.precedes(x, x, false));
    EXPECT_TRUE(g.precedes(x, x, true));
    EXPECT_TRUE(g.precedes(0, 0, false));
}

TEST(GraphPrecedes, UpstreamAlongAChainButNotDownstream)
{
    //   A --> B --> C      D unconnected
    Graph g;
    const int a = g.addNode(QStringLiteral("A"), 1, 1, 0);
    const int b = g.addNode(QStringLiteral("B"), 1, 1, 0);
    const int c = g.addNode(QStringLiteral("C"), 2, 1, 0);
    const int d = g.addNode(QStringLiteral("D"), 1, 1, 0);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);
    ASSERT_EQ(g.addEdge(b, 0, c, 1), 1);
    for (bool through : {false, true}) {
        EXPECT_TRUE(g.precedes(a, c, through));
        EXPECT_TRUE(g.precedes(b, c, through));
        EXPECT_TRUE(g.precedes(a, b, through));
        EXPECT_FALSE(g.precedes(c, a, through));
        EXPECT_FALSE(g.precedes(b, a, through));
        EXPECT_FALSE(g.precedes(d, c, through));
        EXPECT_FALSE(g.precedes(c, d, through));
        EXPECT_FALSE(g.precedes(-1, c, through));
    }
}

TEST(GraphPrecedes, DiamondIsSearchedThrough)
{
    //   A --> B --> D
    //   A --> C --> D.in1
    Graph g;
    const int a = g.addNode(QStringLiteral("A"), 0, 1, 0);
    const int b = g.addNode(QStringLiteral("B"), 1, 1, 0);
    const int c = g.addNode(QStringLiteral("C"), 1, 1, 0);
    const int d = g.addNode(QStringLiteral("D"), 2, 0, 0);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);
    ASSERT_EQ(g.addEdge(a, 0, c, 0), 1);
    ASSERT_EQ(g.addEdge(b, 0, d, 0), 2);
    ASSERT_EQ(g.addEdge(c, 0, d, 1), 3);
    for (bool through : {false, true}) {
        EXPECT_TRUE(g.precedes(a, d, through));
        EXPECT_TRUE(g.precedes(b, d, through));
        EXPECT_TRUE(g.precedes(c, d, through));
        EXPECT_FALSE(g.precedes(b, c, through));
        EXPECT_FALSE(g.precedes(c, b, through));
        EXPECT_FALSE(g.precedes(d, a, through));
        EXPECT_FALSE(g.precedes(d, b, through));
    }
}

TEST(GraphPrecedes, RemovedEdgeNoLongerLinks)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("A"), 0, 1, 0);
    const int b = g.addNode(QStringLiteral("B"), 1, 0, 0);
    const int e = g.addEdge(a, 0, b, 0);
    ASSERT_TRUE(g.precedes(a, b, false));
    g.removeEdge(e);
    EXPECT_FALSE(g.precedes(a, b, false));
    EXPECT_FALSE(g.precedes(a, b, true));
}

TEST(GraphPrecedes, ClimbsToTheFeederOfAnEnclosingNodeOnlyThroughTheHierarchy)
{
    //   A.out0 --> C.in1 --down--> B.in0      (A, C siblings; B inside C)
    Graph g;
    const int a = g.addNode(QStringLiteral("A"), 0, 1, 0);
    const int c = g.addNode(QStringLiteral("C"), 2, 0, 0);
    const int b = g.addNode(QStringLiteral("B"), 1, 0, c);
    ASSERT_NE(g.addEdge(a, 0, c, 1), -1);
    ASSERT_NE(g.addDownEdge(1, b, 0), -1);

    EXPECT_FALSE(g.precedes(a, b, false));
    EXPECT_TRUE(g.precedes(a, b, true));
    EXPECT_TRUE(g.precedes(a, c, false));
    EXPECT_FALSE(g.precedes(c, b, false)); // a parent is not upstream of its child
    EXPECT_FALSE(g.precedes(c, b, true));
}

TEST(GraphPrecedes, DescendsToTheInnermostProducerAndSkipsTheEnclosingNode)
{
    //   X.in0 --down--> Y.in0;  Y.out0 --up--> X.out0;  X.out0 --> S.in0
    Graph g;
    const int x = g.addNode(QStringLiteral("X"), 1, 1, 0);
    const int y = g.addNode(QStringLiteral("Y"), 1, 1, x);
    const int s = g.addNode(QStringLiteral("S"), 1, 1, 0);
    ASSERT_NE(g.addDownEdge(0, y, 0), -1);
    ASSERT_NE(g.addUpEdge(0, y, 0), -1);
    ASSERT_NE(g.addEdge(x, 0, s, 0), -1);

    EXPECT_TRUE(g.precedes(x, s, false));
    EXPECT_FALSE(g.precedes(y, s, false));
    EXPECT_TRUE(g.precedes(y, s, true));
    EXPECT_FALSE(g.precedes(x, s, true)); // X itself is never compared
}

TEST(GraphPrecedes, LoopThroughAnEnclosingNodeIsAccepted)
{
    // Same shape; S.out0 --> X.in0 closes a loop through X, but the search
    // from X reaches Y only by descending and stops at X's unconnected input.
    Graph g;
    const int x = g.addNode(QStringLiteral("X"), 1, 1, 0);
    const int y = g.addNode(QStringLiteral("Y"), 1, 1, x);
    const int s = g.addNode(QStringLiteral("S"), 1, 1, 0);
    ASSERT_EQ(g.addDownEdge(0, y, 0), 0);
    ASSERT_EQ(g.addUpEdge(0, y, 0), 1);
    ASSERT_EQ(g.addEdge(x, 0, s, 0), 2);

    EXPECT_EQ(g.addEdge(s, 0, x, 0), 3);
    EXPECT_EQ(g.inputSource(x, 0), 3);
    EXPECT_TRUE(g.precedes(s, x, false));
    EXPECT_TRUE(g.precedes(x, s, false));
}

TEST(GraphPrecedes, CycleSeenOnlyThroughTheHierarchyIsRefused)
{
    //   root
    //   +-- T            T.in0 <-- Pn.out0 <-up-- S1.out0
    //   +-- Pn           Pn.in0 <-- T.out0
    //       +-- S1
    //       +-- S2       S2.in0 <-down-- Pn.in0
    // S2.out0 --> S1.in0 would close S1 -> Pn -> T -> Pn -> S2 -> S1.
    Graph g;
    const int t = g.addNode(QStringLiteral("T"), 1, 1, 0);
    const int pn = g.addNode(QStringLiteral("Pn"), 1, 1, 0);
    const int s1 = g.addNode(QStringLiteral("S1"), 1, 1, pn);
    const int s2 = g.addNode(QStringLiteral("S2"), 1, 1, pn);
    ASSERT_NE(g.addUpEdge(0, s1, 0), -1);
    ASSERT_NE(g.addEdge(pn, 0, t, 0), -1);
    ASSERT_NE(g.addEdge(t, 0, pn, 0), -1) << "accepted: Pn itself is never compared";
    ASSERT_NE(g.addDownEdge(0, s2, 0), -1);

    EXPECT_FALSE(g.precedes(s1, s2, false));
    EXPECT_TRUE(g.precedes(s1, s2, true));
    const int edges = g.numEdgesGlobal();
    EXPECT_EQ(g.addEdge(s2, 0, s1, 0), -1);
    EXPECT_EQ(g.numEdgesGlobal(), edges);
    EXPECT_EQ(g.inputSource(s1, 0), -1);
}

TEST(GraphPrecedes, QueriesOnTwoGraphsInTurnDoNotMix)
{
    // The search keeps per-thread working storage; a small graph searched
    // after a large one must not see the large one's marks.
    Graph big;
    int prev = big.addNode(QStringLiteral("n"), 1, 1, 0);
    const int first = prev;
    for (int i = 0; i < 200; ++i) {
        const int n = big.addNode(QStringLiteral("n"), 1, 1, 0);
        ASSERT_EQ(big.addEdge(prev, 0, n, 0), i);
        prev = n;
    }
    EXPECT_TRUE(big.precedes(first, prev, false));

    Graph small;
    const int a = small.addNode(QStringLiteral("a"), 1, 1, 0);
    const int b = small.addNode(QStringLiteral("b"), 1, 1, 0);
    ASSERT_EQ(small.addEdge(a, 0, b, 0), 0);
    for (int round = 0; round < 3; ++round) {
        EXPECT_TRUE(small.precedes(a, b, false));
        EXPECT_FALSE(small.precedes(b, a, false));
        EXPECT_TRUE(big.precedes(first, prev, true));
        EXPECT_FALSE(big.precedes(prev, first, true));
    }
}

} // namespace
