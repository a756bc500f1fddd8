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

#include <ZrnCore/Graph.h>

#include <benchmark/benchmark.h>

#include <QtCore/QString>

#include <memory>
#include <vector>

using Morvane::Zrn::Graph;

namespace {

// N nodes under the root, each with one input and one output.
std::vector<int> addNodes(Graph& g, int count)
{
    std::vector<int> nodes;
    nodes.reserve(size_t(count));
    for (int i = 0; i < count; ++i)
        nodes.push_back(g.addNode(QStringLiteral("n"), 1, 1, Graph::kRootNodeRef));
    return nodes;
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
BENCHMARK(BM_AddEdgeChainForward)->RangeMultiplier(4)->Range(8, 2048)->Complexity();

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
BENCHMARK(BM_AddEdgeChainBackward)->RangeMultiplier(4)->Range(8, 2048)->Complexity();

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
BENCHMARK(BM_AddEdgeWideFanIn)->RangeMultiplier(4)->Range(8, 8192)->Complexity();

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
BENCHMARK(BM_WalkToSourceNodeNested)->RangeMultiplier(4)->Range(1, 1024)->Complexity();

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
BENCHMARK(BM_PrecedesNeighbour)->RangeMultiplier(8)->Range(8, 1 << 16)->Complexity(benchmark::o1);

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
BENCHMARK(BM_PrecedesWholeChain)->RangeMultiplier(8)->Range(8, 1 << 16)->Complexity(benchmark::oN);

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
BENCHMARK(BM_PrecedesNothingUpstream)->RangeMultiplier(8)->Range(8, 1 << 16)->Complexity(benchmark::o1);

} // namespace
