// The three walkers on wide and deep graphs, and purge() on graphs with a
// fraction of their nodes removed.
//
// Each walker benchmark has a baseline in the same run that touches every
// node of the same graph once through the graph's accessors; the ratio of a
// walker's time to it is the walker's own overhead per node. The sweeps go
// up to 100,000 nodes. purge() is compared with purging the same graph with
// nothing removed, and removeHalfThenPurge times removeNode() of every other
// node of a chain and the purge() after it (removeHalfInOneCallThenPurge the
// same nodes in one removeNodes() call).

#include "BenchClock.h"
#include "BenchSizes.h"

#include <ZrnCore/Graph.h>
#include <ZrnCore/Walkers.h>

#include <benchmark/benchmark.h>

#include <QtCore/QString>
#include <QtCore/QVector>

#include <memory>
#include <vector>

using Morvane::Zrn::BottomUpInputWalker;
using Morvane::Zrn::BottomUpSubgraphWalker;
using Morvane::Zrn::BreadthFirstInputWalker;
using Morvane::Zrn::Graph;

namespace {

struct Built
{
    std::unique_ptr<Graph> graph;
    int start = Graph::kInvalidNodeRef; // where the walks begin
};

//   s0   s1  ...  sN-1          (N sources, one output each)
//    \    |       /
//        sink                   (N inputs)
Built wideInputs(int n)
{
    Built b{std::make_unique<Graph>(), Graph::kInvalidNodeRef};
    Graph& g = *b.graph;
    b.start = g.addNode(QStringLiteral("sink"), n, 0, Graph::kRootNodeRef);
    for (int i = 0; i < n; ++i) {
        const int s = g.addNode(QStringLiteral("s"), 0, 1, Graph::kRootNodeRef);
        g.addEdge(s, 0, b.start, i);
    }
    return b;
}

//   n0 -> n1 -> ... -> nN-1     (the walks start at nN-1)
Built deepInputs(int n)
{
    Built b{std::make_unique<Graph>(), Graph::kInvalidNodeRef};
    Graph& g = *b.graph;
    std::vector<int> chain;
    for (int i = 0; i < n; ++i)
        chain.push_back(g.addNode(QStringLiteral("n"), 1, 1, Graph::kRootNodeRef));
    // From the far end, so that each cycle test finds nothing upstream.
    for (int i = n - 2; i >= 0; --i)
        g.addEdge(chain[size_t(i)], 0, chain[size_t(i) + 1], 0);
    b.start = chain.back();
    return b;
}

//   [c0: p0 -up->]  ...  [cN-1: pN-1 -up->]   (N composites, each output
//          \                  /                produced by a child inside)
//                   sink
Built wideNested(int n)
{
    Built b{std::make_unique<Graph>(), Graph::kInvalidNodeRef};
    Graph& g = *b.graph;
    b.start = g.addNode(QStringLiteral("sink"), n, 0, Graph::kRootNodeRef);
    for (int i = 0; i < n; ++i) {
        const int c = g.addNode(QStringLiteral("c"), 0, 1, Graph::kRootNodeRef);
        const int p = g.addNode(QStringLiteral("p"), 0, 1, c);
        g.addUpEdge(0, p, 0);
        g.addEdge(c, 0, b.start, i);
    }
    return b;
}

// The root with N leaf children.
Built wideTree(int n)
{
    Built b{std::make_unique<Graph>(), Graph::kRootNodeRef};
    for (int i = 0; i < n; ++i)
        b.graph->addNode(QStringLiteral("c"), 0, 0, Graph::kRootNodeRef);
    return b;
}

// N nodes, each the only child of the one before.
Built deepTree(int n)
{
    Built b{std::make_unique<Graph>(), Graph::kRootNodeRef};
    int parent = Graph::kRootNodeRef;
    for (int i = 0; i < n; ++i)
        parent = b.graph->addNode(QStringLiteral("c"), 0, 0, parent);
    return b;
}

using Builder = Built (*)(int);

// Touches every node slot once: the floor that a walk over the same graph
// cannot go below.
void visitEverySlot(benchmark::State& state, Builder build)
{
    const Built b = build(int(state.range(0)));
    const Graph& g = *b.graph;
    for (auto _ : state) {
        long sum = 0;
        for (int n = 0; n < g.numNodesGlobal(); ++n) {
            if (g.isValidNode(n))
                sum += g.numInputs(n) + g.numNodes(n);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * b.graph->numNodesGlobal());
    state.SetComplexityN(state.range(0));
}

enum class InputWalker { BreadthFirst, BottomUp };

template <typename Walker>
long walkInputs(const Built& b, bool followSources)
{
    long visited = 0;
    for (Walker w(*b.graph, b.start, followSources); w.valid(); w.next()) {
        benchmark::DoNotOptimize(w.node());
        ++visited;
    }
    return visited;
}

void inputWalk(benchmark::State& state, Builder build, InputWalker kind, bool followSources)
{
    const Built b = build(int(state.range(0)));
    long visited = 0;
    for (auto _ : state) {
        visited = kind == InputWalker::BreadthFirst ? walkInputs<BreadthFirstInputWalker>(b, followSources)
                                                    : walkInputs<BottomUpInputWalker>(b, followSources);
    }
    state.SetItemsProcessed(state.iterations() * visited);
    state.SetComplexityN(state.range(0));
}

void subgraphWalk(benchmark::State& state, Builder build)
{
    const Built b = build(int(state.range(0)));
    long visited = 0;
    for (auto _ : state) {
        visited = 0;
        for (BottomUpSubgraphWalker w(*b.graph, b.start); w.valid(); w.next()) {
            benchmark::DoNotOptimize(w.node());
            ++visited;
        }
    }
    state.SetItemsProcessed(state.iterations() * visited);
    state.SetComplexityN(state.range(0));
}

void sizes(benchmark::internal::Benchmark* b)
{
    ZrnBench::addSizes(b, {64, 512, 4096, 1 << 15, 100000});
    b->Complexity(benchmark::oN);
}

} // namespace

BENCHMARK_CAPTURE(visitEverySlot, wideInputs, wideInputs)->Apply(sizes);
BENCHMARK_CAPTURE(visitEverySlot, deepInputs, deepInputs)->Apply(sizes);
BENCHMARK_CAPTURE(visitEverySlot, wideNested, wideNested)->Apply(sizes);
BENCHMARK_CAPTURE(visitEverySlot, wideTree, wideTree)->Apply(sizes);
BENCHMARK_CAPTURE(visitEverySlot, deepTree, deepTree)->Apply(sizes);

BENCHMARK_CAPTURE(inputWalk, breadthFirst_wide, wideInputs, InputWalker::BreadthFirst, false)->Apply(sizes);
BENCHMARK_CAPTURE(inputWalk, breadthFirst_wide_follow, wideInputs, InputWalker::BreadthFirst, true)->Apply(sizes);
BENCHMARK_CAPTURE(inputWalk, breadthFirst_deep, deepInputs, InputWalker::BreadthFirst, false)->Apply(sizes);
BENCHMARK_CAPTURE(inputWalk, breadthFirst_deep_follow, deepInputs, InputWalker::BreadthFirst, true)->Apply(sizes);
BENCHMARK_CAPTURE(inputWalk, bottomUp_wide, wideInputs, InputWalker::BottomUp, false)->Apply(sizes);
BENCHMARK_CAPTURE(inputWalk, bottomUp_wide_follow, wideInputs, InputWalker::BottomUp, true)->Apply(sizes);
BENCHMARK_CAPTURE(inputWalk, bottomUp_deep, deepInputs, InputWalker::BottomUp, false)->Apply(sizes);
BENCHMARK_CAPTURE(inputWalk, bottomUp_deep_follow, deepInputs, InputWalker::BottomUp, true)->Apply(sizes);
BENCHMARK_CAPTURE(inputWalk, breadthFirst_nested, wideNested, InputWalker::BreadthFirst, false)->Apply(sizes);
BENCHMARK_CAPTURE(inputWalk, breadthFirst_nested_follow, wideNested, InputWalker::BreadthFirst, true)->Apply(sizes);
BENCHMARK_CAPTURE(inputWalk, bottomUp_nested, wideNested, InputWalker::BottomUp, false)->Apply(sizes);
BENCHMARK_CAPTURE(inputWalk, bottomUp_nested_follow, wideNested, InputWalker::BottomUp, true)->Apply(sizes);

BENCHMARK_CAPTURE(subgraphWalk, wideTree, wideTree)->Apply(sizes);
BENCHMARK_CAPTURE(subgraphWalk, deepTree, deepTree)->Apply(sizes);

namespace {

// A chain of N top-level nodes, each feeding the next, of which every k-th
// (by the percentage given as the second argument) has been removed with its
// edges; the timed part is purge() alone.
void purgeChain(benchmark::State& state)
{
    const int n = int(state.range(0));
    const int percent = int(state.range(1));
    for (auto _ : state) {
        state.PauseTiming();
        const Built b = deepInputs(n);
        Graph& g = *b.graph;
        // Spread the removals evenly: node i goes when the running share of
        // removed nodes falls behind the percentage.
        int removed = 0;
        for (int i = 1; i <= n; ++i) {
            if (removed * 100 < i * percent) {
                g.removeNode(i);
                ++removed;
            }
        }
        state.ResumeTiming();
        g.purge();
        benchmark::DoNotOptimize(g.numNodesGlobal());
    }
    state.SetItemsProcessed(state.iterations() * n);
    state.counters["removed%"] = double(percent);
}

} // namespace

// 0% is the baseline: the same storage walked and rewritten, nothing dropped.
BENCHMARK(purgeChain)
    ->Apply([](benchmark::internal::Benchmark* b) {
        if (ZrnBench::isSmokeRun())
            b->Args({1 << 10, 50});
        else
            b->ArgsProduct({{1 << 10, 1 << 13, 1 << 16}, {0, 10, 50, 90}});
    })
    ->Unit(benchmark::kMicrosecond);

namespace {

// removeNode() of every other node of a chain of N top-level nodes (each
// removal takes the node's edges with it), then purge(); both timed, the
// chain built and destroyed outside the timed part. Counters: nanoseconds per removed
// node, and purge's nanoseconds per node of the chain. With `oneCall`, the
// same nodes go in one removeNodes() call (the list made outside the timed
// part).
void removeHalf(benchmark::State& state, bool oneCall)
{
    const int n = int(state.range(0));
    QVector<int> doomed;
    for (int node = 1; node <= n; node += 2)
        doomed.append(node);
    double removeSeconds = 0.0;
    double purgeSeconds = 0.0;
    int left = 0;
    for (auto _ : state) {
        const Built b = deepInputs(n);
        Graph& g = *b.graph;
        const double start = ZrnBench::threadSeconds();
        if (oneCall) {
            g.removeNodes(doomed);
        } else {
            for (int node : doomed)
                g.removeNode(node);
        }
        const double removed = ZrnBench::threadSeconds();
        g.purge();
        const double purged = ZrnBench::threadSeconds();
        left = g.numNodesGlobal();
        removeSeconds += removed - start;
        purgeSeconds += purged - removed;
        state.SetIterationTime(purged - start);
    }
    if (left != 1 + n / 2)
        state.SkipWithError("purge left another number of nodes");
    const double iterations = double(state.iterations());
    state.counters["remove_ns"] = removeSeconds * 1e9 / (iterations * ((n + 1) / 2));
    state.counters["purge_ns"] = purgeSeconds * 1e9 / (iterations * n);
}

void removeHalfThenPurge(benchmark::State& state)
{
    removeHalf(state, false);
}

void removeHalfInOneCallThenPurge(benchmark::State& state)
{
    removeHalf(state, true);
}

} // namespace

BENCHMARK(removeHalfThenPurge)
    ->Apply([](benchmark::internal::Benchmark* b) {
        ZrnBench::addSizes(b, {1000, 10000, 100000});
    })
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(removeHalfInOneCallThenPurge)
    ->Apply([](benchmark::internal::Benchmark* b) {
        ZrnBench::addSizes(b, {1000, 10000, 100000});
    })
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
