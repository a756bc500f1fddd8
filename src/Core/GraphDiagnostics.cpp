// Why an edge would be refused, and the optional debug messages of the
// category "zrn.graph" about refused edges and by-name misses.
//
// The checks read the graph only through its public queries and test the
// refusals in the order addEdge(), addDownEdge() and addUpEdge() test them,
// so that a check and the operation always agree.

#include "GraphDiagnostics_p.h"
#include "Graph_p.h"

#include <ZrnCore/EdgeCheck.h>
#include <ZrnCore/Graph.h>

namespace Morvane {
namespace Zrn {

namespace {

// Debug messages are off unless the host's logging rules turn them on.
Q_LOGGING_CATEGORY(lcGraph, "zrn.graph", QtInfoMsg)

QString nodeText(const Graph& g, int node)
{
    if (!g.isValidNode(node))
        return QStringLiteral("node %1").arg(node);
    if (node == Graph::kRootNodeRef)
        return QStringLiteral("the root (0)");
    return QStringLiteral("node '%1' (%2)").arg(g.nodeName(node), QString::number(node));
}

QString inputText(const Graph& g, int node, int input)
{
    return QStringLiteral("input '%1' (%2) of %3")
        .arg(g.inputName(node, input), QString::number(input), nodeText(g, node));
}

QString outputText(const Graph& g, int node, int output)
{
    return QStringLiteral("output '%1' (%2) of %3")
        .arg(g.outputName(node, output), QString::number(output), nodeText(g, node));
}

EdgeCheck refuse(EdgeRefusal refusal, const QString& reason)
{
    EdgeCheck check;
    check.refusal = refusal;
    check.reason = reason;
    if (!check.reason.isEmpty())
        check.reason[0] = check.reason.at(0).toUpper(); // a sentence, also when it opens with a node
    return check;
}

// Why `node` has no port `index` on the side named by `side` ("input" or
// "output"), given that it has `count` of them when it is live.
QString missingPort(const Graph& g, const char* role, int node, const char* side, int index)
{
    if (!g.isValidNode(node))
        return QStringLiteral("The %1 node %2 is not a live node.").arg(QLatin1String(role), QString::number(node));
    const int count = QLatin1String(side) == QLatin1String("input") ? g.numInputs(node) : g.numOutputs(node);
    if (node == Graph::kRootNodeRef) {
        return QStringLiteral("The %1 node, the root (0), has no %2 %3 (it has %4).")
            .arg(QLatin1String(role), QLatin1String(side), QString::number(index), QString::number(count));
    }
    return QStringLiteral("The %1 %2 has no %3 %4 (it has %5).")
        .arg(QLatin1String(role), nodeText(g, node), QLatin1String(side), QString::number(index),
             QString::number(count));
}

QString occupiedText(const QString& port, int edge)
{
    return QStringLiteral("The destination %1 already has a source, edge %2; disconnect it first.")
        .arg(port, QString::number(edge));
}

// The name of each EdgeRefusal value, in the order of the enumeration.
constexpr const char* kRefusalNames[] = {"None",           "InvalidReference",     "NotSiblings",    "OccupiedInput",
                                         "OccupiedOutput", "OutputFeedsOtherKind", "WouldCloseCycle"};

template <typename... Args>
QString callText(const char* operation, Args... args)
{
    QStringList parts;
    for (int a : {args...})
        parts << QString::number(a);
    return QStringLiteral("%1(%2)").arg(QLatin1String(operation), parts.join(QStringLiteral(", ")));
}

void logRefusal(const QString& call, const EdgeCheck& check)
{
    if (!check.accepted())
        qCDebug(lcGraph, "%s refused: %s", qPrintable(call), qPrintable(check.reason));
}

} // namespace

const char* edgeRefusalName(EdgeRefusal refusal)
{
    const int i = int(refusal);
    return i >= 0 && i < int(sizeof(kRefusalNames) / sizeof(kRefusalNames[0])) ? kRefusalNames[i] : "";
}

EdgeCheck Graph::checkEdge(int srcNode, int srcOutput, int dstNode, int dstInput) const
{
    if (!isValidOutput(srcNode, srcOutput))
        return refuse(EdgeRefusal::InvalidReference, missingPort(*this, "source", srcNode, "output", srcOutput));
    if (!isValidInput(dstNode, dstInput))
        return refuse(EdgeRefusal::InvalidReference, missingPort(*this, "destination", dstNode, "input", dstInput));
    if (parentNode(srcNode) != parentNode(dstNode)) {
        return refuse(EdgeRefusal::NotSiblings,
                      QStringLiteral("%1 and %2 are not siblings; a regular edge joins two children of one parent "
                                     "(use a down or up edge across a level).")
                          .arg(nodeText(*this, srcNode), nodeText(*this, dstNode)));
    }
    const int source = inputSource(dstNode, dstInput);
    if (source != kInvalidEdgeRef)
        return refuse(EdgeRefusal::OccupiedInput, occupiedText(inputText(*this, dstNode, dstInput), source));
    if (numOutputDestinations(srcNode, srcOutput) > 0) {
        const int first = outputDestination(srcNode, srcOutput, 0);
        if (!isRegularEdge(first)) {
            return refuse(EdgeRefusal::OutputFeedsOtherKind,
                          QStringLiteral("The source %1 already feeds its parent's output through up edge %2; "
                                         "an output feeds either its parent or its siblings, not both.")
                              .arg(outputText(*this, srcNode, srcOutput), QString::number(first)));
        }
    }
    // As addEdge: the order of producers, where it is up to date, rules out
    // most cycles without the search.
    if (!d->orderProvesNoPathAsIs(srcNode, dstNode) && precedes(dstNode, srcNode, true)) {
        if (srcNode == dstNode) {
            return refuse(EdgeRefusal::WouldCloseCycle,
                          QStringLiteral("An edge from %1 to itself would close a cycle.")
                              .arg(nodeText(*this, srcNode)));
        }
        return refuse(EdgeRefusal::WouldCloseCycle,
                      QStringLiteral("%1 lies upstream of %2, so the edge would close a cycle.")
                          .arg(nodeText(*this, dstNode), nodeText(*this, srcNode)));
    }
    return EdgeCheck();
}

EdgeCheck Graph::checkDownEdge(int parentInput, int childNode, int childInput) const
{
    if (!isValidInput(childNode, childInput))
        return refuse(EdgeRefusal::InvalidReference, missingPort(*this, "child", childNode, "input", childInput));
    const int parent = parentNode(childNode);
    if (!isValidNode(parent)) {
        return refuse(EdgeRefusal::InvalidReference,
                      QStringLiteral("The root has no parent to take a down edge from."));
    }
    if (!isValidInput(parent, parentInput))
        return refuse(EdgeRefusal::InvalidReference, missingPort(*this, "parent", parent, "input", parentInput));
    const int source = inputSource(childNode, childInput);
    if (source != kInvalidEdgeRef)
        return refuse(EdgeRefusal::OccupiedInput, occupiedText(inputText(*this, childNode, childInput), source));
    return EdgeCheck();
}

EdgeCheck Graph::checkUpEdge(int parentOutput, int childNode, int childOutput) const
{
    if (!isValidOutput(childNode, childOutput))
        return refuse(EdgeRefusal::InvalidReference, missingPort(*this, "child", childNode, "output", childOutput));
    const int parent = parentNode(childNode);
    if (!isValidNode(parent)) {
        return refuse(EdgeRefusal::InvalidReference, QStringLiteral("The root has no parent to give an up edge to."));
    }
    if (!isValidOutput(parent, parentOutput))
        return refuse(EdgeRefusal::InvalidReference, missingPort(*this, "parent", parent, "output", parentOutput));
    const int source = outputSource(parent, parentOutput);
    if (source != kInvalidEdgeRef) {
        return refuse(EdgeRefusal::OccupiedOutput,
                      QStringLiteral("The parent's %1 already has a source, edge %2; an output takes one up edge.")
                          .arg(outputText(*this, parent, parentOutput), QString::number(source)));
    }
    if (numOutputDestinations(childNode, childOutput) > 0) {
        const int first = outputDestination(childNode, childOutput, 0);
        if (!isUpEdge(first)) {
            return refuse(EdgeRefusal::OutputFeedsOtherKind,
                          QStringLiteral("The child's %1 already feeds siblings through edge %2; "
                                         "an output feeds either its parent or its siblings, not both.")
                              .arg(outputText(*this, childNode, childOutput), QString::number(first)));
        }
    }
    return EdgeCheck();
}

namespace Internal {

void traceAddEdge(const Graph& g, int srcNode, int srcOutput, int dstNode, int dstInput)
{
    if (lcGraph().isDebugEnabled())
        logRefusal(callText("addEdge", srcNode, srcOutput, dstNode, dstInput),
                   g.checkEdge(srcNode, srcOutput, dstNode, dstInput));
}

void traceAddDownEdge(const Graph& g, int parentInput, int childNode, int childInput)
{
    if (lcGraph().isDebugEnabled())
        logRefusal(callText("addDownEdge", parentInput, childNode, childInput),
                   g.checkDownEdge(parentInput, childNode, childInput));
}

void traceAddUpEdge(const Graph& g, int parentOutput, int childNode, int childOutput)
{
    if (lcGraph().isDebugEnabled())
        logRefusal(callText("addUpEdge", parentOutput, childNode, childOutput),
                   g.checkUpEdge(parentOutput, childNode, childOutput));
}

void traceUpEdgeByName(const Graph& g, const QString& parentOutputName, int childNode, const QString& childOutputName)
{
    if (!lcGraph().isDebugEnabled())
        return;
    if (!g.isValidNode(childNode)) {
        qCDebug(lcGraph, "addUpEdgeByName: node %d is not a live node", childNode);
        return;
    }
    const int parent = g.parentNode(childNode);
    if (!g.isValidNode(parent)) {
        qCDebug(lcGraph, "addUpEdgeByName: the root has no parent output '%s'", qPrintable(parentOutputName));
    } else if (g.findOutput(parent, parentOutputName) < 0) {
        qCDebug(lcGraph, "addUpEdgeByName: %s has no output named '%s'", qPrintable(nodeText(g, parent)),
                qPrintable(parentOutputName));
    }
    if (g.findOutput(childNode, childOutputName) < 0) {
        qCDebug(lcGraph, "addUpEdgeByName: %s has no output named '%s'", qPrintable(nodeText(g, childNode)),
                qPrintable(childOutputName));
    }
}

void traceUnpairedInputs(const Graph& g, const char* operation, int srcNode, int dstNode, bool filtered, int srcGroup,
                         int dstGroup)
{
    if (!lcGraph().isDebugEnabled() || !g.isValidNode(srcNode) || !g.isValidNode(dstNode))
        return;
    // The pairing only adds regular edges, which keeps an eligible output
    // eligible and an ineligible one ineligible, so asking beforehand gives
    // what the pairing will find.
    for (int i = 0; i < g.numInputs(dstNode); ++i) {
        if (g.inputSource(dstNode, i) != Graph::kInvalidEdgeRef || (filtered && g.inputGroup(dstNode, i) != dstGroup))
            continue;
        const QString name = g.inputName(dstNode, i);
        bool found = false;
        for (int o = 0; o < g.numOutputs(srcNode) && !found; ++o) {
            if (filtered && g.outputGroup(srcNode, o) != srcGroup)
                continue;
            const bool eligible =
                g.numOutputDestinations(srcNode, o) == 0 || g.isRegularEdge(g.outputDestination(srcNode, o, 0));
            found = eligible && g.outputName(srcNode, o) == name;
        }
        if (!found) {
            qCDebug(lcGraph, "%s: %s stays unconnected: %s has no output of that name free to feed siblings", operation,
                    qPrintable(inputText(g, dstNode, i)), qPrintable(nodeText(g, srcNode)));
        }
    }
}

void traceNamedGroups(const Graph& g, int srcNode, const QString& srcGroupName, int dstNode,
                      const QString& dstGroupName)
{
    if (!lcGraph().isDebugEnabled() || !g.isValidNode(srcNode) || !g.isValidNode(dstNode))
        return;
    if (g.findOutputGroup(srcNode, srcGroupName) < 0) {
        qCDebug(lcGraph, "connectNamedGroups: %s has no output group named '%s'; its ungrouped outputs take part",
                qPrintable(nodeText(g, srcNode)), qPrintable(srcGroupName));
    }
    if (g.findInputGroup(dstNode, dstGroupName) < 0) {
        qCDebug(lcGraph, "connectNamedGroups: %s has no input group named '%s'; its ungrouped inputs take part",
                qPrintable(nodeText(g, dstNode)), qPrintable(dstGroupName));
    }
}

void traceUnpairedDown(const Graph& g, int childNode)
{
    if (!lcGraph().isDebugEnabled() || !g.isValidNode(childNode) || !g.isValidNode(g.parentNode(childNode)))
        return;
    const int parent = g.parentNode(childNode);
    for (int i = 0; i < g.numInputs(childNode); ++i) {
        if (g.inputSource(childNode, i) != Graph::kInvalidEdgeRef)
            continue;
        const QString name = g.inputName(childNode, i);
        bool found = false;
        for (int j = 0; j < g.numInputs(parent) && !found; ++j) {
            const bool eligible =
                g.numInputDestinations(parent, j) == 0 || g.isDownEdge(g.inputDestination(parent, j, 0));
            found = eligible && g.inputName(parent, j) == name;
        }
        if (!found) {
            qCDebug(lcGraph, "connectDownByName: %s stays unconnected: %s has no input of that name",
                    qPrintable(inputText(g, childNode, i)), qPrintable(nodeText(g, parent)));
        }
    }
}

void traceUnpairedUp(const Graph& g, int childNode)
{
    if (!lcGraph().isDebugEnabled() || !g.isValidNode(childNode) || !g.isValidNode(g.parentNode(childNode)))
        return;
    // An up edge changes a parent output's source, never its destinations,
    // so asking beforehand is exact here too.
    const int parent = g.parentNode(childNode);
    for (int k = 0; k < g.numOutputs(childNode); ++k) {
        if (g.outputSource(childNode, k) != Graph::kInvalidEdgeRef)
            continue;
        const QString name = g.outputName(childNode, k);
        bool found = false;
        for (int j = 0; j < g.numOutputs(parent) && !found; ++j) {
            const bool eligible =
                g.numOutputDestinations(parent, j) == 0 || g.isUpEdge(g.outputDestination(parent, j, 0));
            found = eligible && g.outputName(parent, j) == name;
        }
        if (!found) {
            qCDebug(lcGraph, "connectUpByName: %s is not passed up: %s has no output of that name",
                    qPrintable(outputText(g, childNode, k)), qPrintable(nodeText(g, parent)));
        }
    }
}

} // namespace Internal
} // namespace Zrn
} // namespace Morvane
