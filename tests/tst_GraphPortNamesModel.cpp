// Port names against a model: seeded random edits of a graph (nodes and
// ports added and removed, ports renamed, purge, compact, connection by
// name, a document written and read back), each followed by a comparison of
// every live port's name and of every lookup by name with a plain list of
// names per node kept beside the graph. Names come from a small pool that
// holds the null string and the empty one (equal as QStrings, told apart by
// isNull()), so that many ports share each name, plus now and then a name
// never used before, so that names are forgotten and new ones take their
// place.

#include "TestSupport.h"

#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphDocument.h>

#include <gtest/gtest.h>

#include <QtCore/QLatin1String>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

using Morvane::Zrn::Graph;
using ZrnTest::inputNames;

namespace {

// What one node's ports are called, by side, in index order.
struct ModelNode
{
    bool live = true;
    std::vector<QString> inputs;
    std::vector<QString> outputs;
};

// The first index of `names` whose entry equals `name` as QStrings compare
// (the null string equals ""), -1 when none does.
int firstIndex(const std::vector<QString>& names, const QString& name)
{
    for (size_t i = 0; i < names.size(); ++i) {
        if (names[i] == name)
            return int(i);
    }
    return -1;
}

// The edges at each port of one node, to see that edits of names and of
// other ports leave them where they were.
struct PortEdges
{
    std::vector<int> inputSources;
    std::vector<std::vector<int>> inputDestinations;
    std::vector<int> outputSources;
    std::vector<std::vector<int>> outputDestinations;
};

PortEdges edgesOf(const Graph& g, int node)
{
    PortEdges edges;
    for (int i = 0; i < g.numInputs(node); ++i) {
        edges.inputSources.push_back(g.inputSource(node, i));
        edges.inputDestinations.push_back(ZrnTest::inputDestinations(g, node, i));
    }
    for (int o = 0; o < g.numOutputs(node); ++o) {
        edges.outputSources.push_back(g.outputSource(node, o));
        edges.outputDestinations.push_back(ZrnTest::outputDestinations(g, node, o));
    }
    return edges;
}

class PortNamesModel
{
public:
    explicit PortNamesModel(std::uint32_t seed)
        : m_random(seed)
    {
        m_nodes.resize(1); // the root, with no ports
        m_pool = {QString(),           QString(QLatin1String("")), QStringLiteral("a"),
                  QStringLiteral("b"), QStringLiteral("color"),    QStringLiteral("depth")};
    }

    // Runs `steps` random edits, comparing after each; stops at the first
    // difference (a failed assertion) and says which step it was.
    void run(int steps)
    {
        compare();
        for (m_step = 0; m_step < steps && !::testing::Test::HasFailure(); ++m_step) {
            edit();
            compare();
        }
    }

    // How many edits of each kind ran, so that a test can tell every kind
    // was reached.
    std::vector<int> counts = std::vector<int>(kKinds, 0);
    // How many edges the pairings made.
    int edgesMade = 0;

    static constexpr int kKinds = 13;

private:
    int pick(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(m_random); }

    QString name()
    {
        // One name in eight is new, so that the graph keeps meeting names
        // it has never held and forgetting names no port has any more.
        if (pick(8) == 0)
            return QStringLiteral("fresh%1").arg(m_fresh++);
        return m_pool[size_t(pick(int(m_pool.size())))];
    }

    std::vector<int> liveNodes() const
    {
        std::vector<int> refs;
        for (size_t n = 0; n < m_nodes.size(); ++n) {
            if (m_nodes[n].live)
                refs.push_back(int(n));
        }
        return refs;
    }

    int liveNode()
    {
        const std::vector<int> refs = liveNodes();
        return refs[size_t(pick(int(refs.size())))];
    }

    // A live node other than the root, or -1 when there is none.
    int liveChild()
    {
        std::vector<int> refs = liveNodes();
        refs.erase(refs.begin()); // the root is never removed here
        return refs.empty() ? -1 : refs[size_t(pick(int(refs.size())))];
    }

    void edit()
    {
        const int kind = pick(kKinds);
        ++counts[size_t(kind)];
        switch (kind) {
        case 0: addNode(); break;
        case 1: addPort(true); break;
        case 2: addPort(false); break;
        case 3:
        case 4: rename(kind == 3); break;
        case 5: removePort(true); break;
        case 6: removePort(false); break;
        case 7: removeNode(); break;
        case 8: renumber(pick(2) == 0); break;
        case 9: connect(); break;
        case 10: addEdgeByName(); break;
        case 11: connectAcrossLevels(); break;
        case 12: roundTrip(); break;
        }
    }

    void addNode()
    {
        if (liveNodes().size() > 10)
            return removeNode();
        const int numInputs = pick(4);
        const int numOutputs = pick(4);
        const int ref = m_graph.addNode(QStringLiteral("n"), numInputs, numOutputs, Graph::kRootNodeRef);
        ASSERT_EQ(ref, int(m_nodes.size())) << where();
        ModelNode node;
        node.inputs.resize(size_t(numInputs));
        node.outputs.resize(size_t(numOutputs));
        m_nodes.push_back(node);
    }

    void addPort(bool input)
    {
        const int n = liveNode();
        std::vector<QString>& names = input ? m_nodes[size_t(n)].inputs : m_nodes[size_t(n)].outputs;
        if (names.size() >= 6)
            return removePort(input);
        const QString given = name();
        const PortEdges before = edgesOf(m_graph, n);
        const int index = input ? m_graph.addInput(n, given, -1) : m_graph.addOutput(n, given, -1);
        ASSERT_EQ(index, int(names.size())) << where();
        names.push_back(given);
        // The new port has no edge, and the edges of the others stay put
        // although the block of ports may have moved or grown.
        PortEdges after = edgesOf(m_graph, n);
        if (input) {
            EXPECT_EQ(after.inputSources.back(), -1) << where();
            EXPECT_TRUE(after.inputDestinations.back().empty()) << where();
            after.inputSources.pop_back();
            after.inputDestinations.pop_back();
        } else {
            EXPECT_EQ(after.outputSources.back(), -1) << where();
            EXPECT_TRUE(after.outputDestinations.back().empty()) << where();
            after.outputSources.pop_back();
            after.outputDestinations.pop_back();
        }
        expectSameEdges(before, after);
    }

    void rename(bool input)
    {
        const int n = liveNode();
        std::vector<QString>& names = input ? m_nodes[size_t(n)].inputs : m_nodes[size_t(n)].outputs;
        if (names.empty())
            return addPort(input);
        const int i = pick(int(names.size()));
        // Now and then a port is given the name it has, or the name of
        // another port of the graph.
        const QString given = pick(4) == 0 ? names[size_t(i)] : name();
        const PortEdges before = edgesOf(m_graph, n);
        if (input)
            m_graph.setInputName(n, i, given);
        else
            m_graph.setOutputName(n, i, given);
        names[size_t(i)] = given;
        expectSameEdges(before, edgesOf(m_graph, n));
    }

    void removePort(bool input)
    {
        const int n = liveNode();
        std::vector<QString>& names = input ? m_nodes[size_t(n)].inputs : m_nodes[size_t(n)].outputs;
        if (names.empty())
            return addPort(input);
        const int i = pick(int(names.size()));
        if (input)
            m_graph.removeInput(n, i);
        else
            m_graph.removeOutput(n, i);
        names.erase(names.begin() + i);
    }

    void removeNode()
    {
        const int n = liveChild();
        if (n < 0)
            return addNode();
        m_graph.removeNode(n);
        m_nodes[size_t(n)].live = false;
    }

    // purge() or compact(): the live nodes keep their order and their ports'
    // names under new references.
    void renumber(bool purge)
    {
        QVector<int> nodeMap;
        if (purge)
            m_graph.purge(&nodeMap, nullptr);
        else
            m_graph.compact(&nodeMap, nullptr);
        QVector<int> expected;
        std::vector<ModelNode> kept;
        for (const ModelNode& node : m_nodes) {
            expected << (node.live ? int(kept.size()) : -1);
            if (node.live)
                kept.push_back(node);
        }
        ASSERT_EQ(nodeMap, expected) << where();
        m_nodes = kept;
    }

    void connect()
    {
        const int src = liveChild();
        const int dst = liveChild();
        if (src < 0)
            return addNode();
        pairAndCheck(Pairing::Regular, src, dst);
    }

    void addEdgeByName()
    {
        const int src = liveChild();
        const int dst = liveChild();
        if (src < 0)
            return addNode();
        const QString srcName = name();
        const QString dstName = name();
        const int srcOutput = firstIndex(m_nodes[size_t(src)].outputs, srcName);
        const int dstInput = firstIndex(m_nodes[size_t(dst)].inputs, dstName);
        ZrnTest::MessageCapture capture;
        const int edge = m_graph.addEdgeByName(src, srcName, dst, dstName);
        // One report per name not found, and no edge then.
        EXPECT_EQ(capture.critical.size(), (srcOutput < 0 ? 1 : 0) + (dstInput < 0 ? 1 : 0)) << where();
        if (srcOutput < 0 || dstInput < 0) {
            EXPECT_EQ(edge, -1) << where();
        } else if (edge != -1) {
            EXPECT_EQ(m_graph.edgeSourceNode(edge), src) << where();
            EXPECT_EQ(m_graph.edgeSourceIndex(edge), srcOutput) << where();
            EXPECT_EQ(m_graph.edgeDestNode(edge), dst) << where();
            EXPECT_EQ(m_graph.edgeDestIndex(edge), dstInput) << where();
        }
    }

    // The pairings between a child and the root, which match a child's
    // ports with the root's.
    void connectAcrossLevels()
    {
        const int child = liveChild();
        if (child < 0)
            return addNode();
        pairAndCheck(pick(2) == 0 ? Pairing::Down : Pairing::Up, Graph::kRootNodeRef, child);
    }

    enum class Pairing { Regular, Down, Up };

    // Runs connectByName(from, to), connectDownByName(to) or
    // connectUpByName(to) and checks that it made exactly the edges foreseen
    // from the model's names: for each free port of `to` in index order, one
    // attempt from the first port of `from` of an equal name whose first
    // destination, if any, is of the pairing's kind. Whether an attempt is
    // refused is asked of checkEdge() and its kin beforehand; within one call
    // only an up edge can take what a later attempt needs (the parent
    // output's source).
    void pairAndCheck(Pairing kind, int from, int to)
    {
        const bool inputs = kind != Pairing::Up;
        const std::vector<QString>& toNames = inputs ? m_nodes[size_t(to)].inputs : m_nodes[size_t(to)].outputs;
        const std::vector<QString>& fromNames = kind == Pairing::Regular
            ? m_nodes[size_t(from)].outputs
            : (inputs ? m_nodes[size_t(from)].inputs : m_nodes[size_t(from)].outputs);
        const auto eligible = [&](int f) {
            const bool fromOutput = kind != Pairing::Down;
            const int count =
                fromOutput ? m_graph.numOutputDestinations(from, f) : m_graph.numInputDestinations(from, f);
            if (count == 0)
                return true;
            const int first = fromOutput ? m_graph.outputDestination(from, f, 0) : m_graph.inputDestination(from, f, 0);
            switch (kind) {
            case Pairing::Regular: return m_graph.isRegularEdge(first);
            case Pairing::Down: return m_graph.isDownEdge(first);
            case Pairing::Up: return m_graph.isUpEdge(first);
            }
            return false;
        };
        // The expected new edges, as (source node, index, destination node,
        // index), in the order they are made.
        std::vector<std::vector<int>> expected;
        std::vector<int> taken;
        for (size_t t = 0; t < toNames.size(); ++t) {
            const int source = inputs ? m_graph.inputSource(to, int(t)) : m_graph.outputSource(to, int(t));
            if (source != -1)
                continue;
            for (size_t f = 0; f < fromNames.size(); ++f) {
                if (!eligible(int(f)) || fromNames[f] != toNames[t])
                    continue;
                if (kind == Pairing::Regular) {
                    if (m_graph.checkEdge(from, int(f), to, int(t)).accepted())
                        expected.push_back({from, int(f), to, int(t)});
                } else if (kind == Pairing::Down) {
                    if (m_graph.checkDownEdge(int(f), to, int(t)).accepted())
                        expected.push_back({from, int(f), to, int(t)});
                } else if (m_graph.checkUpEdge(int(f), to, int(t)).accepted()
                           && std::find(taken.begin(), taken.end(), int(f)) == taken.end()) {
                    expected.push_back({to, int(t), from, int(f)});
                    taken.push_back(int(f));
                }
                break; // one attempt, refused or not
            }
        }
        const int before = m_graph.numEdgesGlobal();
        switch (kind) {
        case Pairing::Regular: m_graph.connectByName(from, to); break;
        case Pairing::Down: m_graph.connectDownByName(to); break;
        case Pairing::Up: m_graph.connectUpByName(to); break;
        }
        std::vector<std::vector<int>> made;
        for (int e = before; e < m_graph.numEdgesGlobal(); ++e) {
            made.push_back({m_graph.edgeSourceNode(e), m_graph.edgeSourceIndex(e), m_graph.edgeDestNode(e),
                            m_graph.edgeDestIndex(e)});
        }
        EXPECT_EQ(made, expected) << where() << " pairing " << int(kind);
        edgesMade += int(made.size());
    }

    // The graph written as a document and read back into itself: the live
    // nodes in their order, with ports of the same names. A document holds
    // no null string, so a null name may come back empty: the model takes
    // the names read, once they compare equal to its own.
    void roundTrip()
    {
        const QByteArray document = writeGraphDocument(m_graph);
        QString error;
        ASSERT_TRUE(readGraphDocument(document, m_graph, &error)) << where() << ' ' << error.toStdString();
        std::vector<ModelNode> kept;
        for (const ModelNode& node : m_nodes) {
            if (node.live)
                kept.push_back(node);
        }
        m_nodes = kept;
        ASSERT_EQ(m_graph.numNodesGlobal(), int(m_nodes.size())) << where();
        for (size_t n = 0; n < m_nodes.size(); ++n) {
            ModelNode& node = m_nodes[n];
            ASSERT_EQ(m_graph.numInputs(int(n)), int(node.inputs.size())) << where();
            ASSERT_EQ(m_graph.numOutputs(int(n)), int(node.outputs.size())) << where();
            for (size_t i = 0; i < node.inputs.size(); ++i) {
                const QString read = m_graph.inputName(int(n), int(i));
                EXPECT_EQ(read, node.inputs[i]) << where();
                node.inputs[i] = read;
            }
            for (size_t o = 0; o < node.outputs.size(); ++o) {
                const QString read = m_graph.outputName(int(n), int(o));
                EXPECT_EQ(read, node.outputs[o]) << where();
                node.outputs[o] = read;
            }
        }
    }

    void expectSameEdges(const PortEdges& before, const PortEdges& after)
    {
        EXPECT_EQ(after.inputSources, before.inputSources) << where();
        EXPECT_EQ(after.inputDestinations, before.inputDestinations) << where();
        EXPECT_EQ(after.outputSources, before.outputSources) << where();
        EXPECT_EQ(after.outputDestinations, before.outputDestinations) << where();
    }

    // Every live node's ports read back as the model names them, null and
    // empty apart, and every lookup finds the first port of an equal name.
    void compare()
    {
        for (size_t n = 0; n < m_nodes.size(); ++n) {
            const ModelNode& node = m_nodes[n];
            ASSERT_EQ(m_graph.isValidNode(int(n)), node.live) << where() << " node " << n;
            if (!node.live)
                continue;
            compareSide(int(n), true, node.inputs);
            compareSide(int(n), false, node.outputs);
        }
    }

    void compareSide(int n, bool input, const std::vector<QString>& names)
    {
        ASSERT_EQ(input ? m_graph.numInputs(n) : m_graph.numOutputs(n), int(names.size())) << where();
        for (size_t i = 0; i < names.size(); ++i) {
            const QString read = input ? m_graph.inputName(n, int(i)) : m_graph.outputName(n, int(i));
            ASSERT_EQ(read, names[i]) << where() << " node " << n << " port " << i;
            ASSERT_EQ(read.isNull(), names[i].isNull()) << where() << " node " << n << " port " << i;
        }
        std::vector<QString> asked = m_pool;
        asked.push_back(QStringLiteral("fresh%1").arg(m_fresh - 1)); // the newest
        asked.push_back(QStringLiteral("fresh%1").arg(m_fresh));     // none yet
        asked.insert(asked.end(), names.begin(), names.end());
        for (const QString& name : asked) {
            const int found = input ? m_graph.findInput(n, name) : m_graph.findOutput(n, name);
            ASSERT_EQ(found, firstIndex(names, name))
                << where() << " node " << n << (input ? " input '" : " output '") << name.toStdString() << "'";
        }
    }

    std::string where() const { return "step " + std::to_string(m_step); }

    Graph m_graph;
    std::vector<ModelNode> m_nodes;
    std::vector<QString> m_pool;
    std::mt19937 m_random;
    int m_fresh = 0;
    int m_step = -1;
};

class GraphPortNamesModel : public ::testing::TestWithParam<std::uint32_t>
{
};

} // namespace

TEST_P(GraphPortNamesModel, NamesAndLookupsFollowEveryEdit)
{
    PortNamesModel model(GetParam());
    model.run(2000);
    EXPECT_GT(model.edgesMade, 50);
    for (int kind = 0; kind < PortNamesModel::kKinds; ++kind)
        EXPECT_GT(model.counts[size_t(kind)], 0) << "edit kind " << kind << " never ran";
}

INSTANTIATE_TEST_SUITE_P(Seeds, GraphPortNamesModel, ::testing::Values(1u, 7u, 2026u));

// A removed node's port keeps its name until purge() or compact() drops the
// node, even when it is the last port of that name: names that come after
// do not take its place, and the purge lets go of it exactly once.
TEST(GraphPortNamesEdges, RemovedNodeHoldsItsNamesUntilDropped)
{
    for (const bool purge : {true, false}) {
        Graph g;
        const int gone = g.addNode(QStringLiteral("gone"), 0, 0, Graph::kRootNodeRef);
        const int kept = g.addNode(QStringLiteral("kept"), 0, 0, Graph::kRootNodeRef);
        g.addInput(gone, QStringLiteral("p"), -1);
        g.addInput(kept, QStringLiteral("p"), -1);
        g.removeNode(gone);
        g.setInputName(kept, 0, QStringLiteral("q")); // `gone` alone has "p" now
        g.addInput(kept, QStringLiteral("r"), -1);
        g.addInput(kept, QStringLiteral("s"), -1);
        EXPECT_EQ(g.findInput(kept, QStringLiteral("p")), -1);
        if (purge)
            g.purge();
        else
            g.compact();
        const int k = 1; // `kept` follows the root
        g.addInput(k, QStringLiteral("t"), -1);
        g.addInput(k, QStringLiteral("p"), -1);
        const std::vector<QString> expected{QStringLiteral("q"), QStringLiteral("r"), QStringLiteral("s"),
                                            QStringLiteral("t"), QStringLiteral("p")};
        EXPECT_EQ(inputNames(g, k), expected) << (purge ? "purge" : "compact");
        EXPECT_EQ(g.findInput(k, QStringLiteral("p")), 4);
        EXPECT_EQ(g.findInput(k, QStringLiteral("t")), 3);
    }
}

// Renaming a port to the name it has keeps the name, even for its only
// holder; null and empty names given by rename read back as given.
TEST(GraphPortNamesEdges, RenameToOwnNameNullAndEmpty)
{
    Graph g;
    const int n = g.addNode(QStringLiteral("n"), 1, 0, Graph::kRootNodeRef);
    g.setInputName(n, 0, QStringLiteral("only"));
    g.setInputName(n, 0, QStringLiteral("only"));
    g.addInput(n, QStringLiteral("other"), -1);
    EXPECT_EQ(g.inputName(n, 0), QStringLiteral("only"));
    EXPECT_EQ(g.findInput(n, QStringLiteral("only")), 0);

    g.setInputName(n, 0, QLatin1String(""));
    EXPECT_FALSE(g.inputName(n, 0).isNull());
    EXPECT_TRUE(g.inputName(n, 0).isEmpty());
    EXPECT_EQ(g.findInput(n, QStringLiteral("only")), -1);
    EXPECT_EQ(g.findInput(n, QString()), 0);

    g.setInputName(n, 0, QString());
    EXPECT_TRUE(g.inputName(n, 0).isNull());
    EXPECT_EQ(g.findInput(n, QLatin1String("")), 0);

    // The empty name once let go, and taken again by another port.
    g.setInputName(n, 1, QLatin1String(""));
    EXPECT_FALSE(g.inputName(n, 1).isNull());
    EXPECT_TRUE(g.inputName(n, 0).isNull());
    g.setInputName(n, 0, QStringLiteral("x"));
    EXPECT_EQ(g.findInput(n, QString()), 1);
}

// Thousands of distinct names, most of them then let go and followed by as
// many new ones: every port still reads back and is found by its own name.
TEST(GraphPortNamesEdges, ManyDistinctNamesComeAndGo)
{
    Graph g;
    const int n = g.addNode(QStringLiteral("n"), 0, 0, Graph::kRootNodeRef);
    const int count = 3000;
    for (int i = 0; i < count; ++i)
        g.addOutput(n, QStringLiteral("first%1").arg(i), -1);
    for (int i = 0; i < count; i += 2)
        g.setOutputName(n, i, QStringLiteral("shared"));
    for (int i = count - 1; i >= 0; i -= 3)
        g.removeOutput(n, i);
    const int kept = g.numOutputs(n);
    for (int i = 0; i < count; ++i)
        g.addOutput(n, QStringLiteral("second%1").arg(i), -1);

    // The outputs kept, in order: what was at index i survives when
    // (count - 1 - i) % 3 != 0.
    std::vector<QString> expected;
    for (int i = 0; i < count; ++i) {
        if ((count - 1 - i) % 3 != 0)
            expected.push_back(i % 2 == 0 ? QStringLiteral("shared") : QStringLiteral("first%1").arg(i));
    }
    ASSERT_EQ(int(expected.size()), kept);
    for (int i = 0; i < count; ++i)
        expected.push_back(QStringLiteral("second%1").arg(i));
    ASSERT_EQ(g.numOutputs(n), int(expected.size()));
    for (int k = 0; k < g.numOutputs(n); ++k) {
        ASSERT_EQ(g.outputName(n, k), expected[size_t(k)]) << k;
        ASSERT_EQ(g.findOutput(n, expected[size_t(k)]), firstIndex(expected, expected[size_t(k)])) << k;
    }
    EXPECT_EQ(g.findOutput(n, QStringLiteral("shared")), 0); // output 0, renamed and kept
    EXPECT_EQ(g.findOutput(n, QStringLiteral("first1")), 1);
    EXPECT_EQ(g.findOutput(n, QStringLiteral("first2")), -1);    // renamed to "shared"
    EXPECT_EQ(g.findOutput(n, QStringLiteral("first2999")), -1); // removed
}

// A document read into a graph brings its own names: the names the graph
// held before are gone with its old content, and a refused document leaves
// the names as they were.
TEST(GraphPortNamesEdges, DocumentReadReplacesTheNames)
{
    Graph source;
    const int a = source.addNode(QStringLiteral("a"), 0, 0, Graph::kRootNodeRef);
    source.addInput(a, QStringLiteral("from-document"), -1);
    source.addInput(a, QStringLiteral("shared"), -1);
    const QByteArray document = writeGraphDocument(source);

    Graph g;
    const int b = g.addNode(QStringLiteral("b"), 0, 0, Graph::kRootNodeRef);
    g.addInput(b, QStringLiteral("shared"), -1);
    g.addInput(b, QStringLiteral("before"), -1);
    EXPECT_FALSE(readGraphDocument(QByteArray("{"), g));
    EXPECT_EQ(inputNames(g, b), (std::vector<QString>{QStringLiteral("shared"), QStringLiteral("before")}));
    EXPECT_EQ(g.findInput(b, QStringLiteral("before")), 1);

    ASSERT_TRUE(readGraphDocument(document, g));
    const int n = 1;
    EXPECT_EQ(inputNames(g, n), (std::vector<QString>{QStringLiteral("from-document"), QStringLiteral("shared")}));
    EXPECT_EQ(g.findInput(n, QStringLiteral("before")), -1);
    EXPECT_EQ(g.findInput(n, QStringLiteral("shared")), 1);

    // Edits after the read share and let go of names as in any graph.
    g.setInputName(n, 0, QStringLiteral("shared"));
    EXPECT_EQ(g.findInput(n, QStringLiteral("from-document")), -1);
    EXPECT_EQ(g.findInput(n, QStringLiteral("shared")), 0);
    g.removeInput(n, 0);
    EXPECT_EQ(g.findInput(n, QStringLiteral("shared")), 0);
    g.addInput(n, QStringLiteral("from-document"), -1);
    EXPECT_EQ(g.findInput(n, QStringLiteral("from-document")), 1);
    // The source graph is untouched by all this.
    EXPECT_EQ(source.findInput(a, QStringLiteral("from-document")), 0);
}

// Pairings across levels match the null and the empty name with each other,
// as pairings between siblings do.
TEST(GraphPortNamesEdges, NullAndEmptyPairAcrossLevels)
{
    Graph g;
    const int child = g.addNode(QStringLiteral("child"), 1, 1, Graph::kRootNodeRef); // null names
    g.addInput(Graph::kRootNodeRef, QLatin1String(""), -1);
    g.addOutput(Graph::kRootNodeRef, QLatin1String(""), -1);

    g.connectDownByName(child);
    ASSERT_EQ(g.numEdgesGlobal(), 1);
    EXPECT_TRUE(g.isDownEdge(0));
    EXPECT_EQ(g.inputSource(child, 0), 0);
    EXPECT_EQ(g.inputDestination(Graph::kRootNodeRef, 0, 0), 0);

    g.connectUpByName(child);
    ASSERT_EQ(g.numEdgesGlobal(), 2);
    EXPECT_TRUE(g.isUpEdge(1));
    EXPECT_EQ(g.outputSource(Graph::kRootNodeRef, 0), 1);
    EXPECT_EQ(g.outputDestination(child, 0, 0), 1);

    // And by name, either way round.
    const int sibling = g.addNode(QStringLiteral("sibling"), 0, 0, Graph::kRootNodeRef);
    g.addInput(sibling, QLatin1String(""), -1);
    const int other = g.addNode(QStringLiteral("other"), 0, 1, Graph::kRootNodeRef);
    EXPECT_EQ(g.addEdgeByName(other, QLatin1String(""), sibling, QString()), 2);
}
