// Fuzzes addEdge()'s cycle refusal against the literal search: the input
// bytes are read as a sequence of edits of a random hierarchical graph (all
// three edge kinds, removal of edges, nodes and ports, disconnection, purge,
// compact, connection by name), and before every addEdge the expected result is
// worked out from the public queries and precedes(dst, src, true), which
// searches the graph; addEdge must return exactly that.
//
// A twin graph receives the same edits, except that it is handed only the
// edges that the search accepts; after every edit both graphs must read the
// same through the whole public interface, so that neither an accepted nor
// a refused edge changes anything else.
//
// Built as a libFuzzer target with clang (ZRNCORE_BUILD_FUZZERS=ON), where it
// also checks the library's order of producers after every edit, and
// replayed with the ordinary compiler by tests/tst_GraphCycle.cpp, which
// defines ZRN_FUZZ_FAIL to turn a failed check into a test failure.

#include <ZrnCore/Graph.h>

#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#if defined(ZRNCORE_STATIC_DEFINE)
// Built into the fuzzer with the library's sources: its storage is at hand.
#include "Graph_p.h"
#define ZRN_FUZZ_INTERNALS 1
#endif

#define ZRN_FUZZ_NAME "graph cycle fuzz"
#include "FuzzGraphSnapshot.h"
#include "FuzzInput.h"

namespace ZrnGraphCycleFuzz {

using Morvane::Zrn::Graph;

// Small graphs, so that the whole comparison after every edit stays cheap,
// with few ports, so that edges often meet and loops are often attempted.
constexpr int kMaxNodes = 48;
constexpr int kMaxPorts = 4;

class Bytes : public ZrnFuzz::FuzzInput
{
public:
    using FuzzInput::FuzzInput;

    // Mostly an index below `limit`, sometimes -1 or `limit` itself.
    int anyIndex(int limit)
    {
        switch (next() % 12) {
        case 0: return -1;
        case 1: return limit;
        default: return below(limit, 0);
        }
    }
};

// A live node, or -1 when none is left; with `nonRoot`, never the root.
int pickNode(const Graph& g, Bytes& in, bool nonRoot = false)
{
    std::vector<int> live;
    for (int n = nonRoot ? 1 : 0; n < g.numNodesGlobal(); ++n) {
        if (g.isValidNode(n))
            live.push_back(n);
    }
    return live.empty() ? -1 : live[in.next() % live.size()];
}

// A live node with the same parent field as `node` (possibly itself), or -1.
int pickSibling(const Graph& g, int node, Bytes& in)
{
    std::vector<int> siblings;
    for (int n = 0; n < g.numNodesGlobal(); ++n) {
        if (g.isValidNode(n) && g.parentNode(n) == g.parentNode(node))
            siblings.push_back(n);
    }
    return siblings.empty() ? -1 : siblings[in.next() % siblings.size()];
}

// Everything an edit may change, read through the public interface.
std::vector<int> snapshot(const Graph& g)
{
    std::vector<int> s;
    s.push_back(g.numNodesGlobal());
    for (int n = 0; n < g.numNodesGlobal(); ++n) {
        s.push_back(g.isValidNode(n));
        s.push_back(g.parentNode(n));
        if (!g.isValidNode(n))
            continue;
        s.push_back(g.numNodes(n));
        for (int c = 0; c < g.numNodes(n); ++c)
            s.push_back(g.getNode(c, n));
        ZrnFuzz::appendPorts(s, g, n);
    }
    s.push_back(g.numEdgesGlobal());
    for (int e = 0; e < g.numEdgesGlobal(); ++e) {
        s.push_back(g.isValidEdge(e));
        s.push_back(g.edgeSourceNode(e));
        s.push_back(g.edgeSourceIndex(e));
        s.push_back(g.edgeDestNode(e));
        s.push_back(g.edgeDestIndex(e));
    }
    return s;
}

// What addEdge must return, from the documented refusals in their order,
// the cycle test being the literal search.
int expectedAddEdge(const Graph& g, int src, int srcOutput, int dst, int dstInput)
{
    if (!g.isValidOutput(src, srcOutput) || !g.isValidInput(dst, dstInput))
        return -1;
    if (g.parentNode(src) != g.parentNode(dst))
        return -1;
    if (g.inputSource(dst, dstInput) != Graph::kInvalidEdgeRef)
        return -1;
    if (g.numOutputDestinations(src, srcOutput) > 0 && !g.isRegularEdge(g.outputDestination(src, srcOutput, 0)))
        return -1;
    if (g.precedes(dst, src, true))
        return -1;
    return g.numEdgesGlobal();
}

#ifdef ZRN_FUZZ_INTERNALS
// While the library trusts its order, every producer must rank below the
// nodes it feeds, the producers being found by the literal walks.
void checkOrder(const Graph& g)
{
    using Morvane::Zrn::GraphStorage;
    using Morvane::Zrn::ProducerOrder;
    const auto& d = GraphStorage::of(g);
    if (d.order.state != ProducerOrder::State::Fresh)
        return;
    ZRN_FUZZ_CHECK(d.order.rank.size() == d.nodes.size());
    for (int n = 0; n < g.numNodesGlobal(); ++n) {
        for (int i = 0; i < int(d.nodes[size_t(n)].inputs().size()); ++i) {
            const int p = d.producerOf(n, i);
            if (p >= 0 && p != n) {
                ZRN_FUZZ_CHECK(d.order.rank[size_t(p)] < d.order.rank[size_t(n)]);
            }
        }
    }
}
#else
void checkOrder(const Graph&) { }
#endif

// The twin graphs: `g` is checked, `twin` gets only the accepted edges.
struct Graphs
{
    Graph g;
    Graph twin;
};

template <typename Edit>
void onBoth(Graphs& gs, Edit edit)
{
    edit(gs.g);
    edit(gs.twin);
}

void tryAddEdge(Graphs& gs, int src, int srcOutput, int dst, int dstInput)
{
    const int expected = expectedAddEdge(gs.g, src, srcOutput, dst, dstInput);
    // checkEdge() answers from the order as it stands, addEdge() may first
    // rebuild it or move a rank: both must agree with the search.
    ZRN_FUZZ_CHECK(gs.g.checkEdge(src, srcOutput, dst, dstInput).accepted() == (expected != Graph::kInvalidEdgeRef));
    ZRN_FUZZ_CHECK(gs.g.addEdge(src, srcOutput, dst, dstInput) == expected);
    if (expected != Graph::kInvalidEdgeRef) {
        ZRN_FUZZ_CHECK(gs.twin.addEdge(src, srcOutput, dst, dstInput) == expected);
    }
}

// Erases a port whose edges are only its source, below ports that have no
// destinations either: nothing is left naming a port index that moved in a
// way the walks would follow, though the records of its source edge and of
// the later ports' source edges now name other indices.
void erasePort(Graphs& gs, Bytes& in)
{
    const int n = pickNode(gs.g, in);
    if (n < 0)
        return;
    const bool inputs = in.next() % 2;
    const Graph& g = gs.g;
    const int count = inputs ? g.numInputs(n) : g.numOutputs(n);
    if (count == 0)
        return;
    const int index = int(in.next() % unsigned(count));
    for (int k = index; k < count; ++k) {
        if ((inputs ? g.numInputDestinations(n, k) : g.numOutputDestinations(n, k)) > 0)
            return;
    }
    onBoth(gs, [&](Graph& x) { inputs ? x.removeInput(n, index) : x.removeOutput(n, index); });
}

// True when purge() would move no node that a live node names as its
// parent. purge() leaves parent fields as they were, so otherwise they would
// name other nodes, possibly in a loop of parents, along which the literal
// search itself climbs without end.
bool purgeKeepsParents(const Graph& g)
{
    int firstRemoved = g.numNodesGlobal();
    for (int n = 0; n < g.numNodesGlobal(); ++n) {
        if (!g.isValidNode(n)) {
            firstRemoved = n;
            break;
        }
    }
    for (int n = 0; n < g.numNodesGlobal(); ++n) {
        if (g.isValidNode(n) && g.parentNode(n) > firstRemoved)
            return false;
    }
    return true;
}

enum class Op {
    AddNode,
    AddPort,
    AddEdge,
    AddEdgeAnyNodes,
    AddDownEdge,
    AddUpEdge,
    RemoveEdge,
    Disconnect,
    RemoveNode,
    ErasePort,
    Purge,
    Compact,
    ConnectByName,
};

// Building edits come more often than the others.
constexpr Op kOps[] = {
    Op::AddNode,         Op::AddNode,     Op::AddNode,     Op::AddPort,   Op::AddEdge,   Op::AddEdge,
    Op::AddEdge,         Op::AddEdge,     Op::AddEdge,     Op::AddEdge,   Op::AddEdge,   Op::AddEdge,
    Op::AddEdgeAnyNodes, Op::AddDownEdge, Op::AddDownEdge, Op::AddUpEdge, Op::AddUpEdge, Op::RemoveEdge,
    Op::Disconnect,      Op::RemoveNode,  Op::ErasePort,   Op::Purge,     Op::Compact,   Op::ConnectByName,
};

void step(Graphs& gs, Bytes& in)
{
    Graph& g = gs.g;
    switch (kOps[in.next() % (sizeof(kOps) / sizeof(kOps[0]))]) {
    case Op::AddNode: { // half of them at the top level, where most edges run
        const bool top = in.next() % 2 && g.isValidNode(Graph::kRootNodeRef);
        const int parent = top ? Graph::kRootNodeRef : pickNode(g, in);
        if (parent < 0 || g.numNodesGlobal() >= kMaxNodes)
            return;
        const int numInputs = int(in.next() % kMaxPorts) + 1;
        const int numOutputs = int(in.next() % 3) + 1;
        onBoth(gs, [&](Graph& x) { x.addNode(QStringLiteral("n"), numInputs, numOutputs, parent); });
        return;
    }
    case Op::AddPort: {
        const int n = pickNode(g, in);
        if (n < 0)
            return;
        const bool input = in.next() % 2;
        if ((input ? g.numInputs(n) : g.numOutputs(n)) >= kMaxPorts)
            return;
        onBoth(gs, [&](Graph& x) {
            input ? x.addInput(n, QStringLiteral("p"), -1) : x.addOutput(n, QStringLiteral("p"), -1);
        });
        return;
    }
    case Op::AddEdge: { // between siblings, mostly into a free input
        const int src = pickNode(g, in);
        if (src < 0)
            return;
        const int dst = pickSibling(g, src, in);
        int dstInput = in.anyIndex(g.numInputs(dst));
        if (in.next() % 4 != 0) {
            for (int i = 0; i < g.numInputs(dst); ++i) {
                if (g.inputSource(dst, i) == Graph::kInvalidEdgeRef)
                    dstInput = i;
            }
        }
        tryAddEdge(gs, src, in.anyIndex(g.numOutputs(src)), dst, dstInput);
        return;
    }
    case Op::AddEdgeAnyNodes: {
        const int src = in.anyIndex(g.numNodesGlobal());
        const int dst = in.anyIndex(g.numNodesGlobal());
        tryAddEdge(gs, src, in.anyIndex(kMaxPorts), dst, in.anyIndex(kMaxPorts));
        return;
    }
    case Op::AddDownEdge: {
        const int child = pickNode(g, in, true);
        if (child < 0 || !g.isValidNode(g.parentNode(child)))
            return;
        const int parentInput = in.anyIndex(g.numInputs(g.parentNode(child)));
        const int childInput = in.anyIndex(g.numInputs(child));
        int made[2];
        int k = 0;
        onBoth(gs, [&](Graph& x) { made[k++] = x.addDownEdge(parentInput, child, childInput); });
        ZRN_FUZZ_CHECK(made[0] == made[1]);
        return;
    }
    case Op::AddUpEdge: {
        const int child = pickNode(g, in, true);
        if (child < 0 || !g.isValidNode(g.parentNode(child)))
            return;
        const int parentOutput = in.anyIndex(g.numOutputs(g.parentNode(child)));
        const int childOutput = in.anyIndex(g.numOutputs(child));
        int made[2];
        int k = 0;
        onBoth(gs, [&](Graph& x) { made[k++] = x.addUpEdge(parentOutput, child, childOutput); });
        ZRN_FUZZ_CHECK(made[0] == made[1]);
        return;
    }
    case Op::RemoveEdge: {
        const int edge = in.anyIndex(g.numEdgesGlobal());
        onBoth(gs, [&](Graph& x) { x.removeEdge(edge); });
        return;
    }
    case Op::Disconnect: {
        const int n = pickNode(g, in);
        if (n < 0 || g.numInputs(n) == 0)
            return;
        const int input = int(in.next() % unsigned(g.numInputs(n)));
        onBoth(gs, [&](Graph& x) { x.disconnectInput(n, input); });
        return;
    }
    case Op::RemoveNode: {
        const int n = pickNode(g, in, true);
        if (n < 0)
            return;
        const bool keepListed = in.next() % 2;
        onBoth(gs, [&](Graph& x) { keepListed ? x.removeChildNode(n) : x.removeNode(n); });
        return;
    }
    case Op::ErasePort: erasePort(gs, in); return;
    case Op::Purge:
        if (purgeKeepsParents(g))
            onBoth(gs, [](Graph& x) { x.purge(); });
        return;
    case Op::Compact: onBoth(gs, [](Graph& x) { x.compact(); }); return;
    case Op::ConnectByName: {
        const int a = pickNode(g, in);
        if (a < 0)
            return;
        const int b = pickSibling(g, a, in);
        // Its edges go through addEdge on each graph; the comparison below
        // shows whether both decided alike.
        onBoth(gs, [&](Graph& x) { x.connectByName(a, b); });
        return;
    }
    }
}

int run(const std::uint8_t* data, std::size_t size)
{
    Bytes in(data, size);
    Graphs gs;
    while (!in.empty()) {
        step(gs, in);
        ZRN_FUZZ_CHECK(snapshot(gs.g) == snapshot(gs.twin));
        checkOrder(gs.g);
    }
    return 0;
}

} // namespace ZrnGraphCycleFuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    return ZrnGraphCycleFuzz::run(data, size);
}
