// The live, consistent part of a graph as a tree (see GraphTree_p.h).

#include "GraphTree_p.h"

namespace Morvane {
namespace Zrn {

namespace {

// Where an edge is listed as a destination: its node, side and port index.
struct Listing
{
    int node = -1;
    bool output = false;
    int index = -1;
};

} // namespace

GraphTree::GraphTree(const Graph& graph)
{
    const int numNodes = graph.numNodesGlobal();
    nodeMap.assign(size_t(numNodes), -1);
    parents.assign(size_t(numNodes), -1);
    children.resize(size_t(numNodes));
    for (int n = 0; n < numNodes; ++n) {
        if (!graph.isValidNode(n))
            continue;
        const int parent = graph.parentNode(n);
        // The root is slot 0 with no parent; every other node hangs under an
        // earlier kept node, so one pass in slot order decides them all.
        const bool kept =
            n == Graph::kRootNodeRef ? parent == Graph::kInvalidNodeRef : parent >= 0 && parent < n && keptNode(parent);
        if (!kept)
            continue;
        nodeMap[size_t(n)] = int(nodes.size());
        nodes.push_back(n);
        parents[size_t(n)] = parent;
        if (parent >= 0)
            children[size_t(parent)].push_back(n);
    }

    // Where each edge is listed, read once per port rather than searched per edge.
    const int numEdges = graph.numEdgesGlobal();
    std::vector<Listing> listed(static_cast<size_t>(numEdges));
    auto list = [&](int node, bool output, int index, int edge) {
        if (edge >= 0 && edge < numEdges)
            listed[size_t(edge)] = Listing{node, output, index};
    };
    for (int n : nodes) {
        for (int i = 0; i < graph.numInputs(n); ++i) {
            for (int k = 0; k < graph.numInputDestinations(n, i); ++k)
                list(n, false, i, graph.inputDestination(n, i, k));
        }
        for (int o = 0; o < graph.numOutputs(n); ++o) {
            for (int k = 0; k < graph.numOutputDestinations(n, o); ++k)
                list(n, true, o, graph.outputDestination(n, o, k));
        }
    }

    edgeMap.assign(size_t(numEdges), -1);
    kinds.assign(size_t(numEdges), Regular);
    for (int e = 0; e < numEdges; ++e) {
        if (!graph.isValidEdge(e))
            continue;
        const int src = graph.edgeSourceNode(e);
        const int srcIndex = graph.edgeSourceIndex(e);
        const int dst = graph.edgeDestNode(e);
        const int dstIndex = graph.edgeDestIndex(e);
        if (!keptNode(src) || !keptNode(dst))
            continue;
        Kind kind;
        if (src != Graph::kRootNodeRef && parents[size_t(src)] == parents[size_t(dst)])
            kind = Regular;
        else if (parents[size_t(dst)] == src)
            kind = Down;
        else if (parents[size_t(src)] == dst)
            kind = Up;
        else
            continue;
        // Source side: an output, except for a down edge, which leaves the
        // parent's input. Destination side: an input, except for an up edge.
        const bool srcIsOutput = kind != Down;
        const bool dstIsOutput = kind == Up;
        const bool srcExists = srcIsOutput ? graph.isValidOutput(src, srcIndex) : graph.isValidInput(src, srcIndex);
        const bool dstExists = dstIsOutput ? graph.isValidOutput(dst, dstIndex) : graph.isValidInput(dst, dstIndex);
        if (!srcExists || !dstExists)
            continue;
        const int held = dstIsOutput ? graph.outputSource(dst, dstIndex) : graph.inputSource(dst, dstIndex);
        const Listing& at = listed[size_t(e)];
        if (held != e || at.node != src || at.output != srcIsOutput || at.index != srcIndex)
            continue;
        edgeMap[size_t(e)] = int(edges.size());
        edges.push_back(e);
        kinds[size_t(e)] = kind;
    }
}

} // namespace Zrn
} // namespace Morvane
