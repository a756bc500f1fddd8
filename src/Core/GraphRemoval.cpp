// Removal of nodes, ports and groups, and purge(), which drops what removal
// marked and renumbers the rest.

#include "Graph_p.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace Morvane {
namespace Zrn {

namespace {

// Tags of the per-thread marks: which nodes the running removeChildNode()
// call has entered, and which nodes the running removeNodes() call is to
// erase from one parent's children list.
struct EnteredTag;
struct LeavingTag;

// One node whose subtree is being removed: the next child position to visit
// and the number of children it had when it was entered.
struct RemovalFrame
{
    int node;
    int cursor;
    int count;
};

// Detaches every port of `ports` from `group` and erases the group's name.
// Ports of later groups keep their numbers on purpose.
void eraseGroup(PortSpan<Port> ports, std::vector<QString>& groups, int group)
{
    for (Port& port : ports) {
        if (port.group == group)
            port.group = Graph::kInvalidGroupRef;
    }
    groups.erase(groups.begin() + group);
}

// The new reference of old slot `ref` by `map`, or -1 when the map has no
// entry for it.
int mapped(const std::vector<int>& map, int ref)
{
    return inRange(ref, map.size()) ? map[size_t(ref)] : -1;
}

// Builds the map from old slots to new references: -1 for a removed record,
// otherwise the number of live records before it.
template <typename Records>
std::vector<int> buildMap(const Records& records)
{
    std::vector<int> map(records.size(), -1);
    int counter = 0;
    for (size_t i = 0; i < records.size(); ++i) {
        if (!records[i].removed)
            map[i] = counter++;
    }
    return map;
}

// The last steps of purge() and compact(): the removed records go, the live
// ones keep their order.
template <typename Records>
void eraseRemoved(Records& records)
{
    records.eraseIf([](const auto& r) { return r.removed; });
}

void handOut(const std::vector<int>& map, QVector<int>* out)
{
    if (out)
        *out = QVector<int>(map.begin(), map.end());
}

// The frame of purge() and compact(), which differ only in what they do to
// a live node: maps from old slots to new references, `renumberNode(node,
// nodeMap, edgeMap)` on every live node in slot order, then the ends of
// every live edge translated, the removed records dropped (the names of
// their ports released) and the maps handed out.
template <typename RenumberNode>
void renumber(NodeRecords& nodes, EdgeRecords& edges, PortNames& names, QVector<int>* nodeMap, QVector<int>* edgeMap,
              RenumberNode renumberNode)
{
    const std::vector<int> nodesTo = buildMap(nodes);
    const std::vector<int> edgesTo = buildMap(edges);
    for (Node& node : nodes) {
        if (!node.removed) {
            renumberNode(node, nodesTo, edgesTo);
            continue;
        }
        for (const Port& port : node.portList.all())
            names.release(port.name);
    }
    for (Edge& edge : edges) {
        if (edge.removed)
            continue;
        edge.srcNode = mapped(nodesTo, edge.srcNode);
        edge.dstNode = mapped(nodesTo, edge.dstNode);
    }
    eraseRemoved(nodes);
    eraseRemoved(edges);
    handOut(nodesTo, nodeMap);
    handOut(edgesTo, edgeMap);
}

void remapPorts(PortSpan<Port> ports, const std::vector<int>& edgeMap)
{
    for (Port& port : ports) {
        if (port.source != Graph::kInvalidEdgeRef)
            port.source = mapped(edgeMap, port.source);
        for (int& edge : port.destinations)
            edge = mapped(edgeMap, edge);
    }
}

} // namespace

// ---------------------------------------------------------------- nodes

void Graph::removeNode(int node)
{
    if (!d->validNode(node))
        return;
    d->changed();
    const int parent = d->parentOf(node);
    removeChildNode(node);
    // A stored parent field may name no slot: then there is no list to leave.
    if (!d->namesSlot(parent))
        return;
    IndexList& siblings = d->node(parent).children;
    const auto it = std::find(siblings.begin(), siblings.end(), node);
    if (it != siblings.end())
        siblings.erase(it);
}

void Graph::removeNodes(const QVector<int>& nodes)
{
    // Each removal as removeNode() makes it, except that the parents' lists
    // lose their entries at the end, one pass per list: nothing in between
    // reads a list for the entry it is to lose. A later removal may walk a
    // parent's list that still holds an earlier removed node; entering that
    // node again finds no edge and no child and changes nothing.
    struct Leaving
    {
        int parent;
        int node;
    };
    std::vector<Leaving> leaving;
    for (int node : nodes) {
        if (!d->validNode(node))
            continue;
        d->changed();
        const int parent = d->parentOf(node);
        removeChildNode(node);
        if (d->namesSlot(parent))
            leaving.push_back(Leaving{parent, node});
    }
    // Grouped by parent; within a group the order does not matter, since
    // the group's nodes are only marked.
    std::sort(leaving.begin(), leaving.end(), [](const Leaving& a, const Leaving& b) { return a.parent < b.parent; });
    VisitStamps& pending = perThread<VisitStamps, LeavingTag>();
    for (size_t first = 0; first < leaving.size();) {
        const int parent = leaving[first].parent;
        size_t last = first;
        pending.begin(d->nodes.size());
        for (; last < leaving.size() && leaving[last].parent == parent; ++last)
            pending.mark(leaving[last].node);
        // Each leaving node loses its first entry, as removeNode()'s erase
        // of the first occurrence does; the others keep their order.
        IndexList& siblings = d->node(parent).children;
        int* kept = siblings.begin();
        for (int* it = siblings.begin(); it != siblings.end(); ++it) {
            if (pending.covers(*it) && pending.marked(*it)) {
                pending.unmark(*it);
                continue;
            }
            *kept++ = *it;
        }
        siblings.resize(size_t(kept - siblings.begin()));
        first = last;
    }
}

void Graph::removeChildNode(int node)
{
    if (!d->validNode(node))
        return;
    d->changed();

    VisitStamps& entered = perThread<VisitStamps, EnteredTag>();
    entered.begin(d->nodes.size());
    std::vector<RemovalFrame> stack;

    const auto enter = [&](int n) {
        entered.mark(n);
        // Inputs, then outputs, each in index order.
        for (const Port& port : d->node(n).portList.all())
            removeEdgesAt(*this, port);
        stack.push_back(RemovalFrame{n, 0, int(d->node(n).children.size())});
    };

    // Depth first with a stack of our own rather than recursion, so that a
    // hierarchy of any depth is removed without exhausting the call stack.
    // The effects come in the order of the recursive formulation: a node's
    // edges when it is entered, then its children in position order, then
    // its children list is emptied and its flag set.
    enter(node);
    while (!stack.empty()) {
        RemovalFrame& top = stack.back();
        const IndexList& children = d->node(top.node).children;
        if (top.cursor < top.count && size_t(top.cursor) < children.size()) {
            const int child = children[size_t(top.cursor)];
            ++top.cursor;
            // A child entry that names no slot, or a node entered earlier in
            // this call, is passed over: entering it again would change
            // nothing or never end.
            if (!d->namesSlot(child) || entered.marked(child))
                continue;
            enter(child); // may reallocate the stack: `top` is not used after
        } else {
            Node& done = d->node(top.node);
            done.children.clear();
            done.removed = true;
            stack.pop_back();
        }
    }
}

// ---------------------------------------------------------------- ports and groups

void Graph::Impl::removePort(int n, Side side, int i)
{
    if (!validPort(n, side, i))
        return;
    changed();
    orderPortsErasing(n, side, i);
    PortList& ports = node(n).portList;
    portNames.release(ports.ports(side)[size_t(i)].name);
    ports.erase(side, i);
}

void Graph::Impl::removeGroup(int n, Side side, int g)
{
    if (!validGroup(n, side, g))
        return;
    changed();
    Node& owner = node(n);
    eraseGroup(owner.ports(side), owner.groups(side), g);
}

void Graph::removeInput(int node, int input)
{
    d->removePort(node, Side::Input, input);
}

void Graph::removeOutput(int node, int output)
{
    d->removePort(node, Side::Output, output);
}

void Graph::removeInputGroup(int node, int group)
{
    d->removeGroup(node, Side::Input, group);
}

void Graph::removeOutputGroup(int node, int group)
{
    d->removeGroup(node, Side::Output, group);
}

// ---------------------------------------------------------------- purge

void Graph::purge()
{
    purge(nullptr, nullptr);
}

void Graph::purge(QVector<int>* nodeMap, QVector<int>* edgeMap)
{
    d->changed();
    d->orderInvalidate(); // references and edge kinds may all change
    renumber(d->nodes, d->edges, d->portNames, nodeMap, edgeMap,
             [](Node& node, const std::vector<int>& nodesTo, const std::vector<int>& edgesTo) {
                 remapPorts(node.portList.all(), edgesTo);
                 // Position k receives the new reference of old slot k, not of
                 // the child stored there; callers rely on this as it is. A
                 // position with no slot of its own (possible once earlier
                 // purges have shortened the storage below a list's length)
                 // receives -1. `parent` is left alone.
                 for (size_t k = 0; k < node.children.size(); ++k)
                     node.children[k] = mapped(nodesTo, int(k));
             });
}

// ---------------------------------------------------------------- compact

namespace {

// Translates every reference of `refs` by `map` and drops those that map to
// no live record, keeping the order of the rest.
void translateList(IndexList& refs, const std::vector<int>& map)
{
    size_t kept = 0;
    for (int ref : refs) {
        const int to = mapped(map, ref);
        if (to != -1)
            refs[kept++] = to;
    }
    refs.resize(kept);
}

void translatePorts(PortSpan<Port> ports, const std::vector<int>& edgeMap)
{
    for (Port& port : ports) {
        if (port.source != Graph::kInvalidEdgeRef)
            port.source = mapped(edgeMap, port.source);
        translateList(port.destinations, edgeMap);
    }
}

} // namespace

void Graph::compact()
{
    compact(nullptr, nullptr);
}

void Graph::compact(QVector<int>* nodeMap, QVector<int>* edgeMap)
{
    d->changed();
    d->orderInvalidate(); // every reference may change
    renumber(d->nodes, d->edges, d->portNames, nodeMap, edgeMap,
             [](Node& node, const std::vector<int>& nodesTo, const std::vector<int>& edgesTo) {
                 translatePorts(node.portList.all(), edgesTo);
                 translateList(node.children, nodesTo);
                 node.parent = mapped(nodesTo, node.parent);
             });
}

} // namespace Zrn
} // namespace Morvane
