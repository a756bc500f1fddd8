// A renderer's frames over a span, as Chrome trace event JSON.

#include <ZrnCore/FrameTrace.h>
#include <ZrnCore/Graph.h>

#include "FrameRecorder_p.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <set>

namespace Morvane {
namespace Zrn {

FrameTrace::FrameTrace()
    : d(new Impl)
{
}

FrameTrace::~FrameTrace()
{
    delete d;
}

FrameTrace::FrameTrace(const FrameTrace& other)
    : d(new Impl(*other.d))
{
}

FrameTrace& FrameTrace::operator=(const FrameTrace& other)
{
    if (this != &other)
        *d = *other.d;
    return *this;
}

int FrameTrace::numFrames() const
{
    return int(d->frames.size());
}

const FrameTrace::Frame& FrameTrace::frame(int i) const
{
    Q_ASSERT_X(i >= 0 && i < numFrames(), Q_FUNC_INFO, "frame out of range");
    return d->frames.at(size_t(i));
}

int FrameTrace::numRuns() const
{
    return int(d->runs.size());
}

const FrameReport::PassRun& FrameTrace::run(int i) const
{
    Q_ASSERT_X(i >= 0 && i < numRuns(), Q_FUNC_INFO, "run out of range");
    return d->runs.at(size_t(i));
}

namespace {

// All events sit in one process; track 0 holds the frames, track 1 + p the
// runs of pass p.
constexpr int kProcess = 1;
constexpr int kFramesTrack = 0;

QJsonObject event(const QString& name, const char* category, const char* phase, int track)
{
    QJsonObject e;
    e.insert(QStringLiteral("name"), name);
    e.insert(QStringLiteral("cat"), QLatin1String(category));
    e.insert(QStringLiteral("ph"), QLatin1String(phase));
    e.insert(QStringLiteral("pid"), kProcess);
    e.insert(QStringLiteral("tid"), track);
    return e;
}

QJsonObject metadata(const char* name, int track, const QJsonObject& args)
{
    QJsonObject e;
    e.insert(QStringLiteral("name"), QLatin1String(name));
    e.insert(QStringLiteral("ph"), QStringLiteral("M"));
    e.insert(QStringLiteral("pid"), kProcess);
    e.insert(QStringLiteral("tid"), track);
    e.insert(QStringLiteral("args"), args);
    return e;
}

QJsonObject trackName(int track, const QString& name)
{
    QJsonObject args;
    args.insert(QStringLiteral("name"), name);
    return metadata("thread_name", track, args);
}

QJsonObject trackOrder(int track)
{
    QJsonObject args;
    args.insert(QStringLiteral("sort_index"), track);
    return metadata("thread_sort_index", track, args);
}

} // namespace

QByteArray FrameTrace::toJson(const Graph& graph) const
{
    // Times in microseconds from the first frame's beginning; the readings
    // are nanoseconds, so every event keeps its exact place inside its frame.
    const qint64 origin = d->frames.empty() ? 0 : d->frames.front().beginNsecs;
    auto micro = [origin](qint64 nsecs) { return double(nsecs - origin) / 1000.0; };
    auto complete = [&micro](QJsonObject e, qint64 begin, qint64 end) {
        e.insert(QStringLiteral("ts"), micro(begin));
        e.insert(QStringLiteral("dur"), micro(end) - micro(begin)); // ts + dur lands on micro(end)
        return e;
    };

    QJsonArray events;
    QJsonObject processArgs;
    processArgs.insert(QStringLiteral("name"), QStringLiteral("ZrnCore renderer"));
    events.append(metadata("process_name", kFramesTrack, processArgs));
    events.append(trackName(kFramesTrack, QStringLiteral("frames")));
    events.append(trackOrder(kFramesTrack));
    std::set<int> passes; // one named track per pass that ran, in pass order
    for (const FrameReport::PassRun& r : d->runs)
        passes.insert(r.pass);
    for (int p : passes) {
        int node = Graph::kInvalidNodeRef;
        for (const FrameReport::PassRun& r : d->runs) {
            if (r.pass == p) {
                node = r.node;
                break;
            }
        }
        events.append(trackName(1 + p, nodePath(graph, node)));
        events.append(trackOrder(1 + p));
    }

    for (const Frame& f : d->frames) {
        QJsonObject frameArgs;
        frameArgs.insert(QStringLiteral("succeeded"), f.succeeded);
        frameArgs.insert(QStringLiteral("runs"), f.numRuns);
        frameArgs.insert(QStringLiteral("frame time (units, about twice the ms)"), f.frameTime);
        frameArgs.insert(QStringLiteral("wall-clock ms"), double(f.endNsecs - f.beginNsecs) / 1000000.0);
        QJsonObject fe = complete(event(QStringLiteral("frame %1").arg(f.frameIndex), "frame", "X", kFramesTrack),
                                  f.beginNsecs, f.endNsecs);
        if (!f.succeeded)
            fe.insert(QStringLiteral("cname"), QStringLiteral("terrible"));
        fe.insert(QStringLiteral("args"), frameArgs);
        events.append(fe);

        for (int i = f.firstRun; i < f.firstRun + f.numRuns; ++i) {
            const FrameReport::PassRun& r = d->runs.at(size_t(i));
            const int track = 1 + r.pass;
            QJsonObject runArgs;
            runArgs.insert(QStringLiteral("node"), r.node);
            runArgs.insert(QStringLiteral("pass"), r.pass);
            runArgs.insert(QStringLiteral("error code"), qint64(r.errorCode));
            runArgs.insert(QStringLiteral("polls"), r.polls);
            runArgs.insert(QStringLiteral("frame time (units, about twice the ms)"), r.frameTime());
            runArgs.insert(QStringLiteral("wall-clock ms"), r.milliseconds());
            QJsonObject re = complete(event(nodePath(graph, r.node), "pass", "X", track), r.beginNsecs, r.endNsecs);
            if (r.errorCode != 0)
                re.insert(QStringLiteral("cname"), QStringLiteral("terrible"));
            re.insert(QStringLiteral("args"), runArgs);
            events.append(re);

            if (r.waitBeginNsecs >= 0 && r.waitEndNsecs >= 0)
                events.append(
                    complete(event(QStringLiteral("waiting"), "wait", "X", track), r.waitBeginNsecs, r.waitEndNsecs));
            if (r.errorCode != 0) {
                QJsonObject fail = event(QStringLiteral("error code %1").arg(r.errorCode), "failure", "i", track);
                fail.insert(QStringLiteral("s"), QStringLiteral("t"));
                fail.insert(QStringLiteral("ts"), micro(r.endNsecs));
                events.append(fail);
            }
        }
    }

    QJsonObject root;
    root.insert(QStringLiteral("traceEvents"), events);
    root.insert(QStringLiteral("displayTimeUnit"), QStringLiteral("ms"));
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

bool FrameTrace::writeJson(const QString& fileName, const Graph& graph) const
{
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const QByteArray json = toJson(graph);
    return file.write(json) == json.size();
}

} // namespace Zrn
} // namespace Morvane
