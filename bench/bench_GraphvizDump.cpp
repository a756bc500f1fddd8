// Cost of graphvizText() against a baseline that reads the same top level
// (every node name and every destination of every output) without
// formatting. The ratio of the two at each size is what matters: the dump
// should stay a small constant factor above the read, at every size.

#include "BenchSizes.h"

#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphvizDump.h>

#include <benchmark/benchmark.h>

using Morvane::Zrn::Graph;

namespace {

// A chain of `n` top-level nodes, each also feeding the node two ahead, so
// that every node has two outputs and up to two distinct destinations.
void buildChain(Graph& g, int n)
{
    const int root = Graph::kRootNodeRef;
    for (int k = 0; k < n; ++k)
        g.addNode(QStringLiteral("pass%1").arg(k), 2, 2, root);
    for (int k = 0; k + 1 < n; ++k)
        g.addEdge(g.getNode(k, root), 0, g.getNode(k + 1, root), 0);
    for (int k = 0; k + 2 < n; ++k)
        g.addEdge(g.getNode(k, root), 1, g.getNode(k + 2, root), 1);
}

void BM_ReadTopLevel(benchmark::State& state)
{
    Graph g;
    buildChain(g, int(state.range(0)));
    const int root = Graph::kRootNodeRef;
    for (auto _ : state) {
        int sum = 0;
        for (int k = 0; k < g.numNodes(root); ++k) {
            const int node = g.getNode(k, root);
            sum += g.nodeName(node).size();
            for (int o = 0; o < g.numOutputs(node); ++o) {
                for (int i = 0; i < g.numOutputDestinations(node, o); ++i)
                    sum += g.nodeName(g.edgeDestNode(g.outputDestination(node, o, i))).size();
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetComplexityN(state.range(0));
}

void BM_GraphvizText(benchmark::State& state)
{
    Graph g;
    buildChain(g, int(state.range(0)));
    for (auto _ : state) {
        QString text = Morvane::Zrn::graphvizText(&g);
        benchmark::DoNotOptimize(text);
    }
    state.SetComplexityN(state.range(0));
}

} // namespace

namespace {

void sizes(benchmark::internal::Benchmark* b)
{
    ZrnBench::addSizes(b, {8, 64, 512, 4096, 10000});
    b->Complexity();
}

} // namespace

BENCHMARK(BM_ReadTopLevel)->Apply(sizes);
BENCHMARK(BM_GraphvizText)->Apply(sizes);
