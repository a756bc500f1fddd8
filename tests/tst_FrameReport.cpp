// The frame report: what a frame needed, ran, skipped and failed, and what
// each run cost, on the render scenarios of the execution tests.

#include <ZrnCore/FrameReport.h>
#include <ZrnCore/FrameTrace.h>
#include <ZrnCore/Graph.h>
#include <ZrnCore/GraphPicture.h>
#include <ZrnCore/Renderer.h>

#include "../src/Core/RendererHooks_p.h"
#include "GraphvizCheck.h"
#include "RecordingRendererFixture.h"

#include <gtest/gtest.h>

using namespace Morvane::Zrn;
using ZrnTest::frameTimeOf;
using ZrnTest::runCalls;
using ZrnTest::s;
using ZrnTest::withoutTimes;
using State = FrameReport::PassState;

namespace {

using FrameReportTest = ZrnTest::RecordingRendererFixture;

// Every run lies inside its frame, one after the other, and its times follow
// from its readings.
void expectRunsInsideTheFrame(const FrameReport& report)
{
    qint64 previousEnd = report.beginNsecs();
    for (int i = 0; i < report.numRuns(); ++i) {
        const FrameReport::PassRun& r = report.run(i);
        EXPECT_LE(previousEnd, r.beginNsecs) << "run " << i;
        EXPECT_LE(r.beginNsecs, r.endNsecs) << "run " << i;
        EXPECT_EQ(r.milliseconds(), double(r.endNsecs - r.beginNsecs) / 1000000.0) << "run " << i;
        EXPECT_EQ(r.frameTime(), frameTimeOf(r.endNsecs - r.beginNsecs)) << "run " << i;
        previousEnd = r.endNsecs;
    }
    EXPECT_LE(previousEnd, report.endNsecs());
}

} // namespace

TEST_F(FrameReportTest, IsOffUntilTheHostTurnsItOn)
{
    chain();
    EXPECT_FALSE(renderer.isFrameReportEnabled());
    EXPECT_TRUE(renderer.render(nullptr));
    const FrameReport& report = renderer.frameReport();
    EXPECT_FALSE(report.isValid());
    EXPECT_EQ(report.frameIndex(), -1);
    EXPECT_EQ(report.numRuns(), 0);
    EXPECT_EQ(report.numPasses(), 0);
    EXPECT_EQ(report.failedNode(), Graph::kInvalidNodeRef);
    EXPECT_EQ(report.text(graph()), s("no frame reported\n"));

    renderer.setFrameReportEnabled(true);
    EXPECT_TRUE(renderer.isFrameReportEnabled());
    EXPECT_FALSE(renderer.frameReport().isValid()); // nothing rendered since
}

TEST_F(FrameReportTest, FailureMidChainNamesThePassAndItsCode)
{
    // A -> B -> C (target), D beside them; B fails with code 3.
    const Chain c = chain();
    const int d = add(s("D"), 0, 1);
    pass[s("B")]->failWith = 3;
    renderer.setFrameReportEnabled(true);

    EXPECT_FALSE(renderer.render(nullptr));
    // Recording changes no call the passes or the renderer see.
    QStringList expected;
    expected << s("R.beginFrame()") << runCalls(s("A"), {}, {{0, 1}}) << runCalls(s("B"), {s("A.0@1")}, {{0, 1}})
             << s("R.endFrame()");
    EXPECT_EQ(log, expected);

    const FrameReport& report = renderer.frameReport();
    ASSERT_TRUE(report.isValid());
    EXPECT_EQ(report.frameIndex(), 0);
    EXPECT_FALSE(report.succeeded());
    EXPECT_EQ(report.target(), c.c);
    ASSERT_EQ(report.numRuns(), 2);
    EXPECT_EQ(report.run(0).node, c.a);
    EXPECT_EQ(report.run(0).pass, 0);
    EXPECT_EQ(report.run(0).errorCode, 0u);
    EXPECT_EQ(report.run(0).polls, 1);
    EXPECT_EQ(report.run(0).waitBeginNsecs, -1);
    EXPECT_EQ(report.run(0).waitEndNsecs, -1);
    EXPECT_EQ(report.run(1).node, c.b);
    EXPECT_EQ(report.run(1).pass, 1);
    EXPECT_EQ(report.run(1).errorCode, 3u);
    ASSERT_EQ(report.numPasses(), 4);
    EXPECT_EQ(report.passState(0), State::Ran);
    EXPECT_EQ(report.passState(1), State::Failed);
    EXPECT_EQ(report.passState(2), State::NotRun);
    EXPECT_EQ(report.passState(3), State::NotNeeded);
    EXPECT_EQ(report.passNode(3), d);
    EXPECT_EQ(report.passNodes(State::Ran), QVector<int>({c.a}));
    EXPECT_EQ(report.passNodes(State::NotRun), QVector<int>({c.c}));
    EXPECT_EQ(report.failedNode(), c.b);
    EXPECT_EQ(report.errorCode(), 3u);
    expectRunsInsideTheFrame(report);

    EXPECT_EQ(withoutTimes(report.text(graph())),
              s("frame 0: failed at B with error code 3, 2 runs, target C\n"
                "time: T ms wall-clock, T frame-time units (about twice the milliseconds)\n"
                "runs in order (ms wall-clock, frame-time units):\n"
                "  1. A: T ms, T units\n"
                "  2. B: T ms, T units, error code 3\n"
                "passes:\n"
                "  A: ran\n"
                "  B: failed\n"
                "  C: not run, target\n"
                "  D: not needed\n"));

    // The next frame succeeds and replaces the report.
    pass[s("B")]->failWith = 0;
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(report.frameIndex(), 1);
    EXPECT_TRUE(report.succeeded());
    EXPECT_EQ(report.numRuns(), 3);
    EXPECT_EQ(report.passNodes(State::Ran), QVector<int>({c.a, c.b, c.c}));
    EXPECT_EQ(report.failedNode(), Graph::kInvalidNodeRef);
    EXPECT_EQ(report.errorCode(), 0u);
}

TEST_F(FrameReportTest, DisabledPassIsReportedAsSkipped)
{
    const Chain c = chain();
    renderer.setEnabled(c.b, false);
    renderer.setFrameReportEnabled(true);

    EXPECT_TRUE(renderer.render(nullptr));
    QStringList expected;
    expected << s("R.beginFrame()") << runCalls(s("A"), {}, {{0, 1}}) << runCalls(s("C"), {s("C.default0")})
             << s("R.endFrame()");
    EXPECT_EQ(log, expected);

    const FrameReport& report = renderer.frameReport();
    ASSERT_EQ(report.numRuns(), 2);
    EXPECT_EQ(report.run(0).node, c.a);
    EXPECT_EQ(report.run(1).node, c.c);
    EXPECT_EQ(report.passState(0), State::Ran);
    EXPECT_EQ(report.passState(1), State::Disabled);
    EXPECT_EQ(report.passState(2), State::Ran);
    EXPECT_EQ(report.passNodes(State::Disabled), QVector<int>({c.b}));
    EXPECT_TRUE(report.succeeded());
    EXPECT_EQ(withoutTimes(report.text(graph())),
              s("frame 0: succeeded, 2 runs, target C\n"
                "time: T ms wall-clock, T frame-time units (about twice the milliseconds)\n"
                "runs in order (ms wall-clock, frame-time units):\n"
                "  1. A: T ms, T units\n"
                "  2. C: T ms, T units\n"
                "passes:\n"
                "  A: ran\n"
                "  B: disabled\n"
                "  C: ran, target\n"));
}

TEST_F(FrameReportTest, AsynchronousPassShowsItsWait)
{
    const int t = add(s("T"), 0, 0);
    renderer.setTarget(t);
    pass[s("T")]->unfinishedPolls = 2;
    renderer.setFrameReportEnabled(true);

    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(log, QStringList() << s("R.beginFrame()") << runCalls(s("T"), {}, {}, 3) << s("R.endFrame()"));

    const FrameReport& report = renderer.frameReport();
    ASSERT_EQ(report.numRuns(), 1);
    const FrameReport::PassRun& r = report.run(0);
    EXPECT_EQ(r.polls, 3);
    // The wait runs from the first unfinished poll to the finishing one,
    // across two sleeps of at least 100 microseconds each.
    EXPECT_LE(r.beginNsecs, r.waitBeginNsecs);
    EXPECT_GE(r.waitEndNsecs - r.waitBeginNsecs, 200000);
    EXPECT_LE(r.waitEndNsecs, r.endNsecs);
    EXPECT_EQ(r.waitMilliseconds(), double(r.waitEndNsecs - r.waitBeginNsecs) / 1000000.0);
    EXPECT_GE(r.milliseconds(), 0.2);
    expectRunsInsideTheFrame(report);
    // The pass times itself from inside beginFrame() to inside endFrame(),
    // by the same rule: never longer than the run around it.
    EXPECT_LE(pass[s("T")]->frameTimes()[0], r.frameTime());
    EXPECT_GT(pass[s("T")]->frameTimes()[0], 0.0);

    EXPECT_EQ(withoutTimes(report.text(graph())),
              s("frame 0: succeeded, 1 run, target T\n"
                "time: T ms wall-clock, T frame-time units (about twice the milliseconds)\n"
                "runs in order (ms wall-clock, frame-time units):\n"
                "  1. T: T ms, T units, waited T ms over 3 polls\n"
                "passes:\n"
                "  T: ran, target\n"));
}

TEST_F(FrameReportTest, TargetRunTwiceAndTheUnreachedProducer)
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
    renderer.setFrameReportEnabled(true);

    EXPECT_TRUE(renderer.render(nullptr));
    QStringList expected;
    expected << s("R.beginFrame()") << runCalls(s("A"), {}, {{0, 1}}) << runCalls(s("T"), {s("A.0@1")})
             << runCalls(s("T"), {s("A.0@1")}) << s("R.endFrame()");
    EXPECT_EQ(log, expected);

    const FrameReport& report = renderer.frameReport();
    ASSERT_EQ(report.numRuns(), 3);
    EXPECT_EQ(report.run(0).node, a);
    EXPECT_EQ(report.run(1).node, t);
    EXPECT_EQ(report.run(2).node, t);
    EXPECT_EQ(report.numRunsOf(1), 2);
    EXPECT_EQ(report.numRunsOf(2), 0);
    EXPECT_EQ(report.passState(0), State::Ran);
    EXPECT_EQ(report.passState(1), State::Ran);
    EXPECT_EQ(report.passState(2), State::Unreached);
    EXPECT_EQ(report.passNodes(State::Unreached), QVector<int>({x}));
    expectRunsInsideTheFrame(report);
    EXPECT_EQ(withoutTimes(report.text(graph())),
              s("frame 0: succeeded, 3 runs, target T\n"
                "time: T ms wall-clock, T frame-time units (about twice the milliseconds)\n"
                "runs in order (ms wall-clock, frame-time units):\n"
                "  1. A: T ms, T units\n"
                "  2. T: T ms, T units\n"
                "  3. T: T ms, T units\n"
                "passes:\n"
                "  A: ran\n"
                "  T: ran (2 runs), target\n"
                "  X: not reached\n"));
}

TEST_F(FrameReportTest, FrameTimeIsTheOneTheRendererRecorded)
{
    chain();
    renderer.setFrameReportEnabled(true);
    for (int frame = 0; frame < 3; ++frame) {
        EXPECT_TRUE(renderer.render(nullptr));
        const FrameReport& report = renderer.frameReport();
        EXPECT_EQ(report.frameIndex(), frame);
        EXPECT_EQ(report.frameTime(), ZrnTest::lastRecorded(renderer.frameStatistics()));
        EXPECT_EQ(report.milliseconds(), double(report.endNsecs() - report.beginNsecs()) / 1000000.0);
        // The renderer's timer runs inside the report's readings.
        EXPECT_LE(report.frameTime(), frameTimeOf(report.endNsecs() - report.beginNsecs()));
        expectRunsInsideTheFrame(report);
        EXPECT_EQ(report.numRuns(), 3); // the same storage, refilled
    }
}

namespace {

// Times its frames itself and records nothing in the frame statistics.
class SelfTimedRenderer : public Renderer
{
public:
    void beginFrame(RenderCallbacks*) override { }
    void endFrame(RenderCallbacks*) override { }
};

} // namespace

TEST(FrameReport, RendererThatRecordsNoFrameTimeReportsZero)
{
    SelfTimedRenderer renderer;
    renderer.setTarget(renderer.addPass(s("P"), new ZrnTest::RecordingPass(s("P"), nullptr, 0, 0), 0));
    renderer.setFrameReportEnabled(true);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(renderer.frameCount(), 0);
    EXPECT_EQ(renderer.frameReport().frameIndex(), 0);
    EXPECT_EQ(renderer.frameReport().frameTime(), 0.0);
    EXPECT_EQ(renderer.frameReport().numRuns(), 1);
}

TEST_F(FrameReportTest, TurningItOffKeepsTheLastReport)
{
    const Chain c = chain();
    renderer.setFrameReportEnabled(true);
    EXPECT_TRUE(renderer.render(nullptr));
    renderer.setFrameReportEnabled(false);
    EXPECT_FALSE(renderer.isFrameReportEnabled());
    pass[s("B")]->failWith = 5;
    EXPECT_FALSE(renderer.render(nullptr));
    EXPECT_EQ(renderer.frameReport().frameIndex(), 0);
    EXPECT_TRUE(renderer.frameReport().succeeded());

    const FrameReport kept = renderer.frameReport();
    renderer.setFrameReportEnabled(true);
    EXPECT_FALSE(renderer.render(nullptr));
    EXPECT_EQ(renderer.frameReport().frameIndex(), 2);
    EXPECT_EQ(renderer.frameReport().failedNode(), c.b);
    EXPECT_EQ(renderer.frameReport().errorCode(), 5u);
    // The copy keeps its own frame.
    EXPECT_EQ(kept.frameIndex(), 0);
    EXPECT_EQ(kept.numRuns(), 3);
    EXPECT_EQ(kept.failedNode(), Graph::kInvalidNodeRef);
}

TEST_F(FrameReportTest, NoValidTargetRunsNothingAndSaysSo)
{
    const int out = renderer.addOutput(s("out"));
    const int p = add(s("P"), 0, 1);
    feedOutput(out, p, 0);
    renderer.setFrameReportEnabled(true);

    EXPECT_FALSE(renderer.render(nullptr));
    const FrameReport& report = renderer.frameReport();
    EXPECT_FALSE(report.succeeded());
    EXPECT_EQ(report.numRuns(), 0);
    EXPECT_EQ(report.failedNode(), Graph::kInvalidNodeRef);
    EXPECT_EQ(report.passState(0), State::Unreached);
    EXPECT_EQ(withoutTimes(report.text(graph())),
              s("frame 0: failed, no valid target, 0 runs, target none\n"
                "time: T ms wall-clock, T frame-time units (about twice the milliseconds)\n"
                "runs in order (ms wall-clock, frame-time units):\n"
                "passes:\n"
                "  P: not reached\n"));
}

TEST_F(FrameReportTest, NestedPassesAreNamedByTheirPath)
{
    const int post = renderer.addGroup(s("post"), 0, 0, Graph::kRootNodeRef);
    const int blur = add(s("blur"), 0, 0, post);
    add(s("idle"), 0, 0, post);
    renderer.setTarget(blur);
    renderer.setFrameReportEnabled(true);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(withoutTimes(renderer.frameReport().text(graph())),
              s("frame 0: succeeded, 1 run, target post/blur\n"
                "time: T ms wall-clock, T frame-time units (about twice the milliseconds)\n"
                "runs in order (ms wall-clock, frame-time units):\n"
                "  1. post/blur: T ms, T units\n"
                "passes:\n"
                "  post/blur: ran, target\n"
                "  post/idle: not needed\n"));
}

namespace {

// The runs of a frame as "<node>:<code>" and the pass states, for comparing
// frames.
QStringList summary(const FrameReport& report)
{
    QStringList out;
    for (int i = 0; i < report.numRuns(); ++i)
        out << QStringLiteral("%1:%2").arg(report.run(i).node).arg(report.run(i).errorCode);
    for (int p = 0; p < report.numPasses(); ++p)
        out << FrameReport::stateName(report.passState(p));
    return out;
}

} // namespace

// A frame that replays the recorded schedule and a frame that walks the graph
// give the same report, frame after frame and across edits.
TEST(FrameReport, WalkingAndReplayedFramesReportAlike)
{
    for (const bool walking : {true, false}) {
        SCOPED_TRACE(walking ? "walking frames" : "replayed frames");
        Renderer renderer;
        Internal::setLiteralFrames(renderer, walking);
        Graph& g = renderer.getGraph();
        const int out = renderer.addOutput(s("out"));
        auto* b = new ZrnTest::RecordingPass(s("B"), nullptr, 1, 1);
        const int a = renderer.addPass(s("A"), new ZrnTest::RecordingPass(s("A"), nullptr, 1, 1), 0);
        const int bn = renderer.addPass(s("B"), b, 0);
        const int t = renderer.addPass(s("T"), new ZrnTest::RecordingPass(s("T"), nullptr, 1, 0), 0);
        const int x = renderer.addPass(s("X"), new ZrnTest::RecordingPass(s("X"), nullptr, 0, 2), 0);
        ASSERT_NE(g.addEdge(a, 0, bn, 0), Graph::kInvalidEdgeRef);
        ASSERT_NE(g.addEdge(bn, 0, t, 0), Graph::kInvalidEdgeRef);
        ASSERT_NE(g.addUpEdge(out, x, 0), Graph::kInvalidEdgeRef);
        renderer.setTarget(t);
        renderer.setFrameReportEnabled(true);
        const FrameReport& report = renderer.frameReport();
        const QStringList twice = {QStringLiteral("%1:0").arg(a),
                                   QStringLiteral("%1:0").arg(bn),
                                   QStringLiteral("%1:0").arg(t),
                                   QStringLiteral("%1:0").arg(t),
                                   s("ran"),
                                   s("ran"),
                                   s("ran"),
                                   s("not reached")};

        for (int frame = 0; frame < 2; ++frame) {
            EXPECT_TRUE(renderer.render(nullptr));
            EXPECT_EQ(summary(report), twice) << "frame " << frame;
        }
        renderer.setEnabled(bn, false);
        EXPECT_TRUE(renderer.render(nullptr));
        EXPECT_EQ(summary(report),
                  QStringList({QStringLiteral("%1:0").arg(a), QStringLiteral("%1:0").arg(t),
                               QStringLiteral("%1:0").arg(t), s("ran"), s("disabled"), s("ran"), s("not reached")}));
        renderer.setEnabled(bn, true);
        b->failWith = 7;
        EXPECT_FALSE(renderer.render(nullptr));
        EXPECT_EQ(summary(report),
                  QStringList({QStringLiteral("%1:0").arg(a), QStringLiteral("%1:7").arg(bn), s("ran"), s("failed"),
                               s("not run"), s("not reached")}));
        EXPECT_EQ(report.failedNode(), bn);
        // A new edge moves X upstream of the target.
        b->failWith = 0;
        ASSERT_NE(g.addEdge(x, 1, a, 0), Graph::kInvalidEdgeRef);
        EXPECT_TRUE(renderer.render(nullptr));
        EXPECT_EQ(summary(report),
                  QStringList({QStringLiteral("%1:0").arg(x), QStringLiteral("%1:0").arg(a),
                               QStringLiteral("%1:0").arg(bn), QStringLiteral("%1:0").arg(t), s("ran"), s("ran"),
                               s("ran"), s("ran")}));
        EXPECT_EQ(renderer.frameReport().frameIndex(), 4);
    }
}

TEST(FrameReport, StateNames)
{
    EXPECT_EQ(FrameReport::stateName(State::NotNeeded), s("not needed"));
    EXPECT_EQ(FrameReport::stateName(State::Disabled), s("disabled"));
    EXPECT_EQ(FrameReport::stateName(State::Ran), s("ran"));
    EXPECT_EQ(FrameReport::stateName(State::Failed), s("failed"));
    EXPECT_EQ(FrameReport::stateName(State::NotRun), s("not run"));
    EXPECT_EQ(FrameReport::stateName(State::Unreached), s("not reached"));
}

TEST_F(FrameReportTest, PictureShowsEachPassState)
{
    // D (disabled) -> A -> B -> C (target); B fails with 3; E not needed;
    // X feeds the renderer output and is not reached.
    const int out = renderer.addOutput(s("out"));
    const int d = add(s("D"), 0, 1);
    const int a = add(s("A"), 1, 1);
    const int b = add(s("B"), 1, 1);
    const int c = add(s("C"), 1, 1);
    add(s("E"), 0, 0);
    const int x = add(s("X"), 0, 1);
    edge(d, 0, a, 0);
    edge(a, 0, b, 0);
    edge(b, 0, c, 0);
    feedOutput(out, x, 0);
    renderer.setTarget(c);
    renderer.setEnabled(d, false);
    pass[s("B")]->failWith = 3;
    renderer.setFrameReportEnabled(true);
    EXPECT_FALSE(renderer.render(nullptr));

    const QString picture = renderer.frameReport().picture(graph());
    // Each pass's note and extra attributes, times as "T".
    QStringList drawn;
    const QRegularExpression pass(
        QStringLiteral("<b>(\\w)</b> #\\d+<br/><font point-size=\"9\">(.*)</font></td>.*>>, (.*)\\];$"));
    for (const QString& line : picture.split(QLatin1Char('\n'))) {
        const QRegularExpressionMatch m = pass.match(line);
        if (m.hasMatch())
            drawn << m.captured(1) + QStringLiteral(" | ") + withoutTimes(m.captured(2)) + QStringLiteral(" | ")
                    + m.captured(3);
    }
    EXPECT_EQ(drawn,
              QStringList({
                  s("D | disabled | style=\"filled,dashed\", fillcolor=\"#e0e0e0\""),
                  s("A | ran<br/>T ms | style=\"filled\", fillcolor=\"#c8ecc8\""),
                  s("B | failed: error code 3<br/>T ms | style=\"filled\", fillcolor=\"#f4a0a0\""),
                  s("C | target<br/>not run | style=\"filled\", fillcolor=\"#fde3b0\", shape=\"box\", "
                    "penwidth=\"3\""),
                  s("E | not needed | fontcolor=\"#808080\", color=\"#a0a0a0\""),
                  s("X | not reached | style=\"filled\", fillcolor=\"#fff6a8\""),
              }));
    EXPECT_DOT_ACCEPTS(picture);
}

TEST_F(FrameReportTest, PictureCountsTheTargetsRuns)
{
    // The target runs twice: once for itself, once for the unreached X.
    const int out = renderer.addOutput(s("out"));
    const int t = add(s("T"), 0, 0);
    const int x = add(s("X"), 0, 1);
    feedOutput(out, x, 0);
    renderer.setTarget(t);
    renderer.setFrameReportEnabled(true);
    EXPECT_TRUE(renderer.render(nullptr));
    const QString picture = withoutTimes(renderer.frameReport().picture(graph()));
    EXPECT_TRUE(picture.contains(s("<b>T</b> #1<br/><font point-size=\"9\">target<br/>ran<br/>2 runs, T ms</font>")))
        << picture.toStdString();
    EXPECT_DOT_ACCEPTS(picture);
    // Before any frame, the plain hierarchy with nothing drawn on it.
    EXPECT_EQ(FrameReport().picture(graph()), graphPicture(graph()));
}

TEST(FrameReport, StateNameOfAnUnknownStateIsEmpty)
{
    EXPECT_EQ(FrameReport::stateName(static_cast<State>(99)), QString());
}

TEST(FrameReport, WaitOfARunIsZeroUnlessBothReadingsWereTaken)
{
    FrameReport::PassRun run;
    EXPECT_EQ(run.waitMilliseconds(), 0.0);
    run.waitBeginNsecs = 1000000;
    EXPECT_EQ(run.waitMilliseconds(), 0.0);
    run.waitBeginNsecs = -1;
    run.waitEndNsecs = 4000000;
    EXPECT_EQ(run.waitMilliseconds(), 0.0);
    run.waitBeginNsecs = 1500000;
    EXPECT_EQ(run.waitMilliseconds(), 2.5);
}

TEST_F(FrameReportTest, CopiesAndAssignmentsKeepTheFrameTheyTook)
{
    const Chain c = chain();
    renderer.setFrameReportEnabled(true);
    EXPECT_TRUE(renderer.render(nullptr));
    const FrameReport first = renderer.frameReport();
    FrameReport assigned;
    assigned = renderer.frameReport();
    const FrameReport& self = assigned;
    assigned = self;
    pass[s("B")]->failWith = 2;
    EXPECT_FALSE(renderer.render(nullptr));

    for (const FrameReport* report : {&first, static_cast<const FrameReport*>(&assigned)}) {
        EXPECT_EQ(report->frameIndex(), 0);
        EXPECT_TRUE(report->succeeded());
        EXPECT_EQ(report->numRuns(), 3);
        EXPECT_EQ(report->passNodes(State::Ran), QVector<int>({c.a, c.b, c.c}));
    }
    assigned = renderer.frameReport();
    EXPECT_EQ(assigned.frameIndex(), 1);
    EXPECT_EQ(assigned.failedNode(), c.b);
    EXPECT_EQ(assigned.errorCode(), 2u);
    EXPECT_EQ(first.frameIndex(), 0);
}

// A pass whose node was removed is known by its index only; graph nodes that
// are not passes, or repeat a pass's index, change nothing.
TEST_F(FrameReportTest, APassWithoutANodeIsNamedByItsIndex)
{
    const Chain c = chain();
    const int d = add(s("D"), 0, 1);
    const int stray = graph().addNode(s("stray"), 0, 0, Graph::kRootNodeRef);
    graph().setNodeValue(stray, 99);
    const int twin = graph().addNode(s("twin"), 0, 0, Graph::kRootNodeRef);
    graph().setNodeValue(twin, 0);
    graph().removeNode(d);
    renderer.setFrameReportEnabled(true);
    EXPECT_TRUE(renderer.render(nullptr));

    const FrameReport& report = renderer.frameReport();
    ASSERT_EQ(report.numPasses(), 4);
    EXPECT_EQ(report.passNode(0), c.a);
    EXPECT_EQ(report.passNode(3), Graph::kInvalidNodeRef);
    EXPECT_EQ(report.passState(3), State::NotNeeded);
    EXPECT_EQ(withoutTimes(report.text(graph())),
              s("frame 0: succeeded, 3 runs, target C\n"
                "time: T ms wall-clock, T frame-time units (about twice the milliseconds)\n"
                "runs in order (ms wall-clock, frame-time units):\n"
                "  1. A: T ms, T units\n"
                "  2. B: T ms, T units\n"
                "  3. C: T ms, T units\n"
                "passes:\n"
                "  A: ran\n"
                "  B: ran\n"
                "  C: ran, target\n"
                "  (pass 3): not needed\n"));
    // The picture draws no state on the removed pass, nor on the two others.
    EXPECT_FALSE(report.picture(graph()).contains(s("<b>D</b>")));
    EXPECT_FALSE(report.picture(graph()).contains(s("<b>stray</b> #5<br/>")));
    EXPECT_FALSE(report.picture(graph()).contains(s("<b>twin</b> #6<br/>")));
}

// The text reads the graph as it is now: a pass removed since the frame is
// named by its node reference.
TEST_F(FrameReportTest, TextNamesNodesRemovedSinceTheFrameByReference)
{
    const Chain c = chain();
    renderer.setFrameReportEnabled(true);
    EXPECT_TRUE(renderer.render(nullptr));
    graph().removeNode(c.b);
    EXPECT_EQ(withoutTimes(renderer.frameReport().text(graph())),
              s("frame 0: succeeded, 3 runs, target C\n"
                "time: T ms wall-clock, T frame-time units (about twice the milliseconds)\n"
                "runs in order (ms wall-clock, frame-time units):\n"
                "  1. A: T ms, T units\n"
                "  2. (node 2): T ms, T units\n"
                "  3. C: T ms, T units\n"
                "passes:\n"
                "  A: ran\n"
                "  (node 2): ran\n"
                "  C: ran, target\n"));
}

TEST_F(FrameReportTest, TheRootAsTargetIsNamedRoot)
{
    add(s("A"), 0, 0);
    renderer.setTarget(Graph::kRootNodeRef);
    renderer.setFrameReportEnabled(true);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(withoutTimes(renderer.frameReport().text(graph())),
              s("frame 0: succeeded, 0 runs, target (root)\n"
                "time: T ms wall-clock, T frame-time units (about twice the milliseconds)\n"
                "runs in order (ms wall-clock, frame-time units):\n"
                "passes:\n"
                "  A: not needed\n"));
}

TEST(FrameReport, TurningOffOrTracingNoFramesBeforeAnythingRecordsNothing)
{
    Renderer renderer;
    renderer.setFrameReportEnabled(false);
    EXPECT_FALSE(renderer.isFrameReportEnabled());
    renderer.startFrameTrace(0);
    renderer.startFrameTrace(-3);
    EXPECT_EQ(renderer.frameTraceFramesLeft(), 0);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_FALSE(renderer.frameReport().isValid());
    EXPECT_EQ(renderer.frameTrace().numFrames(), 0);
    // Turned on and off again: the recorder stays, the report stops.
    renderer.setFrameReportEnabled(true);
    renderer.setFrameReportEnabled(false);
    EXPECT_FALSE(renderer.isFrameReportEnabled());
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_FALSE(renderer.frameReport().isValid());
}

// Renderer outputs fed by a group's own output or by a plain node that is no
// pass leave every pass's state as the walks found it; the target still runs
// once more for each of them.
TEST_F(FrameReportTest, OutputsFedByNoPassMarkNothingUnreached)
{
    const int fromGroup = renderer.addOutput(s("fromGroup"));
    const int fromPlain = renderer.addOutput(s("fromPlain"));
    const int t = add(s("T"), 0, 0);
    const int group = renderer.addGroup(s("g"), 0, 1, Graph::kRootNodeRef);
    const int plain = graph().addNode(s("plain"), 0, 1, Graph::kRootNodeRef);
    graph().setNodeValue(plain, 7);
    feedOutput(fromGroup, group, 0);
    feedOutput(fromPlain, plain, 0);
    renderer.setTarget(t);
    renderer.setFrameReportEnabled(true);
    EXPECT_TRUE(renderer.render(nullptr));
    const FrameReport& report = renderer.frameReport();
    ASSERT_EQ(report.numPasses(), 1);
    EXPECT_EQ(report.passState(0), State::Ran);
    EXPECT_EQ(report.numRuns(), 3);
    EXPECT_EQ(withoutTimes(report.text(graph())),
              s("frame 0: succeeded, 3 runs, target T\n"
                "time: T ms wall-clock, T frame-time units (about twice the milliseconds)\n"
                "runs in order (ms wall-clock, frame-time units):\n"
                "  1. T: T ms, T units\n"
                "  2. T: T ms, T units\n"
                "  3. T: T ms, T units\n"
                "passes:\n"
                "  T: ran (3 runs), target\n"));
}

// A renderer output that nothing feeds needs no pass: the report is the one
// of the target alone.
TEST_F(FrameReportTest, AnUnfedOutputNeedsNoPass)
{
    renderer.addOutput(s("unfed"));
    const Chain c = chain();
    renderer.setFrameReportEnabled(true);
    EXPECT_TRUE(renderer.render(nullptr));
    const FrameReport& report = renderer.frameReport();
    EXPECT_EQ(report.numRuns(), 3);
    EXPECT_EQ(report.passNodes(State::Ran), QVector<int>({c.a, c.b, c.c}));
    EXPECT_EQ(report.passNodes(State::Unreached), QVector<int>());
    EXPECT_FALSE(renderer.output(0).isValid());
}
