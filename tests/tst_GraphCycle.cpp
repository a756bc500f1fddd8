// addEdge()'s cycle refusal must agree with the literal search of
// precedes(dst, src, true) however the graph was built and edited: hand-made
// cases, a fixed-seed random run of the differential check of
// fuzz/fuzz_GraphCycle.cpp, and a replay of that fuzzer's seed corpus.

#include "TestSupport.h"
#include <gtest/gtest.h>

#include "../src/Core/Graph_p.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

// TestSupport.h turns a broken check into a thrown ZrnTest::FuzzFailure.
#include "../fuzz/fuzz_GraphCycle.cpp"

namespace {

using Morvane::Zrn::Graph;
using Morvane::Zrn::GraphStorage;
using Morvane::Zrn::ProducerOrder;

// Runs one input of the differential check; returns the failure, if any.
std::string replay(const std::vector<std::uint8_t>& bytes)
{
    return ZrnTest::fuzzFailure(&LLVMFuzzerTestOneInput, bytes);
}

// Adds a node with one input and one output under `parent`.
int addNode(Graph& g, int parent = Graph::kRootNodeRef)
{
    return g.addNode(QStringLiteral("n"), 1, 1, parent);
}

// addEdge, after checking that the literal search predicts its result.
int addEdgeChecked(Graph& g, int src, int srcOutput, int dst, int dstInput)
{
    const int expected = ZrnGraphCycleFuzz::expectedAddEdge(g, src, srcOutput, dst, dstInput);
    const int made = g.addEdge(src, srcOutput, dst, dstInput);
    EXPECT_EQ(made, expected) << "edge " << src << " -> " << dst;
    return made;
}

// The graph's producer order, as addEdge() keeps it.
const ProducerOrder& orderOf(const Graph& g)
{
    return GraphStorage::of(g).order;
}

int rankOf(const Graph& g, int n)
{
    return orderOf(g).rank.at(size_t(n));
}

// Every producer, found by the walks that precedes() makes, ranks below
// the nodes it feeds; the number of nodes checked, or -1 when the order is
// not fresh. The graphs checked have no removed node.
int checkedOrder(const Graph& g)
{
    const ProducerOrder& order = orderOf(g);
    if (order.state != ProducerOrder::State::Fresh)
        return -1;
    EXPECT_EQ(order.rank.size(), size_t(g.numNodesGlobal()));
    int checked = 0;
    for (int n = 0; n < g.numNodesGlobal(); ++n) {
        for (int i = 0; i < g.numInputs(n); ++i) {
            int p = n;
            int k = i;
            if (g.walkToSourceNode(p, k) && p != n && order.rank[size_t(p)] >= order.rank[size_t(n)])
                ADD_FAILURE() << "producer " << p << " ranks at or above node " << n;
        }
        ++checked;
    }
    return checked;
}

TEST(GraphCycle, LoopThroughAnEnclosingNodeIsAcceptedAndLaterEdgesStillAgree)
{
    // X's output is made by its child Y from X's own input; X feeds S.
    //   root: X(in 0, out 0) -> S(in 0, out 0); Y inside X.
    Graph g;
    const int x = addNode(g);
    const int s = addNode(g);
    const int y = addNode(g, x);
    EXPECT_EQ(g.addUpEdge(0, y, 0), 0);
    EXPECT_EQ(g.addDownEdge(0, y, 0), 1);
    EXPECT_EQ(addEdgeChecked(g, x, 0, s, 0), 2);
    // S back into X: the search reaches Y and stops at X's unconnected input,
    // never comparing X, so the edge is accepted although it closes a loop.
    EXPECT_EQ(addEdgeChecked(g, s, 0, x, 0), 3);
    EXPECT_TRUE(g.precedes(s, y, true));
    EXPECT_TRUE(g.precedes(y, s, true));

    // Beyond the loop, edges are refused or accepted as the search says.
    const int t = addNode(g);
    const int u = addNode(g);
    g.addOutput(s, QStringLiteral("second"), -1);
    EXPECT_EQ(addEdgeChecked(g, s, 1, t, 0), 4);
    EXPECT_EQ(addEdgeChecked(g, t, 0, u, 0), 5);
    EXPECT_EQ(addEdgeChecked(g, u, 0, u, 0), -1);
    g.addInput(s, QStringLiteral("back"), -1);
    EXPECT_EQ(addEdgeChecked(g, u, 0, s, 1), -1);
    g.addInput(x, QStringLiteral("back"), -1);
    EXPECT_EQ(addEdgeChecked(g, u, 0, x, 1), 6);
    EXPECT_EQ(g.numEdgesGlobal(), 7);

    // Taking both loops apart: then nothing of S reaches Y; a new way into
    // Y from X's second input closes a loop through X once more.
    g.removeEdge(3);
    g.removeEdge(6);
    EXPECT_FALSE(g.precedes(s, y, true));
    EXPECT_EQ(addEdgeChecked(g, u, 0, s, 1), -1); // s -> t -> u
    g.addInput(y, QStringLiteral("late"), -1);
    EXPECT_EQ(g.addDownEdge(1, y, 1), 7);
    EXPECT_EQ(addEdgeChecked(g, u, 0, x, 1), 8);
    EXPECT_TRUE(g.precedes(s, y, true));
    EXPECT_EQ(addEdgeChecked(g, y, 0, t, 0), -1); // input taken
    EXPECT_EQ(g.numEdgesGlobal(), 9);
}

TEST(GraphCycle, ClosingAChainBuiltInShuffledOrderIsRefused)
{
    Graph g;
    std::vector<int> chain;
    for (int k = 0; k < 12; ++k)
        chain.push_back(addNode(g));
    // Edges chain[k] -> chain[k + 1], made in a fixed shuffled order, the
    // nodes being created first.
    std::vector<int> order{7, 2, 10, 0, 5, 9, 3, 1, 8, 4, 6};
    std::vector<int> made;
    for (int k : order)
        made.push_back(addEdgeChecked(g, chain[size_t(k)], 0, chain[size_t(k) + 1], 0));
    EXPECT_EQ(made, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));

    // Then a second chain run backwards, into the first one's head.
    std::vector<int> back;
    for (int k = 0; k < 5; ++k)
        back.push_back(addNode(g));
    for (int k = 0; k + 1 < 5; ++k)
        addEdgeChecked(g, back[size_t(k + 1)], 0, back[size_t(k)], 0);
    g.addInput(back[4], QStringLiteral("in"), -1);

    const int edges = g.numEdgesGlobal();
    EXPECT_EQ(edges, 15);
    g.addInput(chain[0], QStringLiteral("more"), -1);
    EXPECT_EQ(addEdgeChecked(g, back[0], 0, chain[0], 1), 15);  // back[4] .. back[0] -> chain
    EXPECT_EQ(addEdgeChecked(g, chain[11], 0, back[4], 1), -1); // would close the loop
    EXPECT_EQ(addEdgeChecked(g, chain[11], 0, chain[0], 0), -1);
    EXPECT_EQ(addEdgeChecked(g, chain[5], 0, chain[3], 0), -1); // input taken
    g.addInput(chain[3], QStringLiteral("more"), -1);
    EXPECT_EQ(addEdgeChecked(g, chain[5], 0, chain[3], 1), -1);
    EXPECT_EQ(addEdgeChecked(g, chain[3], 0, chain[5], 0), -1); // input taken
    g.addInput(chain[5], QStringLiteral("more"), -1);
    EXPECT_EQ(addEdgeChecked(g, chain[3], 0, chain[5], 1), 16);
    EXPECT_EQ(g.numEdgesGlobal(), 17);
}

TEST(GraphCycle, OrderIsRebuiltAfterPurgeAndStillRefusesLoops)
{
    // a -> b -> c -> d, plus e; b is removed and purged away.
    Graph g;
    const int a = addNode(g);
    const int b = addNode(g);
    const int c = addNode(g);
    const int d = addNode(g);
    const int e = addNode(g);
    EXPECT_EQ(addEdgeChecked(g, a, 0, b, 0), 0);
    EXPECT_EQ(addEdgeChecked(g, b, 0, c, 0), 1);
    EXPECT_EQ(addEdgeChecked(g, c, 0, d, 0), 2);
    EXPECT_EQ(addEdgeChecked(g, d, 0, e, 0), 3);
    g.removeNode(b);
    g.purge();
    // Now a = 1, c = 2, d = 3, e = 4, edges c -> d = 0 and d -> e = 1.
    EXPECT_EQ(g.numNodesGlobal(), 5);
    EXPECT_EQ(g.numEdgesGlobal(), 2);
    EXPECT_EQ(g.edgeSourceNode(0), 2);
    EXPECT_EQ(g.edgeDestNode(1), 4);
    EXPECT_EQ(addEdgeChecked(g, 4, 0, 2, 0), -1); // e -> c closes c -> d -> e
    EXPECT_EQ(addEdgeChecked(g, 4, 0, 1, 0), 2);  // e -> a is free
    EXPECT_EQ(addEdgeChecked(g, 1, 0, 2, 0), -1); // a -> c: loop through e
    const int f = addNode(g);
    EXPECT_EQ(f, 5);
    EXPECT_EQ(addEdgeChecked(g, 1, 0, f, 0), 3);
    EXPECT_EQ(addEdgeChecked(g, f, 0, 2, 0), -1);
    EXPECT_EQ(g.numEdgesGlobal(), 4);
}

TEST(GraphCycle, EdgesMadeInsideGroupsFollowTheValueAcrossLevels)
{
    // A feeds group G's input, which hands it down to G's child C; C's output
    // leaves G through an up edge and feeds B. Then B -> A closes a loop
    // through C, which the search finds through the hierarchy.
    Graph g;
    const int a = addNode(g);
    const int grp = addNode(g);
    const int b = addNode(g);
    const int c = addNode(g, grp);
    EXPECT_EQ(addEdgeChecked(g, a, 0, grp, 0), 0);
    EXPECT_EQ(addEdgeChecked(g, grp, 0, b, 0), 1);
    EXPECT_EQ(addEdgeChecked(g, b, 0, a, 0), -1);   // a -> grp -> b
    EXPECT_EQ(g.addDownEdge(0, c, 0), 2);           // a now feeds c
    EXPECT_EQ(g.addUpEdge(0, c, 0), 3);             // and c makes grp's output
    EXPECT_EQ(addEdgeChecked(g, b, 0, a, 0), -1);   // b is fed by c, c by a
    g.removeEdge(3);                                // grp's output: made by grp again
    g.removeEdge(0);                                // a no longer feeds grp
    EXPECT_EQ(addEdgeChecked(g, b, 0, a, 0), 4);    // b -> a, while grp -> b stays
    EXPECT_EQ(addEdgeChecked(g, b, 0, grp, 0), -1); // grp -> b -> grp
    EXPECT_EQ(addEdgeChecked(g, a, 0, grp, 0), -1); // grp -> b -> a -> grp
    EXPECT_EQ(g.numEdgesGlobal(), 5);
}

// A regular edge out of an output that an up edge feeds carries the value
// of the child below: the node it feeds is fed by that child, not by the
// group. Here the order must learn C -> X from G -> X, or it later "proves"
// that D -> C closes no loop although X feeds D through G's input.
TEST(GraphCycle, EdgeLeavingAnOutputFedFromInsideLinksTheChildThatMakesIt)
{
    Graph g;
    const int grp = addNode(g);
    const int d = addNode(g, grp);
    const int x = addNode(g);
    const int c = addNode(g, grp);
    EXPECT_EQ(g.addUpEdge(0, c, 0), 0);            // c makes grp's output
    EXPECT_EQ(addEdgeChecked(g, grp, 0, x, 0), 1); // so c feeds x
    EXPECT_EQ(addEdgeChecked(g, x, 0, grp, 0), 2); // x feeds grp's input
    EXPECT_EQ(g.addDownEdge(0, d, 0), 3);          // which d reads
    EXPECT_TRUE(g.precedes(c, d, true));           // c -> x -> grp -> d
    EXPECT_EQ(addEdgeChecked(g, d, 0, c, 0), -1);  // would close the loop
    EXPECT_EQ(g.numEdgesGlobal(), 4);
}

// A regular edge into an input that down edges hand on feeds the children
// below as well. Here the order must learn X -> D from X -> G, or it later
// "proves" that Y -> X closes no loop although Y reads D's value.
TEST(GraphCycle, EdgeIntoAnInputHandedDownLinksTheChildrenThatReadIt)
{
    Graph g;
    const int grp = addNode(g);
    g.addInput(grp, QStringLiteral("second"), -1);
    const int d = addNode(g, grp);
    const int y = addNode(g);
    const int w = addNode(g);
    const int x = addNode(g);
    EXPECT_EQ(addEdgeChecked(g, w, 0, grp, 0), 0);
    EXPECT_EQ(g.addDownEdge(1, d, 0), 1);          // d reads grp's second input
    EXPECT_EQ(g.addUpEdge(0, d, 0), 2);            // and makes grp's output
    EXPECT_EQ(addEdgeChecked(g, x, 0, grp, 1), 3); // so x feeds d
    EXPECT_EQ(addEdgeChecked(g, grp, 0, y, 0), 4); // and d feeds y
    EXPECT_TRUE(g.precedes(x, y, true));           // x -> grp -> d -> grp -> y
    EXPECT_EQ(addEdgeChecked(g, y, 0, x, 0), -1);  // would close the loop
    EXPECT_EQ(g.numEdgesGlobal(), 5);
}

// A down edge into a child that ranks before its parent must link the
// child to the producer of the parent's input. Here P ranks after M, which
// feeds it, and C ranks before M; the order must learn M -> C, or it later
// "proves" that Y -> M closes no loop although Y reads C's value.
TEST(GraphCycle, DownEdgeIntoAChildRankedBeforeItsParentLinksTheChild)
{
    Graph g;
    const int e = addNode(g);
    EXPECT_EQ(addEdgeChecked(g, e, 0, addNode(g), 0), 0);
    const int p = g.addNode(QStringLiteral("p"), 2, 1, Graph::kRootNodeRef);
    const int c = addNode(g, p);
    const int y = addNode(g);
    const int m = addNode(g);
    const int x = addNode(g);
    EXPECT_EQ(addEdgeChecked(g, x, 0, p, 1), 1); // p now ranks after m
    EXPECT_EQ(addEdgeChecked(g, m, 0, p, 0), 2);
    EXPECT_EQ(g.addUpEdge(0, c, 0), 3);           // c makes p's output
    EXPECT_EQ(addEdgeChecked(g, p, 0, y, 0), 4);  // so c feeds y
    EXPECT_EQ(g.addDownEdge(0, c, 0), 5);         // and m feeds c
    EXPECT_TRUE(g.precedes(m, y, true));          // m -> p -> c -> p -> y
    EXPECT_EQ(addEdgeChecked(g, y, 0, m, 0), -1); // would close the loop
    EXPECT_EQ(g.numEdgesGlobal(), 6);
}

// A down edge into an input that already hands its value further down feeds
// the grandchildren below as well. Here the order must learn M -> D, or it
// later "proves" that X -> M closes no loop although X reads D's value. The
// down edge itself closes a loop (m -> c -> d -> x -> m), which only
// addEdge() refuses; from then on the search answers.
TEST(GraphCycle, DownEdgeIntoAnInputHandedFurtherDownLinksTheGrandchildren)
{
    Graph g;
    const int m = g.addNode(QStringLiteral("m"), 2, 1, Graph::kRootNodeRef);
    const int x = addNode(g);
    const int p = addNode(g);
    const int c = g.addNode(QStringLiteral("c"), 2, 1, p);
    const int d = addNode(g, c);
    const int z = addNode(g, p);
    EXPECT_EQ(addEdgeChecked(g, m, 0, p, 0), 0);
    EXPECT_EQ(g.addDownEdge(0, d, 0), 1);        // d reads c's first input
    EXPECT_EQ(g.addUpEdge(0, d, 0), 2);          // and makes c's output
    EXPECT_EQ(g.addUpEdge(0, c, 0), 3);          // which makes p's output
    EXPECT_EQ(addEdgeChecked(g, p, 0, x, 0), 4); // so d feeds x
    EXPECT_EQ(addEdgeChecked(g, x, 0, m, 0), 5); // and x feeds m
    EXPECT_EQ(addEdgeChecked(g, z, 0, c, 1), 6); // c now ranks after p
    EXPECT_EQ(g.addDownEdge(0, c, 0), 7);        // m -> p -> c -> d
    EXPECT_TRUE(g.precedes(m, x, true));
    EXPECT_EQ(addEdgeChecked(g, x, 0, m, 1), -1); // m -> ... -> d -> x
    EXPECT_EQ(g.numEdgesGlobal(), 8);
}

// How many nodes one side of a move in the order may reach before the order
// first tries to move the far side of the other end instead; it tries again
// each time the side doubles.
constexpr int kLocal =
    int(std::remove_reference_t<decltype(GraphStorage::of(std::declval<const Graph&>()))>::kLocalReorder);

// A chain of `length` nodes built from its end back to its start: each new
// node, fed by nothing, feeds the node made before it, and each edge must
// be made as the search predicts. Element k is fed by element k + 1.
std::vector<int> buildChainFromItsEnd(Graph& g, int length)
{
    std::vector<int> chain{addNode(g)};
    for (int k = 1; k < length; ++k) {
        chain.push_back(addNode(g));
        EXPECT_EQ(addEdgeChecked(g, chain[size_t(k)], 0, chain[size_t(k) - 1], 0), k - 1);
    }
    return chain;
}

// A chain built from its end back to its start, as a graph made on demand
// is: each new node, fed by nothing, feeds the node made before it. While
// the chain below the new edge is short, the order moves it as it is; once
// it reaches kLocal nodes, the new node alone goes below every other.
TEST(GraphCycle, ProducerThatNothingFeedsRanksFirstPastALongWayDownstream)
{
    constexpr int kLength = 2 * kLocal + 4;
    Graph g;
    const std::vector<int> chain = buildChainFromItsEnd(g, kLength); // chain[k] is fed by chain[k + 1]
    EXPECT_EQ(orderOf(g).state, ProducerOrder::State::Fresh);
    // Built at the first edge in slot order, then moved as a whole each time.
    EXPECT_EQ(rankOf(g, chain[0]), kLocal);
    EXPECT_EQ(rankOf(g, chain[1]), kLocal - 1);
    EXPECT_EQ(rankOf(g, chain[kLocal - 1]), 1);
    // From then on the new node alone.
    EXPECT_EQ(rankOf(g, chain[kLocal]), -1);
    EXPECT_EQ(rankOf(g, chain[kLength - 1]), -(kLength - kLocal));
    EXPECT_EQ(orderOf(g).firstRank, -(kLength - kLocal));
    EXPECT_EQ(orderOf(g).nextRank, kLength + 1);
    EXPECT_EQ(checkedOrder(g), kLength + 1);
    EXPECT_EQ(addEdgeChecked(g, chain[0], 0, chain[kLength - 1], 0), -1);
}

// The mirror case: the nodes made from the end of the chain to its start,
// then linked from its start on. Each new edge enters a node that feeds
// nothing yet; once the chain above it reaches kLocal nodes, that node alone
// goes above every other.
TEST(GraphCycle, ConsumerThatFeedsNothingRanksLastPastALongWayUpstream)
{
    constexpr int kLength = 2 * kLocal + 4;
    Graph g;
    std::vector<int> chain(kLength); // chain[k] feeds chain[k + 1]
    for (int k = kLength - 1; k >= 0; --k)
        chain[size_t(k)] = addNode(g);
    for (int k = 0; k + 1 < kLength; ++k)
        ASSERT_EQ(addEdgeChecked(g, chain[size_t(k)], 0, chain[size_t(k) + 1], 0), k);
    EXPECT_EQ(orderOf(g).state, ProducerOrder::State::Fresh);
    EXPECT_EQ(rankOf(g, chain[0]), kLength - kLocal + 1);
    EXPECT_EQ(rankOf(g, chain[kLocal - 1]), kLength);
    EXPECT_EQ(rankOf(g, chain[kLocal]), kLength + 1);
    EXPECT_EQ(rankOf(g, chain[kLength - 1]), 2 * kLength - kLocal);
    EXPECT_EQ(orderOf(g).nextRank, 2 * kLength - kLocal + 1);
    EXPECT_EQ(orderOf(g).firstRank, 0);
    EXPECT_EQ(checkedOrder(g), kLength + 1);
    EXPECT_EQ(addEdgeChecked(g, chain[kLength - 1], 0, chain[0], 0), -1);
}

// A node that could move alone, but whose move touches few nodes, moves as
// the order would move any other. Put at the very top, each node y here
// would drag the whole chain t along when it then feeds t's first node.
TEST(GraphCycle, SmallSidesMoveAsTheyAreThoughAnEndCouldMoveAlone)
{
    constexpr int kFeeders = 8;
    constexpr int kChain = 3 * kLocal;
    Graph g;
    std::vector<int> y;
    for (int j = 0; j < kFeeders; ++j)
        y.push_back(addNode(g));
    const int q = addNode(g);
    const int p = addNode(g);
    const int first = g.addNode(QStringLiteral("t"), kFeeders, 1, Graph::kRootNodeRef);
    std::vector<int> t{first};
    for (int k = 1; k < kChain; ++k)
        t.push_back(addNode(g));
    int id = 0;
    EXPECT_EQ(addEdgeChecked(g, q, 0, p, 0), id++);
    for (int k = 1; k < kChain; ++k)
        EXPECT_EQ(addEdgeChecked(g, t[size_t(k) - 1], 0, t[size_t(k)], 0), id++);
    std::vector<int> before;
    for (int n : t)
        before.push_back(rankOf(g, n));
    for (int j = 0; j < kFeeders; ++j) {
        EXPECT_EQ(addEdgeChecked(g, p, 0, y[size_t(j)], 0), id++); // y feeds nothing yet
        EXPECT_EQ(addEdgeChecked(g, y[size_t(j)], 0, first, j), id++);
    }
    std::vector<int> after;
    for (int n : t)
        after.push_back(rankOf(g, n));
    EXPECT_EQ(after, before); // the chain never moved
    // p, q and the first two y moved among their own ranks (slot numbers at
    // the first edge); p then ranked below every later y.
    EXPECT_EQ(rankOf(g, q), 1);
    EXPECT_EQ(rankOf(g, p), 2);
    EXPECT_EQ(rankOf(g, y[0]), 10);
    EXPECT_EQ(rankOf(g, y[1]), 9);
    EXPECT_EQ(rankOf(g, y[2]), 3);
    EXPECT_EQ(orderOf(g).nextRank, kFeeders + 3 + kChain);
    EXPECT_EQ(checkedOrder(g), kFeeders + 3 + kChain);
}

// A long side does not let a node that links further on its far side move
// alone: c feeds d, so c moves with d above the chain that now feeds c,
// and the edge from d back to the chain's start is refused.
TEST(GraphCycle, ConsumerThatFeedsSomethingMovesWithWhatItFeeds)
{
    constexpr int kChain = 2 * kLocal;
    Graph g;
    const int c = addNode(g);
    const int d = addNode(g);
    std::vector<int> u;
    for (int k = 0; k < kChain; ++k)
        u.push_back(addNode(g));
    int id = 0;
    EXPECT_EQ(addEdgeChecked(g, c, 0, d, 0), id++);
    for (int k = 1; k < kChain; ++k)
        EXPECT_EQ(addEdgeChecked(g, u[size_t(k) - 1], 0, u[size_t(k)], 0), id++);
    EXPECT_EQ(addEdgeChecked(g, u.back(), 0, c, 0), id++);
    EXPECT_EQ(checkedOrder(g), kChain + 3);
    EXPECT_GT(rankOf(g, d), rankOf(g, c));
    EXPECT_GT(rankOf(g, c), rankOf(g, u.back()));
    EXPECT_EQ(addEdgeChecked(g, d, 0, u[0], 0), -1); // u0 -> ... -> c -> d
    EXPECT_EQ(g.numEdgesGlobal(), id);
}

// A few nodes linked from both ends: a new source that nothing feeds, a
// new destination that feeds nothing, then an edge that would close a loop
// and one that would not. Every edge is as the search says, and while the
// sides stay under kLocal nodes each move takes the ranks of the nodes it
// moves, as for any other link (an earlier version moved such an end to
// the bottom or the top every time).
TEST(GraphCycle, EdgesFromBothEndsOfSmallGraphsMoveTheirSidesAsTheyAre)
{
    Graph g;
    const int a = addNode(g);
    const int b = addNode(g);
    // The first edge builds the order, in slot order: root 0, a 1, b 2.
    EXPECT_EQ(addEdgeChecked(g, b, 0, a, 0), 0);
    EXPECT_EQ(orderOf(g).state, ProducerOrder::State::Fresh);
    EXPECT_EQ(rankOf(g, Graph::kRootNodeRef), 0);
    EXPECT_EQ(rankOf(g, a), 2); // a and b swapped their ranks
    EXPECT_EQ(rankOf(g, b), 1);
    const int c = addNode(g);
    EXPECT_EQ(rankOf(g, c), 3);
    EXPECT_EQ(addEdgeChecked(g, c, 0, b, 0), 1);
    EXPECT_EQ(rankOf(g, c), 1); // c, b, a take 1, 2, 3
    EXPECT_EQ(rankOf(g, b), 2);
    EXPECT_EQ(rankOf(g, a), 3);
    EXPECT_EQ(orderOf(g).firstRank, 0);

    // x feeds nothing, y is fed by a and ranks above x: they swap.
    const int x = addNode(g);
    const int y = addNode(g);
    EXPECT_EQ(addEdgeChecked(g, a, 0, y, 0), 2);
    EXPECT_EQ(rankOf(g, x), 4);
    EXPECT_EQ(rankOf(g, y), 5);
    EXPECT_EQ(addEdgeChecked(g, y, 0, x, 0), 3);
    EXPECT_EQ(rankOf(g, x), 5);
    EXPECT_EQ(rankOf(g, y), 4);
    EXPECT_EQ(orderOf(g).nextRank, 6);
    EXPECT_EQ(checkedOrder(g), 6);

    // A loop is refused and moves nothing; an edge with room is made.
    g.addInput(c, QStringLiteral("back"), -1);
    const std::vector<int> before = orderOf(g).rank;
    EXPECT_EQ(addEdgeChecked(g, x, 0, c, 1), -1); // c -> b -> a -> y -> x
    EXPECT_EQ(orderOf(g).rank, before);
    g.addInput(y, QStringLiteral("more"), -1);
    EXPECT_EQ(addEdgeChecked(g, b, 0, y, 1), 4);
    EXPECT_EQ(rankOf(g, b), 2);
    EXPECT_EQ(rankOf(g, y), 4);
    EXPECT_EQ(checkedOrder(g), 6);
    EXPECT_EQ(g.numEdgesGlobal(), 5);
}

// A chain of `length` nodes made first, then linked from its start on, each
// edge as the search predicts, ids 0 to length - 2. The first edge builds
// the order, in slot order, so element k ranks k + 1 (the root ranks 0).
std::vector<int> buildChain(Graph& g, int length)
{
    std::vector<int> chain;
    for (int k = 0; k < length; ++k)
        chain.push_back(addNode(g));
    for (int k = 1; k < length; ++k)
        EXPECT_EQ(addEdgeChecked(g, chain[size_t(k) - 1], 0, chain[size_t(k)], 0), k - 1);
    return chain;
}

// Puts a new node x in between chain[at] and chain[at + 1], as an editor
// puts a pass in: the edge between them goes, then chain[at] feeds x and x
// feeds chain[at + 1]. Returns x.
int insertAfter(Graph& g, const std::vector<int>& chain, int at)
{
    g.removeEdge(g.inputSource(chain[size_t(at) + 1], 0));
    const int x = addNode(g);
    const int edges = g.numEdgesGlobal();
    EXPECT_EQ(addEdgeChecked(g, chain[size_t(at)], 0, x, 0), edges);
    EXPECT_EQ(addEdgeChecked(g, x, 0, chain[size_t(at) + 1], 0), edges + 1);
    return x;
}

// A node put in right after the head of a chain: the chain below it reaches
// kLocal nodes, and the two nodes upstream of the new edge (x and the head)
// go below every other instead of the chain moving up past x.
TEST(GraphCycle, NodePutInAfterTheHeadOfAChainGoesFirstWithTheHead)
{
    constexpr int kLength = kLocal + 2;
    Graph g;
    const std::vector<int> chain = buildChain(g, kLength);
    const int x = insertAfter(g, chain, 0);
    EXPECT_EQ(rankOf(g, chain[0]), -2);
    EXPECT_EQ(rankOf(g, x), -1);
    for (int k = 1; k < kLength; ++k)
        EXPECT_EQ(rankOf(g, chain[size_t(k)]), k + 1) << k; // as built
    EXPECT_EQ(orderOf(g).firstRank, -2);
    EXPECT_EQ(orderOf(g).nextRank, kLength + 2);
    EXPECT_EQ(checkedOrder(g), kLength + 2);
    EXPECT_EQ(addEdgeChecked(g, chain.back(), 0, chain[0], 0), -1);
    EXPECT_EQ(addEdgeChecked(g, chain.back(), 0, x, 0), -1); // x is fed
}

// The far side is tried again each time the searched side doubles: here
// the kLocal + 3 nodes up to the head are too many at kLocal nodes below,
// and go first at 2 * kLocal.
TEST(GraphCycle, FarSideTooLargeAtFirstMovesOnceTheSearchedSideDoubles)
{
    constexpr int kHead = kLocal + 2; // x comes after chain[kHead - 1]
    constexpr int kLength = kHead + 3 * kLocal;
    Graph g;
    const std::vector<int> chain = buildChain(g, kLength);
    const int x = insertAfter(g, chain, kHead - 1);
    for (int k = 0; k < kHead; ++k)
        EXPECT_EQ(rankOf(g, chain[size_t(k)]), k - kHead - 1) << k;
    EXPECT_EQ(rankOf(g, x), -1);
    for (int k = kHead; k < kLength; ++k)
        EXPECT_EQ(rankOf(g, chain[size_t(k)]), k + 1) << k;
    EXPECT_EQ(orderOf(g).firstRank, -kHead - 1);
    EXPECT_EQ(checkedOrder(g), kLength + 2);
    EXPECT_EQ(addEdgeChecked(g, chain.back(), 0, chain[0], 0), -1);
}

// A far side that would fit only at a later try point than the searched
// side reaches: here the kLocal + 3 nodes up to the head are too many at
// kLocal nodes below, and the chain below ends at kLocal + 4, before the
// next try. The chain below moves up past x.
TEST(GraphCycle, FarSideThatFitsOnlyAfterTheSearchedSideEndsStays)
{
    constexpr int kHead = kLocal + 2;  // x comes after chain[kHead - 1]
    constexpr int kBelow = kLocal + 4; // the nodes from chain[kHead] on
    constexpr int kLength = kHead + kBelow;
    Graph g;
    const std::vector<int> chain = buildChain(g, kLength);
    const int x = insertAfter(g, chain, kHead - 1);
    for (int k = 0; k < kHead; ++k)
        EXPECT_EQ(rankOf(g, chain[size_t(k)]), k + 1) << k;
    EXPECT_EQ(rankOf(g, x), kHead + 1);
    for (int k = kHead; k < kLength; ++k)
        EXPECT_EQ(rankOf(g, chain[size_t(k)]), k + 2) << k;
    EXPECT_EQ(orderOf(g).firstRank, 0);
    EXPECT_EQ(checkedOrder(g), kLength + 2);
}

// The far side is found by the walks that precedes() makes: x, fed through
// a down edge from its parent's input, which a feeds, has a and itself
// upstream, and both go first when x comes to feed a long chain beside it.
TEST(GraphCycle, FarSideReachedThroughADownEdgeMovesWhole)
{
    constexpr int kChain = kLocal + 2;
    Graph g;
    const int group = addNode(g);
    std::vector<int> t;
    for (int k = 0; k < kChain; ++k)
        t.push_back(addNode(g, group));
    const int a = addNode(g);
    const int x = addNode(g, group);
    int id = 0;
    for (int k = 1; k < kChain; ++k)
        EXPECT_EQ(addEdgeChecked(g, t[size_t(k) - 1], 0, t[size_t(k)], 0), id++);
    EXPECT_EQ(addEdgeChecked(g, a, 0, group, 0), id++); // a and the group swap ranks
    EXPECT_EQ(rankOf(g, a), 1);
    EXPECT_EQ(rankOf(g, group), kChain + 2);
    EXPECT_EQ(g.addDownEdge(0, x, 0), id++);
    EXPECT_EQ(addEdgeChecked(g, x, 0, t[0], 0), id++);
    EXPECT_EQ(rankOf(g, a), -2);
    EXPECT_EQ(rankOf(g, x), -1);
    for (int k = 0; k < kChain; ++k)
        EXPECT_EQ(rankOf(g, t[size_t(k)]), k + 2) << k; // as built
    EXPECT_EQ(rankOf(g, group), kChain + 2);
    EXPECT_EQ(checkedOrder(g), kChain + 4);
    EXPECT_TRUE(g.precedes(a, t.back(), true));
    g.addInput(x, QStringLiteral("back"), -1);
    EXPECT_EQ(addEdgeChecked(g, t.back(), 0, x, 1), -1);
    EXPECT_EQ(g.numEdgesGlobal(), id);
}

// An edge that closes a loop is refused by the search after the order has
// tried to rank its source below the fed node and found the loop: the
// order is left as it was.
TEST(GraphCycle, RefusedEdgeLeavesTheOrderAsItWas)
{
    constexpr int kLength = 2 * kLocal + 2;
    Graph g;
    const std::vector<int> chain = buildChain(g, kLength);
    const std::vector<int> before = orderOf(g).rank;
    EXPECT_EQ(addEdgeChecked(g, chain.back(), 0, chain[0], 0), -1);
    EXPECT_EQ(orderOf(g).rank, before);
    EXPECT_EQ(orderOf(g).state, ProducerOrder::State::Fresh);
    EXPECT_EQ(orderOf(g).firstRank, 0);
    EXPECT_EQ(orderOf(g).nextRank, kLength + 1);
    EXPECT_EQ(g.numEdgesGlobal(), kLength - 1);
}

// Where the far side is the larger, the searched side moves as it would
// without the tries: x takes the rank of the node it now feeds, and the
// chain below moves up by one.
TEST(GraphCycle, FarSideLargerThanTheSearchedSideStays)
{
    constexpr int kTail = kLocal + 2; // x comes before chain[kLength - kTail]
    constexpr int kLength = kTail + 3 * kLocal;
    Graph g;
    const std::vector<int> chain = buildChain(g, kLength);
    const int x = insertAfter(g, chain, kLength - kTail - 1);
    for (int k = 0; k < kLength - kTail; ++k)
        EXPECT_EQ(rankOf(g, chain[size_t(k)]), k + 1) << k;
    EXPECT_EQ(rankOf(g, x), kLength - kTail + 1);
    for (int k = kLength - kTail; k < kLength; ++k)
        EXPECT_EQ(rankOf(g, chain[size_t(k)]), k + 2) << k;
    EXPECT_EQ(orderOf(g).firstRank, 0);
    EXPECT_EQ(orderOf(g).nextRank, kLength + 2);
    EXPECT_EQ(checkedOrder(g), kLength + 2);
    EXPECT_EQ(addEdgeChecked(g, chain.back(), 0, chain[0], 0), -1);
}

// The mirror case: a long chain u comes to feed c, which feeds a chain d
// of kLocal + 2 nodes. At 2 * kLocal nodes up the chain u, c and all it
// feeds go above every other node.
TEST(GraphCycle, FarSideDownstreamGoesLastOnceTheSearchedSideDoubles)
{
    constexpr int kFed = kLocal + 2;
    constexpr int kChain = 3 * kLocal + 6;
    Graph g;
    const int c = addNode(g);
    std::vector<int> d;
    for (int k = 0; k < kFed; ++k)
        d.push_back(addNode(g));
    std::vector<int> u;
    for (int k = 0; k < kChain; ++k)
        u.push_back(addNode(g));
    int id = 0;
    EXPECT_EQ(addEdgeChecked(g, c, 0, d[0], 0), id++);
    for (int k = 1; k < kFed; ++k)
        EXPECT_EQ(addEdgeChecked(g, d[size_t(k) - 1], 0, d[size_t(k)], 0), id++);
    for (int k = 1; k < kChain; ++k)
        EXPECT_EQ(addEdgeChecked(g, u[size_t(k) - 1], 0, u[size_t(k)], 0), id++);
    EXPECT_EQ(addEdgeChecked(g, u.back(), 0, c, 0), id++);
    constexpr int kTop = kFed + kChain + 2; // nextRank before the move
    EXPECT_EQ(rankOf(g, c), kTop);
    for (int k = 0; k < kFed; ++k)
        EXPECT_EQ(rankOf(g, d[size_t(k)]), kTop + 1 + k) << k;
    for (int k = 0; k < kChain; ++k)
        EXPECT_EQ(rankOf(g, u[size_t(k)]), kFed + 2 + k) << k; // as built
    EXPECT_EQ(orderOf(g).nextRank, kTop + 1 + kFed);
    EXPECT_EQ(orderOf(g).firstRank, 0);
    EXPECT_EQ(checkedOrder(g), kTop);
    EXPECT_EQ(addEdgeChecked(g, d.back(), 0, u[0], 0), -1);
}

// The same edit at the other end: each new node goes in right before the
// last two nodes of the chain. The edge from the new node into them is
// proved free of loops by ranking the new node below them first, a move of
// three nodes; the search upstream from the new node, which used to decide
// it, would walk the whole chain above (quadratic in all).
TEST(GraphCycle, NodesPutInBeforeTheLastTwoOfAChainAHundredThousandTimes)
{
    constexpr int kInserted = 100000;
    Graph g;
    const int head = addNode(g);
    const int before = addNode(g);
    const int last = addNode(g);
    EXPECT_EQ(addEdgeChecked(g, head, 0, before, 0), 0);
    EXPECT_EQ(addEdgeChecked(g, before, 0, last, 0), 1);
    int mismatches = 0;
    for (int k = 0; k < kInserted; ++k) {
        const int edge = g.inputSource(before, 0);
        const int previous = g.edgeSourceNode(edge);
        g.removeEdge(edge);
        const int x = addNode(g);
        mismatches += g.addEdge(previous, 0, x, 0) != 2 * k + 2;
        mismatches += g.addEdge(x, 0, before, 0) != 2 * k + 3;
    }
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(orderOf(g).state, ProducerOrder::State::Fresh);
    EXPECT_EQ(checkedOrder(g), kInserted + 4);
    const int newest = g.numNodesGlobal() - 1;
    EXPECT_EQ(rankOf(g, newest) + 1, rankOf(g, before));
    EXPECT_EQ(rankOf(g, before) + 1, rankOf(g, last));
    EXPECT_TRUE(g.precedes(head, last, true));
    EXPECT_EQ(addEdgeChecked(g, last, 0, head, 0), -1);
    g.addInput(newest, QStringLiteral("back"), -1);
    EXPECT_EQ(addEdgeChecked(g, last, 0, newest, 1), -1);
    EXPECT_EQ(addEdgeChecked(g, head, 0, newest, 1), 2 * kInserted + 2);
    EXPECT_EQ(g.numEdgesGlobal(), 2 * kInserted + 3);
}

// An edge that closes a loop through an enclosing node is accepted (see the
// first test). Here the order learns of the loop while it tries the far
// side: y feeds a chain w before the short way y -> z -> s back to the new
// edge's source, the search downstream of y reaches kLocal nodes in w
// first, and the way up from s meets y. Every later answer comes from the
// search.
TEST(GraphCycle, LoopMetWhileTryingTheFarSideLeavesTheAnswersToTheSearch)
{
    Graph g;
    const int x = g.addNode(QStringLiteral("x"), 2, 1, Graph::kRootNodeRef);
    const int y = g.addNode(QStringLiteral("y"), 1, 2, x);
    const int z = addNode(g, x);
    std::vector<int> w;
    for (int k = 0; k < kLocal + 2; ++k)
        w.push_back(addNode(g, x));
    const int s = addNode(g);
    const int h = addNode(g);
    int id = 0;
    EXPECT_EQ(g.addDownEdge(0, y, 0), id++);
    EXPECT_EQ(addEdgeChecked(g, y, 0, z, 0), id++);
    EXPECT_EQ(g.addUpEdge(0, z, 0), id++); // z makes x's output
    EXPECT_EQ(addEdgeChecked(g, y, 1, w[0], 0), id++);
    for (int k = 1; k < kLocal + 2; ++k)
        EXPECT_EQ(addEdgeChecked(g, w[size_t(k) - 1], 0, w[size_t(k)], 0), id++);
    EXPECT_EQ(addEdgeChecked(g, x, 0, s, 0), id++);
    EXPECT_EQ(addEdgeChecked(g, h, 0, x, 1), id++); // x now ranks above s
    EXPECT_EQ(rankOf(g, x), kLocal + 7);
    EXPECT_EQ(rankOf(g, s), kLocal + 6);
    EXPECT_EQ(rankOf(g, y), 2);
    EXPECT_EQ(orderOf(g).state, ProducerOrder::State::Fresh);

    EXPECT_EQ(addEdgeChecked(g, s, 0, x, 0), id++);
    EXPECT_EQ(orderOf(g).state, ProducerOrder::State::LiteralOnly);
    EXPECT_TRUE(g.precedes(s, y, true));
    EXPECT_TRUE(g.precedes(y, s, true));
    g.addInput(y, QStringLiteral("back"), -1);
    EXPECT_EQ(addEdgeChecked(g, w.back(), 0, y, 1), -1); // y -> w
    EXPECT_EQ(addEdgeChecked(g, w.back(), 0, z, 0), -1); // z's input is taken
    EXPECT_EQ(g.numEdgesGlobal(), id);
}

// The same edit at scale, as a host that adds each new pass right after
// its source does: each insertion used to move the whole chain below the
// new node (2.1 ms per insertion at 40,000 nodes, in an optimised build).
TEST(GraphCycle, NodesPutInAfterTheHeadOfAChainAHundredThousandTimes)
{
    constexpr int kInserted = 100000;
    Graph g;
    const int head = addNode(g);
    const int tail = addNode(g);
    EXPECT_EQ(addEdgeChecked(g, head, 0, tail, 0), 0);
    // The edges are checked against the search only at the end: the search
    // from each edge into the chain would walk all of it.
    int mismatches = 0;
    for (int k = 0; k < kInserted; ++k) {
        const int next = g.edgeDestNode(g.outputDestination(head, 0, 0));
        g.removeEdge(g.outputDestination(head, 0, 0));
        const int x = addNode(g);
        mismatches += g.addEdge(head, 0, x, 0) != 2 * k + 1;
        mismatches += g.addEdge(x, 0, next, 0) != 2 * k + 2;
    }
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(orderOf(g).state, ProducerOrder::State::Fresh);
    // The first kLocal - 1 insertions find fewer than kLocal nodes below;
    // from then on the head and the new node go first each time.
    EXPECT_EQ(orderOf(g).firstRank, -2 * (kInserted - kLocal + 1));
    EXPECT_EQ(rankOf(g, head), orderOf(g).firstRank);
    EXPECT_EQ(rankOf(g, g.numNodesGlobal() - 1), orderOf(g).firstRank + 1);
    EXPECT_EQ(checkedOrder(g), kInserted + 3);
    EXPECT_TRUE(g.precedes(head, tail, true));
    EXPECT_EQ(addEdgeChecked(g, tail, 0, head, 0), -1);
    const int last = g.numNodesGlobal() - 1; // right after the head
    EXPECT_EQ(g.edgeSourceNode(g.inputSource(last, 0)), head);
    g.addInput(last, QStringLiteral("back"), -1);
    EXPECT_EQ(addEdgeChecked(g, tail, 0, last, 1), -1);
    EXPECT_EQ(addEdgeChecked(g, head, 0, last, 1), 2 * kInserted + 1); // a second edge from the head
    EXPECT_EQ(g.numEdgesGlobal(), 2 * kInserted + 2);
}

// The order's update for an up edge takes the same way out: here the new
// up edge makes child c, which nothing feeds, the producer of a long chain
// that reads its parent's output, and c alone moves below every other.
TEST(GraphCycle, UpEdgeFromAChildThatNothingFeedsRanksTheChildFirst)
{
    constexpr int kChain = 2 * kLocal;
    Graph g;
    const int group = addNode(g);
    std::vector<int> t;
    for (int k = 0; k < kChain; ++k)
        t.push_back(addNode(g));
    int id = 0;
    EXPECT_EQ(addEdgeChecked(g, group, 0, t[0], 0), id++);
    for (int k = 1; k < kChain; ++k)
        EXPECT_EQ(addEdgeChecked(g, t[size_t(k) - 1], 0, t[size_t(k)], 0), id++);
    std::vector<int> before;
    for (int n : t)
        before.push_back(rankOf(g, n));
    const int c = addNode(g, group);
    EXPECT_EQ(rankOf(g, c), kChain + 2);
    EXPECT_EQ(g.addUpEdge(0, c, 0), id++);
    EXPECT_EQ(rankOf(g, c), -1);
    EXPECT_EQ(orderOf(g).firstRank, -1);
    std::vector<int> after;
    for (int n : t)
        after.push_back(rankOf(g, n));
    EXPECT_EQ(after, before);
    EXPECT_EQ(checkedOrder(g), kChain + 3);
    EXPECT_TRUE(g.precedes(c, t.back(), true));
    EXPECT_FALSE(g.precedes(group, t.back(), true));
}

// A node's own edge into itself is a loop, whatever its ends look like.
TEST(GraphCycle, EdgeFromANodeThatNothingFeedsIntoItselfIsRefused)
{
    Graph g;
    const int a = addNode(g);
    const int b = addNode(g);
    EXPECT_EQ(addEdgeChecked(g, a, 0, b, 0), 0);
    const int n = g.addNode(QStringLiteral("n"), 2, 1, Graph::kRootNodeRef);
    EXPECT_EQ(addEdgeChecked(g, n, 0, n, 0), -1);
    EXPECT_EQ(g.checkEdge(n, 0, n, 0).refusal, Morvane::Zrn::EdgeRefusal::WouldCloseCycle);
    EXPECT_EQ(addEdgeChecked(g, b, 0, n, 0), 1);
    EXPECT_EQ(addEdgeChecked(g, n, 0, n, 1), -1);
    EXPECT_EQ(g.numEdgesGlobal(), 2);
}

// removeOutput() erases an output with its edges left in place: the edge
// still carries the node's value, though no list of the node names it. The
// node then feeds something without listing it, and only the search may
// answer.
TEST(GraphCycle, NodeWhoseConnectedOutputWasErasedStillFeedsThroughItsEdge)
{
    Graph g;
    const int m = addNode(g);
    const int x = addNode(g);
    EXPECT_EQ(addEdgeChecked(g, m, 0, x, 0), 0);
    g.removeOutput(m, 0);
    EXPECT_EQ(g.numOutputs(m), 0);
    EXPECT_TRUE(g.precedes(m, x, true));
    EXPECT_EQ(g.checkEdge(x, 0, m, 0).refusal, Morvane::Zrn::EdgeRefusal::WouldCloseCycle);
    EXPECT_EQ(addEdgeChecked(g, x, 0, m, 0), -1);
    EXPECT_NE(orderOf(g).state, ProducerOrder::State::Fresh);
    EXPECT_EQ(g.numEdgesGlobal(), 1);
}

// The same build at scale. Each new edge used to move every node made so
// far in the order, which made it quadratic (58 us per node at 1,000 nodes,
// 560 us at 10,000, in an optimised build); now the order moves kLocal
// nodes at most before it moves the new node alone.
TEST(GraphCycle, ChainBuiltFromItsEndAHundredThousandNodesLong)
{
    constexpr int kLength = 100000;
    Graph g;
    const std::vector<int> chain = buildChainFromItsEnd(g, kLength); // chain[k] is fed by chain[k + 1]
    EXPECT_EQ(orderOf(g).state, ProducerOrder::State::Fresh);
    EXPECT_EQ(rankOf(g, chain[0]), kLocal);
    EXPECT_EQ(rankOf(g, chain.back()), -(kLength - kLocal));
    EXPECT_EQ(orderOf(g).firstRank, -(kLength - kLocal));
    EXPECT_EQ(checkedOrder(g), kLength + 1);

    const int start = chain.back();
    EXPECT_TRUE(g.precedes(start, chain[0], true));
    EXPECT_EQ(addEdgeChecked(g, chain[0], 0, start, 0), -1); // the whole chain
    const int after = addNode(g);
    EXPECT_EQ(addEdgeChecked(g, chain[0], 0, after, 0), kLength - 1);
    g.addInput(chain[kLength / 2], QStringLiteral("back"), -1);
    EXPECT_EQ(addEdgeChecked(g, after, 0, chain[kLength / 2], 1), -1);
    EXPECT_EQ(g.numEdgesGlobal(), kLength);
}

// The nodes of a chain made first, in a shuffled order, then linked from
// the start of the chain to its end: each new edge enters a node that
// feeds nothing yet, made at a random time. Half of the edges used to
// search and move much of the chain above them.
TEST(GraphCycle, ChainMadeInShuffledOrderLinkedFromItsStartAHundredThousandNodesLong)
{
    constexpr int kLength = 100000;
    Graph g;
    std::vector<int> chain;
    for (int k = 0; k < kLength; ++k)
        chain.push_back(addNode(g));
    std::shuffle(chain.begin(), chain.end(), std::mt19937(20261123));
    // The edges are checked against the search only at the end: the search
    // from each new edge's source would walk the whole chain above it.
    int mismatches = 0;
    for (int k = 1; k < kLength; ++k)
        mismatches += g.addEdge(chain[size_t(k) - 1], 0, chain[size_t(k)], 0) != k - 1;
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(orderOf(g).state, ProducerOrder::State::Fresh);
    EXPECT_EQ(checkedOrder(g), kLength + 1);
    EXPECT_TRUE(g.precedes(chain[0], chain.back(), true));
    EXPECT_EQ(addEdgeChecked(g, chain.back(), 0, chain[0], 0), -1);
    g.addInput(chain[kLength / 2], QStringLiteral("back"), -1);
    EXPECT_EQ(addEdgeChecked(g, chain[kLength - 2], 0, chain[kLength / 2], 1), -1);
    EXPECT_EQ(addEdgeChecked(g, chain[kLength / 2 - 2], 0, chain[kLength / 2], 1), kLength - 1);
    EXPECT_EQ(checkedOrder(g), kLength + 1);
    EXPECT_EQ(g.numEdgesGlobal(), kLength);
}

// Ranks handed out below and above the others run out at the ends of the
// int range. There the node that would move alone stays, and the order
// moves the whole side as for any other link; a new node with no rank left
// above has the order rebuilt.
TEST(GraphCycle, RanksAtTheEndsOfTheIntRangeStayInRange)
{
    {
        // A chain from its end, as above, one node past the first move alone.
        constexpr int kLength = kLocal + 1;
        Graph g;
        const std::vector<int> chain = buildChainFromItsEnd(g, kLength);
        ASSERT_EQ(rankOf(g, chain[kLocal]), -1);
        auto& order = const_cast<ProducerOrder&>(orderOf(g)); // as many moves would leave it
        order.firstRank = INT_MIN;
        const int n = addNode(g);
        EXPECT_EQ(rankOf(g, n), kLength + 1);
        EXPECT_EQ(addEdgeChecked(g, n, 0, chain[kLocal], 0), kLocal);
        EXPECT_EQ(order.firstRank, INT_MIN);
        // The whole chain moved up by one place, n took the lowest rank.
        EXPECT_EQ(rankOf(g, n), -1);
        EXPECT_EQ(rankOf(g, chain[kLocal]), 1);
        EXPECT_EQ(rankOf(g, chain[0]), kLength + 1);
        EXPECT_EQ(checkedOrder(g), kLength + 2);
    }
    {
        // The mirror build, one edge past the first move alone.
        constexpr int kLength = kLocal + 2;
        Graph g;
        std::vector<int> chain(kLength);
        for (int k = kLength - 1; k >= 0; --k)
            chain[size_t(k)] = addNode(g);
        for (int k = 0; k < kLocal; ++k)
            ASSERT_EQ(addEdgeChecked(g, chain[size_t(k)], 0, chain[size_t(k) + 1], 0), k);
        ASSERT_EQ(rankOf(g, chain[kLocal]), kLength + 1);
        auto& order = const_cast<ProducerOrder&>(orderOf(g));
        order.nextRank = INT_MAX;
        EXPECT_EQ(addEdgeChecked(g, chain[kLocal], 0, chain[kLocal + 1], 0), kLocal);
        EXPECT_EQ(order.nextRank, INT_MAX);
        EXPECT_EQ(rankOf(g, chain[kLocal + 1]), kLength + 1);
        EXPECT_EQ(rankOf(g, chain[kLocal]), kLength);
        EXPECT_EQ(rankOf(g, chain[0]), kLength - kLocal - 1);
        EXPECT_EQ(checkedOrder(g), kLength + 1);

        // A new node finds no rank left above: the order is rebuilt at the
        // next edge, in slot order.
        const int n = addNode(g);
        EXPECT_EQ(order.state, ProducerOrder::State::Stale);
        EXPECT_EQ(addEdgeChecked(g, chain[kLocal + 1], 0, n, 0), kLength - 1);
        EXPECT_EQ(order.state, ProducerOrder::State::Fresh);
        EXPECT_EQ(order.nextRank, kLength + 2);
        EXPECT_EQ(order.firstRank, 0);
        EXPECT_EQ(rankOf(g, n), kLength + 1);
        EXPECT_EQ(checkedOrder(g), kLength + 2);
    }
}

TEST(GraphCycle, SeededRandomEditsAgreeWithTheSearch)
{
    int failures = 0;
    for (int seed = 0; seed < 800 && failures < 5; ++seed) {
        std::mt19937 rng(std::uint32_t(seed) * 2654435761u + 7u);
        std::vector<std::uint8_t> bytes(200 + rng() % 800);
        for (std::uint8_t& b : bytes)
            b = std::uint8_t(rng());
        const std::string failure = replay(bytes);
        if (!failure.empty()) {
            ADD_FAILURE() << "seed " << seed << ": " << failure;
            ++failures;
        }
    }
    EXPECT_EQ(failures, 0);
}

TEST(GraphCycle, SeedCorpusAgreesWithTheSearch)
{
    const std::vector<ZrnTest::CorpusFile> files = ZrnTest::readCorpus(QStringLiteral(ZRN_CYCLE_CORPUS_DIR));
    EXPECT_GE(files.size(), 8u);
    for (const ZrnTest::CorpusFile& file : files)
        EXPECT_EQ(replay(file.bytes), std::string()) << file.name.toStdString();
}

// purge() keeps parent fields as they were, so one may name a slot past the
// end of the storage. A node added later takes that slot and becomes the
// stale child's parent; the order keeps agreeing with the search.
TEST(GraphCycle, NodeAddedIntoASlotThatAStaleParentFieldNames)
{
    Graph g;
    const int a = addNode(g);
    const int b = addNode(g);
    const int x = addNode(g);
    const int y = addNode(g);
    const int p = addNode(g);
    addNode(g, p);
    g.removeNode(x);
    g.removeNode(y);
    g.purge();
    // Now a = 1, b = 2, p = 3 and its child 4, whose parent field still says 5.
    ASSERT_EQ(g.numNodesGlobal(), 5);
    ASSERT_EQ(g.parentNode(4), 5);
    EXPECT_EQ(addEdgeChecked(g, a, 0, b, 0), 0);
    const int n = addNode(g);
    ASSERT_EQ(n, 5);
    EXPECT_EQ(g.parentNode(4), n);
    EXPECT_EQ(addEdgeChecked(g, b, 0, n, 0), 1);
    EXPECT_EQ(addEdgeChecked(g, n, 0, a, 0), -1); // a -> b -> n
    EXPECT_EQ(addEdgeChecked(g, n, 0, 3, 0), 2);
    EXPECT_EQ(g.addDownEdge(0, 4, 0), 3);         // n's input now reaches its stale child
    EXPECT_EQ(addEdgeChecked(g, 3, 0, a, 0), -1); // a -> b -> n -> 3
    EXPECT_EQ(g.numEdgesGlobal(), 4);
}

// Top-level nodes a and b, then x, y, p and p's child; x and y removed and
// purged away. The child, now node 4, keeps its parent field 5, which names
// no slot until the next node is made. Returns a and b.
std::pair<int, int> purgeLeavingAStaleParentField(Graph& g)
{
    const int a = addNode(g);
    const int b = addNode(g);
    const int x = addNode(g);
    const int y = addNode(g);
    const int p = addNode(g);
    addNode(g, p);
    g.removeNode(x);
    g.removeNode(y);
    g.purge();
    return {a, b};
}

// The same stale field, but the node added into that slot is the stale
// child's own child: the parents now go round in a loop, and from then on
// every answer comes from the search.
TEST(GraphCycle, NodeAddedUnderTheStaleChildThatNamesItsSlotMakesAParentLoop)
{
    Graph g;
    const auto [a, b] = purgeLeavingAStaleParentField(g);
    EXPECT_EQ(addEdgeChecked(g, a, 0, b, 0), 0);
    const int n = addNode(g, 4);
    ASSERT_EQ(n, 5);
    ASSERT_EQ(g.parentNode(4), n);
    ASSERT_EQ(g.parentNode(n), 4);
    EXPECT_EQ(addEdgeChecked(g, b, 0, 3, 0), 1);
    EXPECT_EQ(addEdgeChecked(g, 3, 0, a, 0), -1); // a -> b -> 3
    EXPECT_EQ(addEdgeChecked(g, 4, 0, n, 0), -1); // not siblings: n's parent is 4
    const int c = addNode(g);
    EXPECT_EQ(addEdgeChecked(g, 3, 0, c, 0), 2);
    EXPECT_EQ(addEdgeChecked(g, c, 0, b, 0), -1); // b -> 3 -> c
    EXPECT_EQ(g.numEdgesGlobal(), 3);
}

// Down edges around that loop of parents feed each of the two inputs from
// the other. The walk up from either input goes round the loop; it stops
// once it has taken as many steps as the graph has edges, at the input it
// reached then, which a regular edge does not feed. The search, and with
// it addEdge() and checkEdge(), must still answer.
TEST(GraphCycle, DownEdgesAroundALoopOfParentsDoNotHangTheWalks)
{
    Graph g;
    const auto [a, b] = purgeLeavingAStaleParentField(g);
    EXPECT_EQ(addEdgeChecked(g, a, 0, b, 0), 0);
    const int n = addNode(g, 4);
    ASSERT_EQ(g.parentNode(4), n);
    ASSERT_EQ(g.parentNode(n), 4);
    EXPECT_EQ(g.addDownEdge(0, 4, 0), 1); // n's input into 4's
    EXPECT_EQ(g.addDownEdge(0, n, 0), 2); // 4's input into n's
    EXPECT_EQ(g.numEdgesGlobal(), 3);

    int node = 4;
    int index = 0;
    EXPECT_TRUE(g.walkUp(node, index)); // three steps: n, 4, n
    EXPECT_EQ(node, n);
    EXPECT_EQ(index, 0);
    node = n;
    EXPECT_TRUE(g.walkUp(node, index));
    EXPECT_EQ(node, 4);
    EXPECT_FALSE(g.walkToSourceNode(node, index));
    EXPECT_FALSE(g.precedes(a, 4, true));
    EXPECT_FALSE(g.precedes(a, n, true));
    EXPECT_TRUE(g.precedes(4, 4, true));

    // n's output, made an up edge's source, feeds 4's output; 4's output
    // feeds n's the same way: the walk down goes round as well.
    EXPECT_EQ(g.addUpEdge(0, n, 0), 3);
    EXPECT_EQ(g.addUpEdge(0, 4, 0), 4);
    node = 4;
    index = 0;
    EXPECT_TRUE(g.walkDown(node, index)); // five steps: n, 4, n, 4, n
    EXPECT_EQ(node, n);
    EXPECT_EQ(index, 0);

    g.addInput(4, QStringLiteral("more"), -1);
    const int c = g.addNode(QStringLiteral("c"), 1, 1, n);
    EXPECT_EQ(addEdgeChecked(g, c, 0, 4, 1), 5);
    EXPECT_TRUE(g.checkEdge(c, 0, 4, 1).refusal == Morvane::Zrn::EdgeRefusal::OccupiedInput);
    EXPECT_EQ(g.numEdgesGlobal(), 6);
}

// Once a first regular edge has been made, every later edit keeps the order
// up to date. A hierarchy a hundred thousand levels deep, each level's input
// handed down from the level above as the level is made, must then be built
// without a walk up through the levels above each new down edge, which
// made this build quadratic in the depth (46 s in an optimised test build).
TEST(GraphCycle, HierarchyHandedDownAHundredThousandLevelsAfterAFirstEdge)
{
    constexpr int kDepth = 100000;
    Graph g;
    const int a = addNode(g);
    const int top = g.addNode(QStringLiteral("top"), 2, 1, Graph::kRootNodeRef);
    EXPECT_EQ(addEdgeChecked(g, a, 0, top, 0), 0);
    std::vector<int> levels{top};
    for (int level = 1; level <= kDepth; ++level) {
        const int n = g.addNode(QStringLiteral("n"), 2, 1, levels.back());
        ASSERT_EQ(g.addDownEdge(0, n, 0), level);
        levels.push_back(n);
    }
    const int bottom = levels.back();
    const int b = addNode(g, levels[size_t(kDepth - 1)]);
    EXPECT_TRUE(g.precedes(a, bottom, true)); // a -> top -> ... -> bottom
    EXPECT_EQ(addEdgeChecked(g, bottom, 0, b, 0), kDepth + 1);
    EXPECT_EQ(addEdgeChecked(g, b, 0, bottom, 1), -1); // bottom -> b -> bottom
    EXPECT_EQ(addEdgeChecked(g, top, 0, a, 0), -1);    // a -> top -> a
    EXPECT_EQ(g.numEdgesGlobal(), kDepth + 2);
}

// The same depth with outputs handed up, from the bottom level up to the
// top, while nothing reads them yet: no new up edge may walk down through
// the levels below it. Then the top's output carries the bottom's value.
TEST(GraphCycle, HierarchyHandedUpAHundredThousandLevelsAfterAFirstEdge)
{
    constexpr int kDepth = 100000;
    Graph g;
    const int a = addNode(g);
    const int top = addNode(g);
    const int b = addNode(g);
    EXPECT_EQ(addEdgeChecked(g, a, 0, top, 0), 0);
    std::vector<int> levels{top};
    for (int level = 1; level <= kDepth; ++level)
        levels.push_back(addNode(g, levels.back()));
    for (int level = kDepth; level >= 1; --level)
        ASSERT_EQ(g.addUpEdge(0, levels[size_t(level)], 0), 1 + kDepth - level);
    const int bottom = levels.back();
    EXPECT_EQ(addEdgeChecked(g, top, 0, b, 0), kDepth + 1);
    EXPECT_TRUE(g.precedes(bottom, b, true)); // b reads the bottom's value
    EXPECT_FALSE(g.precedes(top, b, true));   // not the top's own
    EXPECT_FALSE(g.precedes(a, b, true));     // nor anything that feeds the top
    EXPECT_EQ(addEdgeChecked(g, b, 0, a, 0), kDepth + 2);
    EXPECT_EQ(g.numEdgesGlobal(), kDepth + 3);
}

} // namespace
