// Graph storage, nodes, ports and groups, and edges.
//
// Connection by name lives in GraphConnect.cpp, removal and purge in
// GraphRemoval.cpp, the walk primitives and precedes() in Walk.cpp.

#include "Graph_p.h"
#include "GraphDiagnostics_p.h"

#include <algorithm>

namespace Morvane {
namespace Zrn {

constexpr int Graph::kInvalidNodeRef;
constexpr int Graph::kInvalidEdgeRef;
constexpr int Graph::kInvalidGroupRef;
constexpr int Graph::kRootNodeRef;

namespace {

int firstNamed(const std::vector<QString>& names, const QString& name)
{
    for (size_t i = 0; i < names.size(); ++i) {
        if (names[i] == name)
            return int(i);
    }
    return -1;
}

// Takes `edge` out of the destinations of port `index` of `ports`, if that
// port exists and lists it.
void unlinkDestination(PortSpan<Port> ports, int index, int edge)
{
    if (!inRange(index, ports.size()))
        return;
    IndexList& dests = ports[size_t(index)].destinations;
    const auto it = std::find(dests.begin(), dests.end(), edge);
    if (it != dests.end())
        dests.erase(it);
}

// Clears the source of port `index` of `ports`, if that port exists and is
// fed by `edge`.
void unlinkSource(PortSpan<Port> ports, int index, int edge)
{
    if (inRange(index, ports.size()) && ports[size_t(index)].source == edge)
        ports[size_t(index)].source = Graph::kInvalidEdgeRef;
}

} // namespace

int Graph::Impl::portNamed(int n, Side side, const QString& name) const
{
    if (!namesSlot(n))
        return -1;
    const int looked = portNames.lookup(name);
    if (looked == -1)
        return -1; // no port of the graph has that name
    const PortSpan<const Port> ports = node(n).ports(side);
    for (size_t i = 0; i < ports.size(); ++i) {
        if (portNames.matches(ports[i].name, looked))
            return int(i);
    }
    return -1;
}

int Graph::Impl::groupNamed(int n, Side side, const QString& name) const
{
    return namesSlot(n) ? firstNamed(node(n).groups(side), name) : -1;
}

void removeEdgesAt(Graph& graph, const Port& port)
{
    // removeEdge() only edits sources and destination lists, so `port` stays
    // where it is throughout.
    if (port.source != Graph::kInvalidEdgeRef)
        graph.removeEdge(port.source);
    // From the back, so that each removal leaves the positions still to
    // visit in place.
    for (int k = int(port.destinations.size()) - 1; k >= 0; --k) {
        if (size_t(k) < port.destinations.size())
            graph.removeEdge(port.destinations[size_t(k)]);
    }
}

// Precondition checks of the unchecked accessors: active in debug builds only.
#define ZRN_ASSERT_NODE(n) Q_ASSERT_X(d->validNode(n), Q_FUNC_INFO, "invalid node reference")
#define ZRN_ASSERT_INPUT(n, i) \
    Q_ASSERT_X(d->validNode(n) && inRange(i, d->node(n).inputs().size()), Q_FUNC_INFO, "invalid input")

Graph::Graph()
    : d(new Impl)
{
    d->nodes.emplace_back(); // the root: empty name, parent -1, value -1
    // The producer order starts stale and is built at the first addEdge():
    // kept up to date from the start, every addDownEdge() of a deep
    // hierarchy would walk up through all the levels above it.
}

Graph::~Graph() = default;

// ---------------------------------------------------------------- storage

int Graph::numNodesGlobal() const
{
    return int(d->nodes.size());
}

int Graph::getNodeGlobal(int i) const
{
    return i;
}

int Graph::numEdgesGlobal() const
{
    return int(d->edges.size());
}

int Graph::getEdgeGlobal(int i) const
{
    return i;
}

quint64 Graph::revision() const
{
    return d->revision;
}

// ---------------------------------------------------------------- nodes
//
// A reference or index outside the storage trips the Q_ASSERT in a debug
// build and gets a neutral answer in a release build (Graph.h), so that no
// misuse reads or writes memory that is not there. A removed node's slot is
// inside the storage: it is read as it stands.

int Graph::addNode(const QString& name, int numInputs, int numOutputs, int parent)
{
    ZRN_ASSERT_NODE(parent);
    if (!d->inStorage(parent))
        return kInvalidNodeRef;
    // Everything that may fail to allocate comes before the graph changes,
    // or is undone: a std::bad_alloc leaves the graph as it was.
    const int ref = int(d->nodes.size());
    Node node;
    node.name = name;
    node.parent = parent;
    node.portList.append(Side::Input, numInputs);
    node.portList.append(Side::Output, numOutputs);
    IndexList& siblings = d->node(parent).children;
    siblings.push_back(ref);
    try {
        d->nodes.push_back(std::move(node));
    } catch (...) {
        siblings.pop_back();
        throw;
    }
    d->grew();
    d->orderNodeAdded(ref);
    return ref;
}

int Graph::numNodes(int parent) const
{
    ZRN_ASSERT_NODE(parent);
    return int(d->storedChildren(parent).size());
}

int Graph::getNode(int index, int parent) const
{
    ZRN_ASSERT_NODE(parent);
    const IndexList& children = d->storedChildren(parent);
    Q_ASSERT_X(inRange(index, children.size()), Q_FUNC_INFO, "child position out of range");
    return inRange(index, children.size()) ? children[size_t(index)] : kInvalidNodeRef;
}

int Graph::findNode(const QString& name, int parent) const
{
    ZRN_ASSERT_NODE(parent);
    for (int child : d->storedChildren(parent)) {
        if (d->namesSlot(child) && d->node(child).name == name)
            return child;
    }
    return kInvalidNodeRef;
}

int Graph::indexOfNode(int node) const
{
    Q_ASSERT_X(d->inStorage(node), Q_FUNC_INFO, "node reference out of range");
    const IndexList& siblings = d->storedChildren(d->storedParent(node));
    const auto it = std::find(siblings.begin(), siblings.end(), node);
    return it == siblings.end() ? -1 : int(it - siblings.begin());
}

int Graph::parentNode(int node) const
{
    Q_ASSERT_X(d->inStorage(node), Q_FUNC_INFO, "node reference out of range");
    return d->storedParent(node);
}

bool Graph::contains(int ancestor, int node) const
{
    Q_ASSERT_X(d->inStorage(node), Q_FUNC_INFO, "node reference out of range");
    // In a tree the climb ends at the root within numNodesGlobal() steps.
    // Stored parent fields may name no slot or lead round in a circle: the
    // climb then stops there and answers false rather than read past the end
    // or never return.
    size_t steps = d->nodes.size();
    for (int p = d->storedParent(node); p != kInvalidNodeRef; p = d->parentOf(p)) {
        if (p == ancestor)
            return true;
        if (!d->namesSlot(p) || steps-- == 0)
            return false;
    }
    return false;
}

QString Graph::nodeName(int node) const
{
    ZRN_ASSERT_NODE(node);
    const Node* n = d->nodeAt(node);
    return n ? n->name : QString();
}

void Graph::setNodeName(int node, const QString& name)
{
    ZRN_ASSERT_NODE(node);
    if (Node* n = d->nodeAt(node)) {
        d->grew();
        n->name = name;
    }
}

int Graph::nodeValue(int node) const
{
    ZRN_ASSERT_NODE(node);
    const Node* n = d->nodeAt(node);
    return n ? n->value : -1;
}

void Graph::setNodeValue(int node, int value)
{
    ZRN_ASSERT_NODE(node);
    if (Node* n = d->nodeAt(node)) {
        d->grew();
        n->value = value;
    }
}

bool Graph::isValidNode(int node) const
{
    return d->validNode(node);
}

// ---------------------------------------------------------------- ports and groups
//
// The input and output twins share one implementation each, parameterised by
// the side; the public members only forward.

// The text of a failed port, group or destination assertion for `side`:
// "invalid input group", "invalid output destination" and so on. A macro, so
// that it is compiled only where an assertion can fail.
#define ZRN_INVALID_TEXT(side, what) ((side) == Side::Input ? "invalid input" what : "invalid output" what)

#define ZRN_ASSERT_LIVE(n) Q_ASSERT_X(validNode(n), Q_FUNC_INFO, "invalid node reference")
#define ZRN_ASSERT_PORT(n, side, i) Q_ASSERT_X(validPort(n, side, i), Q_FUNC_INFO, ZRN_INVALID_TEXT(side, ""))
#define ZRN_ASSERT_GROUP(n, side, g) Q_ASSERT_X(validGroup(n, side, g), Q_FUNC_INFO, ZRN_INVALID_TEXT(side, " group"))

int Graph::Impl::addPort(int n, Side side, const QString& name, int group)
{
    ZRN_ASSERT_LIVE(n);
    Node* owner = nodeAt(n);
    if (!owner)
        return -1;
    // The name first: a std::bad_alloc of either leaves the node as it was.
    const int number = portNames.acquire(name);
    Port* port;
    try {
        port = &owner->portList.append(side);
    } catch (...) {
        portNames.release(number);
        throw;
    }
    port->name = number;
    port->group = group;
    grew();
    return owner->portList.count(side) - 1;
}

int Graph::Impl::addGroup(int n, Side side, const QString& name)
{
    ZRN_ASSERT_LIVE(n);
    Node* owner = nodeAt(n);
    if (!owner)
        return kInvalidGroupRef;
    grew();
    owner->groups(side).push_back(name);
    return int(owner->groups(side).size()) - 1;
}

int Graph::Impl::numPorts(int n, Side side) const
{
    ZRN_ASSERT_LIVE(n);
    const Node* owner = nodeAt(n);
    return owner ? int(owner->ports(side).size()) : 0;
}

int Graph::Impl::numGroups(int n, Side side) const
{
    ZRN_ASSERT_LIVE(n);
    const Node* owner = nodeAt(n);
    return owner ? int(owner->groups(side).size()) : 0;
}

int Graph::Impl::findPort(int n, Side side, const QString& name) const
{
    ZRN_ASSERT_LIVE(n);
    return portNamed(n, side, name);
}

int Graph::Impl::findGroup(int n, Side side, const QString& name) const
{
    ZRN_ASSERT_LIVE(n);
    return groupNamed(n, side, name);
}

QString Graph::Impl::portName(int n, Side side, int i) const
{
    ZRN_ASSERT_PORT(n, side, i);
    const Port* port = portAt(n, side, i);
    return port ? portNames.text(port->name) : QString();
}

void Graph::Impl::setPortName(int n, Side side, int i, const QString& name)
{
    ZRN_ASSERT_PORT(n, side, i);
    if (Port* port = portAt(n, side, i)) {
        grew();
        const int old = port->name;
        port->name = portNames.acquire(name);
        portNames.release(old);
    }
}

int Graph::Impl::portGroup(int n, Side side, int i) const
{
    ZRN_ASSERT_PORT(n, side, i);
    const Port* port = portAt(n, side, i);
    return port ? port->group : kInvalidGroupRef;
}

QString Graph::Impl::groupName(int n, Side side, int g) const
{
    ZRN_ASSERT_GROUP(n, side, g);
    const Node* owner = nodeAt(n);
    return owner && inRange(g, owner->groups(side).size()) ? owner->groups(side)[size_t(g)] : QString();
}

void Graph::Impl::setGroupName(int n, Side side, int g, const QString& name)
{
    ZRN_ASSERT_GROUP(n, side, g);
    Node* owner = nodeAt(n);
    if (owner && inRange(g, std::as_const(*owner).groups(side).size())) {
        grew();
        owner->groups(side)[size_t(g)] = name;
    }
}

int Graph::Impl::portSource(int n, Side side, int i) const
{
    ZRN_ASSERT_PORT(n, side, i);
    return sourceAt(n, side, i);
}

int Graph::Impl::numPortDestinations(int n, Side side, int i) const
{
    ZRN_ASSERT_PORT(n, side, i);
    const Port* port = portAt(n, side, i);
    return port ? int(port->destinations.size()) : 0;
}

int Graph::Impl::portDestination(int n, Side side, int i, int index) const
{
    Q_ASSERT_X(validPortDestination(n, side, i, index), Q_FUNC_INFO, ZRN_INVALID_TEXT(side, " destination"));
    const Port* port = portAt(n, side, i);
    return port && inRange(index, port->destinations.size()) ? port->destinations[size_t(index)] : kInvalidEdgeRef;
}

bool Graph::Impl::validPortDestination(int n, Side side, int i, int index) const
{
    return validPort(n, side, i) && inRange(index, node(n).ports(side)[size_t(i)].destinations.size());
}

int Graph::addInput(int node, const QString& name, int group)
{
    return d->addPort(node, Side::Input, name, group);
}

int Graph::addOutput(int node, const QString& name, int group)
{
    return d->addPort(node, Side::Output, name, group);
}

int Graph::addInputGroup(int node, const QString& name)
{
    return d->addGroup(node, Side::Input, name);
}

int Graph::addOutputGroup(int node, const QString& name)
{
    return d->addGroup(node, Side::Output, name);
}

int Graph::numInputs(int node) const
{
    return d->numPorts(node, Side::Input);
}

int Graph::numOutputs(int node) const
{
    return d->numPorts(node, Side::Output);
}

int Graph::numInputGroups(int node) const
{
    return d->numGroups(node, Side::Input);
}

int Graph::numOutputGroups(int node) const
{
    return d->numGroups(node, Side::Output);
}

int Graph::findInput(int node, const QString& name) const
{
    return d->findPort(node, Side::Input, name);
}

int Graph::findOutput(int node, const QString& name) const
{
    return d->findPort(node, Side::Output, name);
}

int Graph::findInputGroup(int node, const QString& name) const
{
    return d->findGroup(node, Side::Input, name);
}

int Graph::findOutputGroup(int node, const QString& name) const
{
    return d->findGroup(node, Side::Output, name);
}

QString Graph::inputName(int node, int input) const
{
    return d->portName(node, Side::Input, input);
}

QString Graph::outputName(int node, int output) const
{
    return d->portName(node, Side::Output, output);
}

void Graph::setInputName(int node, int input, const QString& name)
{
    d->setPortName(node, Side::Input, input, name);
}

void Graph::setOutputName(int node, int output, const QString& name)
{
    d->setPortName(node, Side::Output, output, name);
}

int Graph::inputGroup(int node, int input) const
{
    return d->portGroup(node, Side::Input, input);
}

int Graph::outputGroup(int node, int output) const
{
    return d->portGroup(node, Side::Output, output);
}

QString Graph::inputGroupName(int node, int group) const
{
    return d->groupName(node, Side::Input, group);
}

QString Graph::outputGroupName(int node, int group) const
{
    return d->groupName(node, Side::Output, group);
}

void Graph::setInputGroupName(int node, int group, const QString& name)
{
    d->setGroupName(node, Side::Input, group, name);
}

void Graph::setOutputGroupName(int node, int group, const QString& name)
{
    d->setGroupName(node, Side::Output, group, name);
}

bool Graph::isValidInput(int node, int input) const
{
    return d->validPort(node, Side::Input, input);
}

bool Graph::isValidOutput(int node, int output) const
{
    return d->validPort(node, Side::Output, output);
}

bool Graph::isValidInputGroup(int node, int group) const
{
    return d->validGroup(node, Side::Input, group);
}

bool Graph::isValidOutputGroup(int node, int group) const
{
    return d->validGroup(node, Side::Output, group);
}

// ---------------------------------------------------------------- edges

namespace {

// One field of `edge`, read by `field`, or -1 when `edge` is outside the
// storage.
template <typename Field>
int edgeField(const EdgeRecords& edges, int edge, Field field)
{
    Q_ASSERT_X(inRange(edge, edges.size()), Q_FUNC_INFO, "edge reference out of range");
    return inRange(edge, edges.size()) ? field(edges[size_t(edge)]) : -1;
}

} // namespace

int Graph::edgeSourceNode(int edge) const
{
    return edgeField(d->edges, edge, [](const Edge& e) { return int(e.srcNode); });
}

int Graph::edgeSourceIndex(int edge) const
{
    return edgeField(d->edges, edge, [](const Edge& e) { return int(e.srcIndex); });
}

int Graph::edgeDestNode(int edge) const
{
    return edgeField(d->edges, edge, [](const Edge& e) { return int(e.dstNode); });
}

int Graph::edgeDestIndex(int edge) const
{
    return edgeField(d->edges, edge, [](const Edge& e) { return int(e.dstIndex); });
}

bool Graph::isValidEdge(int edge) const
{
    return d->validEdge(edge);
}

bool Graph::isRegularEdge(int edge) const
{
    return d->liveRegular(edge);
}

bool Graph::isDownEdge(int edge) const
{
    return d->validEdge(edge) && d->down(d->edge(edge));
}

bool Graph::isUpEdge(int edge) const
{
    return d->validEdge(edge) && d->up(d->edge(edge));
}

int Graph::inputSource(int node, int input) const
{
    return d->portSource(node, Side::Input, input);
}

int Graph::outputSource(int node, int output) const
{
    return d->portSource(node, Side::Output, output);
}

int Graph::numInputDestinations(int node, int input) const
{
    return d->numPortDestinations(node, Side::Input, input);
}

int Graph::numOutputDestinations(int node, int output) const
{
    return d->numPortDestinations(node, Side::Output, output);
}

int Graph::inputDestination(int node, int input, int index) const
{
    return d->portDestination(node, Side::Input, input, index);
}

int Graph::outputDestination(int node, int output, int index) const
{
    return d->portDestination(node, Side::Output, output, index);
}

bool Graph::isValidInputDestination(int node, int input, int index) const
{
    return d->validPortDestination(node, Side::Input, input, index);
}

bool Graph::isValidOutputDestination(int node, int output, int index) const
{
    return d->validPortDestination(node, Side::Output, output, index);
}

int Graph::addEdge(int srcNode, int srcOutput, int dstNode, int dstInput)
{
    Internal::traceAddEdge(*this, srcNode, srcOutput, dstNode, dstInput);
    // Guard: connection by name hands us -1 after a failed lookup.
    if (!d->validPort(srcNode, Side::Output, srcOutput) || !d->validPort(dstNode, Side::Input, dstInput))
        return kInvalidEdgeRef;
    // Guard: an edge between non-siblings would be misclassified by every
    // later kind test, removeEdge() included.
    Node& src = d->node(srcNode);
    Node& dst = d->node(dstNode);
    if (src.parent != dst.parent)
        return kInvalidEdgeRef;

    Port& in = dst.inputs()[size_t(dstInput)];
    if (in.source != kInvalidEdgeRef)
        return kInvalidEdgeRef;
    Port& out = src.outputs()[size_t(srcOutput)];
    if (!out.destinations.empty() && !d->firstDestinationKnownRegular(src) && !d->liveRegular(out.destinations.front()))
        return kInvalidEdgeRef;
    // The order of producers proves most edges free of cycles, as it stands
    // or once it ranks the source node below the fed node; where it cannot,
    // the search decides. None of them moves a node record, so the
    // references above stay valid.
    if (!d->orderProvesNoPath(srcNode, dstNode) && !d->orderMadeToProveNoPath(srcNode, out, dstNode, dst, in)
        && precedes(dstNode, srcNode, true))
        return kInvalidEdgeRef;

    const int id = d->appendEdge(Edge{srcNode, srcOutput, dstNode, dstInput, false}, out.destinations);
    in.source = id;
    d->grew();
    d->orderRegularEdgeAdded(id, srcNode, out, dstNode, dst, in);
    return id;
}

QVector<int> Graph::addEdges(const QVector<EdgeEnds>& edges)
{
    // How many edges ahead the records are fetched: far enough for a read
    // from memory to arrive while the edges before it are made, near
    // enough for the lines not to be evicted again first.
    constexpr int kAhead = 8;
    QVector<int> made;
    made.reserve(edges.size());
    const int count = int(edges.size());
    for (int k = 0; k < count; ++k) {
        if (k + kAhead < count) {
            const EdgeEnds& later = edges[k + kAhead];
            d->prefetchNode(later.srcNode);
            d->prefetchNode(later.dstNode);
        }
        const EdgeEnds& e = edges[k];
        made.append(addEdge(e.srcNode, e.srcOutput, e.dstNode, e.dstInput));
    }
    return made;
}

int Graph::addDownEdge(int parentInput, int childNode, int childInput)
{
    Internal::traceAddDownEdge(*this, parentInput, childNode, childInput);
    if (!isValidInput(childNode, childInput))
        return kInvalidEdgeRef;
    const int parent = d->parentOf(childNode);
    if (!isValidInput(parent, parentInput))
        return kInvalidEdgeRef;

    Port& in = d->node(childNode).inputs()[size_t(childInput)];
    if (in.source != kInvalidEdgeRef)
        return kInvalidEdgeRef;

    const int id = d->appendEdge(Edge{parent, parentInput, childNode, childInput, false},
                                 d->node(parent).inputs()[size_t(parentInput)].destinations);
    in.source = id;
    d->grew();
    d->orderEdgeAdded(id, EdgeMade::Down);
    return id;
}

int Graph::addUpEdge(int parentOutput, int childNode, int childOutput)
{
    Internal::traceAddUpEdge(*this, parentOutput, childNode, childOutput);
    if (!isValidOutput(childNode, childOutput))
        return kInvalidEdgeRef;
    const int parent = d->parentOf(childNode);
    if (!isValidOutput(parent, parentOutput))
        return kInvalidEdgeRef;

    if (d->node(parent).outputs()[size_t(parentOutput)].source != kInvalidEdgeRef)
        return kInvalidEdgeRef;
    {
        const IndexList& out = d->node(childNode).outputs()[size_t(childOutput)].destinations;
        if (!out.empty() && !isUpEdge(out.front()))
            return kInvalidEdgeRef;
    }

    const int id = d->appendEdge(Edge{childNode, childOutput, parent, parentOutput, false},
                                 d->node(childNode).outputs()[size_t(childOutput)].destinations);
    d->grew();
    d->node(childNode).fedUpEdge = true;
    d->node(parent).outputs()[size_t(parentOutput)].source = id;
    d->orderEdgeAdded(id, EdgeMade::Up);
    return id;
}

void Graph::removeEdge(int edge)
{
    if (!d->validEdge(edge))
        return;
    d->changed();
    Edge& e = d->edge(edge);
    const bool srcKnown = d->namesSlot(e.srcNode);
    const bool dstKnown = d->namesSlot(e.dstNode);

    if (srcKnown && dstKnown) {
        // The two ports, by kind in this order: regular, down, otherwise up.
        Node& src = d->node(e.srcNode);
        Node& dst = d->node(e.dstNode);
        if (d->regular(e)) {
            unlinkDestination(src.outputs(), e.srcIndex, edge);
            unlinkSource(dst.inputs(), e.dstIndex, edge);
        } else if (d->down(e)) {
            unlinkDestination(src.inputs(), e.srcIndex, edge);
            unlinkSource(dst.inputs(), e.dstIndex, edge);
        } else {
            unlinkDestination(src.outputs(), e.srcIndex, edge);
            unlinkSource(dst.outputs(), e.dstIndex, edge);
        }
    } else {
        // An end names no slot, so the kind can no longer be told: unlink the
        // edge from whichever port of the remaining end still holds it.
        if (srcKnown) {
            unlinkDestination(d->node(e.srcNode).inputs(), e.srcIndex, edge);
            unlinkDestination(d->node(e.srcNode).outputs(), e.srcIndex, edge);
        }
        if (dstKnown) {
            unlinkSource(d->node(e.dstNode).inputs(), e.dstIndex, edge);
            unlinkSource(d->node(e.dstNode).outputs(), e.dstIndex, edge);
        }
    }
    e.removed = true;
    d->orderEdgeRemoved(edge);
}

void Graph::disconnectInput(int node, int input)
{
    ZRN_ASSERT_INPUT(node, input);
    if (Port* port = d->portAt(node, Side::Input, input))
        removeEdgesAt(*this, *port);
}

void Graph::disconnectInputGroup(int node, int group)
{
    ZRN_ASSERT_NODE(node);
    const Node* n = d->nodeAt(node);
    const int count = n ? int(n->inputs().size()) : 0;
    for (int i = 0; i < count; ++i) {
        if (d->node(node).inputs()[size_t(i)].group == group)
            disconnectInput(node, i);
    }
}

} // namespace Zrn
} // namespace Morvane
