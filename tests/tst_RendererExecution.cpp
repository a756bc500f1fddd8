// One frame of a renderer: which passes run, in what order, what each
// receives, failures, waiting, renderer outputs and the guarded cases.

#include <ZrnCore/Graph.h>
#include <ZrnCore/RenderPassHelper.h>
#include <ZrnCore/Renderer.h>

#include "../src/Core/RendererHooks_p.h"
#include "RecordingRendererFixture.h"
#include "RenderTestPasses.h"

#include <gtest/gtest.h>

#include <QtCore/QHash>
#include <QtCore/QThread>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace Morvane::Zrn;
using ZrnTest::callsOf;
using ZrnTest::RecordingPass;
using ZrnTest::runCalls;
using ZrnTest::s;
using ZrnTest::started;

namespace {

// A logging renderer plus its passes by name, its chain ending in T.
class RenderFixture : public ZrnTest::RecordingRendererFixture
{
protected:
    // A -> B -> T, each with one output, T the target.
    Chain chain() { return RecordingRendererFixture::chain("T"); }
};

} // namespace

// ---------------------------------------------------------------- nothing needed

TEST_F(RenderFixture, NothingNeededRunsNothingAndSucceeds)
{
    add(s("P"), 0, 1);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(log, QStringList({s("R.beginFrame()"), s("R.endFrame()")}));
    EXPECT_EQ(renderer.getNumPasses(), 0);
    EXPECT_EQ(renderer.frameCount(), 1);
}

TEST_F(RenderFixture, NothingNeededKeepsRendererOutputs)
{
    const int out = renderer.addOutput(s("image"));
    const int p = add(s("P"), 0, 1);
    const int up = feedOutput(out, p, 0);
    renderer.setTarget(p);
    ASSERT_TRUE(renderer.render(nullptr));
    ASSERT_EQ(renderer.output(out), QVariant(s("P.0@1")));

    graph().removeEdge(up);
    renderer.setTarget(Graph::kInvalidNodeRef);
    pass[s("P")]->setOutputValue(0, s("changed"));
    log.clear();
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(log, QStringList({s("R.beginFrame()"), s("R.endFrame()")}));
    EXPECT_EQ(renderer.output(out), QVariant(s("P.0@1")));
    EXPECT_EQ(renderer.getNumPasses(), 0);
}

// ---------------------------------------------------------------- order and delivery

TEST_F(RenderFixture, ChainRunsUpstreamFirstWithExactCalls)
{
    chain();

    EXPECT_TRUE(renderer.render(nullptr));
    QStringList expected;
    expected << s("R.beginFrame()") << s("A.resetNumOutputUsers()") << s("A.setNumOutputUsers(0, 1)")
             << s("A.setErrorCode(0)") << s("A.beginFrame()") << s("A.start()") << s("A.isFinished()")
             << s("A.endFrame()") << s("A.errorCode()") << s("B.setInput(0, A.0@1)") << s("B.resetNumOutputUsers()")
             << s("B.setNumOutputUsers(0, 1)") << s("B.setErrorCode(0)") << s("B.beginFrame()") << s("B.start()")
             << s("B.isFinished()") << s("B.endFrame()") << s("B.errorCode()") << s("T.setInput(0, B.0@1)")
             << s("T.resetNumOutputUsers()") << s("T.setErrorCode(0)") << s("T.beginFrame()") << s("T.start()")
             << s("T.isFinished()") << s("T.endFrame()") << s("T.errorCode()") << s("R.endFrame()");
    EXPECT_EQ(log, expected);
    EXPECT_EQ(renderer.getNumPasses(), 3);

    log.clear();
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("A"), s("B"), s("T")}));
    EXPECT_EQ(pass[s("T")]->inputValue(0), QVariant(s("B.0@2")));
    EXPECT_EQ(renderer.getNumPasses(), 3); // counted afresh each frame
}

TEST_F(RenderFixture, EveryInputAndEveryUsedOutputIsHandledInIndexOrder)
{
    // A.out0 -> T.in1, A.out2 -> T.in0 and D.in0; A.out1 unused; T.in2 unfed.
    const int a = add(s("A"), 0, 3);
    const int t = add(s("T"), 3, 0);
    const int d = add(s("D"), 1, 0);
    edge(a, 0, t, 1);
    edge(a, 2, t, 0);
    edge(a, 2, d, 0);
    renderer.setTarget(t);

    EXPECT_TRUE(renderer.render(nullptr));
    QStringList expected;
    expected << s("R.beginFrame()") << runCalls(s("A"), {}, {{0, 1}, {2, 1}})
             << runCalls(s("T"), {s("A.2@1"), s("A.0@1"), s("T.default2")}) << s("R.endFrame()");
    EXPECT_EQ(log, expected);
}

TEST_F(RenderFixture, InputsAreWalkedInIndexOrder)
{
    const int x = add(s("X"), 0, 1);
    const int y = add(s("Y"), 0, 1);
    const int t = add(s("T"), 2, 0);
    edge(y, 0, t, 0);
    edge(x, 0, t, 1);
    renderer.setTarget(t);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("Y"), s("X"), s("T")}));
}

TEST_F(RenderFixture, SharedUpstreamRunsOnce)
{
    const int a = add(s("A"), 0, 1);
    const int b = add(s("B"), 1, 1);
    const int c = add(s("C"), 1, 1);
    const int t = add(s("T"), 2, 0);
    edge(a, 0, b, 0);
    edge(a, 0, c, 0);
    edge(b, 0, t, 0);
    edge(c, 0, t, 1);
    renderer.setTarget(t);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("A"), s("B"), s("C"), s("T")}));
    EXPECT_EQ(renderer.getNumPasses(), 4);
}

TEST_F(RenderFixture, DisabledPassIsSkippedButItsUpstreamRuns)
{
    renderer.setEnabled(chain().b, false);

    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("A"), s("T")}));
    EXPECT_EQ(renderer.getNumPasses(), 2);
    EXPECT_TRUE(callsOf(log, s("B")).isEmpty());
    EXPECT_EQ(callsOf(log, s("T")).first(), s("T.setInput(0, T.default0)"));
    EXPECT_EQ(pass[s("T")]->inputValue(0), QVariant(s("T.default0")));
    // The marking walk went through the disabled pass: A has one needed user.
    EXPECT_EQ(pass[s("A")]->users(0), 1);
    // The whole frame, call by call.
    QStringList expected;
    expected << s("R.beginFrame()") << runCalls(s("A"), {}, {{0, 1}}) << runCalls(s("T"), {s("T.default0")})
             << s("R.endFrame()");
    EXPECT_EQ(log, expected);
}

TEST_F(RenderFixture, PassThatDoesNotRunKeepsItsInputsUsersAndOutputs)
{
    const Chain c = chain();
    ASSERT_TRUE(renderer.render(nullptr));
    RecordingPass* b = pass[s("B")];
    ASSERT_EQ(b->inputValue(0), QVariant(s("A.0@1")));
    ASSERT_EQ(b->users(0), 1);
    ASSERT_EQ(b->output(0), QVariant(s("B.0@1")));

    renderer.setEnabled(c.b, false);
    log.clear();
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("A"), s("T")}));
    EXPECT_TRUE(callsOf(log, s("B")).isEmpty());
    EXPECT_EQ(pass[s("A")]->output(0), QVariant(s("A.0@2")));
    EXPECT_EQ(b->inputValue(0), QVariant(s("A.0@1"))); // not A.0@2
    EXPECT_EQ(b->users(0), 1);
    EXPECT_EQ(b->output(0), QVariant(s("B.0@1")));
    EXPECT_EQ(b->runs, 1);
    EXPECT_EQ(pass[s("T")]->inputValue(0), QVariant(s("T.default0"))); // not B's stale B.0@1
}

TEST_F(RenderFixture, ParameterReachesPassThroughGroups)
{
    const int gain = renderer.addParameter(s("gain"), 5);
    const int outer = renderer.addGroup(s("outer"), 1, 0, Graph::kRootNodeRef);
    const int inner = renderer.addGroup(s("inner"), 1, 0, outer);
    const int p = add(s("P"), 1, 0, inner);
    ASSERT_NE(graph().addDownEdge(gain, outer, 0), Graph::kInvalidEdgeRef);
    ASSERT_NE(graph().addDownEdge(0, inner, 0), Graph::kInvalidEdgeRef);
    ASSERT_NE(graph().addDownEdge(0, p, 0), Graph::kInvalidEdgeRef);
    renderer.setTarget(p);

    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(callsOf(log, s("P")).first(), s("P.setInput(0, 5)"));
    EXPECT_EQ(pass[s("P")]->inputValue(0), QVariant(5));

    renderer.setParameter(gain, 9);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(pass[s("P")]->inputValue(0), QVariant(9));
}

TEST_F(RenderFixture, GroupInputFedByNothingGivesTheDefault)
{
    renderer.addParameter(s("gain"), 5); // present but not wired
    const int group = renderer.addGroup(s("G"), 1, 0, Graph::kRootNodeRef);
    const int p = add(s("P"), 1, 0, group);
    ASSERT_NE(graph().addDownEdge(0, p, 0), Graph::kInvalidEdgeRef);
    renderer.setTarget(p);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(pass[s("P")]->inputValue(0), QVariant(s("P.default0")));
}

TEST_F(RenderFixture, ValuesCrossGroupBoundariesBothWays)
{
    // A -> [G: in -> P -> out] -> T
    const int a = add(s("A"), 0, 1);
    const int group = renderer.addGroup(s("G"), 1, 1, Graph::kRootNodeRef);
    const int p = add(s("P"), 1, 1, group);
    const int t = add(s("T"), 1, 0);
    edge(a, 0, group, 0);
    ASSERT_NE(graph().addDownEdge(0, p, 0), Graph::kInvalidEdgeRef);
    ASSERT_NE(graph().addUpEdge(0, p, 0), Graph::kInvalidEdgeRef);
    edge(group, 0, t, 0);
    renderer.setTarget(t);

    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("A"), s("P"), s("T")}));
    EXPECT_EQ(pass[s("P")]->inputValue(0), QVariant(s("A.0@1")));
    EXPECT_EQ(pass[s("T")]->inputValue(0), QVariant(s("P.0@1")));
    // Users are edges into marked nodes. The walks step from T straight to
    // P and from P straight to A, so G is never marked, and neither the edge
    // A -> G nor the up edge P -> G counts.
    EXPECT_EQ(pass[s("A")]->users(0), 0);
    EXPECT_EQ(pass[s("P")]->users(0), 0);
    EXPECT_EQ(callsOf(log, s("A")).filter(s("A.setNumOutputUsers")), QStringList());
}

TEST_F(RenderFixture, InputFedByEmptyGroupOutputGetsTheDefault)
{
    const int group = renderer.addGroup(s("G"), 0, 1, Graph::kRootNodeRef);
    const int t = add(s("T"), 1, 0);
    edge(group, 0, t, 0);
    renderer.setTarget(t);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(pass[s("T")]->inputValue(0), QVariant(s("T.default0")));
}

TEST_F(RenderFixture, UnconnectedInputGetsItsDefaultEveryFrame)
{
    const int t = add(s("T"), 1, 0);
    renderer.setTarget(t);
    EXPECT_TRUE(renderer.render(nullptr));
    pass[s("T")]->RenderPassHelper::setInput(0, s("overwritten"));
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(callsOf(log, s("T")).filter(s("setInput")),
              QStringList({s("T.setInput(0, T.default0)"), s("T.setInput(0, T.default0)")}));
    EXPECT_EQ(pass[s("T")]->inputValue(0), QVariant(s("T.default0")));
}

// ---------------------------------------------------------------- output users

TEST_F(RenderFixture, OutputUsersCountNeededConsumersOnly)
{
    // A.out0 -> B, C -> T;  A.out1 -> D (not upstream of T)
    const int a = add(s("A"), 0, 2);
    const int b = add(s("B"), 1, 1);
    const int c = add(s("C"), 1, 1);
    const int d = add(s("D"), 1, 0);
    const int t = add(s("T"), 2, 0);
    edge(a, 0, b, 0);
    edge(a, 0, c, 0);
    edge(a, 1, d, 0);
    edge(b, 0, t, 0);
    edge(c, 0, t, 1);
    renderer.setTarget(t);
    pass[s("A")]->RenderPassHelper::setNumOutputUsers(1, 9); // cleared by the reset

    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(callsOf(log, s("A")).filter(s("NumOutputUsers")),
              QStringList({s("A.resetNumOutputUsers()"), s("A.setNumOutputUsers(0, 2)")}));
    EXPECT_EQ(pass[s("A")]->users(0), 2);
    EXPECT_EQ(pass[s("A")]->users(1), 0);
    EXPECT_TRUE(callsOf(log, s("D")).isEmpty());
}

TEST_F(RenderFixture, OutputUsersCountEdgesNotNodes)
{
    const int a = add(s("A"), 0, 1);
    const int t = add(s("T"), 2, 0);
    edge(a, 0, t, 0);
    edge(a, 0, t, 1);
    renderer.setTarget(t);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(pass[s("A")]->users(0), 2);
    EXPECT_EQ(pass[s("T")]->inputValue(1), QVariant(s("A.0@1")));
}

// ---------------------------------------------------------------- renderer outputs

TEST_F(RenderFixture, RendererOutputsAreCopiedFromTheirProducers)
{
    const int image = renderer.addOutput(s("image"));
    const int unfed = renderer.addOutput(s("unfed"));
    const int a = add(s("A"), 0, 2);
    const int t = add(s("T"), 1, 1);
    edge(a, 0, t, 0);
    feedOutput(image, t, 0);
    renderer.setTarget(t);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(renderer.output(image), QVariant(s("T.0@1")));
    EXPECT_FALSE(renderer.output(unfed).isValid());
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    EXPECT_EQ(renderer.outputType(image), QVariant::String);
    QT_WARNING_POP
    EXPECT_EQ(started(log), QStringList({s("A"), s("T")})); // the root is not counted as a user
    EXPECT_EQ(pass[s("T")]->users(0), 0);
}

TEST_F(RenderFixture, OutputFedByUnrunPassMakesTheTargetRunTwice)
{
    // A -> T (target); A -> X, and X feeds the renderer output.
    const int out = renderer.addOutput(s("out"));
    const int a = add(s("A"), 0, 1);
    const int t = add(s("T"), 1, 0);
    const int x = add(s("X"), 1, 1);
    edge(a, 0, t, 0);
    edge(a, 0, x, 0);
    feedOutput(out, x, 0);
    renderer.setTarget(t);
    pass[s("X")]->setOutputValue(0, 42);

    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("A"), s("T"), s("T")}));
    EXPECT_EQ(renderer.getNumPasses(), 3);
    EXPECT_EQ(renderer.output(out), QVariant(42)); // read as it stood
    EXPECT_TRUE(callsOf(log, s("X")).isEmpty());
    EXPECT_EQ(pass[s("A")]->users(0), 1); // X is needed but never marked
    // The second walk finds A seen and runs only the target again.
    QStringList expected;
    expected << s("R.beginFrame()") << runCalls(s("A"), {}, {{0, 1}}) << runCalls(s("T"), {s("A.0@1")})
             << runCalls(s("T"), {s("A.0@1")}) << s("R.endFrame()");
    EXPECT_EQ(log, expected);
    EXPECT_EQ(pass[s("T")]->runs, 2);
}

TEST_F(RenderFixture, TargetRunsOnceMoreForEachUnrunProducer)
{
    const int first = renderer.addOutput(s("first"));
    const int second = renderer.addOutput(s("second"));
    const int third = renderer.addOutput(s("third"));
    const int t = add(s("T"), 0, 1);
    const int x = add(s("X"), 0, 1);
    const int y = add(s("Y"), 0, 1);
    feedOutput(first, x, 0);
    feedOutput(second, y, 0);
    feedOutput(third, t, 0);
    renderer.setTarget(t);
    pass[s("X")]->setOutputValue(0, s("x as it stood"));
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("T"), s("T"), s("T")}));
    EXPECT_EQ(renderer.getNumPasses(), 3);
    EXPECT_EQ(renderer.output(third), QVariant(s("T.0@3")));
    EXPECT_EQ(renderer.output(first), QVariant(s("x as it stood")));
    EXPECT_FALSE(renderer.output(second).isValid()); // Y never ran: its output is still invalid
    EXPECT_TRUE(callsOf(log, s("X")).isEmpty());
    EXPECT_TRUE(callsOf(log, s("Y")).isEmpty());
}

namespace {

// A.out0 -> T (target); A.out1 feeds renderer output "out", upstream of T.
class UpstreamOutputFixture : public RenderFixture
{
protected:
    const int out = renderer.addOutput(s("out"));
    const int a = add(s("A"), 0, 2);
    const int t = add(s("T"), 1, 0);

    void SetUp() override
    {
        edge(a, 0, t, 0);
        feedOutput(out, a, 1);
        renderer.setTarget(t);
    }
};

} // namespace

TEST_F(UpstreamOutputFixture, OutputFedFromUpstreamDoesNotRepeatTheTarget)
{
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("A"), s("T")}));
    EXPECT_EQ(renderer.getNumPasses(), 2);
    EXPECT_EQ(renderer.output(out), QVariant(s("A.1@1")));
}

TEST_F(UpstreamOutputFixture, OutputIsReadFromADisabledProducer)
{
    renderer.setEnabled(a, false);
    pass[s("A")]->setOutputValue(1, s("stale"));

    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("T")}));
    EXPECT_TRUE(callsOf(log, s("A")).isEmpty());
    EXPECT_EQ(renderer.output(out), QVariant(s("stale")));
    EXPECT_EQ(pass[s("T")]->inputValue(0), QVariant(s("T.default0")));
}

// ---------------------------------------------------------------- failure

TEST_F(RenderFixture, FailingPassStopsTheFrameAndOutputsAreStillCopied)
{
    // A -> B -> C (target); A.out1 feeds "early", C.out0 feeds "late".
    const int early = renderer.addOutput(s("early"));
    const int late = renderer.addOutput(s("late"));
    const int a = add(s("A"), 0, 2);
    const int b = add(s("B"), 1, 1);
    const int c = add(s("C"), 1, 1);
    edge(a, 0, b, 0);
    edge(b, 0, c, 0);
    feedOutput(early, a, 1);
    feedOutput(late, c, 0);
    renderer.setTarget(c);
    ASSERT_TRUE(renderer.render(nullptr));

    pass[s("B")]->failWith = 3;
    log.clear();
    EXPECT_FALSE(renderer.render(nullptr));
    QStringList expected;
    expected << s("R.beginFrame()") << runCalls(s("A"), {}, {{0, 1}}) << runCalls(s("B"), {s("A.0@2")}, {{0, 1}})
             << s("R.endFrame()");
    EXPECT_EQ(log, expected);
    EXPECT_EQ(started(log), QStringList({s("A"), s("B")}));
    EXPECT_EQ(renderer.getNumPasses(), 2);
    EXPECT_TRUE(callsOf(log, s("C")).isEmpty());
    EXPECT_EQ(log.last(), s("R.endFrame()"));
    EXPECT_EQ(renderer.output(early), QVariant(s("A.1@2")));
    EXPECT_EQ(renderer.output(late), QVariant(s("C.0@1")));
    EXPECT_EQ(pass[s("B")]->storedErrorCode(), 3u);

    pass[s("B")]->failWith = 0;
    log.clear();
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("A"), s("B"), s("C")}));
    EXPECT_EQ(pass[s("B")]->storedErrorCode(), 0u);
}

TEST_F(RenderFixture, FailureSkipsLaterBranches)
{
    const int x = add(s("X"), 0, 1);
    const int y = add(s("Y"), 0, 1);
    const int t = add(s("T"), 2, 0);
    edge(x, 0, t, 0);
    edge(y, 0, t, 1);
    renderer.setTarget(t);
    pass[s("X")]->failWith = 1;
    EXPECT_FALSE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("X")}));
    EXPECT_EQ(renderer.getNumPasses(), 1);
    EXPECT_TRUE(callsOf(log, s("Y")).isEmpty());
    EXPECT_TRUE(callsOf(log, s("T")).isEmpty());
    EXPECT_EQ(pass[s("X")]->storedErrorCode(), 1u);
}

// ---------------------------------------------------------------- waiting

TEST_F(RenderFixture, UnfinishedPassIsPolledUntilItFinishes)
{
    const int t = add(s("T"), 0, 0);
    renderer.setTarget(t);
    pass[s("T")]->unfinishedPolls = 2;
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(callsOf(log, s("T")),
              QStringList({s("T.resetNumOutputUsers()"), s("T.setErrorCode(0)"), s("T.beginFrame()"), s("T.start()"),
                           s("T.isFinished()"), s("T.isFinished()"), s("T.isFinished()"), s("T.endFrame()"),
                           s("T.errorCode()")}));
    EXPECT_EQ(pass[s("T")]->polls, 3);

    // Between two polls the renderer sleeps for 100 microseconds, so each
    // gap is at least that long. A sleep never ends early, so this lower
    // bound holds however loaded the machine is; polling without sleeping
    // leaves gaps of about a microsecond.
    const auto& at = pass[s("T")]->pollTimes;
    ASSERT_EQ(at.size(), 3u);
    EXPECT_GE(at[1] - at[0], std::chrono::microseconds(100));
    EXPECT_GE(at[2] - at[1], std::chrono::microseconds(100));
}

namespace {

// Works on a thread of its own: start() launches it, isFinished() reads an
// atomic flag the worker sets, endFrame() joins it and publishes the result.
class AsyncPass : public RenderPassHelper
{
public:
    AsyncPass() { addOutput(QStringLiteral("result")); }
    ~AsyncPass() override
    {
        if (m_worker.joinable())
            m_worker.join();
    }

    void start(RenderCallbacks*) override
    {
        m_done.store(false);
        const int frame = ++frames;
        m_worker = std::thread([this, frame] {
            QThread::msleep(2);
            m_result = 17 * frame;
            m_done.store(true, std::memory_order_release);
        });
    }
    bool isFinished() const override
    {
        ++polls;
        return m_done.load(std::memory_order_acquire);
    }
    void endFrame(RenderCallbacks* cb) override
    {
        finishedAtEndFrame = m_done.load();
        m_worker.join();
        outputs[0].value = m_result;
        RenderPassHelper::endFrame(cb);
    }

    int frames = 0;
    mutable int polls = 0;
    bool finishedAtEndFrame = false;

private:
    std::thread m_worker;
    std::atomic<bool> m_done{false};
    int m_result = 0;
};

} // namespace

TEST_F(RenderFixture, AsynchronousPassIsAwaitedBeforeItsConsumerRuns)
{
    auto* async = new AsyncPass;
    const int w = renderer.addPass(s("W"), async, Graph::kRootNodeRef);
    const int t = add(s("T"), 1, 0);
    edge(w, 0, t, 0);
    renderer.setTarget(t);

    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_TRUE(async->finishedAtEndFrame);
    EXPECT_GE(async->polls, 1);
    EXPECT_EQ(pass[s("T")]->inputValue(0), QVariant(17));
    EXPECT_EQ(async->frameCount(), 1);

    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(pass[s("T")]->inputValue(0), QVariant(34));
    EXPECT_EQ(renderer.getNumPasses(), 2);
}

// ---------------------------------------------------------------- guards

TEST_F(RenderFixture, NoValidTargetWithFedOutputsRunsNothingAndFails)
{
    const int out = renderer.addOutput(s("out"));
    const int p = add(s("P"), 0, 1);
    feedOutput(out, p, 0);
    pass[s("P")]->setOutputValue(0, s("ready"));

    for (int target : {Graph::kInvalidNodeRef, 999, -7}) {
        renderer.setTarget(target);
        log.clear();
        EXPECT_FALSE(renderer.render(nullptr)) << "target " << target;
        EXPECT_EQ(log, QStringList({s("R.beginFrame()"), s("R.endFrame()")})) << "target " << target;
        EXPECT_EQ(renderer.getNumPasses(), 0);
        EXPECT_EQ(renderer.output(out), QVariant(s("ready"))); // still collected
    }
    EXPECT_EQ(renderer.frameCount(), 3);
}

TEST_F(RenderFixture, RemovedOrUnknownTargetFails)
{
    const int p = add(s("P"), 0, 0);
    const int q = add(s("Q"), 0, 0);
    graph().removeNode(q);
    renderer.setTarget(q);
    EXPECT_FALSE(renderer.render(nullptr));
    renderer.setTarget(12345);
    EXPECT_FALSE(renderer.render(nullptr));
    EXPECT_TRUE(started(log).isEmpty());
    renderer.setTarget(p);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(started(log), QStringList({s("P")}));
}

TEST_F(RenderFixture, OutputResolvingToANodeWithoutPassKeepsItsValue)
{
    // [G: P -> out] -> renderer output
    const int out = renderer.addOutput(s("out"));
    const int group = renderer.addGroup(s("G"), 0, 1, Graph::kRootNodeRef);
    const int p = add(s("P"), 0, 1, group);
    const int inner = graph().addUpEdge(0, p, 0);
    ASSERT_NE(inner, Graph::kInvalidEdgeRef);
    feedOutput(out, group, 0);
    renderer.setTarget(p);
    ASSERT_TRUE(renderer.render(nullptr));
    ASSERT_EQ(renderer.output(out), QVariant(s("P.0@1")));

    graph().removeEdge(inner); // the producer is now the group itself
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(renderer.output(out), QVariant(s("P.0@1")));

    graph().setNodeValue(group, 7); // a value that is no pass index
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(renderer.output(out), QVariant(s("P.0@1")));
}

// ---------------------------------------------------------------- frame timing

TEST_F(RenderFixture, RendererRecordsOneFrameTimePerRender)
{
    renderer.setTarget(add(s("P"), 0, 0));
    for (int n = 0; n < 3; ++n)
        renderer.render(nullptr);
    EXPECT_EQ(renderer.frameCount(), 3);
    EXPECT_EQ(renderer.frameTimeSum(),
              (renderer.frameTimes()[0] + renderer.frameTimes()[1]) + renderer.frameTimes()[2]);
    EXPECT_EQ(renderer.frameTimes()[3], 0.0);
    EXPECT_FALSE(renderer.frameTimer().isValid());
}

namespace {

// Makes each frame a little longer than the one before it, so that every
// recorded time differs.
class SlowerEachFrameRenderer : public Renderer
{
public:
    void beginFrame(RenderCallbacks* cb) override
    {
        Renderer::beginFrame(cb);
        ZrnTest::spinPast(frameTimer(), recorded.empty() ? 0.0 : recorded.back());
    }
    void endFrame(RenderCallbacks* cb) override
    {
        Renderer::endFrame(cb);
        recorded.push_back(ZrnTest::lastRecorded(frameStatistics()));
    }
    std::vector<double> recorded;
};

} // namespace

TEST(RendererFrameTiming, HundredAndOneFramesKeepTheLastHundred)
{
    SlowerEachFrameRenderer renderer;
    for (int n = 0; n < 101; ++n)
        ASSERT_TRUE(renderer.render(nullptr));
    ASSERT_EQ(renderer.recorded.size(), 101u);
    EXPECT_EQ(renderer.frameCount(), 101);
    EXPECT_EQ(renderer.frameTimes()[0], renderer.recorded[100]);
    EXPECT_FALSE(renderer.frameTimer().isValid());
    ZrnTest::expectHistory(renderer.frameStatistics(), renderer.recorded);
}

namespace {

// Replaces the frame timing: render() must reach these through the vtable.
class UntimedRenderer : public Renderer
{
public:
    void beginFrame(RenderCallbacks*) override { ++begins; }
    void endFrame(RenderCallbacks*) override { ++ends; }
    int begins = 0;
    int ends = 0;
};

} // namespace

TEST(RendererFrameTiming, DerivedRendererReplacesFrameTiming)
{
    UntimedRenderer renderer;
    renderer.render(nullptr);
    renderer.render(nullptr);
    EXPECT_EQ(renderer.begins, 2);
    EXPECT_EQ(renderer.ends, 2);
    EXPECT_EQ(renderer.frameCount(), 0);
}

// ---------------------------------------------------------------- deep graphs

namespace {

// Adds one to its integer input and notes its number in `runs` when it starts.
class CountingPass : public RenderPassHelper
{
public:
    CountingPass(int number, std::vector<int>* runs)
        : m_number(number)
        , m_runs(runs)
    {
        addInput(QStringLiteral("in"), 0);
        addOutput(QStringLiteral("out"));
    }
    void start(RenderCallbacks*) override
    {
        m_runs->push_back(m_number);
        outputs[0].value = inputs[0].value.toInt() + 1;
    }

private:
    int m_number;
    std::vector<int>* m_runs;
};

} // namespace

TEST(RendererDeepGraph, ChainOfHundredThousandPassesRunsInOrder)
{
    // P0 -> P1 -> ... -> P99999 (target) -> renderer output. A walk that
    // recursed once per pass would overflow the call stack here. The edges
    // are added from the end backward, so that no cycle test searches far.
    constexpr int kLength = 100000;
    std::vector<int> runs;
    runs.reserve(size_t(kLength));
    Renderer renderer;
    const int out = renderer.addOutput(QStringLiteral("result"));
    std::vector<int> nodes;
    nodes.reserve(size_t(kLength));
    for (int i = 0; i < kLength; ++i)
        nodes.push_back(
            renderer.addPass(QStringLiteral("P%1").arg(i), new CountingPass(i, &runs), Graph::kRootNodeRef));
    Graph& g = renderer.getGraph();
    for (int i = kLength - 2; i >= 0; --i)
        ASSERT_NE(g.addEdge(nodes[size_t(i)], 0, nodes[size_t(i + 1)], 0), Graph::kInvalidEdgeRef) << i;
    ASSERT_NE(g.addUpEdge(out, nodes.back(), 0), Graph::kInvalidEdgeRef);
    renderer.setTarget(nodes.back());

    for (int frame = 1; frame <= 2; ++frame) {
        runs.clear();
        EXPECT_TRUE(renderer.render(nullptr));
        EXPECT_EQ(renderer.getNumPasses(), kLength);
        ASSERT_EQ(runs.size(), size_t(kLength));
        for (int i = 0; i < kLength; ++i)
            ASSERT_EQ(runs[size_t(i)], i) << "run " << i << " of frame " << frame;
        EXPECT_EQ(renderer.output(out), QVariant(kLength));
    }
}

// An input the pass gained after addPass() has no port on its node: nothing
// can feed it, so every frame hands it its default, in literal and in
// compiled frames alike.
TEST(RendererExecution, InputAddedAfterAddPassGetsItsDefault)
{
    for (const bool literal : {true, false}) {
        SCOPED_TRACE(literal ? "literal frames" : "compiled frames");
        QStringList log;
        Renderer r;
        Internal::setLiteralFrames(r, literal);
        const int gain = r.addParameter(s("gain"), 2);
        auto* p = new RecordingPass(s("P"), &log, 1, 0);
        const int node = r.addPass(s("P"), p, Graph::kRootNodeRef);
        ASSERT_NE(r.getGraph().addDownEdge(gain, node, 0), Graph::kInvalidEdgeRef);
        EXPECT_EQ(p->addInput(s("late"), 5), 1);
        EXPECT_EQ(r.getGraph().numInputs(node), 1);
        r.setTarget(node);
        for (int frame = 0; frame < 2; ++frame) {
            p->setInput(1, s("stale"));
            EXPECT_TRUE(r.render(nullptr));
            EXPECT_EQ(p->inputValue(0), QVariant(2));
            EXPECT_EQ(p->inputValue(1), QVariant(5));
        }
        EXPECT_EQ(p->runs, 2);
    }
}

// A target that is no live node runs nothing and fails the frame, whether or
// not anything else is needed.
TEST(RendererExecution, TargetThatIsNoLiveNodeRunsNothing)
{
    for (const bool literal : {true, false}) {
        SCOPED_TRACE(literal ? "literal frames" : "compiled frames");
        QStringList log;
        Renderer r;
        Internal::setLiteralFrames(r, literal);
        auto* p = new RecordingPass(s("P"), &log, 0, 0);
        const int node = r.addPass(s("P"), p, Graph::kRootNodeRef);
        r.setTarget(node);
        EXPECT_TRUE(r.render(nullptr));
        EXPECT_EQ(p->runs, 1);
        r.getGraph().removeNode(node);
        EXPECT_FALSE(r.render(nullptr));
        r.setTarget(42);
        EXPECT_FALSE(r.render(nullptr));
        EXPECT_EQ(p->runs, 1);
    }
}

// An output port added to a pass's node through the graph has no pass output
// behind it: a consumer fed from it gets its default, and a renderer output
// fed from it keeps its value, in literal and compiled frames alike.
TEST(RendererExecution, PortAddedToAPassNodeThroughTheGraphGivesNothing)
{
    for (const bool literal : {true, false}) {
        SCOPED_TRACE(literal ? "literal frames" : "compiled frames");
        QStringList log;
        Renderer r;
        Internal::setLiteralFrames(r, literal);
        const int out = r.addOutput(s("out"));
        auto* a = new RecordingPass(s("A"), &log, 0, 1);
        auto* b = new RecordingPass(s("B"), &log, 2, 0);
        const int an = r.addPass(s("A"), a, Graph::kRootNodeRef);
        const int bn = r.addPass(s("B"), b, Graph::kRootNodeRef);
        Graph& g = r.getGraph();
        EXPECT_EQ(g.addOutput(an, s("extra"), -1), 1);
        ASSERT_EQ(g.addEdge(an, 0, bn, 0), 0);
        ASSERT_EQ(g.addEdge(an, 1, bn, 1), 1);
        ASSERT_EQ(g.addUpEdge(out, an, 1), Graph::kInvalidEdgeRef); // the output already feeds a sibling
        r.setTarget(bn);
        for (int frame = 1; frame <= 2; ++frame) {
            EXPECT_TRUE(r.render(nullptr));
            EXPECT_EQ(b->inputValue(0), QVariant(QStringLiteral("A.0@%1").arg(frame)));
            EXPECT_EQ(b->inputValue(1), QVariant(s("B.default1")));
        }
        EXPECT_EQ(a->users(0), 1);
        EXPECT_EQ(a->numUserSlots(), 1);

        // Now the renderer output reads the extra port of C, which feeds B.
        auto* c = new RecordingPass(s("C"), &log, 0, 1);
        const int cn = r.addPass(s("C"), c, Graph::kRootNodeRef);
        EXPECT_EQ(g.addOutput(cn, s("extra"), -1), 1);
        ASSERT_NE(g.addUpEdge(out, cn, 1), Graph::kInvalidEdgeRef);
        g.removeEdge(1);
        ASSERT_NE(g.addEdge(cn, 0, bn, 1), Graph::kInvalidEdgeRef);
        EXPECT_FALSE(r.output(out).isValid());
        EXPECT_TRUE(r.render(nullptr));
        EXPECT_EQ(c->runs, 1);
        EXPECT_EQ(b->inputValue(1), QVariant(s("C.0@1")));
        EXPECT_FALSE(r.output(out).isValid());
    }
}
