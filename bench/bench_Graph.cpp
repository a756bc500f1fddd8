// Costs of the graph core: edge creation (whose cycle test searches
// upstream), walkToSourceNode through nested levels, and precedes().
//
// Each family sweeps its size; compare rows of one run with each other:
//  - BM_AddEdgeChainForward against BM_AddEdgeChainBackward: the same chain
//    of edges, made in two orders. Forward, each new edge's cycle test walks
//    the whole chain above it; backward, it finds nothing upstream at once.
//  - BM_PrecedesNeighbour on a chain of N nodes: the answer is one step
//    upstream, so the time per call should stay at the N=8 row's (the small
//    graph is the baseline) however large the graph gets.
//  - BM_PrecedesWholeChain: the same graphs, but the answer is N-1 steps
//    away; the time grows with N, for contrast.
//  - BM_BuildLayered: a layered graph of N nodes built three ways in each
//    iteration (see there); compare the per-node costs across N and with
//    the build whose cycle tests have nothing to search.
//  - BM_DeepHierarchy: down and up edges through a hierarchy N levels deep;
//    the per-level costs should grow with N no more than memory costs do.
//  - BM_GraphBytes: heap bytes per node and per edge of a layered graph.
//  - BM_DependentLoads, BM_IndependentLoads: the machine's time for one
//    random read in a working set the size of that graph, each read waiting
//    for the one before or all of them free to overlap: the most and the
//    least that a read of the shuffled build can cost.
//  - BM_RecordFootprint<B>: not the library either: the reads and writes of
//    the shuffled build with single addEdge calls, on node records of B
//    bytes, to show how its growth from 1,000 to 100,000 nodes depends on
//    the size of a record on this machine.
//  - BM_FindNodeLastChild, BM_ConnectByName100: findNode among many
//    children, connectByName between two nodes of 100 ports.

#include "AllocationCounter.h"
#include "BenchClock.h"
#include "BenchSizes.h"

#include <ZrnCore/Graph.h>

#include <benchmark/benchmark.h>

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#if ZRNCORE_BENCH_HOOKS
#include "ChunkedArray_p.h"
#endif

using Morvane::Zrn::Graph;

namespace {

// The bytes of the blocks in which a large graph keeps its records, which
// the library maps from the system itself (on Linux) and malloc never sees;
// -1 when the build exports no internal hooks to ask.
long long recordBlockBytes()
{
#if ZRNCORE_BENCH_HOOKS
    return Morvane::Zrn::Internal::hugePageBlockBytes();
#else
    return -1;
#endif
}

// N nodes under the root, each with one input and one output.
std::vector<int> addNodes(Graph& g, int count)
{
    std::vector<int> nodes;
    nodes.reserve(size_t(count));
    for (int i = 0; i < count; ++i)
        nodes.push_back(g.addNode(QStringLiteral("n"), 1, 1, Graph::kRootNodeRef));
    return nodes;
}

// The sizes of the edge-creation sweeps and of the precedes() sweeps.
void chainSizes(benchmark::internal::Benchmark* b)
{
    ZrnBench::addSizes(b, {8, 16, 64, 256, 1024, 2048});
}
void chainLengths(benchmark::internal::Benchmark* b)
{
    ZrnBench::addSizes(b, {8, 64, 512, 4096, 32768, 65536});
}

// Chains nodes[0] -> nodes[1] -> ... from the far end, so that each cycle
// test starts at a node with nothing upstream yet: building costs O(N).
void chainBackward(Graph& g, const std::vector<int>& nodes)
{
    for (size_t k = nodes.size() - 1; k > 0; --k)
        g.addEdge(nodes[k - 1], 0, nodes[k], 0);
}

void BM_AddEdgeChainForward(benchmark::State& state)
{
    const int count = int(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto g = std::make_unique<Graph>();
        const std::vector<int> nodes = addNodes(*g, count);
        state.ResumeTiming();
        for (int k = 1; k < count; ++k)
            benchmark::DoNotOptimize(g->addEdge(nodes[size_t(k - 1)], 0, nodes[size_t(k)], 0));
        state.PauseTiming();
        g.reset(); // destroyed outside the timed part
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * (count - 1));
    state.SetComplexityN(count);
}
BENCHMARK(BM_AddEdgeChainForward)->Apply(chainSizes)->Complexity();

void BM_AddEdgeChainBackward(benchmark::State& state)
{
    const int count = int(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto g = std::make_unique<Graph>();
        const std::vector<int> nodes = addNodes(*g, count);
        state.ResumeTiming();
        chainBackward(*g, nodes);
        state.PauseTiming();
        g.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * (count - 1));
    state.SetComplexityN(count);
}
BENCHMARK(BM_AddEdgeChainBackward)->Apply(chainSizes)->Complexity();

// One node with N inputs, fed by N source nodes: every cycle test starts at
// a source with no inputs, so each edge costs the same.
void BM_AddEdgeWideFanIn(benchmark::State& state)
{
    const int count = int(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto g = std::make_unique<Graph>();
        const int sink = g->addNode(QStringLiteral("sink"), count, 0, Graph::kRootNodeRef);
        std::vector<int> sources;
        for (int i = 0; i < count; ++i)
            sources.push_back(g->addNode(QStringLiteral("source"), 0, 1, Graph::kRootNodeRef));
        state.ResumeTiming();
        for (int i = 0; i < count; ++i)
            benchmark::DoNotOptimize(g->addEdge(sources[size_t(i)], 0, sink, i));
        state.PauseTiming();
        g.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * count);
    state.SetComplexityN(count);
}
BENCHMARK(BM_AddEdgeWideFanIn)
    ->Apply([](benchmark::internal::Benchmark* b) {
        ZrnBench::addSizes(b, {8, 16, 64, 256, 1024, 4096, 8192});
    })
    ->Complexity();

// A producer `depth` levels inside sibling S and a consumer `depth` levels
// inside sibling P:
//
//   S.out0 <-up- S1.out0 <-up- ... <-up- Sd.out0          (producer Sd)
//   S.out0 --> P.in0 -down-> P1.in0 -down-> ... -> Pd.in0  (consumer Pd)
//
// walkToSourceNode from Pd's input climbs d levels, crosses once and
// descends d levels.
void BM_WalkToSourceNodeNested(benchmark::State& state)
{
    const int depth = int(state.range(0));
    Graph g;
    int s = g.addNode(QStringLiteral("S"), 0, 1, Graph::kRootNodeRef);
    int p = g.addNode(QStringLiteral("P"), 1, 0, Graph::kRootNodeRef);
    g.addEdge(s, 0, p, 0);
    for (int level = 0; level < depth; ++level) {
        const int innerS = g.addNode(QStringLiteral("S"), 0, 1, s);
        g.addUpEdge(0, innerS, 0);
        s = innerS;
        const int innerP = g.addNode(QStringLiteral("P"), 1, 0, p);
        g.addDownEdge(0, innerP, 0);
        p = innerP;
    }
    for (auto _ : state) {
        int node = p, index = 0;
        benchmark::DoNotOptimize(g.walkToSourceNode(node, index));
        benchmark::DoNotOptimize(node);
        benchmark::DoNotOptimize(index);
    }
    if (depth > 0) {
        int node = p, index = 0;
        if (!g.walkToSourceNode(node, index) || node != s)
            state.SkipWithError("walkToSourceNode did not reach the innermost producer");
    }
    state.SetItemsProcessed(state.iterations());
    state.SetComplexityN(depth);
}
BENCHMARK(BM_WalkToSourceNodeNested)
    ->Apply([](benchmark::internal::Benchmark* b) {
        ZrnBench::addSizes(b, {1, 4, 16, 64, 256, 1024});
    })
    ->Complexity();

// precedes() on a chain of N nodes where the answer is the direct upstream
// neighbour: two nodes are visited whatever N is.
void BM_PrecedesNeighbour(benchmark::State& state)
{
    const int count = int(state.range(0));
    Graph g;
    const std::vector<int> nodes = addNodes(g, count);
    chainBackward(g, nodes);
    const int a = nodes[size_t(count - 2)], b = nodes[size_t(count - 1)];
    for (auto _ : state)
        benchmark::DoNotOptimize(g.precedes(a, b, true));
    if (!g.precedes(a, b, true))
        state.SkipWithError("the neighbour was not found upstream");
    state.SetItemsProcessed(state.iterations());
    state.SetComplexityN(count);
}
BENCHMARK(BM_PrecedesNeighbour)->Apply(chainLengths)->Complexity(benchmark::o1);

// The same chains, with the answer at the far end: N nodes are visited.
void BM_PrecedesWholeChain(benchmark::State& state)
{
    const int count = int(state.range(0));
    Graph g;
    const std::vector<int> nodes = addNodes(g, count);
    chainBackward(g, nodes);
    const int a = nodes.front(), b = nodes.back();
    for (auto _ : state)
        benchmark::DoNotOptimize(g.precedes(a, b, true));
    if (!g.precedes(a, b, true))
        state.SkipWithError("the chain's first node was not found upstream");
    state.SetItemsProcessed(state.iterations());
    state.SetComplexityN(count);
}
BENCHMARK(BM_PrecedesWholeChain)->Apply(chainLengths)->Complexity(benchmark::oN);

// A false answer found at once: b has no inputs, in a graph of N unconnected
// nodes. Also stays at the small graph's time.
void BM_PrecedesNothingUpstream(benchmark::State& state)
{
    const int count = int(state.range(0));
    Graph g;
    const std::vector<int> nodes = addNodes(g, count);
    const int a = nodes.front(), b = nodes.back();
    for (auto _ : state)
        benchmark::DoNotOptimize(g.precedes(a, b, false));
    state.SetItemsProcessed(state.iterations());
    state.SetComplexityN(count);
}
BENCHMARK(BM_PrecedesNothingUpstream)->Apply(chainLengths)->Complexity(benchmark::o1);

} // namespace

namespace {

// ---------------------------------------------------------------- building

// Layered graphs of N nodes with two inputs and one output each, in layers
// of 8: node j of layer L (L >= 1) is fed by nodes j and j+1 (mod 8) of
// layer L-1; the first layer's inputs stay unconnected. Nodes are made in
// layer order, so node k is the graph's node k + 1.
struct LayeredEdge
{
    int src;
    int dst;
    int input;
};

constexpr int kLayerWidth = 8;

// The edges of the layered graph of `count` nodes, in the order in which a
// forward build adds them (by destination node, input 0 before input 1).
std::vector<LayeredEdge> layeredEdges(int count)
{
    std::vector<LayeredEdge> edges;
    edges.reserve(size_t(2 * count));
    for (int k = kLayerWidth; k < count; ++k) {
        const int layerStart = k - k % kLayerWidth;
        const int j = k % kLayerWidth;
        edges.push_back({layerStart - kLayerWidth + j + 1, k + 1, 0});
        edges.push_back({layerStart - kLayerWidth + (j + 1) % kLayerWidth + 1, k + 1, 1});
    }
    return edges;
}

int addLayeredNode(Graph& g)
{
    return g.addNode(QStringLiteral("n"), 2, 1, Graph::kRootNodeRef);
}

// Edges added as nodes are created: each node gets its two inputs as soon
// as it exists. Returns the number of refused edges.
int buildForward(Graph& g, int count, const std::vector<LayeredEdge>& edges)
{
    int refused = 0;
    size_t next = 0;
    for (int k = 0; k < count; ++k) {
        const int node = addLayeredNode(g);
        for (; next < edges.size() && edges[next].dst == node; ++next)
            refused += g.addEdge(edges[next].src, 0, node, edges[next].input) == Graph::kInvalidEdgeRef;
    }
    return refused;
}

// The `count` nodes of a layered graph, before any of its edges.
void addLayeredNodes(Graph& g, int count)
{
    for (int k = 0; k < count; ++k)
        addLayeredNode(g);
}

// All nodes first, then the edges in the order given.
int buildNodesThenEdges(Graph& g, int count, const std::vector<LayeredEdge>& edges)
{
    addLayeredNodes(g, count);
    int refused = 0;
    for (const LayeredEdge& e : edges)
        refused += g.addEdge(e.src, 0, e.dst, e.input) == Graph::kInvalidEdgeRef;
    return refused;
}

// All nodes first, then the edges of `edges` in one addEdges() call.
int buildNodesThenEdgeList(Graph& g, int count, const QVector<Graph::EdgeEnds>& edges)
{
    addLayeredNodes(g, count);
    int refused = 0;
    for (int id : g.addEdges(edges))
        refused += id == Graph::kInvalidEdgeRef;
    return refused;
}

// Each iteration builds the same layered graph four times, each timed on
// its own, and destroys the graphs outside the timed parts:
//  - forward: every node's two edges added right after the node;
//  - shuffled: all nodes, then the same edges in a fixed random order;
//  - baseline: all nodes, then the same edges from the last to the first.
//    Each new edge then leaves a node whose inputs are not connected yet,
//    so its cycle test has nothing upstream to search and visits that one
//    node: the same records as the forward build (the same nodes, ports and
//    edges, with the edge references numbered in the other order) without
//    the cost of searching. The public interface has no build without a
//    cycle test; this is the nearest to one;
//  - shuffled list: all nodes, then the shuffled edges in one addEdges()
//    call, which reads the records of later edges ahead.
// Counters: nanoseconds per node of each build, and forward_x, shuffled_x,
// the ratios of those builds to the baseline; page faults per node of each
// build (memory the allocator takes fresh from the system, see
// threadPageFaults()). The reported time is the forward build's.
void BM_BuildLayered(benchmark::State& state)
{
    const int count = int(state.range(0));
    const std::vector<LayeredEdge> forward = layeredEdges(count);
    std::vector<LayeredEdge> shuffled = forward;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(20261123));
    const std::vector<LayeredEdge> backward(forward.rbegin(), forward.rend());
    QVector<Graph::EdgeEnds> shuffledList;
    shuffledList.reserve(int(shuffled.size()));
    for (const LayeredEdge& e : shuffled)
        shuffledList.append({e.src, 0, e.dst, e.input});

    double seconds[4] = {};
    long long faults[4] = {};
    int refused = 0;
    for (auto _ : state) {
        double forwardSeconds = 0.0;
        for (int way = 0; way < 4; ++way) {
            auto g = std::make_unique<Graph>();
            const long long faultsBefore = ZrnBench::threadPageFaults();
            const double start = ZrnBench::threadSeconds();
            if (way == 0)
                refused += buildForward(*g, count, forward);
            else if (way == 3)
                refused += buildNodesThenEdgeList(*g, count, shuffledList);
            else
                refused += buildNodesThenEdges(*g, count, way == 1 ? shuffled : backward);
            const double elapsed = ZrnBench::threadSeconds() - start;
            faults[way] += ZrnBench::threadPageFaults() - faultsBefore;
            seconds[way] += elapsed;
            if (way == 0)
                forwardSeconds = elapsed;
            g.reset();
        }
        state.SetIterationTime(forwardSeconds);
    }
    if (refused != 0)
        state.SkipWithError("an edge of the layered graph was refused");
    const double nodes = double(state.iterations()) * count;
    state.counters["forward_ns"] = seconds[0] * 1e9 / nodes;
    state.counters["shuffled_ns"] = seconds[1] * 1e9 / nodes;
    state.counters["baseline_ns"] = seconds[2] * 1e9 / nodes;
    state.counters["shuffled_list_ns"] = seconds[3] * 1e9 / nodes;
    state.counters["forward_faults"] = double(faults[0]) / nodes;
    state.counters["shuffled_faults"] = double(faults[1]) / nodes;
    state.counters["baseline_faults"] = double(faults[2]) / nodes;
    state.counters["shuffled_list_faults"] = double(faults[3]) / nodes;
    state.counters["forward_x"] = seconds[0] / seconds[2];
    state.counters["shuffled_x"] = seconds[1] / seconds[2];
}
BENCHMARK(BM_BuildLayered)
    ->Apply([](benchmark::internal::Benchmark* b) {
        ZrnBench::addSizes(b, {1000, 10000, 100000});
    })
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// The layered graph built in two more orders, each timed on its own:
//  - from the sinks: its nodes made from the last to the first, each
//    node's output edges added right after the node, as a graph made on
//    demand is built; every new edge leaves a node that nothing feeds yet
//    and enters nodes made before it;
//  - shuffled nodes: its nodes made in a fixed random order, then its
//    edges from the first layer on (the forward build's order); every new
//    edge enters a node that feeds nothing yet, made at a random time.
// Either order used to move much of the graph in the producer order at
// each edge. Counters: nanoseconds per node of each build.
void BM_BuildInOtherOrders(benchmark::State& state)
{
    const int count = int(state.range(0));
    const std::vector<LayeredEdge> forward = layeredEdges(count);
    std::vector<LayeredEdge> bySource = forward;
    std::stable_sort(bySource.begin(), bySource.end(),
                     [](const LayeredEdge& a, const LayeredEdge& b) { return a.src > b.src; });
    // slot[k]: the slot of the node that layeredEdges() numbers k.
    std::vector<int> fromSinks(size_t(count) + 1);
    for (int k = 1; k <= count; ++k)
        fromSinks[size_t(k)] = count + 1 - k;
    std::vector<int> shuffled(size_t(count) + 1);
    std::iota(shuffled.begin() + 1, shuffled.end(), 1);
    std::shuffle(shuffled.begin() + 1, shuffled.end(), std::mt19937(20261123));

    double seconds[2] = {};
    int refused = 0;
    bool numbered = true;
    for (auto _ : state) {
        for (int way = 0; way < 2; ++way) {
            auto g = std::make_unique<Graph>();
            const double start = ZrnBench::threadSeconds();
            if (way == 0) {
                size_t next = 0;
                for (int k = count; k >= 1; --k) {
                    numbered &= addLayeredNode(*g) == fromSinks[size_t(k)];
                    for (; next < bySource.size() && bySource[next].src == k; ++next) {
                        const LayeredEdge& e = bySource[next];
                        refused += g->addEdge(fromSinks[size_t(k)], 0, fromSinks[size_t(e.dst)], e.input)
                            == Graph::kInvalidEdgeRef;
                    }
                }
            } else {
                addLayeredNodes(*g, count);
                for (const LayeredEdge& e : forward) {
                    refused += g->addEdge(shuffled[size_t(e.src)], 0, shuffled[size_t(e.dst)], e.input)
                        == Graph::kInvalidEdgeRef;
                }
            }
            const double elapsed = ZrnBench::threadSeconds() - start;
            seconds[way] += elapsed;
            if (way == 0)
                state.SetIterationTime(elapsed);
            g.reset();
        }
    }
    if (!numbered || refused != 0)
        state.SkipWithError("a graph built in another order is not the layered graph");
    const double nodes = double(state.iterations()) * count;
    state.counters["from_sinks_ns"] = seconds[0] * 1e9 / nodes;
    state.counters["shuffled_nodes_ns"] = seconds[1] * 1e9 / nodes;
}
BENCHMARK(BM_BuildInOtherOrders)
    ->Apply([](benchmark::internal::Benchmark* b) {
        ZrnBench::addSizes(b, {1000, 10000, 100000});
    })
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// Puts new nodes into a chain of N nodes, each as an editor puts a pass in
// between two: the edge between them goes, a new node comes, the first
// feeds it and it feeds the second. Timed on its own, on a fresh chain:
//  - head: 1,000 nodes put in after the chain's first node, each new node
//    right after it, as a host adds each new pass after its source;
//  - end: 1,000 nodes put in right before the chain's last node;
//  - middle: 100 nodes put in after the node half way down the chain,
//    each new node right after it. Here the nodes to move in the producer
//    order, on the side that moves, number N / 2 whichever side it is, so
//    each insertion costs in proportion to N.
// Counters: nanoseconds per insertion of each.
void BM_PutInAChain(benchmark::State& state)
{
    const int count = int(state.range(0));
    enum Way { Head, End, Middle, Ways };
    constexpr int kTimes[Ways] = {1000, 1000, 100};
    double seconds[Ways] = {};
    int refused = 0;
    for (auto _ : state) {
        double timed = 0;
        for (int way = 0; way < Ways; ++way) {
            auto g = std::make_unique<Graph>();
            std::vector<int> chain;
            for (int k = 0; k < count; ++k) {
                chain.push_back(g->addNode(QStringLiteral("n"), 1, 1, Graph::kRootNodeRef));
                if (k > 0)
                    refused += g->addEdge(chain[size_t(k) - 1], 0, chain[size_t(k)], 0) == Graph::kInvalidEdgeRef;
            }
            const double start = ZrnBench::threadSeconds();
            for (int k = 0; k < kTimes[way]; ++k) {
                const int edge = way == End ? g->inputSource(chain.back(), 0)
                                            : g->outputDestination(chain[way == Head ? 0 : size_t(count) / 2], 0, 0);
                const int from = g->edgeSourceNode(edge);
                const int to = g->edgeDestNode(edge);
                g->removeEdge(edge);
                const int x = g->addNode(QStringLiteral("n"), 1, 1, Graph::kRootNodeRef);
                refused += g->addEdge(from, 0, x, 0) == Graph::kInvalidEdgeRef;
                refused += g->addEdge(x, 0, to, 0) == Graph::kInvalidEdgeRef;
            }
            const double elapsed = ZrnBench::threadSeconds() - start;
            seconds[way] += elapsed / kTimes[way];
            timed += elapsed;
            g.reset();
        }
        state.SetIterationTime(timed);
    }
    if (refused != 0)
        state.SkipWithError("an edge of the chain was refused");
    const double iterations = double(state.iterations());
    state.counters["head_ns"] = seconds[Head] * 1e9 / iterations;
    state.counters["end_ns"] = seconds[End] * 1e9 / iterations;
    state.counters["middle_ns"] = seconds[Middle] * 1e9 / iterations;
}
BENCHMARK(BM_PutInAChain)
    ->Apply([](benchmark::internal::Benchmark* b) {
        ZrnBench::addSizes(b, {1000, 10000, 100000});
    })
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// A hierarchy N levels deep, each level the only child of the one above,
// with one input and one output per node, built after a first regular edge
// at the top (so that every edit keeps the producer order up to date):
//  - down: each level made and its input handed down from the level above;
//  - up: then every level's output handed up to the level above, from the
//    bottom level up, while nothing reads the top's output yet.
// Each iteration builds one such graph; counters: nanoseconds per level of
// each part. Both grow with N only as the memory's costs do (records no
// longer in the cache, fresh pages) when no new edge walks through the
// levels above or below it.
void BM_DeepHierarchy(benchmark::State& state)
{
    const int depth = int(state.range(0));
    double downSeconds = 0.0;
    double upSeconds = 0.0;
    std::vector<int> levels;
    levels.reserve(size_t(depth) + 1);
    int refused = 0;
    for (auto _ : state) {
        auto g = std::make_unique<Graph>();
        const int a = g->addNode(QStringLiteral("a"), 1, 1, Graph::kRootNodeRef);
        const int top = g->addNode(QStringLiteral("top"), 1, 1, Graph::kRootNodeRef);
        refused += g->addEdge(a, 0, top, 0) == Graph::kInvalidEdgeRef;
        levels.assign(1, top);
        const double start = ZrnBench::threadSeconds();
        for (int level = 1; level <= depth; ++level) {
            const int n = g->addNode(QStringLiteral("n"), 1, 1, levels.back());
            refused += g->addDownEdge(0, n, 0) == Graph::kInvalidEdgeRef;
            levels.push_back(n);
        }
        const double handedDown = ZrnBench::threadSeconds();
        for (int level = depth; level >= 1; --level)
            refused += g->addUpEdge(0, levels[size_t(level)], 0) == Graph::kInvalidEdgeRef;
        const double handedUp = ZrnBench::threadSeconds();
        downSeconds += handedDown - start;
        upSeconds += handedUp - handedDown;
        state.SetIterationTime(handedUp - start);
        g.reset();
    }
    if (refused != 0)
        state.SkipWithError("an edge of the hierarchy was refused");
    const double levelsBuilt = double(state.iterations()) * depth;
    state.counters["down_ns"] = downSeconds * 1e9 / levelsBuilt;
    state.counters["up_ns"] = upSeconds * 1e9 / levelsBuilt;
}
BENCHMARK(BM_DeepHierarchy)
    ->Apply([](benchmark::internal::Benchmark* b) {
        ZrnBench::addSizes(b, {1000, 10000, 100000});
    })
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// Heap bytes that a layered graph of N nodes (two inputs, one output each)
// holds: per node after the nodes are made, and per edge after its edges
// are added (baseline order). Container capacity left over by growth is
// counted: it is memory the graph holds, and so are the whole blocks that
// a large graph maps for its records. Node names share one literal and
// allocate nothing.
void BM_GraphBytes(benchmark::State& state)
{
    const int count = int(state.range(0));
    const std::vector<LayeredEdge> forward = layeredEdges(count);
    const std::vector<LayeredEdge> backward(forward.rbegin(), forward.rend());
    double perNode = 0.0;
    double perEdge = 0.0;
    for (auto _ : state) {
        ZrnBench::setCountingBytes(true);
        const long long empty = ZrnBench::liveBytes() + recordBlockBytes();
        auto g = std::make_unique<Graph>();
        for (int k = 0; k < count; ++k)
            addLayeredNode(*g);
        const long long withNodes = ZrnBench::liveBytes() + recordBlockBytes();
        for (const LayeredEdge& e : backward)
            g->addEdge(e.src, 0, e.dst, e.input);
        const long long withEdges = ZrnBench::liveBytes() + recordBlockBytes();
        ZrnBench::setCountingBytes(false);
        perNode = double(withNodes - empty) / count;
        perEdge = double(withEdges - withNodes) / double(backward.size());
        if (g->numEdgesGlobal() != int(backward.size()))
            state.SkipWithError("an edge of the layered graph was refused");
        state.PauseTiming();
        g.reset();
        state.ResumeTiming();
    }
    if (!ZrnBench::canCountBytes())
        state.SkipWithError("bytes are counted on glibc only");
    if (recordBlockBytes() < 0)
        state.SkipWithError("the record blocks are counted only in a build with tests");
    state.counters["bytes_per_node"] = perNode;
    state.counters["bytes_per_edge"] = perEdge;
    state.counters["edges"] = double(backward.size());
}
BENCHMARK(BM_GraphBytes)
    ->Apply([](benchmark::internal::Benchmark* b) {
        ZrnBench::addSizes(b, {1000, 100000});
    })
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// The working sets of the two load benchmarks below: as large as the
// layered graph of N nodes (192 bytes per node, about what its nodes, ports
// and edges take), in 64-byte lines.
struct alignas(64) Line
{
    size_t word;
};

size_t linesForNodes(int count)
{
    return size_t(count) * 192 / sizeof(Line);
}

void setLoadCounters(benchmark::State& state, size_t steps, size_t lines)
{
    state.counters["per_load"] = benchmark::Counter(double(state.iterations()) * double(steps),
                                                    benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["working_set_bytes"] = double(lines * sizeof(Line));
}

void loadSizes(benchmark::internal::Benchmark* b)
{
    ZrnBench::addSizes(b, {1000, 10000, 20000, 40000, 100000});
}

// The machine's price of one random read in that working set: a chain of
// dependent loads, each from a line picked at random (its word names the
// next), so that no load can start before the one before it ends. Not a
// library operation: the most that one random read can cost building that
// graph in a random order, where nothing else is in flight.
// Counter: per_load, the time of one load.
void BM_DependentLoads(benchmark::State& state)
{
    const size_t lines = linesForNodes(int(state.range(0)));
    std::vector<size_t> order(lines);
    std::iota(order.begin(), order.end(), size_t(0));
    std::shuffle(order.begin(), order.end(), std::mt19937(20261123));
    std::vector<Line> memory(lines);
    for (size_t k = 0; k < lines; ++k)
        memory[order[k]].word = order[(k + 1) % lines];
    const size_t steps = 1 << 20;
    size_t at = order[0];
    for (auto _ : state) {
        for (size_t k = 0; k < steps; ++k)
            at = memory[at].word;
        benchmark::DoNotOptimize(at);
    }
    setLoadCounters(state, steps, lines);
}
BENCHMARK(BM_DependentLoads)->Apply(loadSizes)->Unit(benchmark::kMillisecond);

// The same working sets, read at random places known in advance: a list of
// lines in random order, each line's word added to a sum, so that the
// processor may have many reads in flight at once, as it may for the
// records of consecutive edges of a list given in random order. Not a
// library operation: the least that one random read can cost there.
// Counter: per_load, the time of one load.
void BM_IndependentLoads(benchmark::State& state)
{
    const size_t lines = linesForNodes(int(state.range(0)));
    std::vector<Line> memory(lines);
    for (size_t k = 0; k < lines; ++k)
        memory[k].word = k;
    const size_t steps = 1 << 20;
    std::vector<std::uint32_t> order(steps);
    std::mt19937 random(20261123);
    for (std::uint32_t& at : order)
        at = std::uint32_t(random() % lines);
    for (auto _ : state) {
        size_t sum = 0;
        for (std::uint32_t at : order)
            sum += memory[at].word;
        benchmark::DoNotOptimize(sum);
    }
    setLoadCounters(state, steps, lines);
}
BENCHMARK(BM_IndependentLoads)->Apply(loadSizes)->Unit(benchmark::kMillisecond);

// The fields of a synthetic node record below that addEdge reads and
// writes for a node of two inputs and one output, packed into 24 bytes.
struct SyntheticFields
{
    std::int32_t parent;
    std::uint8_t removed;
    std::uint8_t numInputs;
    std::uint8_t numOutputs;
    std::uint8_t numDestinations;
    std::int32_t source[2];
    std::int32_t destinations[2];
};
static_assert(sizeof(SyntheticFields) == 24, "the synthetic's fields take 24 bytes");

// A synthetic node record of `Bytes` bytes: the fields, then filler.
template <size_t Bytes>
struct SyntheticNode : SyntheticFields
{
    unsigned char filler[Bytes - sizeof(SyntheticFields)];
};
// The fields alone, for the smallest record.
template <>
struct SyntheticNode<sizeof(SyntheticFields)> : SyntheticFields
{
};
static_assert(sizeof(SyntheticNode<24>) == 24 && sizeof(SyntheticNode<32>) == 32 && sizeof(SyntheticNode<144>) == 144,
              "a synthetic record takes exactly its bytes");

struct SyntheticEdge
{
    int srcNode;
    int srcIndex;
    int dstNode;
    int dstIndex;
};

// Integer work standing for the rest of what one addEdge call executes:
// 48 rounds of a multiply-add chain, near the time of an edge of the
// shuffled build at 1,000 nodes. GCC makes it a loop of five instructions
// a round, 240 in all, near the 215 that callgrind counts for such an
// edge. It fills the processor's window of instructions in flight as the
// call does, which bounds how far the reads of the next edge can start
// before those of this one end. The empty asm keeps the chain from being
// folded without making it touch memory.
inline unsigned work(unsigned seed)
{
    for (unsigned round = 0; round < 48; ++round) {
        seed = seed * 2654435761u + round;
#if defined(__GNUC__) || defined(__clang__)
        asm volatile("" : "+r"(seed));
#else
        benchmark::DoNotOptimize(seed);
#endif
    }
    return seed;
}

// The synthetic's records: where the build exports the library's internal
// hooks, in the library's record array with its default thresholds (lone
// chunks up to 4 MiB, then huge-page blocks; the graph's node records
// switch at 2 MiB); otherwise a vector.
#if ZRNCORE_BENCH_HOOKS
template <typename T>
using SyntheticRecords = Morvane::Zrn::ChunkedArray<T, 8>;
#else
template <typename T>
using SyntheticRecords = std::vector<T>;
#endif

// Not a library operation: the machine's own growth, from 1,000 to 100,000
// nodes, of the shuffled layered build with single addEdge calls, as a
// function of the bytes a node record spans. Per edge of the shuffled
// layered graph (BM_BuildLayered's edges, in the same order): the work
// above, then what addEdge reads and writes: both nodes' parents, removal
// flags and port counts, the fed input's source, the source output's
// destinations, both ranks, and a 16-byte edge record appended. Those
// fields sit at the start of each record, in its first 24 bytes, and the
// rest is filler: the sizes vary the memory the records span, not the
// lines an edge touches. Records of 144 bytes are the size of the
// library's node record with Qt 6; the smaller sizes show what a record
// laid out more tightly would span, down to 24 bytes: those fields alone,
// with no room for anything else a node holds (a name, port names and
// groups, a value, children, more ports). The same records serve every
// iteration.
// Template argument: record bytes; argument: nodes. Counter: ns_per_edge.
template <size_t Bytes>
void BM_RecordFootprint(benchmark::State& state)
{
    using Record = SyntheticNode<Bytes>;
    const int count = int(state.range(0));
    std::vector<LayeredEdge> edges = layeredEdges(count);
    std::shuffle(edges.begin(), edges.end(), std::mt19937(20261123));
    SyntheticRecords<Record> nodes;
    for (int k = 0; k <= count; ++k)
        nodes.push_back(Record{});
    std::vector<int> rank(nodes.size());
    std::iota(rank.begin(), rank.end(), 0);
    std::vector<SyntheticEdge> made;
    made.reserve(edges.size());
    double seconds = 0.0;
    unsigned sink = 0;
    for (auto _ : state) {
        for (Record& n : nodes) {
            std::memset(&n, 0, sizeof n);
            n.parent = -1;
            n.numInputs = 2;
            n.numOutputs = 1;
            n.source[0] = n.source[1] = -1;
        }
        made.clear();
        const double start = ZrnBench::threadSeconds();
        for (const LayeredEdge& e : edges) {
            sink += work(unsigned(e.src));
            Record& src = nodes[size_t(e.src)];
            Record& dst = nodes[size_t(e.dst)];
            if (src.removed || dst.removed || src.numOutputs < 1 || dst.numInputs <= e.input)
                continue;
            if (src.parent != dst.parent || dst.source[e.input] != -1)
                continue;
            if (src.numDestinations > 0 && src.destinations[0] < 0)
                continue;
            if (rank[size_t(e.dst)] <= rank[size_t(e.src)])
                continue;
            const int id = int(made.size());
            made.push_back({e.src, 0, e.dst, e.input});
            dst.source[e.input] = id;
            if (src.numDestinations < 2)
                src.destinations[src.numDestinations] = id;
            ++src.numDestinations;
        }
        const double elapsed = ZrnBench::threadSeconds() - start;
        seconds += elapsed;
        state.SetIterationTime(elapsed);
        benchmark::DoNotOptimize(sink);
    }
    if (made.size() != edges.size())
        state.SkipWithError("an edge of the layered graph was left out");
    state.counters["ns_per_edge"] = seconds * 1e9 / (double(state.iterations()) * double(edges.size()));
}

void footprintSizes(benchmark::internal::Benchmark* b)
{
    ZrnBench::addSizes(b, {1000, 100000});
    b->UseManualTime()->Unit(benchmark::kMillisecond);
}
BENCHMARK_TEMPLATE(BM_RecordFootprint, 24)->Apply(footprintSizes);
BENCHMARK_TEMPLATE(BM_RecordFootprint, 32)->Apply(footprintSizes);
BENCHMARK_TEMPLATE(BM_RecordFootprint, 48)->Apply(footprintSizes);
BENCHMARK_TEMPLATE(BM_RecordFootprint, 64)->Apply(footprintSizes);
BENCHMARK_TEMPLATE(BM_RecordFootprint, 96)->Apply(footprintSizes);
BENCHMARK_TEMPLATE(BM_RecordFootprint, 144)->Apply(footprintSizes);

// ---------------------------------------------------------------- searching

// findNode() of the last of N children named c0 .. cN-1: the whole list is
// compared.
void BM_FindNodeLastChild(benchmark::State& state)
{
    const int count = int(state.range(0));
    Graph g;
    const int parent = g.addNode(QStringLiteral("parent"), 0, 0, Graph::kRootNodeRef);
    int last = Graph::kInvalidNodeRef;
    for (int i = 0; i < count; ++i)
        last = g.addNode(QStringLiteral("c%1").arg(i), 0, 0, parent);
    const QString name = QStringLiteral("c%1").arg(count - 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(g.findNode(name, parent));
    if (g.findNode(name, parent) != last)
        state.SkipWithError("findNode did not find the last child");
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FindNodeLastChild)->Apply([](benchmark::internal::Benchmark* b) { ZrnBench::addSizes(b, {100, 10000}); });

// connectByName() between two siblings of N ports each, outputs v0 .. vN-1
// into inputs of the same names: N edges, each found by name. The graph is
// rebuilt outside the timed part.
void BM_ConnectByName(benchmark::State& state)
{
    const int ports = int(state.range(0));
    QStringList names;
    for (int i = 0; i < ports; ++i)
        names.append(QStringLiteral("v%1").arg(i));
    int made = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto g = std::make_unique<Graph>();
        const int src = g->addNode(QStringLiteral("src"), 0, 0, Graph::kRootNodeRef);
        const int dst = g->addNode(QStringLiteral("dst"), 0, 0, Graph::kRootNodeRef);
        for (const QString& name : names) {
            g->addOutput(src, name, -1);
            g->addInput(dst, name, -1);
        }
        state.ResumeTiming();
        g->connectByName(src, dst);
        state.PauseTiming();
        made = g->numEdgesGlobal();
        g.reset();
        state.ResumeTiming();
    }
    if (made != ports)
        state.SkipWithError("connectByName did not join every port");
    state.SetItemsProcessed(state.iterations() * ports);
}
BENCHMARK(BM_ConnectByName)
    ->Apply([](benchmark::internal::Benchmark* b) {
        ZrnBench::addSizes(b, {10, 100});
    })
    ->Unit(benchmark::kMicrosecond);

} // namespace
