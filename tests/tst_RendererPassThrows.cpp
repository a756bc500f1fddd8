// A pass that throws in the middle of a frame: the exception reaches the
// caller of render(), the frame report and the trace keep no part of the
// frame, and the next frame renders and is recorded as if the thrown frame
// had not been. Each test runs on the compiled frames and on the literal
// walking ones.

#include <ZrnCore/FrameReport.h>
#include <ZrnCore/FrameTrace.h>
#include <ZrnCore/Graph.h>
#include <ZrnCore/Renderer.h>

#include "../src/Core/RendererHooks_p.h"
#include "RenderTestPasses.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace Morvane::Zrn;
using ZrnTest::RecordingPass;

namespace {

// A recording pass that throws from start() or from endFrame() when told.
class ThrowingPass : public RecordingPass
{
public:
    using RecordingPass::RecordingPass;

    bool throwInStart = false;
    bool throwInEndFrame = false;

    void start(RenderCallbacks* cb) override
    {
        RecordingPass::start(cb);
        if (throwInStart)
            throw std::runtime_error("start");
    }
    void endFrame(RenderCallbacks* cb) override
    {
        RecordingPass::endFrame(cb);
        if (throwInEndFrame)
            throw std::runtime_error("endFrame");
    }
};

// a -> b -> c, the target c; b may throw.
class RendererPassThrows : public ::testing::TestWithParam<bool>
{
protected:
    void SetUp() override
    {
        Internal::setLiteralFrames(renderer, GetParam());
        a = new RecordingPass(QStringLiteral("a"), &log, 0, 1);
        b = new ThrowingPass(QStringLiteral("b"), &log, 1, 1);
        c = new RecordingPass(QStringLiteral("c"), &log, 1, 0);
        nodeA = renderer.addPass(QStringLiteral("a"), a, Graph::kRootNodeRef);
        nodeB = renderer.addPass(QStringLiteral("b"), b, Graph::kRootNodeRef);
        nodeC = renderer.addPass(QStringLiteral("c"), c, Graph::kRootNodeRef);
        ASSERT_EQ(renderer.getGraph().addEdge(nodeA, 0, nodeB, 0), 0);
        ASSERT_EQ(renderer.getGraph().addEdge(nodeB, 0, nodeC, 0), 1);
        renderer.setTarget(nodeC);
        renderer.setFrameReportEnabled(true);
        renderer.startFrameTrace(4);
    }

    QStringList log;
    Renderer renderer;
    RecordingPass* a = nullptr;
    ThrowingPass* b = nullptr;
    RecordingPass* c = nullptr;
    int nodeA = -1;
    int nodeB = -1;
    int nodeC = -1;
};

TEST_P(RendererPassThrows, ThrownFrameIsNeitherReportedNorTraced)
{
    ASSERT_TRUE(renderer.render(nullptr));
    ASSERT_EQ(renderer.frameReport().numRuns(), 3);

    b->throwInStart = true;
    EXPECT_THROW(renderer.render(nullptr), std::runtime_error);
    b->throwInStart = false;

    // a ran and b began before the throw; c did not start, and b got no
    // endFrame().
    EXPECT_EQ(a->runs, 2);
    EXPECT_EQ(b->runs, 2);
    EXPECT_EQ(c->runs, 1);
    EXPECT_EQ(ZrnTest::callsOf(log, QStringLiteral("b")).filter(QStringLiteral("endFrame")).size(), 1);

    const FrameReport& report = renderer.frameReport();
    EXPECT_FALSE(report.isValid());
    EXPECT_EQ(report.frameIndex(), -1);
    EXPECT_EQ(report.numRuns(), 0);
    EXPECT_EQ(report.numPasses(), 0);
    EXPECT_EQ(renderer.frameStatistics().count(), 1);

    const FrameTrace& trace = renderer.frameTrace();
    EXPECT_EQ(trace.numFrames(), 1);
    EXPECT_EQ(trace.numRuns(), 3);
    EXPECT_EQ(renderer.frameTraceFramesLeft(), 3);

    // The next frame is reported and traced whole, as the second frame.
    ASSERT_TRUE(renderer.render(nullptr));
    EXPECT_TRUE(report.isValid());
    EXPECT_EQ(report.frameIndex(), 1);
    ASSERT_EQ(report.numRuns(), 3);
    EXPECT_EQ(report.run(0).node, nodeA);
    EXPECT_EQ(report.run(1).node, nodeB);
    EXPECT_EQ(report.run(2).node, nodeC);
    EXPECT_TRUE(report.succeeded());
    ASSERT_EQ(trace.numFrames(), 2);
    EXPECT_EQ(trace.numRuns(), 6);
    EXPECT_EQ(trace.frame(1).frameIndex, 1);
    EXPECT_EQ(trace.frame(1).firstRun, 3);
    EXPECT_EQ(trace.frame(1).numRuns, 3);
    EXPECT_EQ(trace.run(3).node, nodeA);
    EXPECT_EQ(trace.run(5).node, nodeC);
    EXPECT_EQ(c->runs, 2);
}

TEST_P(RendererPassThrows, WaitOfAThrownFrameIsNotCarriedIntoTheNext)
{
    // b is waited for once in each run, then throws from endFrame().
    b->unfinishedPolls = 1;
    b->throwInEndFrame = true;
    EXPECT_THROW(renderer.render(nullptr), std::runtime_error);
    b->throwInEndFrame = false;
    b->unfinishedPolls = 0;
    EXPECT_FALSE(renderer.frameReport().isValid());
    EXPECT_EQ(renderer.frameTrace().numRuns(), 0);

    ASSERT_TRUE(renderer.render(nullptr));
    const FrameReport& report = renderer.frameReport();
    ASSERT_EQ(report.numRuns(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(report.run(i).waitBeginNsecs, -1) << "run " << i;
        EXPECT_EQ(report.run(i).waitEndNsecs, -1) << "run " << i;
        EXPECT_EQ(report.run(i).waitMilliseconds(), 0.0) << "run " << i;
    }
    EXPECT_EQ(report.frameIndex(), 0);
    ASSERT_EQ(renderer.frameTrace().numFrames(), 1);
    EXPECT_EQ(renderer.frameTrace().frame(0).firstRun, 0);
    EXPECT_EQ(renderer.frameTrace().run(0).waitBeginNsecs, -1);
}

INSTANTIATE_TEST_SUITE_P(Frames, RendererPassThrows, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "literal" : "compiled";
                         });

} // namespace
