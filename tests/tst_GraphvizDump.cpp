// The Graphviz dump: whole lines on the debug channel, and the same text as
// a string.

#include "TestSupport.h"

#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphvizDump.h>

#include <gtest/gtest.h>

#include <ostream>

using namespace Morvane::Zrn;
using ZrnTest::MessageCapture;
using ZrnTest::s;

namespace {

// The fixed lines around the node and edge lines.
QStringList expectedDump(const QStringList& nodeLines, const QStringList& edgeLines)
{
    QStringList lines{s("digraph \"Zrn\" {"), s("  rankdir=LR;"), s(" "), s("  // Nodes")};
    lines << nodeLines << s(" ") << s("  // Edges") << edgeLines << s("}");
    return lines;
}

// Dumps `graph` on the debug channel and checks that nothing else was
// written and that graphvizText() gives the same lines.
QStringList dumpLines(const Graph& graph)
{
    MessageCapture capture;
    dumpAsGraphviz(&graph);
    EXPECT_TRUE(capture.critical.isEmpty());
    EXPECT_TRUE(capture.other.isEmpty());
    const QString text = graphvizText(&graph);
    EXPECT_TRUE(text.endsWith(QLatin1Char('\n')));
    EXPECT_EQ(text, capture.debug.join(QLatin1Char('\n')) + QLatin1Char('\n'));
    return capture.debug;
}

TEST(GraphvizDump, EmptyGraphGivesTheFixedLinesOnly)
{
    Graph g;
    const QStringList
        expected{s("digraph \"Zrn\" {"), s("  rankdir=LR;"), s(" "), s("  // Nodes"), s(" "), s("  // Edges"), s("}")};
    EXPECT_EQ(dumpLines(g), expected);
    EXPECT_EQ(graphvizText(&g), s("digraph \"Zrn\" {\n  rankdir=LR;\n \n  // Nodes\n \n  // Edges\n}\n"));
}

TEST(GraphvizDump, NodesWithoutEdgesAreListedInChildOrder)
{
    Graph g;
    g.addNode(s("second"), 0, 0, Graph::kRootNodeRef);
    g.addNode(s("first"), 0, 0, Graph::kRootNodeRef);
    EXPECT_EQ(dumpLines(g), expectedDump({s("  \"second\";"), s("  \"first\";")}, {}));
}

TEST(GraphvizDump, TwoOutputsFeedingOneNodeGiveOneEdgeLine)
{
    Graph g;
    const int a = g.addNode(s("A"), 0, 2, Graph::kRootNodeRef);
    const int b = g.addNode(s("B"), 2, 0, Graph::kRootNodeRef);
    ASSERT_NE(g.addEdge(a, 0, b, 0), -1);
    ASSERT_NE(g.addEdge(a, 1, b, 1), -1);
    EXPECT_EQ(dumpLines(g), expectedDump({s("  \"A\";"), s("  \"B\";")}, {s("  \"A\" -> \"B\";")}));
}

TEST(GraphvizDump, FanOutListsDestinationsInTheOrderFirstMet)
{
    Graph g;
    const int a = g.addNode(s("A"), 0, 2, Graph::kRootNodeRef);
    const int b = g.addNode(s("B"), 1, 0, Graph::kRootNodeRef);
    const int c = g.addNode(s("C"), 2, 0, Graph::kRootNodeRef);
    ASSERT_NE(g.addEdge(a, 0, b, 0), -1); // A feeds B, then C
    ASSERT_NE(g.addEdge(a, 0, c, 0), -1);
    ASSERT_NE(g.addEdge(a, 1, c, 1), -1);
    EXPECT_EQ(dumpLines(g),
              expectedDump({s("  \"A\";"), s("  \"B\";"), s("  \"C\";")},
                           {s("  \"A\" -> \"B\";"), s("  \"A\" -> \"C\";")}));
}

TEST(GraphvizDump, OutputOrderDecidesBeforeEdgeAge)
{
    Graph g;
    const int a = g.addNode(s("A"), 0, 2, Graph::kRootNodeRef);
    const int b = g.addNode(s("B"), 1, 0, Graph::kRootNodeRef);
    const int c = g.addNode(s("C"), 1, 0, Graph::kRootNodeRef);
    ASSERT_NE(g.addEdge(a, 1, b, 0), -1); // older edge, later output
    ASSERT_NE(g.addEdge(a, 0, c, 0), -1);
    EXPECT_EQ(dumpLines(g),
              expectedDump({s("  \"A\";"), s("  \"B\";"), s("  \"C\";")},
                           {s("  \"A\" -> \"C\";"), s("  \"A\" -> \"B\";")}));
}

TEST(GraphvizDump, SameDestinationIsPrintedOncePerSourceNode)
{
    Graph g;
    const int a = g.addNode(s("A"), 0, 1, Graph::kRootNodeRef);
    const int b = g.addNode(s("B"), 0, 1, Graph::kRootNodeRef);
    const int c = g.addNode(s("C"), 2, 0, Graph::kRootNodeRef);
    ASSERT_NE(g.addEdge(a, 0, c, 0), -1);
    ASSERT_NE(g.addEdge(b, 0, c, 1), -1);
    EXPECT_EQ(dumpLines(g),
              expectedDump({s("  \"A\";"), s("  \"B\";"), s("  \"C\";")},
                           {s("  \"A\" -> \"C\";"), s("  \"B\" -> \"C\";")}));
}

TEST(GraphvizDump, NestedNodesAndTheirEdgesAreNotShown)
{
    Graph g;
    const int outer = g.addNode(s("Outer"), 1, 1, Graph::kRootNodeRef);
    const int x = g.addNode(s("x"), 1, 1, outer);
    const int y = g.addNode(s("y"), 1, 1, outer);
    ASSERT_NE(g.addEdge(x, 0, y, 0), -1);
    ASSERT_NE(g.addDownEdge(0, x, 0), -1);
    ASSERT_NE(g.addUpEdge(0, y, 0), -1);
    EXPECT_EQ(dumpLines(g), expectedDump({s("  \"Outer\";")}, {}));
}

TEST(GraphvizDump, UpEdgeToTheRootNamesTheRootWhichIsEmpty)
{
    Graph g;
    g.addOutput(Graph::kRootNodeRef, s("result"), -1);
    const int a = g.addNode(s("A"), 0, 1, Graph::kRootNodeRef);
    ASSERT_NE(g.addUpEdge(0, a, 0), -1);
    EXPECT_EQ(dumpLines(g), expectedDump({s("  \"A\";")}, {s("  \"A\" -> \"\";")}));
}

TEST(GraphvizDump, RemovedEdgeIsNotListed)
{
    Graph g;
    const int a = g.addNode(s("A"), 0, 1, Graph::kRootNodeRef);
    const int b = g.addNode(s("B"), 1, 0, Graph::kRootNodeRef);
    const int c = g.addNode(s("C"), 1, 0, Graph::kRootNodeRef);
    const int e = g.addEdge(a, 0, b, 0);
    ASSERT_NE(g.addEdge(a, 0, c, 0), -1);
    g.removeEdge(e);
    EXPECT_EQ(dumpLines(g), expectedDump({s("  \"A\";"), s("  \"B\";"), s("  \"C\";")}, {s("  \"A\" -> \"C\";")}));
}

TEST(GraphvizDump, NodeRemovedButStillListedIsPrintedWithoutItsEdges)
{
    // removeChildNode() leaves the node among the root's children; the dump
    // reads the children as they stand and tests no removed flag.
    Graph g;
    const int a = g.addNode(s("A"), 0, 1, Graph::kRootNodeRef);
    const int b = g.addNode(s("B"), 1, 0, Graph::kRootNodeRef);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);
    g.removeChildNode(a);
    ASSERT_FALSE(g.isValidNode(a));
    EXPECT_EQ(dumpLines(g), expectedDump({s("  \"A\";"), s("  \"B\";")}, {}));

    g.removeNode(b); // taken out of the list
    EXPECT_EQ(dumpLines(g), expectedDump({s("  \"A\";")}, {}));
}

TEST(GraphvizDump, EntriesThatNameNoSlotAfterPurgeArePassedOver)
{
    // Purge gives position k of every children list the new reference of
    // old slot k: the root, which listed A (1) and B (2), then lists itself
    // (0) and -1 for A's dropped slot. The root is printed by its empty name;
    // the -1 entry has no name and is passed over.
    Graph g;
    const int a = g.addNode(s("A"), 0, 1, Graph::kRootNodeRef);
    const int b = g.addNode(s("B"), 1, 0, Graph::kRootNodeRef);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);
    g.removeChildNode(a);
    g.purge();
    ASSERT_EQ(g.numNodes(Graph::kRootNodeRef), 2);
    ASSERT_EQ(g.getNode(0, Graph::kRootNodeRef), 0);
    ASSERT_EQ(g.getNode(1, Graph::kRootNodeRef), -1);
    EXPECT_EQ(dumpLines(g), expectedDump({s("  \"\";")}, {}));
}

TEST(GraphvizDump, GraphPurgedAfterItsRootWasRemovedGivesTheFixedLinesOnly)
{
    Graph g;
    g.addNode(s("A"), 0, 0, Graph::kRootNodeRef);
    g.removeNode(Graph::kRootNodeRef);
    g.purge();
    ASSERT_EQ(g.numNodesGlobal(), 0);
    EXPECT_EQ(dumpLines(g), expectedDump({}, {}));
}

TEST(GraphvizDump, NamesArePrintedAsTheyStand)
{
    Graph g;
    const int a = g.addNode(s("say \"hi\" 100%"), 0, 1, Graph::kRootNodeRef);
    const int b = g.addNode(QString(), 1, 0, Graph::kRootNodeRef);
    ASSERT_NE(g.addEdge(a, 0, b, 0), -1);
    EXPECT_EQ(dumpLines(g),
              expectedDump({s("  \"say \"hi\" 100%\";"), s("  \"\";")}, {s("  \"say \"hi\" 100%\" -> \"\";")}));
}

TEST(GraphvizDump, NonLatin1NamesArePrintedAsTheLocalConversionYieldsThem)
{
    Graph g;
    const QString name = s("\xce\xa9\xe2\x98\x83");
    g.addNode(name, 0, 0, Graph::kRootNodeRef);
    const QStringList lines = dumpLines(g);
    ASSERT_EQ(lines.size(), 8);
    EXPECT_EQ(lines.at(4), s("  \"") + QString::fromUtf8(name.toLocal8Bit()) + s("\";"));
}

TEST(GraphvizDump, DumpChangesNothing)
{
    Graph g;
    const int a = g.addNode(s("A"), 0, 1, Graph::kRootNodeRef);
    const int b = g.addNode(s("B"), 1, 0, Graph::kRootNodeRef);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);
    const QString before = graphvizText(&g);
    dumpLines(g);
    EXPECT_EQ(graphvizText(&g), before);
    EXPECT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_EQ(g.numNodesGlobal(), 3);
    EXPECT_TRUE(g.isValidEdge(0));
    EXPECT_EQ(g.inputSource(b, 0), 0);
    EXPECT_EQ(g.numOutputDestinations(a, 0), 1);
    EXPECT_EQ(g.outputDestination(a, 0, 0), 0);
    EXPECT_EQ(g.nodeName(a), s("A"));
    EXPECT_EQ(g.nodeName(b), s("B"));
}

} // namespace
