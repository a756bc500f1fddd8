// The producer order behind addEdge()'s cycle refusal: the node slots in an
// order where every producer comes before the nodes it feeds, kept up to
// date edit by edit (a dynamic topological sort in the manner of Pearce and
// Kelly), so that most new edges are shown to close no cycle without a
// search. Where the order proves nothing, addEdge() searches as before.
//
// The relation is never stored; it is read off the records when needed:
// - the producers of a node by the very walks precedes() makes;
// - the consumers of a node the other way round, along destination lists.
// The second way needs every followed edge to be listed at the port its
// record names, and the parent fields to lead up without a loop. A rebuild
// checks both; the edits that could break them (erasing connected ports,
// purge) mark the order stale, and where they do not hold every answer
// comes from the search.

#include "Graph_p.h"
#include "Visited_p.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <utility>
#include <vector>

namespace Morvane {
namespace Zrn {

using OrderState = ProducerOrder::State;

namespace {

// Working storage of the order's updates, reused by every call on this
// thread. Each vector has one user at a time: the collectors, the link
// insertion and the hooks nest but never share one.
struct OrderScratch
{
    VisitStamps forwardSeen;
    VisitStamps backwardSeen;
    std::vector<std::pair<int, int>> inputPorts;  // collectInputConsumers()
    std::vector<std::pair<int, int>> outputPorts; // collectOutputConsumers()
    std::vector<int> consumers;                   // the hooks
    std::vector<int> found;                       // insertLink(), per node
    std::vector<int> stack;                       // insertLink()
    std::vector<int> forward;                     // insertLink()
    std::vector<int> backward;                    // insertLink()
    std::vector<int> ranks;                       // insertLink()
    VisitStamps closureSeen;                      // moveClosure()
    std::vector<int> closure;                     // moveClosure()
    std::vector<int> closureStack;                // moveClosure()
    std::vector<int> closureFound;                // moveClosure(), per node downstream
};

OrderScratch& orderScratch()
{
    return perThread<OrderScratch>();
}

// Starts a search over `numNodes` node slots from `from`: only `from` marked and
// on the stack, nothing reached yet.
void startSearch(VisitStamps& seen, std::vector<int>& reached, std::vector<int>& stack, size_t numNodes, int from)
{
    seen.begin(numNodes);
    reached.clear();
    stack.clear();
    stack.push_back(from);
    seen.mark(from);
}

} // namespace

// ---------------------------------------------------------------- the relation

int Graph::Impl::producerOf(int n, int input) const
{
    // The steps of precedes(..., true) for one input, in the same order.
    int m = n;
    int k = input;
    walkUp(m, k);
    const int e = node(m).inputs()[size_t(k)].source;
    if (!validEdge(e) || !regular(edge(e)))
        return -1;
    m = edge(e).srcNode;
    k = edge(e).srcIndex;
    walkDown(m, k);
    return m;
}

bool Graph::Impl::collectInputConsumers(int n, int input, std::vector<int>& out) const
{
    // The nodes with an input whose walkUp() ends at (or passes) this one:
    // the node itself, then, down edge by down edge, the children fed from it.
    std::vector<std::pair<int, int>>& todo = orderScratch().inputPorts;
    todo.clear();
    todo.emplace_back(n, input);
    size_t budget = edges.size(); // each down edge is followed at most once
    while (!todo.empty()) {
        const int x = todo.back().first;
        const int j = todo.back().second;
        todo.pop_back();
        out.push_back(x);
        for (int e : node(x).inputs()[size_t(j)].destinations) {
            if (!validEdge(e))
                continue;
            const Edge& d = edge(e);
            if (!down(d) || d.srcNode != x || d.srcIndex != j)
                continue;
            const auto fed = node(d.dstNode).inputs();
            if (!inRange(d.dstIndex, fed.size()) || fed[size_t(d.dstIndex)].source != e)
                continue;
            if (budget-- == 0)
                return false; // only a loop of parents gets here
            todo.emplace_back(d.dstNode, d.dstIndex);
        }
    }
    return true;
}

bool Graph::Impl::collectOutputConsumers(int n, int output, std::vector<int>& out) const
{
    // The nodes fed by the value of this output: through every output whose
    // walkDown() reaches this one (up edges, upwards), every regular edge
    // leaving such an output, and the inputs fed from its end.
    std::vector<std::pair<int, int>>& todo = orderScratch().outputPorts;
    todo.clear();
    todo.emplace_back(n, output);
    size_t budget = edges.size();
    while (!todo.empty()) {
        const int x = todo.back().first;
        const int k = todo.back().second;
        todo.pop_back();
        for (int e : node(x).outputs()[size_t(k)].destinations) {
            if (!validEdge(e))
                continue;
            const Edge& d = edge(e);
            if (d.srcNode != x || d.srcIndex != k)
                continue;
            if (up(d)) {
                if (!namesSlot(d.dstNode))
                    continue;
                const auto fed = node(d.dstNode).outputs();
                if (!inRange(d.dstIndex, fed.size()) || fed[size_t(d.dstIndex)].source != e)
                    continue;
                if (budget-- == 0)
                    return false;
                todo.emplace_back(d.dstNode, d.dstIndex);
            } else if (regular(d)) {
                const auto fed = node(d.dstNode).inputs();
                if (!inRange(d.dstIndex, fed.size()) || fed[size_t(d.dstIndex)].source != e)
                    continue;
                if (!collectInputConsumers(d.dstNode, d.dstIndex, out))
                    return false;
            }
        }
    }
    return true;
}

bool Graph::Impl::collectConsumers(int n, std::vector<int>& out) const
{
    const auto outputs = node(n).outputs();
    for (size_t k = 0; k < outputs.size(); ++k) {
        // An output fed from inside gives the value of a node below this one.
        const int s = outputs[k].source;
        if (validEdge(s) && up(edge(s)))
            continue;
        if (!collectOutputConsumers(n, int(k), out))
            return false;
    }
    return true;
}

// ---------------------------------------------------------------- rebuilding

bool Graph::Impl::recordsFitForOrder(int& parentBeyondStorage) const
{
    const size_t count = nodes.size();

    // Parent fields must lead up without a loop (purge() leaves them as they
    // were, so they may name other nodes since). 0: not seen, 1: on the
    // current climb, 2: known to end.
    parentBeyondStorage = -1;
    std::vector<std::uint8_t> seen(count, 0);
    std::vector<int> climb;
    for (size_t start = 0; start < count; ++start) {
        climb.clear();
        int n = int(start);
        while (namesSlot(n) && seen[size_t(n)] == 0) {
            seen[size_t(n)] = 1;
            climb.push_back(n);
            n = parentOf(n);
        }
        if (namesSlot(n) && seen[size_t(n)] == 1)
            return false;
        if (n >= int(count))
            parentBeyondStorage = std::max(parentBeyondStorage, n);
        for (int c : climb)
            seen[size_t(c)] = 2;
    }

    // Every edge that a walk follows must be listed at the port its record
    // names as its source, and name as its end the port that it feeds.
    std::vector<std::uint8_t> listed(edges.size(), 0);
    for (size_t n = 0; n < count; ++n) {
        for (int side = 0; side < 2; ++side) {
            const auto ports = nodes[n].ports(side == 0 ? Side::Input : Side::Output);
            for (size_t k = 0; k < ports.size(); ++k) {
                for (int e : ports[k].destinations) {
                    if (!validEdge(e))
                        continue;
                    const Edge& d = edge(e);
                    if (d.srcNode != int(n) || d.srcIndex != int(k))
                        continue;
                    if (side == 0 ? down(d) : (regular(d) || up(d)))
                        listed[size_t(e)] = 1;
                }
            }
        }
    }
    for (size_t n = 0; n < count; ++n) {
        for (int side = 0; side < 2; ++side) {
            const auto ports = nodes[n].ports(side == 0 ? Side::Input : Side::Output);
            for (size_t k = 0; k < ports.size(); ++k) {
                const int e = ports[k].source;
                if (!validEdge(e))
                    continue;
                const Edge& d = edge(e);
                const bool followed = side == 0 ? (down(d) || regular(d)) : up(d);
                if (followed && (d.dstNode != int(n) || d.dstIndex != int(k) || !listed[size_t(e)]))
                    return false;
            }
        }
    }
    return true;
}

void Graph::Impl::rebuildOrder()
{
    // Without the memory for it the order stays stale: the search answers
    // meanwhile, and the next use tries again.
    try {
        rebuildOrderFromRecords();
    } catch (const std::bad_alloc&) {
        order.state = OrderState::Stale;
    }
}

void Graph::Impl::rebuildOrderFromRecords()
{
    ProducerOrder& o = order;
    o.state = OrderState::LiteralOnly;
    if (!recordsFitForOrder(o.parentBeyondStorage))
        return;

    // Depth first along the producers of each node, ranking a node once all
    // its producers are ranked. -1: not reached, -2: on the stack.
    constexpr int kUnreached = -1;
    constexpr int kOnStack = -2;
    struct Frame
    {
        int node;
        int input;
    };
    std::vector<int>& rank = o.rank;
    rank.assign(nodes.size(), kUnreached);
    std::vector<Frame> stack;
    int next = 0;
    for (size_t start = 0; start < nodes.size(); ++start) {
        if (rank[start] != kUnreached)
            continue;
        rank[start] = kOnStack;
        stack.push_back(Frame{int(start), 0});
        while (!stack.empty()) {
            const int n = stack.back().node;
            if (stack.back().input < int(node(n).inputs().size())) {
                const int m = producerOf(n, stack.back().input++);
                if (m < 0 || m == n) // a node feeding itself says nothing of order
                    continue;
                if (rank[size_t(m)] == kOnStack)
                    return; // a loop: the search answers from now on
                if (rank[size_t(m)] == kUnreached) {
                    rank[size_t(m)] = kOnStack;
                    stack.push_back(Frame{m, 0});
                }
            } else {
                rank[size_t(n)] = next++;
                stack.pop_back();
            }
        }
    }
    o.nextRank = next;
    o.firstRank = 0;
    o.state = OrderState::Fresh;
}

// ---------------------------------------------------------------- inserting links

bool Graph::Impl::reorderForLink(int producer, int consumer)
{
    // A move that cannot get its memory leaves the order to be rebuilt.
    try {
        return moveForLink(producer, consumer);
    } catch (const std::bad_alloc&) {
        order.state = OrderState::Stale;
        return false;
    }
}

bool Graph::Impl::moveForLink(int producer, int consumer)
{
    std::vector<int>& rank = order.rank;

    // The producer ranks after its new consumer. Only the nodes ranked from
    // the consumer's rank to the producer's can need moving: those fed from
    // the consumer (forward) and those feeding the producer (backward).
    //
    // Where one side reaches kLocalReorder nodes, and again each time it
    // doubles, the other end's whole far side is tried instead: everything
    // upstream of the producer, or everything downstream of the consumer.
    // When that holds no more nodes than the side searched so far, it moves
    // below or above every other node instead of the side (moveClosure()).
    // A graph built from its sinks back, or made in any order and linked
    // from its producers on, would otherwise move much of itself at each
    // edge, and so would a node put in right after the head of a long
    // chain: there a node that nothing feeds, a consumer that feeds nothing
    // or the few nodes up to the head move. The doubling keeps the nodes
    // that the tries take within twice the search. Small sides move as they are: a node put at
    // the very bottom or top must later take everything that it links to
    // on its far side along.
    const int lower = rank[size_t(consumer)];
    const int upper = rank[size_t(producer)];
    OrderScratch& s = orderScratch();

    startSearch(s.forwardSeen, s.forward, s.stack, nodes.size(), consumer);
    while (!s.stack.empty()) {
        const int w = s.stack.back();
        s.stack.pop_back();
        s.forward.push_back(w);
        if (tryPoint(s.forward.size())) {
            const ClosureMove moved = moveClosure(Side::Input, producer, consumer, s.forward.size());
            if (moved != ClosureMove::TooLarge)
                return moved == ClosureMove::Moved;
        }
        s.found.clear();
        if (!collectConsumers(w, s.found))
            return false;
        for (int c : s.found) {
            if (c == producer)
                return false; // the producer is fed from its consumer: a loop
            if (rank[size_t(c)] <= upper && !s.forwardSeen.marked(c)) {
                s.forwardSeen.mark(c);
                s.stack.push_back(c);
            }
        }
    }

    startSearch(s.backwardSeen, s.backward, s.stack, nodes.size(), producer);
    while (!s.stack.empty()) {
        const int w = s.stack.back();
        s.stack.pop_back();
        s.backward.push_back(w);
        if (tryPoint(s.backward.size())) {
            const ClosureMove moved = moveClosure(Side::Output, consumer, producer, s.backward.size());
            if (moved != ClosureMove::TooLarge)
                return moved == ClosureMove::Moved;
        }
        const int count = int(node(w).inputs().size());
        for (int i = 0; i < count; ++i) {
            const int p = producerOf(w, i);
            if (p >= 0 && rank[size_t(p)] >= lower && !s.backwardSeen.marked(p)) {
                s.backwardSeen.mark(p);
                s.stack.push_back(p);
            }
        }
    }

    // The backward set takes the lowest of the ranks involved, the forward
    // set the rest, each keeping its own relative order.
    const auto byRank = [&rank](int a, int b) { return rank[size_t(a)] < rank[size_t(b)]; };
    std::sort(s.backward.begin(), s.backward.end(), byRank);
    std::sort(s.forward.begin(), s.forward.end(), byRank);
    s.ranks.clear();
    for (int w : s.backward)
        s.ranks.push_back(rank[size_t(w)]);
    for (int w : s.forward)
        s.ranks.push_back(rank[size_t(w)]);
    std::sort(s.ranks.begin(), s.ranks.end());
    size_t k = 0;
    for (int w : s.backward)
        rank[size_t(w)] = s.ranks[k++];
    for (int w : s.forward)
        rank[size_t(w)] = s.ranks[k++];
    return true;
}

Graph::Impl::ClosureMove Graph::Impl::moveClosure(Side side, int from, int other, size_t budget)
{
    // Everything upstream of `from` (side Input: along producerOf(), as the
    // backward search goes) or downstream of it (side Output: along
    // collectConsumers(), as the forward search goes), `from` included,
    // whatever its ranks.
    std::vector<int>& rank = order.rank;
    OrderScratch& s = orderScratch();
    startSearch(s.closureSeen, s.closure, s.closureStack, nodes.size(), from);
    // A node found counts against the budget as it is found, so that a node
    // of many links on the far side stops the try at once.
    enum Step { Go, Loop, Full };
    const auto reach = [&](int c) {
        if (c == other)
            return Loop; // the link closes a loop
        if (c >= 0 && !s.closureSeen.marked(c)) {
            if (s.closure.size() + s.closureStack.size() == budget)
                return Full;
            s.closureSeen.mark(c);
            s.closureStack.push_back(c);
        }
        return Go;
    };
    const auto stepped = [](Step step) { return step == Loop ? ClosureMove::Failed : ClosureMove::TooLarge; };
    while (!s.closureStack.empty()) {
        const int w = s.closureStack.back();
        s.closureStack.pop_back();
        s.closure.push_back(w);
        if (side == Side::Input) {
            const int count = int(node(w).inputs().size());
            for (int i = 0; i < count; ++i) {
                const Step step = reach(producerOf(w, i));
                if (step != Go)
                    return stepped(step);
            }
            continue;
        }
        s.closureFound.clear();
        if (!collectConsumers(w, s.closureFound))
            return ClosureMove::Failed;
        for (int c : s.closureFound) {
            const Step step = reach(c);
            if (step != Go)
                return stepped(step);
        }
    }

    // Nothing outside feeds what lies upstream, and what lies downstream
    // feeds nothing outside: below (above) every other rank, each keeping
    // its relative order, every link still runs upwards.
    const auto size = std::int64_t(s.closure.size());
    std::int64_t next;
    if (side == Side::Input) {
        next = std::int64_t(order.firstRank) - size;
        if (next < std::numeric_limits<int>::min())
            return ClosureMove::TooLarge;
        order.firstRank = int(next);
    } else {
        next = order.nextRank;
        if (next + size > std::numeric_limits<int>::max())
            return ClosureMove::TooLarge;
        order.nextRank = int(next + size);
    }
    std::sort(s.closure.begin(), s.closure.end(), [&rank](int a, int b) { return rank[size_t(a)] < rank[size_t(b)]; });
    for (int w : s.closure)
        rank[size_t(w)] = int(next++);
    return ClosureMove::Moved;
}

void Graph::Impl::insertLinks(int producer, const std::vector<int>& consumers)
{
    for (int consumer : consumers) {
        if (!insertLink(producer, consumer)) {
            if (order.state == OrderState::Fresh)
                order.state = OrderState::LiteralOnly;
            return;
        }
    }
}

// ---------------------------------------------------------------- hooks

void Graph::Impl::orderNodeAdded(int n)
{
    if (order.state != OrderState::Fresh)
        return;
    if (size_t(n) != order.rank.size()) {
        order.state = OrderState::Stale;
        return;
    }
    if (n <= order.parentBeyondStorage) {
        // A stale parent field may name this new slot: make sure that the
        // climb from it still ends.
        size_t steps = nodes.size();
        for (int p = parentOf(n); namesSlot(p); p = parentOf(p)) {
            if (p == n || steps-- == 0) {
                order.state = OrderState::Stale;
                return;
            }
        }
    }
    if (order.nextRank == std::numeric_limits<int>::max()) {
        order.state = OrderState::Stale; // the rebuild numbers the ranks afresh
        return;
    }
    try {
        order.rank.push_back(order.nextRank); // nothing feeds it yet
    } catch (const std::bad_alloc&) {
        order.state = OrderState::Stale;
        return;
    }
    ++order.nextRank;
}

void Graph::Impl::orderEdgeAdded(int id, EdgeMade made)
{
    if (order.state != OrderState::Fresh)
        return;
    try {
        linkEdgeAdded(id, made);
    } catch (const std::bad_alloc&) {
        order.state = OrderState::Stale;
    }
}

void Graph::Impl::linkEdgeAdded(int id, EdgeMade made)
{
    const Edge& e = edge(id);
    std::vector<int>& consumers = orderScratch().consumers;
    consumers.clear();
    int producer = -1;
    bool collected = true;
    if (made == EdgeMade::Up) {
        // Whatever read the parent output now reads the child's producer.
        // The readers come first: when there are none, the walk down to the
        // producer (through every level of a hierarchy built from the bottom
        // up) is not needed.
        collected = collectOutputConsumers(e.dstNode, e.dstIndex, consumers);
        if (collected && consumers.empty())
            return;
        int m = e.dstNode;
        int k = e.dstIndex;
        walkDown(m, k);
        producer = m;
    } else {
        // A down edge into an input that hands nothing on gives its child
        // alone something new to read: the value that reaches the parent's
        // input, whose producer is the parent or feeds it, and so ranks at
        // or below it. When the parent ranks below the child, the link is in
        // place already; this keeps a hierarchy built from the top down, an
        // edge per level, from walking up through every level above.
        if (made == EdgeMade::Down && node(e.dstNode).inputs()[size_t(e.dstIndex)].destinations.empty()
            && order.rank[size_t(e.srcNode)] < order.rank[size_t(e.dstNode)])
            return;
        // The fed input, and the inputs below it fed through down edges, now
        // read the value that reaches this input, if a regular edge brings one.
        producer = producerOf(e.dstNode, e.dstIndex);
        if (producer >= 0)
            collected = collectInputConsumers(e.dstNode, e.dstIndex, consumers);
    }
    if (!collected) {
        order.state = OrderState::Stale;
        return;
    }
    if (producer >= 0)
        insertLinks(producer, consumers);
}

void Graph::Impl::orderEdgeRemoved(int id)
{
    if (order.state == OrderState::LiteralOnly) {
        order.state = OrderState::Stale; // the loop may be gone
        return;
    }
    if (order.state != OrderState::Fresh)
        return;
    const Edge& e = edge(id);
    // Taking away a regular or a down edge only takes links away. Taking
    // away an up edge hands the parent output's readers to the parent.
    if (regular(e) || down(e) || !up(e))
        return;
    if (!namesSlot(e.dstNode) || !inRange(e.dstIndex, node(e.dstNode).outputs().size()))
        return;
    int m = e.dstNode;
    int k = e.dstIndex;
    walkDown(m, k);
    try {
        std::vector<int>& consumers = orderScratch().consumers;
        consumers.clear();
        if (!collectOutputConsumers(e.dstNode, e.dstIndex, consumers)) {
            order.state = OrderState::Stale;
            return;
        }
        insertLinks(m, consumers);
    } catch (const std::bad_alloc&) {
        order.state = OrderState::Stale;
    }
}

void Graph::Impl::orderPortsErasing(int n, Side side, int index)
{
    if (order.state == OrderState::LiteralOnly) {
        order.state = OrderState::Stale;
        return;
    }
    if (order.state != OrderState::Fresh)
        return;
    // Erasing shifts the later ports down by one, away from the indices that
    // their edges' records hold; unconnected ports have no such edges.
    const auto ports = node(n).ports(side);
    for (size_t k = size_t(std::max(index, 0)); k < ports.size(); ++k) {
        if (ports[k].source != Graph::kInvalidEdgeRef || !ports[k].destinations.empty()) {
            order.state = OrderState::Stale;
            return;
        }
    }
}

} // namespace Zrn
} // namespace Morvane
