// Port names as the graph answers them: each port keeps its own name through
// renames, removals and purges of other ports that had the same or another
// name, and lookups by name find exactly the ports so named.

#include <ZrnCore/Graph.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <QtCore/QString>

#include <vector>

using Morvane::Zrn::Graph;

using Names = std::vector<QString>;
using ZrnTest::inputNames;
using ZrnTest::outputNames;

TEST(GraphPortNames, RenamingOnePortLeavesItsNamesakesAlone)
{
    Graph g;
    const int n = g.addNode(QStringLiteral("n"), 0, 0, Graph::kRootNodeRef);
    const int m = g.addNode(QStringLiteral("m"), 0, 0, Graph::kRootNodeRef);
    g.addInput(n, QStringLiteral("x"), -1);
    g.addInput(n, QStringLiteral("x"), -1);
    g.addOutput(m, QStringLiteral("x"), -1);

    g.setInputName(n, 0, QStringLiteral("y"));
    EXPECT_EQ(inputNames(g, n), (Names{QStringLiteral("y"), QStringLiteral("x")}));
    EXPECT_EQ(outputNames(g, m), Names{QStringLiteral("x")});
    EXPECT_EQ(g.findInput(n, QStringLiteral("x")), 1);
    EXPECT_EQ(g.findInput(n, QStringLiteral("y")), 0);
    EXPECT_EQ(g.findOutput(m, QStringLiteral("y")), -1);
}

TEST(GraphPortNames, NameNoPortHoldsAnyMoreIsNotFound)
{
    Graph g;
    const int n = g.addNode(QStringLiteral("n"), 0, 0, Graph::kRootNodeRef);
    g.addInput(n, QStringLiteral("a"), -1);
    g.addOutput(n, QStringLiteral("b"), -1);
    g.setInputName(n, 0, QStringLiteral("c"));
    EXPECT_EQ(g.findInput(n, QStringLiteral("a")), -1);

    // A new name after the old one was let go, then the old one again.
    g.addInput(n, QStringLiteral("d"), -1);
    g.addInput(n, QStringLiteral("a"), -1);
    EXPECT_EQ(inputNames(g, n), (Names{QStringLiteral("c"), QStringLiteral("d"), QStringLiteral("a")}));
    EXPECT_EQ(outputNames(g, n), Names{QStringLiteral("b")});
    EXPECT_EQ(g.findInput(n, QStringLiteral("a")), 2);

    g.removeInput(n, 0);
    EXPECT_EQ(g.findInput(n, QStringLiteral("c")), -1);
    g.addOutput(n, QStringLiteral("e"), -1);
    EXPECT_EQ(inputNames(g, n), (Names{QStringLiteral("d"), QStringLiteral("a")}));
    EXPECT_EQ(outputNames(g, n), (Names{QStringLiteral("b"), QStringLiteral("e")}));
}

// A removed node keeps its ports and their names until purge() drops it;
// the other nodes' ports keep theirs through the purge.
TEST(GraphPortNames, PurgeKeepsTheNamesOfTheNodesThatStay)
{
    Graph g;
    const int gone = g.addNode(QStringLiteral("gone"), 0, 0, Graph::kRootNodeRef);
    const int kept = g.addNode(QStringLiteral("kept"), 0, 0, Graph::kRootNodeRef);
    g.addInput(gone, QStringLiteral("p"), -1);
    g.addOutput(gone, QStringLiteral("q"), -1);
    g.addInput(kept, QStringLiteral("q"), -1);
    g.removeNode(gone);
    g.purge();

    const int k = 1; // the slot of `kept` after the purge
    ASSERT_EQ(g.nodeName(k), QStringLiteral("kept"));
    g.addInput(k, QStringLiteral("p"), -1);
    g.addOutput(k, QStringLiteral("r"), -1);
    EXPECT_EQ(inputNames(g, k), (Names{QStringLiteral("q"), QStringLiteral("p")}));
    EXPECT_EQ(outputNames(g, k), Names{QStringLiteral("r")});
    EXPECT_EQ(g.findInput(k, QStringLiteral("p")), 1);
    EXPECT_EQ(g.findOutput(k, QStringLiteral("q")), -1);
}

// Ports made with a node have the null name; a port can also be named with
// the empty string. The two read back as they were given and are the same
// name to every lookup and pairing.
TEST(GraphPortNames, NullAndEmptyNamesReadBackApartAndMatchEachOther)
{
    Graph g;
    const int src = g.addNode(QStringLiteral("src"), 0, 1, Graph::kRootNodeRef);
    const int dst = g.addNode(QStringLiteral("dst"), 0, 0, Graph::kRootNodeRef);
    g.addInput(dst, QLatin1String(""), -1);
    g.addOutput(dst, QStringLiteral("o"), -1);

    EXPECT_TRUE(g.outputName(src, 0).isNull());
    EXPECT_TRUE(g.inputName(dst, 0).isEmpty());
    EXPECT_FALSE(g.inputName(dst, 0).isNull());
    EXPECT_EQ(g.findOutput(src, QLatin1String("")), 0);
    EXPECT_EQ(g.findOutput(src, QString()), 0);
    EXPECT_EQ(g.findInput(dst, QString()), 0);
    EXPECT_EQ(g.findOutput(dst, QString()), -1);

    g.connectByName(src, dst);
    ASSERT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_EQ(g.inputSource(dst, 0), 0);
    EXPECT_EQ(g.outputDestination(src, 0, 0), 0);
}
