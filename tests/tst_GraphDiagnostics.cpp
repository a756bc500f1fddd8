// Why an edge would be refused (checkEdge(), checkDownEdge(), checkUpEdge())
// and the optional debug messages of the "zrn.graph" logging category.

#include "GraphSnapshot.h"
#include "TestSupport.h"

#include <ZrnCore/EdgeCheck.h>
#include <ZrnCore/Graph.h>

#include <gtest/gtest.h>

#include <QtCore/QLoggingCategory>
#include <QtCore/QString>

#include <random>
#include <vector>

using Morvane::Zrn::EdgeCheck;
using Morvane::Zrn::EdgeRefusal;
using Morvane::Zrn::Graph;
using ZrnTest::snapshot;

namespace {

// Runs `check`, a const query on `g`, and `create`, the operation it
// describes, and succeeds when the query left the graph as it was, found
// `refusal` with `reason`, and the operation agreed (refused without change,
// or created an edge when the check found none).
template <typename Check, typename Create>
::testing::AssertionResult checkAgrees(Graph& g, Check check, Create create, EdgeRefusal refusal, const char* reason)
{
    const std::vector<int> before = snapshot(g);
    const EdgeCheck c = check();
    if (snapshot(g) != before)
        return ::testing::AssertionFailure() << "the check changed the graph";
    if (c.refusal != refusal) {
        return ::testing::AssertionFailure() << "refusal " << Morvane::Zrn::edgeRefusalName(c.refusal) << " instead of "
                                             << Morvane::Zrn::edgeRefusalName(refusal);
    }
    if (c.reason != QString::fromUtf8(reason))
        return ::testing::AssertionFailure() << "reason \"" << c.reason.toStdString() << "\"";
    const int result = create();
    if (c.accepted() != (result != Graph::kInvalidEdgeRef))
        return ::testing::AssertionFailure() << "the operation returned " << result;
    if (!c.accepted() && snapshot(g) != before)
        return ::testing::AssertionFailure() << "the refused operation changed the graph";
    return ::testing::AssertionSuccess();
}

#define EXPECT_EDGE(g, src, out, dst, in, refusal, reason)                                                        \
    EXPECT_TRUE(checkAgrees(                                                                                      \
        g, [&] { return g.checkEdge(src, out, dst, in); }, [&] { return g.addEdge(src, out, dst, in); }, refusal, \
        reason))
#define EXPECT_DOWN(g, pin, child, cin, refusal, reason)                                                              \
    EXPECT_TRUE(checkAgrees(                                                                                          \
        g, [&] { return g.checkDownEdge(pin, child, cin); }, [&] { return g.addDownEdge(pin, child, cin); }, refusal, \
        reason))
#define EXPECT_UP(g, pout, child, cout, refusal, reason)                                                              \
    EXPECT_TRUE(checkAgrees(                                                                                          \
        g, [&] { return g.checkUpEdge(pout, child, cout); }, [&] { return g.addUpEdge(pout, child, cout); }, refusal, \
        reason))

} // namespace

// ---------------------------------------------------------------- reasons

TEST(GraphEdgeCheck, AcceptedEdgeHasNoReasonAndIsThenCreated)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 1, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 1, 1, 0);
    EXPECT_EDGE(g, a, 0, b, 0, EdgeRefusal::None, "");
    EXPECT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_TRUE(g.checkEdge(a, 0, b, 0).refusal == EdgeRefusal::OccupiedInput);
}

TEST(GraphEdgeCheck, SecondEdgeIntoOccupiedInput)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 0, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 0, 1, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 0, 0);
    ASSERT_EQ(g.addEdge(a, 0, c, 0), 0);
    EXPECT_EDGE(g, b, 0, c, 0, EdgeRefusal::OccupiedInput,
                "The destination input '' (0) of node 'c' (3) already has a source, edge 0; disconnect it first.");
}

TEST(GraphEdgeCheck, EdgeFromANodeToItself)
{
    Graph g;
    const int x = g.addNode(QStringLiteral("x"), 1, 1, 0);
    EXPECT_EDGE(g, x, 0, x, 0, EdgeRefusal::WouldCloseCycle,
                "An edge from node 'x' (1) to itself would close a cycle.");
}

TEST(GraphEdgeCheck, EdgeThatWouldCloseALongCycle)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 1, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 1, 1, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 1, 0);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);
    ASSERT_EQ(g.addEdge(b, 0, c, 0), 1);
    EXPECT_EDGE(g, c, 0, a, 0, EdgeRefusal::WouldCloseCycle,
                "Node 'a' (1) lies upstream of node 'c' (3), so the edge would close a cycle.");
}

TEST(GraphEdgeCheck, OccupiedInputComesBeforeACycle)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 1, 1, 0);
    const int b = g.addNode(QStringLiteral("b"), 1, 1, 0);
    const int z = g.addNode(QStringLiteral("z"), 0, 1, 0);
    ASSERT_EQ(g.addEdge(a, 0, b, 0), 0);
    ASSERT_EQ(g.addEdge(z, 0, a, 0), 1);
    EXPECT_EDGE(g, b, 0, a, 0, EdgeRefusal::OccupiedInput,
                "The destination input '' (0) of node 'a' (1) already has a source, edge 1; disconnect it first.");
}

TEST(GraphEdgeCheck, OutputWithAnUpEdgeRefusesARegularEdge)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 0, 1, 0);
    const int c = g.addNode(QStringLiteral("c"), 0, 1, p);
    const int s = g.addNode(QStringLiteral("s"), 1, 0, p);
    g.setOutputName(c, 0, QStringLiteral("out"));
    ASSERT_EQ(g.addUpEdge(0, c, 0), 0);
    EXPECT_EDGE(g, c, 0, s, 0, EdgeRefusal::OutputFeedsOtherKind,
                "The source output 'out' (0) of node 'c' (2) already feeds its parent's output through up edge 0; "
                "an output feeds either its parent or its siblings, not both.");
}

TEST(GraphEdgeCheck, OutputWithARegularEdgeRefusesAnUpEdge)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 0, 1, 0);
    const int c = g.addNode(QStringLiteral("c"), 0, 1, p);
    const int s = g.addNode(QStringLiteral("s"), 1, 0, p);
    ASSERT_EQ(g.addEdge(c, 0, s, 0), 0);
    EXPECT_UP(g, 0, c, 0, EdgeRefusal::OutputFeedsOtherKind,
              "The child's output '' (0) of node 'c' (2) already feeds siblings through edge 0; "
              "an output feeds either its parent or its siblings, not both.");
}

TEST(GraphEdgeCheck, UpEdgeIntoOccupiedParentOutput)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 0, 1, 0);
    const int c1 = g.addNode(QStringLiteral("c1"), 0, 1, p);
    const int c2 = g.addNode(QStringLiteral("c2"), 0, 1, p);
    g.setOutputName(p, 0, QStringLiteral("image"));
    ASSERT_EQ(g.addUpEdge(0, c1, 0), 0);
    EXPECT_UP(g, 0, c2, 0, EdgeRefusal::OccupiedOutput,
              "The parent's output 'image' (0) of node 'p' (1) already has a source, edge 0; an output takes one up "
              "edge.");
}

TEST(GraphEdgeCheck, DownEdgeIntoOccupiedChildInput)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 2, 0, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 0, p);
    ASSERT_EQ(g.addDownEdge(0, c, 0), 0);
    EXPECT_DOWN(g, 1, c, 0, EdgeRefusal::OccupiedInput,
                "The destination input '' (0) of node 'c' (2) already has a source, edge 0; disconnect it first.");
}

TEST(GraphEdgeCheck, DownAndUpEdgesWithFreePortsAreAccepted)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 1, 1, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 1, p);
    EXPECT_DOWN(g, 0, c, 0, EdgeRefusal::None, "");
    EXPECT_UP(g, 0, c, 0, EdgeRefusal::None, "");
    EXPECT_EQ(g.numEdgesGlobal(), 2);
}

TEST(GraphEdgeCheck, NodesWithDifferentParentsAreNotSiblings)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 1, 1, 0);
    const int c = g.addNode(QStringLiteral("c"), 1, 1, p);
    const int q = g.addNode(QStringLiteral("q"), 1, 1, 0);
    EXPECT_EDGE(g, q, 0, c, 0, EdgeRefusal::NotSiblings,
                "Node 'q' (3) and node 'c' (2) are not siblings; a regular edge joins two children of one parent "
                "(use a down or up edge across a level).");
}

TEST(GraphEdgeCheck, InvalidReferencesAreNamed)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 1, 1, 0);
    const int r = g.addNode(QStringLiteral("r"), 1, 1, a);
    g.removeNode(r);
    EXPECT_EDGE(g, 9, 0, a, 0, EdgeRefusal::InvalidReference, "The source node 9 is not a live node.");
    EXPECT_EDGE(g, a, 1, a, 0, EdgeRefusal::InvalidReference, "The source node 'a' (1) has no output 1 (it has 1).");
    EXPECT_EDGE(g, a, 0, a, -1, EdgeRefusal::InvalidReference,
                "The destination node 'a' (1) has no input -1 (it has 1).");
    EXPECT_EDGE(g, a, 0, r, 0, EdgeRefusal::InvalidReference, "The destination node 2 is not a live node.");
    EXPECT_DOWN(g, 0, r, 0, EdgeRefusal::InvalidReference, "The child node 2 is not a live node.");
    EXPECT_DOWN(g, 0, 0, 0, EdgeRefusal::InvalidReference, "The child node, the root (0), has no input 0 (it has 0).");
    EXPECT_DOWN(g, 3, a, 0, EdgeRefusal::InvalidReference, "The parent node, the root (0), has no input 3 (it has 0).");
    EXPECT_UP(g, 0, a, 2, EdgeRefusal::InvalidReference, "The child node 'a' (1) has no output 2 (it has 1).");
    EXPECT_UP(g, -1, a, 0, EdgeRefusal::InvalidReference,
              "The parent node, the root (0), has no output -1 (it has 0).");
    g.addInput(0, QStringLiteral("in"), -1);
    g.addOutput(0, QStringLiteral("out"), -1);
    EXPECT_DOWN(g, 0, 0, 0, EdgeRefusal::InvalidReference, "The root has no parent to take a down edge from.");
    EXPECT_UP(g, 0, 0, 0, EdgeRefusal::InvalidReference, "The root has no parent to give an up edge to.");
}

TEST(GraphEdgeCheck, RefusalNamesAreTheEnumerators)
{
    EXPECT_STREQ(Morvane::Zrn::edgeRefusalName(EdgeRefusal::None), "None");
    EXPECT_STREQ(Morvane::Zrn::edgeRefusalName(EdgeRefusal::OutputFeedsOtherKind), "OutputFeedsOtherKind");
    EXPECT_STREQ(Morvane::Zrn::edgeRefusalName(EdgeRefusal::WouldCloseCycle), "WouldCloseCycle");
    EXPECT_STREQ(Morvane::Zrn::edgeRefusalName(static_cast<EdgeRefusal>(99)), "");
}

// ---------------------------------------------------------------- agreement

// Random graphs, nested three levels deep, with random edges, removed edges
// and removed nodes; every proposed edge, in range or not, must be judged by
// the check exactly as the operation then treats it.
TEST(GraphEdgeCheck, AgreesWithTheOperationsOnRandomGraphs)
{
    std::mt19937 random(20261123);
    int accepted = 0;
    int refused[7] = {};
    for (int round = 0; round < 60; ++round) {
        Graph g;
        std::vector<int> nodes{Graph::kRootNodeRef};
        g.addInput(0, QString(), -1);
        g.addOutput(0, QString(), -1);
        const int numNodes = 4 + int(random() % 10);
        for (int n = 0; n < numNodes; ++n) {
            const int parent = nodes[random() % nodes.size()];
            nodes.push_back(g.addNode(QString(), int(random() % 3), int(random() % 3), parent));
        }
        // Mostly references in range, one in ten -1 or one past the end.
        auto pick = [&](int size) {
            const int r = int(random() % 20);
            return r == 0 ? -1 : (r == 1 || size == 0) ? size : int(random() % unsigned(size));
        };
        for (int step = 0; step < 300; ++step) {
            const int kind = int(random() % 20);
            const int n1 = pick(g.numNodesGlobal());
            const int n2 = pick(g.numNodesGlobal());
            const int p1 = pick(2);
            const int p2 = pick(2);
            EdgeCheck check;
            std::vector<int> before = snapshot(g);
            int result = Graph::kInvalidEdgeRef;
            if (kind < 12) {
                check = g.checkEdge(n1, p1, n2, p2);
                ASSERT_EQ(snapshot(g), before);
                result = g.addEdge(n1, p1, n2, p2);
            } else if (kind < 15) {
                check = g.checkDownEdge(p1, n1, p2);
                ASSERT_EQ(snapshot(g), before);
                result = g.addDownEdge(p1, n1, p2);
            } else if (kind < 19) {
                check = g.checkUpEdge(p1, n1, p2);
                ASSERT_EQ(snapshot(g), before);
                result = g.addUpEdge(p1, n1, p2);
            } else {
                if (random() % 3 == 0 && n1 > 0)
                    g.removeNode(n1);
                else
                    g.removeEdge(pick(g.numEdgesGlobal()));
                continue;
            }
            ASSERT_EQ(check.accepted(), result != Graph::kInvalidEdgeRef)
                << "round " << round << " step " << step << ": " << check.reason.toStdString();
            if (check.accepted()) {
                ASSERT_TRUE(check.reason.isEmpty());
                ++accepted;
            } else {
                ASSERT_FALSE(check.reason.isEmpty());
                ASSERT_EQ(snapshot(g), before);
                ++refused[int(check.refusal)];
            }
        }
    }
    // The random graphs reach every reason, so each was compared many times.
    EXPECT_GT(accepted, 100) << accepted;
    for (int r = 1; r < 7; ++r)
        EXPECT_GT(refused[r], 10) << Morvane::Zrn::edgeRefusalName(static_cast<EdgeRefusal>(r)) << " " << refused[r];
}

// ---------------------------------------------------------------- logging

namespace {

// Turns the category's debug messages on for the life of the object.
struct GraphLogOn
{
    GraphLogOn() { QLoggingCategory::setFilterRules(QStringLiteral("zrn.graph.debug=true")); }
    ~GraphLogOn() { QLoggingCategory::setFilterRules(QString()); }
    GraphLogOn(const GraphLogOn&) = delete;
    GraphLogOn& operator=(const GraphLogOn&) = delete;
};

// a (outputs "x", "y") and b (inputs "x", "y", "z") under the root; c is a
// child of a with an input "x" and an output "w".
struct NamedPair
{
    Graph g;
    int a = g.addNode(QStringLiteral("a"), 0, 0, 0);
    int b = g.addNode(QStringLiteral("b"), 0, 0, 0);
    int c = g.addNode(QStringLiteral("c"), 0, 0, a);
    NamedPair()
    {
        g.addOutput(a, QStringLiteral("x"), -1);
        g.addOutput(a, QStringLiteral("y"), -1);
        g.addInput(b, QStringLiteral("x"), -1);
        g.addInput(b, QStringLiteral("y"), -1);
        g.addInput(b, QStringLiteral("z"), -1);
        g.addInput(c, QStringLiteral("x"), -1);
        g.addOutput(c, QStringLiteral("w"), -1);
    }
};

// Every silent miss and refusal of NamedPair's graph, in one sequence.
void missEverything(NamedPair& f)
{
    f.g.addEdge(f.b, 0, f.b, 0);
    f.g.connectByName(f.a, f.b);
    f.g.connectNamedGroups(f.a, QStringLiteral("colour"), f.b, QStringLiteral("depth"));
    f.g.connectDownByName(f.c);
    f.g.connectUpByName(f.c);
    f.g.addUpEdgeByName(QStringLiteral("v"), f.c, QStringLiteral("w"));
    f.g.addDownEdge(0, f.c, 0);
}

} // namespace

TEST(GraphLog, IsOffByDefault)
{
    NamedPair f;
    ZrnTest::MessageCapture capture;
    missEverything(f);
    EXPECT_EQ(capture.debug, QStringList());
    EXPECT_EQ(capture.critical, QStringList());
    EXPECT_EQ(capture.other, QStringList());
    EXPECT_EQ(f.g.numEdgesGlobal(), 2); // x and y paired, nothing else
}

TEST(GraphLog, SaysWhyEditsAreRefusedAndNamesMissWhenOn)
{
    NamedPair f;
    ZrnTest::MessageCapture capture;
    {
        GraphLogOn on;
        missEverything(f);
    }
    const QStringList expected{
        QStringLiteral("addEdge(2, 0, 2, 0) refused: The source node 'b' (2) has no output 0 (it has 0)."),
        QStringLiteral("connectByName: input 'z' (2) of node 'b' (2) stays unconnected: node 'a' (1) has no output of "
                       "that name free to feed siblings"),
        QStringLiteral("connectNamedGroups: node 'a' (1) has no output group named 'colour'; its ungrouped outputs "
                       "take part"),
        QStringLiteral("connectNamedGroups: node 'b' (2) has no input group named 'depth'; its ungrouped inputs take "
                       "part"),
        QStringLiteral("connectGroups: input 'z' (2) of node 'b' (2) stays unconnected: node 'a' (1) has no output of "
                       "that name free to feed siblings"),
        QStringLiteral("connectDownByName: input 'x' (0) of node 'c' (3) stays unconnected: node 'a' (1) has no input "
                       "of that name"),
        QStringLiteral("connectUpByName: output 'w' (0) of node 'c' (3) is not passed up: node 'a' (1) has no output "
                       "of that name"),
        QStringLiteral("addUpEdgeByName: node 'a' (1) has no output named 'v'"),
        QStringLiteral("addUpEdge(-1, 3, 0) refused: The parent node 'a' (1) has no output -1 (it has 2)."),
        QStringLiteral("addDownEdge(0, 3, 0) refused: The parent node 'a' (1) has no input 0 (it has 0)."),
    };
    EXPECT_EQ(capture.debug, expected);
    EXPECT_EQ(capture.critical, QStringList());
    EXPECT_EQ(f.g.numEdgesGlobal(), 2);
}

TEST(GraphLog, AcceptedEditsAndTheDesignedReportsAreUnchangedWhenOn)
{
    NamedPair f;
    ZrnTest::MessageCapture capture;
    GraphLogOn on;
    EXPECT_EQ(f.g.addEdge(f.a, 0, f.b, 0), 0);
    EXPECT_EQ(capture.debug, QStringList());
    // The by-name misses that are reported critically still are, once, and
    // the refused edge that follows is explained on the debug level.
    EXPECT_EQ(f.g.addEdgeByName(f.a, QStringLiteral("nope"), f.b, QStringLiteral("y")), -1);
    EXPECT_EQ(capture.critical,
              QStringList{QStringLiteral("[Graph.cpp:681] [ !! ] Assertion 'isValidOutput(srcNode, findOutput(srcNode, "
                                         "srcOutputName))' failed: Source output 'nope' is not valid")});
    EXPECT_EQ(capture.debug,
              QStringList{QStringLiteral("addEdge(1, -1, 2, 1) refused: The source node 'a' (1) has no "
                                         "output -1 (it has 2).")});
}

TEST(GraphEdgeCheck, RefusalNameOfANegativeValueIsEmpty)
{
    EXPECT_STREQ(Morvane::Zrn::edgeRefusalName(static_cast<EdgeRefusal>(-1)), "");
    EXPECT_STREQ(Morvane::Zrn::edgeRefusalName(EdgeRefusal::OccupiedOutput), "OccupiedOutput");
}

TEST(GraphLog, UpEdgeByNameNamesADeadChildAndTheRootsMissingParent)
{
    NamedPair f;
    f.g.addOutput(0, QStringLiteral("top"), -1);
    const int dead = f.g.addNode(QStringLiteral("dead"), 0, 1, f.a);
    f.g.removeNode(dead);
    ZrnTest::MessageCapture capture;
    {
        GraphLogOn on;
        EXPECT_EQ(f.g.addUpEdgeByName(QStringLiteral("x"), 99, QStringLiteral("w")), -1);
        EXPECT_EQ(f.g.addUpEdgeByName(QStringLiteral("x"), dead, QStringLiteral("")), -1);
        EXPECT_EQ(f.g.addUpEdgeByName(QStringLiteral("x"), 0, QStringLiteral("top")), -1);
        EXPECT_EQ(f.g.addUpEdgeByName(QStringLiteral("x"), 0, QStringLiteral("bottom")), -1);
    }
    const QStringList expected{
        QStringLiteral("addUpEdgeByName: node 99 is not a live node"),
        QStringLiteral("addUpEdge(-1, 99, -1) refused: The child node 99 is not a live node."),
        QStringLiteral("addUpEdgeByName: node 4 is not a live node"),
        QStringLiteral("addUpEdge(0, 4, 0) refused: The child node 4 is not a live node."),
        QStringLiteral("addUpEdgeByName: the root has no parent output 'x'"),
        QStringLiteral("addUpEdge(-1, 0, 0) refused: The root has no parent to give an up edge to."),
        QStringLiteral("addUpEdgeByName: the root has no parent output 'x'"),
        QStringLiteral("addUpEdgeByName: the root (0) has no output named 'bottom'"),
        QStringLiteral("addUpEdge(-1, 0, -1) refused: The child node, the root (0), has no output -1 (it has 1)."),
    };
    EXPECT_EQ(capture.debug, expected);
    EXPECT_EQ(capture.critical, QStringList());
    EXPECT_EQ(f.g.numEdgesGlobal(), 0);
}

TEST(GraphLog, UpEdgeByNameNamesTheChildsMissingOutput)
{
    NamedPair f;
    ZrnTest::MessageCapture capture;
    {
        GraphLogOn on;
        EXPECT_EQ(f.g.addUpEdgeByName(QStringLiteral("y"), f.c, QStringLiteral("v")), -1);
        EXPECT_EQ(f.g.addUpEdgeByName(QStringLiteral("y"), f.c, QStringLiteral("w")), 0);
    }
    const QStringList expected{
        QStringLiteral("addUpEdgeByName: node 'c' (3) has no output named 'v'"),
        QStringLiteral("addUpEdge(1, 3, -1) refused: The child node 'c' (3) has no output -1 (it has 1)."),
    };
    EXPECT_EQ(capture.debug, expected);
    EXPECT_EQ(f.g.outputSource(f.a, 1), 0);
}

TEST(GraphLog, PairingWithADeadNodeSaysNothingAndAddsNothing)
{
    NamedPair f;
    const int dead = f.g.addNode(QStringLiteral("dead"), 0, 0, 0);
    f.g.addOutput(dead, QStringLiteral("x"), -1);
    f.g.removeNode(dead);
    ZrnTest::MessageCapture capture;
    {
        GraphLogOn on;
        f.g.connectByName(dead, f.b);
        f.g.connectByName(f.a, 99);
        f.g.connectGroups(-1, -1, f.b, -1);
        f.g.connectGroups(f.a, -1, dead, -1);
        f.g.connectNamedGroups(dead, QString(), f.b, QString());
        f.g.connectNamedGroups(f.a, QString(), 99, QString());
        f.g.connectDownByName(dead);
        f.g.connectDownByName(Graph::kRootNodeRef);
        f.g.connectUpByName(99);
        f.g.connectUpByName(Graph::kRootNodeRef);
    }
    EXPECT_EQ(capture.debug, QStringList());
    EXPECT_EQ(capture.critical, QStringList());
    EXPECT_EQ(f.g.numEdgesGlobal(), 0);
}

// Groups: a's outputs "x" (group 0, "colour") and "y" (no group); b's inputs
// "x" (group 0, "colour"), "y" (no group) and "z" (group 0).
TEST(GraphLog, GroupPairingNamesOnlyTheUnpairedInputsOfTheGroup)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 0, 0, 0);
    const int b = g.addNode(QStringLiteral("b"), 0, 0, 0);
    ASSERT_EQ(g.addOutputGroup(a, QStringLiteral("colour")), 0);
    ASSERT_EQ(g.addInputGroup(b, QStringLiteral("colour")), 0);
    g.addOutput(a, QStringLiteral("y"), -1);
    g.addOutput(a, QStringLiteral("x"), 0);
    g.addInput(b, QStringLiteral("x"), 0);
    g.addInput(b, QStringLiteral("y"), -1);
    g.addInput(b, QStringLiteral("z"), 0);
    ZrnTest::MessageCapture capture;
    {
        GraphLogOn on;
        g.connectNamedGroups(a, QStringLiteral("colour"), b, QStringLiteral("colour"));
    }
    // "x" is paired inside the group; "y" is outside it and not named; "z"
    // finds no output: a's "y" is outside the group, a's "x" has another name.
    EXPECT_EQ(capture.debug,
              QStringList{QStringLiteral("connectGroups: input 'z' (2) of node 'b' (2) stays unconnected: node 'a' "
                                         "(1) has no output of that name free to feed siblings")});
    EXPECT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_EQ(g.inputSource(b, 0), 0);
    EXPECT_EQ(g.edgeSourceIndex(0), 1);
    EXPECT_EQ(g.inputSource(b, 1), Graph::kInvalidEdgeRef);
}

TEST(GraphLog, SiblingPairingSkipsFedInputsAndOutputsThatFeedTheParent)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 0, 0, 0);
    g.addOutput(p, QStringLiteral("up"), -1);
    const int a = g.addNode(QStringLiteral("a"), 0, 0, p);
    const int b = g.addNode(QStringLiteral("b"), 0, 0, p);
    const int s = g.addNode(QStringLiteral("s"), 0, 0, p);
    g.addOutput(a, QStringLiteral("up"), -1);
    g.addOutput(a, QStringLiteral("v"), -1);
    g.addOutput(s, QStringLiteral("w"), -1);
    g.addInput(b, QStringLiteral("up"), -1);
    g.addInput(b, QStringLiteral("v"), -1);
    g.addInput(b, QStringLiteral("w"), -1);
    ASSERT_EQ(g.addUpEdge(0, a, 0), 0);
    ASSERT_EQ(g.addEdge(s, 0, b, 2), 1);
    ZrnTest::MessageCapture capture;
    {
        GraphLogOn on;
        g.connectByName(a, b);
    }
    // "up" only feeds the parent, "v" is paired, "w" already has a source.
    EXPECT_EQ(capture.debug,
              QStringList{QStringLiteral("connectByName: input 'up' (0) of node 'b' (3) stays unconnected: node 'a' "
                                         "(2) has no output of that name free to feed siblings")});
    EXPECT_EQ(g.numEdgesGlobal(), 3);
    EXPECT_EQ(g.inputSource(b, 0), Graph::kInvalidEdgeRef);
    EXPECT_EQ(g.inputSource(b, 1), 2);
    EXPECT_EQ(g.inputSource(b, 2), 1);
}

TEST(GraphLog, DownPairingNamesOnlyTheFreeInputsThatFindNoParentInput)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 0, 0, 0);
    g.addInput(p, QStringLiteral("size"), -1);
    g.addInput(p, QStringLiteral("colour"), -1);
    const int c = g.addNode(QStringLiteral("c"), 0, 0, p);
    const int d = g.addNode(QStringLiteral("d"), 0, 0, p);
    g.addInput(c, QStringLiteral("colour"), -1);
    g.addInput(c, QStringLiteral("size"), -1);
    g.addInput(c, QStringLiteral("depth"), -1);
    g.addInput(d, QStringLiteral("size"), -1);
    ASSERT_EQ(g.addDownEdge(0, d, 0), 0); // the parent's "size" already feeds a child
    ASSERT_EQ(g.addDownEdge(1, c, 0), 1); // c's "colour" is fed
    ZrnTest::MessageCapture capture;
    {
        GraphLogOn on;
        g.connectDownByName(c);
    }
    EXPECT_EQ(capture.debug,
              QStringList{QStringLiteral("connectDownByName: input 'depth' (2) of node 'c' (2) stays unconnected: "
                                         "node 'p' (1) has no input of that name")});
    EXPECT_EQ(g.numEdgesGlobal(), 3);
    EXPECT_EQ(g.inputSource(c, 1), 2);
    EXPECT_EQ(g.edgeSourceIndex(2), 0);
    EXPECT_EQ(g.inputSource(c, 2), Graph::kInvalidEdgeRef);
}

TEST(GraphLog, UpPairingNamesOnlyTheOutputsThatFindNoFreeParentOutput)
{
    Graph g;
    const int p = g.addNode(QStringLiteral("p"), 0, 0, 0);
    const int q = g.addNode(QStringLiteral("q"), 0, 0, 0);
    g.addOutput(p, QStringLiteral("side"), -1);
    g.addOutput(p, QStringLiteral("image"), -1);
    g.addInput(q, QStringLiteral("side"), -1);
    const int c = g.addNode(QStringLiteral("c"), 0, 0, p);
    const int gc = g.addNode(QStringLiteral("gc"), 0, 0, c);
    g.addOutput(c, QStringLiteral("inner"), -1);
    g.addOutput(c, QStringLiteral("side"), -1);
    g.addOutput(c, QStringLiteral("image"), -1);
    g.addOutput(c, QStringLiteral("depth"), -1);
    g.addOutput(gc, QStringLiteral("inner"), -1);
    ASSERT_EQ(g.addUpEdge(0, gc, 0), 0); // c's "inner" has a source of its own
    ASSERT_EQ(g.addEdge(p, 0, q, 0), 1); // p's "side" feeds a sibling
    ZrnTest::MessageCapture capture;
    {
        GraphLogOn on;
        g.connectUpByName(c);
    }
    const QStringList expected{
        QStringLiteral("connectUpByName: output 'side' (1) of node 'c' (3) is not passed up: node 'p' (1) has no "
                       "output of that name"),
        QStringLiteral("connectUpByName: output 'depth' (3) of node 'c' (3) is not passed up: node 'p' (1) has no "
                       "output of that name"),
    };
    EXPECT_EQ(capture.debug, expected);
    EXPECT_EQ(g.numEdgesGlobal(), 3);
    EXPECT_EQ(g.outputSource(p, 1), 2);
    EXPECT_EQ(g.edgeSourceIndex(2), 2);
    EXPECT_EQ(g.outputSource(p, 0), Graph::kInvalidEdgeRef);
}

// A parent output that already passes its value up to the grandparent can
// still take the child's output of that name; the search stops at it.
TEST(GraphLog, UpPairingTakesAParentOutputThatFeedsUpwardsAndSaysNothing)
{
    Graph g;
    g.addOutput(0, QStringLiteral("final"), -1);
    const int p = g.addNode(QStringLiteral("p"), 0, 0, 0);
    g.addOutput(p, QStringLiteral("image"), -1);
    g.addOutput(p, QStringLiteral("image"), -1);
    const int c = g.addNode(QStringLiteral("c"), 0, 0, p);
    g.addOutput(c, QStringLiteral("image"), -1);
    ASSERT_EQ(g.addUpEdge(0, p, 0), 0);
    ZrnTest::MessageCapture capture;
    {
        GraphLogOn on;
        g.connectUpByName(c);
    }
    EXPECT_EQ(capture.debug, QStringList());
    EXPECT_EQ(g.numEdgesGlobal(), 2);
    EXPECT_EQ(g.outputSource(p, 0), 1);
    EXPECT_EQ(g.outputSource(p, 1), Graph::kInvalidEdgeRef);
    int node = 0;
    int index = 0;
    EXPECT_TRUE(g.walkDown(node, index));
    EXPECT_EQ(node, c);
    EXPECT_EQ(index, 0);
}
