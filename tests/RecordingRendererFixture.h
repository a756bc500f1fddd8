#ifndef ZRNCORE_TESTS_RECORDINGRENDERERFIXTURE_H
#define ZRNCORE_TESTS_RECORDINGRENDERERFIXTURE_H

// A logging renderer with RecordingPass passes by name, for the frame report
// and trace tests.

#include "RenderTestPasses.h"

#include <ZrnCore/Graph.h>
#include <ZrnCore/Renderer.h>

#include <QtCore/QHash>
#include <QtCore/QRegularExpression>

#include <gtest/gtest.h>

namespace ZrnTest {

/// `text` with every time ("<digits>.<three digits>") replaced by "T", so
/// that whole report texts can be compared.
inline QString withoutTimes(QString text)
{
    return text.replace(QRegularExpression(QStringLiteral("\\b\\d+\\.\\d{3}\\b")), QStringLiteral("T"));
}

/// The frame-time rule applied to one clock reading of `nsecs`.
inline double frameTimeOf(qint64 nsecs)
{
    return double(nsecs / 1000) / 1000.0 + double(nsecs / 1000000);
}

class RecordingRendererFixture : public ::testing::Test
{
protected:
    QStringList log;
    LoggingRenderer renderer{&log};
    QHash<QString, RecordingPass*> pass;

    Morvane::Zrn::Graph& graph() { return renderer.getGraph(); }
    int add(const QString& name, int numInputs, int numOutputs, int parent = Morvane::Zrn::Graph::kRootNodeRef)
    {
        auto* p = new RecordingPass(name, &log, numInputs, numOutputs);
        pass.insert(name, p);
        return renderer.addPass(name, p, parent);
    }
    void edge(int src, int out, int dst, int in)
    {
        ASSERT_NE(graph().addEdge(src, out, dst, in), Morvane::Zrn::Graph::kInvalidEdgeRef);
    }
    // Feeds renderer output `rendererOutput` from output `out` of `node`, a
    // top-level node; returns the up edge.
    int feedOutput(int rendererOutput, int node, int out)
    {
        const int e = graph().addUpEdge(rendererOutput, node, out);
        EXPECT_NE(e, Morvane::Zrn::Graph::kInvalidEdgeRef);
        return e;
    }

    struct Chain
    {
        int a;
        int b;
        int c;
    };
    // A -> B -> C, each with one output, C the target, named `targetName`.
    Chain chain(const char* targetName = "C")
    {
        const Chain c{add(s("A"), 0, 1), add(s("B"), 1, 1), add(s(targetName), 1, 1)};
        edge(c.a, 0, c.b, 0);
        edge(c.b, 0, c.c, 0);
        renderer.setTarget(c.c);
        return c;
    }
};

} // namespace ZrnTest

#endif // ZRNCORE_TESTS_RECORDINGRENDERERFIXTURE_H
