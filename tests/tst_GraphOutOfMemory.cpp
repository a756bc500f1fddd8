// A graph that cannot get memory: the creating operations either finish or
// throw std::bad_alloc with the graph as it was, and the producer order
// behind addEdge()'s cycle refusal, which only saves searches, goes stale
// when one of its updates cannot get memory instead of being left wrong.
//
// FailingAllocator.h makes one allocation fail: the next one on the calling
// thread, or the next of a given size. The order keeps its working storage
// per thread, empty in a new thread, so the tests that need its first
// allocation run in one.

#include "FailingAllocator.h"

#include "../src/Core/Graph_p.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <new>
#include <thread>

namespace {

using Morvane::Zrn::Graph;
using Morvane::Zrn::GraphStorage;
using Morvane::Zrn::ProducerOrder;
using ZrnTest::failAfter;
using ZrnTest::failSize;
using ZrnTest::failureUsed;
using State = ProducerOrder::State;

const ProducerOrder& orderOf(const Graph& g)
{
    return GraphStorage::of(g).order;
}

int addNode(Graph& g, int parent = Graph::kRootNodeRef)
{
    return g.addNode(QStringLiteral("n"), 1, 1, parent);
}

// Runs `body` on a thread of its own, whose per-thread storage is new.
template <typename Body>
void onNewThread(Body body)
{
    std::thread thread(body);
    thread.join();
}

TEST(GraphOutOfMemory, NodeWithMorePortsThanAnIntCountsThrowsAndLeavesTheGraphAsItWas)
{
    Graph g;
    const int a = addNode(g);
    const int b = addNode(g);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);
    ASSERT_EQ(orderOf(g).state, State::Fresh);
    const quint64 revision = g.revision();

    // One input, then INT_MAX outputs: the ports would number past INT_MAX.
    EXPECT_THROW(g.addNode(QStringLiteral("x"), 1, INT_MAX, Graph::kRootNodeRef), std::bad_alloc);

    EXPECT_EQ(g.numNodesGlobal(), 3);
    EXPECT_EQ(g.numNodes(Graph::kRootNodeRef), 2);
    EXPECT_EQ(g.getNode(1, Graph::kRootNodeRef), b);
    EXPECT_FALSE(g.isValidNode(3));
    EXPECT_EQ(g.revision(), revision);
    EXPECT_EQ(orderOf(g).state, State::Fresh);
    EXPECT_EQ(orderOf(g).rank.size(), size_t(3));
    // No node 3 to connect: the edge is refused, nothing is read past the order.
    EXPECT_EQ(g.addEdge(b, 0, 3, 0), Graph::kInvalidEdgeRef);

    // The next node takes slot 3, and edges to and from it behave.
    const int x = addNode(g);
    EXPECT_EQ(x, 3);
    EXPECT_EQ(g.numNodes(Graph::kRootNodeRef), 3);
    EXPECT_EQ(g.addEdge(b, 0, x, 0), 1);
    EXPECT_EQ(g.addEdge(x, 0, a, 0), Graph::kInvalidEdgeRef); // a -> b -> x
    EXPECT_TRUE(g.precedes(a, x, true));
}

TEST(GraphOutOfMemory, NodeWhoseParentsListCannotGrowThrowsAndLeavesTheGraphAsItWas)
{
    SKIP_UNLESS_ALLOCATIONS_CAN_FAIL();
    Graph g;
    const int parent = addNode(g);
    addNode(g, parent);
    addNode(g, parent); // two children: the list is full in place
    const quint64 revision = g.revision();
    failAfter = 0; // the list's growth, the third child's first allocation
    EXPECT_THROW(addNode(g, parent), std::bad_alloc);
    EXPECT_TRUE(failureUsed());
    failAfter = -1;
    EXPECT_EQ(g.numNodes(parent), 2);
    EXPECT_EQ(g.numNodesGlobal(), 4);
    EXPECT_EQ(g.revision(), revision);
    EXPECT_EQ(addNode(g, parent), 4);
    EXPECT_EQ(g.numNodes(parent), 3);
    EXPECT_EQ(g.getNode(2, parent), 4);
}

TEST(GraphOutOfMemory, NodeWhoseRecordCannotBeStoredLeavesItsParentsListAsItWas)
{
    SKIP_UNLESS_ALLOCATIONS_CAN_FAIL();
    Graph g;
    // The root and 255 nodes fill the first chunk of 256 node records; the
    // root's list of children has room for one more.
    for (int k = 0; k < 255; ++k)
        addNode(g);
    ASSERT_EQ(g.numNodesGlobal(), 256);
    const quint64 revision = g.revision();
    // The 256th child is listed under the root, then its record needs a
    // new chunk, which fails.
    failSize = sizeof(Morvane::Zrn::Node) * 256;
    EXPECT_THROW(addNode(g), std::bad_alloc);
    EXPECT_TRUE(failureUsed());
    failSize = 0;
    EXPECT_EQ(g.numNodes(Graph::kRootNodeRef), 255);
    EXPECT_EQ(g.numNodesGlobal(), 256);
    EXPECT_EQ(g.revision(), revision);
    EXPECT_EQ(addNode(g), 256);
    EXPECT_EQ(g.numNodes(Graph::kRootNodeRef), 256);
    EXPECT_EQ(g.getNode(255, Graph::kRootNodeRef), 256);
}

TEST(GraphOutOfMemory, RankOfANewNodeThatCannotBeStoredLeavesTheOrderStale)
{
    SKIP_UNLESS_ALLOCATIONS_CAN_FAIL();
    Graph g;
    const int a = addNode(g);
    const int b = addNode(g);
    const int c = addNode(g);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0); // builds the order: four ranks, four places
    ASSERT_EQ(orderOf(g).state, State::Fresh);
    ASSERT_EQ(orderOf(g).rank.size(), size_t(4));
    ASSERT_EQ(orderOf(g).rank.capacity(), size_t(4));

    // The next rank doubles the order's storage to 8 ints, which fails;
    // the root's list of children has room for a fourth, and the node
    // records' first chunk for a fifth.
    failSize = 8 * sizeof(int);
    const int d = addNode(g);
    EXPECT_TRUE(failureUsed());
    failSize = 0;
    EXPECT_EQ(d, 4);
    EXPECT_TRUE(g.isValidNode(d));
    EXPECT_EQ(orderOf(g).state, State::Stale);

    // The next edge rebuilds the order, with a rank for every node.
    EXPECT_EQ(g.addEdge(b, 0, c, 0), 1);
    EXPECT_EQ(orderOf(g).state, State::Fresh);
    EXPECT_EQ(orderOf(g).rank.size(), size_t(5));
    EXPECT_EQ(g.addEdge(c, 0, d, 0), 2);
    EXPECT_EQ(g.addEdge(d, 0, a, 0), Graph::kInvalidEdgeRef); // a -> b -> c -> d
}

TEST(GraphOutOfMemory, MoveForANewEdgeWithoutMemoryLeavesTheOrderStaleAndTheEdgeMade)
{
    SKIP_UNLESS_ALLOCATIONS_CAN_FAIL();
    onNewThread([] {
        Graph g;
        const int n0 = addNode(g);
        const int n1 = addNode(g);
        const int n2 = addNode(g);
        ASSERT_EQ(g.addEdge(n0, 0, n1, 0), 0); // ranks: root, n0, n1, n2
        ASSERT_EQ(orderOf(g).state, State::Fresh);

        // n2 feeds n0: nothing feeds n2, so the edge closes no loop, and
        // the order must move n2 below n0; its search's first allocation
        // on this thread fails.
        failAfter = 0;
        int made = Graph::kInvalidEdgeRef;
        EXPECT_NO_THROW(made = g.addEdge(n2, 0, n0, 0));
        EXPECT_TRUE(failureUsed());
        failAfter = -1;
        EXPECT_EQ(made, 1);
        EXPECT_EQ(g.inputSource(n0, 0), 1);
        EXPECT_EQ(g.outputDestination(n2, 0, 0), 1);
        EXPECT_EQ(orderOf(g).state, State::Stale);

        // n2 -> n0 -> n1: n1 feeding n2 would close a loop.
        EXPECT_EQ(g.addEdge(n1, 0, n2, 0), Graph::kInvalidEdgeRef);
        EXPECT_EQ(orderOf(g).state, State::Fresh);
        EXPECT_LT(orderOf(g).rank[size_t(n2)], orderOf(g).rank[size_t(n0)]);
        EXPECT_LT(orderOf(g).rank[size_t(n0)], orderOf(g).rank[size_t(n1)]);
    });
}

TEST(GraphOutOfMemory, DownEdgeWhoseOrderUpdateLacksMemoryLeavesTheOrderStaleAndTheEdgeMade)
{
    SKIP_UNLESS_ALLOCATIONS_CAN_FAIL();
    onNewThread([] {
        Graph g;
        const int p = addNode(g);
        const int c = addNode(g, p);
        const int d = addNode(g, c);
        const int s = addNode(g);
        ASSERT_EQ(g.addDownEdge(0, d, 0), 0); // c's input hands on to d
        ASSERT_EQ(g.addEdge(s, 0, p, 0), 1);  // builds the order
        ASSERT_EQ(orderOf(g).state, State::Fresh);

        // p's input now reaches c, and through c d: both now read s. The
        // update collects them, and its first allocation on this thread fails.
        failAfter = 0;
        int made = Graph::kInvalidEdgeRef;
        EXPECT_NO_THROW(made = g.addDownEdge(0, c, 0));
        EXPECT_TRUE(failureUsed());
        failAfter = -1;
        EXPECT_EQ(made, 2);
        EXPECT_EQ(g.inputSource(c, 0), 2);
        EXPECT_EQ(orderOf(g).state, State::Stale);

        // c and d now read s; and p feeding s would close a loop.
        EXPECT_TRUE(g.precedes(s, d, true));
        EXPECT_EQ(g.addEdge(p, 0, s, 0), Graph::kInvalidEdgeRef);
        EXPECT_EQ(orderOf(g).state, State::Fresh);
        EXPECT_LT(orderOf(g).rank[size_t(s)], orderOf(g).rank[size_t(c)]);
        EXPECT_LT(orderOf(g).rank[size_t(s)], orderOf(g).rank[size_t(d)]);
    });
}

TEST(GraphOutOfMemory, OrderThatCannotBeBuiltStaysStaleAndTheSearchDecides)
{
    SKIP_UNLESS_ALLOCATIONS_CAN_FAIL();
    Graph g;
    const int a = addNode(g);
    const int b = addNode(g);
    for (int k = 0; k < 34; ++k)
        addNode(g);
    ASSERT_EQ(g.numNodesGlobal(), 37);
    ASSERT_EQ(orderOf(g).state, State::Stale); // built at the first edge
    // The build's first allocation: a byte for each of the 37 slots.
    failSize = 37;
    int made = Graph::kInvalidEdgeRef;
    EXPECT_NO_THROW(made = g.addEdge(a, 0, b, 0));
    EXPECT_TRUE(failureUsed());
    failSize = 0;
    EXPECT_EQ(made, 0);
    EXPECT_EQ(orderOf(g).state, State::Stale);

    EXPECT_EQ(g.addEdge(b, 0, a, 0), Graph::kInvalidEdgeRef);
    EXPECT_EQ(orderOf(g).state, State::Fresh);
    EXPECT_LT(orderOf(g).rank[size_t(a)], orderOf(g).rank[size_t(b)]);
}

TEST(GraphOutOfMemory, UpEdgeRemovalWhoseOrderUpdateLacksMemoryLeavesTheOrderStale)
{
    SKIP_UNLESS_ALLOCATIONS_CAN_FAIL();
    onNewThread([] {
        Graph g;
        const int p = addNode(g);
        const int c = addNode(g, p);
        const int q = addNode(g);
        const int s = addNode(g);
        ASSERT_EQ(g.addUpEdge(0, c, 0), 0);  // p's output gives c's value
        ASSERT_EQ(g.addEdge(p, 0, q, 0), 1); // c ranks below q: nothing moves
        ASSERT_EQ(orderOf(g).state, State::Fresh);

        // Without the up edge q reads p itself: the update collects q, and
        // its first allocation on this thread fails.
        const int upEdge = 0;
        failAfter = 0;
        EXPECT_NO_THROW(g.removeEdge(upEdge));
        EXPECT_TRUE(failureUsed());
        failAfter = -1;
        EXPECT_FALSE(g.isValidEdge(upEdge));
        EXPECT_EQ(orderOf(g).state, State::Stale);

        EXPECT_EQ(g.addEdge(q, 0, p, 0), Graph::kInvalidEdgeRef); // p -> q
        EXPECT_EQ(orderOf(g).state, State::Fresh);
        EXPECT_LT(orderOf(g).rank[size_t(p)], orderOf(g).rank[size_t(q)]);
        EXPECT_EQ(g.addEdge(s, 0, p, 0), 2);
    });
}

TEST(GraphOutOfMemory, PortThatCannotBeStoredThrowsAndLeavesItsNameUnused)
{
    SKIP_UNLESS_ALLOCATIONS_CAN_FAIL();
    Graph g;
    const int n = g.addNode(QStringLiteral("n"), 3, 0, Graph::kRootNodeRef); // full in place
    g.setInputName(n, 0, QStringLiteral("x"));
    const Morvane::Zrn::PortNames& names = GraphStorage::of(g).portNames;
    const int x = names.lookup(QStringLiteral("x"));
    ASSERT_GT(x, 0);
    const quint64 revision = g.revision();

    // "x" is known, so the name takes no memory; the ports' move to the
    // heap is the first allocation, and fails.
    failAfter = 0;
    EXPECT_THROW(g.addInput(n, QStringLiteral("x"), -1), std::bad_alloc);
    EXPECT_TRUE(failureUsed());
    failAfter = -1;
    EXPECT_EQ(g.numInputs(n), 3);
    EXPECT_EQ(g.revision(), revision);

    // The only port named "x" goes: so does the name, as no failed port
    // holds it.
    g.removeInput(n, 0);
    EXPECT_EQ(names.lookup(QStringLiteral("x")), -1);
    EXPECT_EQ(g.addInput(n, QStringLiteral("y"), 4), 2);
    EXPECT_EQ(g.inputName(n, 2), QStringLiteral("y"));
    EXPECT_EQ(g.inputGroup(n, 2), 4);
}

TEST(GraphOutOfMemory, EdgeWhoseDestinationListCannotGrowThrowsAndLeavesTheGraphAsItWas)
{
    SKIP_UNLESS_ALLOCATIONS_CAN_FAIL();
    Graph g;
    const int src = addNode(g);
    const int dst[3] = {addNode(g), addNode(g), addNode(g)};
    ASSERT_EQ(g.addEdge(src, 0, dst[0], 0), 0);
    ASSERT_EQ(g.addEdge(src, 0, dst[1], 0), 1); // the list is full in place
    const quint64 revision = g.revision();

    failAfter = 0; // the list's growth to four
    EXPECT_THROW(g.addEdge(src, 0, dst[2], 0), std::bad_alloc);
    EXPECT_TRUE(failureUsed());
    failAfter = -1;
    EXPECT_EQ(g.numEdgesGlobal(), 2);
    EXPECT_EQ(g.numOutputDestinations(src, 0), 2);
    EXPECT_EQ(g.inputSource(dst[2], 0), Graph::kInvalidEdgeRef);
    EXPECT_EQ(g.revision(), revision);

    EXPECT_EQ(g.addEdge(src, 0, dst[2], 0), 2);
    EXPECT_EQ(g.numOutputDestinations(src, 0), 3);
    EXPECT_EQ(g.outputDestination(src, 0, 2), 2);
}

} // namespace
