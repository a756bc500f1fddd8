// Graph storage, nodes and their hierarchy, ports and groups.
//
// Edges are tested in tst_GraphEdges.cpp, the walk primitives and precedes()
// in tst_Walk.cpp.

#include <ZrnCore/Graph.h>

#include <gtest/gtest.h>

#include <ostream>

#include <QtCore/QString>

#include <climits>
#include <vector>

using Morvane::Zrn::Graph;

namespace {

// ---------------------------------------------------------------- storage

TEST(GraphStorage, NewGraphHoldsOnlyAnEmptyRoot)
{
    Graph g;
    EXPECT_EQ(g.numNodesGlobal(), 1);
    EXPECT_EQ(g.numEdgesGlobal(), 0);
    EXPECT_TRUE(g.isValidNode(0));
    EXPECT_EQ(g.nodeName(0), QString());
    EXPECT_TRUE(g.nodeName(0).isEmpty());
    EXPECT_EQ(g.parentNode(0), -1);
    EXPECT_EQ(g.nodeValue(0), -1);
    EXPECT_EQ(g.numInputs(0), 0);
    EXPECT_EQ(g.numOutputs(0), 0);
    EXPECT_EQ(g.numInputGroups(0), 0);
    EXPECT_EQ(g.numOutputGroups(0), 0);
    EXPECT_EQ(g.numNodes(0), 0);
}

TEST(GraphStorage, ConstantsHaveTheirFixedValues)
{
    EXPECT_EQ(Graph::kInvalidNodeRef, -1);
    EXPECT_EQ(Graph::kInvalidEdgeRef, -1);
    EXPECT_EQ(Graph::kInvalidGroupRef, -1);
    EXPECT_EQ(Graph::kRootNodeRef, 0);
}

TEST(GraphStorage, GetNodeGlobalAndGetEdgeGlobalReturnTheirArgument)
{
    Graph g;
    for (int i : {INT_MIN, -7, -1, 0, 1, 2, 1000, INT_MAX}) {
        EXPECT_EQ(g.getNodeGlobal(i), i);
        EXPECT_EQ(g.getEdgeGlobal(i), i);
    }
}

TEST(GraphStorage, RemovedNodeKeepsItsSlot)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 0, 0, 0);
    const int b = g.addNode(QStringLiteral("b"), 0, 0, 0);
    ASSERT_EQ(g.numNodesGlobal(), 3);

    g.removeNode(a);

    EXPECT_EQ(g.numNodesGlobal(), 3);
    EXPECT_EQ(g.getNodeGlobal(a), a);
    EXPECT_FALSE(g.isValidNode(a));
    EXPECT_TRUE(g.isValidNode(b));
    EXPECT_TRUE(g.isValidNode(0));
}

TEST(GraphStorage, IteratingGlobalSlotsAndSkippingInvalidVisitsEveryLiveNode)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 0, 0, 0);
    const int b = g.addNode(QStringLiteral("b"), 0, 0, a);
    const int c = g.addNode(QStringLiteral("c"), 0, 0, 0);
    g.removeNode(a); // takes b with it

    std::vector<int> live;
    for (int i = 0; i < g.numNodesGlobal(); ++i) {
        if (g.isValidNode(g.getNodeGlobal(i)))
            live.push_back(g.getNodeGlobal(i));
    }
    EXPECT_EQ(live, (std::vector<int>{0, c}));
    EXPECT_FALSE(g.isValidNode(b));
}

// ---------------------------------------------------------------- nodes

TEST(GraphNodes, FirstNodeUnderRootGetsReferenceOne)
{
    Graph g;
    const int n = g.addNode(QStringLiteral("a"), 2, 1, 0);
    EXPECT_EQ(n, 1);
    EXPECT_EQ(g.numNodesGlobal(), 2);
    EXPECT_EQ(g.nodeName(1), QStringLiteral("a"));
    EXPECT_EQ(g.parentNode(1), 0);
    EXPECT_EQ(g.nodeValue(1), -1);
    EXPECT_EQ(g.numInputs(1), 2);
    EXPECT_EQ(g.numOutputs(1), 1);
    EXPECT_EQ(g.inputName(1, 0), QString());
    EXPECT_EQ(g.inputName(1, 1), QString());
    EXPECT_EQ(g.outputName(1, 0), QString());
    EXPECT_EQ(g.inputGroup(1, 0), -1);
    EXPECT_EQ(g.outputGroup(1, 0), -1);
    EXPECT_EQ(g.inputSource(1, 0), -1);
    EXPECT_EQ(g.numOutputDestinations(1, 0), 0);
    EXPECT_EQ(g.numNodes(0), 1);
    EXPECT_EQ(g.getNode(0, 0), 1);
    EXPECT_EQ(g.indexOfNode(1), 0);
    EXPECT_EQ(g.numNodes(1), 0);
}

struct PortCountRow
{
    int numInputs;
    int numOutputs;
    int expectedInputs;
    int expectedOutputs;
};

// Shows a row by its counts in test listings instead of its bytes.
void PrintTo(const PortCountRow& row, std::ostream* os)
{
    *os << row.numInputs << " in, " << row.numOutputs << " out";
}

class GraphNodePortCounts : public ::testing::TestWithParam<PortCountRow>
{
};

TEST_P(GraphNodePortCounts, CountsOfZeroOrLessMakeNoPorts)
{
    const PortCountRow row = GetParam();
    Graph g;
    const int n = g.addNode(QStringLiteral("n"), row.numInputs, row.numOutputs, 0);
    EXPECT_EQ(g.numInputs(n), row.expectedInputs);
    EXPECT_EQ(g.numOutputs(n), row.expectedOutputs);
}

// One row per line.
// clang-format off
INSTANTIATE_TEST_SUITE_P(Counts, GraphNodePortCounts,
                         ::testing::Values(PortCountRow{0, 0, 0, 0},
                                           PortCountRow{-1, -5, 0, 0},
                                           PortCountRow{INT_MIN, 3, 0, 3},
                                           PortCountRow{4, -2, 4, 0},
                                           PortCountRow{1, 1, 1, 1}));
// clang-format on

TEST(GraphNodes, ReferencesAreGlobalAndPositionsArePerParent)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 0, 0, 0);
    const int b = g.addNode(QStringLiteral("b"), 0, 0, 0);
    const int a1 = g.addNode(QStringLiteral("a1"), 0, 0, a);
    const int a2 = g.addNode(QStringLiteral("a2"), 0, 0, a);
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 2);
    EXPECT_EQ(a1, 3);
    EXPECT_EQ(a2, 4);
    EXPECT_EQ(g.numNodes(0), 2);
    EXPECT_EQ(g.numNodes(a), 2);
    EXPECT_EQ(g.getNode(1, 0), b);
    EXPECT_EQ(g.getNode(0, a), a1);
    EXPECT_EQ(g.getNode(1, a), a2);
    EXPECT_EQ(g.indexOfNode(b), 1);
    EXPECT_EQ(g.indexOfNode(a2), 1);
    EXPECT_EQ(g.parentNode(a2), a);
}

TEST(GraphNodes, FindNodeReturnsTheEarliestOfTwoAlikeNamedChildren)
{
    Graph g;
    g.addNode(QStringLiteral("other"), 0, 0, 0);
    const int first = g.addNode(QStringLiteral("twin"), 0, 0, 0);
    const int second = g.addNode(QStringLiteral("twin"), 0, 0, 0);
    ASSERT_NE(first, second);
    EXPECT_EQ(g.findNode(QStringLiteral("twin"), 0), first);
}

TEST(GraphNodes, FindNodeReadsTheChildrenListWithoutTheRemovedFlag)
{
    // removeChildNode() leaves the node listed: it is still found.
    {
        Graph g;
        const int first = g.addNode(QStringLiteral("twin"), 0, 0, 0);
        g.addNode(QStringLiteral("twin"), 0, 0, 0);
        g.removeChildNode(first);
        ASSERT_FALSE(g.isValidNode(first));
        EXPECT_EQ(g.findNode(QStringLiteral("twin"), 0), first);
    }
    // removeNode() takes it out of the list: the next of the name is found.
    Graph g;
    const int first = g.addNode(QStringLiteral("twin"), 0, 0, 0);
    const int second = g.addNode(QStringLiteral("twin"), 0, 0, 0);
    g.removeNode(first);
    EXPECT_EQ(g.findNode(QStringLiteral("twin"), 0), second);
    g.removeNode(second);
    EXPECT_EQ(g.findNode(QStringLiteral("twin"), 0), -1);
}

TEST(GraphNodes, FindNodeComparesExactlyAndOnlyAmongChildren)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("Name"), 0, 0, 0);
    g.addNode(QStringLiteral("deep"), 0, 0, a);
    EXPECT_EQ(g.findNode(QStringLiteral("Name"), 0), a);
    EXPECT_EQ(g.findNode(QStringLiteral("name"), 0), -1);
    EXPECT_EQ(g.findNode(QStringLiteral("Nam"), 0), -1);
    EXPECT_EQ(g.findNode(QStringLiteral("deep"), 0), Graph::kInvalidNodeRef);
    EXPECT_EQ(g.findNode(QString(), 0), -1);
}

TEST(GraphNodes, RootHasNoParentAndNoPosition)
{
    Graph g;
    g.addNode(QStringLiteral("a"), 0, 0, 0);
    EXPECT_EQ(g.indexOfNode(0), -1);
    EXPECT_EQ(g.parentNode(0), -1);
}

TEST(GraphNodes, ContainsMeansProperAncestor)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 0, 0, 0);
    const int b = g.addNode(QStringLiteral("b"), 0, 0, a);
    const int c = g.addNode(QStringLiteral("c"), 0, 0, b);
    const int s = g.addNode(QStringLiteral("s"), 0, 0, 0);

    for (int n : {a, b, c, s})
        EXPECT_TRUE(g.contains(0, n)) << n;
    for (int n : {0, a, b, c, s})
        EXPECT_FALSE(g.contains(n, n)) << n;
    EXPECT_TRUE(g.contains(a, c));
    EXPECT_TRUE(g.contains(b, c));
    EXPECT_FALSE(g.contains(c, b)); // child does not contain its parent
    EXPECT_FALSE(g.contains(b, a));
    EXPECT_FALSE(g.contains(a, 0));
    EXPECT_FALSE(g.contains(s, c)); // a sibling subtree
    EXPECT_FALSE(g.contains(-1, c));
    EXPECT_FALSE(g.contains(-1, 0));
}

TEST(GraphNodes, ContainsAndIndexOfNodeEndAfterPurgeLeftStaleParents)
{
    // Slots 0, 1, 2, 3 with 3 under 2; removing 1 and purging makes old 3
    // node 2, whose parent field still says 2: itself.
    Graph g;
    const int one = g.addNode(QStringLiteral("one"), 0, 0, 0);
    const int two = g.addNode(QStringLiteral("two"), 0, 0, 0);
    g.addNode(QStringLiteral("three"), 0, 0, two);
    g.removeNode(one);
    g.purge();
    ASSERT_EQ(g.numNodesGlobal(), 3);
    ASSERT_EQ(g.parentNode(2), 2);

    EXPECT_FALSE(g.contains(0, 2)); // the climb comes round at once
    EXPECT_FALSE(g.contains(5, 2));
    EXPECT_TRUE(g.contains(2, 2)); // what the stale field says, kept as it is
    EXPECT_EQ(g.indexOfNode(2), -1);
}

TEST(GraphNodes, IndexOfNodeIsMinusOneWhenThePurgedParentSlotIsGone)
{
    // Slots 0..4 with 4 under 3; removing 1 and 2 and purging leaves old 4 as
    // node 2 with parent field 3, beyond the three slots left.
    Graph g;
    const int one = g.addNode(QStringLiteral("one"), 0, 0, 0);
    const int two = g.addNode(QStringLiteral("two"), 0, 0, 0);
    const int three = g.addNode(QStringLiteral("three"), 0, 0, 0);
    g.addNode(QStringLiteral("four"), 0, 0, three);
    g.removeNode(one);
    g.removeNode(two);
    g.purge();
    ASSERT_EQ(g.numNodesGlobal(), 3);
    ASSERT_EQ(g.parentNode(2), 3);

    EXPECT_EQ(g.indexOfNode(2), -1);
    EXPECT_TRUE(g.contains(3, 2));
    EXPECT_FALSE(g.contains(0, 2));
}

TEST(GraphNodes, ValueStartsAtMinusOneAndIsReplacedBySetNodeValue)
{
    Graph g;
    const int n = g.addNode(QStringLiteral("n"), 0, 0, 0);
    EXPECT_EQ(g.nodeValue(n), -1);
    g.setNodeValue(n, 7);
    EXPECT_EQ(g.nodeValue(n), 7);
    EXPECT_EQ(g.nodeValue(0), -1);
    g.setNodeValue(0, INT_MIN);
    EXPECT_EQ(g.nodeValue(0), INT_MIN);
}

TEST(GraphNodes, SetNodeNameReplacesTheName)
{
    Graph g;
    const int n = g.addNode(QStringLiteral("before"), 0, 0, 0);
    g.setNodeName(n, QStringLiteral("after"));
    EXPECT_EQ(g.nodeName(n), QStringLiteral("after"));
    EXPECT_EQ(g.findNode(QStringLiteral("before"), 0), -1);
    EXPECT_EQ(g.findNode(QStringLiteral("after"), 0), n);
}

TEST(GraphNodes, IsValidNodeRejectsOutOfRangeAndRemovedReferences)
{
    Graph g;
    const int a = g.addNode(QStringLiteral("a"), 0, 0, 0);
    const int b = g.addNode(QStringLiteral("b"), 0, 0, 0);
    g.removeNode(a);
    EXPECT_FALSE(g.isValidNode(-1));
    EXPECT_FALSE(g.isValidNode(INT_MIN));
    EXPECT_FALSE(g.isValidNode(g.numNodesGlobal()));
    EXPECT_FALSE(g.isValidNode(INT_MAX));
    EXPECT_FALSE(g.isValidNode(a));
    EXPECT_TRUE(g.isValidNode(b));
    EXPECT_TRUE(g.isValidNode(0));
}

// ---------------------------------------------------------------- ports and groups
//
// Inputs and outputs are two identical families; every test below runs once
// for each side through this table of member functions.

struct PortSide
{
    const char* label;
    int (Graph::*add)(int, const QString&, int);
    int (Graph::*addGroup)(int, const QString&);
    int (Graph::*count)(int) const;
    int (Graph::*countGroups)(int) const;
    int (Graph::*find)(int, const QString&) const;
    int (Graph::*findGroup)(int, const QString&) const;
    QString (Graph::*name)(int, int) const;
    void (Graph::*setName)(int, int, const QString&);
    int (Graph::*group)(int, int) const;
    QString (Graph::*groupName)(int, int) const;
    void (Graph::*setGroupName)(int, int, const QString&);
    bool (Graph::*isValid)(int, int) const;
    bool (Graph::*isValidGroup)(int, int) const;
    // The other side's search, to show the two families are independent.
    int (Graph::*findOther)(int, const QString&) const;
    int (Graph::*addOther)(int, const QString&, int);
    // addNode with `n` ports on this side and none on the other.
    int (*makeNode)(Graph&, int n);
};

// The two tables line up member by member.
// clang-format off
const PortSide kInputSide{
    "inputs",
    &Graph::addInput, &Graph::addInputGroup, &Graph::numInputs, &Graph::numInputGroups,
    &Graph::findInput, &Graph::findInputGroup, &Graph::inputName, &Graph::setInputName,
    &Graph::inputGroup, &Graph::inputGroupName, &Graph::setInputGroupName,
    &Graph::isValidInput, &Graph::isValidInputGroup,
    &Graph::findOutput, &Graph::addOutput,
    [](Graph& g, int n) { return g.addNode(QStringLiteral("node"), n, 0, 0); },
};

const PortSide kOutputSide{
    "outputs",
    &Graph::addOutput, &Graph::addOutputGroup, &Graph::numOutputs, &Graph::numOutputGroups,
    &Graph::findOutput, &Graph::findOutputGroup, &Graph::outputName, &Graph::setOutputName,
    &Graph::outputGroup, &Graph::outputGroupName, &Graph::setOutputGroupName,
    &Graph::isValidOutput, &Graph::isValidOutputGroup,
    &Graph::findInput, &Graph::addInput,
    [](Graph& g, int n) { return g.addNode(QStringLiteral("node"), 0, n, 0); },
};
// clang-format on

// Names the side in test listings instead of dumping the table's bytes.
void PrintTo(const PortSide& side, std::ostream* os)
{
    *os << side.label;
}

class GraphPorts : public ::testing::TestWithParam<PortSide>
{
protected:
    Graph g;
    const PortSide& s = GetParam();
};

TEST_P(GraphPorts, AddedPortFollowsTheUnnamedOnesOfAddNode)
{
    const int node = s.makeNode(g, 2);
    EXPECT_EQ((g.*s.add)(node, QStringLiteral("x"), -1), 2);
    EXPECT_EQ((g.*s.count)(node), 3);
    EXPECT_EQ((g.*s.name)(node, 2), QStringLiteral("x"));
    EXPECT_EQ((g.*s.group)(node, 2), -1);
    EXPECT_EQ((g.*s.name)(node, 0), QString());
    EXPECT_EQ((g.*s.name)(node, 1), QString());
    EXPECT_EQ((g.*s.find)(node, QString()), 0);
    EXPECT_EQ((g.*s.find)(node, QStringLiteral("x")), 2);
}

TEST_P(GraphPorts, GroupsAreNumberedFromZeroAndAbsentNamesAreNotFound)
{
    const int node = s.makeNode(g, 0);
    EXPECT_EQ((g.*s.addGroup)(node, QStringLiteral("g0")), 0);
    EXPECT_EQ((g.*s.addGroup)(node, QStringLiteral("g1")), 1);
    EXPECT_EQ((g.*s.countGroups)(node), 2);
    EXPECT_EQ((g.*s.groupName)(node, 1), QStringLiteral("g1"));
    EXPECT_EQ((g.*s.findGroup)(node, QStringLiteral("g1")), 1);
    EXPECT_EQ((g.*s.findGroup)(node, QStringLiteral("absent")), -1);
    EXPECT_EQ((g.*s.findGroup)(node, QStringLiteral("G0")), Graph::kInvalidGroupRef);
}

TEST_P(GraphPorts, AddingAGroupChangesNoPort)
{
    const int node = s.makeNode(g, 2);
    (g.*s.addGroup)(node, QStringLiteral("g"));
    EXPECT_EQ((g.*s.group)(node, 0), -1);
    EXPECT_EQ((g.*s.group)(node, 1), -1);
    EXPECT_EQ((g.*s.count)(node), 2);
}

TEST_P(GraphPorts, TwoAlikeNamedPortsAreFoundAtTheLowerIndex)
{
    const int node = s.makeNode(g, 0);
    (g.*s.add)(node, QStringLiteral("a"), -1);
    (g.*s.add)(node, QStringLiteral("twin"), -1);
    (g.*s.add)(node, QStringLiteral("twin"), -1);
    EXPECT_EQ((g.*s.find)(node, QStringLiteral("twin")), 1);
    EXPECT_EQ((g.*s.find)(node, QStringLiteral("Twin")), -1);
}

TEST_P(GraphPorts, TwoAlikeNamedGroupsAreFoundAtTheLowerReference)
{
    const int node = s.makeNode(g, 0);
    (g.*s.addGroup)(node, QStringLiteral("a"));
    (g.*s.addGroup)(node, QStringLiteral("twin"));
    (g.*s.addGroup)(node, QStringLiteral("twin"));
    EXPECT_EQ((g.*s.findGroup)(node, QStringLiteral("twin")), 1);
}

TEST_P(GraphPorts, GroupIsStoredAsGivenEvenWhenNoSuchGroupExists)
{
    const int node = s.makeNode(g, 0);
    const int port = (g.*s.add)(node, QStringLiteral("y"), 5);
    EXPECT_EQ(port, 0);
    EXPECT_EQ((g.*s.group)(node, port), 5);
    EXPECT_EQ((g.*s.countGroups)(node), 0);
    EXPECT_FALSE((g.*s.isValidGroup)(node, 5));
}

TEST_P(GraphPorts, PortJoinsTheGroupGivenToAdd)
{
    const int node = s.makeNode(g, 0);
    const int grp = (g.*s.addGroup)(node, QStringLiteral("g"));
    const int port = (g.*s.add)(node, QStringLiteral("p"), grp);
    EXPECT_EQ((g.*s.group)(node, port), grp);
    EXPECT_TRUE((g.*s.isValidGroup)(node, grp));
}

TEST_P(GraphPorts, RenamingAPortOrAGroupReplacesItsName)
{
    const int node = s.makeNode(g, 1);
    const int grp = (g.*s.addGroup)(node, QStringLiteral("old group"));
    (g.*s.setName)(node, 0, QStringLiteral("new"));
    (g.*s.setGroupName)(node, grp, QStringLiteral("new group"));
    EXPECT_EQ((g.*s.name)(node, 0), QStringLiteral("new"));
    EXPECT_EQ((g.*s.find)(node, QStringLiteral("new")), 0);
    EXPECT_EQ((g.*s.find)(node, QString()), -1);
    EXPECT_EQ((g.*s.groupName)(node, grp), QStringLiteral("new group"));
    EXPECT_EQ((g.*s.findGroup)(node, QStringLiteral("old group")), -1);
}

TEST_P(GraphPorts, IsValidPortRejectsOutOfRangeIndicesAndBadNodes)
{
    const int node = s.makeNode(g, 2);
    EXPECT_TRUE((g.*s.isValid)(node, 0));
    EXPECT_TRUE((g.*s.isValid)(node, 1));
    EXPECT_FALSE((g.*s.isValid)(node, -1));
    EXPECT_FALSE((g.*s.isValid)(node, (g.*s.count)(node)));
    EXPECT_FALSE((g.*s.isValid)(node, INT_MAX));
    EXPECT_FALSE((g.*s.isValid)(-1, 0));
    EXPECT_FALSE((g.*s.isValid)(g.numNodesGlobal(), 0));
    EXPECT_FALSE((g.*s.isValid)(INT_MIN, INT_MIN));
}

TEST_P(GraphPorts, IsValidPortIsFalseOnARemovedNode)
{
    const int node = s.makeNode(g, 2);
    g.removeNode(node);
    EXPECT_FALSE((g.*s.isValid)(node, 0));
    EXPECT_FALSE((g.*s.isValid)(node, 1));
}

TEST_P(GraphPorts, IsValidGroupRejectsOutOfRangeReferencesAndBadNodes)
{
    const int node = s.makeNode(g, 0);
    (g.*s.addGroup)(node, QStringLiteral("g"));
    EXPECT_TRUE((g.*s.isValidGroup)(node, 0));
    EXPECT_FALSE((g.*s.isValidGroup)(node, 1));
    EXPECT_FALSE((g.*s.isValidGroup)(node, -1));
    EXPECT_FALSE((g.*s.isValidGroup)(-1, 0));
    EXPECT_FALSE((g.*s.isValidGroup)(INT_MAX, 0));
    g.removeNode(node);
    EXPECT_FALSE((g.*s.isValidGroup)(node, 0));
}

TEST_P(GraphPorts, TheTwoFamiliesAreIndependent)
{
    const int node = s.makeNode(g, 0);
    (g.*s.addOther)(node, QStringLiteral("x"), -1);
    EXPECT_EQ((g.*s.find)(node, QStringLiteral("x")), -1);
    EXPECT_EQ((g.*s.count)(node), 0);
    EXPECT_EQ((g.*s.add)(node, QStringLiteral("x"), -1), 0);
    EXPECT_EQ((g.*s.find)(node, QStringLiteral("x")), 0);
    EXPECT_EQ((g.*s.findOther)(node, QStringLiteral("x")), 0);
}

INSTANTIATE_TEST_SUITE_P(Sides, GraphPorts, ::testing::Values(kInputSide, kOutputSide),
                         [](const ::testing::TestParamInfo<PortSide>& info) { return std::string(info.param.label); });

// ---------------------------------------------------------------- unchecked accessors
//
// The accessors that take valid references as a precondition stop a debug
// build with a Q_ASSERT; a release build does not check them.

#ifndef QT_NO_DEBUG
TEST(GraphPreconditionsDeathTest, AccessorsAssertOnInvalidReferencesInDebugBuilds)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Graph g;
    const int n = g.addNode(QStringLiteral("n"), 1, 1, 0);
    EXPECT_DEATH(g.nodeName(n + 1), "invalid node reference");
    EXPECT_DEATH(g.inputName(n, 1), "invalid input");
    EXPECT_DEATH(g.outputSource(n, -1), "invalid output");
    EXPECT_DEATH(g.inputGroupName(n, 0), "invalid input group");
    EXPECT_DEATH(g.edgeSourceNode(0), "edge reference out of range");
    EXPECT_DEATH(g.inputDestination(n, 0, 0), "invalid input destination");
}
#endif

} // namespace
