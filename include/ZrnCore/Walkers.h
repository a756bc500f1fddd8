#ifndef ZRNCORE_WALKERS_H
#define ZRNCORE_WALKERS_H

#include <ZrnCore/zrncore_export.h>

#include <memory>

/// \file
/// The walkers: three iterators over the nodes of a Graph. Each keeps a reference to the
/// graph, which must outlive the walker and must not change while it is in
/// use. Use them as:
///
///     for (BottomUpInputWalker w(graph, node, true); w.valid(); w.next())
///         use(w.node());
///
/// The walking step of the two input walkers, for input i of node n: with
/// `followSources` true the input's source is traced through the hierarchy to
/// the innermost node that produces it (Graph::walkToSourceNode()); with it
/// false only a sibling that feeds the input through a regular edge is found
/// (Graph::walkAcross()). Every input starts afresh from (n, i).
///
/// A walker allocates its tables when it is constructed (a visited mark per
/// node slot, numNodesGlobal(); the breadth-first walker also an int queue of
/// numNodesGlobal() + 1) and its stack of frames as it goes. Memory exhaustion
/// is not turned into an end of the walk: it is left to the allocator, as
/// everywhere else in the library. A walker belongs to one thread; several
/// walkers may read one unchanging graph at once.

namespace Morvane {
namespace Zrn {

class Graph;

/// Visits `node`, then the nodes feeding its inputs level by level, each node
/// once, in order of discovery by input index.
class ZRNCORE_EXPORT BreadthFirstInputWalker
{
public:
    /// Starts at `node`, which is marked visited. kInvalidNodeRef (-1), and
    /// any other reference outside 0..numNodesGlobal()-1, gives an empty walk.
    /// A removed node is yielded alone (removal took the edges at its ports).
    BreadthFirstInputWalker(const Graph& graph, int node, bool followSources);
    ~BreadthFirstInputWalker();
    BreadthFirstInputWalker(const BreadthFirstInputWalker&) = delete;
    BreadthFirstInputWalker& operator=(const BreadthFirstInputWalker&) = delete;

    /// Returns true while there is a current node.
    bool valid() const;
    /// Returns the current node, or kInvalidNodeRef when the walk is over.
    int node() const;
    /// Queues the not yet visited sources of the current node's inputs, in
    /// input order, and moves on to the next queued node. Does nothing on a
    /// finished walker.
    void next();

private:
    struct ZRNCORE_NO_EXPORT Impl;
    std::unique_ptr<Impl> d;
};

/// Visits the nodes upstream of `node` depth first, each after everything
/// upstream of it that was not visited yet (post-order), inputs in index
/// order; `node` itself comes last.
///
/// The walker keeps a stack of frames {node, next input to try}; the current
/// node is the top frame's. Descending tries the top frame's remaining inputs
/// in order and pushes the first source not yet visited, marking it, then
/// goes on from the new top, until the top frame has tried all its inputs.
///
/// The visited table covers every node slot (numNodesGlobal() entries), so
/// that a source anywhere in the hierarchy, at any reference, is marked and
/// yielded once. The start node is not marked: should a loop through the
/// hierarchy lead back to it, it is yielded there too, and again last.
class ZRNCORE_EXPORT BottomUpInputWalker
{
public:
    /// Starts at `node` and descends from it. kInvalidNodeRef (-1), and any
    /// other reference outside 0..numNodesGlobal()-1, gives an empty walk. A
    /// removed node is yielded alone.
    BottomUpInputWalker(const Graph& graph, int node, bool followSources);
    ~BottomUpInputWalker();
    BottomUpInputWalker(const BottomUpInputWalker&) = delete;
    BottomUpInputWalker& operator=(const BottomUpInputWalker&) = delete;

    /// Returns true while the stack of frames is not empty.
    bool valid() const;
    /// Returns the node of the top frame, or kInvalidNodeRef when the stack
    /// is empty.
    int node() const;
    /// Pops the top frame if it has tried all its inputs (ending the walk if
    /// that empties the stack), then descends from the top. Does nothing on a
    /// finished walker. Equivalent to pop() then moveNext() when the top
    /// frame is finished, to moveNext() otherwise.
    void next();
    /// Descends from the top frame without popping it. Does nothing when the
    /// stack is empty or the top frame has tried all its inputs.
    void moveNext();
    /// Removes the top frame, without descending. Does nothing when the stack
    /// is empty.
    void pop();

private:
    struct ZRNCORE_NO_EXPORT Impl;
    std::unique_ptr<Impl> d;
};

/// Visits the subtree of `node` in post-order: the deepest first child first,
/// children in index order, `node` last. Frames are {node, next child to
/// try}, as for BottomUpInputWalker.
///
/// A child that Graph::removeChildNode() removed but left listed is yielded,
/// as a leaf. Each node is yielded at most once: in a tree that changes
/// nothing, and it ends the walk over children lists rewritten by
/// Graph::purge(), which may list a node under itself; an entry that names no
/// node slot is passed over.
class ZRNCORE_EXPORT BottomUpSubgraphWalker
{
public:
    /// Starts at `node` and descends from it; a node for which
    /// Graph::isValidNode() is false (any int) gives an empty walk.
    BottomUpSubgraphWalker(const Graph& graph, int node);
    ~BottomUpSubgraphWalker();
    BottomUpSubgraphWalker(const BottomUpSubgraphWalker&) = delete;
    BottomUpSubgraphWalker& operator=(const BottomUpSubgraphWalker&) = delete;

    /// Returns true while the stack of frames is not empty.
    bool valid() const;
    /// Returns the node of the top frame, or kInvalidNodeRef when the stack
    /// is empty.
    int node() const;
    /// Pops the top frame if it has visited all its children (ending the
    /// walk if that empties the stack), then descends from the top. Does
    /// nothing on a finished walker.
    void next();
    /// Descends from the top frame without popping it. Does nothing when the
    /// stack is empty or the top frame has visited all its children.
    void moveNext();
    /// Removes the top frame, without descending. Does nothing when the stack
    /// is empty.
    void pop();

private:
    struct ZRNCORE_NO_EXPORT Impl;
    std::unique_ptr<Impl> d;
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_WALKERS_H
