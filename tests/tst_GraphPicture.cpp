// The hierarchy picture: exact DOT text for small graphs, escaping of any
// name, the decoration hooks, and Graphviz's acceptance of every picture.

#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphPicture.h>

#include "GraphvizCheck.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

namespace {

using Morvane::Zrn::Graph;
using Morvane::Zrn::graphPicture;
using Morvane::Zrn::GraphPictureOptions;

// The lines, each followed by "\n".
QString lines(std::initializer_list<const char*> list)
{
    QString text;
    for (const char* line : list)
        text += QString::fromUtf8(line) + QLatin1Char('\n');
    return text;
}

// The four lines every picture opens with.
QString header()
{
    return lines({
        "digraph \"zrn\" {",
        "  graph [rankdir=LR, compound=true, fontname=\"Helvetica\", fontsize=11];",
        "  node [shape=plaintext, fontname=\"Helvetica\", fontsize=10];",
        "  edge [arrowsize=0.7];",
    });
}

// The opening of every table, up to its header cell's text.
#define TABLE "<table border=\"0\" cellborder=\"1\" cellspacing=\"0\" cellpadding=\"3\">"

// The root (parameter "gain", output "image") holding a leaf "source" and a
// composite "blur" with one child "h"; all three edge kinds appear.
//
//   root.gain ..> ; source.out -> blur.in ; blur.in --> h.in ; h.out ..> blur.out ; blur.out ..> root.image
struct Sample
{
    Graph graph;
    int source, blur, h;
    Sample()
    {
        graph.setNodeName(Graph::kRootNodeRef, QStringLiteral("scene"));
        graph.addInput(Graph::kRootNodeRef, QStringLiteral("gain"), -1);
        graph.addOutput(Graph::kRootNodeRef, QStringLiteral("image"), -1);
        source = graph.addNode(QStringLiteral("source"), 0, 0, Graph::kRootNodeRef);
        graph.addOutput(source, QStringLiteral("out"), -1);
        blur = graph.addNode(QStringLiteral("blur"), 0, 0, Graph::kRootNodeRef);
        const int group = graph.addInputGroup(blur, QStringLiteral("pixels"));
        graph.addInput(blur, QStringLiteral("in"), group);
        graph.addInput(blur, QString(), -1);
        graph.addOutput(blur, QStringLiteral("out"), 3);
        h = graph.addNode(QString(), 1, 1, blur);
        graph.setInputName(h, 0, QStringLiteral("in"));
        graph.addEdge(source, 0, blur, 0);
        graph.addDownEdge(0, h, 0);
        graph.addUpEdge(0, h, 0);
        graph.addUpEdge(0, blur, 0);
    }
};

TEST(GraphPicture, DrawsTheWholeHierarchyWithPortsAndEdgeKinds)
{
    Sample s;
    const QString picture = graphPicture(s.graph);
    const QString expected = header()
        + lines({
            "  subgraph \"cluster_n0\" {",
            "    graph [label=<<b>scene</b> #0>, style=rounded, color=\"gray50\"];",
            "    \"n0_in\" [label=<" TABLE "<tr><td bgcolor=\"gray92\"><i>inputs</i></td></tr>"
            "<tr><td port=\"i0\" align=\"left\">gain</td></tr></table>>];",
            "    \"n0_out\" [label=<" TABLE "<tr><td bgcolor=\"gray92\"><i>outputs</i></td></tr>"
            "<tr><td port=\"o0\" align=\"left\">image</td></tr></table>>];",
            "    \"n1\" [label=<" TABLE "<tr><td bgcolor=\"gray92\"><b>source</b> #1</td></tr>"
            "<tr><td port=\"o0\" align=\"left\">out</td></tr></table>>];",
            "    subgraph \"cluster_n2\" {",
            "      graph [label=<<b>blur</b> #2>, style=rounded, color=\"gray50\"];",
            "      \"n2_in\" [label=<" TABLE "<tr><td bgcolor=\"gray92\"><i>inputs</i></td></tr>"
            "<tr><td port=\"i0\" align=\"left\">in <font color=\"gray40\">(pixels)</font></td></tr>"
            "<tr><td port=\"i1\" align=\"left\"><i>input 1</i></td></tr></table>>];",
            "      \"n2_out\" [label=<" TABLE "<tr><td bgcolor=\"gray92\"><i>outputs</i></td></tr>"
            "<tr><td port=\"o0\" align=\"left\">out <font color=\"gray40\">(group 3)</font></td></tr></table>>];",
            "      \"n3\" [label=<" TABLE "<tr><td bgcolor=\"gray92\" colspan=\"2\">#3</td></tr>"
            "<tr><td port=\"i0\" align=\"left\">in</td><td port=\"o0\" align=\"left\"><i>output 0</i></td></tr>"
            "</table>>];",
            "    }",
            "  }",
            "  // Edges",
            "  \"n1\":\"o0\":e -> \"n2_in\":\"i0\":w [color=\"black\"];",
            "  \"n2_in\":\"i0\":e -> \"n3\":\"i0\":w [style=dashed, color=\"#1f5fa8\"];",
            "  \"n3\":\"o0\":e -> \"n2_out\":\"o0\":w [style=dotted, penwidth=1.6, color=\"#2b8a3e\"];",
            "  \"n2_out\":\"o0\":e -> \"n0_out\":\"o0\":w [style=dotted, penwidth=1.6, color=\"#2b8a3e\"];",
            "}",
        });
    EXPECT_EQ(picture, expected);
    EXPECT_DOT_ACCEPTS(picture);
}

TEST(GraphPicture, ANewGraphIsItsRootAlone)
{
    Graph graph;
    const QString picture = graphPicture(graph);
    EXPECT_EQ(picture,
              header()
                  + lines({
                      "  \"n0\" [label=<" TABLE "<tr><td bgcolor=\"gray92\">#0</td></tr></table>>];",
                      "  // Edges",
                      "}",
                  }));
    EXPECT_DOT_ACCEPTS(picture);
}

TEST(GraphPicture, AGraphWithoutItsRootDrawsNothing)
{
    Graph graph;
    graph.addNode(QStringLiteral("a"), 1, 1, Graph::kRootNodeRef);
    graph.removeNode(Graph::kRootNodeRef);
    const QString picture = graphPicture(graph);
    EXPECT_EQ(picture, header() + lines({"  // Edges", "}"}));
    EXPECT_DOT_ACCEPTS(picture);
}

// Every character that means something to DOT, to its HTML-like labels or
// to a terminal, in node, port and group names.
TEST(GraphPicture, AnyNameGivesValidDot)
{
    const QString wild = QString::fromUtf8("q\"b\\s{b}<a>|p&'x\nline2 \xc3\xbc\xe4\xbd\xa0\xf0\x9f\x8e\xa8") + QChar(1)
        + QChar(0x7f) + QChar(0xd800) + QStringLiteral("\r\t;]");
    const char* const wildHtml =
        "q&quot;b\\s{b}&lt;a&gt;|p&amp;&#39;x<br/>line2 \xc3\xbc\xe4\xbd\xa0\xf0\x9f\x8e\xa8"
        "\xe2\x90\x81\xe2\x90\xa1\xef\xbf\xbd\xe2\x90\x8d\xe2\x90\x89;]";
    Graph graph;
    graph.setNodeName(Graph::kRootNodeRef, wild);
    const int a = graph.addNode(wild, 0, 0, Graph::kRootNodeRef);
    const int group = graph.addInputGroup(a, wild);
    graph.addInput(a, wild, group);
    graph.addOutput(a, wild, -1);
    const int b = graph.addNode(QString(), 1, 0, Graph::kRootNodeRef);
    graph.addEdge(a, 0, b, 0);
    const QString picture = graphPicture(graph);

    const QString w = QString::fromUtf8(wildHtml);
    const QString expected = header() + lines({"  subgraph \"cluster_n0\" {"}) + QStringLiteral("    graph [label=<<b>")
        + w + QStringLiteral("</b> #0>, style=rounded, color=\"gray50\"];\n")
        + QStringLiteral("    \"n1\" [label=<" TABLE "<tr><td bgcolor=\"gray92\" colspan=\"2\"><b>") + w
        + QStringLiteral("</b> #1</td></tr><tr><td port=\"i0\" align=\"left\">") + w
        + QStringLiteral(" <font color=\"gray40\">(") + w
        + QStringLiteral(")</font></td><td port=\"o0\" align=\"left\">") + w + QStringLiteral("</td></tr></table>>];\n")
        + lines({
            "    \"n2\" [label=<" TABLE "<tr><td bgcolor=\"gray92\">#2</td></tr>"
            "<tr><td port=\"i0\" align=\"left\"><i>input 0</i></td></tr></table>>];",
            "  }",
            "  // Edges",
            "  \"n1\":\"o0\":e -> \"n2\":\"i0\":w [color=\"black\"];",
            "}",
        });
    EXPECT_EQ(picture, expected);
    EXPECT_DOT_ACCEPTS(picture);
}

TEST(GraphPicture, HooksDecorateNodesAndClusters)
{
    Sample s;
    GraphPictureOptions options;
    QList<int> asked;
    options.nodeAttributes = [&](int node) {
        asked << node;
        QList<QPair<QString, QString>> attributes;
        if (node == s.source || node == s.blur) {
            attributes << qMakePair(QStringLiteral("style"), QStringLiteral("filled"))
                       << qMakePair(QStringLiteral("fillcolor"), QStringLiteral("#ffd0d0"))
                       << qMakePair(QStringLiteral("bad name"), QStringLiteral("x"))
                       << qMakePair(QStringLiteral("9lives"), QStringLiteral("y"))
                       << qMakePair(QStringLiteral("tooltip"), QStringLiteral("say \"hi\"\\\nbye"));
        }
        return attributes;
    };
    options.nodeNote = [&](int node) { return node == s.h ? QStringLiteral("ran <2nd>\nok") : QString(); };
    const QString picture = graphPicture(s.graph, options);
    EXPECT_EQ(asked, (QList<int>{0, 1, 2, 3}));

    const QString extra =
        QStringLiteral(", style=\"filled\", fillcolor=\"#ffd0d0\", tooltip=\"say \\\"hi\\\"\\\\\\nbye\"");
    EXPECT_TRUE(picture.contains(QStringLiteral("<b>source</b> #1</td></tr><tr><td port=\"o0\" align=\"left\">out</td>"
                                                "</tr></table>>")
                                 + extra + QStringLiteral("];\n")));
    EXPECT_TRUE(picture.contains(QStringLiteral("      graph [label=<<b>blur</b> #2>, style=rounded, color=\"gray50\"")
                                 + extra + QStringLiteral("];\n")));
    EXPECT_TRUE(picture.contains(
        QStringLiteral("colspan=\"2\">#3<br/><font point-size=\"9\">ran &lt;2nd&gt;<br/>ok</font></td></tr>")));
    EXPECT_FALSE(picture.contains(QStringLiteral("bad name")));
    EXPECT_FALSE(picture.contains(QStringLiteral("9lives")));
    EXPECT_DOT_ACCEPTS(picture);
}

TEST(GraphPicture, LeavesOutRemovedNodesAndEdges)
{
    Graph graph;
    const int a = graph.addNode(QStringLiteral("a"), 0, 1, Graph::kRootNodeRef);
    const int b = graph.addNode(QStringLiteral("b"), 1, 0, Graph::kRootNodeRef);
    const int c = graph.addNode(QStringLiteral("c"), 1, 0, Graph::kRootNodeRef);
    const int inner = graph.addNode(QStringLiteral("inner"), 0, 0, c);
    graph.addEdge(a, 0, b, 0);
    graph.addEdge(a, 0, c, 0);
    graph.removeChildNode(c); // still listed under the root, but removed
    ASSERT_FALSE(graph.isValidNode(inner));
    const QString picture = graphPicture(graph);
    EXPECT_EQ(picture,
              header()
                  + lines({
                      "  subgraph \"cluster_n0\" {",
                      "    graph [label=<#0>, style=rounded, color=\"gray50\"];",
                      "    \"n1\" [label=<" TABLE "<tr><td bgcolor=\"gray92\"><b>a</b> #1</td></tr>"
                      "<tr><td port=\"o0\" align=\"left\"><i>output 0</i></td></tr></table>>];",
                      "    \"n2\" [label=<" TABLE "<tr><td bgcolor=\"gray92\"><b>b</b> #2</td></tr>"
                      "<tr><td port=\"i0\" align=\"left\"><i>input 0</i></td></tr></table>>];",
                      "  }",
                      "  // Edges",
                      "  \"n1\":\"o0\":e -> \"n2\":\"i0\":w [color=\"black\"];",
                      "}",
                  }));
    EXPECT_DOT_ACCEPTS(picture);
}

// purge() leaves parent fields as they were: here node 3 becomes node 2 and
// still names 2, itself, as its parent. Such a node hangs under no root and
// is not drawn; the picture stays valid.
TEST(GraphPicture, LeavesOutNodesThatAStalePurgeCutOff)
{
    Graph graph;
    graph.addNode(QStringLiteral("gone"), 0, 0, Graph::kRootNodeRef);
    const int two = graph.addNode(QStringLiteral("two"), 0, 0, Graph::kRootNodeRef);
    graph.addNode(QStringLiteral("three"), 0, 0, two);
    graph.removeNode(1);
    graph.purge();
    ASSERT_EQ(graph.parentNode(2), 2);
    const QString picture = graphPicture(graph);
    EXPECT_EQ(picture,
              header()
                  + lines({
                      "  subgraph \"cluster_n0\" {",
                      "    graph [label=<#0>, style=rounded, color=\"gray50\"];",
                      "    \"n1\" [label=<" TABLE "<tr><td bgcolor=\"gray92\"><b>two</b> #1</td></tr>"
                      "</table>>];",
                      "  }",
                      "  // Edges",
                      "}",
                  }));
    EXPECT_DOT_ACCEPTS(picture);
}

// Noncharacters and a high surrogate with no low one after it become U+FFFD;
// a node with more outputs than inputs gets empty cells under its inputs; a
// group without a name is shown by its number; the attribute hook's names
// must be plain identifiers, and a carriage return in a value is dropped.
TEST(GraphPicture, ReplacesUnpairedSurrogatesAndNoncharactersAndPadsShortColumns)
{
    Graph graph;
    const int a = graph.addNode(QStringLiteral("a"), 0, 0, Graph::kRootNodeRef);
    const int group = graph.addInputGroup(a, QString());
    graph.addInput(a, QStringLiteral("in"), group);
    graph.addOutput(a, QChar(0xfffe) + QStringLiteral("x") + QChar(0xffff), -1);
    graph.addOutput(a, QStringLiteral("y") + QChar(0xd800), -1);
    graph.addOutput(a, QStringLiteral("z") + QChar(0xdbff) + QStringLiteral("w"), -1);
    GraphPictureOptions options;
    options.nodeAttributes = [&](int node) {
        QList<QPair<QString, QString>> attributes;
        if (node == a) {
            for (const char* name : {"Fill_2", "@x", "a~", "", "Z9", "[", "a{", "_"})
                attributes << qMakePair(QString::fromLatin1(name), QStringLiteral("a\r\nb"));
        }
        return attributes;
    };
    const QString picture = graphPicture(graph, options);
    EXPECT_EQ(picture,
              header()
                  + lines({
                      "  subgraph \"cluster_n0\" {",
                      "    graph [label=<#0>, style=rounded, color=\"gray50\"];",
                      "    \"n1\" [label=<" TABLE "<tr><td bgcolor=\"gray92\" colspan=\"2\"><b>a</b> #1</td></tr>"
                      "<tr><td port=\"i0\" align=\"left\">in <font color=\"gray40\">(group 0)</font></td>"
                      "<td port=\"o0\" align=\"left\">\xef\xbf\xbdx\xef\xbf\xbd</td></tr>"
                      "<tr><td></td><td port=\"o1\" align=\"left\">y\xef\xbf\xbd</td></tr>"
                      "<tr><td></td><td port=\"o2\" align=\"left\">z\xef\xbf\xbdw</td></tr></table>>"
                      ", Fill_2=\"a\\nb\", Z9=\"a\\nb\", _=\"a\\nb\"];",
                      "  }",
                      "  // Edges",
                      "}",
                  }));
    EXPECT_DOT_ACCEPTS(picture);
}

// Here purge() leaves c (now 3) naming 2 as its parent, which is q now, while
// its down edge still leaves p (now 1): the edge joins no parent and child,
// nor two siblings, and is left out.
TEST(GraphPicture, LeavesOutAnEdgeThatAStalePurgeMovedAcrossTheTree)
{
    Graph graph;
    const int x = graph.addNode(QStringLiteral("x"), 0, 0, Graph::kRootNodeRef);
    const int p = graph.addNode(QStringLiteral("p"), 1, 0, Graph::kRootNodeRef);
    graph.addNode(QStringLiteral("q"), 0, 0, Graph::kRootNodeRef);
    const int c = graph.addNode(QStringLiteral("c"), 1, 0, p);
    ASSERT_EQ(graph.addDownEdge(0, c, 0), 0);
    graph.removeNode(x);
    graph.purge();
    ASSERT_EQ(graph.edgeSourceNode(0), 1);
    ASSERT_EQ(graph.edgeDestNode(0), 3);
    ASSERT_EQ(graph.parentNode(3), 2);
    const QString picture = graphPicture(graph);
    EXPECT_EQ(picture,
              header()
                  + lines({
                      "  subgraph \"cluster_n0\" {",
                      "    graph [label=<#0>, style=rounded, color=\"gray50\"];",
                      "    \"n1\" [label=<" TABLE "<tr><td bgcolor=\"gray92\"><b>p</b> #1</td></tr>"
                      "<tr><td port=\"i0\" align=\"left\"><i>input 0</i></td></tr></table>>];",
                      "    subgraph \"cluster_n2\" {",
                      "      graph [label=<<b>q</b> #2>, style=rounded, color=\"gray50\"];",
                      "      \"n3\" [label=<" TABLE "<tr><td bgcolor=\"gray92\"><b>c</b> #3</td></tr>"
                      "<tr><td port=\"i0\" align=\"left\"><i>input 0</i></td></tr></table>>];",
                      "    }",
                      "  }",
                      "  // Edges",
                      "}",
                  }));
    EXPECT_DOT_ACCEPTS(picture);
}

// After this purge b names itself as its parent, and a names b: neither hangs
// under the root, so neither they nor the edge between them are drawn, and y
// is drawn without children.
TEST(GraphPicture, LeavesOutNodesUnderANodeThatAStalePurgeCutOff)
{
    Graph graph;
    const int x = graph.addNode(QStringLiteral("x"), 0, 0, Graph::kRootNodeRef);
    const int y = graph.addNode(QStringLiteral("y"), 0, 0, Graph::kRootNodeRef);
    const int b = graph.addNode(QStringLiteral("b"), 0, 1, y);
    const int a = graph.addNode(QStringLiteral("a"), 1, 0, y);
    ASSERT_EQ(graph.addEdge(b, 0, a, 0), 0);
    graph.removeNode(x);
    graph.purge();
    ASSERT_EQ(graph.parentNode(2), 2);
    ASSERT_EQ(graph.parentNode(3), 2);
    ASSERT_EQ(graph.edgeSourceNode(0), 2);
    const QString picture = graphPicture(graph);
    EXPECT_EQ(picture,
              header()
                  + lines({
                      "  subgraph \"cluster_n0\" {",
                      "    graph [label=<#0>, style=rounded, color=\"gray50\"];",
                      "    \"n1\" [label=<" TABLE "<tr><td bgcolor=\"gray92\"><b>y</b> #1</td></tr></table>>];",
                      "  }",
                      "  // Edges",
                      "}",
                  }));
    EXPECT_DOT_ACCEPTS(picture);
}

} // namespace
