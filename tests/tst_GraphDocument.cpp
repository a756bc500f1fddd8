// Graph documents: round trips that keep every answer, the compacted form of
// graphs with removed slots, and a table of malformed documents, each refused
// with its message and the target graph left as it was.

#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphDocument.h>
#include <ZrnCore/GraphvizDump.h>

#include "GraphCompare.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Morvane::Zrn::Graph;
using Morvane::Zrn::readGraphDocument;
using Morvane::Zrn::writeGraphDocument;

// A graph with every feature a document holds:
//
//   root "scene" (input "gain", outputs "image", "depth")
//    |- source "src"  (value 7)          out ----------.
//    |- composite "blur" [group pixels] in <-----------'   (regular)
//    |     |- "h": in <-- blur.in (down)   out --> blur.out (up)
//    |     '- "v": no ports
//    |  blur.out --> scene.image (up)
//    '- "sink": in (group 5, which names no group), in2 <-- src.out (regular)
//   scene.gain --> src.gain (down)
struct Sample
{
    Graph graph;
    int src, blur, h, v, sink;
    Sample()
    {
        graph.setNodeName(Graph::kRootNodeRef, QStringLiteral("scene"));
        graph.setNodeValue(Graph::kRootNodeRef, 42);
        graph.addInput(Graph::kRootNodeRef, QStringLiteral("gain"), -1);
        graph.addOutput(Graph::kRootNodeRef, QStringLiteral("image"), -1);
        graph.addOutput(Graph::kRootNodeRef, QStringLiteral("depth"), -1);
        src = graph.addNode(QStringLiteral("src"), 1, 1, Graph::kRootNodeRef);
        graph.setNodeValue(src, 7);
        graph.setInputName(src, 0, QStringLiteral("gain"));
        graph.setOutputName(src, 0, QStringLiteral("out"));
        blur = graph.addNode(QStringLiteral("blur"), 0, 0, Graph::kRootNodeRef);
        const int pixels = graph.addInputGroup(blur, QStringLiteral("pixels"));
        graph.addOutputGroup(blur, QString::fromUtf8("r\xc3\xa9sultat \"1\""));
        graph.addInput(blur, QStringLiteral("in"), pixels);
        graph.addOutput(blur, QStringLiteral("out"), 0);
        h = graph.addNode(QStringLiteral("h"), 1, 1, blur);
        graph.setInputName(h, 0, QStringLiteral("in"));
        v = graph.addNode(QStringLiteral("v"), 0, 0, blur);
        sink = graph.addNode(QStringLiteral("sink"), 0, 0, Graph::kRootNodeRef);
        graph.addInput(sink, QStringLiteral("in"), 5);
        graph.addInput(sink, QStringLiteral("in2"), -1);
        graph.addEdge(src, 0, blur, 0);
        graph.addDownEdge(0, h, 0);
        graph.addUpEdge(0, h, 0);
        graph.addUpEdge(0, blur, 0);
        graph.addEdge(src, 0, sink, 1);
        graph.addDownEdge(0, src, 0);
    }
};

// Reads `document` into a new graph, expecting success.
void readInto(const QByteArray& document, Graph& graph)
{
    QString error = QStringLiteral("not set");
    ASSERT_TRUE(readGraphDocument(document, graph, &error)) << error.toStdString() << "\n" << document.toStdString();
    EXPECT_EQ(error, QString());
}

TEST(GraphDocument, RoundTripKeepsEveryAnswer)
{
    Sample s;
    const QByteArray document = writeGraphDocument(s.graph);
    Graph back;
    readInto(document, back);
    ZrnTest::expectSameAnswers(s.graph, back);
    EXPECT_EQ(writeGraphDocument(back), document);
}

TEST(GraphDocument, ANewGraphRoundTrips)
{
    Graph graph;
    const QByteArray document = writeGraphDocument(graph);
    Graph back;
    back.addNode(QStringLiteral("old"), 1, 1, Graph::kRootNodeRef);
    readInto(document, back);
    ZrnTest::expectSameAnswers(graph, back);
}

TEST(GraphDocument, WritesTheDocumentedFields)
{
    Graph graph;
    graph.setNodeName(Graph::kRootNodeRef, QStringLiteral("r"));
    const int a = graph.addNode(QStringLiteral("a"), 0, 0, Graph::kRootNodeRef);
    graph.addOutput(a, QStringLiteral("o"), 2);
    graph.addInputGroup(a, QStringLiteral("g"));
    const int b = graph.addNode(QStringLiteral("b"), 1, 0, Graph::kRootNodeRef);
    graph.addEdge(a, 0, b, 0);
    const QByteArray expected = R"({
    "edges": [
        {
            "dst": {
                "node": 2,
                "port": 0
            },
            "kind": "regular",
            "src": {
                "node": 1,
                "port": 0
            }
        }
    ],
    "format": "zrn-graph",
    "nodes": [
        {
            "children": [
                1,
                2
            ],
            "inputGroups": [
            ],
            "inputs": [
            ],
            "name": "r",
            "outputGroups": [
            ],
            "outputs": [
            ],
            "parent": -1,
            "value": -1
        },
        {
            "children": [
            ],
            "inputGroups": [
                "g"
            ],
            "inputs": [
            ],
            "name": "a",
            "outputGroups": [
            ],
            "outputs": [
                {
                    "group": 2,
                    "name": "o"
                }
            ],
            "parent": 0,
            "value": -1
        },
        {
            "children": [
            ],
            "inputGroups": [
            ],
            "inputs": [
                {
                    "group": -1,
                    "name": ""
                }
            ],
            "name": "b",
            "outputGroups": [
            ],
            "outputs": [
            ],
            "parent": 0,
            "value": -1
        }
    ],
    "version": 1
}
)";
    EXPECT_EQ(writeGraphDocument(graph), expected);
}

// Removed nodes and edges are dropped and the rest renumbered in order, with
// children and parents right: the document of the graph with removed slots
// is that of the same graph built without them.
TEST(GraphDocument, RemovedSlotsAreWrittenCompacted)
{
    Graph graph;
    const int a = graph.addNode(QStringLiteral("a"), 0, 1, Graph::kRootNodeRef);       // 1
    const int gone = graph.addNode(QStringLiteral("gone"), 1, 1, Graph::kRootNodeRef); // 2
    graph.addNode(QStringLiteral("inner"), 1, 0, gone);                                // 3
    const int b = graph.addNode(QStringLiteral("b"), 2, 1, Graph::kRootNodeRef);       // 4
    const int c = graph.addNode(QStringLiteral("c"), 1, 0, b);                         // 5
    const int listed = graph.addNode(QStringLiteral("listed"), 1, 0, b);               // 6
    const int d = graph.addNode(QStringLiteral("d"), 1, 0, b);                         // 7
    graph.addEdge(a, 0, gone, 0);                                                      // 0, removed with "gone"
    graph.addDownEdge(0, 3, 0);                                                        // 1, removed with "gone"
    graph.addEdge(a, 0, b, 0);                                                         // 2 -> 0
    const int spare = graph.addEdge(a, 0, b, 1);                                       // 3, removed by hand
    graph.addDownEdge(0, c, 0);                                                        // 4 -> 1
    graph.addDownEdge(0, listed, 0);                                                   // 5, removed with "listed"
    graph.addDownEdge(0, d, 0);                                                        // 6 -> 2
    graph.removeNode(gone);
    graph.removeEdge(spare);
    graph.removeChildNode(listed); // stays listed among b's children
    ASSERT_EQ(graph.numNodes(b), 3);

    Graph compact;
    const int ca = compact.addNode(QStringLiteral("a"), 0, 1, Graph::kRootNodeRef);
    const int cb = compact.addNode(QStringLiteral("b"), 2, 1, Graph::kRootNodeRef);
    const int cc = compact.addNode(QStringLiteral("c"), 1, 0, cb);
    const int cd = compact.addNode(QStringLiteral("d"), 1, 0, cb);
    compact.addEdge(ca, 0, cb, 0);
    compact.addDownEdge(0, cc, 0);
    compact.addDownEdge(0, cd, 0);

    const QByteArray document = writeGraphDocument(graph);
    EXPECT_EQ(document, writeGraphDocument(compact));
    Graph back;
    readInto(document, back);
    ZrnTest::expectSameAnswers(compact, back);
    EXPECT_EQ(back.numNodesGlobal(), 5);
    EXPECT_EQ(back.numEdgesGlobal(), 3);
    EXPECT_EQ(back.parentNode(3), 2);
    EXPECT_EQ(back.nodeName(back.getNode(1, 2)), QStringLiteral("d"));
}

// After purge() the parent fields are stale: old slot 3 ("three", a child
// of old slot 2) is slot 2 and names 2, itself, as its parent. It hangs
// under no root, so it is left out, with its edges.
TEST(GraphDocument, NodesThatAStalePurgeCutOffAreLeftOut)
{
    Graph graph;
    graph.addNode(QStringLiteral("gone"), 0, 0, Graph::kRootNodeRef);
    const int two = graph.addNode(QStringLiteral("two"), 1, 0, Graph::kRootNodeRef);
    const int three = graph.addNode(QStringLiteral("three"), 1, 0, two);
    graph.addDownEdge(0, three, 0);
    graph.removeNode(1);
    graph.purge();

    Graph expected;
    expected.addNode(QStringLiteral("two"), 1, 0, Graph::kRootNodeRef);
    EXPECT_EQ(writeGraphDocument(graph), writeGraphDocument(expected));
}

// removeInput() without disconnecting first leaves edges that name ports
// which no longer hold them: such edges are left out.
TEST(GraphDocument, EdgesOfAnErasedPortAreLeftOut)
{
    Graph graph;
    const int a = graph.addNode(QStringLiteral("a"), 0, 2, Graph::kRootNodeRef);
    const int b = graph.addNode(QStringLiteral("b"), 2, 0, Graph::kRootNodeRef);
    graph.addEdge(a, 0, b, 0);
    graph.addEdge(a, 1, b, 1);
    graph.removeInput(b, 0); // the former input 1 is input 0, still fed by edge 1, which names port 1

    Graph expected;
    expected.addNode(QStringLiteral("a"), 0, 2, Graph::kRootNodeRef);
    expected.addNode(QStringLiteral("b"), 1, 0, Graph::kRootNodeRef);
    EXPECT_EQ(writeGraphDocument(graph), writeGraphDocument(expected));
}

TEST(GraphDocument, AGraphWithoutItsRootHasNoNodes)
{
    Graph graph;
    graph.addNode(QStringLiteral("a"), 1, 1, Graph::kRootNodeRef);
    graph.removeNode(Graph::kRootNodeRef);
    const QByteArray document = writeGraphDocument(graph);
    EXPECT_EQ(document,
              QByteArray("{\n    \"edges\": [\n    ],\n    \"format\": \"zrn-graph\",\n"
                         "    \"nodes\": [\n    ],\n    \"version\": 1\n}\n"));
    Graph back;
    readInto(document, back);
    EXPECT_EQ(back.numNodesGlobal(), 1);
    EXPECT_FALSE(back.isValidNode(Graph::kRootNodeRef));
    EXPECT_EQ(writeGraphDocument(back), document);
}

TEST(GraphDocument, ReadingReplacesTheGraphsContent)
{
    Sample s;
    Graph target;
    target.addNode(QStringLiteral("old"), 3, 3, Graph::kRootNodeRef);
    target.addNode(QStringLiteral("older"), 3, 3, Graph::kRootNodeRef);
    target.addEdge(1, 0, 2, 0);
    readInto(writeGraphDocument(s.graph), target);
    ZrnTest::expectSameAnswers(s.graph, target);
}

TEST(GraphDocument, ErrorMayBeNull)
{
    Graph graph;
    EXPECT_FALSE(readGraphDocument(QByteArray("nonsense"), graph));
    EXPECT_TRUE(readGraphDocument(writeGraphDocument(graph), graph));
}

TEST(GraphDocument, TooLargeADocumentIsRefusedUnread)
{
    Sample s;
    const QByteArray before = writeGraphDocument(s.graph);
    QByteArray huge = before;
    huge.append(QByteArray(Morvane::Zrn::kMaxGraphDocumentSize - huge.size() + 1, ' '));
    QString error;
    EXPECT_FALSE(readGraphDocument(huge, s.graph, &error));
    EXPECT_EQ(error, QStringLiteral("document: 33554433 bytes is more than the limit of 33554432"));
    EXPECT_EQ(writeGraphDocument(s.graph), before);
    // One byte less is read.
    huge.chop(1);
    EXPECT_TRUE(readGraphDocument(huge, s.graph, &error)) << error.toStdString();
}

TEST(GraphDocument, DeepNestingIsRefused)
{
    Graph graph;
    QString error;
    EXPECT_FALSE(readGraphDocument(QByteArray(100000, '['), graph, &error));
    EXPECT_EQ(error, QStringLiteral("document: not JSON: arrays and objects nest too deeply"));
}

// ---------------------------------------------------------------- malformed documents

// A valid document, written compactly so that rows can change one piece:
//
//   0 root: input p, outputs o, q; children 1 a, 2 b, 4 d
//   1 a: inputs in, x; output out          3 c (in b): in, out
//   2 b: input in (group pixels); output out   4 d: input x, output y
//   edges 0 a.out -> b.in, 1 b.in -> c.in (down), 2 c.out -> b.out (up),
//         3 b.out -> root.o (up), 4 root.p -> a.in (down)
const char* const kBase =
    R"({"format":"zrn-graph","version":1,"nodes":[)"
    R"({"name":"","value":-1,"parent":-1,"children":[1,2,4],"inputs":[{"name":"p","group":-1}],)"
    R"("outputs":[{"name":"o","group":-1},{"name":"q","group":-1}],"inputGroups":[],"outputGroups":[]},)"
    R"({"name":"a","value":7,"parent":0,"children":[],"inputs":[{"name":"in","group":-1},{"name":"x","group":-1}],)"
    R"("outputs":[{"name":"out","group":-1}],"inputGroups":[],"outputGroups":[]},)"
    R"({"name":"b","value":-1,"parent":0,"children":[3],"inputs":[{"name":"in","group":0}],)"
    R"("outputs":[{"name":"out","group":-1}],"inputGroups":["pixels"],"outputGroups":[]},)"
    R"({"name":"c","value":-1,"parent":2,"children":[],"inputs":[{"name":"in","group":-1}],)"
    R"("outputs":[{"name":"out","group":-1}],"inputGroups":[],"outputGroups":[]},)"
    R"({"name":"d","value":-1,"parent":0,"children":[],"inputs":[{"name":"x","group":-1}],)"
    R"("outputs":[{"name":"y","group":-1}],"inputGroups":[],"outputGroups":[]}],)"
    R"("edges":[)"
    R"({"kind":"regular","src":{"node":1,"port":0},"dst":{"node":2,"port":0}},)"
    R"({"kind":"down","src":{"node":2,"port":0},"dst":{"node":3,"port":0}},)"
    R"({"kind":"up","src":{"node":3,"port":0},"dst":{"node":2,"port":0}},)"
    R"({"kind":"up","src":{"node":2,"port":0},"dst":{"node":0,"port":0}},)"
    R"({"kind":"down","src":{"node":0,"port":0},"dst":{"node":1,"port":0}}]})";

// The edges of kBase, to which rows append.
const char* const kLastEdge = R"({"kind":"down","src":{"node":0,"port":0},"dst":{"node":1,"port":0}}])";

struct Malformed
{
    const char* label;    // the test's name
    const char* from;     // a piece of kBase (empty: the whole document is `to`)
    const char* to;       // what it is replaced by
    const char* expected; // the error message
};

std::ostream& operator<<(std::ostream& os, const Malformed& row)
{
    return os << row.label;
}

QByteArray malformedDocument(const Malformed& row)
{
    if (!*row.from)
        return QByteArray(row.to);
    QByteArray document(kBase);
    const int at = document.indexOf(row.from);
    EXPECT_GE(at, 0) << "not in the base document: " << row.from;
    if (at >= 0)
        document.replace(at, int(qstrlen(row.from)), row.to);
    return document;
}

// kBase with one more edge after the last.
#define WITH_EDGE(edge) kLastEdge, R"({"kind":"down","src":{"node":0,"port":0},"dst":{"node":1,"port":0}},)" edge "]"

const Malformed kMalformed[] = {
    {"garbage", "", "\x01\xff garbage", "document: not JSON: a value is not valid"},
    {"empty", "", "", "document: empty"},
    {"blank", "", " \n\t ", "document: empty"},
    {"truncated", "", R"({"format":"zrn-graph","version":1,"nodes":[)", "document: not JSON: an array is not closed"},
    {"array_at_top", "", "[1,2]", "document: must be a JSON object"},
    {"unknown_top_field", R"("version":1,)", R"("version":1,"author":"me",)", R"(document: unknown field "author")"},
    {"format_missing", R"("format":"zrn-graph",)", "", "format: missing"},
    {"format_wrong", R"("format":"zrn-graph")", R"("format":"png")", R"(format: must be "zrn-graph", not "png")"},
    {"format_not_string", R"("format":"zrn-graph")", R"("format":7)", "format: must be a string, not a number"},
    {"format_with_line_break", R"("format":"zrn-graph")", R"("format":"zrn\n\"graph\"\\\u0001")",
     R"(format: must be "zrn-graph", not "zrn\n\"graph\"\\\u0001")"},
    {"format_with_separators", R"("format":"zrn-graph")", R"("format":"a\u2028b\u2029c\u007fd")",
     R"(format: must be "zrn-graph", not "a\u2028b\u2029c\u007fd")"},
    {"format_long", R"("format":"zrn-graph")",
     R"("format":"0123456789012345678901234567890123456789012345678901234567890123456789")",
     R"(format: must be "zrn-graph", not "012345678901234567890123456789012345678901234567890123456789...")"},
    {"unknown_field_with_line_break", R"({"name":"a",)", R"({"na\nme":"a",)", R"(nodes[1]: unknown field "na\nme")"},
    {"version_missing", R"("version":1,)", "", "version: missing"},
    {"version_unknown", R"("version":1)", R"("version":2)",
     "version: 2 is not supported; this library reads version 1"},
    {"version_string", R"("version":1)", R"("version":"1")", "version: must be a whole number, not a string"},
    {"version_fraction", R"("version":1)", R"("version":1.5)",
     "version: must be a whole number from -2147483648 to 2147483647"},
    {"nodes_missing", R"("nodes":[)", R"("nodez":[)", R"(document: unknown field "nodez")"},
    {"nodes_not_array", "", R"({"format":"zrn-graph","version":1,"nodes":{},"edges":[]})",
     "nodes: must be an array, not an object"},
    {"edges_missing", "", R"({"format":"zrn-graph","version":1,"nodes":[]})", "edges: missing"},
    {"node_not_object", R"({"name":"a",)", R"(3,{"name":"a",)", "nodes[1]: must be an object, not a number"},
    {"node_unknown_field", R"({"name":"a",)", R"({"colour":"red","name":"a",)", R"(nodes[1]: unknown field "colour")"},
    {"name_missing", R"({"name":"a",)", "{", "nodes[1].name: missing"},
    {"name_not_string", R"("name":"a")", R"("name":null)", "nodes[1].name: must be a string, not null"},
    {"value_too_large", R"("value":7)", R"("value":2147483648)",
     "nodes[1].value: must be a whole number from -2147483648 to 2147483647"},
    {"value_huge", R"("value":7)", R"("value":-1e300)",
     "nodes[1].value: must be a whole number from -2147483648 to 2147483647"},
    {"value_bool", R"("value":7)", R"("value":true)", "nodes[1].value: must be a whole number, not true or false"},
    {"root_with_parent", R"("parent":-1)", R"("parent":1)",
     "nodes[0].parent: the root has no parent, so it must be -1, not 1"},
    {"second_root", R"("name":"a","value":7,"parent":0)", R"("name":"a","value":7,"parent":-1)",
     "nodes[1].parent: only nodes[0], the root, has no parent"},
    {"parent_missing_node", R"("name":"c","value":-1,"parent":2)", R"("name":"c","value":-1,"parent":40)",
     "nodes[3].parent: node 40 does not exist"},
    {"parent_negative", R"("name":"c","value":-1,"parent":2)", R"("name":"c","value":-1,"parent":-7)",
     "nodes[3].parent: node -7 does not exist"},
    {"parent_itself", R"("name":"c","value":-1,"parent":2)", R"("name":"c","value":-1,"parent":3)",
     "nodes[3].parent: a node cannot be its own parent"},
    {"parent_later", R"("name":"a","value":7,"parent":0)", R"("name":"a","value":7,"parent":4)",
     "nodes[1].parent: node 4 is listed after this node; a parent comes before its children"},
    {"inputs_not_array", R"("name":"d","value":-1,"parent":0,"children":[],"inputs":[{"name":"x","group":-1}])",
     R"("name":"d","value":-1,"parent":0,"children":[],"inputs":"x")",
     "nodes[4].inputs: must be an array, not a string"},
    {"port_not_object", R"("inputs":[{"name":"x","group":-1}])", R"("inputs":[[]])",
     "nodes[4].inputs[0]: must be an object, not an array"},
    {"port_group_not_number", R"("inputs":[{"name":"in","group":0}])", R"("inputs":[{"name":"in","group":"pixels"}])",
     "nodes[2].inputs[0].group: must be a whole number, not a string"},
    {"port_name_missing", R"("outputs":[{"name":"y","group":-1}])", R"("outputs":[{"group":-1}])",
     "nodes[4].outputs[0].name: missing"},
    {"port_unknown_field", R"("outputs":[{"name":"y","group":-1}])", R"("outputs":[{"name":"y","group":-1,"type":1}])",
     R"(nodes[4].outputs[0]: unknown field "type")"},
    {"group_not_string", R"("inputGroups":["pixels"])", R"("inputGroups":[0])",
     "nodes[2].inputGroups[0]: must be a string, not a number"},
    {"output_groups_missing", R"("inputGroups":["pixels"],"outputGroups":[])", R"("inputGroups":["pixels"])",
     "nodes[2].outputGroups: missing"},
    {"children_not_array", R"("children":[1,2,4])", R"("children":null)",
     "nodes[0].children: must be an array, not null"},
    {"child_not_number", R"("children":[1,2,4])", R"("children":["1",2,4])",
     "nodes[0].children[0]: must be a whole number, not a string"},
    {"child_dangling", R"("children":[1,2,4])", R"("children":[1,2,4,40])",
     "nodes[0].children[3]: node 40 does not exist"},
    {"child_negative", R"("children":[1,2,4])", R"("children":[1,2,4,-3])",
     "nodes[0].children[3]: node -3 does not exist"},
    {"child_of_another", R"("children":[1,2,4])", R"("children":[1,2,3,4])",
     "nodes[0].children[2]: node 3 has parent 2, not 0"},
    {"child_twice", R"("children":[1,2,4])", R"("children":[1,1,2,4])", "nodes[0].children[1]: node 1 is listed twice"},
    {"children_out_of_order", R"("children":[1,2,4])", R"("children":[2,1,4])",
     "nodes[0].children[0]: must be node 1, not 2; children are listed in the order of their nodes"},
    {"child_unlisted", R"("children":[1,2,4])", R"("children":[1,2])",
     "nodes[0].children: node 4 has this node as parent but is not listed"},
    {"child_unlisted_nested", R"("children":[3])", R"("children":[])",
     "nodes[2].children: node 3 has this node as parent but is not listed"},
    {"edge_not_object", WITH_EDGE("false"), "edges[5]: must be an object, not true or false"},
    {"edge_unknown_field", WITH_EDGE(R"({"kind":"regular","src":{"node":4,"port":0},"dst":{"node":1,"port":1},"w":1})"),
     R"(edges[5]: unknown field "w")"},
    {"kind_missing", WITH_EDGE(R"({"src":{"node":4,"port":0},"dst":{"node":1,"port":1}})"), "edges[5].kind: missing"},
    {"kind_unknown", WITH_EDGE(R"({"kind":"sideways","src":{"node":4,"port":0},"dst":{"node":1,"port":1}})"),
     R"(edges[5].kind: must be "regular", "down" or "up", not "sideways")"},
    {"src_missing", WITH_EDGE(R"({"kind":"regular","dst":{"node":1,"port":1}})"), "edges[5].src: missing"},
    {"src_not_object", WITH_EDGE(R"({"kind":"regular","src":[4,0],"dst":{"node":1,"port":1}})"),
     "edges[5].src: must be an object, not an array"},
    {"src_node_missing", WITH_EDGE(R"({"kind":"regular","src":{"port":0},"dst":{"node":1,"port":1}})"),
     "edges[5].src.node: missing"},
    {"src_port_fraction", WITH_EDGE(R"({"kind":"regular","src":{"node":4,"port":0.5},"dst":{"node":1,"port":1}})"),
     "edges[5].src.port: must be a whole number from -2147483648 to 2147483647"},
    {"src_unknown_field", WITH_EDGE(R"({"kind":"regular","src":{"node":4,"index":0},"dst":{"node":1,"port":1}})"),
     R"(edges[5].src: unknown field "index")"},
    {"dst_node_missing", WITH_EDGE(R"({"kind":"regular","src":{"node":4,"port":0},"dst":{"node":40,"port":1}})"),
     "edges[5].dst: node 40 does not exist"},
    {"src_node_negative", WITH_EDGE(R"({"kind":"regular","src":{"node":-1,"port":0},"dst":{"node":1,"port":1}})"),
     "edges[5].src: node -1 does not exist"},
    {"src_output_missing", WITH_EDGE(R"({"kind":"regular","src":{"node":4,"port":1},"dst":{"node":1,"port":1}})"),
     "edges[5].src: node 4 has no output 1"},
    {"dst_input_missing", WITH_EDGE(R"({"kind":"regular","src":{"node":4,"port":0},"dst":{"node":1,"port":2}})"),
     "edges[5].dst: node 1 has no input 2"},
    {"down_src_input_missing", WITH_EDGE(R"({"kind":"down","src":{"node":2,"port":1},"dst":{"node":3,"port":0}})"),
     "edges[5].src: node 2 has no input 1"},
    {"up_dst_output_missing", WITH_EDGE(R"({"kind":"up","src":{"node":4,"port":0},"dst":{"node":0,"port":2}})"),
     "edges[5].dst: node 0 has no output 2"},
    {"regular_not_siblings", WITH_EDGE(R"({"kind":"regular","src":{"node":4,"port":0},"dst":{"node":3,"port":0}})"),
     R"(edges[5].kind: nodes 4 and 3 are not siblings, so the edge cannot be "regular")"},
    {"down_not_parent", WITH_EDGE(R"({"kind":"down","src":{"node":1,"port":1},"dst":{"node":3,"port":0}})"),
     R"(edges[5].kind: node 1 is not the parent of node 3, so the edge cannot be "down")"},
    {"up_not_parent", WITH_EDGE(R"({"kind":"up","src":{"node":3,"port":0},"dst":{"node":0,"port":1}})"),
     R"(edges[5].kind: node 0 is not the parent of node 3, so the edge cannot be "up")"},
    {"input_occupied", WITH_EDGE(R"({"kind":"regular","src":{"node":4,"port":0},"dst":{"node":2,"port":0}})"),
     "edges[5].dst: input 0 of node 2 is already fed by edges[0]"},
    {"down_into_occupied", WITH_EDGE(R"({"kind":"down","src":{"node":0,"port":0},"dst":{"node":1,"port":0}})"),
     "edges[5].dst: input 0 of node 1 is already fed by edges[4]"},
    {"parent_output_occupied", WITH_EDGE(R"({"kind":"up","src":{"node":4,"port":0},"dst":{"node":0,"port":0}})"),
     "edges[5].dst: output 0 of node 0 is already fed by edges[3]"},
    {"regular_from_output_feeding_parent",
     WITH_EDGE(R"({"kind":"regular","src":{"node":2,"port":0},"dst":{"node":4,"port":0}})"),
     "edges[5].src: output 0 of node 2 already feeds its parent (edges[3]); "
     "an output feeds either its siblings or its parent"},
    {"up_from_output_feeding_siblings",
     WITH_EDGE(R"({"kind":"up","src":{"node":1,"port":0},"dst":{"node":0,"port":1}})"),
     "edges[5].src: output 0 of node 1 already feeds its siblings (edges[0]); "
     "an output feeds either its siblings or its parent"},
    {"self_loop", WITH_EDGE(R"({"kind":"regular","src":{"node":4,"port":0},"dst":{"node":4,"port":0}})"),
     "edges[5]: an edge from node 4 to node 4 would close a cycle"},
    {"cycle", kLastEdge,
     R"({"kind":"down","src":{"node":0,"port":0},"dst":{"node":1,"port":0}},)"
     R"({"kind":"regular","src":{"node":1,"port":0},"dst":{"node":4,"port":0}},)"
     R"({"kind":"regular","src":{"node":4,"port":0},"dst":{"node":1,"port":1}}])",
     "edges[6]: an edge from node 4 to node 1 would close a cycle"},
    {"edge_into_a_graph_without_nodes", "",
     R"({"format":"zrn-graph","version":1,"nodes":[],"edges":[{"kind":"up","src":{"node":0,"port":0},)"
     R"("dst":{"node":0,"port":0}}]})",
     "edges[0].src: node 0 does not exist"},
};

class MalformedDocument : public testing::TestWithParam<Malformed>
{
};

TEST(GraphDocumentBase, TheBaseDocumentIsValid)
{
    Graph graph;
    readInto(QByteArray(kBase), graph);
    EXPECT_EQ(graph.numNodesGlobal(), 5);
    EXPECT_EQ(graph.numEdgesGlobal(), 5);
    EXPECT_TRUE(graph.isUpEdge(3));
    EXPECT_EQ(graph.inputGroupName(2, 0), QStringLiteral("pixels"));
}

TEST_P(MalformedDocument, IsRefusedWithItsMessageAndChangesNothing)
{
    const Malformed& row = GetParam();
    Sample s;
    const QByteArray before = writeGraphDocument(s.graph);
    Sample untouched;
    QString error;
    EXPECT_FALSE(readGraphDocument(malformedDocument(row), s.graph, &error));
    EXPECT_EQ(error, QString::fromUtf8(row.expected));
    EXPECT_EQ(writeGraphDocument(s.graph), before);
    ZrnTest::expectSameAnswers(untouched.graph, s.graph);
}

INSTANTIATE_TEST_SUITE_P(Rows, MalformedDocument, testing::ValuesIn(kMalformed),
                         [](const testing::TestParamInfo<Malformed>& info) { return std::string(info.param.label); });

} // namespace
