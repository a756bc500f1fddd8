// The top level of a graph as Graphviz DOT text, on the debug channel or as
// a string. Both come from graphvizLines(), so they cannot drift apart.

#include <ZrnCore/GraphvizDump.h>

#include <ZrnCore/Graph.h>

#include "Graph_p.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QtGlobal>

namespace Morvane {
namespace Zrn {

namespace {

// The name in double quotation marks, as local 8-bit text, unescaped.
QByteArray quoted(const QString& name)
{
    return QByteArray("\"") + name.toLocal8Bit() + '"';
}

// The dump, one entry per line, without line ends. It reads the records as
// they stand: a node that removeChildNode() left among the root's children
// is listed like any other (its edges are gone), and no removed flag is
// tested. A children entry that names no slot is passed over, and so is an
// edge whose destination names none: there is no name to print for either.
// A graph purged after its root was removed gives the fixed lines only.
QList<QByteArray> graphvizLines(const Graph& graph)
{
    const auto& g = GraphStorage::of(graph); // Graph::Impl, named only by the library's friend
    const IndexList& topLevel = g.storedChildren(Graph::kRootNodeRef);

    QList<QByteArray> lines;
    lines << QByteArray("digraph \"Zrn\" {") << QByteArray("  rankdir=LR;") << QByteArray(" ")
          << QByteArray("  // Nodes");
    for (int node : topLevel) {
        if (g.namesSlot(node))
            lines << "  " + quoted(g.node(node).name) + ';';
    }
    lines << QByteArray(" ") << QByteArray("  // Edges");

    // Destinations already printed for the current source node, so that a
    // pair joined by several outputs or edges gives one line.
    QSet<int> printed;
    for (int node : topLevel) {
        if (!g.namesSlot(node))
            continue;
        const QByteArray source = quoted(g.node(node).name);
        printed.clear();
        for (const Port& output : g.node(node).outputs()) {
            for (int edge : output.destinations) {
                if (!inRange(edge, g.edges.size()))
                    continue;
                // The kind is not checked: an up edge names the root.
                const int dst = g.edge(edge).dstNode;
                if (!g.namesSlot(dst) || printed.contains(dst))
                    continue;
                printed.insert(dst);
                lines << "  " + source + " -> " + quoted(g.node(dst).name) + ';';
            }
        }
    }
    lines << QByteArray("}");
    return lines;
}

} // namespace

void dumpAsGraphviz(const Graph* graph)
{
    Q_ASSERT(graph);
    if (!graph)
        return;
    const QList<QByteArray> lines = graphvizLines(*graph);
    for (const QByteArray& line : lines)
        qDebug("%s", line.constData());
}

QString graphvizText(const Graph* graph)
{
    Q_ASSERT(graph);
    if (!graph)
        return QString();
    const QList<QByteArray> lines = graphvizLines(*graph);
    QString text;
    for (const QByteArray& line : lines) {
        text += QString::fromLocal8Bit(line);
        text += QLatin1Char('\n');
    }
    return text;
}

} // namespace Zrn
} // namespace Morvane
