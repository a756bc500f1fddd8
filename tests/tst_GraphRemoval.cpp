// Removal of nodes, ports and groups, and purge().

#include "GraphSnapshot.h"
#include "TestSupport.h"

#include "../src/Core/Graph_p.h"

#include <ZrnCore/Graph.h>

#include <gtest/gtest.h>

#include <QtCore/QString>
#include <QtCore/QVector>

#include <cstdint>
#include <vector>

using Morvane::Zrn::Graph;
using ZrnTest::childrenOf;
using ZrnTest::inputDestinations;
using ZrnTest::outputDestinations;

namespace {

// Node names; `s` names fixture members here.
constexpr auto name = &ZrnTest::s;

std::vector<int> toStd(const QVector<int>& values)
{
    return std::vector<int>(values.begin(), values.end());
}

// S's one output feeds the one input of each of A, B and C: edges 0, 1, 2.
struct FanOut
{
    Graph g;
    int s = g.addNode(name("s"), 0, 1, 0);
    int a = g.addNode(name("a"), 1, 0, 0);
    int b = g.addNode(name("b"), 1, 0, 0);
    int c = g.addNode(name("c"), 1, 0, 0);
    FanOut()
    {
        EXPECT_EQ(g.addEdge(s, 0, a, 0), 0);
        EXPECT_EQ(g.addEdge(s, 0, b, 0), 1);
        EXPECT_EQ(g.addEdge(s, 0, c, 0), 2);
    }
};

// Root children A (1, one output) and B (2, one input), edge 0 from A to B.
struct Pair
{
    Graph g;
    int a = g.addNode(name("a"), 0, 1, 0);
    int b = g.addNode(name("b"), 1, 0, 0);
    Pair()
    {
        EXPECT_EQ(a, 1);
        EXPECT_EQ(b, 2);
        EXPECT_EQ(g.addEdge(a, 0, b, 0), 0);
    }
};

// ---------------------------------------------------------------- removing nodes

TEST(GraphRemoveNode, LeafTurnsInvalidAndLaterSiblingsMoveDown)
{
    Graph g;
    const int a = g.addNode(name("a"), 0, 0, 0);
    const int b = g.addNode(name("b"), 0, 0, 0);
    const int c = g.addNode(name("c"), 0, 0, 0);
    ASSERT_EQ(g.indexOfNode(c), 2);

    g.removeNode(b);

    EXPECT_FALSE(g.isValidNode(b));
    EXPECT_EQ(g.numNodesGlobal(), 4);
    EXPECT_EQ(g.numNodes(0), 2);
    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{a, c}));
    EXPECT_EQ(g.indexOfNode(a), 0);
    EXPECT_EQ(g.indexOfNode(c), 1);
    EXPECT_TRUE(g.isValidNode(a));
    EXPECT_TRUE(g.isValidNode(c));
}

// Root (1 input) holds S, composite C, and sinks T, U, V, W.
//   e0  S.out0 -> C.in0        e5  c2.out0 -> C.out0 (up)
//   e1  C.in0  -> c1.in0 (down) e6  C.out0 -> T.in0
//   e2  c1.out0 -> c2.in0       e7  C.out0 -> U.in0
//   e3  c2.in0 -> g.in0 (down)  e8  C.out0 -> V.in0
//   e4  g.out0 -> c2.out0 (up)  e9  S.out0 -> W.in0   (outside C)
//   e10 root.in0 -> S.in0 (down, outside C)
struct NestedFixture
{
    Graph g;
    int s, c, c1, c2, gc, t, u, v, w;
    std::vector<int> edges;

    NestedFixture()
    {
        g.addInput(0, name("rootIn"), -1);
        s = g.addNode(name("S"), 1, 1, 0);
        c = g.addNode(name("C"), 1, 1, 0);
        c1 = g.addNode(name("c1"), 1, 1, c);
        c2 = g.addNode(name("c2"), 1, 1, c);
        gc = g.addNode(name("g"), 1, 1, c2);
        t = g.addNode(name("T"), 1, 0, 0);
        u = g.addNode(name("U"), 1, 0, 0);
        v = g.addNode(name("V"), 1, 0, 0);
        w = g.addNode(name("W"), 1, 0, 0);
        edges.push_back(g.addEdge(s, 0, c, 0));   // e0
        edges.push_back(g.addDownEdge(0, c1, 0)); // e1
        edges.push_back(g.addEdge(c1, 0, c2, 0)); // e2
        edges.push_back(g.addDownEdge(0, gc, 0)); // e3
        edges.push_back(g.addUpEdge(0, gc, 0));   // e4
        edges.push_back(g.addUpEdge(0, c2, 0));   // e5
        edges.push_back(g.addEdge(c, 0, t, 0));   // e6
        edges.push_back(g.addEdge(c, 0, u, 0));   // e7
        edges.push_back(g.addEdge(c, 0, v, 0));   // e8
        edges.push_back(g.addEdge(s, 0, w, 0));   // e9
        edges.push_back(g.addDownEdge(0, s, 0));  // e10
        for (int i = 0; i < int(edges.size()); ++i)
            EXPECT_EQ(edges[size_t(i)], i);
    }
};

TEST(GraphRemoveNode, NodeWithChildrenTakesEveryDescendantAndEveryEdgeAtTheirPorts)
{
    NestedFixture f;
    Graph& g = f.g;

    g.removeNode(f.c);

    for (int n : {f.c, f.c1, f.c2, f.gc})
        EXPECT_FALSE(g.isValidNode(n)) << n;
    for (int n : {0, f.s, f.t, f.u, f.v, f.w})
        EXPECT_TRUE(g.isValidNode(n)) << n;
    for (int e = 0; e <= 8; ++e)
        EXPECT_FALSE(g.isValidEdge(e)) << e;
    EXPECT_TRUE(g.isValidEdge(9));
    EXPECT_TRUE(g.isValidEdge(10));
    EXPECT_EQ(g.numEdgesGlobal(), 11);
    EXPECT_EQ(g.numNodesGlobal(), 10);

    // What is left outside C: S keeps only its edge to W, the sinks lost theirs.
    EXPECT_EQ(outputDestinations(g, f.s, 0), (std::vector<int>{9}));
    EXPECT_EQ(g.inputSource(f.s, 0), 10);
    EXPECT_EQ(inputDestinations(g, 0, 0), (std::vector<int>{10}));
    EXPECT_EQ(g.inputSource(f.t, 0), -1);
    EXPECT_EQ(g.inputSource(f.u, 0), -1);
    EXPECT_EQ(g.inputSource(f.v, 0), -1);
    EXPECT_EQ(g.inputSource(f.w, 0), 9);
    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{f.s, f.t, f.u, f.v, f.w}));
    // Removed edges keep their fields.
    EXPECT_EQ(g.edgeSourceNode(8), f.c);
    EXPECT_EQ(g.edgeDestNode(8), f.v);
}

TEST(GraphRemoveNode, RemovedSubtreeKeepsItsPortsUnconnectedAndItsParentFields)
{
    NestedFixture f;
    Graph& g = f.g;
    g.removeNode(f.c);
    // Only unchecked reads are possible on removed nodes: the parent fields
    // stay as they were.
    EXPECT_EQ(g.parentNode(f.c), 0);
    EXPECT_EQ(g.parentNode(f.c2), f.c);
    EXPECT_EQ(g.parentNode(f.gc), f.c2);
    EXPECT_EQ(g.indexOfNode(f.c), -1); // no longer among the root's children
}

TEST(GraphRemoveNode, PortWithThreeDestinationsLosesAllThree)
{
    FanOut f;
    Graph& g = f.g;

    g.removeNode(f.s);

    for (int e : {0, 1, 2})
        EXPECT_FALSE(g.isValidEdge(e)) << e;
    for (int n : {f.a, f.b, f.c})
        EXPECT_EQ(g.inputSource(n, 0), -1) << n;
    EXPECT_EQ(g.numEdgesGlobal(), 3);
    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{f.a, f.b, f.c}));
}

TEST(GraphRemoveNode, RemoveChildNodeLeavesTheNodeListedAmongItsParentsChildren)
{
    Graph g;
    const int a = g.addNode(name("a"), 0, 1, 0);
    const int b = g.addNode(name("b"), 1, 0, 0);
    const int bc = g.addNode(name("bc"), 0, 0, b);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);

    g.removeChildNode(b);

    EXPECT_FALSE(g.isValidNode(b));
    EXPECT_FALSE(g.isValidNode(bc));
    EXPECT_FALSE(g.isValidEdge(0));
    EXPECT_EQ(g.numNodes(0), 2);
    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{a, b}));
    EXPECT_EQ(g.indexOfNode(b), 1);
    EXPECT_EQ(g.numOutputDestinations(a, 0), 0);
}

TEST(GraphRemoveNode, RemovingTheRootRemovesTheWholeTree)
{
    NestedFixture f;
    Graph& g = f.g;

    g.removeNode(0);

    for (int n = 0; n < g.numNodesGlobal(); ++n)
        EXPECT_FALSE(g.isValidNode(n)) << n;
    for (int e = 0; e < g.numEdgesGlobal(); ++e)
        EXPECT_FALSE(g.isValidEdge(e)) << e;
    EXPECT_EQ(g.numNodesGlobal(), 10);
    EXPECT_EQ(g.numEdgesGlobal(), 11);

    g.removeNode(0); // nothing valid is left: a second call does nothing
    g.removeChildNode(0);
    EXPECT_EQ(g.numNodesGlobal(), 10);
    EXPECT_EQ(g.numEdgesGlobal(), 11);
    for (int n = 0; n < g.numNodesGlobal(); ++n)
        EXPECT_FALSE(g.isValidNode(n)) << n;
}

TEST(GraphRemoveNode, InvalidOrRemovedReferencesAreIgnored)
{
    Graph g;
    const int a = g.addNode(name("a"), 0, 0, 0);
    const int b = g.addNode(name("b"), 0, 0, 0);
    g.removeChildNode(b);
    ASSERT_EQ(childrenOf(g, 0), (std::vector<int>{a, b}));

    g.removeNode(-1);
    g.removeNode(g.numNodesGlobal());
    g.removeChildNode(-1);
    g.removeChildNode(g.numNodesGlobal());
    // b is removed already: removeNode() does not take it out of the list.
    g.removeNode(b);

    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{a, b}));
    EXPECT_TRUE(g.isValidNode(0));
    EXPECT_TRUE(g.isValidNode(a));
    EXPECT_EQ(g.numNodesGlobal(), 3);
}

TEST(GraphRemoveNode, ParentOfAChildRemovedEarlierIsRemovedWithIt)
{
    Graph g;
    const int p = g.addNode(name("p"), 1, 0, 0);
    const int k1 = g.addNode(name("k1"), 1, 0, p);
    const int k2 = g.addNode(name("k2"), 1, 0, p);
    ASSERT_EQ(g.addDownEdge(0, k1, 0), 0);
    ASSERT_EQ(g.addDownEdge(0, k2, 0), 1);
    g.removeChildNode(k1);
    ASSERT_FALSE(g.isValidEdge(0));
    ASSERT_TRUE(g.isValidEdge(1));

    g.removeNode(p);

    for (int n : {p, k1, k2})
        EXPECT_FALSE(g.isValidNode(n)) << n;
    EXPECT_FALSE(g.isValidEdge(1));
    EXPECT_EQ(g.numNodes(0), 0);
}

TEST(GraphRemoveNode, HierarchyOfAHundredThousandLevelsIsRemovedWithoutExhaustingTheStack)
{
    constexpr int kDepth = 100000;
    Graph g;
    g.addInput(0, name("in"), -1);
    int parent = 0;
    for (int level = 0; level < kDepth; ++level) {
        const int n = g.addNode(name("n"), 1, 0, parent);
        ASSERT_EQ(g.addDownEdge(0, n, 0), level);
        parent = n;
    }
    ASSERT_EQ(g.numNodesGlobal(), kDepth + 1);

    g.removeNode(1);

    EXPECT_TRUE(g.isValidNode(0));
    EXPECT_EQ(g.numNodes(0), 0);
    EXPECT_EQ(g.numInputDestinations(0, 0), 0);
    int invalidNodes = 0;
    for (int n = 1; n <= kDepth; ++n)
        invalidNodes += g.isValidNode(n) ? 0 : 1;
    EXPECT_EQ(invalidNodes, kDepth);
    int invalidEdges = 0;
    for (int e = 0; e < g.numEdgesGlobal(); ++e)
        invalidEdges += g.isValidEdge(e) ? 0 : 1;
    EXPECT_EQ(invalidEdges, kDepth);
}

// A graph large enough that its node and edge records go into 2 MiB blocks
// (past 2 MiB of nodes and 4 MiB of edges): 200 parents of 200 children
// with eight inputs and one output, each child's eight inputs fed by the
// child before it, 40,201 nodes and 318,400 edges. Removing every child k
// with k % 4 == 1 and purging leaves the survivors renumbered in slot
// order and the edges between survivors with their ends translated; what
// was freed goes back.
TEST(GraphPurge, GraphWhoseRecordsFillBlocksIsPurgedExactly)
{
    constexpr int kParents = 200;
    constexpr int kChildren = 200;
    constexpr int kInputs = 8;
    const long long blocksBefore = Morvane::Zrn::Internal::hugePageBlockBytes();
    {
        Graph g;
        for (int p = 0; p < kParents; ++p)
            ASSERT_EQ(g.addNode(name("p"), 0, 0, 0), 1 + p);
        struct OldEdge
        {
            int src;
            int dst;
            int input;
        };
        std::vector<OldEdge> oldEdges;
        const auto child = [&](int p, int k) { return 1 + kParents + p * kChildren + k; };
        for (int p = 0; p < kParents; ++p) {
            for (int k = 0; k < kChildren; ++k) {
                ASSERT_EQ(g.addNode(name("c"), kInputs, 1, 1 + p), child(p, k));
                if (k == 0)
                    continue;
                for (int i = 0; i < kInputs; ++i) {
                    ASSERT_EQ(g.addEdge(child(p, k - 1), 0, child(p, k), i), int(oldEdges.size()));
                    oldEdges.push_back(OldEdge{child(p, k - 1), child(p, k), i});
                }
            }
        }
        ASSERT_EQ(g.numNodesGlobal(), 40201);
        ASSERT_EQ(g.numEdgesGlobal(), 318400);
        // Nodes in chunks of 256: 158 chunks, of which those past 2 MiB of
        // records share blocks; edges 1,244 chunks of 4 KiB, those past 4 MiB
        // in blocks.
        const auto blocksOf = [](auto constants, size_t records) {
            using Records = decltype(constants);
            const size_t chunks = (records + Records::kChunkSize - 1) / Records::kChunkSize;
            if (chunks <= Records::kFirstBlockChunk)
                return size_t(0);
            return (chunks - Records::kFirstBlockChunk + Records::kChunksPerBlock - 1) / Records::kChunksPerBlock;
        };
        const size_t blocks =
            blocksOf(Morvane::Zrn::NodeRecords(), 40201) + blocksOf(Morvane::Zrn::EdgeRecords(), 318400);
        EXPECT_EQ(blocksOf(Morvane::Zrn::EdgeRecords(), 318400), 1u); // 1,024 lone chunks, 220 in one block
        EXPECT_EQ(blocksOf(Morvane::Zrn::NodeRecords(), 40201), 2u);  // Qt 5 and Qt 6 alike
        if (Morvane::Zrn::kMapsHugePageBlocks) {
            EXPECT_EQ(Morvane::Zrn::Internal::hugePageBlockBytes(),
                      blocksBefore + static_cast<long long>(blocks * (2 << 20)));
        }

        const auto removed = [&](int node) { return node > kParents && (node - 1 - kParents) % kChildren % 4 == 1; };
        for (int n = 1 + kParents; n < g.numNodesGlobal(); ++n) {
            if (removed(n))
                g.removeNode(n);
        }
        QVector<int> nodeMap;
        QVector<int> edgeMap;
        g.purge(&nodeMap, &edgeMap);

        // Purging freed the edge block (158,400 edges need 619 lone chunks)
        // and the node blocks that 30,201 nodes no longer need.
        if (Morvane::Zrn::kMapsHugePageBlocks) {
            EXPECT_EQ(Morvane::Zrn::Internal::hugePageBlockBytes(),
                      blocksBefore + static_cast<long long>(blocksOf(Morvane::Zrn::NodeRecords(), 30201) * (2 << 20)));
        }
        EXPECT_EQ(g.numNodesGlobal(), 1 + kParents + kParents * 150);
        EXPECT_EQ(g.numEdgesGlobal(), kParents * 99 * kInputs);
        ASSERT_EQ(nodeMap.size(), 40201);
        ASSERT_EQ(edgeMap.size(), 318400);
        int nextNode = 0;
        for (int n = 0; n < 40201; ++n)
            ASSERT_EQ(nodeMap[n], removed(n) ? -1 : nextNode++) << "node " << n;
        int nextEdge = 0;
        int mismatches = 0;
        for (size_t e = 0; e < oldEdges.size(); ++e) {
            const OldEdge& old = oldEdges[e];
            const bool kept = !removed(old.src) && !removed(old.dst);
            ASSERT_EQ(edgeMap[int(e)], kept ? nextEdge : -1) << "edge " << e;
            if (!kept)
                continue;
            const int src = nodeMap[old.src];
            const int dst = nodeMap[old.dst];
            mismatches += g.edgeSourceNode(nextEdge) != src || g.edgeSourceIndex(nextEdge) != 0
                || g.edgeDestNode(nextEdge) != dst || g.edgeDestIndex(nextEdge) != old.input
                || g.inputSource(dst, old.input) != nextEdge || g.outputDestination(src, 0, old.input) != nextEdge;
            ++nextEdge;
        }
        EXPECT_EQ(nextEdge, kParents * 99 * kInputs);
        EXPECT_EQ(mismatches, 0);
        // The first child of every parent after the first removed one: fed by
        // nothing now, its output feeding the eight inputs of the next.
        const int third = nodeMap[child(0, 2)];
        EXPECT_EQ(g.inputSource(third, 0), -1);
        EXPECT_EQ(g.numOutputDestinations(third, 0), kInputs);
        const int last = nodeMap[child(kParents - 1, kChildren - 1)];
        EXPECT_EQ(last, g.numNodesGlobal() - 1);
        EXPECT_EQ(g.numOutputDestinations(last, 0), 0);
        EXPECT_EQ(g.inputSource(last, 7), g.numEdgesGlobal() - 1);
    }
    EXPECT_EQ(Morvane::Zrn::Internal::hugePageBlockBytes(), blocksBefore);
}

// Node records go into 2 MiB blocks once they take 2 MiB (edge records
// once they take 4 MiB): the node slot past the lone chunks opens a block,
// the slot past that block's chunks opens the next, each mapping exactly
// one block more and starting at a 2 MiB border; removing the nodes past
// the lone chunks and purging frees both again, and one node more opens a
// block again.
TEST(GraphRecords, NodeRecordsShareBlocksPastTwoMiB)
{
    using Morvane::Zrn::Node;
    using Records = Morvane::Zrn::NodeRecords;
    constexpr size_t kTwoMiB = size_t(2) << 20;
    static_assert((Records::kFirstBlockChunk - 1) * Records::kChunkSize * sizeof(Node) < kTwoMiB
                      && Records::kFirstBlockChunk * Records::kChunkSize * sizeof(Node) >= kTwoMiB,
                  "the lone chunks of node records take 2 MiB, rounded up to a whole chunk");
    static_assert(Morvane::Zrn::EdgeRecords::kFirstBlockChunk == 1024, "4 MiB of lone chunks of 4 KiB of edges");
    // 144-byte records with Qt 6: 57 lone chunks of 36,864 bytes, 56 to a
    // block; 128-byte records with Qt 5: 64 of 32 KiB, 64 to a block.
    const int lone = int(Records::kFirstBlockChunk * Records::kChunkSize);
    const int perBlock = int(Records::kChunksPerBlock * Records::kChunkSize);
    if (sizeof(Node) == 144) {
        EXPECT_EQ(lone, 14592);
        EXPECT_EQ(perBlock, 14336);
    } else if (sizeof(Node) == 128) {
        EXPECT_EQ(lone, 16384);
        EXPECT_EQ(perBlock, 16384);
    } else {
        ADD_FAILURE() << "a node record of " << sizeof(Node) << " bytes: add its figures here";
    }
    const bool mapped = Morvane::Zrn::kMapsHugePageBlocks;
    const long long before = Morvane::Zrn::Internal::hugePageBlockBytes();
    // The bytes of the blocks mapped since the test began are `bytes`,
    // where the blocks are mapped (not in builds with AddressSanitizer).
    const auto expectBlockBytes = [&](long long bytes) {
        if (mapped) {
            EXPECT_EQ(Morvane::Zrn::Internal::hugePageBlockBytes() - before, bytes);
        }
    };
    const auto addNodesUpTo = [](Graph& g, int count) {
        while (g.numNodesGlobal() < count)
            g.addNode(name("n"), 0, 0, 0);
    };
    // Where the record of slot `n` lies past the last 2 MiB border: 0 for
    // the first record of a block, in every build.
    const auto pastBorder = [](const Graph& g, int n) {
        const auto& record = Morvane::Zrn::GraphStorage::of(g).nodes[size_t(n)];
        return reinterpret_cast<std::uintptr_t>(&record) % kTwoMiB;
    };
    {
        Graph g;
        addNodesUpTo(g, lone);
        EXPECT_EQ(g.numNodesGlobal(), lone);
        expectBlockBytes(0);
        addNodesUpTo(g, lone + 1);
        expectBlockBytes(2 << 20);
        addNodesUpTo(g, lone + perBlock);
        expectBlockBytes(2 << 20);
        addNodesUpTo(g, lone + perBlock + 1);
        expectBlockBytes(4 << 20);
        EXPECT_EQ(pastBorder(g, lone), 0u);
        EXPECT_EQ(pastBorder(g, lone + perBlock), 0u);
        // The records in the blocks read as they were made.
        EXPECT_EQ(g.nodeName(lone), name("n"));
        EXPECT_EQ(g.parentNode(lone + perBlock), 0);

        QVector<int> past;
        for (int n = lone; n < g.numNodesGlobal(); ++n)
            past.append(n);
        g.removeNodes(past);
        g.purge();
        EXPECT_EQ(g.numNodesGlobal(), lone);
        EXPECT_EQ(g.numNodes(0), lone - 1);
        expectBlockBytes(0);
        addNodesUpTo(g, lone + 1);
        expectBlockBytes(2 << 20);
    }
    EXPECT_EQ(Morvane::Zrn::Internal::hugePageBlockBytes(), before);
}

// ---------------------------------------------------------------- removing ports

TEST(GraphRemovePort, RemovingInputZeroMovesInputOneDownWithNameSourceAndDestinations)
{
    Graph g;
    const int s = g.addNode(name("s"), 0, 1, 0);
    const int k = g.addNode(name("k"), 0, 0, 0);
    g.addInput(k, name("first"), -1);
    g.addInput(k, name("second"), -1);
    const int kc = g.addNode(name("kc"), 1, 0, k);
    const int e0 = g.addEdge(s, 0, k, 1);
    const int e1 = g.addDownEdge(1, kc, 0);
    ASSERT_EQ(e0, 0);
    ASSERT_EQ(e1, 1);

    g.removeInput(k, 0);

    ASSERT_EQ(g.numInputs(k), 1);
    EXPECT_EQ(g.inputName(k, 0), name("second"));
    EXPECT_EQ(g.inputSource(k, 0), e0);
    EXPECT_EQ(inputDestinations(g, k, 0), (std::vector<int>{e1}));
    // The edges were not touched: they still name the old index.
    EXPECT_TRUE(g.isValidEdge(e0));
    EXPECT_TRUE(g.isValidEdge(e1));
    EXPECT_EQ(g.edgeDestIndex(e0), 1);
    EXPECT_EQ(g.edgeSourceIndex(e1), 1);
}

TEST(GraphRemovePort, RemovingOutputZeroMovesOutputOneDownAndLeavesEdgesAlone)
{
    Graph g;
    const int k = g.addNode(name("k"), 0, 0, 0);
    g.addOutput(k, name("first"), -1);
    g.addOutput(k, name("second"), -1);
    const int kc = g.addNode(name("kc"), 0, 1, k);
    const int t = g.addNode(name("t"), 1, 0, 0);
    const int up = g.addUpEdge(1, kc, 0);
    const int out = g.addEdge(k, 1, t, 0);
    ASSERT_EQ(up, 0);
    ASSERT_EQ(out, 1);

    g.removeOutput(k, 0);

    ASSERT_EQ(g.numOutputs(k), 1);
    EXPECT_EQ(g.outputName(k, 0), name("second"));
    EXPECT_EQ(g.outputSource(k, 0), up);
    EXPECT_EQ(outputDestinations(g, k, 0), (std::vector<int>{out}));
    // The edges were not touched: they still name the old index.
    EXPECT_TRUE(g.isValidEdge(up));
    EXPECT_TRUE(g.isValidEdge(out));
    EXPECT_EQ(g.edgeDestIndex(up), 1);
    EXPECT_EQ(g.edgeSourceIndex(out), 1);
}

TEST(GraphRemovePort, PortThatDoesNotExistIsIgnored)
{
    Graph g;
    const int k = g.addNode(name("k"), 2, 2, 0);
    g.setInputName(k, 0, name("i0"));
    g.setInputName(k, 1, name("i1"));
    g.setOutputName(k, 0, name("o0"));
    g.setOutputName(k, 1, name("o1"));
    g.removeInput(k, 2);
    g.removeInput(k, -1);
    g.removeOutput(k, 2);
    g.removeOutput(-1, 0);
    g.removeInput(g.numNodesGlobal(), 0);
    g.removeOutput(k, -1);
    EXPECT_EQ(g.numInputs(k), 2);
    EXPECT_EQ(g.numOutputs(k), 2);
    EXPECT_EQ(g.inputName(k, 0), name("i0"));
    EXPECT_EQ(g.inputName(k, 1), name("i1"));
    EXPECT_EQ(g.outputName(k, 0), name("o0"));
    EXPECT_EQ(g.outputName(k, 1), name("o1"));
}

TEST(GraphRemovePort, RemovingInputGroupZeroDetachesItsPortsAndKeepsLaterNumbers)
{
    Graph g;
    const int n = g.addNode(name("n"), 0, 0, 0);
    ASSERT_EQ(g.addInputGroup(n, name("g0")), 0);
    ASSERT_EQ(g.addInputGroup(n, name("g1")), 1);
    g.addInput(n, name("a"), 0);
    g.addInput(n, name("b"), 1);
    g.addInput(n, name("c"), 0);
    g.addInput(n, name("d"), -1);

    g.removeInputGroup(n, 0);

    EXPECT_EQ(g.numInputGroups(n), 1);
    EXPECT_EQ(g.inputGroupName(n, 0), name("g1"));
    EXPECT_EQ(g.inputGroup(n, 0), -1);
    EXPECT_EQ(g.inputGroup(n, 1), 1); // kept: it now names no group
    EXPECT_FALSE(g.isValidInputGroup(n, 1));
    EXPECT_EQ(g.inputGroup(n, 2), -1);
    EXPECT_EQ(g.inputGroup(n, 3), -1);
    EXPECT_EQ(g.numInputs(n), 4);
}

TEST(GraphRemovePort, RemovingOutputGroupZeroDetachesItsPortsAndKeepsLaterNumbers)
{
    Graph g;
    const int n = g.addNode(name("n"), 0, 0, 0);
    g.addOutputGroup(n, name("g0"));
    g.addOutputGroup(n, name("g1"));
    g.addOutputGroup(n, name("g2"));
    g.addOutput(n, name("a"), 1);
    g.addOutput(n, name("b"), 2);
    g.addOutput(n, name("c"), 0);

    g.removeOutputGroup(n, 1);

    EXPECT_EQ(g.numOutputGroups(n), 2);
    EXPECT_EQ(g.outputGroupName(n, 0), name("g0"));
    EXPECT_EQ(g.outputGroupName(n, 1), name("g2"));
    EXPECT_EQ(g.outputGroup(n, 0), -1);
    EXPECT_EQ(g.outputGroup(n, 1), 2); // not renumbered
    EXPECT_EQ(g.outputGroup(n, 2), 0);
    EXPECT_EQ(g.numInputGroups(n), 0);
}

TEST(GraphRemovePort, RemovingAGroupLeavesTheOtherFamilyAlone)
{
    Graph g;
    const int n = g.addNode(name("n"), 0, 0, 0);
    g.addInputGroup(n, name("g"));
    g.addOutputGroup(n, name("g"));
    g.addInput(n, name("i"), 0);
    g.addOutput(n, name("o"), 0);

    g.removeInputGroup(n, 0);

    EXPECT_EQ(g.inputGroup(n, 0), -1);
    EXPECT_EQ(g.numInputGroups(n), 0);
    EXPECT_EQ(g.outputGroup(n, 0), 0);
    EXPECT_EQ(g.numOutputGroups(n), 1);
    EXPECT_EQ(g.outputGroupName(n, 0), name("g"));

    g.removeOutputGroup(n, 0);
    EXPECT_EQ(g.outputGroup(n, 0), -1);
    EXPECT_EQ(g.numOutputGroups(n), 0);
    EXPECT_EQ(g.numInputs(n), 1);
    EXPECT_EQ(g.inputName(n, 0), name("i"));
}

TEST(GraphRemovePort, GroupThatDoesNotExistIsIgnored)
{
    Graph g;
    const int n = g.addNode(name("n"), 0, 0, 0);
    g.addInputGroup(n, name("g"));
    g.addInput(n, name("x"), 1); // names a group that does not exist
    g.removeInputGroup(n, 1);
    g.removeInputGroup(n, -1);
    g.removeOutputGroup(n, 0);
    EXPECT_EQ(g.numInputGroups(n), 1);
    EXPECT_EQ(g.inputGroupName(n, 0), name("g"));
    EXPECT_EQ(g.inputGroup(n, 0), 1);
    EXPECT_EQ(g.numOutputGroups(n), 0);
}

// ---------------------------------------------------------------- purge

TEST(GraphPurge, WithNothingRemovedRootChildrenOneAndTwoBecomeZeroAndOne)
{
    Pair f;
    Graph& g = f.g;

    g.purge();

    EXPECT_EQ(g.numNodesGlobal(), 3);
    EXPECT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{0, 1}));
    // References themselves did not change.
    EXPECT_EQ(g.nodeName(1), name("a"));
    EXPECT_EQ(g.nodeName(2), name("b"));
    EXPECT_EQ(g.edgeSourceNode(0), 1);
    EXPECT_EQ(g.edgeDestNode(0), 2);
    EXPECT_EQ(g.inputSource(2, 0), 0);
    EXPECT_EQ(outputDestinations(g, 1, 0), std::vector<int>{0});
    EXPECT_EQ(g.parentNode(1), 0);
    EXPECT_EQ(g.parentNode(2), 0);
}

TEST(GraphPurge, DroppingSlotOneOfThreeRenumbersNodeTwoAndItsEdges)
{
    Graph g;
    g.addInput(0, name("rootIn"), -1);
    const int one = g.addNode(name("one"), 0, 1, 0);
    const int two = g.addNode(name("two"), 2, 0, 0);
    ASSERT_EQ(g.addEdge(one, 0, two, 0), 0);
    ASSERT_EQ(g.addDownEdge(0, two, 1), 1);

    g.removeNode(one);
    QVector<int> nodeMap;
    QVector<int> edgeMap;
    g.purge(&nodeMap, &edgeMap);

    EXPECT_EQ(toStd(nodeMap), (std::vector<int>{0, -1, 1}));
    EXPECT_EQ(toStd(edgeMap), (std::vector<int>{-1, 0}));
    EXPECT_EQ(g.numNodesGlobal(), 2);
    EXPECT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_EQ(g.nodeName(1), name("two"));
    EXPECT_TRUE(g.isValidNode(1));
    EXPECT_FALSE(g.isValidNode(2));
    // The edge that ran to node 2 now names node 1, and is edge 0.
    EXPECT_EQ(g.edgeSourceNode(0), 0);
    EXPECT_EQ(g.edgeSourceIndex(0), 0);
    EXPECT_EQ(g.edgeDestNode(0), 1);
    EXPECT_EQ(g.edgeDestIndex(0), 1);
    EXPECT_TRUE(g.isDownEdge(0));
    EXPECT_EQ(g.inputSource(1, 1), 0);
    EXPECT_EQ(g.inputSource(1, 0), -1);
    EXPECT_EQ(inputDestinations(g, 0, 0), (std::vector<int>{0}));
    // The root listed [2]; position 0 now holds the new reference of slot 0.
    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{0}));
}

TEST(GraphPurge, ParentFieldsKeepTheOldSlotNumbers)
{
    Graph g;
    g.addNode(name("one"), 0, 0, 0);
    const int two = g.addNode(name("two"), 0, 0, 0);
    const int three = g.addNode(name("three"), 0, 0, two);
    ASSERT_EQ(three, 3);

    g.removeNode(1);
    g.purge();

    EXPECT_EQ(g.numNodesGlobal(), 3);
    EXPECT_EQ(g.nodeName(2), name("three"));
    EXPECT_EQ(g.parentNode(2), 2); // its parent's old slot: parents are left alone
    EXPECT_EQ(g.nodeName(1), name("two"));
    EXPECT_EQ(g.parentNode(1), 0);
    // Node "two" listed [3]; position 0 receives the map entry of slot 0.
    EXPECT_EQ(childrenOf(g, 1), (std::vector<int>{0}));
    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{0}));
}

TEST(GraphPurge, SourcesAndDestinationsAreRenumberedInOrder)
{
    FanOut f;
    Graph& g = f.g;
    g.removeEdge(0);

    QVector<int> edgeMap;
    g.purge(nullptr, &edgeMap);

    EXPECT_EQ(toStd(edgeMap), (std::vector<int>{-1, 0, 1}));
    EXPECT_EQ(g.numEdgesGlobal(), 2);
    EXPECT_EQ(g.numNodesGlobal(), 5);
    EXPECT_EQ(outputDestinations(g, f.s, 0), (std::vector<int>{0, 1}));
    EXPECT_EQ(g.inputSource(f.a, 0), -1);
    EXPECT_EQ(g.inputSource(f.b, 0), 0);
    EXPECT_EQ(g.inputSource(f.c, 0), 1);
    EXPECT_EQ(g.edgeSourceNode(0), f.s);
    EXPECT_EQ(g.edgeDestNode(0), f.b);
    EXPECT_EQ(g.edgeSourceNode(1), f.s);
    EXPECT_EQ(g.edgeDestNode(1), f.c);
    EXPECT_TRUE(g.isValidEdge(0));
    EXPECT_TRUE(g.isValidEdge(1));
    EXPECT_FALSE(g.isValidEdge(2));
}

TEST(GraphPurge, HandsOutTheMapsOnlyWhereAsked)
{
    Pair f;
    Graph& g = f.g;
    g.addNode(name("c"), 0, 0, 0);
    g.removeNode(2);

    QVector<int> nodeMap{7, 7};
    g.purge(&nodeMap, nullptr);

    EXPECT_EQ(toStd(nodeMap), (std::vector<int>{0, 1, -1, 2}));
    EXPECT_EQ(g.numNodesGlobal(), 3);
    EXPECT_EQ(g.numEdgesGlobal(), 0);
    EXPECT_EQ(g.nodeName(2), name("c"));
}

TEST(GraphPurge, OfAGraphWithNothingToDropStillRewritesEveryChildrenList)
{
    Graph g;
    const int p = g.addNode(name("p"), 0, 0, 0);
    const int q = g.addNode(name("q"), 0, 0, 0);
    g.addNode(name("p0"), 0, 0, p);
    g.addNode(name("p1"), 0, 0, p);
    g.addNode(name("q0"), 0, 0, q);
    ASSERT_EQ(childrenOf(g, p), (std::vector<int>{3, 4}));
    ASSERT_EQ(childrenOf(g, q), (std::vector<int>{5}));

    QVector<int> nodeMap;
    QVector<int> edgeMap;
    g.purge(&nodeMap, &edgeMap);

    EXPECT_EQ(toStd(nodeMap), (std::vector<int>{0, 1, 2, 3, 4, 5}));
    EXPECT_TRUE(edgeMap.isEmpty());
    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{0, 1}));
    EXPECT_EQ(childrenOf(g, p), (std::vector<int>{0, 1}));
    EXPECT_EQ(childrenOf(g, q), (std::vector<int>{0}));
    EXPECT_EQ(g.parentNode(5), q);
}

TEST(GraphPurge, ChildrenListedAfterRemoveChildNodeMapToMinusOne)
{
    Graph g;
    const int a = g.addNode(name("a"), 0, 0, 0);
    const int b = g.addNode(name("b"), 0, 0, 0);
    g.addNode(name("c"), 0, 0, 0);
    g.removeChildNode(a);
    g.removeChildNode(b);

    g.purge();

    EXPECT_EQ(g.numNodesGlobal(), 2);
    EXPECT_EQ(g.nodeName(1), name("c"));
    // Root listed [1, 2, 3]: slots 0, 1, 2 map to 0, -1, -1.
    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{0, -1, -1}));
}

TEST(GraphPurge, PositionBeyondTheOldStorageReceivesMinusOne)
{
    // Slots 0..4, the root lists 1, 2, 3, 4; 1 and 2 are removed but listed.
    Graph g;
    for (const char* n : {"a", "b", "c", "d"})
        g.addNode(name(n), 0, 0, 0);
    g.removeChildNode(1);
    g.removeChildNode(2);
    g.purge();
    ASSERT_EQ(g.numNodesGlobal(), 3);
    ASSERT_EQ(childrenOf(g, 0), (std::vector<int>{0, -1, -1, 1}));

    // Now the list is longer than the storage: position 3 has no slot.
    QVector<int> nodeMap;
    g.purge(&nodeMap, nullptr);

    EXPECT_EQ(toStd(nodeMap), (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{0, 1, 2, -1}));
}

TEST(GraphPurge, AfterRemovingTheRootNothingIsLeft)
{
    Pair f;
    Graph& g = f.g;
    g.removeNode(0);

    QVector<int> nodeMap;
    QVector<int> edgeMap;
    g.purge(&nodeMap, &edgeMap);

    EXPECT_EQ(toStd(nodeMap), (std::vector<int>{-1, -1, -1}));
    EXPECT_EQ(toStd(edgeMap), (std::vector<int>{-1}));
    EXPECT_EQ(g.numNodesGlobal(), 0);
    EXPECT_EQ(g.numEdgesGlobal(), 0);
    EXPECT_FALSE(g.isValidNode(0));
    g.removeNode(0); // ignored
    g.purge();       // nothing to drop in an empty storage
    EXPECT_EQ(g.numNodesGlobal(), 0);
    EXPECT_EQ(g.numEdgesGlobal(), 0);
}

TEST(GraphPurge, RemovingTheRootAfterPurgeEndsAlthoughTheRootListsItself)
{
    Graph g;
    g.addNode(name("a"), 0, 0, 0);
    g.addNode(name("b"), 0, 0, 0);
    g.purge();
    ASSERT_EQ(childrenOf(g, 0), (std::vector<int>{0, 1}));

    g.removeNode(0);

    EXPECT_FALSE(g.isValidNode(0));
    EXPECT_FALSE(g.isValidNode(1));
    // Node 2 is listed nowhere since the rewrite, so nothing reaches it.
    EXPECT_TRUE(g.isValidNode(2));
}

TEST(GraphPurge, RemovingANodeWhoseOldParentSlotIsGoneLeavesTheListsAlone)
{
    // Root lists 1, 2, 3; node 4 is a child of 3. Dropping 1 and 2 moves 3 to
    // slot 1 and 4 to slot 2, whose parent field still says 3.
    Graph g;
    g.addNode(name("a"), 0, 0, 0);
    g.addNode(name("b"), 0, 0, 0);
    const int c = g.addNode(name("c"), 0, 0, 0);
    g.addNode(name("d"), 0, 0, c);
    g.removeNode(1);
    g.removeNode(2);
    g.purge();
    ASSERT_EQ(g.numNodesGlobal(), 3);
    ASSERT_EQ(g.parentNode(2), 3);

    g.removeNode(2);

    EXPECT_FALSE(g.isValidNode(2));
    EXPECT_TRUE(g.isValidNode(1));
    EXPECT_EQ(childrenOf(g, 0), (std::vector<int>{0}));
    EXPECT_EQ(childrenOf(g, 1), (std::vector<int>{0}));
}

TEST(GraphPurge, EdgeLeftOnAnErasedPortIsRemovedCleanlyAfterItsNodeIsPurged)
{
    // A's output is erased while it still feeds B, then A is removed and
    // purged: the edge keeps running from a node that no longer exists.
    Graph g;
    const int a = g.addNode(name("A"), 0, 1, Graph::kRootNodeRef);
    const int b = g.addNode(name("B"), 1, 0, Graph::kRootNodeRef);
    const int e = g.addEdge(a, 0, b, 0);
    ASSERT_EQ(e, 0);
    g.removeOutput(a, 0);
    g.removeNode(a);
    g.purge();

    ASSERT_EQ(g.numNodesGlobal(), 2);
    ASSERT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_EQ(g.edgeSourceNode(0), -1);
    EXPECT_EQ(g.edgeDestNode(0), 1);
    EXPECT_TRUE(g.isValidEdge(0));
    EXPECT_FALSE(g.isRegularEdge(0));
    EXPECT_FALSE(g.isDownEdge(0));
    EXPECT_FALSE(g.isUpEdge(0));
    EXPECT_EQ(g.inputSource(1, 0), 0);

    g.removeEdge(0);
    EXPECT_FALSE(g.isValidEdge(0));
    EXPECT_EQ(g.inputSource(1, 0), -1);
    // B's input is free again.
    const int c = g.addNode(name("C"), 0, 1, Graph::kRootNodeRef);
    EXPECT_EQ(g.addEdge(c, 0, 1, 0), 1);
}

TEST(GraphPurge, FindNodePassesOverChildrenEntriesThatNameNoSlot)
{
    // Root children A (1), B (2), C (3); A is removed but stays listed, so
    // purge maps slot 1 to -1 and rewrites the root's list to 0, -1, 1.
    Graph g;
    const int a = g.addNode(name("A"), 0, 0, Graph::kRootNodeRef);
    g.addNode(name("B"), 0, 0, Graph::kRootNodeRef);
    g.addNode(name("C"), 0, 0, Graph::kRootNodeRef);
    g.removeChildNode(a);
    g.purge();
    ASSERT_EQ(childrenOf(g, Graph::kRootNodeRef), (std::vector<int>{0, -1, 1}));

    EXPECT_EQ(g.findNode(name("A"), Graph::kRootNodeRef), -1);
    EXPECT_EQ(g.findNode(name("B"), Graph::kRootNodeRef), 1);
    EXPECT_EQ(g.findNode(name(""), Graph::kRootNodeRef), 0);   // the root, listed at position 0
    EXPECT_EQ(g.findNode(name("C"), Graph::kRootNodeRef), -1); // listed nowhere after the rewrite
}

} // namespace

// References outside the storage remove nothing and change nothing.
TEST(GraphRemoval, RemovingANodeOutsideTheStorageChangesNothing)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 1, 1, Graph::kRootNodeRef);
    const int b = g.addNode(QStringLiteral("b"), 1, 1, a);
    ASSERT_EQ(g.addDownEdge(0, b, 0), 0);
    const std::vector<int> before = ZrnTest::snapshot(g);
    g.removeChildNode(99);
    g.removeChildNode(-1);
    g.removeNode(99);
    g.removeNode(-1);
    EXPECT_EQ(ZrnTest::snapshot(g), before);
    EXPECT_TRUE(g.isValidNode(a));
    EXPECT_TRUE(g.isValidNode(b));
    EXPECT_EQ(childrenOf(g, a), std::vector<int>{b});
    EXPECT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_TRUE(g.isValidEdge(0));
}
