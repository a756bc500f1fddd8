// The whole hierarchy of a graph as Graphviz DOT text: clusters for nodes
// with children, HTML-like tables for ports, one line per edge.

#include <ZrnCore/GraphPicture.h>

#include <ZrnCore/Graph.h>

#include "GraphTree_p.h"

#include <QtCore/QLatin1String>

namespace Morvane {
namespace Zrn {

namespace {

const QLatin1String kIndent("  ");

// `text` for an HTML-like label: markup characters become entities, a line
// break becomes <br/>, and characters that DOT's label parser would refuse
// (C0 controls, DEL, noncharacters, unpaired surrogates) become a visible
// symbol instead.
QString html(const QString& text)
{
    QString out;
    out.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const ushort u = c.unicode();
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            out += c;
            out += text.at(++i);
            continue;
        }
        switch (u) {
        case '&': out += QLatin1String("&amp;"); continue;
        case '<': out += QLatin1String("&lt;"); continue;
        case '>': out += QLatin1String("&gt;"); continue;
        case '"': out += QLatin1String("&quot;"); continue;
        case '\'': out += QLatin1String("&#39;"); continue;
        case '\n': out += QLatin1String("<br/>"); continue;
        default: break;
        }
        if (u < 0x20)
            out += QChar(ushort(0x2400 + u)); // the "symbol for" block: U+2400 NUL .. U+241F
        else if (u == 0x7f)
            out += QChar(ushort(0x2421));
        else if (c.isSurrogate() || u == 0xfffe || u == 0xffff)
            out += QChar(ushort(0xfffd));
        else
            out += c;
    }
    return out;
}

// `text` as a DOT double-quoted string.
QString quoted(const QString& text)
{
    QString out = QStringLiteral("\"");
    for (const QChar c : text) {
        if (c == QLatin1Char('"') || c == QLatin1Char('\\'))
            out += QLatin1Char('\\');
        if (c == QLatin1Char('\n'))
            out += QLatin1String("\\n");
        else if (c != QLatin1Char('\r'))
            out += c;
    }
    return out + QLatin1Char('"');
}

bool isIdentifier(const QString& name)
{
    if (name.isEmpty() || name.at(0).isDigit())
        return false;
    for (const QChar c : name) {
        const ushort u = c.unicode();
        const bool ok = (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_';
        if (!ok)
            return false;
    }
    return true;
}

QString number(int n)
{
    return QString::number(n);
}

class Picture
{
public:
    Picture(const Graph& graph, const GraphPictureOptions& options)
        : m_graph(graph)
        , m_options(options)
        , m_tree(graph)
    {
    }

    QString text()
    {
        m_text = QStringLiteral("digraph \"zrn\" {\n");
        m_text += QLatin1String("  graph [rankdir=LR, compound=true, fontname=\"Helvetica\", fontsize=11];\n");
        m_text += QLatin1String("  node [shape=plaintext, fontname=\"Helvetica\", fontsize=10];\n");
        m_text += QLatin1String("  edge [arrowsize=0.7];\n");
        if (m_tree.keptNode(Graph::kRootNodeRef))
            drawNode(Graph::kRootNodeRef, 1);
        m_text += QLatin1String("  // Edges\n");
        for (int edge : m_tree.edges)
            drawEdge(edge);
        m_text += QLatin1String("}\n");
        return m_text;
    }

private:
    // The node's name (bold) and reference, then its note, as label markup.
    QString title(int node) const
    {
        const QString name = m_graph.nodeName(node);
        QString label = name.isEmpty() ? QString() : QStringLiteral("<b>") + html(name) + QStringLiteral("</b> ");
        label += QLatin1Char('#') + number(node);
        if (m_options.nodeNote) {
            const QString note = m_options.nodeNote(node);
            if (!note.isEmpty())
                label += QStringLiteral("<br/><font point-size=\"9\">") + html(note) + QStringLiteral("</font>");
        }
        return label;
    }

    // The hook's attributes as `, name="value"` pieces.
    QString extraAttributes(int node) const
    {
        QString out;
        if (!m_options.nodeAttributes)
            return out;
        const QList<QPair<QString, QString>> attributes = m_options.nodeAttributes(node);
        for (const QPair<QString, QString>& attribute : attributes) {
            if (isIdentifier(attribute.first))
                out += QStringLiteral(", ") + attribute.first + QLatin1Char('=') + quoted(attribute.second);
        }
        return out;
    }

    // One port's cell text: its name, or its index when unnamed, and its group.
    QString portText(int node, bool output, int index) const
    {
        const QString name = output ? m_graph.outputName(node, index) : m_graph.inputName(node, index);
        QString text = name.isEmpty()
            ? QStringLiteral("<i>") + (output ? QStringLiteral("output ") : QStringLiteral("input ")) + number(index)
                + QStringLiteral("</i>")
            : html(name);
        const int group = output ? m_graph.outputGroup(node, index) : m_graph.inputGroup(node, index);
        if (group != Graph::kInvalidGroupRef) {
            const bool known =
                output ? m_graph.isValidOutputGroup(node, group) : m_graph.isValidInputGroup(node, group);
            QString groupText = QStringLiteral("group ") + number(group);
            if (known) {
                const QString groupName =
                    output ? m_graph.outputGroupName(node, group) : m_graph.inputGroupName(node, group);
                if (!groupName.isEmpty())
                    groupText = html(groupName);
            }
            text += QStringLiteral(" <font color=\"gray40\">(") + groupText + QStringLiteral(")</font>");
        }
        return text;
    }

    QString cell(const QString& port, const QString& text) const
    {
        return QStringLiteral("<td port=\"") + port + QStringLiteral("\" align=\"left\">") + text
            + QStringLiteral("</td>");
    }

    void drawNode(int node, int depth)
    {
        const QString indent = QString(kIndent).repeated(depth);
        if (!m_tree.composite(node)) {
            drawLeaf(node, indent);
            return;
        }
        m_text += indent + QStringLiteral("subgraph \"cluster_n") + number(node) + QStringLiteral("\" {\n");
        m_text += indent + kIndent + QStringLiteral("graph [label=<") + title(node)
            + QStringLiteral(">, style=rounded, color=\"gray50\"") + extraAttributes(node) + QStringLiteral("];\n");
        drawPortBox(node, false, indent + kIndent);
        drawPortBox(node, true, indent + kIndent);
        for (int child : m_tree.children[size_t(node)])
            drawNode(child, depth + 1);
        m_text += indent + QStringLiteral("}\n");
    }

    // The inputs (or outputs) of a node with children, as one box.
    void drawPortBox(int node, bool output, const QString& indent)
    {
        const int count = output ? m_graph.numOutputs(node) : m_graph.numInputs(node);
        if (count == 0)
            return;
        m_text += indent + QLatin1Char('"') + boxName(node, output) + QStringLiteral("\" [label=<")
            + QStringLiteral("<table border=\"0\" cellborder=\"1\" cellspacing=\"0\" cellpadding=\"3\">")
            + QStringLiteral("<tr><td bgcolor=\"gray92\"><i>")
            + (output ? QStringLiteral("outputs") : QStringLiteral("inputs")) + QStringLiteral("</i></td></tr>");
        for (int i = 0; i < count; ++i) {
            m_text += QStringLiteral("<tr>")
                + cell((output ? QLatin1Char('o') : QLatin1Char('i')) + number(i), portText(node, output, i))
                + QStringLiteral("</tr>");
        }
        m_text += QStringLiteral("</table>>];\n");
    }

    void drawLeaf(int node, const QString& indent)
    {
        const int inputs = m_graph.numInputs(node);
        const int outputs = m_graph.numOutputs(node);
        const int rows = qMax(inputs, outputs);
        const int columns = (inputs > 0 ? 1 : 0) + (outputs > 0 ? 1 : 0);
        m_text += indent + QStringLiteral("\"n") + number(node) + QStringLiteral("\" [label=<")
            + QStringLiteral("<table border=\"0\" cellborder=\"1\" cellspacing=\"0\" cellpadding=\"3\">")
            + QStringLiteral("<tr><td bgcolor=\"gray92\"")
            + (columns == 2 ? QStringLiteral(" colspan=\"2\"") : QString()) + QLatin1Char('>') + title(node)
            + QStringLiteral("</td></tr>");
        for (int r = 0; r < rows; ++r) {
            m_text += QStringLiteral("<tr>");
            if (inputs > 0)
                m_text += r < inputs ? cell(QLatin1Char('i') + number(r), portText(node, false, r))
                                     : QStringLiteral("<td></td>");
            if (outputs > 0)
                m_text += r < outputs ? cell(QLatin1Char('o') + number(r), portText(node, true, r))
                                      : QStringLiteral("<td></td>");
            m_text += QStringLiteral("</tr>");
        }
        m_text += QStringLiteral("</table>>") + extraAttributes(node) + QStringLiteral("];\n");
    }

    // The DOT node that holds a node's inputs (or outputs).
    QString boxName(int node, bool output) const
    {
        QString name = QLatin1Char('n') + number(node);
        if (m_tree.composite(node))
            name += output ? QStringLiteral("_out") : QStringLiteral("_in");
        return name;
    }

    QString end(int node, bool output, int index, bool leaving) const
    {
        return QLatin1Char('"') + boxName(node, output) + QStringLiteral("\":\"")
            + (output ? QLatin1Char('o') : QLatin1Char('i')) + number(index)
            + (leaving ? QStringLiteral("\":e") : QStringLiteral("\":w"));
    }

    void drawEdge(int edge)
    {
        const GraphTree::Kind kind = m_tree.kinds[size_t(edge)];
        const int src = m_graph.edgeSourceNode(edge);
        const int dst = m_graph.edgeDestNode(edge);
        QString style;
        switch (kind) {
        case GraphTree::Regular: style = QStringLiteral("color=\"black\""); break;
        case GraphTree::Down: style = QStringLiteral("style=dashed, color=\"#1f5fa8\""); break;
        case GraphTree::Up: style = QStringLiteral("style=dotted, penwidth=1.6, color=\"#2b8a3e\""); break;
        }
        m_text += kIndent + end(src, kind != GraphTree::Down, m_graph.edgeSourceIndex(edge), true)
            + QStringLiteral(" -> ") + end(dst, kind == GraphTree::Up, m_graph.edgeDestIndex(edge), false)
            + QStringLiteral(" [") + style + QStringLiteral("];\n");
    }

    const Graph& m_graph;
    const GraphPictureOptions& m_options;
    GraphTree m_tree;
    QString m_text;
};

} // namespace

QString graphPicture(const Graph& graph, const GraphPictureOptions& options)
{
    return Picture(graph, options).text();
}

} // namespace Zrn
} // namespace Morvane
