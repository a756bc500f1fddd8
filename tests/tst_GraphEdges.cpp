// Edges: creation and its refusals, the guards of the creating operations,
// the edge and port queries, removal and disconnection.
//
// precedes() and the walk primitives are tested in tst_Walk.cpp.

#include "GraphSnapshot.h"
#include "TestSupport.h"

#include <ZrnCore/Graph.h>

#include <gtest/gtest.h>

#include <ostream>

#include <QtCore/QString>

#include <climits>
#include <vector>

using Morvane::Zrn::Graph;
using ZrnTest::inputDestinations;
using ZrnTest::outputDestinations;
using ZrnTest::snapshot;

namespace {

// Runs `create`, an edge-creating call on `g`, and succeeds when it returned
// kInvalidEdgeRef and left everything that snapshot() reads as it was.
template <typename Create>
::testing::AssertionResult refusedWithoutChange(const Graph& g, Create create)
{
    const std::vector<int> before = snapshot(g);
    const int result = create();
    if (result != Graph::kInvalidEdgeRef)
        return ::testing::AssertionFailure() << "the call returned edge " << result << " instead of -1";
    if (snapshot(g) != before)
        return ::testing::AssertionFailure() << "the refused call changed the graph";
    return ::testing::AssertionSuccess();
}

// Two sources A and B, each with one output, and a sink C with one input.
struct TwoSourcesOneSink
{
    Graph g;
    int a = g.addNode(QStringLiteral("a"), 0, 1, 0);
    int b = g.addNode(QStringLiteral("b"), 0, 1, 0);
    int c = g.addNode(QStringLiteral("c"), 1, 0, 0);
};

// P (one output) holding child C (`childOutputs` outputs) and C's sibling S
// (one input): C's output may go up to P or across to S.
struct ChildWithSibling
{
    explicit ChildWithSibling(int childOutputs = 1)
        : c(g.addNode(QStringLiteral("c"), 0, childOutputs, p))
    {
    }
    Graph g;
    int p = g.addNode(QStringLiteral("p"), 0, 1, 0);
    int c;
    int s = g.addNode(QStringLiteral("s"), 1, 0, p);
};

// ---------------------------------------------------------------- creation

TEST(GraphEdges, RegularEdgeIsStoredOnBothPortsAndClassified)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 0, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 2, 0, 0);
    const int e = g.addEdge(a, 0, b, 1);
    EXPECT_EQ(e, 0);
    EXPECT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_EQ(g.getEdgeGlobal(e), e);
    EXPECT_EQ(g.edgeSourceNode(e), a);
    EXPECT_EQ(g.edgeSourceIndex(e), 0);
    EXPECT_EQ(g.edgeDestNode(e), b);
    EXPECT_EQ(g.edgeDestIndex(e), 1);
    EXPECT_TRUE(g.isValidEdge(e));
    EXPECT_TRUE(g.isRegularEdge(e));
    EXPECT_FALSE(g.isDownEdge(e));
    EXPECT_FALSE(g.isUpEdge(e));
    EXPECT_EQ(g.inputSource(b, 1), e);
    EXPECT_EQ(g.inputSource(b, 0), -1);
    EXPECT_EQ(outputDestinations(g, a, 0), std::vector<int>{e});
    EXPECT_EQ(g.outputSource(a, 0), -1);
}

TEST(GraphEdges, DownAndUpEdgesAreStoredOnTheirPortsAndClassified)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 1, 1, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 1, p);

    const int down = g.addDownEdge(0, c, 0);
    EXPECT_EQ(down, 0);
    EXPECT_EQ(g.edgeSourceNode(down), p);
    EXPECT_EQ(g.edgeSourceIndex(down), 0);
    EXPECT_EQ(g.edgeDestNode(down), c);
    EXPECT_EQ(g.edgeDestIndex(down), 0);
    EXPECT_TRUE(g.isDownEdge(down));
    EXPECT_FALSE(g.isRegularEdge(down));
    EXPECT_FALSE(g.isUpEdge(down));
    EXPECT_EQ(inputDestinations(g, p, 0), std::vector<int>{down});
    EXPECT_EQ(g.inputSource(c, 0), down);

    const int up = g.addUpEdge(0, c, 0);
    EXPECT_EQ(up, 1);
    EXPECT_EQ(g.edgeSourceNode(up), c);
    EXPECT_EQ(g.edgeSourceIndex(up), 0);
    EXPECT_EQ(g.edgeDestNode(up), p);
    EXPECT_EQ(g.edgeDestIndex(up), 0);
    EXPECT_TRUE(g.isUpEdge(up));
    EXPECT_FALSE(g.isRegularEdge(up));
    EXPECT_FALSE(g.isDownEdge(up));
    EXPECT_EQ(outputDestinations(g, c, 0), std::vector<int>{up});
    EXPECT_EQ(g.outputSource(p, 0), up);
}

TEST(GraphEdges, RootPortsTakeDownAndUpEdgesOfTopLevelNodes)
{
    Graph g;
    g.addInput(0, QStringLiteral("param"), -1);
    g.addOutput(0, QStringLiteral("result"), -1);
    const int n = g.addNode(QStringLiteral("n"), 1, 1, 0);
    const int down = g.addDownEdge(0, n, 0);
    const int up = g.addUpEdge(0, n, 0);
    EXPECT_TRUE(g.isDownEdge(down));
    EXPECT_TRUE(g.isUpEdge(up));
    EXPECT_EQ(g.inputSource(n, 0), down);
    EXPECT_EQ(g.outputSource(0, 0), up);
}

TEST(GraphEdges, SecondEdgeIntoOccupiedInputIsRefused)
{
    TwoSourcesOneSink f;
    Graph& g = f.g;
    const int first = g.addEdge(f.a, 0, f.c, 0);
    ASSERT_EQ(first, 0);

    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addEdge(f.b, 0, f.c, 0); }));
    // Not even the same edge again.
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addEdge(f.a, 0, f.c, 0); }));
    EXPECT_EQ(g.inputSource(f.c, 0), first);
    EXPECT_TRUE(g.isValidEdge(first));
    EXPECT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_EQ(g.numOutputDestinations(f.b, 0), 0);
    EXPECT_EQ(outputDestinations(g, f.a, 0), std::vector<int>{first});
}

TEST(GraphEdges, AfterDisconnectTheInputAcceptsAnEdgeWithTheNextUnusedReference)
{
    TwoSourcesOneSink f;
    Graph& g = f.g;
    ASSERT_EQ(g.addEdge(f.a, 0, f.c, 0), 0);
    ASSERT_EQ(g.addEdge(f.b, 0, f.c, 0), -1);

    g.disconnectInput(f.c, 0);
    EXPECT_EQ(g.inputSource(f.c, 0), -1);
    EXPECT_FALSE(g.isValidEdge(0));
    EXPECT_EQ(g.numOutputDestinations(f.a, 0), 0);

    const int again = g.addEdge(f.b, 0, f.c, 0);
    EXPECT_EQ(again, 1); // the removed slot 0 is never reused
    EXPECT_EQ(g.numEdgesGlobal(), 2);
    EXPECT_EQ(g.inputSource(f.c, 0), 1);
    EXPECT_EQ(g.edgeSourceNode(1), f.b);
    EXPECT_EQ(outputDestinations(g, f.b, 0), std::vector<int>{1});
    EXPECT_FALSE(g.isValidEdge(0));
}

TEST(GraphEdges, EdgeFromANodeToItselfIsRefused)
{
    Graph g;
    const int x = g.addNode(QStringLiteral("x"), 1, 1, 0);
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addEdge(x, 0, x, 0); }));
    EXPECT_EQ(g.numEdgesGlobal(), 0);
    EXPECT_EQ(g.inputSource(x, 0), -1);
    EXPECT_EQ(g.numOutputDestinations(x, 0), 0);
}

TEST(GraphEdges, EdgeThatWouldCloseACycleIsRefused)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 1, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 1, 1, 0);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addEdge(b, 0, a, 0); }));
    EXPECT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_EQ(g.inputSource(a, 0), -1);
    EXPECT_EQ(g.numOutputDestinations(b, 0), 0);
}

TEST(GraphEdges, EdgeThatWouldCloseALongCycleIsRefused)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 1, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 1, 1, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 1, 0);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);
    ASSERT_EQ(g.addEdge(b, 0, c, 0), 1);
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addEdge(c, 0, a, 0); }));
    EXPECT_EQ(g.numEdgesGlobal(), 2);
    EXPECT_EQ(g.inputSource(a, 0), -1);
    EXPECT_EQ(g.numOutputDestinations(c, 0), 0);
}

TEST(GraphEdges, EitherDirectionBetweenUnconnectedSiblingsIsAccepted)
{
    // The same two siblings, a created before b, once joined each way.
    for (bool forward : {true, false}) {
        SCOPED_TRACE(forward ? "a to b" : "b to a");
        Graph g;
        const int a = g.addNode(QStringLiteral("a"), 1, 1, 0);
        const int b = g.addNode(QStringLiteral("b"), 1, 1, 0);
        const int src = forward ? a : b;
        const int dst = forward ? b : a;
        const int e = g.addEdge(src, 0, dst, 0);
        EXPECT_EQ(e, 0);
        EXPECT_TRUE(g.isRegularEdge(e));
        EXPECT_EQ(g.edgeSourceNode(e), src);
        EXPECT_EQ(g.edgeDestNode(e), dst);
        EXPECT_EQ(g.inputSource(dst, 0), e);
        EXPECT_EQ(g.inputSource(src, 0), -1);
        EXPECT_EQ(outputDestinations(g, src, 0), std::vector<int>{e});
        EXPECT_EQ(g.numOutputDestinations(dst, 0), 0);
    }
}

TEST(GraphEdges, OutputWithAnUpEdgeRefusesARegularEdge)
{
    ChildWithSibling f;
    Graph& g = f.g;
    ASSERT_EQ(g.addUpEdge(0, f.c, 0), 0);
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addEdge(f.c, 0, f.s, 0); }));
    EXPECT_EQ(g.inputSource(f.s, 0), -1);
    EXPECT_EQ(outputDestinations(g, f.c, 0), std::vector<int>{0});
}

TEST(GraphEdges, OutputWithARegularEdgeRefusesAnUpEdge)
{
    ChildWithSibling f;
    Graph& g = f.g;
    ASSERT_EQ(g.addEdge(f.c, 0, f.s, 0), 0);
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addUpEdge(0, f.c, 0); }));
    EXPECT_EQ(g.outputSource(f.p, 0), -1);
    EXPECT_EQ(outputDestinations(g, f.c, 0), std::vector<int>{0});
}

TEST(GraphEdges, OutputWithoutDestinationsAcceptsEitherKind)
{
    // The same output, free in two fresh graphs, takes an up edge in one and
    // a regular edge in the other.
    {
        ChildWithSibling f;
        const int up = f.g.addUpEdge(0, f.c, 0);
        EXPECT_EQ(up, 0);
        EXPECT_TRUE(f.g.isUpEdge(up));
        EXPECT_EQ(f.g.outputSource(f.p, 0), up);
        EXPECT_EQ(outputDestinations(f.g, f.c, 0), std::vector<int>{up});
    }
    {
        ChildWithSibling f;
        const int across = f.g.addEdge(f.c, 0, f.s, 0);
        EXPECT_EQ(across, 0);
        EXPECT_TRUE(f.g.isRegularEdge(across));
        EXPECT_EQ(f.g.inputSource(f.s, 0), across);
        EXPECT_EQ(outputDestinations(f.g, f.c, 0), std::vector<int>{across});
    }
    // Two free outputs of one node: one goes up, the other across.
    ChildWithSibling f(2);
    Graph& g = f.g;
    EXPECT_EQ(g.addUpEdge(0, f.c, 0), 0);
    EXPECT_EQ(g.addEdge(f.c, 1, f.s, 0), 1);
    EXPECT_TRUE(g.isUpEdge(0));
    EXPECT_TRUE(g.isRegularEdge(1));
    EXPECT_EQ(outputDestinations(g, f.c, 0), std::vector<int>{0});
    EXPECT_EQ(outputDestinations(g, f.c, 1), std::vector<int>{1});
}

TEST(GraphEdges, OutputThatFeedsItsParentMayFeedFurtherParentOutputs)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 0, 2, 0);
    const int c = g.addNode(QStringLiteral("c"), 0, 1, p);
    EXPECT_EQ(g.addUpEdge(0, c, 0), 0);
    EXPECT_EQ(g.addUpEdge(1, c, 0), 1);
    EXPECT_EQ(outputDestinations(g, c, 0), (std::vector<int>{0, 1}));
}

TEST(GraphEdges, AfterItsLastUpEdgeGoesAnOutputAcceptsARegularEdge)
{
    ChildWithSibling f;
    Graph& g = f.g;
    const int up = g.addUpEdge(0, f.c, 0);
    ASSERT_EQ(up, 0);
    ASSERT_EQ(g.addEdge(f.c, 0, f.s, 0), -1);
    g.removeEdge(up);
    EXPECT_EQ(g.addEdge(f.c, 0, f.s, 0), 1);
    EXPECT_EQ(outputDestinations(g, f.c, 0), std::vector<int>{1});
    EXPECT_EQ(g.inputSource(f.s, 0), 1);
}

TEST(GraphEdges, OutputOfANodeThatFeedsItsParentKeepsTakingRegularEdges)
{
    // C feeds P from output 0; its output 1 goes across to S, then to T.
    ChildWithSibling f(2);
    Graph& g = f.g;
    const int t = g.addNode(QStringLiteral("t"), 1, 0, f.p);
    ASSERT_EQ(g.addUpEdge(0, f.c, 0), 0);
    EXPECT_EQ(g.addEdge(f.c, 1, f.s, 0), 1);
    EXPECT_EQ(g.addEdge(f.c, 1, t, 0), 2);
    EXPECT_EQ(outputDestinations(g, f.c, 1), (std::vector<int>{1, 2}));
    // Output 0 still refuses, as its first destination goes up.
    const int u = g.addNode(QStringLiteral("u"), 1, 0, f.p);
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addEdge(f.c, 0, u, 0); }));
}

TEST(GraphEdges, RemovedEdgeThatItsOutputStillListsRefusesFurtherEdges)
{
    // Erasing A's output 0 moves output 1 into its place; edge 0 keeps its
    // source index 1, so removing it later finds no port 1 to take it from.
    // The removed edge stays first on A's output 0, and no regular edge
    // leads from there any more.
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 0, 2, 0);
    const int b = g.addNode(QStringLiteral("b"), 1, 0, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 0, 0);
    ASSERT_EQ(g.addEdge(a, 1, b, 0), 0);
    g.removeOutput(a, 0);
    g.removeEdge(0);
    EXPECT_FALSE(g.isValidEdge(0));
    EXPECT_EQ(g.edgeSourceIndex(0), 1);
    EXPECT_EQ(g.inputSource(b, 0), -1);
    EXPECT_EQ(outputDestinations(g, a, 0), std::vector<int>{0});
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addEdge(a, 0, c, 0); }));
    // B's input is free again and takes an edge from a fresh source.
    const int d = g.addNode(QStringLiteral("d"), 0, 1, 0);
    EXPECT_EQ(g.addEdge(d, 0, b, 0), 1);
}

TEST(GraphEdges, OccupiedInputIsRefusedAlsoWhenTheEdgeWouldCloseACycle)
{
    // Both the first and the last refusal apply; either way nothing changes.
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 1, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 1, 1, 0);
    const int z = g.addNode(QStringLiteral("z"), 0, 1, 0);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);
    ASSERT_EQ(g.addEdge(z, 0, a, 0), 1);
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addEdge(b, 0, a, 0); }));
}

TEST(GraphEdges, DestinationsKeepCreationOrderAndClosePastARemovedEntry)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 0, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 4, 0, 0);
    const int e0 = g.addEdge(a, 0, b, 2);
    const int e1 = g.addEdge(a, 0, b, 0);
    const int e2 = g.addEdge(a, 0, b, 3);
    EXPECT_EQ(outputDestinations(g, a, 0), (std::vector<int>{e0, e1, e2}));
    EXPECT_EQ(g.outputDestination(a, 0, 0), e0);

    g.removeEdge(e1);
    EXPECT_EQ(outputDestinations(g, a, 0), (std::vector<int>{e0, e2}));
    const int e3 = g.addEdge(a, 0, b, 1);
    EXPECT_EQ(outputDestinations(g, a, 0), (std::vector<int>{e0, e2, e3}));

    g.removeEdge(e0);
    EXPECT_EQ(g.outputDestination(a, 0, 0), e2); // the oldest live one
    EXPECT_EQ(outputDestinations(g, a, 0), (std::vector<int>{e2, e3}));
}

TEST(GraphEdges, DownEdgesOfAnInputKeepCreationOrder)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 1, 0, 0);
    const int c1 = g.addNode(QStringLiteral("c1"), 1, 0, p);
    const int c2 = g.addNode(QStringLiteral("c2"), 1, 0, p);
    const int c3 = g.addNode(QStringLiteral("c3"), 1, 0, p);
    const int e0 = g.addDownEdge(0, c3, 0);
    const int e1 = g.addDownEdge(0, c1, 0);
    const int e2 = g.addDownEdge(0, c2, 0);
    EXPECT_EQ(inputDestinations(g, p, 0), (std::vector<int>{e0, e1, e2}));
    g.removeEdge(e0);
    EXPECT_EQ(inputDestinations(g, p, 0), (std::vector<int>{e1, e2}));
}

TEST(GraphEdges, UpEdgeIntoOccupiedParentOutputIsRefused)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 0, 1, 0);
    const int c1 = g.addNode(QStringLiteral("c1"), 0, 1, p);
    const int c2 = g.addNode(QStringLiteral("c2"), 0, 1, p);
    ASSERT_EQ(g.addUpEdge(0, c1, 0), 0);
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addUpEdge(0, c2, 0); }));
    EXPECT_EQ(g.outputSource(p, 0), 0);
    EXPECT_EQ(g.numOutputDestinations(c2, 0), 0);
}

TEST(GraphEdges, DownEdgeIntoOccupiedChildInputIsRefused)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 2, 0, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 0, p);
    ASSERT_EQ(g.addDownEdge(0, c, 0), 0);
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addDownEdge(1, c, 0); }));
    EXPECT_EQ(g.inputSource(c, 0), 0);
    EXPECT_EQ(g.numInputDestinations(p, 1), 0);
}

TEST(GraphEdges, DownEdgeIntoAnInputFedBySiblingIsRefused)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 1, 0, 0);
    const int s = g.addNode(QStringLiteral("s"), 0, 1, p);
    const int c = g.addNode(QStringLiteral("c"), 1, 0, p);
    ASSERT_EQ(g.addEdge(s, 0, c, 0), 0);
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addDownEdge(0, c, 0); }));
    EXPECT_EQ(g.inputSource(c, 0), 0);
    EXPECT_EQ(g.numInputDestinations(p, 0), 0);
}

TEST(GraphEdges, DownAndUpEdgesMakeNoCycleTest)
{
    // A down edge into a child whose output leaves through an up edge is
    // accepted, as is an up edge out of a child that its parent feeds.
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 1, 1, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 1, p);
    EXPECT_EQ(g.addDownEdge(0, c, 0), 0);
    EXPECT_EQ(g.addUpEdge(0, c, 0), 1);
    EXPECT_EQ(g.inputSource(c, 0), 0);
    EXPECT_EQ(g.outputSource(p, 0), 1);
}

TEST(GraphEdges, DownEdgeThatClosesALoopIsAccepted)
{
    //   C.out0 -up-> P.out0 --> S.in0;  S.out0 --> P.in0;  P.in0 -down-> C.in0
    // The last edge closes C -> P -> S -> P -> C; no cycle test refuses it.
    Graph g;
    const int p = g.addNode(QStringLiteral("P"), 1, 1, 0);
    const int s = g.addNode(QStringLiteral("S"), 1, 1, 0);
    const int c = g.addNode(QStringLiteral("C"), 1, 1, p);
    ASSERT_EQ(g.addUpEdge(0, c, 0), 0);
    ASSERT_EQ(g.addEdge(p, 0, s, 0), 1);
    ASSERT_EQ(g.addEdge(s, 0, p, 0), 2);
    ASSERT_TRUE(g.precedes(c, s, true));

    const int down = g.addDownEdge(0, c, 0);
    EXPECT_EQ(down, 3);
    EXPECT_TRUE(g.isDownEdge(down));
    EXPECT_EQ(g.inputSource(c, 0), down);
    EXPECT_EQ(inputDestinations(g, p, 0), std::vector<int>{down});
    EXPECT_TRUE(g.precedes(s, c, true)); // the loop is there
}

// ---------------------------------------------------------------- guards
//
// A fixed graph; each row perturbs one argument of a call that would be
// accepted, and the call must then be refused without any change.
//
//   root(0)  ins 1, outs 1
//   +-- P(1) ins 1, outs 2      down edge P.in0 -> A.in0, up edge B.out0 -> P.out0
//   |   +-- A(2) ins 1, outs 1
//   |   +-- B(3) ins 1, outs 1
//   |   +-- R(4) ins 1, outs 1  removed, with its child R1(5)
//   +-- Q(6) ins 1, outs 1
enum : int { P = 1, A = 2, B = 3, R = 4, R1 = 5, Q = 6, kNodes = 7 };

struct GuardRow
{
    const char* label;
    int a; // addEdge: srcNode;   addDownEdge: parentInput;  addUpEdge: parentOutput
    int b; // addEdge: srcOutput; addDownEdge: childNode;    addUpEdge: childNode
    int c; // addEdge: dstNode;   addDownEdge: childInput;   addUpEdge: childOutput
    int d; // addEdge: dstInput
};

std::string rowName(const ::testing::TestParamInfo<GuardRow>& info)
{
    return info.param.label;
}

// Shows a row by its arguments in test listings instead of its bytes.
void PrintTo(const GuardRow& row, std::ostream* os)
{
    *os << '(' << row.a << ", " << row.b << ", " << row.c << ", " << row.d << ')';
}

class GraphGuards : public ::testing::TestWithParam<GuardRow>
{
protected:
    Graph g;

    void SetUp() override
    {
        g.addInput(0, QStringLiteral("in"), -1);
        g.addOutput(0, QStringLiteral("out"), -1);
        ASSERT_EQ(g.addNode(QStringLiteral("P"), 1, 2, 0), P);
        ASSERT_EQ(g.addNode(QStringLiteral("A"), 1, 1, P), A);
        ASSERT_EQ(g.addNode(QStringLiteral("B"), 1, 1, P), B);
        ASSERT_EQ(g.addNode(QStringLiteral("R"), 1, 1, P), R);
        ASSERT_EQ(g.addNode(QStringLiteral("R1"), 1, 1, R), R1);
        ASSERT_EQ(g.addNode(QStringLiteral("Q"), 1, 1, 0), Q);
        ASSERT_EQ(g.addDownEdge(0, A, 0), 0);
        ASSERT_EQ(g.addUpEdge(0, B, 0), 1);
        g.removeNode(R);
        ASSERT_EQ(g.numNodesGlobal(), kNodes);
        ASSERT_FALSE(g.isValidNode(R));
        ASSERT_FALSE(g.isValidNode(R1));
        ASSERT_EQ(g.numEdgesGlobal(), 2);
    }
};

using GraphGuardsTest = GraphGuards;

TEST_F(GraphGuardsTest, TheUnperturbedEdgeIsAccepted)
{
    EXPECT_EQ(g.addEdge(A, 0, B, 0), 2);
}

TEST_F(GraphGuardsTest, TheUnperturbedDownAndUpEdgesAreAccepted)
{
    EXPECT_EQ(g.addDownEdge(0, B, 0), 2);
    EXPECT_EQ(g.addUpEdge(1, A, 0), 3);
}

class GraphAddEdgeGuards : public GraphGuards
{
};

TEST_P(GraphAddEdgeGuards, BadReferenceIsRefusedAndChangesNothing)
{
    const GuardRow row = GetParam();
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addEdge(row.a, row.b, row.c, row.d); }));
    EXPECT_EQ(g.numEdgesGlobal(), 2);
}

// One row per line.
// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Rows, GraphAddEdgeGuards,
    ::testing::Values(GuardRow{"SrcNodeMinusOne", -1, 0, B, 0},
                      GuardRow{"SrcNodePastTheEnd", kNodes, 0, B, 0},
                      GuardRow{"SrcNodeIntMin", INT_MIN, 0, B, 0},
                      GuardRow{"SrcNodeIntMax", INT_MAX, 0, B, 0},
                      GuardRow{"SrcNodeRemovedSibling", R, 0, B, 0},
                      GuardRow{"SrcNodeRemovedNephew", R1, 0, B, 0},
                      GuardRow{"SrcNodeNotASibling", Q, 0, B, 0},
                      GuardRow{"SrcNodeIsTheParent", P, 1, B, 0},
                      GuardRow{"SrcNodeIsTheRoot", 0, 0, B, 0},
                      GuardRow{"SrcOutputMinusOne", A, -1, B, 0},
                      GuardRow{"SrcOutputPastTheEnd", A, 1, B, 0},
                      GuardRow{"SrcOutputIntMax", A, INT_MAX, B, 0},
                      GuardRow{"DstNodeMinusOne", A, 0, -1, 0},
                      GuardRow{"DstNodePastTheEnd", A, 0, kNodes, 0},
                      GuardRow{"DstNodeRemovedSibling", A, 0, R, 0},
                      GuardRow{"DstNodeNotASibling", A, 0, Q, 0},
                      GuardRow{"DstNodeIsTheParent", A, 0, P, 0},
                      GuardRow{"DstNodeIsTheRoot", A, 0, 0, 0},
                      GuardRow{"DstInputMinusOne", A, 0, B, -1},
                      GuardRow{"DstInputPastTheEnd", A, 0, B, 1},
                      GuardRow{"DstInputIntMin", A, 0, B, INT_MIN},
                      GuardRow{"AllMinusOne", -1, -1, -1, -1}),
    rowName);
// clang-format on

class GraphAddDownEdgeGuards : public GraphGuards
{
};

TEST_P(GraphAddDownEdgeGuards, BadReferenceIsRefusedAndChangesNothing)
{
    const GuardRow row = GetParam();
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addDownEdge(row.a, row.b, row.c); }));
    EXPECT_EQ(g.numEdgesGlobal(), 2);
}

// One row per line.
// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Rows, GraphAddDownEdgeGuards,
    ::testing::Values(GuardRow{"ParentInputMinusOne", -1, B, 0, 0},
                      GuardRow{"ParentInputPastTheEnd", 1, B, 0, 0},
                      GuardRow{"ParentInputIntMax", INT_MAX, B, 0, 0},
                      GuardRow{"ChildNodeMinusOne", 0, -1, 0, 0},
                      GuardRow{"ChildNodeIsTheRoot", 0, 0, 0, 0},
                      GuardRow{"ChildNodePastTheEnd", 0, kNodes, 0, 0},
                      GuardRow{"ChildNodeIntMin", 0, INT_MIN, 0, 0},
                      GuardRow{"ChildNodeRemoved", 0, R, 0, 0},
                      GuardRow{"ChildNodeUnderARemovedParent", 0, R1, 0, 0},
                      GuardRow{"ChildInputMinusOne", 0, B, -1, 0},
                      GuardRow{"ChildInputPastTheEnd", 0, B, 1, 0},
                      GuardRow{"AllMinusOne", -1, -1, -1, 0}),
    rowName);
// clang-format on

class GraphAddUpEdgeGuards : public GraphGuards
{
};

TEST_P(GraphAddUpEdgeGuards, BadReferenceIsRefusedAndChangesNothing)
{
    const GuardRow row = GetParam();
    EXPECT_TRUE(refusedWithoutChange(g, [&] { return g.addUpEdge(row.a, row.b, row.c); }));
    EXPECT_EQ(g.numEdgesGlobal(), 2);
}

// One row per line.
// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Rows, GraphAddUpEdgeGuards,
    ::testing::Values(GuardRow{"ParentOutputMinusOne", -1, A, 0, 0},
                      GuardRow{"ParentOutputPastTheEnd", 2, A, 0, 0},
                      GuardRow{"ParentOutputIntMin", INT_MIN, A, 0, 0},
                      GuardRow{"ParentOutputPastTheEndOfTheRoot", 1, Q, 0, 0},
                      GuardRow{"ChildNodeMinusOne", 1, -1, 0, 0},
                      GuardRow{"ChildNodeIsTheRoot", 0, 0, 0, 0},
                      GuardRow{"ChildNodePastTheEnd", 1, kNodes, 0, 0},
                      GuardRow{"ChildNodeIntMax", 1, INT_MAX, 0, 0},
                      GuardRow{"ChildNodeRemoved", 1, R, 0, 0},
                      GuardRow{"ChildNodeUnderARemovedParent", 0, R1, 0, 0},
                      GuardRow{"ChildOutputMinusOne", 1, A, -1, 0},
                      GuardRow{"ChildOutputPastTheEnd", 1, A, 1, 0},
                      GuardRow{"AllMinusOne", -1, -1, -1, 0}),
    rowName);
// clang-format on

// ---------------------------------------------------------------- queries

TEST(GraphEdgeQueries, DestinationValidityChecksOnlyThePortAndTheIndex)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 1, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 1, 0, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 0, a);
    g.addEdge(a, 0, b, 0);
    g.addDownEdge(0, c, 0);

    EXPECT_TRUE(g.isValidOutputDestination(a, 0, 0));
    EXPECT_FALSE(g.isValidOutputDestination(a, 0, g.numOutputDestinations(a, 0)));
    EXPECT_FALSE(g.isValidOutputDestination(a, 0, -1));
    EXPECT_TRUE(g.isValidInputDestination(a, 0, 0));
    EXPECT_FALSE(g.isValidInputDestination(a, 0, g.numInputDestinations(a, 0)));
    EXPECT_FALSE(g.isValidInputDestination(b, 0, 0)); // no destinations at all

    // An out-of-range port or node answers false without reading a port.
    EXPECT_FALSE(g.isValidInputDestination(a, 1, 0));
    EXPECT_FALSE(g.isValidInputDestination(a, -1, 0));
    EXPECT_FALSE(g.isValidInputDestination(a, INT_MAX, 0));
    EXPECT_FALSE(g.isValidInputDestination(-1, 0, 0));
    EXPECT_FALSE(g.isValidInputDestination(INT_MIN, INT_MIN, INT_MIN));
    EXPECT_FALSE(g.isValidOutputDestination(a, 1, 0));
    EXPECT_FALSE(g.isValidOutputDestination(g.numNodesGlobal(), 0, 0));
}

TEST(GraphEdgeQueries, KindTestsAndValidityAreSafeForAnyInt)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 1, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 1, 1, 0);
    g.addEdge(a, 0, b, 0);
    for (int e : {INT_MIN, -1, 1, 2, INT_MAX}) {
        EXPECT_FALSE(g.isValidEdge(e)) << e;
        EXPECT_FALSE(g.isRegularEdge(e)) << e;
        EXPECT_FALSE(g.isDownEdge(e)) << e;
        EXPECT_FALSE(g.isUpEdge(e)) << e;
    }
    EXPECT_TRUE(g.isValidEdge(0));
}

// ---------------------------------------------------------------- removal

TEST(GraphEdgeRemoval, RemovedEdgeKeepsItsSlotAndFieldsButLeavesBothPorts)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 0, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 1, 0, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 0, 0);
    const int e = g.addEdge(a, 0, b, 0);
    const int f = g.addEdge(a, 0, c, 0);

    g.removeEdge(e);

    EXPECT_FALSE(g.isValidEdge(e));
    EXPECT_FALSE(g.isRegularEdge(e));
    EXPECT_FALSE(g.isDownEdge(e));
    EXPECT_FALSE(g.isUpEdge(e));
    EXPECT_EQ(g.numEdgesGlobal(), 2);
    EXPECT_EQ(g.edgeSourceNode(e), a);
    EXPECT_EQ(g.edgeSourceIndex(e), 0);
    EXPECT_EQ(g.edgeDestNode(e), b);
    EXPECT_EQ(g.edgeDestIndex(e), 0);
    EXPECT_EQ(g.inputSource(b, 0), -1);
    EXPECT_EQ(outputDestinations(g, a, 0), std::vector<int>{f});
    EXPECT_TRUE(g.isValidEdge(f));
    EXPECT_EQ(g.inputSource(c, 0), f);

    const std::vector<int> before = snapshot(g);
    g.removeEdge(e); // a second time: nothing
    EXPECT_EQ(snapshot(g), before);
}

TEST(GraphEdgeRemoval, RemovingADownEdgeFreesTheChildInput)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 1, 0, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 0, p);
    const int e = g.addDownEdge(0, c, 0);
    ASSERT_EQ(e, 0);
    g.removeEdge(e);
    EXPECT_FALSE(g.isValidEdge(e));
    EXPECT_FALSE(g.isDownEdge(e));
    EXPECT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_EQ(g.inputSource(c, 0), -1);
    EXPECT_EQ(g.numInputDestinations(p, 0), 0);
    EXPECT_EQ(g.edgeSourceNode(e), p);
    EXPECT_EQ(g.edgeDestNode(e), c);
}

TEST(GraphEdgeRemoval, RemovingAnUpEdgeFreesTheParentOutput)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 0, 1, 0);
    const int c = g.addNode(QStringLiteral("c"), 0, 1, p);
    const int e = g.addUpEdge(0, c, 0);
    ASSERT_EQ(e, 0);
    g.removeEdge(e);
    EXPECT_FALSE(g.isValidEdge(e));
    EXPECT_FALSE(g.isUpEdge(e));
    EXPECT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_EQ(g.outputSource(p, 0), -1);
    EXPECT_EQ(g.numOutputDestinations(c, 0), 0);
    EXPECT_EQ(g.edgeSourceNode(e), c);
    EXPECT_EQ(g.edgeDestNode(e), p);
}

class GraphRemoveEdgeIgnores : public ::testing::TestWithParam<int>
{
};

TEST_P(GraphRemoveEdgeIgnores, ReferenceThatNamesNoLiveEdge)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 1, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 1, 1, 0);
    g.addEdge(a, 0, b, 0);
    const std::vector<int> before = snapshot(g);
    const int edge = GetParam() == -100 ? g.numEdgesGlobal() : GetParam();
    g.removeEdge(edge);
    EXPECT_EQ(snapshot(g), before);
    EXPECT_TRUE(g.isValidEdge(0));
}

// -100 stands for numEdgesGlobal().
INSTANTIATE_TEST_SUITE_P(References, GraphRemoveEdgeIgnores, ::testing::Values(-1, -100, 2, INT_MIN, INT_MAX));

// ---------------------------------------------------------------- disconnection

TEST(GraphDisconnect, InputFeedingThreeChildrenLosesItsSourceAndAllDownEdges)
{
    Graph g;
    const int s = g.addNode(QStringLiteral("s"), 0, 1, 0);
    const int p = g.addNode(QStringLiteral("p"), 1, 0, 0);
    const int c1 = g.addNode(QStringLiteral("c1"), 1, 0, p);
    const int c2 = g.addNode(QStringLiteral("c2"), 1, 0, p);
    const int c3 = g.addNode(QStringLiteral("c3"), 1, 0, p);
    const int src = g.addEdge(s, 0, p, 0);
    const int d1 = g.addDownEdge(0, c1, 0);
    const int d2 = g.addDownEdge(0, c2, 0);
    const int d3 = g.addDownEdge(0, c3, 0);
    ASSERT_EQ(g.numInputDestinations(p, 0), 3);

    g.disconnectInput(p, 0);

    EXPECT_EQ(g.inputSource(p, 0), -1);
    EXPECT_EQ(g.numInputDestinations(p, 0), 0);
    for (int c : {c1, c2, c3})
        EXPECT_EQ(g.inputSource(c, 0), -1) << c;
    for (int e : {src, d1, d2, d3})
        EXPECT_FALSE(g.isValidEdge(e)) << e;
    EXPECT_EQ(g.numOutputDestinations(s, 0), 0);
    EXPECT_EQ(g.numEdgesGlobal(), 4);
}

TEST(GraphDisconnect, EveryDownEdgeGoesHoweverManyThereAre)
{
    // Walking the shrinking list from the front would skip every other entry.
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 1, 0, 0);
    std::vector<int> children;
    for (int i = 0; i < 7; ++i) {
        children.push_back(g.addNode(QStringLiteral("c"), 2, 0, p));
        ASSERT_EQ(g.addDownEdge(0, children.back(), 1), i);
    }
    ASSERT_EQ(g.numInputDestinations(p, 0), 7);
    g.disconnectInput(p, 0);
    EXPECT_EQ(g.numInputDestinations(p, 0), 0);
    for (int c : children)
        EXPECT_EQ(g.inputSource(c, 1), -1) << c;
    ASSERT_EQ(g.numEdgesGlobal(), 7);
    for (int e = 0; e < g.numEdgesGlobal(); ++e)
        EXPECT_FALSE(g.isValidEdge(e)) << e;
}

TEST(GraphDisconnect, UnconnectedInputIsLeftAsItIs)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 2, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 1, 0, 0);
    g.addEdge(a, 0, b, 0);
    const std::vector<int> before = snapshot(g);
    g.disconnectInput(a, 1);
    EXPECT_EQ(snapshot(g), before);
}

TEST(GraphDisconnect, OutputEdgesOfTheNodeAreNotTouched)
{
    Graph g;
    const int s = g.addNode(QStringLiteral("s"), 0, 1, 0);
    const int n = g.addNode(QStringLiteral("n"), 1, 1, 0);
    const int t = g.addNode(QStringLiteral("t"), 1, 0, 0);
    const int in = g.addEdge(s, 0, n, 0);
    const int out = g.addEdge(n, 0, t, 0);
    g.disconnectInputGroup(n, -1);
    EXPECT_FALSE(g.isValidEdge(in));
    EXPECT_EQ(g.inputSource(n, 0), -1);
    EXPECT_TRUE(g.isValidEdge(out));
    EXPECT_EQ(g.inputSource(t, 0), out);
    EXPECT_EQ(outputDestinations(g, n, 0), std::vector<int>{out});

    g.disconnectInput(n, 0);
    EXPECT_TRUE(g.isValidEdge(out));
    EXPECT_EQ(outputDestinations(g, n, 0), std::vector<int>{out});
}

TEST(GraphDisconnect, GroupMinusOneSelectsTheInputsInNoGroup)
{
    Graph g;
    const int s = g.addNode(QStringLiteral("s"), 0, 4, 0);
    const int n = g.addNode(QStringLiteral("n"), 0, 0, 0);
    const int grp = g.addInputGroup(n, QStringLiteral("g"));
    g.addInput(n, QStringLiteral("free0"), -1);
    g.addInput(n, QStringLiteral("grouped"), grp);
    g.addInput(n, QStringLiteral("free2"), -1);
    g.addInput(n, QStringLiteral("dangling"), 3); // names no group: not -1
    std::vector<int> edges;
    for (int i = 0; i < 4; ++i)
        edges.push_back(g.addEdge(s, i, n, i));
    ASSERT_EQ(edges, (std::vector<int>{0, 1, 2, 3}));

    g.disconnectInputGroup(n, -1);

    EXPECT_EQ(g.inputSource(n, 0), -1);
    EXPECT_EQ(g.inputSource(n, 1), edges[1]);
    EXPECT_EQ(g.inputSource(n, 2), -1);
    EXPECT_EQ(g.inputSource(n, 3), edges[3]);
    EXPECT_FALSE(g.isValidEdge(edges[0]));
    EXPECT_TRUE(g.isValidEdge(edges[1]));
    EXPECT_FALSE(g.isValidEdge(edges[2]));
    EXPECT_TRUE(g.isValidEdge(edges[3]));
}

TEST(GraphDisconnect, NamedGroupTakesItsInputsWithTheirDownEdges)
{
    Graph g;
    const int s = g.addNode(QStringLiteral("s"), 0, 2, 0);
    const int n = g.addNode(QStringLiteral("n"), 0, 0, 0);
    const int g0 = g.addInputGroup(n, QStringLiteral("g0"));
    const int g1 = g.addInputGroup(n, QStringLiteral("g1"));
    g.addInput(n, QStringLiteral("a"), g1);
    g.addInput(n, QStringLiteral("b"), g0);
    const int c = g.addNode(QStringLiteral("c"), 2, 0, n);
    const int ea = g.addEdge(s, 0, n, 0);
    const int eb = g.addEdge(s, 1, n, 1);
    const int da = g.addDownEdge(0, c, 0);
    const int db = g.addDownEdge(1, c, 1);

    g.disconnectInputGroup(n, g1);

    EXPECT_FALSE(g.isValidEdge(ea));
    EXPECT_FALSE(g.isValidEdge(da));
    EXPECT_TRUE(g.isValidEdge(eb));
    EXPECT_TRUE(g.isValidEdge(db));
    EXPECT_EQ(g.inputSource(c, 0), -1);
    EXPECT_EQ(g.inputSource(c, 1), db);
    EXPECT_EQ(g.inputSource(n, 0), -1);
    EXPECT_EQ(g.inputSource(n, 1), eb);
    EXPECT_EQ(g.numInputDestinations(n, 0), 0);
    EXPECT_EQ(inputDestinations(g, n, 1), std::vector<int>{db});
    EXPECT_EQ(outputDestinations(g, s, 1), std::vector<int>{eb});
    EXPECT_EQ(g.numOutputDestinations(s, 0), 0);
}

} // namespace
