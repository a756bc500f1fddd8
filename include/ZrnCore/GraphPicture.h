#ifndef ZRNCORE_GRAPHPICTURE_H
#define ZRNCORE_GRAPHPICTURE_H

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QString>

#include <functional>

namespace Morvane {
namespace Zrn {

class Graph;

/// Optional per-node decoration of graphPicture(). Either hook may be left
/// empty; each is called once for every node drawn, with the node's
/// reference in the graph.
struct GraphPictureOptions
{
    /// Returns extra Graphviz attributes for the node, as (name, value)
    /// pairs, for example {"style", "filled"}, {"fillcolor", "#ffd0d0"}.
    /// They go on the node's box, or on the cluster of a node with children.
    /// A pair whose name is not a plain identifier (letters, digits and `_`,
    /// not starting with a digit) is left out; values are quoted and escaped.
    std::function<QList<QPair<QString, QString>>(int node)> nodeAttributes;
    /// Returns a note drawn under the node's name (several lines allowed;
    /// any text is escaped), or an empty string for none.
    std::function<QString(int node)> nodeNote;
};

/// Returns a Graphviz DOT digraph of the whole hierarchy of `graph`.
///
/// A node with children is drawn as a cluster holding its children, with its
/// inputs in a box headed "inputs" and its outputs in a box headed
/// "outputs"; a node without children is one box with its inputs on the
/// left and its outputs on the right. Every node shows its name and its
/// reference (`#3`); every port its name (or its index when unnamed) and its
/// group. The root is drawn like any other node, so its inputs and outputs
/// (a renderer's parameters and outputs) are ports of the outermost cluster.
/// Regular edges are solid black, down edges dashed blue, up edges dotted
/// green, each drawn between the two ports it joins.
///
/// Only the live hierarchy is drawn, as graph documents hold it (see
/// writeGraphDocument()): removed nodes and edges are left out. Any name
/// gives valid DOT: names are escaped, control characters are shown as their
/// visible symbols and a line break in a name breaks the label. Changes
/// nothing. The top-level dump of graphvizText() is a different, older text.
ZRNCORE_EXPORT QString graphPicture(const Graph& graph, const GraphPictureOptions& options = GraphPictureOptions());

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_GRAPHPICTURE_H
