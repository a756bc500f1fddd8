// The record of one frame and its text form.

#include <ZrnCore/FrameReport.h>
#include <ZrnCore/Graph.h>

#include "FrameRecorder_p.h"

#include <QtCore/QStringList>

namespace Morvane {
namespace Zrn {

namespace {

double toMilliseconds(qint64 nsecs)
{
    return double(nsecs) / 1000000.0;
}

// The frame-time rule of FrameStatistics on one reading of `nsecs`: elapsed
// microseconds / 1000 plus elapsed whole milliseconds, both from the same
// interval.
double toFrameTime(qint64 nsecs)
{
    return double(nsecs / 1000) / 1000.0 + double(nsecs / 1000000);
}

QString number(double value)
{
    return QString::number(value, 'f', 3);
}

} // namespace

QStringList pathNames(const Graph& graph, int node)
{
    QStringList names;
    int steps = graph.numNodesGlobal();
    for (int n = node; n != Graph::kRootNodeRef && graph.isValidNode(n) && steps-- > 0; n = graph.parentNode(n))
        names.prepend(graph.nodeName(n));
    return names;
}

QString nodePath(const Graph& graph, int node)
{
    if (!graph.isValidNode(node))
        return QStringLiteral("(node %1)").arg(node);
    const QStringList names = pathNames(graph, node);
    return names.isEmpty() ? QStringLiteral("(root)") : names.join(QLatin1Char('/'));
}

// ---------------------------------------------------------------- PassRun

double FrameReport::PassRun::milliseconds() const
{
    return toMilliseconds(endNsecs - beginNsecs);
}

double FrameReport::PassRun::frameTime() const
{
    return toFrameTime(endNsecs - beginNsecs);
}

double FrameReport::PassRun::waitMilliseconds() const
{
    return waitBeginNsecs < 0 || waitEndNsecs < 0 ? 0.0 : toMilliseconds(waitEndNsecs - waitBeginNsecs);
}

// ---------------------------------------------------------------- FrameReport

FrameReport::FrameReport()
    : d(new Impl)
{
}

FrameReport::~FrameReport()
{
    delete d;
}

FrameReport::FrameReport(const FrameReport& other)
    : d(new Impl(*other.d))
{
}

FrameReport& FrameReport::operator=(const FrameReport& other)
{
    if (this != &other)
        *d = *other.d;
    return *this;
}

bool FrameReport::isValid() const
{
    return d->frameIndex >= 0;
}

int FrameReport::frameIndex() const
{
    return d->frameIndex;
}

bool FrameReport::succeeded() const
{
    return d->succeeded;
}

int FrameReport::target() const
{
    return d->target;
}

int FrameReport::numRuns() const
{
    return int(d->runs.size());
}

const FrameReport::PassRun& FrameReport::run(int i) const
{
    Q_ASSERT_X(i >= 0 && i < numRuns(), Q_FUNC_INFO, "run out of range");
    return d->runs.at(size_t(i));
}

int FrameReport::numPasses() const
{
    return int(d->states.size());
}

FrameReport::PassState FrameReport::passState(int pass) const
{
    Q_ASSERT_X(pass >= 0 && pass < numPasses(), Q_FUNC_INFO, "pass out of range");
    return d->states.at(size_t(pass));
}

int FrameReport::passNode(int pass) const
{
    Q_ASSERT_X(pass >= 0 && pass < numPasses(), Q_FUNC_INFO, "pass out of range");
    return d->nodes.at(size_t(pass));
}

QVector<int> FrameReport::passNodes(PassState state) const
{
    QVector<int> out;
    for (size_t p = 0; p < d->states.size(); ++p) {
        if (d->states[p] == state)
            out.append(d->nodes[p]);
    }
    return out;
}

int FrameReport::numRunsOf(int pass) const
{
    int count = 0;
    for (const PassRun& r : d->runs) {
        if (r.pass == pass)
            ++count;
    }
    return count;
}

int FrameReport::failedNode() const
{
    return d->failedNode;
}

unsigned int FrameReport::errorCode() const
{
    return d->errorCode;
}

double FrameReport::milliseconds() const
{
    return toMilliseconds(d->endNsecs - d->beginNsecs);
}

double FrameReport::frameTime() const
{
    return d->frameTime;
}

qint64 FrameReport::beginNsecs() const
{
    return d->beginNsecs;
}

qint64 FrameReport::endNsecs() const
{
    return d->endNsecs;
}

QString FrameReport::stateName(PassState state)
{
    switch (state) {
    case PassState::NotNeeded: return QStringLiteral("not needed");
    case PassState::Disabled: return QStringLiteral("disabled");
    case PassState::Ran: return QStringLiteral("ran");
    case PassState::Failed: return QStringLiteral("failed");
    case PassState::NotRun: return QStringLiteral("not run");
    case PassState::Unreached: return QStringLiteral("not reached");
    }
    return QString();
}

QString FrameReport::text(const Graph& graph) const
{
    if (!isValid())
        return QStringLiteral("no frame reported\n");

    QString out;
    out += QStringLiteral("frame %1: ").arg(d->frameIndex);
    if (d->succeeded)
        out += QStringLiteral("succeeded");
    else if (d->failedNode >= 0)
        out += QStringLiteral("failed at %1 with error code %2").arg(nodePath(graph, d->failedNode)).arg(d->errorCode);
    else
        out += QStringLiteral("failed, no valid target");
    out += numRuns() == 1 ? QStringLiteral(", 1 run") : QStringLiteral(", %1 runs").arg(numRuns());
    out += QStringLiteral(", target %1\n").arg(d->target < 0 ? QStringLiteral("none") : nodePath(graph, d->target));
    out += QStringLiteral("time: %1 ms wall-clock, %2 frame-time units (about twice the milliseconds)\n")
               .arg(number(milliseconds()), number(d->frameTime));

    out += QStringLiteral("runs in order (ms wall-clock, frame-time units):\n");
    for (int i = 0; i < numRuns(); ++i) {
        const PassRun& r = d->runs.at(size_t(i));
        out += QStringLiteral("  %1. %2: %3 ms, %4 units")
                   .arg(i + 1)
                   .arg(nodePath(graph, r.node), number(r.milliseconds()), number(r.frameTime()));
        if (r.polls > 1)
            out += QStringLiteral(", waited %1 ms over %2 polls").arg(number(r.waitMilliseconds())).arg(r.polls);
        if (r.errorCode != 0)
            out += QStringLiteral(", error code %1").arg(r.errorCode);
        out += QLatin1Char('\n');
    }

    out += QStringLiteral("passes:\n");
    for (int p = 0; p < numPasses(); ++p) {
        const int node = d->nodes.at(size_t(p));
        out += QStringLiteral("  %1: %2")
                   .arg(node < 0 ? QStringLiteral("(pass %1)").arg(p) : nodePath(graph, node),
                        stateName(d->states.at(size_t(p))));
        const int runs = numRunsOf(p);
        if (runs > 1)
            out += QStringLiteral(" (%1 runs)").arg(runs);
        if (node >= 0 && node == d->target)
            out += QStringLiteral(", target");
        out += QLatin1Char('\n');
    }
    return out;
}

} // namespace Zrn
} // namespace Morvane
