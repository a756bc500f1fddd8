// Graph documents: a graph as indented JSON, and back. Reading trusts
// nothing in the document: every field is checked before it is used, the
// graph is rebuilt with its own operations in a fresh graph, and only a
// graph that was read whole replaces the caller's.

#include <ZrnCore/GraphDocument.h>

#include <ZrnCore/Graph.h>

#include "GraphTree_p.h"
#include "Graph_p.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonParseError>
#include <QtCore/QJsonValue>
#include <QtCore/QStringList>

#include <cmath>
#include <vector>

namespace Morvane {
namespace Zrn {

namespace {

// ---------------------------------------------------------------- writing

QJsonArray portsOf(const Graph& graph, int node, bool output)
{
    QJsonArray ports;
    const int count = output ? graph.numOutputs(node) : graph.numInputs(node);
    for (int i = 0; i < count; ++i) {
        QJsonObject port;
        port.insert(QStringLiteral("name"), output ? graph.outputName(node, i) : graph.inputName(node, i));
        port.insert(QStringLiteral("group"), output ? graph.outputGroup(node, i) : graph.inputGroup(node, i));
        ports.append(port);
    }
    return ports;
}

QJsonArray groupsOf(const Graph& graph, int node, bool output)
{
    QJsonArray groups;
    const int count = output ? graph.numOutputGroups(node) : graph.numInputGroups(node);
    for (int g = 0; g < count; ++g)
        groups.append(output ? graph.outputGroupName(node, g) : graph.inputGroupName(node, g));
    return groups;
}

QJsonObject portRef(int node, int port)
{
    QJsonObject ref;
    ref.insert(QStringLiteral("node"), node);
    ref.insert(QStringLiteral("port"), port);
    return ref;
}

const char* const kKindNames[] = {"regular", "down", "up"};

// ---------------------------------------------------------------- reading

// A refusal: where in the document, and what is wrong there.
struct Refusal
{
    QString text;
};

QString typeName(const QJsonValue& value)
{
    switch (value.type()) {
    case QJsonValue::Null: return QStringLiteral("null");
    case QJsonValue::Bool: return QStringLiteral("true or false");
    case QJsonValue::Double: return QStringLiteral("a number");
    case QJsonValue::String: return QStringLiteral("a string");
    case QJsonValue::Array: return QStringLiteral("an array");
    case QJsonValue::Object: return QStringLiteral("an object");
    case QJsonValue::Undefined: break;
    }
    return QStringLiteral("nothing");
}

// A string of the document as it is shown in a message: in double quotation
// marks, escaped as in JSON so that the message stays one line, and cut
// after 60 characters.
QString shown(const QString& text)
{
    constexpr int kShown = 60;
    QString out = QStringLiteral("\"");
    for (int i = 0; i < text.size() && i < kShown; ++i) {
        const ushort c = text.at(i).unicode();
        if (c == '"' || c == '\\')
            out += QLatin1Char('\\') + text.at(i);
        else if (c == '\n')
            out += QLatin1String("\\n");
        else if (c < 0x20 || c == 0x7f || c == 0x2028 || c == 0x2029)
            out += QStringLiteral("\\u%1").arg(c, 4, 16, QLatin1Char('0'));
        else
            out += text.at(i);
    }
    if (text.size() > kShown)
        out += QStringLiteral("...");
    return out + QLatin1Char('"');
}

QString parseErrorText(QJsonParseError::ParseError error)
{
    switch (error) {
    case QJsonParseError::UnterminatedObject: return QStringLiteral("an object is not closed");
    case QJsonParseError::MissingNameSeparator: return QStringLiteral("a ':' is missing after a name");
    case QJsonParseError::UnterminatedArray: return QStringLiteral("an array is not closed");
    case QJsonParseError::MissingValueSeparator: return QStringLiteral("a ',' is missing between values");
    case QJsonParseError::IllegalValue: return QStringLiteral("a value is not valid");
    case QJsonParseError::TerminationByNumber: return QStringLiteral("the input ends in a number");
    case QJsonParseError::IllegalNumber: return QStringLiteral("a number is not valid");
    case QJsonParseError::IllegalEscapeSequence: return QStringLiteral("an escape sequence is not valid");
    case QJsonParseError::IllegalUTF8String: return QStringLiteral("a string is not valid UTF-8");
    case QJsonParseError::UnterminatedString: return QStringLiteral("a string is not closed");
    case QJsonParseError::MissingObject: return QStringLiteral("an object was expected");
    case QJsonParseError::DeepNesting: return QStringLiteral("arrays and objects nest too deeply");
    case QJsonParseError::DocumentTooLarge: return QStringLiteral("the document is too large");
    case QJsonParseError::GarbageAtEnd: return QStringLiteral("there is more after the document");
    case QJsonParseError::NoError: break;
    }
    return QStringLiteral("it cannot be read");
}

// Reads the fields of one JSON object at `place` ("nodes[3]"), refusing
// what is missing, of the wrong type or not a known field.
class Fields
{
public:
    Fields(const QJsonValue& value, const QString& place, std::initializer_list<const char*> known)
        : m_place(place)
    {
        const QString where = place.isEmpty() ? QStringLiteral("document") : place;
        if (!value.isObject())
            throw Refusal{where + QStringLiteral(": must be an object, not ") + typeName(value)};
        m_object = value.toObject();
        QStringList allowed;
        for (const char* name : known)
            allowed << QString::fromLatin1(name);
        for (auto it = m_object.constBegin(); it != m_object.constEnd(); ++it) {
            if (!allowed.contains(it.key()))
                throw Refusal{where + QStringLiteral(": unknown field ") + shown(it.key())};
        }
    }

    const QString& place() const { return m_place; }
    QString placeOf(const char* name) const
    {
        return m_place.isEmpty() ? QString::fromLatin1(name) : m_place + QLatin1Char('.') + QLatin1String(name);
    }

    QJsonValue field(const char* name, QJsonValue::Type type, const char* typeText) const
    {
        QJsonValue value = m_object.value(QLatin1String(name));
        if (value.isUndefined())
            throw Refusal{placeOf(name) + QStringLiteral(": missing")};
        if (value.type() != type)
            throw Refusal{placeOf(name) + QStringLiteral(": must be ") + QLatin1String(typeText)
                          + QStringLiteral(", not ") + typeName(value)};
        return value;
    }

    QString string(const char* name) const { return field(name, QJsonValue::String, "a string").toString(); }
    QJsonArray array(const char* name) const { return field(name, QJsonValue::Array, "an array").toArray(); }
    int integer(const char* name) const
    {
        return toInt(field(name, QJsonValue::Double, "a whole number"), placeOf(name));
    }

    static int toInt(const QJsonValue& value, const QString& place)
    {
        if (!value.isDouble())
            throw Refusal{place + QStringLiteral(": must be a whole number, not ") + typeName(value)};
        const double d = value.toDouble();
        if (!(d >= -2147483648.0 && d <= 2147483647.0) || std::floor(d) != d)
            throw Refusal{place + QStringLiteral(": must be a whole number from -2147483648 to 2147483647")};
        return int(d);
    }

private:
    QString m_place;
    QJsonObject m_object;
};

QString at(const QString& place, int index)
{
    return place + QLatin1Char('[') + QString::number(index) + QLatin1Char(']');
}

QString nodeText(int node)
{
    return QStringLiteral("node ") + QString::number(node);
}

QString edgeText(int edge)
{
    return QStringLiteral("edges[") + QString::number(edge) + QLatin1Char(']');
}

// The port an edge names, as read: its node and index, and whether it is an
// output.
struct End
{
    int node;
    int port;
    bool output;
};

class Reader
{
public:
    explicit Reader(Graph& fresh)
        : g(fresh)
    {
    }

    void read(const QByteArray& bytes)
    {
        if (bytes.size() > kMaxGraphDocumentSize)
            throw Refusal{QStringLiteral("document: ") + QString::number(bytes.size())
                          + QStringLiteral(" bytes is more than the limit of ")
                          + QString::number(kMaxGraphDocumentSize)};
        if (bytes.trimmed().isEmpty())
            throw Refusal{QStringLiteral("document: empty")};
        QJsonParseError parseError;
        const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
        if (parseError.error != QJsonParseError::NoError)
            throw Refusal{QStringLiteral("document: not JSON: ") + parseErrorText(parseError.error)};
        if (!document.isObject())
            throw Refusal{QStringLiteral("document: must be a JSON object")};

        const QJsonObject top = document.object();
        // Format and version first, so that another kind of document or a
        // later version is named as such rather than by its first odd field.
        const Fields header(top, QString(), {"format", "version", "nodes", "edges"});
        const QString format = header.string("format");
        if (format != QLatin1String(kGraphDocumentFormat))
            throw Refusal{QStringLiteral("format: must be \"") + QLatin1String(kGraphDocumentFormat)
                          + QStringLiteral("\", not ") + shown(format)};
        const int version = header.integer("version");
        if (version != kGraphDocumentVersion)
            throw Refusal{QStringLiteral("version: ") + QString::number(version)
                          + QStringLiteral(" is not supported; this library reads version ")
                          + QString::number(kGraphDocumentVersion)};

        const QJsonArray nodes = header.array("nodes");
        const QJsonArray edges = header.array("edges");
        m_numNodes = nodes.size();
        m_children.resize(size_t(m_numNodes));
        m_listedUnder.assign(size_t(m_numNodes), -1);
        for (int i = 0; i < m_numNodes; ++i)
            readNode(nodes.at(i), i);
        if (m_numNodes == 0)
            g.removeNode(Graph::kRootNodeRef);
        for (int i = 0; i < m_numNodes; ++i)
            checkChildren(i);
        for (int i = 0; i < edges.size(); ++i)
            readEdge(edges.at(i), i);
    }

private:
    void readNode(const QJsonValue& value, int i)
    {
        const QString place = at(QStringLiteral("nodes"), i);
        const Fields f(value, place,
                       {"name", "value", "parent", "children", "inputs", "outputs", "inputGroups", "outputGroups"});
        const QString name = f.string("name");
        const int nodeValue = f.integer("value");
        const int parent = f.integer("parent");
        if (i == Graph::kRootNodeRef) {
            if (parent != Graph::kInvalidNodeRef)
                throw Refusal{f.placeOf("parent") + QStringLiteral(": the root has no parent, so it must be -1, not ")
                              + QString::number(parent)};
        } else if (parent == Graph::kInvalidNodeRef) {
            throw Refusal{f.placeOf("parent") + QStringLiteral(": only nodes[0], the root, has no parent")};
        } else if (parent < 0 || parent >= m_numNodes) {
            throw Refusal{f.placeOf("parent") + QStringLiteral(": ") + nodeText(parent)
                          + QStringLiteral(" does not exist")};
        } else if (parent == i) {
            throw Refusal{f.placeOf("parent") + QStringLiteral(": a node cannot be its own parent")};
        } else if (parent > i) {
            throw Refusal{f.placeOf("parent") + QStringLiteral(": ") + nodeText(parent)
                          + QStringLiteral(" is listed after this node; a parent comes before its children")};
        }
        const QJsonArray inputs = f.array("inputs");
        const QJsonArray outputs = f.array("outputs");
        const QJsonArray inputGroups = f.array("inputGroups");
        const QJsonArray outputGroups = f.array("outputGroups");
        m_children[size_t(i)] = f.array("children");

        const int node = i == Graph::kRootNodeRef ? Graph::kRootNodeRef : g.addNode(name, 0, 0, parent);
        Q_ASSERT(node == i); // nodes are added in order, each after its parent
        g.setNodeName(node, name);
        g.setNodeValue(node, nodeValue);
        readPorts(inputs, f.placeOf("inputs"), node, false);
        readPorts(outputs, f.placeOf("outputs"), node, true);
        readGroups(inputGroups, f.placeOf("inputGroups"), node, false);
        readGroups(outputGroups, f.placeOf("outputGroups"), node, true);
    }

    void readPorts(const QJsonArray& ports, const QString& place, int node, bool output)
    {
        for (int k = 0; k < ports.size(); ++k) {
            const Fields f(ports.at(k), at(place, k), {"name", "group"});
            const QString name = f.string("name");
            const int group = f.integer("group");
            if (output)
                g.addOutput(node, name, group);
            else
                g.addInput(node, name, group);
        }
    }

    void readGroups(const QJsonArray& groups, const QString& place, int node, bool output)
    {
        for (int k = 0; k < groups.size(); ++k) {
            const QJsonValue name = groups.at(k);
            if (!name.isString())
                throw Refusal{at(place, k) + QStringLiteral(": must be a string, not ") + typeName(name)};
            if (output)
                g.addOutputGroup(node, name.toString());
            else
                g.addInputGroup(node, name.toString());
        }
    }

    // A node's children are the nodes that name it as parent, in the order
    // in which they were added, which is the order of their references.
    void checkChildren(int node)
    {
        const QString place = at(QStringLiteral("nodes"), node) + QStringLiteral(".children");
        const QJsonArray& listed = m_children[size_t(node)];
        const int count = g.numNodes(node);
        for (int k = 0; k < listed.size(); ++k) {
            const QString entry = at(place, k);
            const int child = Fields::toInt(listed.at(k), entry);
            if (child < 0 || child >= m_numNodes)
                throw Refusal{entry + QStringLiteral(": ") + nodeText(child) + QStringLiteral(" does not exist")};
            const int parent = g.parentNode(child);
            if (parent != node)
                throw Refusal{entry + QStringLiteral(": ") + nodeText(child) + QStringLiteral(" has parent ")
                              + QString::number(parent) + QStringLiteral(", not ") + QString::number(node)};
            if (m_listedUnder[size_t(child)] == node)
                throw Refusal{entry + QStringLiteral(": ") + nodeText(child) + QStringLiteral(" is listed twice")};
            m_listedUnder[size_t(child)] = node;
            // The entries so far are distinct children of this node, so there
            // is a child at position k.
            const int expected = g.getNode(k, node);
            if (child != expected)
                throw Refusal{entry + QStringLiteral(": must be ") + nodeText(expected) + QStringLiteral(", not ")
                              + QString::number(child)
                              + QStringLiteral("; children are listed in the order of their nodes")};
        }
        if (listed.size() < count)
            throw Refusal{place + QStringLiteral(": ") + nodeText(g.getNode(listed.size(), node))
                          + QStringLiteral(" has this node as parent but is not listed")};
    }

    End readEnd(const Fields& edge, const char* name, bool output)
    {
        const QString place = edge.placeOf(name);
        const Fields f(edge.field(name, QJsonValue::Object, "an object"), place, {"node", "port"});
        const int node = f.integer("node");
        const int port = f.integer("port");
        if (!g.isValidNode(node))
            throw Refusal{place + QStringLiteral(": ") + nodeText(node) + QStringLiteral(" does not exist")};
        const bool exists = output ? g.isValidOutput(node, port) : g.isValidInput(node, port);
        if (!exists)
            throw Refusal{place + QStringLiteral(": ") + nodeText(node) + QStringLiteral(" has no ")
                          + (output ? QStringLiteral("output ") : QStringLiteral("input ")) + QString::number(port)};
        return End{node, port, output};
    }

    QString portText(const End& end) const
    {
        return (end.output ? QStringLiteral("output ") : QStringLiteral("input ")) + QString::number(end.port)
            + QStringLiteral(" of ") + nodeText(end.node);
    }

    void readEdge(const QJsonValue& value, int i)
    {
        const QString place = edgeText(i);
        const Fields f(value, place, {"kind", "src", "dst"});
        const QString kindName = f.string("kind");
        int kind = -1;
        for (int k = 0; k < 3; ++k) {
            if (kindName == QLatin1String(kKindNames[k]))
                kind = k;
        }
        if (kind < 0)
            throw Refusal{f.placeOf("kind") + QStringLiteral(": must be \"regular\", \"down\" or \"up\", not ")
                          + shown(kindName)};
        const End src = readEnd(f, "src", kind != GraphTree::Down);
        const End dst = readEnd(f, "dst", kind == GraphTree::Up);

        const QString kindPlace = f.placeOf("kind") + QStringLiteral(": ");
        switch (kind) {
        case GraphTree::Regular:
            if (g.parentNode(src.node) != g.parentNode(dst.node))
                throw Refusal{kindPlace + QStringLiteral("nodes ") + QString::number(src.node) + QStringLiteral(" and ")
                              + QString::number(dst.node)
                              + QStringLiteral(" are not siblings, so the edge cannot be \"regular\"")};
            break;
        case GraphTree::Down:
            if (g.parentNode(dst.node) != src.node)
                throw Refusal{kindPlace + nodeText(src.node) + QStringLiteral(" is not the parent of ")
                              + nodeText(dst.node) + QStringLiteral(", so the edge cannot be \"down\"")};
            break;
        default:
            if (g.parentNode(src.node) != dst.node)
                throw Refusal{kindPlace + nodeText(dst.node) + QStringLiteral(" is not the parent of ")
                              + nodeText(src.node) + QStringLiteral(", so the edge cannot be \"up\"")};
            break;
        }

        int made = Graph::kInvalidEdgeRef;
        switch (kind) {
        case GraphTree::Regular: made = g.addEdge(src.node, src.port, dst.node, dst.port); break;
        case GraphTree::Down: made = g.addDownEdge(src.port, dst.node, dst.port); break;
        default: made = g.addUpEdge(dst.port, src.node, src.port); break;
        }
        if (made == Graph::kInvalidEdgeRef)
            throw Refusal{whyRefused(f, kind, src, dst)};
        Q_ASSERT(made == i); // edges are added in order and none is removed
    }

    // Why the graph refused a well-formed edge, by the graph's rules in the
    // order in which it applies them.
    QString whyRefused(const Fields& f, int kind, const End& src, const End& dst) const
    {
        const int held = dst.output ? g.outputSource(dst.node, dst.port) : g.inputSource(dst.node, dst.port);
        if (held != Graph::kInvalidEdgeRef)
            return f.placeOf("dst") + QStringLiteral(": ") + portText(dst) + QStringLiteral(" is already fed by ")
                + edgeText(held);
        if (kind != GraphTree::Down && g.numOutputDestinations(src.node, src.port) > 0) {
            const int first = g.outputDestination(src.node, src.port, 0);
            if (kind == GraphTree::Regular && !g.isRegularEdge(first))
                return f.placeOf("src") + QStringLiteral(": ") + portText(src)
                    + QStringLiteral(" already feeds its parent (") + edgeText(first)
                    + QStringLiteral("); an output feeds either its siblings or its parent");
            if (kind == GraphTree::Up && !g.isUpEdge(first))
                return f.placeOf("src") + QStringLiteral(": ") + portText(src)
                    + QStringLiteral(" already feeds its siblings (") + edgeText(first)
                    + QStringLiteral("); an output feeds either its siblings or its parent");
        }
        if (kind == GraphTree::Regular && g.precedes(dst.node, src.node, true))
            return f.place() + QStringLiteral(": an edge from ") + nodeText(src.node) + QStringLiteral(" to ")
                + nodeText(dst.node) + QStringLiteral(" would close a cycle");
        return f.place() + QStringLiteral(": the graph refuses this edge");
    }

    Graph& g;
    int m_numNodes = 0;
    std::vector<QJsonArray> m_children; // per node, its "children" as read
    std::vector<int> m_listedUnder;     // per node, the node whose "children" listed it
};

} // namespace

QByteArray writeGraphDocument(const Graph& graph)
{
    const GraphTree tree(graph);
    auto newNode = [&](int node) { return node < 0 ? node : tree.nodeMap[size_t(node)]; };

    QJsonArray nodes;
    for (int node : tree.nodes) {
        QJsonObject entry;
        entry.insert(QStringLiteral("name"), graph.nodeName(node));
        entry.insert(QStringLiteral("value"), graph.nodeValue(node));
        entry.insert(QStringLiteral("parent"), newNode(tree.parents[size_t(node)]));
        QJsonArray children;
        for (int child : tree.children[size_t(node)])
            children.append(newNode(child));
        entry.insert(QStringLiteral("children"), children);
        entry.insert(QStringLiteral("inputs"), portsOf(graph, node, false));
        entry.insert(QStringLiteral("outputs"), portsOf(graph, node, true));
        entry.insert(QStringLiteral("inputGroups"), groupsOf(graph, node, false));
        entry.insert(QStringLiteral("outputGroups"), groupsOf(graph, node, true));
        nodes.append(entry);
    }

    QJsonArray edges;
    for (int edge : tree.edges) {
        QJsonObject entry;
        entry.insert(QStringLiteral("kind"), QLatin1String(kKindNames[tree.kinds[size_t(edge)]]));
        entry.insert(QStringLiteral("src"), portRef(newNode(graph.edgeSourceNode(edge)), graph.edgeSourceIndex(edge)));
        entry.insert(QStringLiteral("dst"), portRef(newNode(graph.edgeDestNode(edge)), graph.edgeDestIndex(edge)));
        edges.append(entry);
    }

    QJsonObject top;
    top.insert(QStringLiteral("format"), QLatin1String(kGraphDocumentFormat));
    top.insert(QStringLiteral("version"), kGraphDocumentVersion);
    top.insert(QStringLiteral("nodes"), nodes);
    top.insert(QStringLiteral("edges"), edges);
    return QJsonDocument(top).toJson(QJsonDocument::Indented);
}

bool readGraphDocument(const QByteArray& document, Graph& graph, QString* error)
{
    Graph fresh;
    try {
        Reader(fresh).read(document);
    } catch (const Refusal& refusal) {
        if (error)
            *error = refusal.text;
        return false;
    }
    GraphStorage::swap(graph, fresh);
    if (error)
        error->clear();
    return true;
}

} // namespace Zrn
} // namespace Morvane
