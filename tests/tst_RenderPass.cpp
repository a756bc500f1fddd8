// The pass interface: its defaults and how the renderer hands the host's
// callback object through.

#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPass.h>
#include <ZrnCore/Renderer.h>

#include "RenderTestPasses.h"

#include <gtest/gtest.h>

#include <QtCore/QRegularExpression>
#include <QtCore/QStringList>
#include <QtCore/QVector>

// The host defines the callback object; the library only passes it on.
namespace Morvane {
namespace Zrn {
class RenderCallbacks
{
public:
    int tag = 0;
};
} // namespace Zrn
} // namespace Morvane

using namespace Morvane::Zrn;

namespace {

// Derived straight from RenderPass, keeping the base isFinished(); one
// output whose value start() sets.
class DirectPass : public RenderPass
{
public:
    explicit DirectPass(QStringList* log)
        : m_log(log)
    {
    }
    ~DirectPass() override { m_log->append(QStringLiteral("~DirectPass")); }

    void setup(RenderCallbacks*) override { m_log->append(QStringLiteral("setup")); }
    void beginFrame(RenderCallbacks*) override { m_log->append(QStringLiteral("beginFrame")); }
    void start(RenderCallbacks*) override
    {
        m_log->append(QStringLiteral("start"));
        m_value = 42;
    }
    void endFrame(RenderCallbacks*) override { m_log->append(QStringLiteral("endFrame")); }
    void teardown(RenderCallbacks*) override { m_log->append(QStringLiteral("teardown")); }
    int numInputs() const override { return 0; }
    int numOutputs() const override { return 1; }
    QString inputName(int) const override { return QString(); }
    QString outputName(int) const override { return QStringLiteral("value"); }
    void setInput(int, const QVariant&) override { }
    QVariant defaultValue(int) const override { return QVariant(); }
    void setDefaultValue(int, const QVariant&) override { }
    QVariant output(int) const override { return m_value; }
    void setNumOutputUsers(int, int) override { m_log->append(QStringLiteral("setNumOutputUsers")); }
    void resetNumOutputUsers() override { m_log->append(QStringLiteral("resetNumOutputUsers")); }
    unsigned int errorCode() const override { return 0; }
    void setErrorCode(unsigned int) override { m_log->append(QStringLiteral("setErrorCode")); }

private:
    QStringList* m_log;
    QVariant m_value;
};

} // namespace

TEST(RenderPassInterface, BaseIsFinishedReturnsTrue)
{
    QStringList log;
    DirectPass pass(&log);
    const RenderPass& base = pass;
    EXPECT_TRUE(base.isFinished());
}

TEST(RenderPassInterface, PassWithoutIsFinishedEndsRightAfterStart)
{
    QStringList log;
    Renderer renderer;
    const int out = renderer.addOutput(QStringLiteral("result"));
    const int node = renderer.addPass(QStringLiteral("direct"), new DirectPass(&log), Graph::kRootNodeRef);
    ASSERT_NE(renderer.getGraph().addUpEdge(out, node, 0), Graph::kInvalidEdgeRef);
    renderer.setTarget(node);

    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(log,
              QStringList({QStringLiteral("resetNumOutputUsers"), QStringLiteral("setErrorCode"),
                           QStringLiteral("beginFrame"), QStringLiteral("start"), QStringLiteral("endFrame")}));
    EXPECT_EQ(renderer.output(out), QVariant(42));
    EXPECT_EQ(renderer.getNumPasses(), 1);
}

TEST(RenderPassInterface, DestroyedThroughVirtualDestructor)
{
    QStringList log;
    RenderPass* pass = new DirectPass(&log);
    delete pass;
    EXPECT_EQ(log, QStringList(QStringLiteral("~DirectPass")));
}

TEST(RenderPassInterface, WalkTypeValues)
{
    EXPECT_EQ(int(WalkType::Mark), 0);
    EXPECT_EQ(int(WalkType::Render), 1);
}

namespace {

// Keeps the callback pointer its own beginFrame() and endFrame() receive.
class CallbackRenderer : public Renderer
{
public:
    void beginFrame(RenderCallbacks* cb) override
    {
        callbacks.append(cb);
        Renderer::beginFrame(cb);
    }
    void endFrame(RenderCallbacks* cb) override
    {
        callbacks.append(cb);
        Renderer::endFrame(cb);
    }
    QVector<RenderCallbacks*> callbacks;
};

// A renderer with one pass that is its own target; `pass` is left pointing at it.
void buildSinglePass(Renderer& renderer, QStringList* log, ZrnTest::RecordingPass*& pass)
{
    pass = new ZrnTest::RecordingPass(QStringLiteral("P"), log, 0, 1);
    const int node = renderer.addPass(QStringLiteral("P"), pass, Graph::kRootNodeRef);
    renderer.setTarget(node);
}

// The calls of the pass that take a callback pointer, in the order of
// setup, one frame and teardown.
const QStringList kCallsTakingCallbacks = {QStringLiteral("P.setup()"), QStringLiteral("P.beginFrame()"),
                                           QStringLiteral("P.start()"), QStringLiteral("P.endFrame()"),
                                           QStringLiteral("P.teardown()")};

// The lines of `log` for calls that take a callback pointer.
QStringList callsTakingCallbacks(const QStringList& log)
{
    return log.filter(QRegularExpression(QStringLiteral("\\.(setup|beginFrame|start|endFrame|teardown)\\(\\)$")));
}

} // namespace

TEST(RenderPassInterface, NullCallbacksPassThroughUnchanged)
{
    QStringList log;
    CallbackRenderer renderer;
    ZrnTest::RecordingPass* pass = nullptr;
    buildSinglePass(renderer, &log, pass);

    renderer.setup(nullptr);
    EXPECT_TRUE(renderer.render(nullptr));
    renderer.teardown(nullptr);

    // setup, beginFrame, start, endFrame, teardown
    ASSERT_EQ(pass->callbacks.size(), 5);
    for (RenderCallbacks* cb : pass->callbacks)
        EXPECT_EQ(cb, nullptr);
    EXPECT_EQ(pass->callbacks, QVector<RenderCallbacks*>(5, nullptr));
    EXPECT_EQ(callsTakingCallbacks(log), kCallsTakingCallbacks);
    EXPECT_EQ(renderer.callbacks, QVector<RenderCallbacks*>(2, nullptr)); // its own beginFrame, endFrame
}

TEST(RenderPassInterface, HostCallbacksReachEveryOperationThatTakesThem)
{
    QStringList log;
    CallbackRenderer renderer;
    ZrnTest::RecordingPass* pass = nullptr;
    buildSinglePass(renderer, &log, pass);

    RenderCallbacks host;
    host.tag = 7;
    renderer.setup(&host);
    EXPECT_TRUE(renderer.render(&host));
    renderer.teardown(&host);

    ASSERT_EQ(pass->callbacks.size(), 5);
    for (RenderCallbacks* cb : pass->callbacks)
        EXPECT_EQ(cb, &host);
    EXPECT_EQ(pass->callbacks, QVector<RenderCallbacks*>(5, &host));
    EXPECT_EQ(callsTakingCallbacks(log), kCallsTakingCallbacks);
    EXPECT_EQ(renderer.callbacks, QVector<RenderCallbacks*>(2, &host)); // its own beginFrame, endFrame
    EXPECT_EQ(host.tag, 7);                                             // untouched
}
