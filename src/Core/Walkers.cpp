// The three walkers: breadth first and bottom up over the nodes that feed a
// node's inputs, and bottom up over a node's subtree. They read the graph
// through its public interface only.

#include <ZrnCore/Walkers.h>

#include <ZrnCore/Graph.h>

#include "Visited_p.h"

#include <vector>

namespace Morvane {
namespace Zrn {

namespace {

// The walking step of both input walkers: the node whose output feeds input
// `input` of `node`, or kInvalidNodeRef when none is found. Every input
// starts afresh from (node, input).
int sourceOf(const Graph& graph, int node, int input, bool followSources)
{
    int m = node;
    int j = input;
    const bool found = followSources ? graph.walkToSourceNode(m, j) : graph.walkAcross(m, j);
    return found ? m : Graph::kInvalidNodeRef;
}

// The inputs a walk tries at `node`. A removed node has had every edge at its
// ports removed, so trying its inputs would find nothing; it counts as having
// none, which spares the graph's accessors a reference they do not accept.
int inputsToTry(const Graph& graph, int node)
{
    return graph.isValidNode(node) ? graph.numInputs(node) : 0;
}

// The same for children: a removed node's children list has been emptied.
int childrenToTry(const Graph& graph, int node)
{
    return graph.isValidNode(node) ? graph.numNodes(node) : 0;
}

// One node on the stack of a bottom-up walker, with the position of the next
// input (or child) to try.
struct Frame
{
    int node;
    int cursor;
};

// next(), moveNext() and pop() of the two bottom-up walkers; `Walk` supplies
// `stack`, `topFinished()` and `descend()`.
template <typename Walk>
void stepNext(Walk& w)
{
    if (w.stack.empty())
        return;
    if (w.topFinished()) {
        w.stack.pop_back();
        if (w.stack.empty())
            return;
    }
    w.descend();
}

template <typename Walk>
void stepMoveNext(Walk& w)
{
    if (w.stack.empty() || w.topFinished())
        return;
    w.descend();
}

template <typename Walk>
void stepPop(Walk& w)
{
    if (!w.stack.empty())
        w.stack.pop_back();
}

template <typename Walk>
int topNode(const Walk& w)
{
    return w.stack.empty() ? Graph::kInvalidNodeRef : w.stack.back().node;
}

} // namespace

// ---------------------------------------------------------------- breadth first

struct BreadthFirstInputWalker::Impl
{
    Impl(const Graph& g, bool follow)
        : graph(g)
        , followSources(follow)
        , queue(size_t(g.numNodesGlobal()) + 1, Graph::kInvalidNodeRef)
    {
    }

    const Graph& graph;
    const bool followSources;
    VisitStamps visited;    // one mark per node slot
    std::vector<int> queue; // every node is queued at most once
    int head = 0;           // position of the current node
    int tail = 0;           // number of nodes queued
};

BreadthFirstInputWalker::BreadthFirstInputWalker(const Graph& graph, int node, bool followSources)
    : d(new Impl(graph, followSources))
{
    d->visited.begin(size_t(graph.numNodesGlobal()));
    // Only kInvalidNodeRef is expected here, but any reference outside the
    // node table gives the same empty walk rather than a write beyond it.
    if (!d->visited.covers(node))
        return;
    d->visited.mark(node);
    d->queue[size_t(d->tail++)] = node;
}

BreadthFirstInputWalker::~BreadthFirstInputWalker() = default;

bool BreadthFirstInputWalker::valid() const
{
    return d->head < d->tail;
}

int BreadthFirstInputWalker::node() const
{
    return valid() ? d->queue[size_t(d->head)] : Graph::kInvalidNodeRef;
}

void BreadthFirstInputWalker::next()
{
    if (d->head >= d->tail)
        return;
    const int n = d->queue[size_t(d->head++)];
    const int count = inputsToTry(d->graph, n);
    for (int i = 0; i < count; ++i) {
        const int m = sourceOf(d->graph, n, i, d->followSources);
        if (!d->visited.covers(m) || d->visited.marked(m))
            continue;
        d->visited.mark(m);
        d->queue[size_t(d->tail++)] = m;
    }
}

// ---------------------------------------------------------------- bottom up, inputs

struct BottomUpInputWalker::Impl
{
    Impl(const Graph& g, bool follow)
        : graph(g)
        , followSources(follow)
    {
    }

    bool topFinished() const { return stack.back().cursor >= inputsToTry(graph, stack.back().node); }

    // Pushes the first unvisited source of the top frame's remaining inputs,
    // then of the new top's, and so on, until the top frame has tried all its
    // inputs.
    void descend()
    {
        while (!stack.empty() && !topFinished()) {
            Frame& top = stack.back();
            const int i = top.cursor++;
            const int m = sourceOf(graph, top.node, i, followSources);
            if (!visited.covers(m) || visited.marked(m))
                continue;
            visited.mark(m);
            stack.push_back(Frame{m, 0});
        }
    }

    const Graph& graph;
    const bool followSources;
    VisitStamps visited;      // one mark per node slot, see the class comment
    std::vector<Frame> stack; // the top frame is back()
};

BottomUpInputWalker::BottomUpInputWalker(const Graph& graph, int node, bool followSources)
    : d(new Impl(graph, followSources))
{
    if (node < 0 || node >= graph.numNodesGlobal())
        return; // kInvalidNodeRef, or anything else outside the node table
    d->visited.begin(size_t(graph.numNodesGlobal()));
    d->stack.push_back(Frame{node, 0}); // the start node is not marked visited
    d->descend();
}

BottomUpInputWalker::~BottomUpInputWalker() = default;

bool BottomUpInputWalker::valid() const
{
    return !d->stack.empty();
}

int BottomUpInputWalker::node() const
{
    return topNode(*d);
}

void BottomUpInputWalker::next()
{
    stepNext(*d);
}

void BottomUpInputWalker::moveNext()
{
    stepMoveNext(*d);
}

void BottomUpInputWalker::pop()
{
    stepPop(*d);
}

// ---------------------------------------------------------------- bottom up, subtree

struct BottomUpSubgraphWalker::Impl
{
    explicit Impl(const Graph& g)
        : graph(g)
    {
    }

    bool topFinished() const { return stack.back().cursor >= childrenToTry(graph, stack.back().node); }

    // Pushes the top frame's next child, then that child's first child, and
    // so on down to a node whose children have all been tried.
    void descend()
    {
        while (!stack.empty() && !topFinished()) {
            Frame& top = stack.back();
            const int c = graph.getNode(top.cursor++, top.node);
            // In a tree every child is new, but a children list as stored
            // may name no slot, or list a node twice or under its own
            // subtree (see storedChildren() in Graph_p.h): such an entry is
            // passed over.
            if (!entered.covers(c) || entered.marked(c))
                continue;
            entered.mark(c);
            stack.push_back(Frame{c, 0});
        }
    }

    const Graph& graph;
    VisitStamps entered;      // one mark per node slot
    std::vector<Frame> stack; // the top frame is back()
};

BottomUpSubgraphWalker::BottomUpSubgraphWalker(const Graph& graph, int node)
    : d(new Impl(graph))
{
    if (!graph.isValidNode(node))
        return;
    d->entered.begin(size_t(graph.numNodesGlobal()));
    d->entered.mark(node);
    d->stack.push_back(Frame{node, 0});
    d->descend();
}

BottomUpSubgraphWalker::~BottomUpSubgraphWalker() = default;

bool BottomUpSubgraphWalker::valid() const
{
    return !d->stack.empty();
}

int BottomUpSubgraphWalker::node() const
{
    return topNode(*d);
}

void BottomUpSubgraphWalker::next()
{
    stepNext(*d);
}

void BottomUpSubgraphWalker::moveNext()
{
    stepMoveNext(*d);
}

void BottomUpSubgraphWalker::pop()
{
    stepPop(*d);
}

} // namespace Zrn
} // namespace Morvane
