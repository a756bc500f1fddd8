// The walk primitives, and precedes(), the cycle test built on them.

#include "Graph_p.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace Morvane {
namespace Zrn {

// Each step looks at the one edge that feeds a port: no search, no allocation.

// A port that is not in the storage counts as unfed, so a walk handed a bad
// reference, or led by an edge to a port erased since, stops there.

bool Graph::Impl::walkAcross(int& node, int& index) const
{
    const int e = sourceAt(node, Side::Input, index);
    if (!validEdge(e) || !regular(edge(e)))
        return false;
    node = edge(e).srcNode;
    index = edge(e).srcIndex;
    return true;
}

template <Side side>
bool Graph::Impl::walkHierarchy(int& node, int& index) const
{
    // Inputs are fed from above by down edges, outputs from below by up edges.
    const auto crossesLevel = [this](int e) {
        return validEdge(e) && (side == Side::Input ? down(edge(e)) : up(edge(e)));
    };
    int e = sourceAt(node, side, index);
    if (!crossesLevel(e))
        return false;
    // A chain of such edges takes each edge once, unless it goes round a
    // loop, which only parent fields left stale by purge() allow: then it
    // stops after as many steps as there are edges.
    size_t steps = edges.size();
    do {
        node = edge(e).srcNode;
        index = edge(e).srcIndex;
        e = sourceAt(node, side, index);
    } while (crossesLevel(e) && --steps != 0);
    return true;
}

bool Graph::Impl::walkUp(int& node, int& index) const
{
    return walkHierarchy<Side::Input>(node, index);
}

bool Graph::Impl::walkDown(int& node, int& index) const
{
    return walkHierarchy<Side::Output>(node, index);
}

bool Graph::walkAcross(int& node, int& index) const
{
    Q_ASSERT_X(isValidInput(node, index), Q_FUNC_INFO, "invalid input");
    return d->walkAcross(node, index);
}

bool Graph::walkUp(int& node, int& index) const
{
    Q_ASSERT_X(isValidInput(node, index), Q_FUNC_INFO, "invalid input");
    return d->walkUp(node, index);
}

bool Graph::walkDown(int& node, int& index) const
{
    Q_ASSERT_X(isValidOutput(node, index), Q_FUNC_INFO, "invalid output");
    return d->walkDown(node, index);
}

bool Graph::walkToSourceNode(int& node, int& index) const
{
    Q_ASSERT_X(isValidInput(node, index), Q_FUNC_INFO, "invalid input");
    d->walkUp(node, index); // its moves stand whatever it returns
    if (!d->walkAcross(node, index))
        return false;
    d->walkDown(node, index);
    return true;
}

namespace {

// Working storage of precedes(), reused by every call on this thread.
struct PrecedesScratch
{
    VisitStamps visited;
    std::vector<int> queue;
};

} // namespace

bool Graph::precedes(int a, int b, bool throughHierarchy) const
{
    Q_ASSERT_X(d->validNode(b), Q_FUNC_INFO, "invalid node reference");
    // A `b` outside the storage is compared with `a` and has no inputs.
    PrecedesScratch& s = perThread<PrecedesScratch>();
    s.visited.begin(d->nodes.size());
    s.queue.clear();

    // Breadth first, upstream from b. The queue is a vector read from `head`
    // on, so every node ever queued stays in it until the call ends.
    s.queue.push_back(b);
    for (size_t head = 0; head < s.queue.size(); ++head) {
        const int n = s.queue[head];
        if (n == a) // compared before the visited test
            return true;
        const Node* record = d->nodeAt(n);
        if (!record)
            continue; // outside the storage: no inputs, and no visited slot
        if (s.visited.marked(n))
            continue;
        s.visited.mark(n);

        const int count = int(record->inputs().size());
        for (int i = 0; i < count; ++i) {
            int m = n;
            int k = i;
            if (throughHierarchy)
                d->walkUp(m, k);
            const int e = d->sourceAt(m, Side::Input, k);
            if (!d->validEdge(e) || !d->regular(d->edge(e)))
                continue; // no source, a down edge or a removed edge
            m = d->edge(e).srcNode;
            k = d->edge(e).srcIndex;
            if (throughHierarchy)
                d->walkDown(m, k);
            s.queue.push_back(m);
        }
    }
    return false;
}

} // namespace Zrn
} // namespace Morvane
