// The compiled frame: a frame that replays the recorded schedule makes the
// same calls as a frame that walks the graph, and the schedule is recorded
// again exactly when something that decides it has changed.

#include "TestSupport.h"
#include <ZrnCore/FrameReport.h>
#include <ZrnCore/Graph.h>
#include <ZrnCore/Renderer.h>

#include "RenderTestPasses.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

// TestSupport.h turns a broken check into a thrown ZrnTest::FuzzFailure.
#include "../fuzz/fuzz_RendererSchedule.cpp"

using namespace Morvane::Zrn;
using ZrnTest::RecordingPass;
using ZrnTest::runCalls;
using ZrnTest::s;

namespace {

bool replay(const std::vector<std::uint8_t>& bytes, const std::string& label)
{
    return ZrnTest::replayFuzzInput(&LLVMFuzzerTestOneInput, bytes, label);
}

// ---------------------------------------------------------------- differential

TEST(RendererScheduleDifferential, SeededGraphsGiveTheSameCallsBothWays)
{
    using ZrnRendererScheduleFuzz::totals;
    totals() = ZrnRendererScheduleFuzz::Totals{};
    int failures = 0;
    for (unsigned seed = 1; seed <= 400 && failures < 3; ++seed) {
        std::mt19937 random(seed);
        std::vector<std::uint8_t> bytes(300 + random() % 500);
        for (std::uint8_t& b : bytes)
            b = std::uint8_t(random());
        if (!replay(bytes, "seed " + std::to_string(seed)))
            ++failures;
    }

    // The seeds reach what is worth comparing: frames that replay a schedule
    // with passes in it, failing frames, passes that finish late and frames
    // that a pass's exception ends.
    const ZrnRendererScheduleFuzz::Totals t = totals();
    EXPECT_GT(t.frames, 4000);
    EXPECT_GT(t.replayedFrames, t.frames / 3);
    EXPECT_GT(t.replayedRuns, t.replayedFrames * 3 / 2);
    EXPECT_GT(t.failedFrames, 800);
    EXPECT_GT(t.latePolls, 500);
    EXPECT_GT(t.thrownFrames, 150);
}

TEST(RendererScheduleDifferential, CorpusGivesTheSameCallsBothWays)
{
    const std::vector<ZrnTest::CorpusFile> files = ZrnTest::readCorpus(QStringLiteral(ZRN_RENDERER_SCHEDULE_CORPUS));
    ASSERT_GE(files.size(), 4u) << ZRN_RENDERER_SCHEDULE_CORPUS;
    for (const ZrnTest::CorpusFile& file : files)
        replay(file.bytes, file.name.toStdString());
}

TEST(RendererScheduleDifferential, FixedInputsGiveTheSameCallsBothWays)
{
    EXPECT_TRUE(replay({}, "empty input"));
    EXPECT_TRUE(replay(std::vector<std::uint8_t>(512, 0x00), "all zero"));
    EXPECT_TRUE(replay(std::vector<std::uint8_t>(512, 0xFF), "all 0xff"));
    std::vector<std::uint8_t> counting(1024);
    for (size_t i = 0; i < counting.size(); ++i)
        counting[i] = std::uint8_t(i);
    EXPECT_TRUE(replay(counting, "counting"));
}

// ---------------------------------------------------------------- when the schedule is recorded

// A logging renderer with the chain A -> B -> T (T the target, fed by the
// renderer parameter through A's input, T's output feeding renderer output 0).
class ScheduleFixture : public ::testing::Test
{
protected:
    QStringList log;
    ZrnTest::LoggingRenderer renderer{&log};
    RecordingPass* a = new RecordingPass(s("A"), &log, 1, 1);
    RecordingPass* b = new RecordingPass(s("B"), &log, 1, 1);
    RecordingPass* t = new RecordingPass(s("T"), &log, 1, 1);
    int nodeA = -1;
    int nodeB = -1;
    int nodeT = -1;

    void SetUp() override
    {
        renderer.addParameter(s("gain"), 5);
        renderer.addOutput(s("image"));
        nodeA = renderer.addPass(s("A"), a, Graph::kRootNodeRef);
        nodeB = renderer.addPass(s("B"), b, Graph::kRootNodeRef);
        nodeT = renderer.addPass(s("T"), t, Graph::kRootNodeRef);
        Graph& g = renderer.getGraph();
        ASSERT_NE(g.addDownEdge(0, nodeA, 0), Graph::kInvalidEdgeRef);
        ASSERT_NE(g.addEdge(nodeA, 0, nodeB, 0), Graph::kInvalidEdgeRef);
        ASSERT_NE(g.addEdge(nodeB, 0, nodeT, 0), Graph::kInvalidEdgeRef);
        ASSERT_NE(g.addUpEdge(0, nodeT, 0), Graph::kInvalidEdgeRef);
        renderer.setTarget(nodeT);
    }

    quint64 compilations() const { return Internal::scheduleCompilations(renderer); }

    // Renders one frame and returns its calls.
    QStringList frame()
    {
        log.clear();
        EXPECT_TRUE(renderer.render(nullptr));
        return log;
    }
};

TEST_F(ScheduleFixture, UnchangedFramesReplayOneRecording)
{
    EXPECT_FALSE(Internal::literalFrames(renderer));
    EXPECT_EQ(compilations(), 0u);
    for (int n = 1; n <= 3; ++n) {
        const QStringList expected = QStringList{s("R.beginFrame()")} + runCalls(s("A"), {s("5")}, {{0, 1}})
            + runCalls(s("B"), {QStringLiteral("A.0@%1").arg(n)}, {{0, 1}})
            + runCalls(s("T"), {QStringLiteral("B.0@%1").arg(n)}) + QStringList{s("R.endFrame()")};
        EXPECT_EQ(frame(), expected) << "frame " << n;
        EXPECT_EQ(renderer.output(0), QVariant(QStringLiteral("T.0@%1").arg(n)));
        EXPECT_EQ(renderer.getNumPasses(), 3);
    }
    EXPECT_EQ(compilations(), 1u);
}

TEST_F(ScheduleFixture, EnabledFlagsAndParametersAreReadLive)
{
    frame();
    renderer.setEnabled(nodeB, false);
    renderer.setParameter(0, 7);
    EXPECT_EQ(frame(),
              QStringList{s("R.beginFrame()")} + runCalls(s("A"), {s("7")}, {{0, 1}})
                  + runCalls(s("T"), {s("T.default0")}) + QStringList{s("R.endFrame()")});
    renderer.setEnabled(nodeB, true);
    EXPECT_EQ(frame(),
              QStringList{s("R.beginFrame()")} + runCalls(s("A"), {s("7")}, {{0, 1}})
                  + runCalls(s("B"), {s("A.0@3")}, {{0, 1}}) + runCalls(s("T"), {s("B.0@2")})
                  + QStringList{s("R.endFrame()")});
    EXPECT_EQ(compilations(), 1u);
}

TEST_F(ScheduleFixture, FailureStopsAReplayedFrameAndOutputsAreStillCopied)
{
    frame();
    b->failWith = 3;
    log.clear();
    EXPECT_FALSE(renderer.render(nullptr));
    EXPECT_EQ(log,
              QStringList{s("R.beginFrame()")} + runCalls(s("A"), {s("5")}, {{0, 1}})
                  + runCalls(s("B"), {s("A.0@2")}, {{0, 1}}) + QStringList{s("R.endFrame()")});
    EXPECT_EQ(renderer.output(0), QVariant(s("T.0@1")));
    EXPECT_EQ(renderer.getNumPasses(), 2);
    EXPECT_EQ(compilations(), 1u);
}

TEST_F(ScheduleFixture, EveryChangeThatDecidesTheScheduleRecordsItAgain)
{
    frame();
    renderer.setTarget(nodeT); // the same target: nothing changed
    frame();
    EXPECT_EQ(compilations(), 1u);

    renderer.setTarget(nodeB);
    EXPECT_EQ(frame(),
              QStringList{s("R.beginFrame()")} + runCalls(s("A"), {s("5")}, {{0, 1}}) + runCalls(s("B"), {s("A.0@3")})
                  + runCalls(s("B"), {s("A.0@3")}) + QStringList{s("R.endFrame()")});
    EXPECT_EQ(compilations(), 2u);

    renderer.getGraph().setNodeName(nodeA, s("renamed")); // any graph edit
    frame();
    EXPECT_EQ(compilations(), 3u);

    renderer.addParameter(s("more"), 1);
    frame();
    EXPECT_EQ(compilations(), 4u);
    renderer.addOutput(s("more"));
    frame();
    EXPECT_EQ(compilations(), 5u);
    renderer.addGroup(s("G"), 0, 0, Graph::kRootNodeRef);
    frame();
    EXPECT_EQ(compilations(), 6u);
    renderer.addPass(s("C"), new RecordingPass(s("C"), &log, 0, 0), Graph::kRootNodeRef);
    frame();
    EXPECT_EQ(compilations(), 7u);
    frame();
    EXPECT_EQ(compilations(), 7u);
}

TEST_F(ScheduleFixture, TargetThatIsNoNodeIsRefusedInReplayedFramesToo)
{
    frame();
    renderer.setTarget(99);
    for (int n = 0; n < 2; ++n) {
        log.clear();
        EXPECT_FALSE(renderer.render(nullptr));
        EXPECT_EQ(log, QStringList({s("R.beginFrame()"), s("R.endFrame()")}));
        EXPECT_EQ(renderer.getNumPasses(), 0);
        EXPECT_EQ(renderer.output(0), QVariant(s("T.0@1"))); // still collected
    }
    renderer.setTarget(Graph::kInvalidNodeRef); // unset while an output is fed
    log.clear();
    EXPECT_FALSE(renderer.render(nullptr));
    EXPECT_EQ(log, QStringList({s("R.beginFrame()"), s("R.endFrame()")}));
    EXPECT_EQ(compilations(), 3u);

    renderer.setTarget(nodeT);
    EXPECT_EQ(frame(),
              QStringList{s("R.beginFrame()")} + runCalls(s("A"), {s("5")}, {{0, 1}})
                  + runCalls(s("B"), {s("A.0@2")}, {{0, 1}}) + runCalls(s("T"), {s("B.0@2")})
                  + QStringList{s("R.endFrame()")});
    EXPECT_EQ(compilations(), 4u);
}

// A recording pass that also logs the questions a frame asks it: its port
// counts and its output values.
class QuestionedPass : public RecordingPass
{
public:
    QuestionedPass(const QString& name, QStringList* log, int numInputs, int numOutputs)
        : RecordingPass(name, log, numInputs, numOutputs)
        , m_name(name)
        , m_questions(log)
    {
    }
    bool asking = false; ///< log the questions (off while the pass is added)

    int numInputs() const override
    {
        ask(QStringLiteral("numInputs()"));
        return RecordingPass::numInputs();
    }
    int numOutputs() const override
    {
        ask(QStringLiteral("numOutputs()"));
        return RecordingPass::numOutputs();
    }
    QVariant output(int output) const override
    {
        ask(QStringLiteral("output(%1)").arg(output));
        return RecordingPass::output(output);
    }

private:
    void ask(const QString& question) const
    {
        if (asking)
            m_questions->append(m_name + QLatin1Char('.') + question);
    }
    QString m_name;
    QStringList* m_questions;
};

// A pass may answer its port counts itself, so a frame asks them as a call
// the pass sees: a replayed frame asks exactly what a walking frame asks,
// where it asks it.
TEST(RendererSchedulePorts, ReplayedFramesAskPortCountsAsWalkingFramesDo)
{
    for (const bool walking : {true, false}) {
        SCOPED_TRACE(walking ? "walking frames" : "replayed frames");
        QStringList log;
        ZrnTest::LoggingRenderer renderer{&log};
        Internal::setLiteralFrames(renderer, walking);
        auto* a = new QuestionedPass(s("A"), &log, 2, 1);
        auto* t = new QuestionedPass(s("T"), &log, 1, 1);
        renderer.addParameter(s("gain"), 5);
        renderer.addOutput(s("image"));
        const int nodeA = renderer.addPass(s("A"), a, Graph::kRootNodeRef);
        const int nodeT = renderer.addPass(s("T"), t, Graph::kRootNodeRef);
        Graph& g = renderer.getGraph();
        ASSERT_NE(g.addDownEdge(0, nodeA, 0), Graph::kInvalidEdgeRef);
        ASSERT_NE(g.addEdge(nodeA, 0, nodeT, 0), Graph::kInvalidEdgeRef);
        ASSERT_NE(g.addUpEdge(0, nodeT, 0), Graph::kInvalidEdgeRef);
        renderer.setTarget(nodeT);
        a->asking = true;
        t->asking = true;

        for (int n = 1; n <= 2; ++n) {
            log.clear();
            EXPECT_TRUE(renderer.render(nullptr));
            const QStringList runA = runCalls(s("A"), {s("5"), s("A.default1")}, {{0, 1}});
            const QStringList runT = runCalls(s("T"), {QStringLiteral("A.0@%1").arg(n)});
            QStringList expected{s("R.beginFrame()"), s("A.numInputs()")};
            expected << runA.mid(0, 3) << s("A.numOutputs()") << runA.mid(3);
            expected << s("T.numInputs()") << s("A.numOutputs()") << s("A.output(0)") << runT.mid(0, 2)
                     << s("T.numOutputs()") << runT.mid(2);
            expected << s("T.numOutputs()") << s("T.output(0)") << s("R.endFrame()");
            EXPECT_EQ(log, expected) << "frame " << n;
        }
        EXPECT_EQ(Internal::scheduleCompilations(renderer), walking ? 0u : 1u);
    }
}

TEST_F(ScheduleFixture, LiteralFramesRecordNothing)
{
    Internal::setLiteralFrames(renderer, true);
    EXPECT_TRUE(Internal::literalFrames(renderer));
    for (int n = 1; n <= 2; ++n) {
        EXPECT_EQ(frame(),
                  QStringList{s("R.beginFrame()")} + runCalls(s("A"), {s("5")}, {{0, 1}})
                      + runCalls(s("B"), {QStringLiteral("A.0@%1").arg(n)}, {{0, 1}})
                      + runCalls(s("T"), {QStringLiteral("B.0@%1").arg(n)}) + QStringList{s("R.endFrame()")});
    }
    EXPECT_EQ(compilations(), 0u);
    Internal::setLiteralFrames(renderer, false);
    frame();
    frame();
    EXPECT_EQ(compilations(), 1u);
}

// ---------------------------------------------------------------- changes made during a frame

// A recording pass that calls `onStart` at the end of each start(), as a
// pass that changes its renderer from inside a frame does.
class ActingPass : public RecordingPass
{
public:
    using RecordingPass::RecordingPass;
    std::function<void()> onStart;

    void start(RenderCallbacks* cb) override
    {
        RecordingPass::start(cb);
        if (onStart)
            onStart();
    }
};

// The chain A -> B -> T of ScheduleFixture with acting passes, walking or
// replaying its frames.
struct ActingChain
{
    explicit ActingChain(bool walking)
    {
        Internal::setLiteralFrames(renderer, walking);
        renderer.addParameter(s("gain"), 5);
        renderer.addOutput(s("image"));
        nodeA = renderer.addPass(s("A"), a, Graph::kRootNodeRef);
        nodeB = renderer.addPass(s("B"), b, Graph::kRootNodeRef);
        nodeT = renderer.addPass(s("T"), t, Graph::kRootNodeRef);
        Graph& g = renderer.getGraph();
        ok = g.addDownEdge(0, nodeA, 0) != Graph::kInvalidEdgeRef
            && g.addEdge(nodeA, 0, nodeB, 0) != Graph::kInvalidEdgeRef
            && g.addEdge(nodeB, 0, nodeT, 0) != Graph::kInvalidEdgeRef
            && g.addUpEdge(0, nodeT, 0) != Graph::kInvalidEdgeRef;
        renderer.setTarget(nodeT);
    }

    QStringList frame()
    {
        log.clear();
        EXPECT_TRUE(renderer.render(nullptr));
        return log;
    }

    QStringList log;
    ZrnTest::LoggingRenderer renderer{&log};
    ActingPass* a = new ActingPass(s("A"), &log, 1, 1);
    ActingPass* b = new ActingPass(s("B"), &log, 1, 1);
    ActingPass* t = new ActingPass(s("T"), &log, 1, 1);
    int nodeA = -1;
    int nodeB = -1;
    int nodeT = -1;
    bool ok = false;
};

// Enabled flags are read when a frame needs them, so a flag that a pass
// changes in its start() already counts for the rest of that frame: for
// whether a later pass runs, and for whether a later pass takes its input
// from the changed one.
TEST(RendererScheduleDuringAFrame, FlagsChangedByAPassCountForTheRestOfTheFrame)
{
    for (const bool walking : {true, false}) {
        SCOPED_TRACE(walking ? "walking frames" : "replayed frames");
        ActingChain c(walking);
        ASSERT_TRUE(c.ok);
        c.a->onStart = [&c] { c.renderer.setEnabled(c.nodeB, false); };
        EXPECT_EQ(c.frame(),
                  QStringList{s("R.beginFrame()")} + runCalls(s("A"), {s("5")}, {{0, 1}})
                      + runCalls(s("T"), {s("T.default0")}) + QStringList{s("R.endFrame()")});
        EXPECT_EQ(c.renderer.getNumPasses(), 2);

        c.a->onStart = [&c] {
            c.renderer.setEnabled(c.nodeB, true);
            c.renderer.setEnabled(c.nodeA, false);
        };
        EXPECT_EQ(c.frame(),
                  QStringList{s("R.beginFrame()")} + runCalls(s("A"), {s("5")}, {{0, 1}})
                      + runCalls(s("B"), {s("B.default0")}, {{0, 1}}) + runCalls(s("T"), {s("B.0@1")})
                      + QStringList{s("R.endFrame()")});
        EXPECT_EQ(c.frame(),
                  QStringList{s("R.beginFrame()")} + runCalls(s("B"), {s("B.default0")}, {{0, 1}})
                      + runCalls(s("T"), {s("B.0@2")}) + QStringList{s("R.endFrame()")});
        EXPECT_EQ(c.renderer.output(0), QVariant(s("T.0@3")));
        EXPECT_EQ(Internal::scheduleCompilations(c.renderer), walking ? 0u : 1u);
    }
}

// Whether a pass's run is recorded is decided when the run begins: a report
// that a pass turns on in its start() holds the runs that began after that
// call, and one that a pass turns off holds none of the frame's runs.
TEST(RendererScheduleDuringAFrame, AReportTurnedOnOrOffByAPassRecordsTheRunsThatBeginAfter)
{
    using State = FrameReport::PassState;
    for (const bool walking : {true, false}) {
        SCOPED_TRACE(walking ? "walking frames" : "replayed frames");
        ActingChain c(walking);
        ASSERT_TRUE(c.ok);
        c.frame();
        c.b->onStart = [&c] { c.renderer.setFrameReportEnabled(true); };
        c.frame();
        c.b->onStart = nullptr;
        const FrameReport& report = c.renderer.frameReport();
        ASSERT_TRUE(c.renderer.isFrameReportEnabled());
        ASSERT_EQ(report.numRuns(), 1);
        EXPECT_EQ(report.run(0).node, c.nodeT);
        EXPECT_EQ(report.run(0).pass, 2);
        EXPECT_EQ(report.run(0).errorCode, 0u);
        EXPECT_EQ(report.run(0).polls, 1);
        EXPECT_TRUE(report.succeeded());
        EXPECT_EQ(report.target(), c.nodeT);
        EXPECT_EQ(report.passState(2), State::Ran);

        c.frame(); // a whole frame recorded
        EXPECT_EQ(report.frameIndex(), 2);
        ASSERT_EQ(report.numRuns(), 3);
        EXPECT_EQ(report.run(0).node, c.nodeA);
        EXPECT_EQ(report.run(1).node, c.nodeB);
        EXPECT_EQ(report.run(2).node, c.nodeT);

        c.a->onStart = [&c] { c.renderer.setFrameReportEnabled(false); };
        c.frame();
        EXPECT_FALSE(c.renderer.isFrameReportEnabled());
        EXPECT_EQ(report.numRuns(), 0);
        EXPECT_EQ(report.frameIndex(), 2); // the frame before, whose runs were cleared
    }
}

} // namespace
