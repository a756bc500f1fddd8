// Connection by name: single edges between ports looked up by name, and the
// bulk operations that pair same-named free ports of two nodes.
//
// Everything here creates edges only through addEdge(), addDownEdge() and
// addUpEdge(), so their refusal rules hold unchanged.

#include "Core_p.h"
#include "GraphDiagnostics_p.h"
#include "Graph_p.h"

namespace Morvane {
namespace Zrn {

namespace {

// The failed lookups of addEdgeByName() and addDownEdgeByName() are part of
// the fixed diagnostic text that hosts match on: they are reported as coming
// from the graph's source file at these lines, whatever the layout of the
// code that makes them.
constexpr const char* kGraphSourcePath = "src/Core/Graph.cpp";
constexpr int kLineSourceOutput = 681;
constexpr int kLineDestInput = 682;
constexpr int kLineChildNode = 717;
constexpr int kLineChildInput = 718;
constexpr int kLineParentInput = 719;

// Which ports take part in a bulk pairing: all of them, or only those of
// one group on each side (-1 selecting the ports in no group).
struct GroupFilter
{
    bool active = false;
    int srcGroup = Graph::kInvalidGroupRef;
    int dstGroup = Graph::kInvalidGroupRef;
};

// The pairing of connectByName() and connectGroups(): for each free input of
// `dstNode`, one attempt from the first eligible output of `srcNode` with its
// name. An output is eligible when it feeds nothing yet or its first
// destination is a regular edge.
void connectSiblings(Graph& g, int srcNode, int dstNode, const GroupFilter& filter)
{
    if (!g.isValidNode(srcNode) || !g.isValidNode(dstNode))
        return;
    const int numInputs = g.numInputs(dstNode);
    for (int i = 0; i < numInputs; ++i) {
        if (g.inputSource(dstNode, i) != Graph::kInvalidEdgeRef)
            continue;
        if (filter.active && g.inputGroup(dstNode, i) != filter.dstGroup)
            continue;
        const QString name = g.inputName(dstNode, i);
        const int numOutputs = g.numOutputs(srcNode);
        for (int o = 0; o < numOutputs; ++o) {
            if (filter.active && g.outputGroup(srcNode, o) != filter.srcGroup)
                continue;
            const bool eligible =
                g.numOutputDestinations(srcNode, o) == 0 || g.isRegularEdge(g.outputDestination(srcNode, o, 0));
            if (eligible && g.outputName(srcNode, o) == name) {
                g.addEdge(srcNode, o, dstNode, i); // one attempt, refused or not
                break;
            }
        }
    }
}

} // namespace

int Graph::addEdgeByName(int srcNode, const QString& srcOutputName, int dstNode, const QString& dstInputName)
{
    const int output = d->portNamed(srcNode, Side::Output, srcOutputName);
    if (!isValidOutput(srcNode, output)) {
        Internal::reportAssertion(kGraphSourcePath, kLineSourceOutput,
                                  "isValidOutput(srcNode, findOutput(srcNode, srcOutputName))",
                                  "Source output '%s' is not valid", srcOutputName.toLocal8Bit().constData());
    }
    const int input = d->portNamed(dstNode, Side::Input, dstInputName);
    if (!isValidInput(dstNode, input)) {
        Internal::reportAssertion(kGraphSourcePath, kLineDestInput,
                                  "isValidInput(dstNode, findInput(dstNode, dstInputName))",
                                  "Dest input '%s' is not valid", dstInputName.toLocal8Bit().constData());
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
        Internal::reportAssertion(kGraphSourcePath, kLineChildNode, "isValidNode(childNode)", "Parent '%s' Child '%s'",
                                  parentText.constData(), childText.constData());
    }
    const int childInput = d->portNamed(childNode, Side::Input, childInputName);
    if (!isValidInput(childNode, childInput)) {
        Internal::reportAssertion(kGraphSourcePath, kLineChildInput,
                                  "isValidInput(childNode, findInput(childNode, childInputName))",
                                  "Parent '%s' Child '%s'", parentText.constData(), childText.constData());
    }
    // A removed child still holds its parent field, so its parent's input
    // is looked up as for a live child.
    const int parent = d->storedParent(childNode);
    const int parentInput = d->portNamed(parent, Side::Input, parentInputName);
    if (!isValidInput(parent, parentInput)) {
        Internal::reportAssertion(
            kGraphSourcePath, kLineParentInput,
            "isValidInput(parentNode(childNode), findInput(parentNode(childNode), parentInputName))",
            "Parent '%s' Child '%s'", parentText.constData(), childText.constData());
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
    connectSiblings(*this, srcNode, dstNode, GroupFilter());
}

void Graph::connectGroups(int srcNode, int srcGroup, int dstNode, int dstGroup)
{
    GroupFilter filter;
    filter.active = true;
    filter.srcGroup = srcGroup;
    filter.dstGroup = dstGroup;
    Internal::traceUnpairedInputs(*this, "connectGroups", srcNode, dstNode, true, srcGroup, dstGroup);
    connectSiblings(*this, srcNode, dstNode, filter);
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
    const int parent = (isValidNode(childNode) ? parentNode(childNode) : kInvalidNodeRef);
    if (!isValidNode(parent))
        return;
    const int numChildInputs = numInputs(childNode);
    for (int i = 0; i < numChildInputs; ++i) {
        if (inputSource(childNode, i) != kInvalidEdgeRef)
            continue;
        const QString name = inputName(childNode, i);
        const int numParentInputs = numInputs(parent);
        for (int j = 0; j < numParentInputs; ++j) {
            const bool eligible = numInputDestinations(parent, j) == 0 || isDownEdge(inputDestination(parent, j, 0));
            if (eligible && inputName(parent, j) == name) {
                addDownEdge(j, childNode, i);
                break;
            }
        }
    }
}

void Graph::connectUpByName(int childNode)
{
    Internal::traceUnpairedUp(*this, childNode);
    const int parent = (isValidNode(childNode) ? parentNode(childNode) : kInvalidNodeRef);
    if (!isValidNode(parent))
        return;
    // The filters test the child output's source and the parent output's
    // destinations; addUpEdge() then tests the other two (the parent
    // output's source, the child output's destinations). Both apply, and
    // the first attempt ends the search even when refused: kept as it is,
    // hosts rely on this pairing.
    const int numChildOutputs = numOutputs(childNode);
    for (int k = 0; k < numChildOutputs; ++k) {
        if (outputSource(childNode, k) != kInvalidEdgeRef)
            continue;
        const QString name = outputName(childNode, k);
        const int numParentOutputs = numOutputs(parent);
        for (int j = 0; j < numParentOutputs; ++j) {
            const bool eligible = numOutputDestinations(parent, j) == 0 || isUpEdge(outputDestination(parent, j, 0));
            if (eligible && outputName(parent, j) == name) {
                addUpEdge(j, childNode, k);
                break;
            }
        }
    }
}

} // namespace Zrn
} // namespace Morvane
