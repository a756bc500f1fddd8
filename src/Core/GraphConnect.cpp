// Connection by name: single edges between ports looked up by name, and the
// bulk operations that pair same-named free ports of two nodes.
//
// Everything here creates edges only through addEdge(), addDownEdge() and
// addUpEdge(), so their refusal rules hold unchanged.

#include "GraphDiagnostics_p.h"
#include "Graph_p.h"
#include "ReportCatalogue_p.h"

namespace Morvane {
namespace Zrn {

namespace {

// The pairing of connectByName() and connectGroups(): free inputs of
// `dstNode` from outputs of `srcNode` that feed nothing or feed siblings.
Pairing siblingPairing(int srcNode, int dstNode)
{
    Pairing pairing;
    pairing.kind = Pairing::Kind::Regular;
    pairing.fromNode = srcNode;
    pairing.fromSide = Side::Output;
    pairing.toNode = dstNode;
    pairing.toSide = Side::Input;
    return pairing;
}

// The pairing of connectDownByName() (inputs) and connectUpByName()
// (outputs): free ports of the child from the parent's ports of that side.
Pairing hierarchyPairing(Pairing::Kind kind, int parent, int child, Side side)
{
    Pairing pairing;
    pairing.kind = kind;
    pairing.fromNode = parent;
    pairing.fromSide = side;
    pairing.toNode = child;
    pairing.toSide = side;
    return pairing;
}

// The parent of `child` when both are live nodes, otherwise kInvalidNodeRef:
// the precondition of connectDownByName() and connectUpByName().
int liveParent(const Graph& graph, int child)
{
    const int parent = graph.isValidNode(child) ? graph.parentNode(child) : Graph::kInvalidNodeRef;
    return graph.isValidNode(parent) ? parent : Graph::kInvalidNodeRef;
}

} // namespace

void Graph::Impl::pairByName(Graph& graph, const Pairing& pairing)
{
    const auto firstIsOfKind = [this, &pairing](int e) {
        if (!validEdge(e))
            return false;
        switch (pairing.kind) {
        case Pairing::Kind::Regular: return regular(edge(e));
        case Pairing::Kind::Down: return down(edge(e));
        case Pairing::Kind::Up: return up(edge(e));
        }
        return false;
    };
    const int numTo = int(node(pairing.toNode).ports(pairing.toSide).size());
    for (int t = 0; t < numTo; ++t) {
        const Port& to = node(pairing.toNode).ports(pairing.toSide)[size_t(t)];
        if (to.source != kInvalidEdgeRef)
            continue;
        if (pairing.grouped && to.group != pairing.toGroup)
            continue;
        const int name = to.name;
        const int numFrom = int(node(pairing.fromNode).ports(pairing.fromSide).size());
        for (int f = 0; f < numFrom; ++f) {
            const Port& from = node(pairing.fromNode).ports(pairing.fromSide)[size_t(f)];
            if (pairing.grouped && from.group != pairing.fromGroup)
                continue;
            const bool eligible = from.destinations.empty() || firstIsOfKind(from.destinations.front());
            if (!eligible || !portNames.same(from.name, name))
                continue;
            // One attempt, refused or not.
            switch (pairing.kind) {
            case Pairing::Kind::Regular: graph.addEdge(pairing.fromNode, f, pairing.toNode, t); break;
            case Pairing::Kind::Down: graph.addDownEdge(f, pairing.toNode, t); break;
            case Pairing::Kind::Up: graph.addUpEdge(f, pairing.toNode, t); break;
            }
            break;
        }
    }
}

int Graph::addEdgeByName(int srcNode, const QString& srcOutputName, int dstNode, const QString& dstInputName)
{
    const int output = d->portNamed(srcNode, Side::Output, srcOutputName);
    if (!isValidOutput(srcNode, output)) {
        Internal::report(&Internal::Reports::kSourceOutputByName, srcOutputName.toLocal8Bit().constData());
    }
    const int input = d->portNamed(dstNode, Side::Input, dstInputName);
    if (!isValidInput(dstNode, input)) {
        Internal::report(&Internal::Reports::kDestInputByName, dstInputName.toLocal8Bit().constData());
    }
    return addEdge(srcNode, output, dstNode, input);
}

int Graph::addDownEdgeByName(const QString& parentInputName, int childNode, const QString& childInputName)
{
    // The three checks print the two port names, never a node name, though
    // the message says "Parent" and "Child": kept as it is.
    const QByteArray parentText = parentInputName.toLocal8Bit();
    const QByteArray childText = childInputName.toLocal8Bit();

    if (!isValidNode(childNode)) {
        Internal::report(&Internal::Reports::kDownChildNode, parentText.constData(), childText.constData());
    }
    const int childInput = d->portNamed(childNode, Side::Input, childInputName);
    if (!isValidInput(childNode, childInput)) {
        Internal::report(&Internal::Reports::kDownChildInput, parentText.constData(), childText.constData());
    }
    // A removed child still holds its parent field, so its parent's input
    // is looked up as for a live child.
    const int parent = d->storedParent(childNode);
    const int parentInput = d->portNamed(parent, Side::Input, parentInputName);
    if (!isValidInput(parent, parentInput)) {
        Internal::report(&Internal::Reports::kDownParentInput, parentText.constData(), childText.constData());
    }
    return addDownEdge(parentInput, childNode, childInput);
}

int Graph::addUpEdgeByName(const QString& parentOutputName, int childNode, const QString& childOutputName)
{
    // Unlike the two above, this one checks and reports nothing: kept so,
    // hosts call it where a missing port is expected.
    Internal::traceUpEdgeByName(*this, parentOutputName, childNode, childOutputName);
    const int parentOutput = d->portNamed(d->storedParent(childNode), Side::Output, parentOutputName);
    const int childOutput = d->portNamed(childNode, Side::Output, childOutputName);
    return addUpEdge(parentOutput, childNode, childOutput);
}

void Graph::connectByName(int srcNode, int dstNode)
{
    Internal::traceUnpairedInputs(*this, "connectByName", srcNode, dstNode, false, kInvalidGroupRef, kInvalidGroupRef);
    if (!isValidNode(srcNode) || !isValidNode(dstNode))
        return;
    d->pairByName(*this, siblingPairing(srcNode, dstNode));
}

void Graph::connectGroups(int srcNode, int srcGroup, int dstNode, int dstGroup)
{
    Internal::traceUnpairedInputs(*this, "connectGroups", srcNode, dstNode, true, srcGroup, dstGroup);
    if (!isValidNode(srcNode) || !isValidNode(dstNode))
        return;
    Pairing pairing = siblingPairing(srcNode, dstNode);
    pairing.grouped = true;
    pairing.fromGroup = srcGroup;
    pairing.toGroup = dstGroup;
    d->pairByName(*this, pairing);
}

void Graph::connectNamedGroups(int srcNode, const QString& srcGroupName, int dstNode, const QString& dstGroupName)
{
    if (!isValidNode(srcNode) || !isValidNode(dstNode))
        return;
    // An unknown name gives -1, which selects the ports in no group.
    Internal::traceNamedGroups(*this, srcNode, srcGroupName, dstNode, dstGroupName);
    connectGroups(srcNode, findOutputGroup(srcNode, srcGroupName), dstNode, findInputGroup(dstNode, dstGroupName));
}

void Graph::connectDownByName(int childNode)
{
    Internal::traceUnpairedDown(*this, childNode);
    const int parent = liveParent(*this, childNode);
    if (parent == kInvalidNodeRef)
        return;
    d->pairByName(*this, hierarchyPairing(Pairing::Kind::Down, parent, childNode, Side::Input));
}

void Graph::connectUpByName(int childNode)
{
    Internal::traceUnpairedUp(*this, childNode);
    const int parent = liveParent(*this, childNode);
    if (parent == kInvalidNodeRef)
        return;
    // The filters test the child output's source and the parent output's
    // destinations; addUpEdge() then tests the other two (the parent
    // output's source, the child output's destinations). Both apply, and
    // the first attempt ends the search even when refused: kept as it is,
    // hosts rely on this pairing.
    d->pairByName(*this, hierarchyPairing(Pairing::Kind::Up, parent, childNode, Side::Output));
}

} // namespace Zrn
} // namespace Morvane
