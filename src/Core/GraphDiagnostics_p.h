// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_GRAPHDIAGNOSTICS_P_H
#define ZRNCORE_GRAPHDIAGNOSTICS_P_H

// The graph's optional debug messages on the logging category "zrn.graph":
// why an edge was refused, and which by-name pairings found no partner.
// The category's debug level is off unless the host turns it on, e.g. with
// QLoggingCategory::setFilterRules("zrn.graph.debug=true"); then every
// message is one qCDebug line. Each hook first asks whether the category is
// on and does nothing else when it is not, so the operations cost the same
// and report the same as without it.

#include <ZrnCore/Graph.h>

#include <QtCore/QLoggingCategory>
#include <QtCore/QString>

namespace Morvane {
namespace Zrn {
namespace Internal {

// Called first by addEdge(), addDownEdge() and addUpEdge() with their own
// arguments: logs the refusal that the operation is about to make, if any.
void traceAddEdge(const Graph& g, int srcNode, int srcOutput, int dstNode, int dstInput);
void traceAddDownEdge(const Graph& g, int parentInput, int childNode, int childInput);
void traceAddUpEdge(const Graph& g, int parentOutput, int childNode, int childOutput);

// Called first by the by-name operations that otherwise say nothing when a
// name matches no port or group.
void traceUpEdgeByName(const Graph& g, const QString& parentOutputName, int childNode, const QString& childOutputName);
// `filtered` limits the pairing to outputs of `srcGroup` and inputs of
// `dstGroup`, as connectGroups() does; `operation` names the caller.
void traceUnpairedInputs(const Graph& g, const char* operation, int srcNode, int dstNode, bool filtered, int srcGroup,
                         int dstGroup);
void traceNamedGroups(const Graph& g, int srcNode, const QString& srcGroupName, int dstNode,
                      const QString& dstGroupName);
void traceUnpairedDown(const Graph& g, int childNode);
void traceUnpairedUp(const Graph& g, int childNode);

} // namespace Internal
} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_GRAPHDIAGNOSTICS_P_H
