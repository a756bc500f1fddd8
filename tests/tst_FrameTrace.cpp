// The frame trace: a chosen span of frames, read back from its Chrome trace
// event JSON.

#include <ZrnCore/FrameReport.h>
#include <ZrnCore/FrameTrace.h>
#include <ZrnCore/Graph.h>
#include <ZrnCore/Renderer.h>

#include "RecordingRendererFixture.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTemporaryDir>

#include <gtest/gtest.h>

#include <vector>

using namespace Morvane::Zrn;
using ZrnTest::s;

namespace {

using FrameTraceTest = ZrnTest::RecordingRendererFixture;

// The events of a trace, parsed back.
QJsonArray parsedEvents(const QByteArray& json)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString();
    EXPECT_TRUE(doc.isObject());
    EXPECT_EQ(doc.object().value(QStringLiteral("displayTimeUnit")).toString(), s("ms"));
    return doc.object().value(QStringLiteral("traceEvents")).toArray();
}

// The events of category `cat`, in the order they were written.
std::vector<QJsonObject> eventsOf(const QJsonArray& events, const char* cat)
{
    std::vector<QJsonObject> out;
    for (const QJsonValue& v : events) {
        const QJsonObject e = v.toObject();
        if (e.value(QStringLiteral("cat")).toString() == QLatin1String(cat))
            out.push_back(e);
    }
    return out;
}

double ts(const QJsonObject& e)
{
    return e.value(QStringLiteral("ts")).toDouble();
}

double end(const QJsonObject& e)
{
    return ts(e) + e.value(QStringLiteral("dur")).toDouble();
}

QString name(const QJsonObject& e)
{
    return e.value(QStringLiteral("name")).toString();
}

int tid(const QJsonObject& e)
{
    return e.value(QStringLiteral("tid")).toInt();
}

QJsonObject args(const QJsonObject& e)
{
    return e.value(QStringLiteral("args")).toObject();
}

} // namespace

TEST_F(FrameTraceTest, NothingIsRecordedUntilTheHostAsks)
{
    chain();
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(renderer.frameTraceFramesLeft(), 0);
    EXPECT_EQ(renderer.frameTrace().numFrames(), 0);
    EXPECT_EQ(renderer.frameTrace().numRuns(), 0);
    const QJsonArray events = parsedEvents(renderer.frameTrace().toJson(graph()));
    EXPECT_TRUE(eventsOf(events, "frame").empty());
    EXPECT_TRUE(eventsOf(events, "pass").empty());
}

TEST_F(FrameTraceTest, RecordsTheChosenSpanOfFrames)
{
    // A -> B -> C (target). Frame 1 of the span: B fails with code 3.
    // Frame 2: B disabled. C waits two polls in every frame.
    const Chain c = chain();
    pass[s("C")]->unfinishedPolls = 2;
    EXPECT_TRUE(renderer.render(nullptr)); // before the span

    renderer.startFrameTrace(3);
    EXPECT_EQ(renderer.frameTraceFramesLeft(), 3);
    EXPECT_TRUE(renderer.render(nullptr));
    pass[s("B")]->failWith = 3;
    EXPECT_FALSE(renderer.render(nullptr));
    pass[s("B")]->failWith = 0;
    renderer.setEnabled(c.b, false);
    EXPECT_EQ(renderer.frameTraceFramesLeft(), 1);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(renderer.frameTraceFramesLeft(), 0);
    EXPECT_TRUE(renderer.render(nullptr)); // after the span

    const FrameTrace& trace = renderer.frameTrace();
    ASSERT_EQ(trace.numFrames(), 3);
    EXPECT_EQ(trace.frame(0).frameIndex, 1);
    EXPECT_EQ(trace.frame(1).frameIndex, 2);
    EXPECT_EQ(trace.frame(2).frameIndex, 3);
    EXPECT_TRUE(trace.frame(0).succeeded);
    EXPECT_FALSE(trace.frame(1).succeeded);
    EXPECT_TRUE(trace.frame(2).succeeded);
    EXPECT_EQ(trace.frame(0).numRuns, 3);
    EXPECT_EQ(trace.frame(1).numRuns, 2);
    EXPECT_EQ(trace.frame(2).numRuns, 2);
    EXPECT_EQ(trace.frame(2).firstRun, 5);
    ASSERT_EQ(trace.numRuns(), 7);
    const std::vector<int> nodes = {c.a, c.b, c.c, c.a, c.b, c.a, c.c};
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(trace.run(i).node, nodes[size_t(i)]) << "run " << i;
    EXPECT_EQ(trace.run(4).errorCode, 3u);
    EXPECT_EQ(trace.run(2).polls, 3);

    const QJsonArray events = parsedEvents(trace.toJson(graph()));

    // Tracks: "frames" first, then one per pass that ran, named after it.
    QStringList trackNames;
    for (const QJsonValue& v : events) {
        const QJsonObject e = v.toObject();
        if (name(e) == s("thread_name"))
            trackNames << QStringLiteral("%1:%2").arg(tid(e)).arg(args(e).value(QStringLiteral("name")).toString());
    }
    EXPECT_EQ(trackNames, QStringList({s("0:frames"), s("1:A"), s("2:B"), s("3:C")}));

    // One complete event per frame on track 0, and one per pass run on its
    // pass's track, in run order, inside its frame.
    const std::vector<QJsonObject> frames = eventsOf(events, "frame");
    const std::vector<QJsonObject> runs = eventsOf(events, "pass");
    ASSERT_EQ(frames.size(), 3u);
    ASSERT_EQ(runs.size(), 7u);
    const QStringList runNames = {s("A"), s("B"), s("C"), s("A"), s("B"), s("A"), s("C")};
    const std::vector<int> frameOfRun = {0, 0, 0, 1, 1, 2, 2};
    double previousEnd = 0.0;
    for (size_t i = 0; i < runs.size(); ++i) {
        const QJsonObject& r = runs[i];
        const QJsonObject& f = frames[size_t(frameOfRun[i])];
        EXPECT_EQ(r.value(QStringLiteral("ph")).toString(), s("X")) << "run " << i;
        EXPECT_EQ(name(r), runNames.at(int(i))) << "run " << i;
        EXPECT_EQ(tid(r), 1 + args(r).value(QStringLiteral("pass")).toInt()) << "run " << i;
        EXPECT_EQ(args(r).value(QStringLiteral("node")).toInt(), nodes[i]) << "run " << i;
        EXPECT_LE(ts(f), ts(r)) << "run " << i;
        EXPECT_LE(end(r), end(f)) << "run " << i;
        EXPECT_LE(previousEnd, ts(r)) << "run " << i;
        previousEnd = end(r);
    }
    for (const QJsonObject& f : frames) {
        EXPECT_EQ(tid(f), 0);
        EXPECT_EQ(f.value(QStringLiteral("ph")).toString(), s("X"));
    }
    EXPECT_EQ(name(frames[0]), s("frame 1"));
    EXPECT_EQ(ts(frames[0]), 0.0);
    EXPECT_EQ(args(frames[1]).value(QStringLiteral("succeeded")).toBool(), false);
    EXPECT_EQ(args(frames[1]).value(QStringLiteral("runs")).toInt(), 2);
    EXPECT_EQ(args(frames[0]).value(QStringLiteral("frame time (units, about twice the ms)")).toDouble(),
              trace.frame(0).frameTime);

    // The failed run carries its code, and an instant event marks it.
    EXPECT_EQ(args(runs[4]).value(QStringLiteral("error code")).toInt(), 3);
    EXPECT_EQ(args(runs[3]).value(QStringLiteral("error code")).toInt(), 0);
    EXPECT_EQ(runs[4].value(QStringLiteral("cname")).toString(), s("terrible"));
    const std::vector<QJsonObject> failures = eventsOf(events, "failure");
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_EQ(name(failures[0]), s("error code 3"));
    EXPECT_EQ(failures[0].value(QStringLiteral("ph")).toString(), s("i"));
    EXPECT_EQ(tid(failures[0]), 2);
    EXPECT_NEAR(ts(failures[0]), end(runs[4]), 1e-6);

    // C waited in the two frames it ran: a nested event inside its run.
    const std::vector<QJsonObject> waits = eventsOf(events, "wait");
    ASSERT_EQ(waits.size(), 2u);
    const std::vector<size_t> waitingRuns = {2, 6};
    for (size_t w = 0; w < waits.size(); ++w) {
        const QJsonObject& r = runs[waitingRuns[w]];
        EXPECT_EQ(name(waits[w]), s("waiting"));
        EXPECT_EQ(tid(waits[w]), tid(r));
        EXPECT_LE(ts(r), ts(waits[w]));
        EXPECT_LE(end(waits[w]), end(r));
        EXPECT_GE(waits[w].value(QStringLiteral("dur")).toDouble(), 200.0); // two sleeps of 100 us
        EXPECT_EQ(args(r).value(QStringLiteral("polls")).toInt(), 3);
    }
}

TEST_F(FrameTraceTest, ReportAndTraceShareTheirReadings)
{
    chain();
    renderer.setFrameReportEnabled(true);
    renderer.startFrameTrace(1);
    EXPECT_TRUE(renderer.render(nullptr));
    const FrameReport& report = renderer.frameReport();
    const FrameTrace& trace = renderer.frameTrace();
    ASSERT_EQ(report.numRuns(), 3);
    ASSERT_EQ(trace.numRuns(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(trace.run(i).beginNsecs, report.run(i).beginNsecs) << "run " << i;
        EXPECT_EQ(trace.run(i).endNsecs, report.run(i).endNsecs) << "run " << i;
    }
    EXPECT_EQ(trace.frame(0).beginNsecs, report.beginNsecs());
    EXPECT_EQ(trace.frame(0).endNsecs, report.endNsecs());
    EXPECT_EQ(trace.frame(0).frameTime, report.frameTime());
}

TEST_F(FrameTraceTest, StartingAgainReplacesAndStoppingKeeps)
{
    chain();
    renderer.startFrameTrace(5);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_TRUE(renderer.render(nullptr));
    renderer.startFrameTrace(0); // stop: the two frames stay
    EXPECT_EQ(renderer.frameTraceFramesLeft(), 0);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(renderer.frameTrace().numFrames(), 2);
    EXPECT_EQ(renderer.frameTrace().numRuns(), 6);

    renderer.startFrameTrace(1);
    EXPECT_EQ(renderer.frameTrace().numFrames(), 0);
    EXPECT_TRUE(renderer.render(nullptr));
    EXPECT_EQ(renderer.frameTrace().numFrames(), 1);
    EXPECT_EQ(renderer.frameTrace().frame(0).frameIndex, 3);
    EXPECT_FALSE(renderer.frameReport().isValid()); // the report stayed off

    const FrameTrace copy = renderer.frameTrace();
    EXPECT_EQ(copy.numRuns(), 3);
    EXPECT_EQ(copy.toJson(graph()), renderer.frameTrace().toJson(graph()));
}

TEST_F(FrameTraceTest, WritesItsJsonToAFile)
{
    chain();
    renderer.startFrameTrace(1);
    EXPECT_TRUE(renderer.render(nullptr));
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(s("trace.json"));
    ASSERT_TRUE(renderer.frameTrace().writeJson(path, graph()));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), renderer.frameTrace().toJson(graph()));
    EXPECT_FALSE(renderer.frameTrace().writeJson(dir.filePath(s("missing/trace.json")), graph()));
}

TEST_F(FrameTraceTest, AssignmentTakesTheOtherTraceAndSelfAssignmentKeepsIt)
{
    chain();
    renderer.startFrameTrace(2);
    EXPECT_TRUE(renderer.render(nullptr));
    FrameTrace assigned;
    EXPECT_EQ(assigned.numFrames(), 0);
    assigned = renderer.frameTrace();
    const FrameTrace& self = assigned;
    assigned = self;
    EXPECT_TRUE(renderer.render(nullptr)); // the renderer's trace grows, the copy does not
    EXPECT_EQ(renderer.frameTrace().numFrames(), 2);
    EXPECT_EQ(assigned.numFrames(), 1);
    EXPECT_EQ(assigned.numRuns(), 3);
    EXPECT_EQ(assigned.frame(0).frameIndex, 0);
    assigned = renderer.frameTrace();
    EXPECT_EQ(assigned.numFrames(), 2);
    EXPECT_EQ(assigned.toJson(graph()), renderer.frameTrace().toJson(graph()));
}
