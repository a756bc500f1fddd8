#ifndef ZRNCORE_TESTS_GRAPHCOMPARE_H
#define ZRNCORE_TESTS_GRAPHCOMPARE_H

// Compares two graphs by every public query, for tests that must show that
// one graph answers exactly as another (a graph read back from its document,
// for one). Meant for small graphs: it asks about every pair of nodes.

#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphvizDump.h>

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <random>

namespace ZrnTest {

// Builds `a` and `b` alike for a differential test: `build(graph, shape)`
// runs on each with a generator in the same state, seeded from `seed`, so
// the two graphs come out the same before the test edits them two ways.
template <typename Build>
void buildTwins(Morvane::Zrn::Graph& a, Morvane::Zrn::Graph& b, unsigned seed, Build build)
{
    const std::mt19937 shape(seed * 7919u);
    build(a, shape);
    build(b, shape);
}

inline void expectSamePort(const Morvane::Zrn::Graph& a, const Morvane::Zrn::Graph& b, int n, int p, bool output)
{
    SCOPED_TRACE(testing::Message() << (output ? "output " : "input ") << p);
    if (output) {
        EXPECT_EQ(a.outputName(n, p), b.outputName(n, p));
        EXPECT_EQ(a.outputGroup(n, p), b.outputGroup(n, p));
        EXPECT_EQ(a.outputSource(n, p), b.outputSource(n, p));
        EXPECT_EQ(a.findOutput(n, a.outputName(n, p)), b.findOutput(n, a.outputName(n, p)));
        ASSERT_EQ(a.numOutputDestinations(n, p), b.numOutputDestinations(n, p));
        for (int k = -1; k <= a.numOutputDestinations(n, p); ++k) {
            EXPECT_EQ(a.isValidOutputDestination(n, p, k), b.isValidOutputDestination(n, p, k));
            if (a.isValidOutputDestination(n, p, k)) {
                EXPECT_EQ(a.outputDestination(n, p, k), b.outputDestination(n, p, k));
            }
        }
        int an = n, ai = p, bn = n, bi = p;
        EXPECT_EQ(a.walkDown(an, ai), b.walkDown(bn, bi));
        EXPECT_EQ(an, bn);
        EXPECT_EQ(ai, bi);
        return;
    }
    EXPECT_EQ(a.inputName(n, p), b.inputName(n, p));
    EXPECT_EQ(a.inputGroup(n, p), b.inputGroup(n, p));
    EXPECT_EQ(a.inputSource(n, p), b.inputSource(n, p));
    EXPECT_EQ(a.findInput(n, a.inputName(n, p)), b.findInput(n, a.inputName(n, p)));
    ASSERT_EQ(a.numInputDestinations(n, p), b.numInputDestinations(n, p));
    for (int k = -1; k <= a.numInputDestinations(n, p); ++k) {
        EXPECT_EQ(a.isValidInputDestination(n, p, k), b.isValidInputDestination(n, p, k));
        if (a.isValidInputDestination(n, p, k)) {
            EXPECT_EQ(a.inputDestination(n, p, k), b.inputDestination(n, p, k));
        }
    }
    {
        int an = n, ai = p, bn = n, bi = p;
        EXPECT_EQ(a.walkAcross(an, ai), b.walkAcross(bn, bi));
        EXPECT_EQ(an, bn);
        EXPECT_EQ(ai, bi);
    }
    {
        int an = n, ai = p, bn = n, bi = p;
        EXPECT_EQ(a.walkUp(an, ai), b.walkUp(bn, bi));
        EXPECT_EQ(an, bn);
        EXPECT_EQ(ai, bi);
    }
    {
        int an = n, ai = p, bn = n, bi = p;
        EXPECT_EQ(a.walkToSourceNode(an, ai), b.walkToSourceNode(bn, bi));
        EXPECT_EQ(an, bn);
        EXPECT_EQ(ai, bi);
    }
}

inline void expectSameNode(const Morvane::Zrn::Graph& a, const Morvane::Zrn::Graph& b, int n)
{
    SCOPED_TRACE(testing::Message() << "node " << n);
    ASSERT_EQ(a.isValidNode(n), b.isValidNode(n));
    if (!a.isValidNode(n))
        return;
    EXPECT_EQ(a.nodeName(n), b.nodeName(n));
    EXPECT_EQ(a.nodeValue(n), b.nodeValue(n));
    EXPECT_EQ(a.parentNode(n), b.parentNode(n));
    EXPECT_EQ(a.indexOfNode(n), b.indexOfNode(n));
    ASSERT_EQ(a.numNodes(n), b.numNodes(n));
    for (int k = 0; k < a.numNodes(n); ++k) {
        EXPECT_EQ(a.getNode(k, n), b.getNode(k, n));
        if (a.isValidNode(a.getNode(k, n))) {
            const QString childName = a.nodeName(a.getNode(k, n));
            EXPECT_EQ(a.findNode(childName, n), b.findNode(childName, n));
        }
    }
    EXPECT_EQ(a.findNode(QStringLiteral("\x01no such node"), n), b.findNode(QStringLiteral("\x01no such node"), n));
    ASSERT_EQ(a.numInputs(n), b.numInputs(n));
    ASSERT_EQ(a.numOutputs(n), b.numOutputs(n));
    ASSERT_EQ(a.numInputGroups(n), b.numInputGroups(n));
    ASSERT_EQ(a.numOutputGroups(n), b.numOutputGroups(n));
    for (int p = -1; p <= a.numInputs(n); ++p)
        EXPECT_EQ(a.isValidInput(n, p), b.isValidInput(n, p));
    for (int p = -1; p <= a.numOutputs(n); ++p)
        EXPECT_EQ(a.isValidOutput(n, p), b.isValidOutput(n, p));
    for (int p = 0; p < a.numInputs(n); ++p)
        expectSamePort(a, b, n, p, false);
    for (int p = 0; p < a.numOutputs(n); ++p)
        expectSamePort(a, b, n, p, true);
    for (int g = -1; g <= a.numInputGroups(n); ++g) {
        EXPECT_EQ(a.isValidInputGroup(n, g), b.isValidInputGroup(n, g));
        if (a.isValidInputGroup(n, g)) {
            EXPECT_EQ(a.inputGroupName(n, g), b.inputGroupName(n, g));
            EXPECT_EQ(a.findInputGroup(n, a.inputGroupName(n, g)), b.findInputGroup(n, a.inputGroupName(n, g)));
        }
    }
    for (int g = -1; g <= a.numOutputGroups(n); ++g) {
        EXPECT_EQ(a.isValidOutputGroup(n, g), b.isValidOutputGroup(n, g));
        if (a.isValidOutputGroup(n, g)) {
            EXPECT_EQ(a.outputGroupName(n, g), b.outputGroupName(n, g));
            EXPECT_EQ(a.findOutputGroup(n, a.outputGroupName(n, g)), b.findOutputGroup(n, a.outputGroupName(n, g)));
        }
    }
    for (int m = -1; m < a.numNodesGlobal(); ++m) {
        EXPECT_EQ(a.contains(m, n), b.contains(m, n)) << "contains(" << m << ", " << n << ")";
        EXPECT_EQ(a.precedes(m, n, false), b.precedes(m, n, false)) << "precedes(" << m << ", " << n << ", false)";
        EXPECT_EQ(a.precedes(m, n, true), b.precedes(m, n, true)) << "precedes(" << m << ", " << n << ", true)";
    }
}

/// Expects `b` to answer every public query of Graph exactly as `a` does,
/// and the two top-level dumps to be equal.
inline void expectSameAnswers(const Morvane::Zrn::Graph& a, const Morvane::Zrn::Graph& b)
{
    ASSERT_EQ(a.numNodesGlobal(), b.numNodesGlobal());
    ASSERT_EQ(a.numEdgesGlobal(), b.numEdgesGlobal());
    for (int n = -1; n <= a.numNodesGlobal(); ++n) {
        EXPECT_EQ(a.getNodeGlobal(n), b.getNodeGlobal(n));
        expectSameNode(a, b, n);
    }
    for (int e = -1; e <= a.numEdgesGlobal(); ++e) {
        SCOPED_TRACE(testing::Message() << "edge " << e);
        EXPECT_EQ(a.getEdgeGlobal(e), b.getEdgeGlobal(e));
        ASSERT_EQ(a.isValidEdge(e), b.isValidEdge(e));
        EXPECT_EQ(a.isRegularEdge(e), b.isRegularEdge(e));
        EXPECT_EQ(a.isDownEdge(e), b.isDownEdge(e));
        EXPECT_EQ(a.isUpEdge(e), b.isUpEdge(e));
        if (e >= 0 && e < a.numEdgesGlobal()) {
            EXPECT_EQ(a.edgeSourceNode(e), b.edgeSourceNode(e));
            EXPECT_EQ(a.edgeSourceIndex(e), b.edgeSourceIndex(e));
            EXPECT_EQ(a.edgeDestNode(e), b.edgeDestNode(e));
            EXPECT_EQ(a.edgeDestIndex(e), b.edgeDestIndex(e));
        }
    }
    EXPECT_EQ(Morvane::Zrn::graphvizText(&a), Morvane::Zrn::graphvizText(&b));
}

} // namespace ZrnTest

#endif // ZRNCORE_TESTS_GRAPHCOMPARE_H
