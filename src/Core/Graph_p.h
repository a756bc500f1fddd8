// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_GRAPH_P_H
#define ZRNCORE_GRAPH_P_H

#include <ZrnCore/Graph.h>

#include "ChunkedArray_p.h"
#include "IndexList_p.h"
#include "Ports_p.h"
#include "Visited_p.h"

#include <QtCore/QString>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace Morvane {
namespace Zrn {

// The group names of a node, by side. Few nodes have groups, so a node
// holds them behind a pointer that stays null until its first group.
struct GroupNames
{
    std::vector<QString> inputGroups;
    std::vector<QString> outputGroups;
};

struct Node
{
    QString name;
    PortList portList;                      // inputs, then outputs
    std::unique_ptr<GroupNames> groupNames; // null while the node has no group
    int parent = -1;
    int value = -1;
    IndexList children; // in order of addition
    bool removed = false;
    // Set for good once addUpEdge() makes an edge leave one of its outputs.
    bool fedUpEdge = false;

    PortSpan<Port> ports(Side side) { return portList.ports(side); }
    PortSpan<const Port> ports(Side side) const { return portList.ports(side); }
    PortSpan<Port> inputs() { return portList.ports(Side::Input); }
    PortSpan<const Port> inputs() const { return portList.ports(Side::Input); }
    PortSpan<Port> outputs() { return portList.ports(Side::Output); }
    PortSpan<const Port> outputs() const { return portList.ports(Side::Output); }
    // The group names of one side; the writable form makes the node's
    // GroupNames when it has none yet.
    std::vector<QString>& groups(Side side)
    {
        if (!groupNames)
            groupNames = std::make_unique<GroupNames>();
        return side == Side::Input ? groupNames->inputGroups : groupNames->outputGroups;
    }
    const std::vector<QString>& groups(Side side) const
    {
        static const std::vector<QString> none;
        if (!groupNames)
            return none;
        return side == Side::Input ? groupNames->inputGroups : groupNames->outputGroups;
    }
};

// The removal mark shares its 32 bits with the destination index (port
// indices are never negative and stay far below 2^30), so that an edge
// takes 16 bytes. Made only whole, with all five fields.
struct Edge
{
    int srcNode;
    int srcIndex;
    int dstNode;
    int dstIndex : 31;
    unsigned int removed : 1;
};
static_assert(sizeof(Edge) == 16, "an edge record takes four ints");

// Asks the processor to bring the cache line of `p` in, without waiting
// for it: a hint that changes nothing. On x86 it is an instruction of its
// own, because GCC 12 drops __builtin_prefetch from some loops.
inline void prefetchLine(const void* p)
{
#if (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(__i386__))
    asm volatile("prefetcht0 %0" : : "m"(*static_cast<const char*>(p)));
#elif defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(p);
#else
    (void)p;
#endif
}

// True when `index` is a position of a container of `size` entries.
inline bool inRange(int index, size_t size)
{
    return index >= 0 && size_t(index) < size;
}

// Removes the edge feeding `port`, then every edge leaving it, last first:
// what disconnectInput() does to an input, and removal to every port of a
// removed node. `port` must belong to `graph`.
void removeEdgesAt(Graph& graph, const Port& port);

// Which creating operation made an edge, for the producer order's hooks.
enum class EdgeMade : std::uint8_t {
    Regular,
    Down,
    Up,
};

// An order of the node slots in which every producer comes before the nodes
// it feeds, kept up to date edit by edit so that addEdge() can tell without
// a search that most new edges close no cycle (GraphOrder.cpp).
//
// "n is fed by m" is the relation that precedes(..., true) follows: some
// input of n, after walkUp, has a live regular source edge whose source
// output, after walkDown, belongs to m. When rank[m] < rank[n] holds for
// every such pair, a path upstream from b to a exists only if
// rank[a] <= rank[b]; so rank[a] > rank[b] proves precedes(a, b, true) false.
struct ProducerOrder
{
    enum class State : std::uint8_t {
        Fresh,       // `rank` is an order of the relation as it stands
        Stale,       // to be rebuilt from the records before the next use
        LiteralOnly, // the relation is cyclic or the records are not fit for
                     // the incremental updates: every answer comes from the
                     // literal search, until an edit could have changed that
    };

    std::vector<int> rank; // per node slot
    int nextRank = 0;      // above every rank handed out
    int firstRank = 0;     // at or below every rank handed out
    State state = State::Stale;
    // The highest parent field that named no slot at the last rebuild, -1 if
    // none: a node created in that slot could close a loop of parents.
    int parentBeyondStorage = -1;
};

// One bulk pairing by name (connectByName(), connectGroups(),
// connectDownByName(), connectUpByName()): for each free port of `toNode` on
// `toSide`, one attempt of an edge of `kind` from the first eligible port of
// `fromNode` on `fromSide` with the same name. A port is eligible when it
// feeds nothing yet or its first destination is an edge of `kind`; with
// `grouped`, only ports of `fromGroup` and `toGroup` take part.
struct Pairing
{
    enum class Kind : std::uint8_t {
        Regular,
        Down,
        Up,
    };
    Kind kind = Kind::Regular;
    int fromNode = -1;
    Side fromSide = Side::Output;
    int toNode = -1;
    Side toSide = Side::Input;
    bool grouped = false;
    int fromGroup = -1;
    int toGroup = -1;
};

// The node and edge records, by reference: arrays that grow a chunk of 256
// records at a time, so that growing moves no record. Node records go into
// huge-page blocks past 2 MiB, edge records past 4 MiB. A build in random
// order reads the node records at random, and there the blocks spare page
// faults. The last block may hold up to 2 MiB unused; spread over 16-byte
// edge records that would add several bytes to each edge, so edge records
// start blocks later.
using NodeRecords = ChunkedArray<Node, 8, kHugePageBytes, kHugePageBytes>;
using EdgeRecords = ChunkedArray<Edge, 8>;

// The whole storage of a Graph. Records refer to one another by index only.
struct Graph::Impl
{
    NodeRecords nodes;
    EdgeRecords edges;
    PortNames portNames;
    ProducerOrder order;
    // Advanced by every mutating operation that changes something, so that
    // users of the graph can tell cheaply whether it may have changed.
    quint64 revision = 0;
    // True while every edit since the graph was made only added nodes, ports,
    // groups or edges, or renamed or set values: nothing was removed, erased
    // or renumbered. Then an output's first destination is the first edge
    // made from it, still live, with its ends and their parents as they were
    // when it was made; so when its node never fed an up edge, that first
    // edge is a regular one without a look at it (see addEdge()).
    bool onlyAdded = true;

    // An edit that may take away, erase or renumber something.
    void changed()
    {
        ++revision;
        onlyAdded = false;
    }
    // An edit that only adds or renames.
    void grew() { ++revision; }
    // Appends edge record `e` and lists it in `leaving`, the destinations of
    // the port it leaves, and returns its reference. When either cannot get
    // its memory, the std::bad_alloc leaves both as they were.
    int appendEdge(const Edge& e, IndexList& leaving)
    {
        const int id = int(edges.size());
        leaving.push_back(id);
        try {
            edges.push_back(e);
        } catch (...) {
            leaving.pop_back();
            throw;
        }
        return id;
    }
    // Whether the first destination of each output of `n` that has one is
    // certainly a regular edge, as isRegularEdge() would answer after
    // reading it. False means only that the edge must be read.
    bool firstDestinationKnownRegular(const Node& n) const { return onlyAdded && !n.fedUpEdge; }

    bool validNode(int n) const { return n >= 0 && n < int(nodes.size()) && !nodes[size_t(n)].removed; }
    bool validEdge(int e) const { return e >= 0 && e < int(edges.size()) && !edges[size_t(e)].removed; }
    const Node& node(int n) const { return nodes[size_t(n)]; }
    Node& node(int n) { return nodes[size_t(n)]; }
    const Edge& edge(int e) const { return edges[size_t(e)]; }
    Edge& edge(int e) { return edges[size_t(e)]; }
    int parentOf(int n) const { return nodes[size_t(n)].parent; }
    bool inStorage(int n) const { return n >= 0 && n < int(nodes.size()); }

    // References as the records store them. purge() renumbers the slots but
    // leaves every parent field as it was, rewrites each children list by
    // position (entry k becomes the new number of old slot k, -1 when that
    // slot was removed), and maps the end of an edge that outlived its node
    // (its port was erased while still connected) to -1. So a parent field,
    // a children entry or an edge end may name no slot, and a node may be
    // listed twice, under the wrong parent or under its own subtree. Code
    // that follows a stored reference asks these three, which read a
    // reference that names no slot as leading nowhere; a walk down children
    // lists also passes over a node it has entered already.
    bool namesSlot(int ref) const { return inStorage(ref); }
    // The parent field of slot `n` as it stands, or -1 when `n` names no slot.
    int storedParent(int n) const { return namesSlot(n) ? parentOf(n) : Graph::kInvalidNodeRef; }
    // The children list of slot `n` as it stands, empty when `n` names no slot.
    const IndexList& storedChildren(int n) const
    {
        static const IndexList none{};
        return namesSlot(n) ? nodes[size_t(n)].children : none;
    }

    // The three kinds, read off the parents of the stored end nodes. `e` must
    // be a valid edge. An edge with an end that names no slot is of no kind.
    bool regular(const Edge& e) const
    {
        return namesSlot(e.srcNode) && namesSlot(e.dstNode) && parentOf(e.srcNode) == parentOf(e.dstNode);
    }
    bool down(const Edge& e) const { return namesSlot(e.dstNode) && e.srcNode == parentOf(e.dstNode); }
    // Graph::isRegularEdge(): any reference, answered false when it names
    // no live edge.
    bool liveRegular(int e) const { return validEdge(e) && regular(edge(e)); }
    bool up(const Edge& e) const { return namesSlot(e.srcNode) && parentOf(e.srcNode) == e.dstNode; }

    // Checked access: null when the reference or index lies outside the
    // storage. A removed node's slot is inside it and is read as it stands.
    const Node* nodeAt(int n) const { return inStorage(n) ? &nodes[size_t(n)] : nullptr; }
    Node* nodeAt(int n) { return inStorage(n) ? &nodes[size_t(n)] : nullptr; }
    const Port* portAt(int n, Side side, int i) const
    {
        const Node* owner = nodeAt(n);
        return owner && inRange(i, owner->ports(side).size()) ? &owner->ports(side)[size_t(i)] : nullptr;
    }
    Port* portAt(int n, Side side, int i)
    {
        Node* owner = nodeAt(n);
        return owner && inRange(i, owner->ports(side).size()) ? &owner->ports(side)[size_t(i)] : nullptr;
    }
    // The edge feeding a port, or -1 when there is none or no such port.
    int sourceAt(int n, Side side, int i) const
    {
        const Port* port = portAt(n, side, i);
        return port ? port->source : Graph::kInvalidEdgeRef;
    }
    // The isValid...() tests: a live node, and an index in range.
    bool validPort(int n, Side side, int i) const { return validNode(n) && inRange(i, node(n).ports(side).size()); }
    bool validGroup(int n, Side side, int g) const { return validNode(n) && inRange(g, node(n).groups(side).size()); }

    // Asks the processor to bring the record of slot `n` and its rank into
    // the cache, when `n` names a slot; a hint, which changes nothing.
    void prefetchNode(int n) const
    {
        if (!inStorage(n))
            return;
        // The first and the last byte of the record, and the line between
        // them where the record spans three.
        const char* record = reinterpret_cast<const char*>(&nodes[size_t(n)]);
        prefetchLine(record);
        if constexpr (sizeof(Node) > 64)
            prefetchLine(record + 64);
        prefetchLine(record + sizeof(Node) - 1);
        if (inRange(n, order.rank.size()))
            prefetchLine(&order.rank[size_t(n)]);
    }

    // The input/output twins of Graph's interface, one implementation each.
    // A reference or index outside the storage trips a Q_ASSERT in debug
    // builds and gets the neutral answer documented in Graph.h otherwise.
    int addPort(int n, Side side, const QString& name, int group);
    int addGroup(int n, Side side, const QString& name);
    int numPorts(int n, Side side) const;
    int numGroups(int n, Side side) const;
    int findPort(int n, Side side, const QString& name) const;
    int findGroup(int n, Side side, const QString& name) const;
    QString portName(int n, Side side, int i) const;
    void setPortName(int n, Side side, int i, const QString& name);
    int portGroup(int n, Side side, int i) const;
    QString groupName(int n, Side side, int g) const;
    void setGroupName(int n, Side side, int g, const QString& name);
    int portSource(int n, Side side, int i) const;
    int numPortDestinations(int n, Side side, int i) const;
    int portDestination(int n, Side side, int i, int index) const;
    bool validPortDestination(int n, Side side, int i, int index) const;
    void removePort(int n, Side side, int i);
    void removeGroup(int n, Side side, int g);

    // The one loop of the bulk pairings by name (GraphConnect.cpp). Both
    // nodes must be in the storage. Edges are made through `graph`'s
    // addEdge(), addDownEdge() and addUpEdge(), so their refusals hold.
    void pairByName(Graph& graph, const Pairing& pairing);

    // Name lookups that read a node's records as they stand, removed or not:
    // the first port (group) of `n` named `name`, or -1 when none is or when
    // `n` names no slot. Only a reference outside the storage is a failed
    // lookup; removal only marks a node and leaves its ports in place.
    int portNamed(int n, Side side, const QString& name) const;
    int groupNamed(int n, Side side, const QString& name) const;

    // The walk primitives, shared by Graph's public walks and by precedes().
    bool walkAcross(int& node, int& index) const;
    bool walkUp(int& node, int& index) const;
    bool walkDown(int& node, int& index) const;
    // walkUp() on inputs, walkDown() on outputs: follows the down (up) edges
    // feeding port `index` of `node` on `side` for as long as there are any.
    template <Side side>
    bool walkHierarchy(int& node, int& index) const;

    // The producer order (GraphOrder.cpp). orderProvesNoPath() is true only
    // when precedes(dstNode, srcNode, true) is certainly false; it rebuilds a
    // stale order first. orderProvesNoPathAsIs() answers from the order as it
    // stands, without rebuilding, for const callers.
    bool orderProvesNoPath(int srcNode, int dstNode)
    {
        if (order.state == ProducerOrder::State::Stale)
            rebuildOrder();
        return orderProvesNoPathAsIs(srcNode, dstNode);
    }
    bool orderProvesNoPathAsIs(int srcNode, int dstNode) const
    {
        return ranksProveNoPath(srcNode, dstNode) || endsProveNoPath(srcNode, dstNode);
    }
    bool ranksProveNoPath(int srcNode, int dstNode) const
    {
        // Upstream of srcNode lie only nodes ranked at or below it.
        return order.state == ProducerOrder::State::Fresh && inRange(srcNode, order.rank.size())
            && inRange(dstNode, order.rank.size()) && order.rank[size_t(dstNode)] > order.rank[size_t(srcNode)];
    }
    // Where the ranks prove nothing, the ends of the edge may: nothing lies
    // upstream of a source node that nothing feeds, and a destination node
    // that feeds nothing lies upstream of nothing. The first holds for any
    // records, the second while the order is fresh (see feedsNothing()).
    bool endsProveNoPath(int srcNode, int dstNode) const
    {
        return srcNode != dstNode
            && (unfed(srcNode) || (order.state == ProducerOrder::State::Fresh && feedsNothing(dstNode)));
    }
    // Whether no input of slot `n` has a source: then the search upstream
    // from it finds only `n` itself, whatever the records hold. False when
    // `n` names no slot.
    bool unfed(int n) const
    {
        const Node* record = nodeAt(n);
        if (!record)
            return false;
        for (const Port& in : record->inputs()) {
            if (in.source != Graph::kInvalidEdgeRef)
                return false;
        }
        return true;
    }
    // Whether no output of slot `n` lists an edge. While the order is fresh,
    // every edge that the search follows is listed at its source port, so
    // such a node feeds nothing. False when `n` names no slot.
    bool feedsNothing(int n) const
    {
        const Node* record = nodeAt(n);
        if (!record)
            return false;
        for (const Port& out : record->outputs()) {
            if (!out.destinations.empty())
                return false;
        }
        return true;
    }
    // Whether a regular edge from `out` of `srcNode` to `in` of `dst` links
    // the source node to the fed node and nothing else. Without down and up
    // edges at its ends it does: producerOf() of the fed node's input is
    // srcNode when walkUp() stays at `in` (fed by the edge, which is not a
    // down edge) and walkDown() stays at `out` (nothing feeds it), and
    // collectInputConsumers() finds `dst` alone when `in` feeds no edge.
    static bool linksItsEndsOnly(int srcNode, const Port& out, const Node& dst, const Port& in)
    {
        return dst.parent != srcNode && out.source == Graph::kInvalidEdgeRef && in.destinations.empty();
    }
    // For an edge that addEdge() is about to make, where neither the ranks
    // nor the ends prove that it closes no loop: ranks the source node below
    // the fed node ahead of the edge, as its hook would after it, and is
    // true when that succeeds. Then the fed node does not feed the source
    // node in the producer relation, which holds every path that the search
    // upstream finds, so the search would find none. On false nothing has
    // moved. Either way the order stays right for the graph with or without
    // the edge: one link more only narrows the orders that fit. Only for an
    // edge that links its ends only; the search answers every other.
    bool orderMadeToProveNoPath(int srcNode, const Port& out, int dstNode, const Node& dst, const Port& in)
    {
        return order.state == ProducerOrder::State::Fresh && srcNode != dstNode
            && linksItsEndsOnly(srcNode, out, dst, in) && insertLink(srcNode, dstNode);
    }
    // Hooks of the editing operations, called after the edit. The order only
    // saves searches: an update that cannot get the memory it needs leaves
    // it stale, to be rebuilt at its next use, and the edit stands.
    void orderNodeAdded(int node);
    void orderEdgeAdded(int edge, EdgeMade made);
    void linkEdgeAdded(int edge, EdgeMade made); // orderEdgeAdded()'s work
    // orderEdgeAdded(id, EdgeMade::Regular) for the edge `id` that addEdge()
    // just made from `out` of `srcNode` to `in` of `dst` (node `dstNode`):
    // where the edge links its ends only, that one link; the general hook
    // answers every other case.
    void orderRegularEdgeAdded(int id, int srcNode, const Port& out, int dstNode, const Node& dst, const Port& in)
    {
        if (order.state != ProducerOrder::State::Fresh)
            return;
        if (linksItsEndsOnly(srcNode, out, dst, in)) {
            if (!insertLink(srcNode, dstNode) && order.state == ProducerOrder::State::Fresh)
                order.state = ProducerOrder::State::LiteralOnly;
            return;
        }
        orderEdgeAdded(id, EdgeMade::Regular);
    }
    void orderEdgeRemoved(int edge);
    // Called before ports from `index` on are erased from one side of `node`.
    void orderPortsErasing(int node, Side side, int index);
    // Everything may have moved (purge): rebuild before the next use.
    void orderInvalidate() { order.state = ProducerOrder::State::Stale; }

    // The order's own steps, used by the functions above.
    int producerOf(int node, int input) const;
    bool recordsFitForOrder(int& parentBeyondStorage) const;
    void rebuildOrder();
    void rebuildOrderFromRecords();
    bool collectInputConsumers(int node, int input, std::vector<int>& out) const;
    bool collectOutputConsumers(int node, int output, std::vector<int>& out) const;
    bool collectConsumers(int node, std::vector<int>& out) const;
    void insertLinks(int producer, const std::vector<int>& consumers);
    // Ranks `producer` below `consumer`, moving what must move; false when
    // the consumer feeds the producer (a loop), or when the move could not
    // get its memory and left the order stale. Most links need no move.
    bool insertLink(int producer, int consumer)
    {
        return producer == consumer || order.rank[size_t(producer)] < order.rank[size_t(consumer)]
            || reorderForLink(producer, consumer);
    }
    // How many nodes one side of reorderForLink() reaches before it first
    // tries to move the far side of the other end instead (moveClosure()).
    static constexpr size_t kLocalReorder = 8;
    // Whether a side of reorderForLink() that has reached `size` nodes tries
    // the other end's far side: at kLocalReorder, then at every doubling.
    static bool tryPoint(size_t size) { return size >= kLocalReorder && (size & (size - 1)) == 0; }
    enum class ClosureMove : std::uint8_t {
        Moved,    // the far side now ranks below (above) every other node
        TooLarge, // more than `budget` nodes, or no ranks left: nothing moved
        Failed,   // a loop, or records the order cannot follow
    };
    // Moves everything upstream of `from` (side Input) below every other
    // rank, or everything downstream of it (side Output) above, when that
    // is at most `budget` nodes, none of them `other`, in a fresh order.
    // Only for `from` at one end of a new link and `other` at its other
    // end: every link then still runs upwards.
    ClosureMove moveClosure(Side side, int from, int other, size_t budget);
    bool reorderForLink(int producer, int consumer);
    bool moveForLink(int producer, int consumer);
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
