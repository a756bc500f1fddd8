// A tour of the graph API: nodes, ports, groups, the three kinds of edge,
// wiring by name, the walk primitives, a walker, the Graphviz text, and
// removal followed by purge. The graph it builds:
//
//                      +---------------- blur ----------------+
//   +--------+ colour  | colour                        colour |  colour  +------+
//   | source |-------->|---down--> [kernel] colour ----up----->|--------->|      |
//   |        |         +--------------------------------------+          | sink |
//   |        |------------------------------- depth ---------------------->|      |
//   +--------+                                                            +------+
//
// Prints what it does and exits non-zero if anything differs from what the
// comments say, so that it doubles as a test.

#include <ZrnCore/ZrnCore.h>

#include <QtCore/QLoggingCategory>

using Morvane::Zrn::BottomUpInputWalker;
using Morvane::Zrn::EdgeCheck;
using Morvane::Zrn::EdgeRefusal;
using Morvane::Zrn::Graph;

namespace {

int g_failures = 0;

void expect(bool ok, const char* what)
{
    qInfo("%s  %s", ok ? "ok  " : "FAIL", what);
    if (!ok)
        ++g_failures;
}

} // namespace

int main()
{
    // --- Nodes, ports and groups ------------------------------------------
    Graph graph; // holds only the root, Graph::kRootNodeRef
    const int root = Graph::kRootNodeRef;

    const int source = graph.addNode(QStringLiteral("source"), 0, 0, root);
    graph.addOutput(source, QStringLiteral("colour"), Graph::kInvalidGroupRef);
    graph.addOutput(source, QStringLiteral("depth"), Graph::kInvalidGroupRef);

    // A composite node: "blur" routes its input into its child "kernel" and
    // the kernel's output back out. Ports may belong to a named group.
    const int blur = graph.addNode(QStringLiteral("blur"), 0, 0, root);
    const int image = graph.addInputGroup(blur, QStringLiteral("image"));
    graph.addInput(blur, QStringLiteral("colour"), image);
    graph.addOutput(blur, QStringLiteral("colour"), Graph::kInvalidGroupRef);
    const int kernel = graph.addNode(QStringLiteral("kernel"), 1, 1, blur);
    graph.setInputName(kernel, 0, QStringLiteral("colour"));
    graph.setOutputName(kernel, 0, QStringLiteral("colour"));

    const int sink = graph.addNode(QStringLiteral("sink"), 0, 0, root);
    graph.addInput(sink, QStringLiteral("colour"), Graph::kInvalidGroupRef);
    graph.addInput(sink, QStringLiteral("depth"), Graph::kInvalidGroupRef);

    expect(graph.numNodes(root) == 3, "the root has three children: source, blur and sink");
    expect(graph.findNode(QStringLiteral("kernel"), blur) == kernel, "findNode searches the children of one parent");
    expect(graph.findInputGroup(blur, QStringLiteral("image")) == image, "groups are found by name too");

    // --- Edges -------------------------------------------------------------
    // A regular edge joins an output to an input of a sibling; a down edge
    // takes a parent's input into a child's input; an up edge takes a
    // child's output out to the parent's output.
    const int e1 = graph.addEdge(source, 0, blur, 0);
    const int e2 = graph.addDownEdge(0, kernel, 0);
    const int e3 = graph.addUpEdge(0, kernel, 0);
    expect(graph.isRegularEdge(e1) && graph.isDownEdge(e2) && graph.isUpEdge(e3), "three kinds of edge");

    // Wiring by name pairs same-named ports: blur's "colour" output feeds
    // sink's free "colour" input.
    graph.connectByName(blur, sink);
    graph.addEdgeByName(source, QStringLiteral("depth"), sink, QStringLiteral("depth"));
    expect(graph.inputSource(sink, 0) != Graph::kInvalidEdgeRef, "connectByName wired sink.colour");

    // An input has one source: a second edge into it is refused with -1,
    // and so is an edge that would close a cycle.
    expect(graph.addEdge(source, 1, sink, 0) == Graph::kInvalidEdgeRef, "an occupied input refuses a second edge");
    graph.addInput(source, QStringLiteral("feedback"), Graph::kInvalidGroupRef);
    graph.addOutput(sink, QStringLiteral("feedback"), Graph::kInvalidGroupRef);
    expect(graph.addEdge(sink, 0, source, 0) == Graph::kInvalidEdgeRef, "an edge closing a cycle is refused");

    // checkEdge() (and checkDownEdge(), checkUpEdge()) tell whether an edit
    // would be accepted and, if not, why, without making it.
    const EdgeCheck why = graph.checkEdge(sink, 0, source, 0);
    if (!why.accepted())
        qInfo("refused: %s", qPrintable(why.reason));
    expect(why.refusal == EdgeRefusal::WouldCloseCycle, "checkEdge names the cycle");

    // The graph can also say so itself, on the logging category "zrn.graph",
    // whose debug messages are off until the host turns them on:
    QLoggingCategory::setFilterRules(QStringLiteral("zrn.graph.debug=true"));
    graph.addEdge(source, 1, sink, 0); // logs "addEdge(1, 1, 4, 0) refused: ..."
    QLoggingCategory::setFilterRules(QString());

    // --- Walks -------------------------------------------------------------
    // walkToSourceNode follows a value back to the output that produces it,
    // as deep in the hierarchy as up edges lead: sink.colour comes from
    // kernel's output 0, not from blur.
    int node = sink;
    int port = 0;
    const bool found = graph.walkToSourceNode(node, port);
    expect(found && node == kernel && port == 0, "sink.colour is produced by kernel");
    expect(graph.precedes(source, sink, true), "source lies upstream of sink");

    // A walker visits everything upstream of a node, sources first.
    QStringList order;
    for (BottomUpInputWalker w(graph, sink, true); w.valid(); w.next())
        order << graph.nodeName(w.node());
    qInfo("bottom-up from sink: %s", qPrintable(order.join(QStringLiteral(", "))));
    expect(order == QStringList({QStringLiteral("source"), QStringLiteral("kernel"), QStringLiteral("sink")}),
           "bottom-up order is source, kernel, sink");

    // The top level as Graphviz text (dumpAsGraphviz writes it to qDebug).
    const QString dot = Morvane::Zrn::graphvizText(&graph);
    qInfo("%s", qPrintable(dot));
    expect(dot.contains(QStringLiteral("\"blur\" -> \"sink\";")), "the dump has one line per connected pair");

    // --- Removal and purge -------------------------------------------------
    // Removal only marks: references stay valid until purge() renumbers.
    graph.removeNode(blur);
    expect(!graph.isValidNode(blur) && !graph.isValidNode(kernel), "removing blur removes kernel too");
    expect(graph.inputSource(sink, 0) == Graph::kInvalidEdgeRef, "and the edges at their ports");
    QVector<int> nodeMap;
    graph.purge(&nodeMap, nullptr);
    expect(graph.numNodesGlobal() == 3 && nodeMap[sink] == 2, "after purge sink is node 2");
    expect(graph.nodeName(nodeMap[sink]) == QStringLiteral("sink"), "and still named sink");

    qInfo("graph-tour: %s", g_failures == 0 ? "all checks passed" : "some checks FAILED");
    return g_failures == 0 ? 0 : 1;
}
