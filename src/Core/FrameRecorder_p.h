// Private to libZrnCore: not part of its interface, never installed.
#ifndef ZRNCORE_FRAMERECORDER_P_H
#define ZRNCORE_FRAMERECORDER_P_H

#include <ZrnCore/FrameReport.h>
#include <ZrnCore/FrameStatistics.h>
#include <ZrnCore/FrameTrace.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <vector>

namespace Morvane {
namespace Zrn {

class Graph;

// The names of `node` and its ancestors, from the top level down, the root
// left out; empty for the root and for an invalid reference. Parent fields
// left stale by purge() may go round in a loop: the climb then stops after
// as many names as there are node slots.
QStringList pathNames(const Graph& graph, int node);

// The path of `node` from the root: pathNames() joined by '/'; "(root)" for
// the root, "(node N)" for an invalid reference.
QString nodePath(const Graph& graph, int node);

struct FrameReport::Impl
{
    int frameIndex = -1;
    bool succeeded = false;
    int target = -1;
    double frameTime = 0.0;
    qint64 beginNsecs = 0;
    qint64 endNsecs = 0;
    int failedNode = -1;
    unsigned int errorCode = 0;
    std::vector<PassRun> runs;     // in run order
    std::vector<PassState> states; // by pass index
    std::vector<int> nodes;        // by pass index
};

struct FrameTrace::Impl
{
    std::vector<Frame> frames;
    std::vector<FrameReport::PassRun> runs; // the frames' runs, frame after frame
};

// What the renderer records while its frame report or a trace is on. The
// renderer calls the hooks below from its frame and from its per-pass run
// function; none of them calls a pass. Readings come from one clock, started
// when the recorder is made, and each is taken once: the report and the
// trace share them.
class FrameRecorder
{
public:
    FrameRecorder();

    bool reportOn = false;
    int traceFramesLeft = 0;
    FrameReport report;
    FrameTrace trace;

    // True while a hook has anything to record.
    bool isOn() const { return reportOn || traceFramesLeft > 0; }

    // Clears the report's storage and reserves room for `runsPerFrame` runs.
    void enableReport(int runsPerFrame);
    // Empties the trace and reserves room for `numFrames` frames of
    // `runsPerFrame` runs each, then records the next `numFrames` frames.
    // With `numFrames` <= 0 it stops recording and keeps the trace.
    void startTrace(int numFrames, int runsPerFrame);

    // Before the renderer's beginFrame(); `frameIndex` is its frame count.
    void frameBegins(int frameIndex);
    // Just before a pass's beginFrame().
    void passBegins() { m_run.beginNsecs = now(); }
    // At the first isFinished() that returned false.
    void passWaits() { m_run.waitBeginNsecs = now(); }
    // After isFinished() returned true, when the pass had to be waited for.
    void passFinished() { m_run.waitEndNsecs = now(); }
    // After a pass's endFrame(), with the error code the renderer read and
    // the number of isFinished() calls. Appends one run.
    void passEnds(int node, int pass, unsigned int errorCode, int polls);
    // After the renderer's endFrame(). `visited` holds the marks of the
    // frame's marking walk when the target is a valid node; `stats` and
    // `countBefore` give the frame time the renderer recorded. Returns
    // whether the recorder is still on (a trace may have just ended).
    bool frameEnds(const Graph& graph, const QVector<bool>& visited, const QVector<bool>& enabledFlags, int target,
                   bool ok, const FrameStatistics& stats);
    // Instead of frameEnds(), when an exception from a pass ended the frame:
    // the report is left empty and the trace without the frame's runs, so
    // that neither holds part of a frame; their storage is kept.
    void frameAbandoned();

    // The report and trace a renderer without a recorder answers with.
    static const FrameReport& emptyReport();
    static const FrameTrace& emptyTrace();

private:
    qint64 now() const { return m_clock.nsecsElapsed(); }

    QElapsedTimer m_clock;
    FrameReport::PassRun m_run; // the run in progress
    int m_countBefore = 0;      // the renderer's frame count when the frame began
    qint64 m_frameBegin = 0;
    int m_traceFirstRun = 0; // where this frame's runs start in the trace
};

} // namespace Zrn
} // namespace Morvane

#endif // ZRNCORE_FRAMERECORDER_P_H
