#ifndef ZRNCORE_GRAPHVIZDUMP_H
#define ZRNCORE_GRAPHVIZDUMP_H

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QString>

namespace Morvane {
namespace Zrn {

class Graph;

/// Writes the top level of `graph` to the debug channel (qDebug) as a
/// Graphviz digraph, one message per line:
///
///     digraph "Zrn" {
///       rankdir=LR;
///     (a line holding one blank)
///       // Nodes
///       "<name>";                 one per child of the root, in child order
///     (a line holding one blank)
///       // Edges
///       "<source>" -> "<dest>";   see below
///     }
///
/// For each child of the root, in order, its outputs are read in index order
/// and their edges oldest first; each distinct destination node gives one
/// line, in the order first met. Nested nodes are not listed, and the edge
/// kind is not checked, so an up edge into the root's output names the root
/// (empty by default). Names are written as local 8-bit text, unescaped.
/// Changes nothing. `graph` must not be null: a null pointer trips a
/// Q_ASSERT in debug builds and writes nothing in release builds.
ZRNCORE_EXPORT void dumpAsGraphviz(const Graph* graph);

/// Returns the lines that dumpAsGraphviz() writes, each followed by "\n",
/// read back from local 8-bit text. `graph` must not be null: a null
/// pointer trips a Q_ASSERT in debug builds and gives an empty string in
/// release builds.
ZRNCORE_EXPORT QString graphvizText(const Graph* graph);

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_GRAPHVIZDUMP_H
