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

// Appends `count` default ports; a count of 0 or less appends none.
void appendPorts(std::vector<Port>& ports, int count)
{
    if (count > 0)
        ports.resize(ports.size() + size_t(count));
}

int firstNamed(const std::vector<Port>& ports, const QString& name)
{
    for (size_t i = 0; i < ports.size(); ++i) {
        if (ports[i].name == name)
            return int(i);
    }
    return -1;
}

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
void unlinkDestination(std::vector<Port>& ports, int index, int edge)
{
    if (!inRange(index, ports.size()))
        return;
    std::vector<int>& dests = ports[size_t(index)].destinations;
    const auto it = std::find(dests.begin(), dests.end(), edge);
    if (it != dests.end())
        dests.erase(it);
}

// Clears the source of port `index` of `ports`, if that port exists and is
// fed by `edge`.
void unlinkSource(std::vector<Port>& ports, int index, int edge)
{
    if (inRange(index, ports.size()) && ports[size_t(index)].source == edge)
        ports[size_t(index)].source = Graph::kInvalidEdgeRef;
}

} // namespace

int Graph::Impl::inputNamed(int n, const QString& name) const
{
    return inStorage(n) ? firstNamed(node(n).inputs, name) : -1;
}

int Graph::Impl::outputNamed(int n, const QString& name) const
{
    return inStorage(n) ? firstNamed(node(n).outputs, name) : -1;
}

int Graph::Impl::inputGroupNamed(int n, const QString& name) const
{
    return inStorage(n) ? firstNamed(node(n).inputGroups, name) : -1;
}

int Graph::Impl::outputGroupNamed(int n, const QString& name) const
{
    return inStorage(n) ? firstNamed(node(n).outputGroups, name) : -1;
}

void removeEdgesAt(Graph& graph, Port& port)
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
    Q_ASSERT_X(d->validNode(n) && inRange(i, d->node(n).inputs.size()), Q_FUNC_INFO, "invalid input")
#define ZRN_ASSERT_OUTPUT(n, o) \
    Q_ASSERT_X(d->validNode(n) && inRange(o, d->node(n).outputs.size()), Q_FUNC_INFO, "invalid output")

Graph::Graph()
    : d(new Impl)
{
    d->nodes.emplace_back(); // the root: empty name, parent -1, value -1
}

Graph::~Graph()
{
    delete d;
}

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

int Graph::addNode(const QString& name, int numInputs, int numOutputs, int parent)
{
    ZRN_ASSERT_NODE(parent);
    d->changed();
    const int ref = int(d->nodes.size());
    Node node;
    node.name = name;
    node.parent = parent;
    d->nodes.push_back(std::move(node));
    d->node(parent).children.push_back(ref);
    Node& created = d->node(ref);
    appendPorts(created.inputs, numInputs);
    appendPorts(created.outputs, numOutputs);
    return ref;
}

int Graph::numNodes(int parent) const
{
    ZRN_ASSERT_NODE(parent);
    return int(d->node(parent).children.size());
}

int Graph::getNode(int index, int parent) const
{
    ZRN_ASSERT_NODE(parent);
    Q_ASSERT_X(inRange(index, d->node(parent).children.size()), Q_FUNC_INFO, "child position out of range");
    return d->node(parent).children[size_t(index)];
}

int Graph::findNode(const QString& name, int parent) const
{
    ZRN_ASSERT_NODE(parent);
    // purge() can leave entries in a children list that name no slot (-1);
    // they have no name to match.
    for (int child : d->node(parent).children) {
        if (d->inStorage(child) && d->node(child).name == name)
            return child;
    }
    return kInvalidNodeRef;
}

int Graph::indexOfNode(int node) const
{
    Q_ASSERT_X(inRange(node, d->nodes.size()), Q_FUNC_INFO, "node reference out of range");
    const int parent = d->parentOf(node);
    // purge() leaves parent fields as they were, so the old parent slot may
    // lie beyond the compacted storage: then there is no list to look in.
    if (!inRange(parent, d->nodes.size()))
        return -1;
    const std::vector<int>& siblings = d->node(parent).children;
    const auto it = std::find(siblings.begin(), siblings.end(), node);
    return it == siblings.end() ? -1 : int(it - siblings.begin());
}

int Graph::parentNode(int node) const
{
    Q_ASSERT_X(inRange(node, d->nodes.size()), Q_FUNC_INFO, "node reference out of range");
    return d->parentOf(node);
}

bool Graph::contains(int ancestor, int node) const
{
    Q_ASSERT_X(inRange(node, d->nodes.size()), Q_FUNC_INFO, "node reference out of range");
    // In a tree the climb ends at the root within numNodesGlobal() steps.
    // After purge(), which leaves parent fields as they were, a stale parent
    // may lie outside the storage or lead round in a circle: the climb then
    // stops there and answers false rather than read past the end or never
    // return.
    size_t steps = d->nodes.size();
    for (int p = d->parentOf(node); p != kInvalidNodeRef; p = d->parentOf(p)) {
        if (p == ancestor)
            return true;
        if (!inRange(p, d->nodes.size()) || steps-- == 0)
            return false;
    }
    return false;
}

QString Graph::nodeName(int node) const
{
    ZRN_ASSERT_NODE(node);
    return d->node(node).name;
}

void Graph::setNodeName(int node, const QString& name)
{
    ZRN_ASSERT_NODE(node);
    d->changed();
    d->node(node).name = name;
}

int Graph::nodeValue(int node) const
{
    ZRN_ASSERT_NODE(node);
    return d->node(node).value;
}

void Graph::setNodeValue(int node, int value)
{
    ZRN_ASSERT_NODE(node);
    d->changed();
    d->node(node).value = value;
}

bool Graph::isValidNode(int node) const
{
    return d->validNode(node);
}

// ---------------------------------------------------------------- ports and groups

int Graph::addInput(int node, const QString& name, int group)
{
    ZRN_ASSERT_NODE(node);
    d->changed();
    std::vector<Port>& inputs = d->node(node).inputs;
    inputs.emplace_back();
    inputs.back().name = name;
    inputs.back().group = group;
    return int(inputs.size()) - 1;
}

int Graph::addOutput(int node, const QString& name, int group)
{
    ZRN_ASSERT_NODE(node);
    d->changed();
    std::vector<Port>& outputs = d->node(node).outputs;
    outputs.emplace_back();
    outputs.back().name = name;
    outputs.back().group = group;
    return int(outputs.size()) - 1;
}

int Graph::addInputGroup(int node, const QString& name)
{
    ZRN_ASSERT_NODE(node);
    d->changed();
    d->node(node).inputGroups.push_back(name);
    return int(d->node(node).inputGroups.size()) - 1;
}

int Graph::addOutputGroup(int node, const QString& name)
{
    ZRN_ASSERT_NODE(node);
    d->changed();
    d->node(node).outputGroups.push_back(name);
    return int(d->node(node).outputGroups.size()) - 1;
}

int Graph::numInputs(int node) const
{
    ZRN_ASSERT_NODE(node);
    return int(d->node(node).inputs.size());
}

int Graph::numOutputs(int node) const
{
    ZRN_ASSERT_NODE(node);
    return int(d->node(node).outputs.size());
}

int Graph::numInputGroups(int node) const
{
    ZRN_ASSERT_NODE(node);
    return int(d->node(node).inputGroups.size());
}

int Graph::numOutputGroups(int node) const
{
    ZRN_ASSERT_NODE(node);
    return int(d->node(node).outputGroups.size());
}

int Graph::findInput(int node, const QString& name) const
{
    ZRN_ASSERT_NODE(node);
    return firstNamed(d->node(node).inputs, name);
}

int Graph::findOutput(int node, const QString& name) const
{
    ZRN_ASSERT_NODE(node);
    return firstNamed(d->node(node).outputs, name);
}

int Graph::findInputGroup(int node, const QString& name) const
{
    ZRN_ASSERT_NODE(node);
    return firstNamed(d->node(node).inputGroups, name);
}

int Graph::findOutputGroup(int node, const QString& name) const
{
    ZRN_ASSERT_NODE(node);
    return firstNamed(d->node(node).outputGroups, name);
}

QString Graph::inputName(int node, int input) const
{
    ZRN_ASSERT_INPUT(node, input);
    return d->node(node).inputs[size_t(input)].name;
}

QString Graph::outputName(int node, int output) const
{
    ZRN_ASSERT_OUTPUT(node, output);
    return d->node(node).outputs[size_t(output)].name;
}

void Graph::setInputName(int node, int input, const QString& name)
{
    ZRN_ASSERT_INPUT(node, input);
    d->changed();
    d->node(node).inputs[size_t(input)].name = name;
}

void Graph::setOutputName(int node, int output, const QString& name)
{
    ZRN_ASSERT_OUTPUT(node, output);
    d->changed();
    d->node(node).outputs[size_t(output)].name = name;
}

int Graph::inputGroup(int node, int input) const
{
    ZRN_ASSERT_INPUT(node, input);
    return d->node(node).inputs[size_t(input)].group;
}

int Graph::outputGroup(int node, int output) const
{
    ZRN_ASSERT_OUTPUT(node, output);
    return d->node(node).outputs[size_t(output)].group;
}

QString Graph::inputGroupName(int node, int group) const
{
    Q_ASSERT_X(isValidInputGroup(node, group), Q_FUNC_INFO, "invalid input group");
    return d->node(node).inputGroups[size_t(group)];
}

QString Graph::outputGroupName(int node, int group) const
{
    Q_ASSERT_X(isValidOutputGroup(node, group), Q_FUNC_INFO, "invalid output group");
    return d->node(node).outputGroups[size_t(group)];
}

void Graph::setInputGroupName(int node, int group, const QString& name)
{
    Q_ASSERT_X(isValidInputGroup(node, group), Q_FUNC_INFO, "invalid input group");
    d->changed();
    d->node(node).inputGroups[size_t(group)] = name;
}

void Graph::setOutputGroupName(int node, int group, const QString& name)
{
    Q_ASSERT_X(isValidOutputGroup(node, group), Q_FUNC_INFO, "invalid output group");
    d->changed();
    d->node(node).outputGroups[size_t(group)] = name;
}

bool Graph::isValidInput(int node, int input) const
{
    return d->validNode(node) && inRange(input, d->node(node).inputs.size());
}

bool Graph::isValidOutput(int node, int output) const
{
    return d->validNode(node) && inRange(output, d->node(node).outputs.size());
}

bool Graph::isValidInputGroup(int node, int group) const
{
    return d->validNode(node) && inRange(group, d->node(node).inputGroups.size());
}

bool Graph::isValidOutputGroup(int node, int group) const
{
    return d->validNode(node) && inRange(group, d->node(node).outputGroups.size());
}

// ---------------------------------------------------------------- edges

int Graph::edgeSourceNode(int edge) const
{
    Q_ASSERT_X(inRange(edge, d->edges.size()), Q_FUNC_INFO, "edge reference out of range");
    return d->edge(edge).srcNode;
}

int Graph::edgeSourceIndex(int edge) const
{
    Q_ASSERT_X(inRange(edge, d->edges.size()), Q_FUNC_INFO, "edge reference out of range");
    return d->edge(edge).srcIndex;
}

int Graph::edgeDestNode(int edge) const
{
    Q_ASSERT_X(inRange(edge, d->edges.size()), Q_FUNC_INFO, "edge reference out of range");
    return d->edge(edge).dstNode;
}

int Graph::edgeDestIndex(int edge) const
{
    Q_ASSERT_X(inRange(edge, d->edges.size()), Q_FUNC_INFO, "edge reference out of range");
    return d->edge(edge).dstIndex;
}

bool Graph::isValidEdge(int edge) const
{
    return d->validEdge(edge);
}

bool Graph::isRegularEdge(int edge) const
{
    return d->validEdge(edge) && d->regular(d->edge(edge));
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
    ZRN_ASSERT_INPUT(node, input);
    return d->node(node).inputs[size_t(input)].source;
}

int Graph::outputSource(int node, int output) const
{
    ZRN_ASSERT_OUTPUT(node, output);
    return d->node(node).outputs[size_t(output)].source;
}

int Graph::numInputDestinations(int node, int input) const
{
    ZRN_ASSERT_INPUT(node, input);
    return int(d->node(node).inputs[size_t(input)].destinations.size());
}

int Graph::numOutputDestinations(int node, int output) const
{
    ZRN_ASSERT_OUTPUT(node, output);
    return int(d->node(node).outputs[size_t(output)].destinations.size());
}

int Graph::inputDestination(int node, int input, int index) const
{
    Q_ASSERT_X(isValidInputDestination(node, input, index), Q_FUNC_INFO, "invalid input destination");
    return d->node(node).inputs[size_t(input)].destinations[size_t(index)];
}

int Graph::outputDestination(int node, int output, int index) const
{
    Q_ASSERT_X(isValidOutputDestination(node, output, index), Q_FUNC_INFO, "invalid output destination");
    return d->node(node).outputs[size_t(output)].destinations[size_t(index)];
}

bool Graph::isValidInputDestination(int node, int input, int index) const
{
    return isValidInput(node, input) && inRange(index, d->node(node).inputs[size_t(input)].destinations.size());
}

bool Graph::isValidOutputDestination(int node, int output, int index) const
{
    return isValidOutput(node, output) && inRange(index, d->node(node).outputs[size_t(output)].destinations.size());
}

int Graph::addEdge(int srcNode, int srcOutput, int dstNode, int dstInput)
{
    Internal::traceAddEdge(*this, srcNode, srcOutput, dstNode, dstInput);
    // Guard: connection by name hands us -1 after a failed lookup.
    if (!isValidOutput(srcNode, srcOutput) || !isValidInput(dstNode, dstInput))
        return kInvalidEdgeRef;
    // Guard: an edge between non-siblings would be misclassified by every
    // later kind test, removeEdge() included.
    if (d->parentOf(srcNode) != d->parentOf(dstNode))
        return kInvalidEdgeRef;

    Port& in = d->node(dstNode).inputs[size_t(dstInput)];
    if (in.source != kInvalidEdgeRef)
        return kInvalidEdgeRef;
    {
        const std::vector<int>& out = d->node(srcNode).outputs[size_t(srcOutput)].destinations;
        if (!out.empty() && !isRegularEdge(out.front()))
            return kInvalidEdgeRef;
    }
    if (precedes(dstNode, srcNode, true))
        return kInvalidEdgeRef;

    d->changed();
    const int id = int(d->edges.size());
    d->edges.push_back(Edge{srcNode, srcOutput, dstNode, dstInput, false});
    d->node(srcNode).outputs[size_t(srcOutput)].destinations.push_back(id);
    d->node(dstNode).inputs[size_t(dstInput)].source = id;
    return id;
}

int Graph::addDownEdge(int parentInput, int childNode, int childInput)
{
    Internal::traceAddDownEdge(*this, parentInput, childNode, childInput);
    if (!isValidInput(childNode, childInput))
        return kInvalidEdgeRef;
    const int parent = d->parentOf(childNode);
    if (!isValidInput(parent, parentInput))
        return kInvalidEdgeRef;

    Port& in = d->node(childNode).inputs[size_t(childInput)];
    if (in.source != kInvalidEdgeRef)
        return kInvalidEdgeRef;

    d->changed();
    const int id = int(d->edges.size());
    d->edges.push_back(Edge{parent, parentInput, childNode, childInput, false});
    d->node(parent).inputs[size_t(parentInput)].destinations.push_back(id);
    d->node(childNode).inputs[size_t(childInput)].source = id;
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

    if (d->node(parent).outputs[size_t(parentOutput)].source != kInvalidEdgeRef)
        return kInvalidEdgeRef;
    {
        const std::vector<int>& out = d->node(childNode).outputs[size_t(childOutput)].destinations;
        if (!out.empty() && !isUpEdge(out.front()))
            return kInvalidEdgeRef;
    }

    d->changed();
    const int id = int(d->edges.size());
    d->edges.push_back(Edge{childNode, childOutput, parent, parentOutput, false});
    d->node(childNode).outputs[size_t(childOutput)].destinations.push_back(id);
    d->node(parent).outputs[size_t(parentOutput)].source = id;
    return id;
}

void Graph::removeEdge(int edge)
{
    if (!d->validEdge(edge))
        return;
    d->changed();
    Edge& e = d->edge(edge);
    const bool srcKnown = d->inStorage(e.srcNode);
    const bool dstKnown = d->inStorage(e.dstNode);

    if (srcKnown && dstKnown) {
        // The two ports, by kind in this order: regular, down, otherwise up.
        Node& src = d->node(e.srcNode);
        Node& dst = d->node(e.dstNode);
        if (d->regular(e)) {
            unlinkDestination(src.outputs, e.srcIndex, edge);
            unlinkSource(dst.inputs, e.dstIndex, edge);
        } else if (d->down(e)) {
            unlinkDestination(src.inputs, e.srcIndex, edge);
            unlinkSource(dst.inputs, e.dstIndex, edge);
        } else {
            unlinkDestination(src.outputs, e.srcIndex, edge);
            unlinkSource(dst.outputs, e.dstIndex, edge);
        }
    } else {
        // An end was purged away (its port had been erased while still
        // connected), so the kind can no longer be told: unlink the edge from
        // whichever port of the remaining end still holds it.
        if (srcKnown) {
            unlinkDestination(d->node(e.srcNode).inputs, e.srcIndex, edge);
            unlinkDestination(d->node(e.srcNode).outputs, e.srcIndex, edge);
        }
        if (dstKnown) {
            unlinkSource(d->node(e.dstNode).inputs, e.dstIndex, edge);
            unlinkSource(d->node(e.dstNode).outputs, e.dstIndex, edge);
        }
    }
    e.removed = true;
}

void Graph::disconnectInput(int node, int input)
{
    ZRN_ASSERT_INPUT(node, input);
    removeEdgesAt(*this, d->node(node).inputs[size_t(input)]);
}

void Graph::disconnectInputGroup(int node, int group)
{
    ZRN_ASSERT_NODE(node);
    const int count = int(d->node(node).inputs.size());
    for (int i = 0; i < count; ++i) {
        if (d->node(node).inputs[size_t(i)].group == group)
            disconnectInput(node, i);
    }
}

} // namespace Zrn
} // namespace Morvane
