// The renderer when its graph was changed behind its back through
// getGraph(): ports added to the root or taken from a pass node. Such
// graphs are not built by the renderer's own operations; a frame still
// delivers a value to every input the pass declares and reads nothing that
// is not there.

#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPassHelper.h>
#include <ZrnCore/Renderer.h>

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <gtest/gtest.h>

namespace {

using Morvane::Zrn::Graph;
using Morvane::Zrn::RenderCallbacks;
using Morvane::Zrn::Renderer;
using Morvane::Zrn::RenderPassHelper;

// Inputs "in0".. with defaults "default0".., outputs "out0".. holding
// "out<j>#<run>" after each run.
class Pass : public RenderPassHelper
{
public:
    Pass(int numInputs, int numOutputs)
    {
        for (int i = 0; i < numInputs; ++i)
            addInput(QStringLiteral("in%1").arg(i), QStringLiteral("default%1").arg(i));
        for (int j = 0; j < numOutputs; ++j)
            addOutput(QStringLiteral("out%1").arg(j));
    }
    void start(RenderCallbacks*) override
    {
        ++runs;
        for (int j = 0; j < outputs.size(); ++j)
            outputs[j].value = QStringLiteral("out%1#%2").arg(j).arg(runs);
    }
    QVariant input(int i) const { return inputs.at(i).value; }
    int runs = 0;
};

TEST(RendererGraphEdits, RootInputAddedThroughTheGraphFeedsTheDefault)
{
    Renderer renderer;
    renderer.addParameter(QStringLiteral("gain"), 5);
    Graph& graph = renderer.getGraph();
    // A root input with no parameter behind it.
    EXPECT_EQ(graph.addInput(Graph::kRootNodeRef, QStringLiteral("extra"), Graph::kInvalidGroupRef), 1);
    auto* pass = new Pass(2, 0);
    const int node = renderer.addPass(QStringLiteral("P"), pass, Graph::kRootNodeRef);
    ASSERT_GE(graph.addDownEdge(0, node, 0), 0);
    ASSERT_GE(graph.addDownEdge(1, node, 1), 0);
    renderer.setTarget(node);

    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(pass->runs, 1);
    EXPECT_EQ(pass->input(0), QVariant(5));
    EXPECT_EQ(pass->input(1), QVariant(QStringLiteral("default1")));
    EXPECT_EQ(renderer.numParameters(), 1);
}

TEST(RendererGraphEdits, InputTakenFromAPassNodeGetsItsDefault)
{
    Renderer renderer;
    auto* source = new Pass(0, 1);
    auto* sink = new Pass(2, 0);
    const int s = renderer.addPass(QStringLiteral("S"), source, Graph::kRootNodeRef);
    const int t = renderer.addPass(QStringLiteral("T"), sink, Graph::kRootNodeRef);
    Graph& graph = renderer.getGraph();
    ASSERT_GE(graph.addEdge(s, 0, t, 0), 0);
    renderer.setTarget(t);

    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(sink->input(0), QVariant(QStringLiteral("out0#1")));
    EXPECT_EQ(sink->input(1), QVariant(QStringLiteral("default1")));

    // The pass still declares two inputs; its node now has none.
    graph.disconnectInput(t, 0);
    graph.removeInput(t, 1);
    graph.removeInput(t, 0);
    EXPECT_EQ(graph.numInputs(t), 0);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(source->runs, 1); // no longer upstream of the target
    EXPECT_EQ(sink->runs, 2);
    EXPECT_EQ(sink->input(0), QVariant(QStringLiteral("default0")));
    EXPECT_EQ(sink->input(1), QVariant(QStringLiteral("default1")));
    EXPECT_EQ(renderer.getNumPasses(), 1);
}

} // namespace
