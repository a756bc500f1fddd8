#ifndef ZRNCORE_GRAPHVIZDUMP_H
#define ZRNCORE_GRAPHVIZDUMP_H

#include <ZrnCore/zrncore_export.h>

#include <QtCore/QString>

namespace Morvane {
namespace Zrn {

class Graph;

/// Writes the top level of `graph` to the debug channel (qDebug) as a
/// Graphviz digraph named "Zrn", one message per line: the root's children
/// as nodes, and one edge line per distinct destination of each child's
/// outputs. Nested nodes are not listed; names are not escaped.
/// `graph` must not be null.
ZRNCORE_EXPORT void dumpAsGraphviz(const Graph* graph);

/// Returns the same text as dumpAsGraphviz() writes, each line followed by
/// "\n". `graph` must not be null.
ZRNCORE_EXPORT QString graphvizText(const Graph* graph);

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_GRAPHVIZDUMP_H
