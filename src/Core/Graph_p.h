#ifndef ZRNCORE_GRAPH_P_H
#define ZRNCORE_GRAPH_P_H

#include <ZrnCore/Graph.h>

#include <QtCore/QString>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace Morvane {
namespace Zrn {

// One input or output of a node.
struct Port
{
    QString name;
    int source = -1;               // edge feeding this port, -1 if none
    std::vector<int> destinations; // edges leaving this port, oldest first
    int group = -1;                // group of the same side, -1 if none
};

struct Node
{
    QString name;
    int parent = -1;
    int value = -1;
    std::vector<Port> inputs;
    std::vector<Port> outputs;
    std::vector<QString> inputGroups;
    std::vector<QString> outputGroups;
    std::vector<int> children; // in order of addition
    bool removed = false;
};

struct Edge
{
    int srcNode = -1;
    int srcIndex = -1;
    int dstNode = -1;
    int dstIndex = -1;
    bool removed = false;
};

// True when `index` is a position of a container of `size` entries.
inline bool inRange(int index, size_t size)
{
    return index >= 0 && size_t(index) < size;
}

// Removes the edge feeding `port`, then every edge leaving it, last first:
// what disconnectInput() does to an input, and removal to every port of a
// removed node. `port` must belong to `graph`.
void removeEdgesAt(Graph& graph, Port& port);

// Per-call visited marks over node slots that cost what a call visits, not
// the size of the graph: a node counts as marked when its stamp equals the
// current epoch, so nothing has to be cleared between calls. Kept per thread
// (thread_local) by its users, so const queries stay safe side by side.
struct VisitStamps
{
    std::vector<std::uint32_t> stamps;
    std::uint32_t epoch = 0;

    // Starts a new call over `numNodes` slots: every node is unmarked.
    void begin(size_t numNodes)
    {
        if (stamps.size() < numNodes)
            stamps.resize(numNodes, 0);
        if (++epoch == 0) { // wrapped: old stamps could match again
            std::fill(stamps.begin(), stamps.end(), 0);
            epoch = 1;
        }
    }
    bool marked(int n) const { return stamps[size_t(n)] == epoch; }
    void mark(int n) { stamps[size_t(n)] = epoch; }
};

// The whole storage of a Graph. Records refer to one another by index only.
struct Graph::Impl
{
    std::vector<Node> nodes;
    std::vector<Edge> edges;
    // Advanced by every mutating operation that changes something, so that
    // users of the graph can tell cheaply whether it may have changed.
    quint64 revision = 0;

    void changed() { ++revision; }

    bool validNode(int n) const { return n >= 0 && n < int(nodes.size()) && !nodes[size_t(n)].removed; }
    bool validEdge(int e) const { return e >= 0 && e < int(edges.size()) && !edges[size_t(e)].removed; }
    const Node& node(int n) const { return nodes[size_t(n)]; }
    Node& node(int n) { return nodes[size_t(n)]; }
    const Edge& edge(int e) const { return edges[size_t(e)]; }
    Edge& edge(int e) { return edges[size_t(e)]; }
    int parentOf(int n) const { return nodes[size_t(n)].parent; }
    bool inStorage(int n) const { return n >= 0 && n < int(nodes.size()); }

    // The three kinds, read off the parents of the stored end nodes. `e` must
    // be a valid edge. An edge whose end names no slot is of no kind: that
    // happens only when a port was erased before its edges were disconnected
    // and its node was then removed and purged away.
    bool regular(const Edge& e) const
    {
        return inStorage(e.srcNode) && inStorage(e.dstNode) && parentOf(e.srcNode) == parentOf(e.dstNode);
    }
    bool down(const Edge& e) const { return inStorage(e.dstNode) && e.srcNode == parentOf(e.dstNode); }
    bool up(const Edge& e) const { return inStorage(e.srcNode) && parentOf(e.srcNode) == e.dstNode; }

    // Name lookups that read a node's records as they stand, removed or not:
    // the first port (group) of `n` named `name`, or -1 when none is or when
    // `n` names no slot. Only a reference outside the storage is a failed
    // lookup; removal only marks a node and leaves its ports in place.
    int inputNamed(int n, const QString& name) const;
    int outputNamed(int n, const QString& name) const;
    int inputGroupNamed(int n, const QString& name) const;
    int outputGroupNamed(int n, const QString& name) const;
    // The parent field of slot `n` as it stands, or -1 when `n` names no slot.
    int storedParent(int n) const { return inStorage(n) ? parentOf(n) : Graph::kInvalidNodeRef; }

    // The walk primitives, shared by Graph's public walks and by precedes().
    bool walkAcross(int& node, int& index) const;
    bool walkUp(int& node, int& index) const;
    bool walkDown(int& node, int& index) const;
};

// Read access to a graph's records for the library's own code that must see
// them as they stand, removed slots included (the Graphviz dump).
struct GraphStorage
{
    static const Graph::Impl& of(const Graph& graph) { return *graph.d; }
    // Exchanges the whole content of two graphs: how a graph document that
    // was read into a fresh graph replaces a graph's content.
    static void swap(Graph& a, Graph& b) noexcept { std::swap(a.d, b.d); }
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_GRAPH_P_H
