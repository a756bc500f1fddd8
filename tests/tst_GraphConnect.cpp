// Connection by name: the single by-name edges with their reports, and the
// bulk pairings with their filters.

#include "TestSupport.h"

#include <ZrnCore/Graph.h>

#include <gtest/gtest.h>

#include <ostream>

using Morvane::Zrn::Graph;
using ZrnTest::MessageCapture;

namespace {

// Names and lines; `s` names fixtures here.
constexpr auto S = &ZrnTest::s;

// The exact report lines.
QString line681(const char* outputName)
{
    return S("[Graph.cpp:681] [ !! ] Assertion 'isValidOutput(srcNode, findOutput(srcNode, "
             "srcOutputName))' failed: Source output '%1' is not valid")
        .arg(S(outputName));
}
const QString kLine681Foo = line681("foo");
const QString kLine682Bar =
    S("[Graph.cpp:682] [ !! ] Assertion 'isValidInput(dstNode, findInput(dstNode, "
      "dstInputName))' failed: Dest input 'bar' is not valid");
QString line717(const char* parentName, const char* childName)
{
    return S("[Graph.cpp:717] [ !! ] Assertion 'isValidNode(childNode)' failed: Parent '%1' Child '%2'")
        .arg(S(parentName), S(childName));
}
QString line718(const char* parentName, const char* childName)
{
    return S("[Graph.cpp:718] [ !! ] Assertion 'isValidInput(childNode, findInput(childNode, childInputName))' "
             "failed: Parent '%1' Child '%2'")
        .arg(S(parentName), S(childName));
}
QString line719(const char* parentName, const char* childName)
{
    return S("[Graph.cpp:719] [ !! ] Assertion 'isValidInput(parentNode(childNode), findInput(parentNode(childNode), "
             "parentInputName))' failed: Parent '%1' Child '%2'")
        .arg(S(parentName), S(childName));
}

// Two siblings under the root: A with outputs "x", "y" and B with inputs
// "in", "x".
struct Siblings
{
    Graph g;
    int a = g.addNode(S("A"), 0, 0, Graph::kRootNodeRef);
    int b = g.addNode(S("B"), 0, 0, Graph::kRootNodeRef);
    Siblings()
    {
        g.addOutput(a, S("x"), -1);
        g.addOutput(a, S("y"), -1);
        g.addInput(b, S("in"), -1);
        g.addInput(b, S("x"), -1);
    }
};

// P (inputs "pin", "other"; output "pout") holding child C (inputs "cin",
// "pin"; outputs "cout", "pout").
struct Nested
{
    Graph g;
    int p = g.addNode(S("P"), 0, 0, Graph::kRootNodeRef);
    int c = g.addNode(S("C"), 0, 0, p);
    Nested()
    {
        g.addInput(p, S("pin"), -1);
        g.addInput(p, S("other"), -1);
        g.addOutput(p, S("pout"), -1);
        g.addInput(c, S("cin"), -1);
        g.addInput(c, S("pin"), -1);
        g.addOutput(c, S("cout"), -1);
        g.addOutput(c, S("pout"), -1);
    }
};

// ---------------------------------------------------------------- addEdgeByName

TEST(AddEdgeByName, FoundPortsMakeARegularEdgeWithoutReport)
{
    Siblings s;
    MessageCapture capture;
    const int e = s.g.addEdgeByName(s.a, S("y"), s.b, S("x"));
    EXPECT_EQ(e, 0);
    EXPECT_TRUE(s.g.isRegularEdge(e));
    EXPECT_EQ(s.g.edgeSourceIndex(e), 1);
    EXPECT_EQ(s.g.edgeDestIndex(e), 1);
    EXPECT_TRUE(capture.critical.isEmpty());
    EXPECT_TRUE(capture.debug.isEmpty());
}

TEST(AddEdgeByName, UnknownOutputIsReportedOnceAndTheEdgeRefused)
{
    Siblings s;
    MessageCapture capture;
    EXPECT_EQ(s.g.addEdgeByName(s.a, S("foo"), s.b, S("in")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, QStringList{kLine681Foo});
    EXPECT_EQ(s.g.numEdgesGlobal(), 0);
    EXPECT_EQ(s.g.inputSource(s.b, 0), Graph::kInvalidEdgeRef);
}

TEST(AddEdgeByName, UnknownInputIsReportedOnce)
{
    Siblings s;
    MessageCapture capture;
    EXPECT_EQ(s.g.addEdgeByName(s.a, S("x"), s.b, S("bar")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, QStringList{kLine682Bar});
    EXPECT_EQ(s.g.numEdgesGlobal(), 0);
    EXPECT_EQ(s.g.numOutputDestinations(s.a, 0), 0);
}

TEST(AddEdgeByName, BothUnknownAreReportedInLineOrder)
{
    Siblings s;
    MessageCapture capture;
    EXPECT_EQ(s.g.addEdgeByName(s.a, S("foo"), s.b, S("bar")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, (QStringList{kLine681Foo, kLine682Bar}));
    EXPECT_EQ(s.g.numEdgesGlobal(), 0);
}

TEST(AddEdgeByName, NamesAreCaseSensitive)
{
    Siblings s;
    MessageCapture capture;
    EXPECT_EQ(s.g.addEdgeByName(s.a, S("X"), s.b, S("x")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, QStringList{line681("X")});
    EXPECT_EQ(s.g.numEdgesGlobal(), 0);
    EXPECT_EQ(s.g.inputSource(s.b, 1), Graph::kInvalidEdgeRef);
}

TEST(AddEdgeByName, ReportedLookupStillGoesThroughAddEdge)
{
    // The input is found; the edge is still refused by addEdge(), and the
    // input keeps no source.
    Siblings s;
    MessageCapture capture;
    EXPECT_EQ(s.g.addEdgeByName(s.a, S("foo"), s.b, S("x")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(s.g.inputSource(s.b, 1), Graph::kInvalidEdgeRef);
    // A good call afterwards gets the first edge reference: nothing was made.
    EXPECT_EQ(s.g.addEdgeByName(s.a, S("x"), s.b, S("x")), 0);
    EXPECT_EQ(capture.critical, QStringList{kLine681Foo});
}

TEST(AddEdgeByName, InvalidNodesAreReportedAsFailedLookupsWithoutCrash)
{
    Siblings s;
    MessageCapture capture;
    EXPECT_EQ(s.g.addEdgeByName(99, S("foo"), -1, S("bar")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, (QStringList{kLine681Foo, kLine682Bar}));
    EXPECT_EQ(s.g.numEdgesGlobal(), 0);
}

TEST(AddEdgeByName, RemovedNodesAreReportedAsInvalidPortsAndTheEdgeRefused)
{
    Siblings s;
    s.g.removeNode(s.a);
    MessageCapture capture;
    EXPECT_EQ(s.g.addEdgeByName(s.a, S("x"), s.b, S("x")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, QStringList{line681("x")});
    capture.clear();

    Siblings t;
    t.g.removeNode(t.b);
    EXPECT_EQ(t.g.addEdgeByName(t.a, S("x"), t.b, S("x")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical,
              QStringList{S("[Graph.cpp:682] [ !! ] Assertion 'isValidInput(dstNode, findInput(dstNode, "
                            "dstInputName))' failed: Dest input 'x' is not valid")});
    EXPECT_EQ(t.g.numEdgesGlobal(), 0);
    EXPECT_EQ(t.g.numOutputDestinations(t.a, 0), 0);
}

TEST(AddEdgeByName, FirstPortOfTheNameIsUsed)
{
    Siblings s;
    s.g.addOutput(s.a, S("x"), -1); // a second "x", index 2
    s.g.addInput(s.b, S("x"), -1);  // a second "x", index 2
    const int e = s.g.addEdgeByName(s.a, S("x"), s.b, S("x"));
    ASSERT_EQ(e, 0);
    EXPECT_EQ(s.g.edgeSourceIndex(e), 0);
    EXPECT_EQ(s.g.edgeDestIndex(e), 1);
    EXPECT_EQ(s.g.numOutputDestinations(s.a, 2), 0);
    EXPECT_EQ(s.g.inputSource(s.b, 2), Graph::kInvalidEdgeRef);
}

TEST(AddEdgeByName, RefusalsOfAddEdgeHoldAndAreNotReported)
{
    Siblings s;
    MessageCapture capture;
    ASSERT_EQ(s.g.addEdgeByName(s.a, S("x"), s.b, S("x")), 0);
    EXPECT_EQ(s.g.addEdgeByName(s.a, S("y"), s.b, S("x")), Graph::kInvalidEdgeRef); // occupied input
    EXPECT_TRUE(capture.critical.isEmpty());
    EXPECT_EQ(s.g.numEdgesGlobal(), 1);
    EXPECT_EQ(s.g.inputSource(s.b, 1), 0);
    EXPECT_EQ(s.g.numOutputDestinations(s.a, 1), 0);
}

TEST(AddEdgeByName, NamesAreReportedAsTheirLocal8BitText)
{
    Siblings s;
    const QString name = S("50%s \xce\xa9");
    MessageCapture capture;
    s.g.addEdgeByName(s.a, name, s.b, S("in"));
    EXPECT_EQ(capture.critical,
              QStringList{S("[Graph.cpp:681] [ !! ] Assertion 'isValidOutput(srcNode, findOutput(srcNode, "
                            "srcOutputName))' failed: Source output '")
                          + QString::fromUtf8(name.toLocal8Bit()) + S("' is not valid")});
}

// ---------------------------------------------------------------- addDownEdgeByName

TEST(AddDownEdgeByName, FoundPortsMakeADownEdgeWithoutReport)
{
    Nested n;
    MessageCapture capture;
    const int e = n.g.addDownEdgeByName(S("other"), n.c, S("pin"));
    EXPECT_EQ(e, 0);
    EXPECT_TRUE(n.g.isDownEdge(e));
    EXPECT_EQ(n.g.edgeSourceNode(e), n.p);
    EXPECT_EQ(n.g.edgeSourceIndex(e), 1);
    EXPECT_EQ(n.g.edgeDestIndex(e), 1);
    EXPECT_TRUE(capture.critical.isEmpty());
}

TEST(AddDownEdgeByName, InvalidChildIsReportedFirstThenEveryLaterCheck)
{
    Nested n;
    MessageCapture capture;
    EXPECT_EQ(n.g.addDownEdgeByName(S("pin"), 99, S("cin")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, (QStringList{line717("pin", "cin"), line718("pin", "cin"), line719("pin", "cin")}));
    EXPECT_EQ(n.g.numEdgesGlobal(), 0);
}

TEST(AddDownEdgeByName, NegativeChildIsReportedWithoutCrash)
{
    Nested n;
    MessageCapture capture;
    EXPECT_EQ(n.g.addDownEdgeByName(S("a"), -1, S("b")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, (QStringList{line717("a", "b"), line718("a", "b"), line719("a", "b")}));
}

TEST(AddDownEdgeByName, RemovedChildIsReportedWithItsInputButItsParentInputIsFound)
{
    // Removal only marks the child: its inputs and parent field stay, so
    // the parent's input is looked up as for a live child and found.
    Nested n;
    n.g.removeNode(n.c);
    MessageCapture capture;
    EXPECT_EQ(n.g.addDownEdgeByName(S("pin"), n.c, S("cin")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, (QStringList{line717("pin", "cin"), line718("pin", "cin")}));
    EXPECT_EQ(n.g.numEdgesGlobal(), 0);
    EXPECT_EQ(n.g.numInputDestinations(n.p, 0), 0);
}

TEST(AddDownEdgeByName, ChildRemovedButStillListedIsReportedWithItsInputOnly)
{
    Nested n;
    n.g.removeChildNode(n.c);
    MessageCapture capture;
    EXPECT_EQ(n.g.addDownEdgeByName(S("other"), n.c, S("pin")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, (QStringList{line717("other", "pin"), line718("other", "pin")}));
    EXPECT_EQ(n.g.numEdgesGlobal(), 0);
}

TEST(AddDownEdgeByName, RemovedChildWhoseParentLacksTheInputIsReportedThreeTimes)
{
    Nested n;
    n.g.removeNode(n.c);
    MessageCapture capture;
    EXPECT_EQ(n.g.addDownEdgeByName(S("nope"), n.c, S("cin")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, (QStringList{line717("nope", "cin"), line718("nope", "cin"), line719("nope", "cin")}));
}

TEST(AddDownEdgeByName, ChildPurgedOutOfTheStorageFailsEveryLookup)
{
    Nested n;
    n.g.removeNode(n.c);
    n.g.purge();
    ASSERT_EQ(n.g.numNodesGlobal(), 2);
    MessageCapture capture;
    EXPECT_EQ(n.g.addDownEdgeByName(S("pin"), 2, S("cin")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, (QStringList{line717("pin", "cin"), line718("pin", "cin"), line719("pin", "cin")}));
}

TEST(AddDownEdgeByName, UnknownChildInputIsReportedAlone)
{
    Nested n;
    MessageCapture capture;
    EXPECT_EQ(n.g.addDownEdgeByName(S("pin"), n.c, S("nope")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, QStringList{line718("pin", "nope")});
    EXPECT_EQ(n.g.numInputDestinations(n.p, 0), 0);
}

TEST(AddDownEdgeByName, UnknownParentInputIsReportedAlone)
{
    Nested n;
    MessageCapture capture;
    EXPECT_EQ(n.g.addDownEdgeByName(S("nope"), n.c, S("cin")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, QStringList{line719("nope", "cin")});
    EXPECT_EQ(n.g.inputSource(n.c, 0), Graph::kInvalidEdgeRef);
}

TEST(AddDownEdgeByName, BothInputsUnknownAreReportedInLineOrder)
{
    Nested n;
    MessageCapture capture;
    n.g.addDownEdgeByName(S("p?"), n.c, S("c?"));
    EXPECT_EQ(capture.critical, (QStringList{line718("p?", "c?"), line719("p?", "c?")}));
}

TEST(AddDownEdgeByName, ReportsNameThePortsNeverTheNodes)
{
    Nested n;
    MessageCapture capture;
    n.g.addDownEdgeByName(S("nope"), n.c, S("cin"));
    ASSERT_EQ(capture.critical.size(), 1);
    EXPECT_TRUE(capture.critical.first().endsWith(S("Parent 'nope' Child 'cin'")));
    EXPECT_FALSE(capture.critical.first().contains(S("'P'")));
    EXPECT_FALSE(capture.critical.first().contains(S("'C'")));
}

TEST(AddDownEdgeByName, RootAsChildHasNoParentInput)
{
    Nested n;
    n.g.addInput(Graph::kRootNodeRef, S("rin"), -1);
    MessageCapture capture;
    EXPECT_EQ(n.g.addDownEdgeByName(S("pin"), Graph::kRootNodeRef, S("rin")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(capture.critical, QStringList{line719("pin", "rin")});
}

TEST(AddDownEdgeByName, OccupiedChildInputIsRefusedSilently)
{
    Nested n;
    ASSERT_EQ(n.g.addDownEdgeByName(S("pin"), n.c, S("cin")), 0);
    MessageCapture capture;
    EXPECT_EQ(n.g.addDownEdgeByName(S("other"), n.c, S("cin")), Graph::kInvalidEdgeRef);
    EXPECT_TRUE(capture.critical.isEmpty());
    EXPECT_EQ(n.g.numEdgesGlobal(), 1);
    EXPECT_EQ(n.g.inputSource(n.c, 0), 0);
    EXPECT_EQ(n.g.numInputDestinations(n.p, 1), 0);
}

// ---------------------------------------------------------------- addUpEdgeByName

TEST(AddUpEdgeByName, FoundPortsMakeAnUpEdge)
{
    Nested n;
    const int e = n.g.addUpEdgeByName(S("pout"), n.c, S("cout"));
    EXPECT_EQ(e, 0);
    EXPECT_TRUE(n.g.isUpEdge(e));
    EXPECT_EQ(n.g.edgeSourceNode(e), n.c);
    EXPECT_EQ(n.g.edgeSourceIndex(e), 0);
    EXPECT_EQ(n.g.edgeDestNode(e), n.p);
    EXPECT_EQ(n.g.edgeDestIndex(e), 0);
    EXPECT_EQ(n.g.outputSource(n.p, 0), e);
}

TEST(AddUpEdgeByName, UnknownNamesAreNotReported)
{
    Nested n;
    MessageCapture capture;
    EXPECT_EQ(n.g.addUpEdgeByName(S("nope"), n.c, S("cout")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(n.g.addUpEdgeByName(S("pout"), n.c, S("nope")), Graph::kInvalidEdgeRef);
    EXPECT_TRUE(capture.critical.isEmpty());
    EXPECT_TRUE(capture.other.isEmpty());
    EXPECT_EQ(n.g.numEdgesGlobal(), 0);
}

TEST(AddUpEdgeByName, InvalidChildOrRootIsRefusedSilently)
{
    Nested n;
    n.g.addOutput(Graph::kRootNodeRef, S("pout"), -1);
    MessageCapture capture;
    EXPECT_EQ(n.g.addUpEdgeByName(S("pout"), 99, S("cout")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(n.g.addUpEdgeByName(S("pout"), -1, S("cout")), Graph::kInvalidEdgeRef);
    EXPECT_EQ(n.g.addUpEdgeByName(S("pout"), Graph::kRootNodeRef, S("pout")), Graph::kInvalidEdgeRef);
    EXPECT_TRUE(capture.critical.isEmpty());
    EXPECT_EQ(n.g.numEdgesGlobal(), 0);
}

TEST(AddUpEdgeByName, RemovedChildIsRefusedSilently)
{
    Nested n;
    n.g.removeChildNode(n.c);
    MessageCapture capture;
    EXPECT_EQ(n.g.addUpEdgeByName(S("pout"), n.c, S("cout")), Graph::kInvalidEdgeRef);
    EXPECT_TRUE(capture.critical.isEmpty());
    EXPECT_EQ(n.g.numEdgesGlobal(), 0);
    EXPECT_EQ(n.g.outputSource(n.p, 0), Graph::kInvalidEdgeRef);
}

// ---------------------------------------------------------------- connectByName

// a: outputs "y", "x"; b: inputs "x", "y", "z".
struct Pairing
{
    Graph g;
    int a = g.addNode(S("a"), 0, 0, Graph::kRootNodeRef);
    int b = g.addNode(S("b"), 0, 0, Graph::kRootNodeRef);
    Pairing()
    {
        g.addOutput(a, S("y"), -1);
        g.addOutput(a, S("x"), -1);
        g.addInput(b, S("x"), -1);
        g.addInput(b, S("y"), -1);
        g.addInput(b, S("z"), -1);
    }
};

TEST(ConnectByName, PairsSameNamesInTheOrderOfTheDestinationInputs)
{
    Pairing t;
    MessageCapture capture;
    t.g.connectByName(t.a, t.b);
    ASSERT_EQ(t.g.numEdgesGlobal(), 2);
    // Edge 0 was made first: b's input "x" (index 0) from a's output "x" (index 1).
    EXPECT_EQ(t.g.inputSource(t.b, 0), 0);
    EXPECT_EQ(t.g.edgeSourceNode(0), t.a);
    EXPECT_EQ(t.g.edgeSourceIndex(0), 1);
    EXPECT_EQ(t.g.edgeDestNode(0), t.b);
    EXPECT_EQ(t.g.edgeDestIndex(0), 0);
    EXPECT_EQ(t.g.inputSource(t.b, 1), 1);
    EXPECT_EQ(t.g.edgeSourceNode(1), t.a);
    EXPECT_EQ(t.g.edgeSourceIndex(1), 0);
    EXPECT_EQ(t.g.edgeDestNode(1), t.b);
    EXPECT_EQ(t.g.edgeDestIndex(1), 1);
    EXPECT_TRUE(t.g.isRegularEdge(0));
    EXPECT_TRUE(t.g.isRegularEdge(1));
    EXPECT_EQ(t.g.inputSource(t.b, 2), Graph::kInvalidEdgeRef);
    EXPECT_TRUE(capture.critical.isEmpty());
}

TEST(ConnectByName, InputWithASourceKeepsIt)
{
    Pairing t;
    const int c = t.g.addNode(S("c"), 0, 0, Graph::kRootNodeRef);
    t.g.addOutput(c, S("other"), -1);
    const int kept = t.g.addEdge(c, 0, t.b, 1);
    ASSERT_EQ(kept, 0);
    t.g.connectByName(t.a, t.b);
    EXPECT_EQ(t.g.inputSource(t.b, 1), kept);
    EXPECT_EQ(t.g.numOutputDestinations(t.a, 0), 0); // a's "y" was not used
    EXPECT_EQ(t.g.numEdgesGlobal(), 2);
    EXPECT_EQ(t.g.edgeSourceNode(t.g.inputSource(t.b, 0)), t.a);
}

TEST(ConnectByName, CycleRefusalsCreateNothingSilently)
{
    Pairing t;
    // b feeds a, so every edge from a to b would close a cycle.
    t.g.addOutput(t.b, S("back"), -1);
    t.g.addInput(t.a, S("back"), -1);
    ASSERT_EQ(t.g.addEdge(t.b, 0, t.a, 0), 0);
    MessageCapture capture;
    t.g.connectByName(t.a, t.b);
    EXPECT_EQ(t.g.numEdgesGlobal(), 1);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(t.g.inputSource(t.b, i), Graph::kInvalidEdgeRef);
    EXPECT_TRUE(capture.critical.isEmpty());
    EXPECT_TRUE(capture.debug.isEmpty());
    EXPECT_TRUE(capture.other.isEmpty());
}

// P (output "x") holding siblings a and b: a has `sameNamed` outputs "x",
// the first of which feeds P's "x" through edge 0; b has one input "x".
struct FeedsParent
{
    explicit FeedsParent(int sameNamed)
    {
        g.addOutput(p, S("x"), -1);
        for (int k = 0; k < sameNamed; ++k)
            g.addOutput(a, S("x"), -1);
        g.addInput(b, S("x"), -1);
        EXPECT_EQ(g.addUpEdge(0, a, 0), 0);
    }
    Graph g;
    int p = g.addNode(S("P"), 0, 0, Graph::kRootNodeRef);
    int a = g.addNode(S("a"), 0, 0, p);
    int b = g.addNode(S("b"), 0, 0, p);
};

TEST(ConnectByName, OutputFeedingItsParentIsPassedOverForALaterOneOfTheName)
{
    FeedsParent f(2); // a's output 0 feeds P, output 1 is free
    Graph& g = f.g;

    g.connectByName(f.a, f.b);
    ASSERT_EQ(g.numEdgesGlobal(), 2);
    EXPECT_EQ(g.inputSource(f.b, 0), 1);
    EXPECT_TRUE(g.isRegularEdge(1));
    EXPECT_EQ(g.edgeSourceNode(1), f.a);
    EXPECT_EQ(g.edgeSourceIndex(1), 1);
    EXPECT_EQ(g.numOutputDestinations(f.a, 0), 1);
    EXPECT_EQ(g.outputDestination(f.a, 0, 0), 0);
    EXPECT_EQ(g.outputSource(f.p, 0), 0);
}

TEST(ConnectByName, OnlyOutputOfTheNameFeedingItsParentLeavesTheInputFree)
{
    FeedsParent f(1);
    Graph& g = f.g;
    MessageCapture capture;
    g.connectByName(f.a, f.b);
    EXPECT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_EQ(g.inputSource(f.b, 0), Graph::kInvalidEdgeRef);
    EXPECT_EQ(g.numOutputDestinations(f.a, 0), 1);
    EXPECT_TRUE(capture.critical.isEmpty());
}

TEST(ConnectByName, OneOutputFeedsEveryInputOfItsName)
{
    Graph g;
    const int a = g.addNode(S("a"), 0, 0, Graph::kRootNodeRef);
    const int b = g.addNode(S("b"), 0, 0, Graph::kRootNodeRef);
    g.addOutput(a, S("v"), -1);
    g.addInput(b, S("v"), -1);
    g.addInput(b, S("w"), -1);
    g.addInput(b, S("v"), -1);
    g.connectByName(a, b);
    EXPECT_EQ(g.numOutputDestinations(a, 0), 2);
    EXPECT_EQ(g.inputSource(b, 0), 0);
    EXPECT_EQ(g.inputSource(b, 1), Graph::kInvalidEdgeRef);
    EXPECT_EQ(g.inputSource(b, 2), 1);
}

TEST(ConnectByName, FirstOfTwoSameNamedOutputsWins)
{
    Graph g;
    const int a = g.addNode(S("a"), 0, 0, Graph::kRootNodeRef);
    const int b = g.addNode(S("b"), 0, 0, Graph::kRootNodeRef);
    g.addOutput(a, S("v"), -1);
    g.addOutput(a, S("v"), -1);
    g.addInput(b, S("v"), -1);
    g.connectByName(a, b);
    EXPECT_EQ(g.edgeSourceIndex(g.inputSource(b, 0)), 0);
    EXPECT_EQ(g.numOutputDestinations(a, 1), 0);
}

TEST(ConnectByName, InvalidNodesDoNothing)
{
    Pairing t;
    MessageCapture capture;
    t.g.connectByName(t.a, 42);
    t.g.connectByName(-1, t.b);
    EXPECT_EQ(t.g.numEdgesGlobal(), 0);
    EXPECT_EQ(t.g.numInputs(t.b), 3);
    EXPECT_EQ(t.g.numOutputs(t.a), 2);
    EXPECT_TRUE(capture.critical.isEmpty());
}

TEST(ConnectByName, NodeWithItselfCreatesNothing)
{
    Graph g;
    const int a = g.addNode(S("a"), 0, 0, Graph::kRootNodeRef);
    g.addOutput(a, S("v"), -1);
    g.addInput(a, S("v"), -1);
    g.connectByName(a, a);
    EXPECT_EQ(g.numEdgesGlobal(), 0);
}

// ---------------------------------------------------------------- groups

// a: output group "g" (0) holding "v", an ungrouped "w" and "v";
// b: input group "h" (0) holding "v", an ungrouped "v" and "w".
struct Groups
{
    Graph g;
    int a = g.addNode(S("a"), 0, 0, Graph::kRootNodeRef);
    int b = g.addNode(S("b"), 0, 0, Graph::kRootNodeRef);
    Groups()
    {
        const int og = g.addOutputGroup(a, S("g"));
        g.addOutput(a, S("v"), og); // 0
        g.addOutput(a, S("w"), -1); // 1
        g.addOutput(a, S("v"), -1); // 2
        const int ig = g.addInputGroup(b, S("h"));
        g.addInput(b, S("v"), ig); // 0
        g.addInput(b, S("v"), -1); // 1
        g.addInput(b, S("w"), -1); // 2
    }
};

TEST(ConnectGroups, PairsOnlyPortsOfTheTwoGroups)
{
    Groups t;
    t.g.connectGroups(t.a, 0, t.b, 0);
    ASSERT_EQ(t.g.numEdgesGlobal(), 1);
    EXPECT_EQ(t.g.inputSource(t.b, 0), 0);
    EXPECT_EQ(t.g.edgeSourceIndex(0), 0);
    EXPECT_EQ(t.g.inputSource(t.b, 1), Graph::kInvalidEdgeRef);
}

TEST(ConnectGroups, MinusOneSelectsPortsInNoGroup)
{
    Groups t;
    t.g.connectGroups(t.a, -1, t.b, -1);
    ASSERT_EQ(t.g.numEdgesGlobal(), 2);
    EXPECT_EQ(t.g.inputSource(t.b, 0), Graph::kInvalidEdgeRef);
    EXPECT_EQ(t.g.edgeSourceIndex(t.g.inputSource(t.b, 1)), 2); // ungrouped "v", not the grouped one
    EXPECT_EQ(t.g.edgeSourceIndex(t.g.inputSource(t.b, 2)), 1);
}

TEST(ConnectGroups, GroupedOutputToUngroupedInputs)
{
    Groups t;
    t.g.connectGroups(t.a, 0, t.b, -1);
    ASSERT_EQ(t.g.numEdgesGlobal(), 1);
    EXPECT_EQ(t.g.edgeSourceIndex(t.g.inputSource(t.b, 1)), 0);
}

TEST(ConnectNamedGroups, LooksBothGroupsUpByName)
{
    Groups t;
    MessageCapture capture;
    t.g.connectNamedGroups(t.a, S("g"), t.b, S("h"));
    ASSERT_EQ(t.g.numEdgesGlobal(), 1);
    EXPECT_EQ(t.g.inputSource(t.b, 0), 0);
    EXPECT_TRUE(capture.critical.isEmpty());
}

TEST(ConnectNamedGroups, UnknownDestinationGroupPairsWithUngroupedInputs)
{
    Groups t;
    MessageCapture capture;
    t.g.connectNamedGroups(t.a, S("g"), t.b, S("no such group"));
    ASSERT_EQ(t.g.numEdgesGlobal(), 1);
    EXPECT_EQ(t.g.inputSource(t.b, 0), Graph::kInvalidEdgeRef);
    EXPECT_EQ(t.g.inputSource(t.b, 1), 0);
    EXPECT_EQ(t.g.edgeSourceIndex(0), 0);
    EXPECT_EQ(t.g.inputSource(t.b, 2), Graph::kInvalidEdgeRef); // "w" is not in group "g"
    EXPECT_TRUE(capture.critical.isEmpty());
}

TEST(ConnectNamedGroups, UnknownSourceGroupPairsUngroupedOutputs)
{
    Groups t;
    t.g.connectNamedGroups(t.a, S("nope"), t.b, S("h"));
    ASSERT_EQ(t.g.numEdgesGlobal(), 1);
    EXPECT_EQ(t.g.edgeSourceIndex(t.g.inputSource(t.b, 0)), 2);
}

// ---------------------------------------------------------------- connectDownByName

TEST(ConnectDownByName, ConnectsFreeChildInputToSameNamedParentInputOnce)
{
    Nested n;
    MessageCapture capture;
    n.g.connectDownByName(n.c);
    ASSERT_EQ(n.g.numEdgesGlobal(), 1);
    EXPECT_TRUE(n.g.isDownEdge(0));
    EXPECT_EQ(n.g.inputSource(n.c, 1), 0);
    EXPECT_EQ(n.g.edgeSourceIndex(0), 0);
    EXPECT_EQ(n.g.inputSource(n.c, 0), Graph::kInvalidEdgeRef); // no parent input "cin"

    n.g.connectDownByName(n.c);
    EXPECT_EQ(n.g.numEdgesGlobal(), 1);
    EXPECT_TRUE(capture.critical.isEmpty());
}

TEST(ConnectDownByName, ParentInputFeedsEverySameNamedChildInput)
{
    Nested n;
    const int c2 = n.g.addNode(S("C2"), 0, 0, n.p);
    n.g.addInput(c2, S("pin"), -1);
    n.g.connectDownByName(n.c);
    n.g.connectDownByName(c2);
    ASSERT_EQ(n.g.numInputDestinations(n.p, 0), 2);
    EXPECT_EQ(n.g.inputDestination(n.p, 0, 0), 0);
    EXPECT_EQ(n.g.inputDestination(n.p, 0, 1), 1);
    EXPECT_EQ(n.g.inputSource(n.c, 1), 0);
    EXPECT_EQ(n.g.inputSource(c2, 0), 1);
    EXPECT_TRUE(n.g.isDownEdge(1));
}

TEST(ConnectDownByName, RootAndInvalidChildDoNothing)
{
    Nested n;
    n.g.connectDownByName(Graph::kRootNodeRef);
    n.g.connectDownByName(77);
    n.g.connectDownByName(-1);
    EXPECT_EQ(n.g.numEdgesGlobal(), 0);
}

// ---------------------------------------------------------------- connectUpByName

TEST(ConnectUpByName, ConnectsChildOutputToSameNamedParentOutput)
{
    Nested n;
    n.g.connectUpByName(n.c);
    ASSERT_EQ(n.g.numEdgesGlobal(), 1);
    EXPECT_TRUE(n.g.isUpEdge(0));
    EXPECT_EQ(n.g.outputSource(n.p, 0), 0);
    EXPECT_EQ(n.g.edgeSourceNode(0), n.c);
    EXPECT_EQ(n.g.edgeSourceIndex(0), 1);
    EXPECT_EQ(n.g.numOutputDestinations(n.c, 0), 0); // no parent output "cout"

    n.g.connectUpByName(n.c); // the parent output now has a source
    EXPECT_EQ(n.g.numEdgesGlobal(), 1);
}

TEST(ConnectUpByName, ChildOutputThatHasASourceIsNotConnected)
{
    Nested n;
    // C's "pout" is produced inside C by its child G.
    const int gc = n.g.addNode(S("G"), 0, 0, n.c);
    n.g.addOutput(gc, S("pout"), -1);
    ASSERT_EQ(n.g.addUpEdge(1, gc, 0), 0);
    n.g.connectUpByName(n.c);
    EXPECT_EQ(n.g.numEdgesGlobal(), 1);
    EXPECT_EQ(n.g.outputSource(n.p, 0), Graph::kInvalidEdgeRef);
}

TEST(ConnectUpByName, RefusedFirstAttemptEndsTheSearch)
{
    Nested n;
    // P's first "pout" already has a source (from C2) but no destinations, so
    // it passes the filter; addUpEdge() refuses it, and the free second
    // "pout" is not tried.
    n.g.addOutput(n.p, S("pout"), -1); // P output 1
    const int c2 = n.g.addNode(S("C2"), 0, 0, n.p);
    n.g.addOutput(c2, S("z"), -1);
    ASSERT_EQ(n.g.addUpEdge(0, c2, 0), 0);

    n.g.connectUpByName(n.c);
    EXPECT_EQ(n.g.numEdgesGlobal(), 1);
    EXPECT_EQ(n.g.outputSource(n.p, 1), Graph::kInvalidEdgeRef);
    EXPECT_EQ(n.g.numOutputDestinations(n.c, 1), 0);
}

TEST(ConnectUpByName, ParentOutputFeedingSiblingsIsPassedOver)
{
    Nested n;
    n.g.addOutput(n.p, S("pout"), -1); // P output 1
    const int q = n.g.addNode(S("Q"), 0, 0, Graph::kRootNodeRef);
    n.g.addInput(q, S("in"), -1);
    ASSERT_EQ(n.g.addEdge(n.p, 0, q, 0), 0);

    n.g.connectUpByName(n.c);
    ASSERT_EQ(n.g.numEdgesGlobal(), 2);
    EXPECT_EQ(n.g.outputSource(n.p, 0), Graph::kInvalidEdgeRef);
    EXPECT_EQ(n.g.outputSource(n.p, 1), 1);
    EXPECT_EQ(n.g.edgeSourceIndex(1), 1);
}

TEST(ConnectUpByName, ChildOutputFeedingSiblingsIsRefusedByAddUpEdgeOnly)
{
    Nested n;
    const int s = n.g.addNode(S("S"), 0, 0, n.p);
    n.g.addInput(s, S("in"), -1);
    ASSERT_EQ(n.g.addEdge(n.c, 1, s, 0), 0); // C's "pout" feeds a sibling
    n.g.connectUpByName(n.c);
    EXPECT_EQ(n.g.numEdgesGlobal(), 1);
    EXPECT_EQ(n.g.outputSource(n.p, 0), Graph::kInvalidEdgeRef);
}

TEST(ConnectUpByName, RootAndInvalidChildDoNothing)
{
    Nested n;
    n.g.connectUpByName(Graph::kRootNodeRef);
    n.g.connectUpByName(77);
    EXPECT_EQ(n.g.numEdgesGlobal(), 0);
}

} // namespace
