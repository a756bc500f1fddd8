// Fuzzes the graph core: the input bytes are read as a sequence of graph
// operations, and the graph's invariants are checked after each one.
//
// Every operation is one a caller may legitimately make: the guarded ones
// (addEdge, addDownEdge, addUpEdge, removeEdge, the isValid...() tests and
// the removal and by-name operations that check their references) get
// arbitrary ints, -1 and out-of-range values included; the unchecked ones
// (ports, walks, precedes, disconnection) get references that are valid by
// construction. With a debug build of the library its Q_ASSERTs take part.
//
// Built as a libFuzzer target with clang (ZRNCORE_BUILD_FUZZERS=ON), and
// replayed on seeded pseudo-random inputs by tests/tst_GraphFuzzReplay.cpp,
// which defines ZRN_FUZZ_FAIL to turn a broken invariant into a test failure.

#include <ZrnCore/Graph.h>

#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#define ZRN_FUZZ_NAME "graph fuzz"
#include "FuzzGraphSnapshot.h"
#include "FuzzInput.h"

namespace ZrnGraphFuzz {

using Morvane::Zrn::Graph;

// Bounds that keep each input's graph small, so that the full check after
// every operation stays cheap.
constexpr int kMaxNodes = 40;
constexpr int kMaxPorts = 6;
constexpr int kMaxGroups = 3;

class Bytes : public ZrnFuzz::FuzzInput
{
public:
    using FuzzInput::FuzzInput;

    // Mostly an index below `limit`, sometimes -1, `limit` itself, another
    // negative number or one of the extremes.
    int anyInt(int limit)
    {
        switch (next() % 16) {
        case 0: return -1;
        case 1: return limit;
        case 2: return limit + 1;
        case 3: return INT_MIN;
        case 4: return INT_MAX;
        case 5: return -2 - int(next());
        default: return below(limit, 0);
        }
    }

    // One of a few names, so that by-name lookups sometimes match.
    QString name()
    {
        static const char* const names[] = {"", "a", "b", "c"};
        return QString::fromLatin1(names[next() % 4]);
    }
};

std::vector<int> liveNodes(const Graph& g)
{
    std::vector<int> live;
    for (int n = 0; n < g.numNodesGlobal(); ++n) {
        if (g.isValidNode(n))
            live.push_back(n);
    }
    return live;
}

// A live node, or -1 when none is left. With `nonRoot`, never the root.
int pickNode(const Graph& g, Bytes& in, bool nonRoot = false)
{
    std::vector<int> live = liveNodes(g);
    if (nonRoot && !live.empty() && live.front() == Graph::kRootNodeRef)
        live.erase(live.begin());
    return live.empty() ? -1 : live[in.next() % live.size()];
}

// A live node for which `wanted` holds, or -1 when none does.
template <typename Wanted>
int pickNodeWhere(const Graph& g, Bytes& in, Wanted wanted)
{
    std::vector<int> live;
    for (int n : liveNodes(g)) {
        if (wanted(n))
            live.push_back(n);
    }
    return live.empty() ? -1 : live[in.next() % live.size()];
}

// An existing port index of a count, or -1 when there is none.
int pickIndex(int count, Bytes& in)
{
    return count > 0 ? int(in.next() % unsigned(count)) : -1;
}

// Everything an operation may change, read through the public API.
std::vector<int> snapshot(const Graph& g)
{
    std::vector<int> s;
    s.push_back(g.numNodesGlobal());
    for (int n = 0; n < g.numNodesGlobal(); ++n) {
        s.push_back(g.isValidNode(n));
        if (!g.isValidNode(n))
            continue;
        ZrnFuzz::appendPorts(s, g, n);
    }
    s.push_back(g.numEdgesGlobal());
    for (int e = 0; e < g.numEdgesGlobal(); ++e)
        s.push_back(g.isValidEdge(e));
    return s;
}

// Counts the occurrences of `edge` in a list of destinations.
template <typename At>
int occurrences(int count, At at, int edge)
{
    int found = 0;
    for (int k = 0; k < count; ++k)
        found += at(k) == edge;
    return found;
}

// The invariants that every operation keeps.
void checkInvariants(const Graph& g)
{
    int liveEdges = 0;
    for (int e = 0; e < g.numEdgesGlobal(); ++e) {
        const bool regular = g.isRegularEdge(e), down = g.isDownEdge(e), up = g.isUpEdge(e);
        if (!g.isValidEdge(e)) {
            ZRN_FUZZ_CHECK(!regular && !down && !up);
            continue;
        }
        ++liveEdges;
        ZRN_FUZZ_CHECK(int(regular) + int(down) + int(up) == 1);
        const int sn = g.edgeSourceNode(e), si = g.edgeSourceIndex(e);
        const int dn = g.edgeDestNode(e), di = g.edgeDestIndex(e);
        ZRN_FUZZ_CHECK(g.isValidNode(sn) && g.isValidNode(dn));
        if (down) {
            // Source: a parent's input; destination: a child's input.
            ZRN_FUZZ_CHECK(g.isValidInput(sn, si) && g.isValidInput(dn, di));
            ZRN_FUZZ_CHECK(occurrences(
                               g.numInputDestinations(sn, si), [&](int k) { return g.inputDestination(sn, si, k); }, e)
                           == 1);
            ZRN_FUZZ_CHECK(g.inputSource(dn, di) == e);
        } else {
            // Source: an output; destination: a sibling's input or the parent's output.
            ZRN_FUZZ_CHECK(g.isValidOutput(sn, si));
            ZRN_FUZZ_CHECK(
                occurrences(
                    g.numOutputDestinations(sn, si), [&](int k) { return g.outputDestination(sn, si, k); }, e)
                == 1);
            if (regular) {
                ZRN_FUZZ_CHECK(g.isValidInput(dn, di) && g.inputSource(dn, di) == e);
            } else {
                ZRN_FUZZ_CHECK(g.isValidOutput(dn, di) && g.outputSource(dn, di) == e);
            }
        }
    }

    int sources = 0, destinations = 0;
    for (int n : liveNodes(g)) {
        const int parent = g.parentNode(n);
        if (n != Graph::kRootNodeRef) {
            ZRN_FUZZ_CHECK(g.isValidNode(parent));
            const int position = g.indexOfNode(n);
            ZRN_FUZZ_CHECK(position >= 0 && g.getNode(position, parent) == n);
            ZRN_FUZZ_CHECK(g.contains(Graph::kRootNodeRef, n) && g.contains(parent, n));
        }
        ZRN_FUZZ_CHECK(!g.contains(n, n));
        for (int i = 0; i < g.numInputs(n); ++i) {
            const int src = g.inputSource(n, i);
            if (src != Graph::kInvalidEdgeRef) {
                ++sources;
                ZRN_FUZZ_CHECK(g.isRegularEdge(src) || g.isDownEdge(src));
                ZRN_FUZZ_CHECK(g.edgeDestNode(src) == n && g.edgeDestIndex(src) == i);
            }
            for (int k = 0; k < g.numInputDestinations(n, i); ++k) {
                ++destinations;
                const int e = g.inputDestination(n, i, k);
                ZRN_FUZZ_CHECK(g.isDownEdge(e) && g.edgeSourceNode(e) == n && g.edgeSourceIndex(e) == i);
            }
        }
        for (int o = 0; o < g.numOutputs(n); ++o) {
            const int src = g.outputSource(n, o);
            if (src != Graph::kInvalidEdgeRef) {
                ++sources;
                ZRN_FUZZ_CHECK(g.isUpEdge(src));
                ZRN_FUZZ_CHECK(g.edgeDestNode(src) == n && g.edgeDestIndex(src) == o);
            }
            const int count = g.numOutputDestinations(n, o);
            const bool firstRegular = count > 0 && g.isRegularEdge(g.outputDestination(n, o, 0));
            for (int k = 0; k < count; ++k) {
                ++destinations;
                const int e = g.outputDestination(n, o, k);
                ZRN_FUZZ_CHECK(g.isValidEdge(e) && g.edgeSourceNode(e) == n && g.edgeSourceIndex(e) == o);
                // One output feeds siblings or its parent, never both.
                ZRN_FUZZ_CHECK(g.isRegularEdge(e) == firstRegular);
                ZRN_FUZZ_CHECK(g.isRegularEdge(e) || g.isUpEdge(e));
            }
        }
    }
    // Every live edge sits once at each end, and nothing else is held.
    ZRN_FUZZ_CHECK(sources == liveEdges);
    ZRN_FUZZ_CHECK(destinations == liveEdges);
}

// An independent upstream search through the public walks: depth first,
// with its own visited set. Reachability does not depend on the order.
bool referencePrecedes(const Graph& g, int a, int b, bool throughHierarchy)
{
    std::vector<char> seen(std::size_t(g.numNodesGlobal()), 0);
    std::vector<int> stack{b};
    while (!stack.empty()) {
        const int n = stack.back();
        stack.pop_back();
        if (n == a)
            return true;
        if (seen[std::size_t(n)])
            continue;
        seen[std::size_t(n)] = 1;
        for (int i = 0; i < g.numInputs(n); ++i) {
            int m = n, k = i;
            if (throughHierarchy)
                g.walkUp(m, k);
            const int e = g.inputSource(m, k);
            if (!g.isRegularEdge(e))
                continue;
            m = g.edgeSourceNode(e);
            k = g.edgeSourceIndex(e);
            if (throughHierarchy)
                g.walkDown(m, k);
            stack.push_back(m);
        }
    }
    return false;
}

// ---------------------------------------------------------------- edge creation, with its oracle

void tryAddEdge(Graph& g, int src, int srcOutput, int dst, int dstInput)
{
    bool accept =
        g.isValidOutput(src, srcOutput) && g.isValidInput(dst, dstInput) && g.parentNode(src) == g.parentNode(dst);
    if (accept) {
        const int count = g.numOutputDestinations(src, srcOutput);
        accept = g.inputSource(dst, dstInput) == Graph::kInvalidEdgeRef
            && (count == 0 || g.isRegularEdge(g.outputDestination(src, srcOutput, 0)))
            && !referencePrecedes(g, dst, src, true);
    }
    const std::vector<int> before = snapshot(g);
    const int id = g.numEdgesGlobal();
    const int edge = g.addEdge(src, srcOutput, dst, dstInput);
    if (!accept) {
        ZRN_FUZZ_CHECK(edge == Graph::kInvalidEdgeRef);
        ZRN_FUZZ_CHECK(snapshot(g) == before);
        return;
    }
    ZRN_FUZZ_CHECK(edge == id && g.numEdgesGlobal() == id + 1 && g.isRegularEdge(edge));
    ZRN_FUZZ_CHECK(g.edgeSourceNode(edge) == src && g.edgeSourceIndex(edge) == srcOutput);
    ZRN_FUZZ_CHECK(g.edgeDestNode(edge) == dst && g.edgeDestIndex(edge) == dstInput);
    ZRN_FUZZ_CHECK(g.inputSource(dst, dstInput) == edge);
    const int count = g.numOutputDestinations(src, srcOutput);
    ZRN_FUZZ_CHECK(g.outputDestination(src, srcOutput, count - 1) == edge);
}

void tryAddDownEdge(Graph& g, int parentInput, int child, int childInput)
{
    const int parent = g.isValidNode(child) ? g.parentNode(child) : Graph::kInvalidNodeRef;
    const bool accept = g.isValidInput(child, childInput) && g.isValidInput(parent, parentInput)
        && g.inputSource(child, childInput) == Graph::kInvalidEdgeRef;
    const std::vector<int> before = snapshot(g);
    const int id = g.numEdgesGlobal();
    const int edge = g.addDownEdge(parentInput, child, childInput);
    if (!accept) {
        ZRN_FUZZ_CHECK(edge == Graph::kInvalidEdgeRef);
        ZRN_FUZZ_CHECK(snapshot(g) == before);
        return;
    }
    ZRN_FUZZ_CHECK(edge == id && g.numEdgesGlobal() == id + 1 && g.isDownEdge(edge));
    ZRN_FUZZ_CHECK(g.edgeSourceNode(edge) == parent && g.edgeSourceIndex(edge) == parentInput);
    ZRN_FUZZ_CHECK(g.edgeDestNode(edge) == child && g.edgeDestIndex(edge) == childInput);
    ZRN_FUZZ_CHECK(g.inputSource(child, childInput) == edge);
    const int count = g.numInputDestinations(parent, parentInput);
    ZRN_FUZZ_CHECK(g.inputDestination(parent, parentInput, count - 1) == edge);
}

void tryAddUpEdge(Graph& g, int parentOutput, int child, int childOutput)
{
    const int parent = g.isValidNode(child) ? g.parentNode(child) : Graph::kInvalidNodeRef;
    bool accept = g.isValidOutput(child, childOutput) && g.isValidOutput(parent, parentOutput);
    if (accept) {
        const int count = g.numOutputDestinations(child, childOutput);
        accept = g.outputSource(parent, parentOutput) == Graph::kInvalidEdgeRef
            && (count == 0 || g.isUpEdge(g.outputDestination(child, childOutput, 0)));
    }
    const std::vector<int> before = snapshot(g);
    const int id = g.numEdgesGlobal();
    const int edge = g.addUpEdge(parentOutput, child, childOutput);
    if (!accept) {
        ZRN_FUZZ_CHECK(edge == Graph::kInvalidEdgeRef);
        ZRN_FUZZ_CHECK(snapshot(g) == before);
        return;
    }
    ZRN_FUZZ_CHECK(edge == id && g.numEdgesGlobal() == id + 1 && g.isUpEdge(edge));
    ZRN_FUZZ_CHECK(g.edgeSourceNode(edge) == child && g.edgeSourceIndex(edge) == childOutput);
    ZRN_FUZZ_CHECK(g.edgeDestNode(edge) == parent && g.edgeDestIndex(edge) == parentOutput);
    ZRN_FUZZ_CHECK(g.outputSource(parent, parentOutput) == edge);
    const int count = g.numOutputDestinations(child, childOutput);
    ZRN_FUZZ_CHECK(g.outputDestination(child, childOutput, count - 1) == edge);
}

// A sibling of `node` listed by their parent: mostly another one with
// inputs, sometimes any (itself, or a removed one still listed); the root
// for the root.
int pickSibling(const Graph& g, int node, Bytes& in)
{
    const int parent = g.parentNode(node);
    if (parent == Graph::kInvalidNodeRef)
        return node;
    const int count = g.numNodes(parent);
    if (in.next() % 4 == 0)
        return g.getNode(int(in.next() % unsigned(count)), parent);
    std::vector<int> others;
    for (int k = 0; k < count; ++k) {
        const int sibling = g.getNode(k, parent);
        if (sibling != node && g.isValidNode(sibling) && g.numInputs(sibling) > 0)
            others.push_back(sibling);
    }
    return others.empty() ? node : others[in.next() % others.size()];
}

// ---------------------------------------------------------------- queries

void checkValidityTests(const Graph& g, Bytes& in)
{
    const int n = in.anyInt(g.numNodesGlobal());
    const int i = in.anyInt(kMaxPorts);
    const int k = in.anyInt(4);
    const int e = in.anyInt(g.numEdgesGlobal());
    const bool node = g.isValidNode(n);
    ZRN_FUZZ_CHECK(!node || (n >= 0 && n < g.numNodesGlobal()));
    ZRN_FUZZ_CHECK(!g.isValidInput(n, i) || (node && i >= 0 && i < g.numInputs(n)));
    ZRN_FUZZ_CHECK(!g.isValidOutput(n, i) || (node && i >= 0 && i < g.numOutputs(n)));
    ZRN_FUZZ_CHECK(!g.isValidInputGroup(n, i) || (node && i < g.numInputGroups(n)));
    ZRN_FUZZ_CHECK(!g.isValidOutputGroup(n, i) || (node && i < g.numOutputGroups(n)));
    ZRN_FUZZ_CHECK(g.isValidInputDestination(n, i, k)
                   == (g.isValidInput(n, i) && k >= 0 && k < g.numInputDestinations(n, i)));
    ZRN_FUZZ_CHECK(g.isValidOutputDestination(n, i, k)
                   == (g.isValidOutput(n, i) && k >= 0 && k < g.numOutputDestinations(n, i)));
    ZRN_FUZZ_CHECK(!g.isValidEdge(e) || (e >= 0 && e < g.numEdgesGlobal()));
    ZRN_FUZZ_CHECK(!(g.isRegularEdge(e) || g.isDownEdge(e) || g.isUpEdge(e)) || g.isValidEdge(e));
    ZRN_FUZZ_CHECK(g.getNodeGlobal(n) == n && g.getEdgeGlobal(e) == e);
}

// A live edge, or -1 when there is none.
int pickLiveEdge(const Graph& g, Bytes& in)
{
    std::vector<int> live;
    for (int e = 0; e < g.numEdgesGlobal(); ++e) {
        if (g.isValidEdge(e))
            live.push_back(e);
    }
    return live.empty() ? -1 : live[in.next() % live.size()];
}

void checkWalks(const Graph& g, Bytes& in)
{
    // Half the time from the input at the end of a live edge, which is more
    // likely to lead somewhere than an arbitrary port.
    int n = pickNode(g, in);
    int input = n < 0 ? -1 : pickIndex(g.numInputs(n), in);
    const int e = in.next() % 2 ? pickLiveEdge(g, in) : -1;
    if (g.isRegularEdge(e) || g.isDownEdge(e)) {
        n = g.edgeDestNode(e);
        input = g.edgeDestIndex(e);
    }
    if (n < 0)
        return;
    if (input >= 0) {
        int node = n, index = input;
        if (g.walkAcross(node, index)) {
            ZRN_FUZZ_CHECK(g.isValidOutput(node, index) && g.parentNode(node) == g.parentNode(n));
        } else {
            ZRN_FUZZ_CHECK(node == n && index == input);
        }

        int upNode = n, upIndex = input;
        if (g.walkUp(upNode, upIndex)) {
            ZRN_FUZZ_CHECK(g.isValidInput(upNode, upIndex) && g.contains(upNode, n));
            ZRN_FUZZ_CHECK(!g.isDownEdge(g.inputSource(upNode, upIndex)));
        } else {
            ZRN_FUZZ_CHECK(upNode == n && upIndex == input);
        }

        // walkToSourceNode is walkUp, walkAcross, walkDown in a row.
        int expectNode = upNode, expectIndex = upIndex;
        const bool across = g.walkAcross(expectNode, expectIndex);
        if (across)
            g.walkDown(expectNode, expectIndex);
        node = n, index = input;
        ZRN_FUZZ_CHECK(g.walkToSourceNode(node, index) == across);
        ZRN_FUZZ_CHECK(node == expectNode && index == expectIndex);
        if (across) {
            ZRN_FUZZ_CHECK(g.isValidOutput(node, index) && !g.isUpEdge(g.outputSource(node, index)));
        }
    }
    const int output = pickIndex(g.numOutputs(n), in);
    if (output >= 0) {
        int node = n, index = output;
        if (g.walkDown(node, index)) {
            ZRN_FUZZ_CHECK(g.isValidOutput(node, index) && g.contains(n, node));
            ZRN_FUZZ_CHECK(!g.isUpEdge(g.outputSource(node, index)));
        } else {
            ZRN_FUZZ_CHECK(node == n && index == output);
        }
    }
}

void checkPrecedes(const Graph& g, Bytes& in)
{
    const int b = pickNode(g, in);
    if (b < 0)
        return;
    int a = pickNode(g, in);
    switch (in.next() % 4) {
    case 0: // anything, valid or not
        a = in.anyInt(g.numNodesGlobal());
        break;
    case 1:
    case 2: // a few steps upstream of b, so that the answer is often true
        a = b;
        for (unsigned steps = in.next() % 4; steps > 0 && g.numInputs(a) > 0; --steps) {
            int node = a, index = pickIndex(g.numInputs(a), in);
            if (!g.walkToSourceNode(node, index))
                break;
            a = node;
        }
        break;
    default: break;
    }
    ZRN_FUZZ_CHECK(g.precedes(b, b, false) && g.precedes(b, b, true));
    for (bool through : {false, true}) {
        const bool result = g.precedes(a, b, through);
        ZRN_FUZZ_CHECK(result == referencePrecedes(g, a, b, through));
        // Without the hierarchy only siblings are reached.
        if (result && !through && a != b) {
            ZRN_FUZZ_CHECK(g.parentNode(a) == g.parentNode(b));
        }
    }
}

// ---------------------------------------------------------------- removal

void removeSubtree(Graph& g, Bytes& in, bool keepListed)
{
    const int node = pickNode(g, in, true);
    if (node < 0)
        return;
    std::vector<int> subtree{node};
    for (std::size_t k = 0; k < subtree.size(); ++k) {
        const int n = subtree[k];
        for (int c = 0; c < g.numNodes(n); ++c) {
            if (g.isValidNode(g.getNode(c, n)))
                subtree.push_back(g.getNode(c, n));
        }
    }
    const int parent = g.parentNode(node);
    const int siblings = g.numNodes(parent);
    const int slotCount = g.numNodesGlobal();
    if (keepListed)
        g.removeChildNode(node);
    else
        g.removeNode(node);
    for (int n : subtree)
        ZRN_FUZZ_CHECK(!g.isValidNode(n));
    ZRN_FUZZ_CHECK(g.numNodesGlobal() == slotCount);
    ZRN_FUZZ_CHECK(g.numNodes(parent) == (keepListed ? siblings : siblings - 1));
}

// Removes the last input or output after taking its edges away, so that no
// edge is left naming a port index that moved.
void removeLastPort(Graph& g, Bytes& in)
{
    const int n = pickNode(g, in);
    if (n < 0)
        return;
    if (in.next() % 2) {
        const int last = g.numInputs(n) - 1;
        if (last < 0)
            return;
        g.disconnectInput(n, last);
        g.removeInput(n, last);
        ZRN_FUZZ_CHECK(g.numInputs(n) == last);
    } else {
        const int last = g.numOutputs(n) - 1;
        if (last < 0)
            return;
        g.removeEdge(g.outputSource(n, last));
        while (g.numOutputDestinations(n, last) > 0)
            g.removeEdge(g.outputDestination(n, last, 0));
        g.removeOutput(n, last);
        ZRN_FUZZ_CHECK(g.numOutputs(n) == last);
    }
}

// ---------------------------------------------------------------- one operation

enum class Op {
    AddNode,
    AddPortOrGroup,
    Rename,
    AddEdge,
    AddEdgeAnyInts,
    AddDownEdge,
    AddDownEdgeAnyInts,
    AddUpEdge,
    AddUpEdgeAnyInts,
    RemoveEdgeAnyInt,
    Disconnect,
    ValidityTests,
    Walks,
    Precedes,
    RemoveNode,
    RemoveLastPort,
    RemoveGroup,
    ConnectByName,
    EdgeByName,
};

// How often each operation comes up: building the graph and making edges
// between existing ports dominate, so that graphs with chains, nesting and
// refusals for each reason are reached within a few hundred bytes.
constexpr Op kOps[] = {
    Op::AddNode,
    Op::AddNode,
    Op::AddNode,
    Op::AddNode,
    Op::AddPortOrGroup,
    Op::AddPortOrGroup,
    Op::Rename,
    Op::AddEdge,
    Op::AddEdge,
    Op::AddEdge,
    Op::AddEdge,
    Op::AddEdge,
    Op::AddEdge,
    Op::AddEdgeAnyInts,
    Op::AddDownEdge,
    Op::AddDownEdge,
    Op::AddDownEdge,
    Op::AddDownEdgeAnyInts,
    Op::AddUpEdge,
    Op::AddUpEdge,
    Op::AddUpEdge,
    Op::AddUpEdgeAnyInts,
    Op::RemoveEdgeAnyInt,
    Op::Disconnect,
    Op::ValidityTests,
    Op::Walks,
    Op::Walks,
    Op::Precedes,
    Op::Precedes,
    Op::RemoveNode,
    Op::RemoveLastPort,
    Op::RemoveGroup,
    Op::ConnectByName,
    Op::EdgeByName,
};

void step(Graph& g, Bytes& in)
{
    switch (kOps[in.next() % (sizeof(kOps) / sizeof(kOps[0]))]) {
    case Op::AddNode: { // a node under a live parent
        const int parent = pickNode(g, in);
        if (parent < 0 || g.numNodesGlobal() >= kMaxNodes)
            return;
        const int numInputs = int(in.next() % 6) - 1, numOutputs = int(in.next() % 6) - 1;
        const int slotCount = g.numNodesGlobal();
        const int n = g.addNode(in.name(), numInputs, numOutputs, parent);
        ZRN_FUZZ_CHECK(n == slotCount && g.parentNode(n) == parent);
        ZRN_FUZZ_CHECK(g.getNode(g.numNodes(parent) - 1, parent) == n);
        ZRN_FUZZ_CHECK(g.numInputs(n) == qMax(0, numInputs) && g.numOutputs(n) == qMax(0, numOutputs));
        return;
    }
    case Op::AddPortOrGroup: { // a port or a group
        const int n = pickNode(g, in);
        if (n < 0)
            return;
        const unsigned what = in.next() % 4;
        const QString name = in.name();
        if (what == 0 && g.numInputs(n) < kMaxPorts) {
            const int group = in.anyInt(kMaxGroups);
            const int index = g.addInput(n, name, group);
            ZRN_FUZZ_CHECK(index == g.numInputs(n) - 1 && g.inputGroup(n, index) == group);
        } else if (what == 1 && g.numOutputs(n) < kMaxPorts) {
            const int group = in.anyInt(kMaxGroups);
            const int index = g.addOutput(n, name, group);
            ZRN_FUZZ_CHECK(index == g.numOutputs(n) - 1 && g.outputGroup(n, index) == group);
        } else if (what == 2 && g.numInputGroups(n) < kMaxGroups) {
            ZRN_FUZZ_CHECK(g.addInputGroup(n, name) == g.numInputGroups(n) - 1);
        } else if (what == 3 && g.numOutputGroups(n) < kMaxGroups) {
            ZRN_FUZZ_CHECK(g.addOutputGroup(n, name) == g.numOutputGroups(n) - 1);
        }
        return;
    }
    case Op::Rename: { // renaming, so that by-name pairing finds matches
        const int n = pickNode(g, in);
        if (n < 0)
            return;
        const int input = pickIndex(g.numInputs(n), in), output = pickIndex(g.numOutputs(n), in);
        if (input >= 0)
            g.setInputName(n, input, in.name());
        if (output >= 0)
            g.setOutputName(n, output, in.name());
        return;
    }
    case Op::AddEdgeAnyInts:
        tryAddEdge(g, in.anyInt(g.numNodesGlobal()), in.anyInt(kMaxPorts), in.anyInt(g.numNodesGlobal()),
                   in.anyInt(kMaxPorts));
        return;
    case Op::AddEdge: { // between siblings, on existing ports
        const int src = pickNodeWhere(g, in, [&](int n) { return g.numOutputs(n) > 0; });
        if (src < 0)
            return;
        const int dst = pickSibling(g, src, in);
        const int srcOutput = pickIndex(g.numOutputs(src), in);
        const int dstInput = g.isValidNode(dst) ? pickIndex(g.numInputs(dst), in) : 0;
        tryAddEdge(g, src, srcOutput, dst, dstInput);
        return;
    }
    case Op::AddDownEdgeAnyInts:
        tryAddDownEdge(g, in.anyInt(kMaxPorts), in.anyInt(g.numNodesGlobal()), in.anyInt(kMaxPorts));
        return;
    case Op::AddDownEdge: { // from a live child's parent, on existing ports
        const int child = pickNodeWhere(g, in, [&](int n) {
            return n != Graph::kRootNodeRef && g.numInputs(n) > 0 && g.numInputs(g.parentNode(n)) > 0;
        });
        if (child < 0)
            return;
        tryAddDownEdge(g, pickIndex(g.numInputs(g.parentNode(child)), in), child, pickIndex(g.numInputs(child), in));
        return;
    }
    case Op::AddUpEdgeAnyInts:
        tryAddUpEdge(g, in.anyInt(kMaxPorts), in.anyInt(g.numNodesGlobal()), in.anyInt(kMaxPorts));
        return;
    case Op::AddUpEdge: { // into a live child's parent, on existing ports
        const int child = pickNodeWhere(g, in, [&](int n) {
            return n != Graph::kRootNodeRef && g.numOutputs(n) > 0 && g.numOutputs(g.parentNode(n)) > 0;
        });
        if (child < 0)
            return;
        tryAddUpEdge(g, pickIndex(g.numOutputs(g.parentNode(child)), in), child, pickIndex(g.numOutputs(child), in));
        return;
    }
    case Op::RemoveEdgeAnyInt: {
        const int edge = in.anyInt(g.numEdgesGlobal());
        const bool live = g.isValidEdge(edge);
        const std::vector<int> before = snapshot(g);
        const int slotCount = g.numEdgesGlobal();
        g.removeEdge(edge);
        ZRN_FUZZ_CHECK(!g.isValidEdge(edge) && g.numEdgesGlobal() == slotCount);
        if (!live) {
            ZRN_FUZZ_CHECK(snapshot(g) == before);
        }
        return;
    }
    case Op::Disconnect: { // an input, or a whole group of inputs
        const int n = pickNode(g, in);
        if (n < 0)
            return;
        if (in.next() % 2) {
            const int input = pickIndex(g.numInputs(n), in);
            if (input < 0)
                return;
            g.disconnectInput(n, input);
            ZRN_FUZZ_CHECK(g.inputSource(n, input) == -1 && g.numInputDestinations(n, input) == 0);
        } else {
            const int group = in.anyInt(kMaxGroups);
            g.disconnectInputGroup(n, group);
            for (int i = 0; i < g.numInputs(n); ++i) {
                if (g.inputGroup(n, i) == group) {
                    ZRN_FUZZ_CHECK(g.inputSource(n, i) == -1 && g.numInputDestinations(n, i) == 0);
                }
            }
        }
        return;
    }
    case Op::ValidityTests: checkValidityTests(g, in); return;
    case Op::Walks: checkWalks(g, in); return;
    case Op::Precedes: checkPrecedes(g, in); return;
    case Op::RemoveNode: removeSubtree(g, in, in.next() % 2); return;
    case Op::RemoveLastPort: removeLastPort(g, in); return;
    case Op::RemoveGroup: { // removing a group detaches its ports, nothing else
        const int n = pickNode(g, in);
        if (n < 0)
            return;
        if (in.next() % 2) {
            const int group = pickIndex(g.numInputGroups(n), in);
            if (group < 0)
                return;
            const int count = g.numInputGroups(n);
            g.removeInputGroup(n, group);
            ZRN_FUZZ_CHECK(g.numInputGroups(n) == count - 1);
        } else {
            const int group = pickIndex(g.numOutputGroups(n), in);
            if (group < 0)
                return;
            const int count = g.numOutputGroups(n);
            g.removeOutputGroup(n, group);
            ZRN_FUZZ_CHECK(g.numOutputGroups(n) == count - 1);
        }
        return;
    }
    case Op::ConnectByName: { // bulk pairing by name, between any two nodes or with a parent
        const int a = pickNode(g, in), b = pickNode(g, in);
        if (a < 0)
            return;
        switch (in.next() % 4) {
        case 0: g.connectByName(a, b); break;
        case 1: g.connectGroups(a, in.anyInt(kMaxGroups), b, in.anyInt(kMaxGroups)); break;
        case 2: g.connectDownByName(a); break;
        default: g.connectUpByName(a); break;
        }
        return;
    }
    case Op::EdgeByName: { // single edges by name, with arbitrary nodes
        const int a = in.anyInt(g.numNodesGlobal()), b = in.anyInt(g.numNodesGlobal());
        switch (in.next() % 3) {
        case 0: g.addEdgeByName(a, in.name(), b, in.name()); break;
        case 1: g.addDownEdgeByName(in.name(), a, in.name()); break;
        default: g.addUpEdgeByName(in.name(), a, in.name()); break;
        }
        return;
    }
    }
}

// The by-name operations report failed lookups on the critical channel;
// the fuzzer does not need them printed.
void quietMessages(QtMsgType, const QMessageLogContext&, const QString&) { }

int run(const std::uint8_t* data, std::size_t size)
{
    static const bool quiet = (qInstallMessageHandler(quietMessages), true);
    (void)quiet;

    Bytes in(data, size);
    Graph g;
    checkInvariants(g);
    while (!in.empty()) {
        step(g, in);
        checkInvariants(g);
    }
    return 0;
}

} // namespace ZrnGraphFuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    return ZrnGraphFuzz::run(data, size);
}
