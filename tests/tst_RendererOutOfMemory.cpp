// A renderer that cannot get memory while it adds a pass: it takes the pass
// only once nothing more can fail, so that an exception never leaves it
// owning a pass that its caller still owns too.

#include "FailingAllocator.h"

#include <ZrnCore/FrameTrace.h>
#include <ZrnCore/Graph.h>
#include <ZrnCore/Renderer.h>

#include "RenderTestPasses.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>

using namespace Morvane::Zrn;
using ZrnTest::failAfter;
using ZrnTest::failSize;
using ZrnTest::failureUsed;
using ZrnTest::RecordingPass;

namespace {

TEST(RendererOutOfMemory, PassWhosePortsCannotBeNamedIsNotTaken)
{
    SKIP_UNLESS_ALLOCATIONS_CAN_FAIL();
    QStringList destroyed;
    QStringList log;
    auto pass = std::make_unique<RecordingPass>(QStringLiteral("P"), &log, 1, 1);
    pass->destroyed = &destroyed;
    {
        Renderer renderer;
        // The node is made without allocating (its ports fit in its record,
        // the root's first child in the root's); the first name of the graph
        // then grows the graph's table of names, which fails.
        failAfter = 0;
        EXPECT_THROW(renderer.addPass(QStringLiteral("P"), pass.get(), Graph::kRootNodeRef), std::bad_alloc);
        EXPECT_TRUE(failureUsed());
        failAfter = -1;
        EXPECT_EQ(renderer.numRenderPasses(), 0);
        EXPECT_EQ(renderer.getGraph().numNodesGlobal(), 2);
        EXPECT_FALSE(renderer.getGraph().isValidNode(1));
        EXPECT_EQ(renderer.getGraph().numNodes(Graph::kRootNodeRef), 0);
        EXPECT_EQ(renderer.findPass(QStringLiteral("P")), Graph::kInvalidNodeRef);

        // The next pass is pass 0, on the next node, named in full.
        auto* next = new RecordingPass(QStringLiteral("Q"), &log, 1, 1);
        next->destroyed = &destroyed;
        const int q = renderer.addPass(QStringLiteral("Q"), next, Graph::kRootNodeRef);
        EXPECT_EQ(q, 2);
        EXPECT_EQ(renderer.getGraph().nodeValue(q), 0);
        EXPECT_EQ(renderer.renderPass(q), next);
        EXPECT_EQ(renderer.getGraph().inputName(q, 0), QStringLiteral("in0"));
        EXPECT_EQ(renderer.getGraph().outputName(q, 0), QStringLiteral("out0"));
        renderer.setup(nullptr);
        EXPECT_EQ(ZrnTest::callsOf(log, QStringLiteral("P")), QStringList());
    }
    EXPECT_EQ(destroyed, QStringList(QStringLiteral("Q")));
    pass.reset(); // still ours
    EXPECT_EQ(destroyed, QStringList({QStringLiteral("Q"), QStringLiteral("P")}));
}

TEST(RendererOutOfMemory, TraceThatCannotBeReservedKeepsTheTraceBefore)
{
    SKIP_UNLESS_ALLOCATIONS_CAN_FAIL();
    QStringList log;
    Renderer renderer;
    const int a =
        renderer.addPass(QStringLiteral("a"), new RecordingPass(QStringLiteral("a"), &log, 0, 1), Graph::kRootNodeRef);
    const int b =
        renderer.addPass(QStringLiteral("b"), new RecordingPass(QStringLiteral("b"), &log, 1, 0), Graph::kRootNodeRef);
    ASSERT_EQ(renderer.getGraph().addEdge(a, 0, b, 0), 0);
    renderer.setTarget(b);
    renderer.startFrameTrace(3);
    ASSERT_TRUE(renderer.render(nullptr));
    ASSERT_TRUE(renderer.render(nullptr));
    ASSERT_EQ(renderer.frameTraceFramesLeft(), 1);

    // Room for seven frames is the first allocation of the new trace.
    failSize = 7 * sizeof(FrameTrace::Frame);
    EXPECT_THROW(renderer.startFrameTrace(7), std::bad_alloc);
    EXPECT_TRUE(failureUsed());
    failSize = 0;
    const FrameTrace& trace = renderer.frameTrace();
    EXPECT_EQ(trace.numFrames(), 2);
    EXPECT_EQ(trace.numRuns(), 4);
    EXPECT_EQ(trace.run(3).node, b);
    EXPECT_EQ(renderer.frameTraceFramesLeft(), 1);

    // The trace in progress goes on: its third frame is recorded.
    ASSERT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(trace.numFrames(), 3);
    EXPECT_EQ(trace.frame(2).frameIndex, 2);
    EXPECT_EQ(trace.frame(2).firstRun, 4);
    EXPECT_EQ(renderer.frameTraceFramesLeft(), 0);
}

} // namespace
