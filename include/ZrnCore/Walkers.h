#ifndef ZRNCORE_WALKERS_H
#define ZRNCORE_WALKERS_H

#include <ZrnCore/zrncore_export.h>

namespace Morvane {
namespace Zrn {

class Graph;

// Three iterators over the nodes of a Graph. Each keeps a reference to the
// graph, which must outlive the walker and must not change while it is in
// use. Use them as:
//
//     for (BottomUpInputWalker w(graph, node, true); w.valid(); w.next())
//         use(w.node());
//
// The walking step of the two input walkers: with `followSources` true an
// input's source is traced through the hierarchy to the innermost node that
// produces it (Graph::walkToSourceNode()); with it false only a sibling that
// feeds the input through a regular edge is found (Graph::walkAcross()).

/// Visits `node`, then the nodes feeding its inputs level by level, each node
/// once, in order of discovery by input index.
class ZRNCORE_EXPORT BreadthFirstInputWalker
{
public:
    /// Starts at `node`. With kInvalidNodeRef (-1) the walk is empty at once;
    /// any other reference must name a valid node.
    BreadthFirstInputWalker(const Graph& graph, int node, bool followSources);
    ~BreadthFirstInputWalker();
    BreadthFirstInputWalker(const BreadthFirstInputWalker&) = delete;
    BreadthFirstInputWalker& operator=(const BreadthFirstInputWalker&) = delete;

    /// Returns true while there is a current node.
    bool valid() const;
    /// Returns the current node. The walker must be valid.
    int node() const;
    /// Queues the unvisited sources of the current node and moves on to the
    /// next queued node. Does nothing on a finished walker.
    void next();

private:
    struct Impl;
    Impl* d;
};

/// Visits the nodes upstream of `node` depth first, each after everything
/// upstream of it that was not visited yet (post-order), inputs in index
/// order; `node` itself comes last.
class ZRNCORE_EXPORT BottomUpInputWalker
{
public:
    /// Starts at `node`. With kInvalidNodeRef (-1) the walk is empty; any
    /// other reference must name a valid node.
    BottomUpInputWalker(const Graph& graph, int node, bool followSources);
    ~BottomUpInputWalker();
    BottomUpInputWalker(const BottomUpInputWalker&) = delete;
    BottomUpInputWalker& operator=(const BottomUpInputWalker&) = delete;

    /// Returns true while the stack of frames is not empty.
    bool valid() const;
    /// Returns the node of the top frame. The walker must be valid.
    int node() const;
    /// Pops the finished top frame and descends from the new top. Does
    /// nothing on a finished walker.
    void next();
    /// Descends from the top frame without popping it; does nothing when the
    /// walker is finished or the top frame has tried all its inputs.
    void moveNext();
    /// Removes the top frame. The walker must be valid.
    void pop();

private:
    struct Impl;
    Impl* d;
};

/// Visits the subtree of `node` in post-order: the deepest first child first,
/// children in index order, `node` last.
class ZRNCORE_EXPORT BottomUpSubgraphWalker
{
public:
    /// Starts at `node`; an invalid node (any int) gives an empty walk.
    BottomUpSubgraphWalker(const Graph& graph, int node);
    ~BottomUpSubgraphWalker();
    BottomUpSubgraphWalker(const BottomUpSubgraphWalker&) = delete;
    BottomUpSubgraphWalker& operator=(const BottomUpSubgraphWalker&) = delete;

    /// Returns true while the stack of frames is not empty.
    bool valid() const;
    /// Returns the node of the top frame. The walker must be valid.
    int node() const;
    /// Pops the finished top frame and descends from the new top. Does
    /// nothing on a finished walker.
    void next();
    /// Descends from the top frame without popping it; does nothing when the
    /// walker is finished or the top frame has visited all its children.
    void moveNext();
    /// Removes the top frame. The walker must be valid.
    void pop();

private:
    struct Impl;
    Impl* d;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_WALKERS_H
