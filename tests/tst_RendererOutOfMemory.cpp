// A renderer that cannot get memory while it adds a pass: it takes the pass
// only once nothing more can fail, so that an exception never leaves it
// owning a pass that its caller still owns too.

#include "FailingAllocator.h"

#include <ZrnCore/Graph.h>
#include <ZrnCore/Renderer.h>

#include "RenderTestPasses.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>

using namespace Morvane::Zrn;
using ZrnTest::failAfter;
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

} // namespace
