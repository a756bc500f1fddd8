// The top level of a graph as Graphviz DOT text, on the debug channel or as
// a string. Both come from graphvizLines(), so they cannot drift apart.

#include <ZrnCore/GraphvizDump.h>

#include <ZrnCore/Graph.h>

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

// The dump, one entry per line, without line ends.
QList<QByteArray> graphvizLines(const Graph& graph)
{
    const int root = Graph::kRootNodeRef;
    const int numTopLevel = graph.numNodes(root);

    QList<QByteArray> lines;
    lines << QByteArray("digraph \"Zrn\" {") << QByteArray("  rankdir=LR;") << QByteArray(" ")
          << QByteArray("  // Nodes");
    for (int k = 0; k < numTopLevel; ++k)
        lines << "  " + quoted(graph.nodeName(graph.getNode(k, root))) + ';';
    lines << QByteArray(" ") << QByteArray("  // Edges");

    // Destinations already printed for the current source node, so that a
    // pair joined by several outputs or edges gives one line.
    QSet<int> printed;
    for (int k = 0; k < numTopLevel; ++k) {
        const int node = graph.getNode(k, root);
        const QByteArray source = quoted(graph.nodeName(node));
        printed.clear();
        const int numOutputs = graph.numOutputs(node);
        for (int o = 0; o < numOutputs; ++o) {
            const int numDestinations = graph.numOutputDestinations(node, o);
            for (int i = 0; i < numDestinations; ++i) {
                // The kind is not checked: an up edge names the root.
                const int dst = graph.edgeDestNode(graph.outputDestination(node, o, i));
                if (printed.contains(dst))
                    continue;
                printed.insert(dst);
                lines << "  " + source + " -> " + quoted(graph.nodeName(dst)) + ';';
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
    const QList<QByteArray> lines = graphvizLines(*graph);
    for (const QByteArray& line : lines)
        qDebug("%s", line.constData());
}

QString graphvizText(const Graph* graph)
{
    Q_ASSERT(graph);
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
